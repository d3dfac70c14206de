// The plain rules beside the shell's dialogs: the port list's match, the probe of the ports,
// the station editor's checks, the login's decisions and the users' rights.

#include <gtest/gtest.h>

#include "platform/scheduler.h"
#include "platform/sim_bus.h"
#include "shell/login_rules.h"
#include "shell/port_list.h"
#include "shell/station_form.h"

namespace xl::shell {
namespace {

TEST(PortListRules, MatchIsContainmentUpToTheComma) {
  const QStringList list{"COM10,9600", "com1,4800", "COM3,9600"};
  // "COM1," is not in "COM10,9600": the comma makes the end exact; case does not count.
  // A text from the middle of an entry matches; an empty one (a lone comma) finds the first.
  for (const auto& [text, found] : {std::pair{"COM1", 1}, {"COM10", 0}, {"Com3", 2}, {"COM4", -1}, {"M1", 1}, {"", 0}})
    EXPECT_EQ(findPortEntry(list, text), found) << text;
  EXPECT_EQ(findPortEntry({}, ""), -1);
  // The first of two matches wins.
  EXPECT_EQ(findPortEntry({"COM3,4800", "COM3,9600"}, "COM3"), 0);

  EXPECT_EQ(portEntry("COM5", "19200"), "COM5,19200");
  EXPECT_EQ(portEntry("", "9600") + portEntry("COM5", ""), "");
}

TEST(PortListRules, ProbeFindsThePortsThatOpenAndLeavesHeldOnesOut) {
  platform::VirtualClock clock;
  platform::setScheduler(&clock);
  platform::SimBusDriver driver;
  platform::setPortDriver(&driver);
  for (const char* port : {"COM3", "COM7", "COM100", "COM101" /* beyond the probe */, "COM9"}) driver.addLine(port, 9600);
  platform::SerialControl other("Other.MSComm1");  // another control holds COM9
  other.setCommPort(9);
  other.setPortOpen(true);

  std::vector<std::string> ops;
  platform::setPortTrace([&](const std::string& control, const std::string& op, const std::string& value) {
    if (control == "Probe") ops.push_back(op + "=" + value);
  });
  platform::SerialControl probe("Probe");
  EXPECT_EQ(probePorts(probe), (std::vector<int>{3, 7, 100}));
  platform::setPortTrace({});
  EXPECT_TRUE(!probe.portOpen() && other.portOpen());  // the holder keeps its port
  // One round: the receiving setup, then port number, open, close (ten steps where the open
  // fails, as for ports 1 and 2).
  const std::vector<std::string> round3(ops.begin() + 2 * 10, ops.begin() + 2 * 10 + 11);
  EXPECT_EQ(round3, (std::vector<std::string>{"InputMode=1", "InputLen=0", "InBufferSize=1024", "OutBufferSize=512",
                                              "SThreshold=0", "RThreshold=1", "InBufferCount=0", "OutBufferCount=0",
                                              "CommPort=3", "PortOpen=True", "PortOpen=False"}));
  other.setPortOpen(false);
  platform::setPortDriver(nullptr);
  platform::setScheduler(nullptr);
}

// The hint under an empty site: where to begin, by what is missing.
TEST(StationEditorRules, EmptySiteHint) {
  EXPECT_FALSE(emptySiteHint(0, 0).isEmpty() || emptySiteHint(2, 0).isEmpty());
  EXPECT_NE(emptySiteHint(0, 0), emptySiteHint(1, 0));
  EXPECT_TRUE(emptySiteHint(1, 1).isEmpty());
}

TEST(LoginRules, TheButtonDecidesByExactNamesAndPassword) {
  // User, typed password, stored password, the outcome with its message. The guest's box is not
  // looked at; the password's case counts.
  const std::tuple<const char*, const char*, const char*, LoginOutcome, const char*> cases[] = {
      {"administrator", "426813", "426813", LoginOutcome::LogIn, ""},
      {"Administrator", "426813", "426813", LoginOutcome::UnknownUser, "请选择登陆用户名！"},
      {"", "426813", "426813", LoginOutcome::UnknownUser, "请选择登陆用户名！"},
      {"guest ", "", "426813", LoginOutcome::UnknownUser, "请选择登陆用户名！"},
      {"guest", "", "426813", LoginOutcome::LogIn, ""},
      {"guest", "wrong", "426813", LoginOutcome::LogIn, ""},
      {"administrator", "", "426813", LoginOutcome::EmptyPassword, "密码不能为空！"},
      {"administrator", "426814", "426813", LoginOutcome::WrongPassword, "密码错误，请重新输入！"},
      {"administrator", "AbC", "abc", LoginOutcome::WrongPassword, "密码错误，请重新输入！"},
  };
  for (const auto& [user, typed, stored, outcome, message] : cases) {
    EXPECT_EQ(loginOutcome(user, typed, stored), outcome) << user << " " << typed;
    EXPECT_EQ(loginMessage(outcome), QString::fromUtf8(message));
  }

  // The five seconds: the guest always, the administrator only on the default password.
  EXPECT_TRUE(autoLogin("administrator", "426813") && autoLogin("guest", "secret"));
  EXPECT_FALSE(autoLogin("administrator", "secret") || autoLogin("ADMINISTRATOR", "426813"));

  EXPECT_EQ(passwordChangeRefusal("1", "426813", "a", "a"), QStringLiteral("错误密码"));
  EXPECT_EQ(passwordChangeRefusal("426813", "426813", "a", "b"), QStringLiteral("新密码和确认密码不匹配"));
  // A new password must read back as typed (the forms are the settings test's).
  EXPECT_EQ(passwordChangeRefusal("426813", "426813", "", ""), QStringLiteral("新密码不能为空"));
  EXPECT_EQ(passwordChangeRefusal("426813", "426813", " pw1 ", " pw1 "), QStringLiteral("密码首尾不能有空格或引号"));
  EXPECT_EQ(passwordChangeRefusal("426813", "426813", "pö", "x"), QStringLiteral("不能保存字符：ö"));
  EXPECT_EQ(passwordChangeRefusal("426813", "426813", "p w", "p w"), QString());

  EXPECT_TRUE(hasAdministratorRights("administrator"));
  for (const char* other : {"guest", "Administrator", "", "administrator "}) EXPECT_FALSE(hasAdministratorRights(other));
}

}  // namespace
}  // namespace xl::shell
