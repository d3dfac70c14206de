// Availability on a real mosquitto broker: what a consumer such as Home Assistant is told about
// each station when the console starts, when a station never answers, when the Client Id is
// changed, and when the console is killed.

#include <gtest/gtest.h>

#include <csignal>

#include "core/settings.h"
#include "monitoring/frm_global_monitoring.h"
#include "publish/publisher.h"
#include "support/two_stations.h"
#include "tests/publish/publisher_fixture.h"
#include "tools/sim/bus.h"

namespace xl {
namespace {

using monitoring::FrmGlobalMonitoring;
using platform::ms;
using testing::Broker;
using testing::Subscriber;
using testing::jsonOf;

const std::string kOld = "xinglan/site1/";

using AvailabilityTest = testing::PublisherFixture;
QString last(const std::vector<QByteArray>& v) { return testing::lastOf(v); }

// A station is offline until its first reply of this run, then online; silent, offline again;
// answering, online. A Client Id changed clears what was retained under the old one.
TEST_F(AvailabilityTest, StationsAreOfflineUntilTheirFirstReplyOfThisRunAndAClientIdChangeClearsTheOldTopics) {
  Broker broker;
  // A previous run left station 2 "online" (retained), and a clean exit sends no will.
  {
    start();
    makePublisher();
    publishTo(broker.port());
    Subscriber sub(broker.port(), "xl-test-first");
    ASSERT_TRUE(runUntil([&] { return last(sub.on(kOld + "二号站/availability")) == "online"; }));
    publisher.reset();
    ui::discardAll();
  }
  const sim::Faults silent{.silent = true};
  station2->setFaults(silent);
  start();
  makePublisher();
  useStaleRule();
  publishTo(broker.port());
  Subscriber sub(broker.port(), "xl-test-second");
  ASSERT_TRUE(sub.subscribed());
  ASSERT_TRUE(runUntil([&] {
    return last(sub.on(kOld + "二号站/availability")) == "offline" && last(sub.on(kOld + "一号站/availability")) == "online";
  }));
  // Station 2 stays offline: never answered in this run.
  runUntil([] { return false; }, 1500);
  EXPECT_EQ(last(sub.on(kOld + "二号站/availability")), "offline");
  // Station 1 falls silent: offline; it answers again: online.
  station1->setFaults(silent);
  ASSERT_TRUE(runUntil([&] { return last(sub.on(kOld + "一号站/availability")) == "offline"; }));
  station1->setFaults({});
  ASSERT_TRUE(runUntil([&] { return last(sub.on(kOld + "一号站/availability")) == "online"; }));
  // Each change of this run once: offline (no reply yet), online, offline, online.
  const auto live = sub.on(kOld + "一号站/availability", true);
  EXPECT_EQ(std::vector<QByteArray>(live.end() - std::min<std::size_t>(live.size(), 3), live.end()),
            (std::vector<QByteArray>{"online", "offline", "online"}));

  // A discovery config of this run (its keys are checked in the rules' test).
  std::string configTopic;
  for (const auto& m : sub.messages())
    if (m.topic.rfind("homeassistant/sensor/site1_", 0) == 0 && !m.payload.isEmpty()) configTopic = m.topic;
  ASSERT_FALSE(configTopic.empty());
  EXPECT_EQ(jsonOf(sub.on(configTopic).back())["availability_mode"].toString(), "all");

  // Another Client Id: nothing stays retained under the old one.
  publishTo(broker.port(), "site2");
  ASSERT_TRUE(runUntil([&] { return last(sub.on("xinglan/site2/一号站/availability")) == "online"; }));
  Subscriber fresh(broker.port(), "xl-test-fresh");
  ASSERT_TRUE(fresh.subscribed());
  runUntil([] { return false; }, 500);
  for (const auto& m : fresh.messages()) {
    EXPECT_NE(m.topic.rfind(kOld, 0), 0u) << m.topic;
    EXPECT_NE(m.topic, configTopic);
  }
}

#ifdef XL_CONSOLE_PROGRAM
TEST_F(AvailabilityTest, KilledConsoleTakesItsStationsOfflineThroughItsLastWill) {
  Broker broker;
  Subscriber sub(broker.port(), "xl-test-kill");
  ASSERT_TRUE(sub.subscribed());
  // The console's own folder: its program, and settings that turn the publisher on.
  const QString program = dir.path() + "/xinglan";
  ASSERT_TRUE(QFile::copy(QStringLiteral(XL_CONSOLE_PROGRAM), program));
  const QString ini = dir.path() + "/MSCON.DLL";
  for (const auto& [key, value] : {std::pair<QString, QString>{"Enabled", "1"}, {"Host", "127.0.0.1"},
                                   {"Port", QString::number(broker.port())}, {"Client Id", "killed"}})
    core::writeIniFile("MQTT", key, value, ini);
  QProcess console;
  QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
  env.insert("QT_QPA_PLATFORM", "offscreen");
  console.setProcessEnvironment(env);
  console.setStandardOutputFile(QProcess::nullDevice());
  console.setStandardErrorFile(QProcess::nullDevice());
  console.start(program, {});
  ASSERT_TRUE(console.waitForStarted(5000));
  const std::string status = "xinglan/killed/status";
  ASSERT_TRUE(runUntil([&] { return last(sub.on(status)) == "online"; }, 15000));
  ::kill(static_cast<pid_t>(console.processId()), SIGKILL);
  console.waitForFinished(5000);
  EXPECT_TRUE(runUntil([&] { return last(sub.on(status)) == "offline"; }, 10000));
}
#endif

}  // namespace
}  // namespace xl
