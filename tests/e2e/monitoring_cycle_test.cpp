// The whole console against simulated controllers, in virtual time: the dialogue on the wire,
// tick for tick, from start-up through discovery, rest, real-time pass and load mode pass; and
// the fast scan, where with Scan / Per Line = 1 every line has its own scan session, the lines
// are asked side by side and each request follows the end of the previous exchange (the read
// interval is still the rest between rounds).

#include "monitoring/frm_real_time_monitoring.h"
#include "tests/e2e/e2e.h"

namespace xl::testing {
namespace {

using MonitoringCycleTest = WholeConsole;

TEST_F(MonitoringCycleTest, TwoAnsweringStationsGiveTheCycleTickForTick) {
  // Faults and charge states that the status columns show (they change nothing on the wire).
  auto& readings1 = station1->state().readings;
  readings1.chargeState = 2;
  readings1.faultWord = sim::fault::kPanelOverPower | sim::fault::kPanelNormal | sim::fault::kOverDischarge;
  station2->state().readings.chargeState = 7;
  station2->state().readings.faultWord = sim::fault::kPanelOverPower;
  start();
  clock.advance(ms(40000));
  EXPECT_EQ(i1 + " " + r1 + " " + l1, "0103000A0011A5C4 01030100002305EF 0103E01D000123CC");
  // The port list loads at 300 ms, the scan takes over at 600 ms and asks every second.
  // Discovery: one pass with two requests and its end, two short passes; then 11 ticks of
  // rest, the real-time pass and its turn, the load mode pass and its turn, rest again.
  // Discovery pass 1 at 1.6 and 2.6 s, the real-time pass at 17.6 s, the load mode pass at
  // 20.6 s, the next round from 34.6 s.
  const std::vector<Sent> expected = {{1600, i1},  {2600, i2},  {17600, r1}, {18600, r2}, {20600, l1},
                                      {21600, l2}, {34600, r1}, {35600, r2}, {37600, l1}, {38600, l2}};
  EXPECT_EQ(sentFrames(*line), expected);

  // Both stations answered: marked in the table and the tree, the table filled.
  EXPECT_EQ(stationsText({"COM3,9600,1", "COM3,9600,2"}),
            "一号站 answered=1 image=2 status=1 block=73 stored=73\n"
            "二号站 answered=1 image=2 status=1 block=73 stored=73");
  // Position 24 (the panel's normal flag) wipes the over-power text on the scan; a charge
  // state above 6 shows the 32 flag digits.
  EXPECT_EQ(gridText(table(), {3, 4, 5}), "正常|MPPT充电|过放\n太阳能板功率过大|10000000000001110000000010000000|正常");
}

TEST_F(MonitoringCycleTest, StationsThatDoNotAnswerAreAskedInEachDiscoveryPassAndLeftOutOfListsAndPasses) {
  // Station 2 is silent in the first pass only; station 3 always answers from address 9: such a
  // reply is never booked to the station asked.
  addStation(QStringLiteral("三号站"), "COM3,9600", "3");
  silence(station2);
  bus.add("COM3", 3).setFaults({.replyAddress = 9});
  start();
  clock.advance(ms(4000));  // the first pass is over
  EXPECT_FALSE(scan().answered(2));
  silence(station2, false);
  clock.advance(ms(26000));
  // Pass 2 asks stations 2 and 3, pass 3 station 3 only; the passes ask stations 1 and 2.
  const std::vector<Sent> expected = {{1600, i1}, {2600, i2},  {3600, i3},  {5600, i2},  {6600, i3},
                                      {8600, i3}, {21600, r1}, {22600, r2}, {24600, l1}, {25600, l2}};
  EXPECT_EQ(sentFrames(*line), expected);
  EXPECT_EQ(stationsText({"COM3,9600,1", "COM3,9600,2", "COM3,9600,3"}),
            "一号站 answered=1 image=2 status=1 block=73 stored=73\n"
            "二号站 answered=1 image=2 status=1 block=73 stored=73\n"
            "三号站 answered=0 image=3 status=0 block=0 stored=0");
  scan().refreshHealth();
  EXPECT_EQ(rowText(3) + " " + tooltipOf("COM3,9600,3").toStdString(),
            "|无应答|0% colours #969696 #969696 #c80000 无应答");
  const QComboBox& list = *combo(monitoring::FrmRealTimeMonitoring::instance());
  EXPECT_EQ(QString::number(list.count()) + " " + list.itemText(1), QStringLiteral("2 二号站"));
}

TEST_F(MonitoringCycleTest, ReadIntervalOfZeroStopsTheScanAndAnotherValueRestartsIt) {
  start();
  clock.advance(ms(25000));  // discovery and one round are over; the scan rests
  const std::size_t before = sentFrames(*line).size();
  // The operator sets the read interval to 0 and the recorder applies it.
  core::writeIni("Maintenance Record", "Read Interval", "0");
  recorder().Timer1_Timer();
  EXPECT_FALSE(scan().Timer2.enabled());
  clock.advance(ms(60000));
  EXPECT_EQ(sentFrames(*line).size(), before);
  // Any other value restarts it with that rest.
  core::writeIni("Maintenance Record", "Read Interval", "20");
  recorder().Timer1_Timer();
  // The rest counter kept the two seconds it had counted when it was stopped at 25 s, so the
  // next round starts after 19 more ticks: Timer1 goes on at 104 s and asks at 105 s.
  clock.advance(ms(19999));
  EXPECT_EQ(sentFrames(*line).size(), before);
  clock.advance(ms(1));
  EXPECT_EQ(sentFrames(*line, 100000), (std::vector<Sent>{{105000, r1}}));
}

TEST_F(MonitoringCycleTest, ReadIntervalOfZeroAtStartUpNeverPollsAfterDiscovery) {
  core::writeIniFile("Maintenance Record", "Read Interval", "0", dir.path() + "/MSCON.DLL");
  start();
  clock.advance(ms(60000));
  EXPECT_EQ(sentFrames(*line), (std::vector<Sent>{{1600, i1}, {2600, i2}}));
}

// A third station, on COM4 at address 3, besides the two of COM3.
class FastScanTest : public WholeConsole {
 protected:
  void SetUp() override {
    WholeConsole::SetUp();
    setPorts({"COM3,9600", "COM4,9600"});
    addStation(QStringLiteral("三号站"), "COM4,9600", "3");
    bus.add("COM4", 3);
    com4 = driver.line("COM4");
    core::writeIniFile("Scan", "Per Line", "1", dir.path() + "/MSCON.DLL");
    start();
  }
  platform::SimLine* com4 = nullptr;
};

TEST_F(FastScanTest, LinesAreAskedSideBySideOneExchangeAfterTheOther) {
  clock.advance(ms(30000));
  // Discovery starts on both lines at the same tick; the second request of COM3 follows the
  // 39-byte reply of the first (8 bytes out, 5 ms, 39 bytes back). Passes 2 and 3 ask nobody.
  // The rest of 11 ticks follows the end of discovery and of each round; in a round each line
  // asks its stations real-time block first, load mode second, one exchange after the other.
  const std::vector<Sent> expected = {{1900, i1},  {1954, i2},  {13008, r1}, {13100, r2}, {13192, l1},
                                      {13213, l2}, {24235, r1}, {24327, r2}, {24418, l1}, {24440, l2}};
  EXPECT_EQ(sentFrames(*line), expected);
  EXPECT_EQ(sentFrames(*com4), (std::vector<Sent>{{1900, i3}, {13008, r3}, {13100, l3}, {24235, r3}, {24327, l3}}));
  // Every station answered, is marked, listed and filled, as with the one-a-second pace.
  EXPECT_EQ(stationsText({"COM3,9600,1", "COM3,9600,2", "COM4,9600,3"}),
            "一号站 answered=1 image=2 status=1 block=73 stored=73\n"
            "二号站 answered=1 image=2 status=1 block=73 stored=73\n"
            "三号站 answered=1 image=2 status=1 block=73 stored=73");
  // The round is measured for the staleness: 11.2 s from start to start.
  EXPECT_NEAR(scan().roundLengthUs() / 1000, 24235 - 13008, 1);
}

TEST_F(FastScanTest, TurnedOffTheNextRoundKeepsTheOneASecondPace) {
  clock.advance(ms(20000));  // the first fast round is over
  scan().setPerLine(false);
  clock.advance(ms(10000));
  // The rest began at the end of the fast round (13.235 s); its eleventh tick turns the
  // real-time pass on and the pass asks each second, in row order, through the scan's control.
  EXPECT_EQ(sentFrames(*line, 20000), (std::vector<Sent>{{25235, r1}, {26235, r2}, {29235, l1}}));
  EXPECT_EQ(sentFrames(*com4, 20000), (std::vector<Sent>{{27235, r3}}));
}

}  // namespace
}  // namespace xl::testing
