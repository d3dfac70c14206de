#include "platform/sim_bus.h"

#include <gtest/gtest.h>

#include "platform/failure.h"
#include "support/scripted_device.h"

namespace xl::platform {
namespace {

using std::chrono::microseconds;

class SimBusTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setScheduler(&clock);
    setPortDriver(&driver);
    line = &driver.addLine("COM3", 9600);
    device = std::make_shared<testing::ScriptedDevice>();
    line->attach(device);
    control.onComm = [&](CommEvent) { events.push_back(clock.now()); };
  }
  void open() {
    control.setCommPort(3);
    control.setSettings("9600,N,8,1");
    control.setRThreshold(1);
    control.setPortOpen(true);
  }
  VirtualClock clock;
  SimBusDriver driver;
  SimLine* line = nullptr;
  std::shared_ptr<testing::ScriptedDevice> device;
  SerialControl control{"Test.MSComm1"};
  std::vector<Duration> events;
};

TEST_F(SimBusTest, BytesTravelAtTenBitsEach) {
  open();
  device->reply = {{ms(2), Bytes(75, 0x55)}};
  control.output(Bytes(8, 0x01));
  // The request is with the device after 8 byte times.
  clock.advance(microseconds(8332));
  EXPECT_TRUE(device->received.empty());
  clock.advance(microseconds(1));
  ASSERT_EQ(device->received.size(), 1u);
  EXPECT_EQ(device->received[0].first, microseconds(8333));
  // The first reply byte is complete one byte time after the latency.
  const Duration first = microseconds(8333 + 2000 + 1041);
  clock.advance(first - clock.now() - microseconds(1));
  EXPECT_TRUE(events.empty() && control.inBufferCount() == 0);
  clock.advance(microseconds(1));
  EXPECT_EQ(events, std::vector<Duration>{first});
  EXPECT_EQ(control.inBufferCount(), 1);
  // Half way through, half the bytes are in; the event is not raised again while unread.
  clock.advance(microseconds(37 * 1042));
  EXPECT_NEAR(control.inBufferCount(), 38, 1);
  clock.advance(ms(50));
  EXPECT_TRUE(control.input().size() == 75u && events.size() == 1u);
  ASSERT_EQ(line->wire().size(), 2u);
  EXPECT_FALSE(line->wire()[1].fromMaster);
  EXPECT_EQ(line->wire()[1].end - line->wire()[1].start, microseconds(78125));
}

TEST_F(SimBusTest, SecondPartRaisesAnEventAfterARead) {
  open();
  device->reply = {{ms(1), Bytes(10, 1)}, {ms(150), Bytes(10, 2)}};
  control.output(Bytes{0x01});
  clock.advance(ms(100));
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(control.input(), Bytes(10, 1));
  clock.advance(ms(200));
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(control.input(), Bytes(10, 2));
  // The gap is there on the wire.
  ASSERT_EQ(line->wire().size(), 3u);
  EXPECT_EQ(line->wire()[2].start - line->wire()[1].end, ms(150));
}

TEST_F(SimBusTest, BytesArrivingWhileClosedAreLost) {
  open();
  device->reply = {{ms(1), Bytes(20, 7)}};
  control.output(Bytes{0x01});
  clock.advance(ms(5));
  control.setPortOpen(false);
  clock.advance(ms(5));
  control.setPortOpen(true);
  clock.advance(ms(100));
  // Only bytes that arrived after the reopening are in the buffer.
  const auto got = control.input().size();
  EXPECT_TRUE(got > 0u && got < 20u) << got;
  // Dropping the input buffer loses what has come, not what is still on its way.
  device->reply = {{ms(1), Bytes(40, 9)}};
  control.output(Bytes{0x01});
  clock.advance(ms(20));
  control.setInBufferCount(0);
  clock.advance(ms(100));
  const auto rest = control.input().size();
  EXPECT_TRUE(rest > 0u && rest < 40u) << rest;
}

TEST_F(SimBusTest, OpeningIsExclusiveAcrossControls) {
  open();
  SerialControl other("Other.MSComm1");
  other.setCommPort(3);
  EXPECT_THROW(other.setPortOpen(true), RuntimeFailure);
  EXPECT_FALSE(other.portOpen());
  EXPECT_THROW(control.setPortOpen(true), RuntimeFailure);  // already open
  EXPECT_THROW(control.setCommPort(4), RuntimeFailure);     // not while open
  control.setPortOpen(false);
  EXPECT_NO_THROW(other.setPortOpen(true));
  EXPECT_TRUE(portHeld("COM3"));
  // A control that goes away gives its port back.
  {
    SerialControl temp("Temp.MSComm1");
    temp.setCommPort(4);
    EXPECT_THROW(temp.setPortOpen(true), RuntimeFailure);  // no such line
  }
  other.setPortOpen(false);
  {
    SerialControl temp("Temp.MSComm1");
    temp.setCommPort(3);
    temp.setPortOpen(true);
  }
  EXPECT_FALSE(portHeld("COM3"));
}

}  // namespace
}  // namespace xl::platform
