// A gateway port in the whole console, in real time on the program's event loop: the line of a
// simulated controller (xinglan-sim on a pseudo-terminal) reached through a serial-to-Ethernet
// stand-in (socat, TCP on 127.0.0.1 to the pseudo-terminal), mapped as COM5 in the settings.

#include <QProcess>
#include <atomic>

#include "core/settings_keys.h"
#include "link/exchange_log.h"
#include "platform/gateway_port.h"
#include "platform/port_names.h"
#include "platform/qt_scheduler.h"
#include "platform/qt_serial_port.h"
#include "shell/port_list.h"
#include "support/free_port.h"
#include "support/unanswered_host.h"
#include "tests/e2e/e2e.h"

namespace xl::testing {
namespace {

class GatewayTest : public ConsoleFixture {
 protected:
  void SetUp() override {
    ConsoleFixture::SetUp();
    platform::setScheduler(&qtScheduler);
    platform::setPortDriver(&gateways);
    wall.start();
    port = freeTcpPort();  // for the stand-in
    QFile bus(dir.path() + "/bus.conf");
    ASSERT_TRUE(bus.open(QIODevice::WriteOnly));
    bus.write("[station]\nport = COM3,9600\naddress = 1\nlive = no\n");
    bus.close();
    sim.start(XL_SIM_PROGRAM, {"--config", dir.path() + "/bus.conf", "--ports-dir", dir.path() + "/sim", "--quiet"});
    ASSERT_TRUE(QTest::qWaitFor([&] { return QFile::exists(dir.path() + "/sim/COM3"); }, 5000));
    startStandIn();
    setPorts({"COM5,9600"});
    mapCom5To(port);
    core::writeIniFile("Maintenance Record", "Read Interval", "2", dir.path() + "/MSCON.DLL");
    addStation(QStringLiteral("网关站"), "COM5,9600", "1");
    observer = link::addExchangeObserver([this](const link::Exchange& e) {
      // When the request went out, on the test's wall clock: the exchange is told at its end.
      if (e.port == "COM5" && !e.request.empty()) {
        seen.push_back(e);
        seen.back().sentUs = wall.elapsed() * 1000 - (e.endedUs - e.sentUs);
      }
    });
  }
  void TearDown() override {
    link::removeExchangeObserver(observer);
    ConsoleFixture::TearDown();
    standIn.kill();
    standIn.waitForFinished(2000);
    sim.terminate();
    sim.waitForFinished(3000);
    platform::setPortDriver(nullptr);
    platform::setScheduler(&clock);  // the base's clock outlives this fixture's scheduler
  }
  void mapCom5To(quint16 tcpPort) {
    core::writeIniFile(core::keys::kNetworkPorts, "COM5", QString("tcp://127.0.0.1:%1").arg(tcpPort),
                       dir.path() + "/MSCON.DLL");
  }
  // The gateway stand-in: one TCP client at a time, its bytes to and from the line. It is
  // ready when it says it listens (a connection would use up its one client, and taking the
  // port to try it could make the stand-in fail to bind).
  void startStandIn() {
    standIn.start("socat", {"-d", "-d", QString("TCP-LISTEN:%1,bind=127.0.0.1,reuseaddr").arg(port),
                            "FILE:" + dir.path() + "/sim/COM3,raw,echo=0"});
    ASSERT_TRUE(standIn.waitForStarted(3000)) << "socat is needed for this test";
    QByteArray said;
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return (said += standIn.readAllStandardError()).contains("listening on"); }, 3000));
  }
  // The first real-time request sent at or after `fromMs`, once it has its verdict.
  const link::Exchange* realTimeAfter(qint64 fromMs) const {
    for (const link::Exchange& s : seen)
      if (s.sentUs >= fromMs * 1000 && hexText(s.request).rfind("010301000023", 0) == 0) return &s;
    return nullptr;
  }

  platform::QtScheduler qtScheduler;
  platform::QtPortDriver serial{
      [this](const std::string& n) { return platform::resolvePortPath(dir.path().toStdString(), n); }};
  platform::GatewayDriver gateways{serial, shell::gatewayOfPort};
  QProcess sim, standIn;
  quint16 port = 0;
  QElapsedTimer wall;
  std::vector<link::Exchange> seen;  // sent at their wall-clock time
  int observer = 0;
};

TEST_F(GatewayTest, PolledThroughTheGatewayAgainAfterItsRestartAndNeverFrozenByAHostThatDoesNotAnswer) {
  start();
  // Discovery (first) and the rounds through the stand-in.
  ASSERT_TRUE(QTest::qWaitFor([&] { return realTimeAfter(0) && scan().answered(1); }, 20000));
  EXPECT_EQ(hexText(seen.front().request).substr(0, 12) + " " + link::verdictText(seen.front().verdict) + " " +
                link::verdictText(realTimeAfter(0)->verdict),
            "0103000A0011 正常 正常");

  // The gateway goes away (its connection drops, then connections are refused) and comes back:
  // the first real-time request after the restart is answered, within one round of the scan.
  standIn.kill();
  standIn.waitForFinished(2000);
  const qint64 down = wall.elapsed();
  ASSERT_TRUE(QTest::qWaitFor([&] { return realTimeAfter(down) != nullptr; }, 10000));
  EXPECT_EQ(realTimeAfter(down)->verdict, link::Verdict::NoReply);
  startStandIn();
  const qint64 restarted = wall.elapsed();
  ASSERT_TRUE(QTest::qWaitFor([&] { return realTimeAfter(restarted) != nullptr; }, 15000));
  EXPECT_EQ(realTimeAfter(restarted)->verdict, link::Verdict::Ok);
  EXPECT_LE(realTimeAfter(restarted)->sentUs / 1000 - restarted, scan().roundLengthUs() / 1000 + 500);

  // A host that does not answer at all: operator input waits no longer than it ever does.
  UnansweredHost silent;
  mapCom5To(silent.port());
  const std::size_t before = seen.size();
  // The operator, outside the program: a press every 20 ms for 7 s, whatever the program does;
  // each notes how long it waited to be delivered.
  std::atomic<int> posted = 0, delivered = 0;
  std::atomic<qint64> worstWaitMs = 0;
  std::thread operatorHand([&] {
    for (; posted < 350; ++posted, std::this_thread::sleep_for(std::chrono::milliseconds(20)))
      QMetaObject::invokeMethod(qApp, [&, at = wall.elapsed()] {
        worstWaitMs = std::max<qint64>(worstWaitMs, wall.elapsed() - at);
        ++delivered;
      });
  });
  (void)QTest::qWaitFor([&] { return posted == 350; }, 10000);
  operatorHand.join();
  EXPECT_TRUE(QTest::qWaitFor([&] { return delivered == 350; }, 500));
  EXPECT_LT(worstWaitMs, 100);
  EXPECT_GT(seen.size(), before);  // the scan went on asking
  for (std::size_t i = before; i < seen.size(); ++i) EXPECT_EQ(seen[i].verdict, link::Verdict::NoReply);
}

}  // namespace
}  // namespace xl::testing
