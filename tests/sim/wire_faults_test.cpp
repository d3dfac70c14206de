// Stations on a simulated line under a virtual clock: what their faults do on the wire.

#include <gtest/gtest.h>

#include "link/frame_codec.h"
#include "platform/sim_bus.h"
#include "sim_test_util.h"
#include "tools/sim/bus.h"

namespace xl::sim {
namespace {

using platform::Duration;
using platform::ms;
using platform::WireFrame;
using std::chrono::microseconds;

class WireTest : public ::testing::Test {
 protected:
  void SetUp() override { platform::setScheduler(&clock); }
  void TearDown() override { platform::setScheduler(nullptr); }

  platform::SimLine& line() { return *driver.line("COM3"); }

  // Writes `request` on COM3 as the master at `at` and lets 600 ms pass; returns the frames of
  // this exchange (the request first).
  std::vector<WireFrame> exchange(const Bytes& request) {
    line().clearWire();
    auto port = driver.open("COM3", platform::LineSettings{9600});
    port->write(request);
    clock.advance(ms(600));
    return line().wire();
  }

  // The byte counts of the frames of an exchange, request first.
  static std::vector<std::size_t> sizes(const std::vector<WireFrame>& wire) {
    std::vector<std::size_t> out;
    for (const WireFrame& f : wire) out.push_back(f.bytes.size());
    return out;
  }
  static Bytes joined(const std::vector<WireFrame>& wire) {
    Bytes all;
    for (std::size_t i = 1; i < wire.size(); ++i) all.insert(all.end(), wire[i].bytes.begin(), wire[i].bytes.end());
    return all;
  }

  platform::VirtualClock clock;
  platform::SimBusDriver driver;
  Bus bus{driver};
};

// 10 bits a byte at 9600 baud, to the microsecond.
Duration bytesAt9600(std::size_t n) { return microseconds(static_cast<std::int64_t>(n) * 10'000'000 / 9600); }

TEST_F(WireTest, AStationAnswersAfterItsLatencyAtWireSpeed) {
  Controller& c = bus.add("COM3", 1);
  c.setLatency(ms(4));
  const auto wire = exchange(requestFrame(1, " 03 0100 0023"));
  ASSERT_EQ(wire.size(), 2u);
  EXPECT_TRUE(wire[0].fromMaster && !wire[1].fromMaster);
  EXPECT_EQ(wire[0].end - wire[0].start, bytesAt9600(8));
  EXPECT_EQ(wire[1].start, wire[0].end + ms(4));
  EXPECT_EQ(wire[1].end - wire[1].start, bytesAt9600(75));  // 78 ms
  EXPECT_EQ(verifyFrame(hexText(wire[1].bytes)).value_or(Bytes{}).size(), 73u);
}

TEST_F(WireTest, SplitReplyComesInTwoPartsWithTheGapBetween) {
  Controller& c = bus.add("COM3", 1);
  c.setFaults(Faults{.splitGap = ms(150)});
  const Bytes whole = c.handle(requestFrame(1, " 03 0100 0023"), clock.now()).value();
  const auto wire = exchange(requestFrame(1, " 03 0100 0023"));
  ASSERT_EQ(sizes(wire), (std::vector<std::size_t>{8, 37, 38}));
  EXPECT_EQ(wire[2].start - wire[1].end, ms(150));
  EXPECT_EQ(joined(wire), whole);
  // The console reads 100 ms after the first byte: it has the head only, which fails the CRC.
  EXPECT_EQ(verifyFrame(hexText(wire[1].bytes)), Bytes{0});

  c.setFaults(Faults{.splitGap = ms(20), .splitAt = 3});
  const auto early = exchange(requestFrame(1, " 03 000A 0011"));
  ASSERT_EQ(sizes(early), (std::vector<std::size_t>{8, 3, 36}));
  EXPECT_EQ(early[2].start - early[1].end, ms(20));
}

TEST_F(WireTest, BadCrcFailsTheCheck) {
  Controller& c = bus.add("COM3", 1);
  c.setFaults(Faults{.badCrc = true});
  const auto wire = exchange(requestFrame(1, " 03 000A 0011"));
  ASSERT_EQ(sizes(wire), (std::vector<std::size_t>{8, 39}));
  EXPECT_EQ(verifyFrame(hexText(wire[1].bytes)), Bytes{0});
}

TEST_F(WireTest, SilentStationNeitherAnswersNorActs) {
  Controller& c = bus.add("COM3", 1);
  c.setLive(false);
  c.state().readings.loadOn = true;
  c.setFaults(Faults{.silent = true});
  EXPECT_EQ(exchange(requestFrame(1, " 06 010A 0000")).size(), 1u);
  EXPECT_TRUE(c.state().readings.loadOn);
}

TEST_F(WireTest, ExceptionInsteadOfTheReplyAndNothingDone) {
  Controller& c = bus.add("COM3", 1);
  c.setLive(false);
  c.state().readings.loadOn = true;
  c.setFaults(Faults{.exception = Exception::IllegalAddress});
  const auto wire = exchange(requestFrame(1, " 06 010A 0000"));
  ASSERT_EQ(wire.size(), 2u);
  EXPECT_EQ(wire[1].bytes, appendCrc(Bytes{0x01, 0x86, 0x02}));
  EXPECT_TRUE(c.state().readings.loadOn);
  EXPECT_EQ(exchange(requestFrame(2, " 06 010A 0000")).size(), 1u);  // still only its own frames
}

TEST_F(WireTest, AnswerFromAWrongAddressHasASoundCrc) {
  Controller& c = bus.add("COM3", 1);
  const Bytes normal = c.handle(requestFrame(1, " 03 000A 0011"), clock.now()).value();
  c.setFaults(Faults{.replyAddress = 9});
  const auto wire = exchange(requestFrame(1, " 03 000A 0011"));
  ASSERT_EQ(wire.size(), 2u);
  Bytes moved(normal.begin(), normal.end() - 2);
  moved[0] = 9;
  EXPECT_EQ(verifyFrame(hexText(wire[1].bytes)), moved);
}

TEST_F(WireTest, FaultsChangeWhileTheLineRuns) {
  Controller& c = bus.add("COM3", 1);
  const Bytes request = requestFrame(1, " 03 000A 0011");
  EXPECT_EQ(exchange(request).size(), 2u);
  c.setFaults(Faults{.silent = true});
  EXPECT_EQ(exchange(request).size(), 1u);
  c.setFaults(Faults{.delay = ms(100)});
  const auto late = exchange(request);
  ASSERT_EQ(late.size(), 2u);
  EXPECT_EQ(late[1].start - late[0].end, c.latency() + ms(100));
  c.setFaults({});
  const auto back = exchange(request);
  ASSERT_EQ(back.size(), 2u);
  EXPECT_EQ(back[1].start - back[0].end, c.latency());
}

TEST_F(WireTest, SeveralStationsShareTheLine) {
  for (std::uint8_t a = 1; a <= 3; ++a) bus.add("COM3", a);
  const auto wire = exchange(requestFrame(2, " 03 000A 0011"));
  ASSERT_EQ(wire.size(), 2u);
  EXPECT_EQ(wire[1].bytes[0], 2);

  // A broadcast switches every load off and nobody answers.
  EXPECT_EQ(exchange(requestFrame(0, " 06 010A 0000")).size(), 1u);
  for (const auto& s : bus.stations()) EXPECT_FALSE(s.controller->state().readings.loadOn);

  // A station that restarts is silent for a while, the others are not.
  Controller* two = bus.find("COM3", 2);
  ASSERT_NE(two, nullptr);
  two->setRestartSilence(std::chrono::seconds(2));
  EXPECT_EQ(exchange(requestFrame(2, " 06 DF01 0001")).size(), 2u);
  EXPECT_EQ(exchange(requestFrame(2, " 03 000A 0011")).size(), 1u);
  EXPECT_EQ(exchange(requestFrame(3, " 03 000A 0011")).size(), 2u);
  clock.advance(std::chrono::seconds(1));
  EXPECT_EQ(exchange(requestFrame(2, " 03 000A 0011")).size(), 2u);
}

TEST_F(WireTest, TwoStationsAtOneAddressCollideWithoutOverlapping) {
  bus.add("COM3", 1);
  bus.add("COM3", 1);
  const auto wire = exchange(requestFrame(1, " 03 000A 0011"));
  ASSERT_EQ(wire.size(), 3u);
  EXPECT_GE(wire[2].start, wire[1].end);
}

TEST_F(WireTest, BusFromAConfigurationAndItsLines) {
  const BusConfig config = parseConfig(
      "[station]\nport = COM3,9600\naddress = 4\n"
      "[station]\nport = COM5,19200\naddress = 4\nsilent = yes\n");
  Bus fromText(driver, config);
  ASSERT_TRUE(driver.line("COM3") && driver.line("COM5"));
  EXPECT_EQ(driver.line("COM5")->baud(), 19200);
  EXPECT_EQ(fromText.stations().size(), 2u);
  EXPECT_TRUE(fromText.find("COM5", 4)->faults().silent);
  EXPECT_EQ(exchange(requestFrame(4, " 03 000A 0011")).size(), 2u);
  // A line exists at one rate only.
  EXPECT_THROW(fromText.add("COM5", 9600, StationOptions{}), std::invalid_argument);
}

}  // namespace
}  // namespace xl::sim
