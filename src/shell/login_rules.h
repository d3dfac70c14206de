#pragma once
// The rules of the login and of the users' rights, apart from the dialogs.

#include <QString>
#include <array>

namespace xl::shell {

inline const QString kAdministrator = QStringLiteral("administrator");
inline const QString kGuest = QStringLiteral("guest");
// The password while none is set.
inline const QString kDefaultPassword = QStringLiteral("426813");

// What the login button decides.
enum class LoginOutcome {
  LogIn,          // the user is logged in
  UnknownUser,    // "请选择登陆用户名！"
  EmptyPassword,  // "密码不能为空！"
  WrongPassword,  // "密码错误，请重新输入！"
};

// The login button: `user` as typed or chosen (the names count exactly, case included), the
// text of the password box and the password in force. The guest needs no password.
LoginOutcome loginOutcome(const QString& user, const QString& typed, const QString& password);
// The message box text of a refused login; empty for LogIn.
QString loginMessage(LoginOutcome outcome);

// The automatic login five seconds after the dialog loads: the guest always, the
// administrator only while the password in force is the default one; the password box is not
// read.
bool autoLogin(const QString& user, const QString& password);

// The password change: the message of a refusal, or empty when the new password is taken.
// The new password must read back from the settings file exactly as typed: not empty ("新密码不能为空",
// which would bring the public default back), no blank or quote at either end ("密码首尾不能有空格或引号"),
// only characters GBK holds ("不能保存字符：ö"), at most 499 characters.
QString passwordChangeRefusal(const QString& old, const QString& password, const QString& newPassword,
                              const QString& confirmation);

// The main window's items that only the administrator may use: three menu items, three
// top-level menus and two toolbar buttons, by their names.
inline constexpr std::array<const char*, 8> kAdministratorItems = {
    "LogOff",    "ChangePassword", "AddStation",         "Communication",
    "Parameter", "Maintenance",    "Port Configuration", "Data Save Seting"};
// Whether `user` gets those items: "administrator" exactly, nobody else.
bool hasAdministratorRights(const QString& user);

}  // namespace xl::shell
