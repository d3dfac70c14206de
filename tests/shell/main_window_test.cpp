// The main window and the login. The main window: its load with and without stations, the
// global monitor's frame, the exit question, the station lists of the working screens. The login as the first window
// and as the user switch, the automatic login, the rights of the two users, log-off and the password change, through
// the dialogs' controls.

#include <QCloseEvent>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>

#include "configuration/frm_factory_operation.h"
#include "configuration/frm_general_g_load_configuration.h"
#include "core/message_log.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "shell/idle_screens.h"
#include "shell/login.h"
#include "shell_fixture.h"
#include "ui/station_box.h"

namespace xl::shell {
namespace {

// Columns `cols` of a table's rows below its header, a row a line, cells joined by blanks.
QString rowsOf(const platform::FlexGrid* g, std::initializer_list<int> cols) {
  QString s;
  for (int r = 1; r < g->rows(); ++r) {
    for (int c : cols) s += g->textMatrix(r, c) + " ";
    s += "\n";
  }
  return s;
}

class MainWindowTest : public testing::ShellFixture {};

// A site without ports from the load to the exit: the tree, the scan's hand-over, the clock's
// item, the global monitor's frame, the exit question.
TEST_F(MainWindowTest, AnEmptySiteFromLoadToExit) {
  start();  // the real-time monitor opens before the main window has its size
  EXPECT_EQ(QStringList({mdi().windowTitle(), core::appStarted, core::configPath}),
            QStringList({QStringLiteral("星澜站点监控软件"), "1", dir.path() + "/MSCON.DLL"}));
  // The refresh writes the first line, without a leading break; the load writes the second;
  // a site without ports gets a third that tells the operator where to begin.
  ASSERT_EQ(logLines().size(), 3);
  ASSERT_EQ(mdi().TreeView1()->topLevelItemCount(), 1);
  EXPECT_EQ(treeText(), "站点资源管理器:");
  // Timer2 stops on its first tick and hands over to the scan on an empty table; the scan is
  // shown then.
  clock.advance(ms(299));
  EXPECT_FALSE(scan().Timer4.enabled());
  clock.advance(ms(1));
  EXPECT_TRUE(!mdi().Timer2.enabled() && scan().Timer4.enabled());
  clock.advance(ms(10000));
  EXPECT_TRUE(scan().Timer4.enabled());  // waits for stations, timer on
  EXPECT_EQ(testing::grid(scan(), "VsFList1")->rows(), 1);

  // The clock is greyed out.
  EXPECT_TRUE(mdi().action("RealTimeClock")->isVisible() && !mdi().action("RealTimeClock")->isEnabled());

  // The global monitor's close box hides its frame too; the menu item and the toolbar button
  // each bring both back.
  auto* frame = qobject_cast<QMdiSubWindow*>(scan().parentWidget());
  ASSERT_NE(frame, nullptr);
  ASSERT_FALSE(frame->isHidden());
  for (const char* item : {"GlobalMonitoring", "Global Monitoring"}) {
    frame->close();
    EXPECT_TRUE(frame->isHidden() && scan().isHidden() && monitoring::FrmGlobalMonitoring::exists());
    mdi().action(item)->trigger();
    EXPECT_FALSE(frame->isHidden() || scan().isHidden()) << item;
    EXPECT_EQ(mdi().mdiArea()->activeSubWindow(), frame) << item;
  }

  // Exit and the close box ask; only Yes ends.
  dialogs.answers = {platform::kNo, platform::kYes, platform::kNo, platform::kYes};
  QString ends;
  for (int i = 0; i < 4; ++i) {
    QCloseEvent close;
    i < 2 ? mdi().action("Exit")->trigger() : void(QApplication::sendEvent(&mdi(), &close));
    ends += QString::number(ended) + (i < 2 || close.isAccepted() ? " " : "(refused) ");
  }
  EXPECT_EQ(ends, "0 1 1(refused) 2 ");
}

// Stations load port by port into the tree and both tables; the scan's outcome fills the
// station lists of the working screens, and a refresh empties them.
TEST_F(MainWindowTest, StationsLoadPortByPortAndTheScanFillsTheLists) {
  setPorts({"COM3,9600", "COM4,19200", "COM5,9600"});
  addStation("A", "COM3,9600", "1");
  addStation("B", "COM3,9600", "2");
  // Names like comments of the settings file keep their recorder marks, where they can have one;
  // a station whose port and ID another one listed before it has ends the listing of its port.
  addStation("#1", "COM3,9600", "3");
  addStation(";2", "COM3,9600", "4");
  addStation("Twin", "COM3,9600", "1");
  addStation("D", "COM3,9600", "5");
  addStation("C", "COM4,19200", "7");
  addStation("Lost", "COM4,9600", "8");  // its port's baud rate changed: not listed
  core::writeIniFile("Maintenance Record", "#1", "-1", dir.path() + "/MSCON.DLL");
  start();
  // The working screens, created by the start-up, have handed their lists to the shell.
  QComboBox& realTime = *testing::combo(monitoring::FrmRealTimeMonitoring::instance());
  QComboBox& load = *testing::combo(configuration::FrmGeneralGLoadConfiguration::instance());
  QComboBox& factory = *testing::combo(configuration::FrmFactoryOperation::instance());
  EXPECT_EQ(treeText(), "站点资源管理器: COM3,9600 [] COM4,19200 [] COM5,9600 []");  // before the first tick
  clock.advance(ms(300));
  EXPECT_EQ(treeText(), "站点资源管理器: COM3,9600 [A;B;#1;;2;] COM4,19200 [] COM5,9600 []");
  clock.advance(ms(300));
  EXPECT_EQ(treeText(), "站点资源管理器: COM3,9600 [A;B;#1;;2;] COM4,19200 [C;] COM5,9600 []");
  clock.advance(ms(300));  // COM5 has no stations
  EXPECT_EQ(treeText(), "站点资源管理器: COM3,9600 [A;B;#1;;2;] COM4,19200 [C;] COM5,9600 []");
  EXPECT_FALSE(scan().Timer4.enabled());
  clock.advance(ms(300));  // past the last port: the scan takes over
  EXPECT_TRUE(scan().Timer4.enabled());
  clock.advance(ms(300));  // the recorder applies its settings a second after the load
  // Both tables hold the stations in the same order, and the rows the recorder saves by, with
  // the marks (';' does start a comment: that name has no key).
  EXPECT_EQ(rowsOf(testing::grid(scan(), "VsFList1"), {0, 1}), "A 1 \nB 2 \n#1 3 \n;2 4 \nC 7 \n");
  EXPECT_EQ(rowsOf(testing::grid(recorder(), "VSFlexGrid1"), {0, 1, 2}), " A 1 \n B 2 \n-1 #1 3 \n ;2 4 \n C 7 \n");
  QString names;
  for (int r = 1; r <= recorder().engine().stationCount(); ++r) names += recorder().engine().stationName(r) + " ";
  EXPECT_EQ(names, "A B #1 ;2 C ");

  scan().scanEngine().markAnswered(2);
  mdi().setStationEnabled();
  for (QComboBox* list : {&realTime, &load, &factory}) EXPECT_EQ(itemsOf(list), QStringList{"B"});
  EXPECT_TRUE(factory.currentText().isEmpty());
  // A refresh empties the lists until the next scan is over.
  mdi().RefreshAllStations_Click();
  for (QComboBox* list : {&realTime, &load, &factory}) EXPECT_EQ(list->count(), 0);
  EXPECT_EQ(recorder().engine().stationCount(), 0);  // the rows the recorder saves by go too
  EXPECT_EQ(mdi().portCursor, 0);
  EXPECT_TRUE(mdi().Timer2.enabled());
}

class LoginTest : public testing::ShellFixture {
 protected:
  // The program's start: Main shows Login first.
  void startAtLogin() {
    core::Main([] { showFirstWindow(); });
  }
  Login& login() { return Login::instance(); }
  bool mainWindowUp() { return !core::appStarted.isEmpty() && FrmMDI::exists() && mdi().isVisible(); }
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
    return (mainWindowUp() ? core::currentUser : "-") + " " + rights + " " +
           (!Login::exists()      ? "gone"
            : login().isVisible() ? "shown"
                                  : "hidden");
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

  // Log-off makes the guest.
  mdi().LogOff_Click();
  EXPECT_EQ(state(), "guest 00000000 gone");
  EXPECT_EQ(messages(), QStringList{QStringLiteral("注销成功")});

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

// Each touch stops the five seconds: typing in the user box (cancel then ends the program), a
// click in the password box (the button then needs the text that stands pre-filled), and, in
// the user switch, choosing the guest, who needs no password and keeps every other item.
TEST_F(LoginTest, ATouchOfTheUserBoxOrThePasswordBoxStopsTheTimer) {
  startAtLogin();
  testing::typeText(combo(login())->lineEdit(), "x");
  EXPECT_FALSE(login().Timer1.enabled());
  clock.advance(ms(10000));
  EXPECT_EQ(state(), "- - shown");
  click(login(), "Command2");
  EXPECT_EQ(ended, 1);
  login().unload();
  clock.advance(ms(0));
  startAtLogin();
  QTest::mouseClick(edit(login(), "Text1"), Qt::LeftButton);
  clock.advance(ms(10000));
  EXPECT_EQ(state(), "- - shown");
  click(login(), "Command1");
  EXPECT_EQ(state(), "administrator 11111111 hidden");
  EXPECT_TRUE(messages().isEmpty());

  login().unload();
  clock.advance(ms(0));
  drivers.push_back([&](ui::DialogForm& f) {
    EXPECT_TRUE(login().Timer1.enabled());  // a fresh load
    testing::activate(combo(f), 1);
    EXPECT_FALSE(login().Timer1.enabled());
    clock.advance(ms(10000));
    EXPECT_TRUE(f.isVisible());
    edit(f, "Text1")->clear();
    click(f, "Command1");
  });
  mdi().UserSwitch_Click();
  EXPECT_EQ(state(), "guest 00000000 gone");
  // The items greyed out for the guest, menus by their menu's name: only the administrator's,
  // and the clock, which is always grey.
  QStringList grey;
  for (QAction* a : mdi().findChildren<QAction*>())
    if (!a->isEnabled() && a->isVisible()) grey << (a->menu() ? a->menu()->objectName() : a->objectName());
  grey.removeAll("");
  EXPECT_EQ(grey.join(' '),
            "LogOff ChangePassword Communication AddStation Parameter RealTimeClock Maintenance Port "
            "Configuration Data Save Seting");
}

TEST_F(LoginTest, PasswordChangeRefusalsAndTheFile) {
  start();
  drivers.push_back([&](ui::DialogForm& f) {
    testing::typeText(edit(f, "Text1"), "111111");
    click(f, "Command1");
    testing::retype(edit(f, "Text1"), "426813");
    click(f, "Command1");
    testing::typeText(edit(f, "Text2"), " 新pw");
    testing::typeText(edit(f, "Text3"), "新pW");
    click(f, "Command1");
    testing::retype(edit(f, "Text2"), "新pw");
    click(f, "Command1");
    testing::retype(edit(f, "Text3"), "新pw");
    click(f, "Command1");
  });
  mdi().action("ChangePassword")->trigger();
  EXPECT_EQ(messages().join('|'),
            "错误密码|新密码不能为空|密码首尾不能有空格或引号|新密码和确认密码不匹配|密码更改成功！");
  EXPECT_FALSE(FrmChangePassword::exists());
  // Plain in the file, GBK on disk.
  EXPECT_EQ(settingsBytes(), QByteArray("[Main]\r\nconfig=\xd0\xc2pw\r\n"));
  EXPECT_EQ(core::getPassword(), QStringLiteral("新pw"));
}

}  // namespace
}  // namespace xl::shell
