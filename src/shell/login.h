#pragma once
// Login ("登录"): the first window of the program, and the dialog of a user switch.
// FrmChangePassword ("修改密码"): the change of the one password.
//
// Two fixed users, "administrator" and "guest"; the administrator's password lies plain in
// the settings file (the login guards menus, not data). With the default password untouched
// the administrator is logged in by itself five seconds after the dialog loads, unless the
// operator touches the user box or clicks into the password box first.

#include "platform/timer.h"
#include "ui/modal.h"

class QComboBox;
class QLineEdit;
class QPushButton;

namespace xl::shell {

class Login : public ui::ModalForm<Login> {
  Q_OBJECT
  friend class ui::Singleton<Login>;

 public:
  // The default password as a text, set at load.
  QString defaultPassword;

  // --- Handlers, public for tests ---
  void Combo1_Change();
  void Combo1_Click();
  void Text1_Click();
  void Command1_Click();  // 登录
  void Command2_Click();  // 取消
  void Timer1_Timer();

  platform::Timer Timer1;  // 5000 ms, on from the load

 protected:
  void Form_Load() override;
  void closeBox() override { Command2_Click(); }

 private:
  Login();
  // Hides the dialog, puts the user in place, shows the main window, unloads the dialog.
  void logIn();

  QComboBox* Combo1;
  QLineEdit* Text1;
  QPushButton* Command1;
  QPushButton* Command2;
};

class FrmChangePassword : public ui::ModalForm<FrmChangePassword> {
  Q_OBJECT
  friend class ui::Singleton<FrmChangePassword>;

 public:
  void Command1_Click();  // 确定
  void Command2_Click();  // 取消

 private:
  FrmChangePassword();

  QLineEdit* Text1;  // old password
  QLineEdit* Text2;  // new password
  QLineEdit* Text3;  // confirmation
  QPushButton* Command1;
  QPushButton* Command2;
};

// Sets the rights of the main window for `user`: the administrator's items enabled for
// "administrator", disabled for anyone else.
void upUsers(const QString& user);

// The first window of the program: Login, shown modelessly.
void showFirstWindow();

}  // namespace xl::shell
