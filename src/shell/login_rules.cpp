#include "shell/login_rules.h"

#include "core/settings.h"

namespace xl::shell {

LoginOutcome loginOutcome(const QString& user, const QString& typed, const QString& password) {
  if (user != kAdministrator && user != kGuest) return LoginOutcome::UnknownUser;
  if (user == kGuest) return LoginOutcome::LogIn;
  if (typed == password) return LoginOutcome::LogIn;
  return typed.isEmpty() ? LoginOutcome::EmptyPassword : LoginOutcome::WrongPassword;
}

QString loginMessage(LoginOutcome outcome) {
  switch (outcome) {
    case LoginOutcome::UnknownUser: return QStringLiteral("请选择登陆用户名！");
    case LoginOutcome::EmptyPassword: return QStringLiteral("密码不能为空！");
    case LoginOutcome::WrongPassword: return QStringLiteral("密码错误，请重新输入！");
    case LoginOutcome::LogIn: break;
  }
  return {};
}

bool autoLogin(const QString& user, const QString& password) {
  if (user == kGuest) return true;
  return user == kAdministrator && password == kDefaultPassword;
}

QString passwordChangeRefusal(const QString& old, const QString& password, const QString& newPassword,
                              const QString& confirmation) {
  if (old != password) return QStringLiteral("错误密码");
  // The settings file must give the new password back exactly as it is typed at the login.
  if (newPassword.isEmpty()) return QStringLiteral("新密码不能为空");
  if (const QString refusal = core::settingsValueRefusal(QStringLiteral("密码"), newPassword); !refusal.isEmpty())
    return refusal;
  if (newPassword != confirmation) return QStringLiteral("新密码和确认密码不匹配");
  return {};
}

bool hasAdministratorRights(const QString& user) { return user == kAdministrator; }

}  // namespace xl::shell
