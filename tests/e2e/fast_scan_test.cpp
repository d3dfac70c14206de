// The fast scan in the whole console, in virtual time: with Scan / Per Line = 1 every line has
// its own scan session, the lines are asked side by side and each request follows the end of
// the previous exchange; the read interval is still the rest between rounds.

#include "tests/e2e/e2e.h"

namespace xl::testing {
namespace {

// A third station, on COM4 at address 3, besides the two of COM3.
class FastScanTest : public WholeConsole {
 protected:
  void SetUp() override {
    WholeConsole::SetUp();
    setPorts({"COM3,9600", "COM4,9600"});
    addStation(QStringLiteral("三号站"), "COM4,9600", "3");
    sim::StationOptions frozen;
    frozen.address = 3;
    frozen.live = false;
    bus.add("COM4", 9600, frozen);
    com4 = driver.line("COM4");
  }
  void startFast() {
    core::writeIniFile("Scan", "Per Line", "1", dir.path() + "/MSCON.DLL");
    start();
    EXPECT_TRUE(scan().perLine());
  }
  platform::SimLine* com4 = nullptr;
};

TEST_F(FastScanTest, LinesAreAskedSideBySideOneExchangeAfterTheOther) {
  startFast();
  clock.advance(ms(30000));
  const std::string rt1 = frame(1, kRealTime), rt2 = frame(2, kRealTime), rt3 = frame(3, kRealTime);
  const std::string lm1 = frame(1, kLoadMode), lm2 = frame(2, kLoadMode), lm3 = frame(3, kLoadMode);
  // Discovery starts on both lines at the same tick; the second request of COM3 follows the
  // 39-byte reply of the first (8 bytes out, 5 ms, 39 bytes back). Passes 2 and 3 ask nobody.
  // The rest of 11 ticks follows the end of discovery and of each round; in a round each line
  // asks its stations real-time block first, load mode second, one exchange after the other.
  const std::string i1 = frame(1, kInfo), i2 = frame(2, kInfo);
  const std::vector<Sent> expected = {{1900, i1},   {1954, i2},   {13008, rt1}, {13100, rt2}, {13192, lm1},
                                      {13213, lm2}, {24235, rt1}, {24327, rt2}, {24418, lm1}, {24440, lm2}};
  EXPECT_EQ(sentFrames(*line), expected);
  EXPECT_EQ(sentFrames(*com4),
            (std::vector<Sent>{{1900, frame(3, kInfo)}, {13008, rt3}, {13100, lm3}, {24235, rt3}, {24327, lm3}}));
  // Every station answered, is marked, listed and filled, as with the one-a-second pace.
  EXPECT_EQ(stationsText({"COM3,9600,1", "COM3,9600,2", "COM4,9600,3"}),
            "一号站 answered=1 image=2 status=1 block=73 stored=73\n"
            "二号站 answered=1 image=2 status=1 block=73 stored=73\n"
            "三号站 answered=1 image=2 status=1 block=73 stored=73");
  // The round is measured for the staleness: 11.2 s from start to start.
  EXPECT_NEAR(scan().roundLengthUs() / 1000, 24235 - 13008, 1);
}

TEST_F(FastScanTest, TurnedOffTheNextRoundKeepsTheOneASecondPace) {
  startFast();
  clock.advance(ms(20000));  // the first fast round is over
  scan().setPerLine(false);
  clock.advance(ms(10000));
  // The rest began at the end of the fast round (13.235 s); its eleventh tick turns the
  // real-time pass on and the pass asks each second, in row order, through the scan's control.
  EXPECT_EQ(
      sentFrames(*line, 20000),
      (std::vector<Sent>{{25235, frame(1, kRealTime)}, {26235, frame(2, kRealTime)}, {29235, frame(1, kLoadMode)}}));
  EXPECT_EQ(sentFrames(*com4, 20000), (std::vector<Sent>{{27235, frame(3, kRealTime)}}));
}

}  // namespace
}  // namespace xl::testing
