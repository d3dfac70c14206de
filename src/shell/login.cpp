#include "shell/login.h"

#include <QAction>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>

#include "core/app_state.h"
#include "core/message_log.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/startup.h"
#include "platform/dialogs.h"
#include "shell/frm_mdi.h"
#include "shell/icons.h"
#include "shell/login_rules.h"
#include "ui/form.h"
#include "ui/input.h"
#include "ui/screen.h"

namespace xl::shell {

namespace {

QPushButton* makeButton(QWidget* parent, const char* name, const QString& caption) {
  auto* b = new QPushButton(caption, parent);
  b->setObjectName(QString::fromLatin1(name));
  b->setAutoDefault(false);
  return b;
}

QLineEdit* addPasswordBox(QGridLayout* grid, QWidget* parent, int row, const char* name, const QString& caption) {
  auto* box = new QLineEdit(parent);
  box->setObjectName(QString::fromLatin1(name));
  box->setEchoMode(QLineEdit::Password);
  box->setMinimumWidth(160);
  ui::addCaptioned(grid, parent, row, 0, caption, box);
  return box;
}

}  // namespace

// --- Login ----------------------------------------------------------------------------------

Login::Login() : ui::ModalForm<Login>("Login", QStringLiteral("登录")) {
  auto* grid = new QGridLayout(this);
  Combo1 = new QComboBox(this);
  Combo1->setObjectName("Combo1");
  Combo1->setEditable(true);  // a name can also be typed
  Combo1->setInsertPolicy(QComboBox::NoInsert);
  Combo1->addItems({kAdministrator, kGuest});
  Combo1->setMinimumWidth(160);
  auto* userLabel = new QLabel(QStringLiteral("用户名"), this);
  userLabel->setBuddy(Combo1);
  grid->addWidget(userLabel, 0, 0);
  grid->addWidget(Combo1, 0, 1);
  Text1 = addPasswordBox(grid, this, 1, "Text1", QStringLiteral("密码"));
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  Command1 = makeButton(this, "Command1", QStringLiteral("登录"));
  Command2 = makeButton(this, "Command2", QStringLiteral("取消"));
  Command1->setDefault(true);  // Enter in the password box logs in
  buttons->addWidget(Command1);
  buttons->addWidget(Command2);
  grid->addLayout(buttons, 2, 0, 1, 2);

  connect(Command1, &QPushButton::clicked, this, [this] { Command1_Click(); });
  connect(Command2, &QPushButton::clicked, this, [this] { Command2_Click(); });
  // The operator's touches of the user box: typing is its change, a choice from the list its
  // click. Text set by the program is neither.
  connect(Combo1->lineEdit(), &QLineEdit::textEdited, this, [this] { Combo1_Change(); });
  connect(Combo1, &QComboBox::activated, this, [this] { Combo1_Click(); });
  // A click into the password box; typing in it is no touch.
  ui::onMouseUp(Text1, [this] { Text1_Click(); });

  Timer1.setInterval(5000);
  Timer1.setOnTick([this] { Timer1_Timer(); });
  Timer1.setEnabled(true);
  // The load reads only the settings file: it runs as the form is made, so the five seconds
  // count from here.
  ensureLoaded();
}

void Login::Form_Load() {
  defaultPassword = kDefaultPassword;
  Combo1->setEditText(kAdministrator);
  if (core::getPassword() == defaultPassword) {
    Text1->setText(defaultPassword);
    Timer1.setEnabled(true);
  }
}

void Login::Combo1_Change() { Timer1.setEnabled(false); }
void Login::Combo1_Click() { Timer1.setEnabled(false); }
void Login::Text1_Click() { Timer1.setEnabled(false); }

void Login::Command1_Click() {
  Timer1.setEnabled(false);
  const LoginOutcome outcome = loginOutcome(Combo1->currentText(), Text1->text(), core::getPassword());
  if (outcome != LoginOutcome::LogIn) {
    platform::dialogs().msgBox(loginMessage(outcome));
    return;
  }
  logIn();
}

void Login::Timer1_Timer() {
  Timer1.setEnabled(false);
  if (autoLogin(Combo1->currentText(), core::getPassword())) logIn();
}

void Login::Command2_Click() {
  Timer1.setEnabled(false);
  if (core::appStarted.isEmpty()) {
    core::endProcess();
    return;
  }
  hide();  // a cancelled switch: the dialog stays loaded, the user stays who it was
}

void Login::logIn() {
  hide();
  core::currentUser = Combo1->currentText();
  auto& mdi = FrmMDI::instance();
  const bool loaded = !core::appStarted.isEmpty();
  mdi.show();
  if (!loaded) mdi.MDIForm_Load();
  unload();
}

void showFirstWindow() {
  // No main window yet: the login takes the program's icon that the main window will carry.
  ui::setMainIcon(appIcon());
  Login& login = Login::instance();
  login.show();
}

// --- FrmChangePassword ------------------------------------------------------------------------

FrmChangePassword::FrmChangePassword() : ui::ModalForm<FrmChangePassword>("FrmChangePassword", QStringLiteral("修改密码")) {
  auto* grid = new QGridLayout(this);
  Text1 = addPasswordBox(grid, this, 0, "Text1", QStringLiteral("原密码"));
  Text1->setToolTip(QStringLiteral("初始密码 426813"));
  Text2 = addPasswordBox(grid, this, 1, "Text2", QStringLiteral("新密码"));
  Text3 = addPasswordBox(grid, this, 2, "Text3", QStringLiteral("确认新密码"));
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  Command1 = makeButton(this, "Command1", QStringLiteral("确定"));
  Command2 = makeButton(this, "Command2", QStringLiteral("取消"));
  buttons->addWidget(Command1);
  buttons->addWidget(Command2);
  grid->addLayout(buttons, 3, 0, 1, 2);
  connect(Command1, &QPushButton::clicked, this, [this] { Command1_Click(); });
  connect(Command2, &QPushButton::clicked, this, [this] { Command2_Click(); });
}

void FrmChangePassword::Command1_Click() {
  const QString refusal = passwordChangeRefusal(Text1->text(), core::getPassword(), Text2->text(), Text3->text());
  if (!refusal.isEmpty()) {
    platform::dialogs().msgBox(refusal);
    return;
  }
  core::writeIni(core::keys::kMain, core::keys::kPassword, Text2->text());
  platform::dialogs().msgBox(QStringLiteral("密码更改成功！"));
  unload();
}

void FrmChangePassword::Command2_Click() { unload(); }

// --- the main window's rights and commands ------------------------------------------------------

void upUsers(const QString& user) {
  const bool on = hasAdministratorRights(user);
  FrmMDI& mdi = FrmMDI::instance();
  for (const char* name : kAdministratorItems) {
    if (QAction* a = mdi.action(QString::fromLatin1(name))) {
      a->setEnabled(on);
    } else if (auto* menu = mdi.findChild<QMenu*>(QString::fromLatin1(name))) {
      menu->menuAction()->setEnabled(on);
    }
  }
}

void FrmMDI::LogOff_Click() {
  core::currentUser = kGuest;
  upUsers(core::currentUser);
  platform::dialogs().msgBox(QStringLiteral("注销成功"), platform::kInformation);
  core::appendLog(QStringLiteral("切换用户成功"));
}

void FrmMDI::UserSwitch_Click() {
  ui::showModal(Login::instance());
  upUsers(core::currentUser);
  core::appendLog(QStringLiteral("切换用户成功"));
}

void FrmMDI::ChangePassword_Click() { ui::showModal(FrmChangePassword::instance()); }

}  // namespace xl::shell
