// The whole console against simulated controllers, in virtual time: the dialogue on the wire,
// tick for tick, from start-up through discovery, rest, real-time pass and load mode pass.

#include <gtest/gtest.h>

#include <QComboBox>
#include <QLineEdit>
#include <QTreeWidget>

#include "core/settings.h"
#include "link/frame_codec.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "support/two_stations.h"
#include "support/wire_log.h"
#include "tools/sim/bus.h"

namespace xl {
namespace {

using platform::ms;

using testing::Sent;
using testing::edit;
using testing::grid;

class MonitoringCycleTest : public testing::TwoStationFixture {
 protected:
  void SetUp() override {
    TwoStationFixture::SetUp();
  }

  // What the console sent, with the time its first byte went out.
  std::vector<Sent> sent() const { return testing::sentFrames(*line); }
  // The length of every reply on the wire, in order.
  std::vector<std::size_t> replyLengths() const {
    std::vector<std::size_t> out;
    for (const auto& f : line->wire())
      if (!f.fromMaster) out.push_back(f.bytes.size());
    return out;
  }

  static std::string frame(int id, const char* literal) { return hexText(requestFrame(id, literal)); }

};

TEST_F(MonitoringCycleTest, TwoAnsweringStationsGiveTheCycleTickForTick) {
  start();
  clock.advance(ms(40000));
  const std::string info1 = frame(1, " 03 000A 0011"), info2 = frame(2, " 03 000A 0011");
  const std::string rt1 = frame(1, " 03 0100 0023"), rt2 = frame(2, " 03 0100 0023");
  const std::string lm1 = frame(1, " 03 E0 1D 0001"), lm2 = frame(2, " 03 E0 1D 0001");
  EXPECT_EQ(info1, "0103000A0011A5C4");
  EXPECT_EQ(rt1, "0103010000230" "5EF");
  EXPECT_EQ(lm1, "0103E01D000123CC");
  // The port list loads at 300 ms, the scan takes over at 600 ms and asks every second.
  // Discovery: one pass with two requests and its end, two short passes; then 11 ticks of
  // rest, the real-time pass and its turn, the load mode pass and its turn, rest again.
  const std::vector<Sent> expected = {
      {1600, info1},  {2600, info2},                                   // discovery, pass 1
      {17600, rt1},   {18600, rt2},                                    // real-time pass
      {20600, lm1},   {21600, lm2},                                    // load mode pass
      {34600, rt1},   {35600, rt2}, {37600, lm1}, {38600, lm2},        // the next round
  };
  EXPECT_EQ(sent(), expected);
  EXPECT_EQ(replyLengths(), (std::vector<std::size_t>{39, 39, 75, 75, 7, 7, 75, 75, 7, 7}));

  // Both stations answered: marked in the table and the tree, the table filled.
  EXPECT_TRUE(scan().answered(1));
  EXPECT_TRUE(scan().answered(2));
  EXPECT_EQ(mdi().nodeImage("COM3,9600,1"), 2);
  EXPECT_EQ(mdi().nodeImage("COM3,9600,2"), 2);
  const QStringList lines = logLines();
  EXPECT_TRUE(lines[0].endsWith(QStringLiteral("]刷新所有站点，请稍等...")));
  EXPECT_TRUE(lines[1].endsWith(QStringLiteral("]星澜站点监控启动")));
  EXPECT_TRUE(lines[2].endsWith(QStringLiteral("]刷新所有站点成功")));
  EXPECT_EQ(grid(scan(), "VsFList1")->textMatrix(1, 0), QStringLiteral("一号站"));
  EXPECT_FALSE(grid(scan(), "VsFList1")->textMatrix(1, 6).isEmpty());
  EXPECT_EQ(grid(scan(), "VsFList1")->cellData(2, 0).toByteArray().size(), 73);
  EXPECT_EQ(recorder().engine().storedReply(2).size(), 73);
  EXPECT_EQ(edit(scan(), "Text1")->text().size(), 14);  // the last reply, a load mode reply, as hex
}

TEST_F(MonitoringCycleTest, StationAnsweringOnlyInTheSecondPassIsMarkedThere) {
  sim::Faults silent;
  silent.silent = true;
  station2->setFaults(silent);
  start();
  clock.advance(ms(4000));  // the first pass is over
  EXPECT_FALSE(scan().answered(2));
  station2->setFaults({});
  clock.advance(ms(3000));
  EXPECT_TRUE(scan().answered(2));
  const std::string info2 = frame(2, " 03 000A 0011");
  // Pass 2 asks only station 2; pass 3 asks nobody and ends discovery at 6600 ms.
  const std::vector<Sent> expected = {{1600, frame(1, " 03 000A 0011")}, {2600, info2}, {4600, info2}};
  EXPECT_EQ(sent(), expected);
  EXPECT_EQ(mdi().nodeImage("COM3,9600,2"), 2);
  EXPECT_TRUE(scan().Timer2.enabled());
  EXPECT_FALSE(scan().Timer4.enabled());
}

TEST_F(MonitoringCycleTest, SilentStationIsLeftOutOfListsAndPasses) {
  sim::Faults silent;
  silent.silent = true;
  station2->setFaults(silent);
  start();
  clock.advance(ms(25000));
  const QComboBox& list = *testing::combo(monitoring::FrmRealTimeMonitoring::instance());
  EXPECT_EQ(mdi().nodeImage("COM3,9600,1"), 2);
  EXPECT_EQ(mdi().nodeImage("COM3,9600,2"), 3);
  ASSERT_EQ(list.count(), 1);
  EXPECT_EQ(list.itemText(0), QStringLiteral("一号站"));
  // Three discovery requests to station 2, then the passes ask station 1 only.
  const std::string info2 = frame(2, " 03 000A 0011");
  const std::vector<Sent> expected = {{1600, frame(1, " 03 000A 0011")}, {2600, info2}, {4600, info2},
                                      {6600, info2}, {19600, frame(1, " 03 0100 0023")},
                                      {21600, frame(1, " 03 E0 1D 0001")}};
  EXPECT_EQ(sent(), expected);
  EXPECT_TRUE(grid(scan(), "VsFList1")->textMatrix(2, 6).isEmpty());
}

TEST_F(MonitoringCycleTest, StatusColumnsFollowTheFaultWordAndTheChargeState) {
  auto& r1 = station1->state().readings;
  r1.chargeState = 2;
  r1.faultWord = sim::fault::kPanelOverPower | sim::fault::kPanelNormal | sim::fault::kOverDischarge;
  auto& r2 = station2->state().readings;
  r2.chargeState = 7;
  r2.faultWord = sim::fault::kPanelOverPower;
  start();
  clock.advance(ms(20000));
  auto* table = grid(scan(), "VsFList1");
  // Position 24 (the panel's normal flag) wipes the over-power text on the scan.
  EXPECT_EQ(table->textMatrix(1, 3), QStringLiteral("正常"));
  EXPECT_EQ(table->textMatrix(1, 5), QStringLiteral("过放"));
  EXPECT_EQ(table->textMatrix(1, 4), QStringLiteral("MPPT充电"));
  EXPECT_EQ(table->textMatrix(2, 3), QStringLiteral("太阳能板功率过大"));
  // A charge state above 6 shows the 32 flag digits.
  const QString flags = table->textMatrix(2, 4);
  ASSERT_EQ(flags.size(), 32);
  EXPECT_EQ(flags.right(16), QStringLiteral("0000000010000000"));
  EXPECT_EQ(flags.mid(8, 8), QStringLiteral("00000111"));
}

TEST_F(MonitoringCycleTest, ReadIntervalOfZeroStopsTheScan) {
  start();
  clock.advance(ms(25000));  // discovery and one round are over; the scan rests
  const std::size_t before = sent().size();
  // The operator sets the read interval to 0 and the recorder applies it.
  core::writeIni("Maintenance Record", "Read Interval", "0");
  recorder().Timer1_Timer();
  EXPECT_FALSE(scan().Timer2.enabled());
  clock.advance(ms(60000));
  EXPECT_EQ(sent().size(), before);
  // Any other value restarts it with that rest.
  core::writeIni("Maintenance Record", "Read Interval", "20");
  recorder().Timer1_Timer();
  EXPECT_EQ(scan().readInterval(), 20);
  // The rest counter kept the two seconds it had counted when it was stopped at 25 s, so the
  // next round starts after 19 more ticks: Timer1 goes on at 104 s and asks at 105 s.
  clock.advance(ms(19999));
  EXPECT_EQ(sent().size(), before);
  clock.advance(ms(1));
  ASSERT_EQ(sent().size(), before + 1);
  EXPECT_EQ(sent().back(), (Sent{105000, frame(1, " 03 0100 0023")}));
}

TEST_F(MonitoringCycleTest, ReadIntervalOfZeroAtStartUpNeverPollsAfterDiscovery) {
  core::writeIniFile("Maintenance Record", "Read Interval", "0", dir.path() + "/MSCON.DLL");
  start();
  clock.advance(ms(60000));
  const std::vector<Sent> expected = {{1600, frame(1, " 03 000A 0011")}, {2600, frame(2, " 03 000A 0011")}};
  EXPECT_EQ(sent(), expected);
  EXPECT_EQ(scan().readInterval(), 0);
  EXPECT_FALSE(scan().Timer2.enabled());
}

}  // namespace
}  // namespace xl
