// Stations on a simulated line under a virtual clock: what their faults do on the wire; and the
// frame detection and reply pacing of the pseudo-terminal front end, on invented times.

#include "platform/sim_bus.h"
#include "sim_test_util.h"
#include "tools/sim/bus.h"
#include "tools/sim/line_timing.h"

namespace xl::sim {
namespace {

using platform::ms;
using platform::WireFrame;
using std::chrono::microseconds;

class WireTest : public ::testing::Test {
 protected:
  void SetUp() override { platform::setScheduler(&clock); }
  void TearDown() override { platform::setScheduler(nullptr); }

  // Writes `request` on COM3 as the master and lets 600 ms pass; returns the frames of this
  // exchange (the request first).
  std::vector<WireFrame> exchange(const Bytes& request) {
    driver.line("COM3")->clearWire();
    auto port = driver.open("COM3", platform::LineSettings{9600});
    port->write(request);
    clock.advance(ms(600));
    return driver.line("COM3")->wire();
  }
  // An exchange as text: the request's size, then for each reply frame the silence before it in
  // microseconds, its size, and its first three bytes when its CRC holds, else "!".
  std::string sent(const Bytes& request) {
    const auto wire = exchange(request);
    std::string s = (wire.at(0).fromMaster ? "M" : "S") + std::to_string(wire[0].bytes.size());
    for (std::size_t i = 1; i < wire.size(); ++i) {
      const Bytes v = verifyFrame(hexText(wire[i].bytes)).value_or(Bytes{});
      s += " +" + std::to_string((wire[i].start - wire[i - 1].end) / microseconds(1)) +
           (wire[i].fromMaster ? " M" : " S") + std::to_string(wire[i].bytes.size()) + " " +
           (v.size() > 1 ? hexText(Bytes(v.begin(), v.begin() + 3)) : "!");
    }
    return s;
  }

  platform::VirtualClock clock;
  platform::SimBusDriver driver;
  Bus bus{driver};
};

TEST_F(WireTest, EachFaultOnTheWireAndNothingDoneForARefusedWrite) {
  Controller& c = bus.add("COM3", 1);
  c.setLive(false);
  c.state().readings.loadOn = true;
  c.setLatency(ms(4));
  const Bytes realTime = requestFrame(1, " 03 0100 0023"), info = requestFrame(1, " 03 000A 0011");
  const Bytes loadOff = requestFrame(1, " 06 010A 0000");
  const Bytes whole = c.handle(realTime, clock.now()).value();
  // Reply frames at wire speed: 75 bytes in 78.125 ms.
  const auto wire = exchange(realTime);
  ASSERT_EQ(wire.size(), 2u);
  EXPECT_EQ(std::pair((wire[0].end - wire[0].start) / microseconds(1), (wire[1].end - wire[1].start) / microseconds(1)),
            std::pair(8333L, 78125L));

  const struct {
    Faults faults;
    Bytes request;
    const char* wire;
  } cases[] = {{{}, realTime, "M8 +4000 S75 010346"},
               // Split: the console reads 100 ms after the first byte and has the head only, which fails
               // the CRC.
               {Faults{.splitGap = ms(150)}, realTime, "M8 +4000 S37 ! +150000 S38 !"},
               {Faults{.splitGap = ms(20), .splitAt = 3}, info, "M8 +4000 S3 ! +20000 S36 !"},
               {Faults{.badCrc = true}, info, "M8 +4000 S39 !"},
               {Faults{.silent = true}, loadOff, "M8"},
               {Faults{.exception = Exception::IllegalAddress}, loadOff, "M8 +4000 S5 018602"},
               {Faults{.exception = Exception::IllegalAddress}, requestFrame(2, " 06 010A 0000"), "M8"},
               {Faults{.replyAddress = 9}, info, "M8 +4000 S39 090322"},
               {Faults{.delay = ms(100)}, info, "M8 +104000 S39 010322"},
               {{}, info, "M8 +4000 S39 010322"}};
  for (const auto& row : cases) {
    c.setFaults(row.faults);
    EXPECT_EQ(sent(row.request), row.wire) << hexText(row.request);
  }
  // Neither the silent station nor the refusing one switched the load.
  EXPECT_TRUE(c.state().readings.loadOn);

  // The two parts of a split reply are the whole reply.
  c.setFaults(Faults{.splitGap = ms(150)});
  const auto split = exchange(realTime);
  ASSERT_EQ(split.size(), 3u);
  Bytes joined = split[1].bytes;
  joined.insert(joined.end(), split[2].bytes.begin(), split[2].bytes.end());
  EXPECT_EQ(joined, whole);
}

TEST_F(WireTest, SeveralStationsShareTheLine) {
  for (std::uint8_t a = 1; a <= 3; ++a) bus.add("COM3", a);
  const auto info = [](int a) { return requestFrame(a, " 03 000A 0011"); };
  EXPECT_EQ(sent(info(2)), "M8 +5000 S39 020322");
  // A broadcast switches every load off and nobody answers.
  EXPECT_EQ(sent(requestFrame(0, " 06 010A 0000")), "M8");
  for (const auto& s : bus.stations()) EXPECT_FALSE(s.controller->state().readings.loadOn);

  // A station that restarts is silent for a while, the others are not.
  Controller* two = bus.find("COM3", 2);
  ASSERT_NE(two, nullptr);
  two->setRestartSilence(std::chrono::seconds(2));
  EXPECT_EQ(sent(requestFrame(2, " 06 DF01 0001")), "M8 +5000 S8 0206DF");
  EXPECT_EQ(sent(info(2)) + "; " + sent(info(3)), "M8; M8 +5000 S39 030322");
  clock.advance(std::chrono::seconds(1));
  EXPECT_EQ(sent(info(2)), "M8 +5000 S39 020322");

  // Two stations at one address collide without overlapping.
  bus.add("COM3", 2);
  EXPECT_EQ(sent(info(2)), "M8 +5000 S39 020322 +0 S39 020322");
}

TEST_F(WireTest, BusFromAConfigurationAndItsLines) {
  const BusConfig config = parseConfig(
      "[station]\nport = COM3,9600\naddress = 4\n"
      "[station]\nport = COM5,19200\naddress = 4\nsilent = yes\n");
  Bus fromText(driver, config);
  ASSERT_TRUE(driver.line("COM3") && driver.line("COM5"));
  EXPECT_EQ(
      std::tuple(driver.line("COM5")->baud(), fromText.stations().size(), fromText.find("COM5", 4)->faults().silent),
      std::tuple(19200, 2u, true));
  EXPECT_EQ(sent(requestFrame(4, " 03 000A 0011")), "M8 +5000 S39 040322");
  // A line exists at one rate only.
  EXPECT_THROW(fromText.add("COM5", 9600, StationOptions{}), std::invalid_argument);
}

// A taken frame as text: its bytes and the time its last byte ended on the wire, in µs.
std::string frame(const std::optional<FrameAssembler::Frame>& f) {
  return f ? hexText(f->bytes) + "@" + std::to_string(f->end / microseconds(1)) : "none";
}

TEST(FrameAssembler, AFrameEndsAfterThreeAndAHalfCharactersOfSilence) {
  FrameAssembler a(9600);
  // At high rates the silence does not go below 1.75 ms.
  EXPECT_EQ(std::pair(a.silence(), FrameAssembler(115200).silence()),
            std::pair(microseconds(3645), microseconds(1750)));
  EXPECT_FALSE(a.deadline());

  // Eight bytes written at once occupy the wire for 8.33 ms.
  a.push(hex("01 03 00 0A 00 11 A5 C4"), ms(10));
  const auto due = ms(10) + microseconds(8333) + a.silence();
  EXPECT_EQ(a.deadline(), due);
  EXPECT_EQ(frame(a.take(due - microseconds(1))), "none");
  EXPECT_EQ(frame(a.take(due)), "0103000A0011A5C4@18333");
  EXPECT_EQ(frame(a.take(ms(100))), "none");

  // Pieces closer than the silence make one frame, farther apart two.
  a.push(hex("01 03 00"), ms(200));
  a.push(hex("0A 00 11 A5 C4"), ms(205));  // within 3.125 + 3.6 ms of the first piece
  EXPECT_EQ(frame(a.take(ms(250))), "0103000A0011A5C4@210208");
  a.push(hex("01 03"), ms(300));
  std::string two = frame(a.take(ms(310)));
  a.push(hex("00 0A"), ms(310));
  EXPECT_EQ(two + " " + frame(a.take(ms(320))), "0103@302083 000A@312083");
}

// The chunks handed out at one time: their byte counts, and where a part begins, "first" and the
// size of the whole part.
std::string shape(const std::vector<ReplyPacer::Chunk>& chunks) {
  std::string s;
  for (const auto& c : chunks)
    s += std::to_string(c.bytes.size()) + (c.first ? " first of " + std::to_string(c.part.size()) : "") + ";";
  return s;
}

TEST(ReplyPacer, BytesLeaveAtWireSpeedAfterTheirGapsAndRepliesDoNotOverlap) {
  ReplyPacer p(9600);
  // A reply of 10 bytes 5 ms after a request that ended at 20 ms, then 4 more after 150 ms.
  p.schedule({{ms(5), Bytes(10, 0xAA)}, {ms(150), Bytes(4, 0xBB)}}, ms(20));
  EXPECT_EQ(p.next(), ms(25) + microseconds(1041));
  EXPECT_TRUE(p.due(ms(26)).empty());
  EXPECT_EQ(shape(p.due(ms(25) + microseconds(5000))), "4 first of 10;");  // four whole bytes are on the wire
  const auto firstEnd = ms(25) + microseconds(10416);
  EXPECT_EQ(shape(p.due(firstEnd)), "6;");
  EXPECT_TRUE(p.due(firstEnd + ms(149)).empty());
  const auto chunks = p.due(firstEnd + ms(160));
  EXPECT_EQ(shape(chunks), "4 first of 4;");
  EXPECT_EQ(chunks.at(0).bytes, Bytes(4, 0xBB));
  EXPECT_TRUE(p.idle() && !p.next());

  // Two devices' replies: the second cannot be complete before both have taken their wire time,
  // then it follows the first whole.
  p.schedule({{ms(5), Bytes(20, 1)}}, ms(1000));
  p.schedule({{ms(5), Bytes(20, 2)}}, ms(1000));
  Bytes out;
  std::string firsts;
  for (const auto t : {microseconds(1'046'665), microseconds(1'100'000)})
    for (const auto& c : p.due(t)) {
      firsts += shape({c});
      out.insert(out.end(), c.bytes.begin(), c.bytes.end());
    }
  EXPECT_EQ(firsts, "20 first of 20;19 first of 20;1;");
  Bytes expected(20, 1);
  expected.insert(expected.end(), 20, 2);
  EXPECT_EQ(out, expected);
}

}  // namespace
}  // namespace xl::sim
