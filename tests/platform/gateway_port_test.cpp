// Gateway ports: the settings value, and the TCP driver against a real peer on 127.0.0.1 under
// the program's own event loop.

#include "platform/gateway_port.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTest>
#include <QTcpSocket>
#include <map>

#include "platform/failure.h"
#include "platform/qt_scheduler.h"
#include "platform/sim_bus.h"
#include "support/qt_app.h"
#include "support/unanswered_host.h"

namespace xl::platform {
namespace {

TEST(GatewayAddress, SettingsValuesAndTypedAddresses) {
  const std::map<std::string, std::optional<GatewayAddress>> values = {
      {"tcp://192.168.1.50:8899", GatewayAddress{"192.168.1.50", 8899}},
      {" TCP://gw-3.site.local:502 ", GatewayAddress{"gw-3.site.local", 502}},
      {"tcp://[fe80::1:2]:65535", GatewayAddress{"fe80::1:2", 65535}},
      {"tcp://[::ffff:10.0.0.1]:1", GatewayAddress{"::ffff:10.0.0.1", 1}}};
  for (const auto& [text, expected] : values) {
    EXPECT_EQ(parseGatewayAddress(text), expected) << text;
    EXPECT_EQ(parseGatewayAddress(gatewayValue(*expected)), expected) << text;
  }
  // The settings want the scheme; IPv6 only in brackets.
  for (const char* text :
       {"192.168.1.50:8899", "udp://10.0.0.1:502", "tcp://fe80::1:502", "tcp://[fe80::1]502", "tcp://[10.0.0.1]:502",
        "tcp://10.0.0.1:0", "tcp://10.0.0.1:65536", "tcp://10.0.0.1:+502", "tcp://10.0.0.1:", "tcp://:502",
        "tcp://10.0.0.1:502/", "tcp://host name:502", "tcp://-x:502"})
    EXPECT_EQ(parseGatewayAddress(text), std::nullopt) << text;
  EXPECT_EQ(parseTypedGatewayAddress("10.0.0.1:502"), (GatewayAddress{"10.0.0.1", 502}));
  EXPECT_EQ(parseTypedGatewayAddress("tcp://[::1]:502"), (GatewayAddress{"::1", 502}));
  EXPECT_EQ(parseTypedGatewayAddress("10.0.0.1"), std::nullopt);
  EXPECT_EQ(gatewayValue({"::1", 502}) + " " + gatewayShown({"10.0.0.1", 502}), "tcp://[::1]:502 10.0.0.1:502");
}

class GatewayPortTest : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::testApp();
    setScheduler(&scheduler);
    setPortDriver(&driver);
    serial.addLine("COM3", 9600);
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    gateways["COM5"] = "tcp://127.0.0.1:" + std::to_string(server.serverPort());
    control.onComm = [this](CommEvent e) { events.push_back(e); };
  }
  void TearDown() override {
    if (control.portOpen()) control.setPortOpen(false);
    setPortDriver(nullptr);
    setScheduler(nullptr);
  }
  void open(int port) {
    control.setCommPort(port);
    control.setRThreshold(1);
    control.setPortOpen(true);
  }
  void reopen(int port) {
    control.setPortOpen(false);
    open(port);
  }
  bool opens(int port) {
    try {
      open(port);
      return true;
    } catch (const RuntimeFailure& f) {
      EXPECT_EQ(f.kind(), Failure::PortUnavailable);
      return false;
    }
  }
  // The bytes the gateway's side has read from its newest connection.
  QByteArray peerRead() {
    while (server.hasPendingConnections()) peer = server.nextPendingConnection();
    if (peer) received += peer->readAll();
    return received;
  }

  QtScheduler scheduler;
  SimBusDriver serial;
  std::map<std::string, std::string> gateways;
  GatewayDriver driver{serial, [this](const std::string& name) { return gateways[name]; }, ms(300)};
  QTcpServer server;
  QTcpSocket* peer = nullptr;
  QByteArray received;
  SerialControl control{"Test.MSComm1"};
  std::vector<CommEvent> events;
};

TEST_F(GatewayPortTest, BytesGoBothWaysAndADroppedConnectionIsMadeAgainAtTheNextWrite) {
  // A serial port goes to the serial driver, a gateway port connects at its first write only.
  open(3);
  reopen(5);
  EXPECT_FALSE(QTest::qWaitFor([&] { return server.hasPendingConnections(); }, 100));
  control.output({0x01, 0x03, 0x01, 0x00});
  control.setPortOpen(false);  // written, then closed at once: the bytes still go out
  ASSERT_TRUE(QTest::qWaitFor([&] { return peerRead() == QByteArray("\x01\x03\x01\x00", 4); }, 2000));

  open(5);
  control.output({0x02});
  ASSERT_TRUE(QTest::qWaitFor([&] { return peerRead().size() == 5; }, 2000));
  peer->write("\x01\x83\x02", 3);
  ASSERT_TRUE(QTest::qWaitFor([&] { return !events.empty(); }, 2000));
  peer->write("\xC0\xF1", 2);  // more bytes of the same reply raise no second event
  EXPECT_TRUE(QTest::qWaitFor([&] { return control.inBufferCount() == 5; }, 2000));
  EXPECT_EQ(events, std::vector<CommEvent>{CommEvent::Receive});
  EXPECT_EQ(control.input(), (Bytes{0x01, 0x83, 0x02, 0xC0, 0xF1}));

  // The gateway drops the connection: a line error; the next write connects again.
  QTcpSocket* first = peer;
  peer->disconnectFromHost();
  ASSERT_TRUE(QTest::qWaitFor([&] { return events.size() == 2; }, 2000));
  EXPECT_EQ(events[1], CommEvent::LineError);
  reopen(5);
  control.output({0x07});
  ASSERT_TRUE(QTest::qWaitFor([&] { return peerRead().endsWith('\x07') && peer != first; }, 2000));
  // A reply that comes after the port was closed is dropped, not kept for the next opening.
  control.setPortOpen(false);
  peer->write("\x55", 1);
  QTest::qWait(50);
  open(5);
  EXPECT_EQ(control.inBufferCount(), 0);
}

TEST_F(GatewayPortTest, WhileConnectingThePortCannotOpenAndEachRequestTriesAgain) {
  // Refused: nobody listens; the request's bytes are dropped, the port opens again at once.
  const quint16 port = server.serverPort();
  server.close();
  open(5);
  control.output({0x01});
  QTest::qWait(50);
  control.setPortOpen(false);
  // The gateway comes back: the very next request goes through, and nothing stale with it.
  ASSERT_TRUE(server.listen(QHostAddress::LocalHost, port));
  open(5);
  control.output({0x09});
  EXPECT_TRUE(QTest::qWaitFor([&] { return peerRead() == QByteArray("\x09", 1); }, 2000));
  control.setPortOpen(false);

  // A host that never answers: while the attempt lasts (the timeout) the port cannot be
  // opened, then it can and the next attempt starts; the event loop never waits.
  testing::UnansweredHost silent;
  gateways["COM6"] = "tcp://127.0.0.1:" + std::to_string(silent.port());
  QElapsedTimer t;
  t.start();
  open(6);
  control.output({0x01});
  control.setPortOpen(false);
  EXPECT_FALSE(opens(6));
  qint64 worstGap = 0, last = 0;
  while (!opens(6) && t.elapsed() < 2000) {
    QTest::qWait(5);
    worstGap = std::max(worstGap, t.elapsed() - last);
    last = t.elapsed();
  }
  EXPECT_TRUE(t.elapsed() >= 300 && t.elapsed() < 600) << t.elapsed();
  EXPECT_LT(worstGap, 50);
  control.output({0x02});
  control.setPortOpen(false);
  EXPECT_FALSE(opens(6));
  // An unreadable value leaves the port unable to open; a changed address is a new gateway.
  EXPECT_FALSE((gateways["COM6"] = "tcp://127.0.0.1", opens(6)));
  EXPECT_TRUE((gateways["COM6"] = gateways["COM5"], opens(6)));
}

}  // namespace
}  // namespace xl::platform
