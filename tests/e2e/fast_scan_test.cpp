// The fast scan in the whole console, in virtual time: with Scan / Per Line = 1 every line has
// its own scan session, the lines are asked side by side and each request follows the end of
// the previous exchange; the read interval is still the rest between rounds.

#include <gtest/gtest.h>

#include "core/settings.h"
#include "link/frame_codec.h"
#include "support/console_fixture.h"
#include "support/wire_log.h"
#include "tools/sim/bus.h"

namespace xl {
namespace {

using platform::ms;
using testing::Sent;
using testing::grid;

class FastScanTest : public testing::ConsoleFixture {
 protected:
  void SetUp() override {
    ConsoleFixture::SetUp();
    setPorts({"COM3,9600", "COM4,9600"});
    addStation(QStringLiteral("一号站"), "COM3,9600", "1");
    addStation(QStringLiteral("二号站"), "COM3,9600", "2");
    addStation(QStringLiteral("三号站"), "COM4,9600", "3");
    sim::StationOptions frozen;
    frozen.live = false;
    for (int a : {1, 2}) {
      frozen.address = static_cast<std::uint8_t>(a);
      bus.add("COM3", 9600, frozen);
    }
    frozen.address = 3;
    bus.add("COM4", 9600, frozen);
    com3 = driver.line("COM3");
    com4 = driver.line("COM4");
  }
  static std::string frame(int id, const char* literal) { return hexText(requestFrame(id, literal)); }

  sim::Bus bus{driver};
  platform::SimLine* com3 = nullptr;
  platform::SimLine* com4 = nullptr;
};

TEST_F(FastScanTest, LinesAreAskedSideBySideOneExchangeAfterTheOther) {
  core::writeIniFile("Scan", "Per Line", "1", dir.path() + "/MSCON.DLL");
  start();
  EXPECT_TRUE(scan().perLine());
  clock.advance(ms(30000));
  const std::string rt1 = frame(1, " 03 0100 0023"), rt2 = frame(2, " 03 0100 0023"), rt3 = frame(3, " 03 0100 0023");
  const std::string lm1 = frame(1, " 03 E0 1D 0001"), lm2 = frame(2, " 03 E0 1D 0001"), lm3 = frame(3, " 03 E0 1D 0001");
  // Discovery starts on both lines at the same tick; the second request of COM3 follows the
  // 39-byte reply of the first (8 bytes out, 5 ms, 39 bytes back). Passes 2 and 3 ask nobody.
  // The rest of 11 ticks follows the end of discovery and of each round; in a round each line
  // asks its stations real-time block first, load mode second, one exchange after the other.
  const std::vector<Sent> expected3 = {
      {1900, frame(1, " 03 000A 0011")}, {1954, frame(2, " 03 000A 0011")},
      {13008, rt1}, {13100, rt2}, {13192, lm1}, {13213, lm2},
      {24235, rt1}, {24327, rt2}, {24418, lm1}, {24440, lm2},
  };
  const std::vector<Sent> expected4 = {
      {1900, frame(3, " 03 000A 0011")}, {13008, rt3}, {13100, lm3}, {24235, rt3}, {24327, lm3},
  };
  EXPECT_EQ(testing::sentFrames(*com3), expected3);
  EXPECT_EQ(testing::sentFrames(*com4), expected4);
  // Every station answered, is marked, listed and filled, as with the one-a-second pace.
  for (int r = 1; r <= 3; ++r) {
    EXPECT_TRUE(scan().answered(r));
    EXPECT_FALSE(grid(scan(), "VsFList1")->textMatrix(r, 6).isEmpty());
    EXPECT_EQ(recorder().engine().storedReply(r).size(), 73);
  }
  EXPECT_EQ(mdi().nodeImage("COM4,9600,3"), 2);
  // The round is measured for the staleness: 11.2 s from start to start.
  EXPECT_NEAR(scan().roundLengthUs() / 1000, 24235 - 13008, 1);
}

TEST_F(FastScanTest, TurnedOffTheNextRoundKeepsTheOneASecondPace) {
  core::writeIniFile("Scan", "Per Line", "1", dir.path() + "/MSCON.DLL");
  start();
  clock.advance(ms(20000));  // the first fast round is over
  scan().setPerLine(false);
  clock.advance(ms(10000));
  // The rest began at the end of the fast round (13.235 s); its eleventh tick turns the
  // real-time pass on and the pass asks each second, in row order, through the scan's control.
  const std::vector<Sent> after3 = {{25235, frame(1, " 03 0100 0023")}, {26235, frame(2, " 03 0100 0023")},
                                    {29235, frame(1, " 03 E0 1D 0001")}};
  const std::vector<Sent> after4 = {{27235, frame(3, " 03 0100 0023")}};
  EXPECT_EQ(testing::sentFrames(*com3, 20000), after3);
  EXPECT_EQ(testing::sentFrames(*com4, 20000), after4);
}

TEST_F(FastScanTest, OffByDefault) {
  start();
  EXPECT_FALSE(scan().perLine());
  clock.advance(ms(5000));
  // One request a second across the lines: the discovery of the Parts' pace.
  const std::vector<Sent> expected3 = {{1900, frame(1, " 03 000A 0011")}, {2900, frame(2, " 03 000A 0011")}};
  EXPECT_EQ(testing::sentFrames(*com3), expected3);
  EXPECT_EQ(testing::sentFrames(*com4), (std::vector<Sent>{{3900, frame(3, " 03 000A 0011")}}));
}

}  // namespace
}  // namespace xl
