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
  EXPECT_EQ(findPortEntry(list, "COM1"), 1);
  EXPECT_EQ(findPortEntry(list, "COM10"), 0);
  EXPECT_EQ(findPortEntry(list, "Com3"), 2);
  EXPECT_EQ(findPortEntry(list, "COM4"), -1);
  // A text from the middle of an entry matches; an empty one (a lone comma) finds the first.
  EXPECT_EQ(findPortEntry(list, "M1"), 1);
  EXPECT_EQ(findPortEntry(list, ""), 0);
  EXPECT_EQ(findPortEntry({}, ""), -1);
  // The first of two matches wins.
  EXPECT_EQ(findPortEntry({"COM3,4800", "COM3,9600"}, "COM3"), 0);

  EXPECT_EQ(portEntry("COM5", "19200"), "COM5,19200");
  EXPECT_EQ(portEntry("", "9600"), "");
  EXPECT_EQ(portEntry("COM5", ""), "");
}

TEST(PortListRules, ProbeFindsThePortsThatOpenAndLeavesHeldOnesOut) {
  platform::VirtualClock clock;
  platform::setScheduler(&clock);
  platform::SimBusDriver driver;
  platform::setPortDriver(&driver);
  driver.addLine("COM3", 9600);
  driver.addLine("COM7", 9600);
  driver.addLine("COM100", 9600);
  driver.addLine("COM101", 9600);  // beyond the probe
  driver.addLine("COM9", 9600);
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
  EXPECT_FALSE(probe.portOpen());
  EXPECT_TRUE(other.portOpen());  // the holder keeps its port
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
  EXPECT_FALSE(emptySiteHint(0, 0).isEmpty());
  EXPECT_NE(emptySiteHint(0, 0), emptySiteHint(1, 0));
  EXPECT_FALSE(emptySiteHint(2, 0).isEmpty());
  EXPECT_TRUE(emptySiteHint(1, 1).isEmpty());
}

TEST(LoginRules, TheButtonDecidesByExactNamesAndPassword) {
  const QString pw = "426813";
  EXPECT_EQ(loginOutcome("administrator", "426813", pw), LoginOutcome::LogIn);
  EXPECT_EQ(loginOutcome("Administrator", "426813", pw), LoginOutcome::UnknownUser);
  EXPECT_EQ(loginOutcome("", "426813", pw), LoginOutcome::UnknownUser);
  EXPECT_EQ(loginOutcome("guest ", "", pw), LoginOutcome::UnknownUser);
  EXPECT_EQ(loginOutcome("guest", "", pw), LoginOutcome::LogIn);
  EXPECT_EQ(loginOutcome("guest", "wrong", pw), LoginOutcome::LogIn);  // the box is not looked at
  EXPECT_EQ(loginOutcome("administrator", "", pw), LoginOutcome::EmptyPassword);
  EXPECT_EQ(loginOutcome("administrator", "426814", pw), LoginOutcome::WrongPassword);
  EXPECT_EQ(loginOutcome("administrator", "AbC", "abc"), LoginOutcome::WrongPassword);  // case counts
  EXPECT_EQ(loginMessage(LoginOutcome::UnknownUser), QStringLiteral("请选择登陆用户名！"));
  EXPECT_EQ(loginMessage(LoginOutcome::EmptyPassword), QStringLiteral("密码不能为空！"));
  EXPECT_EQ(loginMessage(LoginOutcome::WrongPassword), QStringLiteral("密码错误，请重新输入！"));
  EXPECT_EQ(loginMessage(LoginOutcome::LogIn), QString());

  // The five seconds: the guest always, the administrator only on the default password.
  EXPECT_TRUE(autoLogin("administrator", "426813"));
  EXPECT_FALSE(autoLogin("administrator", "secret"));
  EXPECT_TRUE(autoLogin("guest", "secret"));
  EXPECT_FALSE(autoLogin("ADMINISTRATOR", "426813"));

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
