// Stations on a simulated line under a virtual clock: what their faults do on the wire; and the
// frame detection of the pseudo-terminal front end, on invented times.

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

  // Writes `request` on COM3 as the master and lets 600 ms pass. The exchange as text: the
  // request's size, then for each reply frame the silence before it in microseconds, its size,
  // and its first three bytes when its CRC holds, else "!"; after a reply in parts, " = " and the
  // same of the parts joined.
  std::string sent(const Bytes& request) {
    driver.line("COM3")->clearWire();
    auto port = driver.open("COM3", platform::LineSettings{9600});
    port->write(request);
    clock.advance(ms(600));
    const auto wire = driver.line("COM3")->wire();
    const auto head = [](const Bytes& b) {
      const Bytes v = verifyFrame(hexText(b)).value_or(Bytes{});
      return v.size() > 1 ? hexText(Bytes(v.begin(), v.begin() + 3)) : "!";
    };
    std::string s = (wire.at(0).fromMaster ? "M" : "S") + std::to_string(wire[0].bytes.size());
    Bytes joined;
    for (std::size_t i = 1; i < wire.size(); ++i) {
      s += " +" + std::to_string((wire[i].start - wire[i - 1].end) / microseconds(1)) +
           (wire[i].fromMaster ? " M" : " S") + std::to_string(wire[i].bytes.size()) + " " + head(wire[i].bytes);
      joined.insert(joined.end(), wire[i].bytes.begin(), wire[i].bytes.end());
    }
    return s + (wire.size() > 2 ? " = " + head(joined) : "");
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

  const struct {
    Faults faults;
    Bytes request;
    const char* wire;
  } cases[] = {{{}, realTime, "M8 +4000 S75 010346"},
               // Split: the console reads 100 ms after the first byte and has the head only, which fails
               // the CRC.
               {Faults{.splitGap = ms(150)}, realTime, "M8 +4000 S37 ! +150000 S38 ! = 010346"},
               {Faults{.splitGap = ms(20), .splitAt = 3}, info, "M8 +4000 S3 ! +20000 S36 ! = 010322"},
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
}

TEST_F(WireTest, SeveralStationsShareTheLineAsTheBusDescriptionGivesThem) {
  Bus fromText(driver, parseConfig("[station]\naddress = 1\n[station]\naddress = 2\n[station]\naddress = 3\n"
                                   "[station]\nport = COM5,19200\naddress = 4\nsilent = yes\n"));
  EXPECT_EQ(
      std::tuple(driver.line("COM5")->baud(), fromText.stations().size(), fromText.find("COM5", 4)->faults().silent),
      std::tuple(19200, 4u, true));
  // Only the station asked answers; two stations at one address collide without overlapping. A
  // line exists at one rate only.
  fromText.add("COM3", 2);
  EXPECT_EQ(sent(requestFrame(2, " 03 000A 0011")), "M8 +5000 S39 020322 +0 S39 020322 = !");
  EXPECT_THROW(fromText.add("COM5", 9600, StationOptions{}), std::invalid_argument);
}

// The pseudo-terminal front end: a request ends after three and a half characters of silence.
TEST(FrameAssembler, AFrameEndsAfterThreeAndAHalfCharactersOfSilence) {
  FrameAssembler a(9600);
  // At high rates the silence does not go below 1.75 ms.
  EXPECT_EQ(std::pair(a.silence(), FrameAssembler(115200).silence()),
            std::pair(microseconds(3645), microseconds(1750)));
  // Eight bytes written at once occupy the wire for 8.33 ms.
  a.push(hex("01 03 00 0A 00 11 A5 C4"), ms(10));
  const auto due = ms(10) + microseconds(8333) + a.silence();
  EXPECT_EQ(a.deadline(), due);
  EXPECT_FALSE(a.take(due - microseconds(1)));
  const auto f = a.take(due);
  ASSERT_TRUE(f);
  EXPECT_EQ(hexText(f->bytes) + "@" + std::to_string(f->end / microseconds(1)), "0103000A0011A5C4@18333");
}

}  // namespace
}  // namespace xl::sim
