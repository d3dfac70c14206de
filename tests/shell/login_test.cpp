// The login as the first window and as the user switch, the automatic login, the rights of
// the two users, log-off and the password change, through the dialogs' controls.

#include <QMenu>
#include <QMenuBar>
#include <QRegularExpression>

#include "core/app_state.h"
#include "shell/idle_screens.h"
#include "shell/login.h"
#include "shell_fixture.h"

namespace xl::shell {
namespace {

class LoginTest : public testing::ShellFixture {
 protected:
  // The program's start: Main shows Login first.
  void startAtLogin() {
    core::Main([] { showFirstWindow(); });
  }
  Login& login() { return Login::instance(); }
  bool mainWindowUp() { return !core::appStarted.isEmpty() && FrmMDI::exists() && mdi().isVisible(); }
  // Who works in the main window; "-" while it is not up.
  QString loggedIn() { return mainWindowUp() ? core::currentUser : QStringLiteral("-"); }
  // Who works in the main window, which of the administrator's eight items are enabled, and the
  // login dialog: "shown", "hidden" or "gone"; "-" for what is not there.
  QString state() {
    QString rights = "-";
    if (mainWindowUp()) {
      rights.clear();
      for (const char* n : {"LogOff", "ChangePassword", "AddStation", "Port Configuration", "Data Save Seting"})
        rights += mdi().action(n)->isEnabled() ? "1" : "0";
      for (const char* n : {"Communication", "Parameter", "Maintenance"})
        rights += mdi().findChild<QMenu*>(n)->menuAction()->isEnabled() ? "1" : "0";
    }
    return loggedIn() + " " + rights + " " + (!Login::exists() ? "gone" : login().isVisible() ? "shown" : "hidden");
  }
};

TEST_F(LoginTest, TheUntouchedDefaultLogsInAfterFiveSecondsAndTheUserSwitchIsModal) {
  startAtLogin();
  EXPECT_FALSE(FrmMDI::exists());
  EXPECT_EQ(state(), "- - shown");
  EXPECT_EQ(QStringList({login().windowTitle(), combo(login())->currentText(), edit(login(), "Text1")->text()}),
            QStringList({QStringLiteral("登录"), "administrator", "426813"}));
  // Typing in the password box does not hold the five seconds back.
  testing::typeText(edit(login(), "Text1"), "9");
  clock.advance(ms(4999));
  EXPECT_EQ(state(), "- - shown");
  clock.advance(ms(1));
  clock.advance(ms(0));  // unloaded after its handler
  EXPECT_EQ(state(), "administrator 11111111 gone");
  EXPECT_TRUE(logLines()[1].endsWith(QStringLiteral("]星澜站点监控启动")));

  // Log-off makes the guest.
  mdi().LogOff_Click();
  EXPECT_EQ(state(), "guest 00000000 gone");
  EXPECT_EQ(messages(), QStringList{QStringLiteral("注销成功")});
  EXPECT_EQ(dialogs.shown.at(0).style, platform::kInformation);
  EXPECT_TRUE(logLines().last().endsWith(QStringLiteral("]切换用户成功")));

  // A switch that is cancelled: the guest stays guest; the dialog stays loaded and hidden.
  drivers.push_back([&](ui::DialogForm& f) {
    EXPECT_EQ(f.objectName(), "Login");
    EXPECT_TRUE(login().Timer1.enabled());  // a fresh load, automatic login included
    click(f, "Command2");
  });
  const int linesBefore = logLines().size();
  mdi().action("User Switch")->trigger();
  EXPECT_EQ(ended, 0);
  EXPECT_EQ(state(), "guest 00000000 hidden");
  EXPECT_EQ(logLines().size(), linesBefore + 1);
  EXPECT_TRUE(logLines().last().endsWith(QStringLiteral("]切换用户成功")));

  // Shown again without a load: no timer, the last text stays; the button logs in.
  drivers.push_back([&](ui::DialogForm& f) {
    EXPECT_FALSE(login().Timer1.enabled());
    clock.advance(ms(6000));
    EXPECT_TRUE(f.isVisible());
    click(f, "Command1");
  });
  mdi().UserSwitch_Click();
  EXPECT_EQ(state(), "administrator 11111111 gone");

  // A switch by the five seconds, inside the modal dialog.
  drivers.push_back([&](ui::DialogForm& f) {
    clock.advance(ms(5000));
    EXPECT_FALSE(f.isVisible());
  });
  mdi().LogOff_Click();
  mdi().UserSwitch_Click();
  EXPECT_EQ(state(), "administrator 11111111 gone");
  EXPECT_EQ(modals, (QStringList{"Login", "Login", "Login"}));
}

TEST_F(LoginTest, AChangedPasswordWaitsForTheButtonWithItsMessages) {
  writeSettings("[Main]\r\nconfig=Secret\r\n");
  startAtLogin();
  EXPECT_EQ(edit(login(), "Text1")->text(), "");
  clock.advance(ms(60000));
  EXPECT_EQ(state(), "- - shown");
  testing::typeOver(combo(login()), "Administrator");
  click(login(), "Command1");
  testing::typeOver(combo(login()), "administrator");
  click(login(), "Command1");
  testing::typeText(edit(login(), "Text1"), "secret");
  click(login(), "Command1");
  EXPECT_EQ(state(), "- - shown");
  testing::retype(edit(login(), "Text1"), "Secret");
  click(login(), "Command1");
  EXPECT_EQ(messages(), (QStringList{"请选择登陆用户名！", "密码不能为空！", "密码错误，请重新输入！"}));
  EXPECT_EQ(state(), "administrator 11111111 hidden");
}

TEST_F(LoginTest, ATouchOfTheUserBoxOrAClickInThePasswordBoxStopsTheTimer) {
  // A click in the password box; the button then needs the text that stands pre-filled.
  startAtLogin();
  QTest::mouseClick(edit(login(), "Text1"), Qt::LeftButton);
  clock.advance(ms(10000));
  EXPECT_EQ(state(), "- - shown");
  click(login(), "Command1");
  EXPECT_EQ(state(), "administrator 11111111 hidden");
  EXPECT_TRUE(messages().isEmpty());
}

TEST_F(LoginTest, ChoosingTheGuestStopsTheTimerAndTheGuestNeedsNoPassword) {
  startAtLogin();
  testing::activate(combo(login()), 1);
  EXPECT_FALSE(login().Timer1.enabled());
  clock.advance(ms(10000));
  EXPECT_EQ(state(), "- - shown");
  edit(login(), "Text1")->clear();
  click(login(), "Command1");
  EXPECT_EQ(state(), "guest 00000000 hidden");
  // Everything else stays for the guest.
  for (const char* n : {"UserSwitch", "Exit", "RealTimeMonitoring", "GlobalMonitoring", "About", "User Switch",
                        "Real Time Monitoring", "Daily Monitoring", "Global Monitoring", "History Monitoring"})
    EXPECT_TRUE(mdi().action(n)->isEnabled()) << n;
  for (const char* n : {"View", "Monitoring", "Help", "System"})
    EXPECT_TRUE(mdi().findChild<QMenu*>(n)->menuAction()->isEnabled()) << n;
}

TEST_F(LoginTest, TypingInTheUserBoxStopsTheTimerAndCancelEndsTheProgram) {
  startAtLogin();
  testing::typeText(combo(login())->lineEdit(), "x");
  clock.advance(ms(10000));
  EXPECT_TRUE(!mainWindowUp() && ended == 0);
  click(login(), "Command2");
  EXPECT_EQ(ended, 1);
}

TEST_F(LoginTest, PasswordChangeAboutTheIdleScreensAndNoDeadItem) {
  start();
  drivers.push_back([&](ui::DialogForm& f) {
    EXPECT_EQ(f.windowTitle(), QStringLiteral("修改密码"));
    EXPECT_EQ(edit(f, "Text1")->toolTip(), QStringLiteral("初始密码 426813"));
    testing::typeText(edit(f, "Text1"), "111111");
    click(f, "Command1");
    testing::retype(edit(f, "Text1"), "426813");
    testing::typeText(edit(f, "Text2"), "新pw");
    testing::typeText(edit(f, "Text3"), "新pW");
    click(f, "Command1");
    testing::retype(edit(f, "Text3"), "新pw");
    click(f, "Command1");
  });
  mdi().action("ChangePassword")->trigger();
  EXPECT_EQ(messages(), (QStringList{"错误密码", "新密码和确认密码不匹配", "密码更改成功！"}));
  EXPECT_FALSE(FrmChangePassword::exists());
  // Plain in the file, GBK on disk.
  EXPECT_EQ(settingsBytes(), QByteArray("[Main]\r\nconfig=\xd0\xc2pw\r\n"));
  EXPECT_EQ(core::getPassword(), QStringLiteral("新pw"));

  // About, the clock and the idle screens, each a modal dialog of its own.
  drivers.push_back([&](ui::DialogForm& f) {
    EXPECT_FALSE(f.windowIcon().isNull());
    const auto labels = f.findChildren<QLabel*>();
    EXPECT_TRUE(std::ranges::any_of(labels, [](QLabel* l) { return l->text() == QStringLiteral("星澜站点监控软件"); }));
    click(f, "Command1");
  });
  mdi().action("About")->trigger();
  EXPECT_FALSE(FrmAbout::exists());
  drivers.push_back([&](ui::DialogForm& f) {
    const QString t = edit(f, "LTextBox2")->text();
    EXPECT_TRUE(QRegularExpression("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d$").match(t).hasMatch())
        << t.toStdString();
  });
  mdi().RealTimeClock_Click();
  for (auto open : {&FrmMDI::SystemConfiguration_Click, &FrmMDI::DeviceInformation_Click,
                    &FrmMDI::DeviceParameter_Click, &FrmMDI::PrintSetup_Click, &FrmMDI::PrintPreview_Click})
    (mdi().*open)();
  EXPECT_EQ(modals, (QStringList{"FrmChangePassword", "FrmAbout", "FrmRealTimeClock", "FrmSystemConfiguration",
                                 "FrmDeviceInformation", "FrmDeviceParameter", "FrmPrintSetup", "FrmPrintPreview"}));

  // Every visible, enabled item of the menus has a command.
  QStringList dead;
  std::function<void(QMenu*)> walk = [&](QMenu* menu) {
    for (QAction* a : menu->actions()) {
      if (a->isSeparator() || !a->isVisible() || !a->isEnabled()) continue;
      if (a->menu()) {
        walk(a->menu());
        continue;
      }
      // The view checks flip their panes (tested with the main window).
      if (!a->isCheckable() && !a->property("command").toBool()) dead << a->objectName();
    }
  };
  for (QAction* top : mdi().menuBar()->actions()) walk(top->menu());
  EXPECT_TRUE(dead.isEmpty()) << dead.join(' ').toStdString();
}

}  // namespace
}  // namespace xl::shell
