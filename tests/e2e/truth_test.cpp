// What the screens show is what the stations said: in virtual time against simulated
// controllers with faults (another address, a slow reply, silence), checked on the wire, in the
// record of the exchanges and on the screens.

#include <gtest/gtest.h>

#include <QLabel>
#include <QRadioButton>
#include <QTest>

#include "link/frame_codec.h"
#include "link/serial_session.h"
#include "monitoring/frm_hlstory_monitoring.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "support/two_stations.h"
#include "support/wire_log.h"
#include "tools/sim/bus.h"

namespace xl {
namespace {

using link::Verdict;
using monitoring::Freshness;
using monitoring::FrmHlstoryMonitoring;
using monitoring::FrmMonitoring1;
using monitoring::FrmRealTimeMonitoring;
using platform::ms;
using testing::edit;
using testing::grid;
using testing::Sent;

const QString kOne = QStringLiteral("一号站");
const QString kTwo = QStringLiteral("二号站");

class TruthTest : public testing::TwoStationFixture {
 protected:
  void SetUp() override {
    TwoStationFixture::SetUp();
    station1->state().readings.totalWhGenerated = 53960;
    station2->state().readings.totalWhGenerated = 19410;
    line = driver.line("COM3");
    observer = link::addExchangeObserver([this](const link::Exchange& e) { exchanges.push_back(e); });
  }
  void TearDown() override {
    link::removeExchangeObserver(observer);
    ConsoleFixture::TearDown();
  }

  // Start-up, discovery of both stations and the first round.
  void startAndSettle() {
    start();
    clock.advance(ms(25000));
    ASSERT_TRUE(scan().answered(1) && scan().answered(2));
  }
  std::vector<Verdict> verdictsOf(int address, std::int64_t fromMs = 0) const {
    std::vector<Verdict> out;
    for (const auto& e : exchanges)
      if (e.address == address && e.sentUs >= fromMs * 1000) out.push_back(e.verdict);
    return out;
  }
  static void silence(sim::Controller* c, bool on) {
    sim::Faults f;
    f.silent = on;
    c->setFaults(f);
  }
  FrmRealTimeMonitoring& live() { return FrmRealTimeMonitoring::instance(); }
  std::int64_t nowMs() const { return platform::toMs(clock.now()); }
  int logCount(const QString& part) {
    const QStringList lines = logLines();
    return static_cast<int>(
        std::count_if(lines.begin(), lines.end(), [&](const QString& l) { return l.contains(part); }));
  }

  std::vector<link::Exchange> exchanges;
  int observer = 0;
};

TEST_F(TruthTest, RepliesOfAnotherStationAreNeverBookedToTheStationAsked) {
  // Station 2 answers from address 9: "地址不符", never answered, nothing shown for it.
  sim::Faults other;
  other.replyAddress = 9;
  station2->setFaults(other);
  start();
  clock.advance(ms(25000));
  const auto two = verdictsOf(2);
  ASSERT_EQ(two.size(), 3u);  // three discovery passes
  for (Verdict v : two) EXPECT_EQ(v, Verdict::AddressMismatch);
  EXPECT_EQ(link::verdictText(Verdict::AddressMismatch), "地址不符");
  EXPECT_FALSE(scan().answered(2));
  EXPECT_EQ(mdi().nodeImage("COM3,9600,2"), 3);
  EXPECT_EQ(scan().stationHealth(kTwo).state, Freshness::NeverAnswered);
}

TEST_F(TruthTest, LateReplyRunningIntoTheNextExchangeIsNotTheNextStations) {
  // Station 1 turns slow (1.2 s) and station 2 silent: station 1's late reply comes while
  // station 2 is asked. It is not station 2's: the row keeps station 2's own block, and both
  // stations have a failure booked.
  startAndSettle();
  auto* table = grid(scan(), "VsFList1");
  ASSERT_EQ(table->cellData(2, 0).toByteArray().size(), 73);
  sim::Faults slow;
  slow.delay = ms(1200);
  station1->setFaults(slow);
  silence(station2, true);
  const std::int64_t from = nowMs();
  clock.advance(ms(20000));
  // The pace on the wire is the scan's own: one request a second, as with answering stations.
  const auto frames = testing::sentFrames(*line, from);
  ASSERT_GE(frames.size(), 2u);
  EXPECT_EQ(frames[1].atMs - frames[0].atMs, 1000);
  EXPECT_EQ(frames[0].frame, hexText(requestFrame(1, " 03 0100 0023")));
  EXPECT_EQ(frames[1].frame, hexText(requestFrame(2, " 03 0100 0023")));
  EXPECT_EQ(verdictsOf(1, from).front(), Verdict::NoReply);
  EXPECT_EQ(verdictsOf(2, from).front(), Verdict::AddressMismatch);
  EXPECT_EQ(static_cast<std::uint8_t>(table->cellData(2, 0).toByteArray()[0]), 2);
}

TEST_F(TruthTest, SilentStationChosenOnTheLiveScreenLeavesTheLineToTheScanAndStopReleasesAtOnce) {
  startAndSettle();
  silence(station2, true);
  // The device information, 300 ms later the real-time block, and at 900 ms the daily screen's.
  live().setCombo1Text(kTwo);
  clock.advance(ms(50));
  ASSERT_TRUE(link::SerialSession::exchangeOnLine(3));
  clock.advance(ms(1200));
  // Each request ended at its silence limit: nothing holds the port.
  EXPECT_FALSE(line->isOpen());
  EXPECT_FALSE(link::SerialSession::exchangeOnLine(3));
  EXPECT_EQ(verdictsOf(2, 25000), std::vector<Verdict>(3, Verdict::NoReply));
  // The scan goes on with its next round on that line, and station 1 stays fresh.
  const std::int64_t from = nowMs();
  clock.advance(ms(20000));
  const auto frames = testing::sentFrames(*line, from);
  ASSERT_FALSE(frames.empty());
  EXPECT_EQ(frames[0], (Sent{34600, hexText(requestFrame(1, " 03 0100 0023"))}));
  EXPECT_EQ(verdictsOf(1, from).front(), Verdict::Ok);
  EXPECT_EQ(scan().stationHealth(kOne).state, Freshness::Fresh);

  // 停止监控 with a load command out: the line is free at once, nothing waits.
  QTest::mouseClick(testing::button(live(), "Command2"), Qt::LeftButton);
  QTest::mouseClick(testing::control<QRadioButton>(live(), "Option2"), Qt::LeftButton);
  clock.advance(ms(20));
  ASSERT_TRUE(link::SerialSession::exchangeOnLine(3) || link::SerialSession::waitingRequests() > 0);
  QTest::mouseClick(testing::button(live(), "Command9"), Qt::LeftButton);
  const auto after = link::SerialSession::exchangeOnLine(3);
  EXPECT_TRUE(!after || after->address != 2);  // the scan's, if any
  EXPECT_EQ(link::SerialSession::waitingRequests(), 0u);
}

TEST_F(TruthTest, LoadSwitchWithoutEchoReturnsToTheShownStateAndSaysSo) {
  station1->state().readings.loadOn = true;
  startAndSettle();
  live().setCombo1Text(kOne);
  clock.advance(ms(1000));
  auto* on = testing::control<QRadioButton>(live(), "Option1");
  auto* off = testing::control<QRadioButton>(live(), "Option2");
  ASSERT_TRUE(on->isChecked());
  // Answered: the switch stays where the operator put it, no line.
  QTest::mouseClick(off, Qt::LeftButton);
  clock.advance(ms(600));
  EXPECT_TRUE(off->isChecked());
  EXPECT_EQ(logCount(QStringLiteral("负载开关无应答")), 0);
  // Silent: back to what 负载状态 showed (the last block: on), one line.
  live().setCombo1Text(kTwo);
  live().setCombo1Text(kOne);
  clock.advance(ms(1000));
  ASSERT_TRUE(on->isChecked() || off->isChecked());
  const bool shownOn = on->isChecked();
  silence(station1, true);
  QTest::mouseClick(shownOn ? off : on, Qt::LeftButton);
  EXPECT_EQ((shownOn ? off : on)->isChecked(), true);
  clock.advance(ms(600));
  EXPECT_EQ(on->isChecked(), shownOn);
  EXPECT_EQ(logCount(QStringLiteral("负载开关无应答：一号站")), 1);
}

TEST_F(TruthTest, StaleStationIsGreyedWithItsAgeOnBothMonitorsAndFreshAgainOnItsNextReply) {
  startAndSettle();
  live().setCombo1Text(kOne);
  clock.advance(ms(1000));
  QTest::mouseClick(testing::button(live(), "Command2"), Qt::LeftButton);
  clock.advance(ms(20000));
  QLineEdit* voltage = edit(live(), "Text9");
  const QString shown = voltage->text();
  ASSERT_FALSE(shown.isEmpty());
  EXPECT_FALSE(live().showsStale());
  EXPECT_TRUE(voltage->isEnabled());

  silence(station1, true);
  clock.advance(ms(2 * scan().roundLengthUs() / 1000 + 20000));
  for (QWidget* screen : std::initializer_list<QWidget*>{&live(), &FrmMonitoring1::instance()}) {
    auto* label = testing::control<QLabel>(*screen, "StaleLabel");
    EXPECT_FALSE(label->isHidden());
    EXPECT_TRUE(label->text().startsWith(QStringLiteral("最后应答 ")) &&
                label->text().endsWith(QStringLiteral(" 秒前")))
        << label->text().toStdString();
  }
  EXPECT_TRUE(live().showsStale());
  EXPECT_TRUE(FrmMonitoring1::instance().showsStale());
  EXPECT_FALSE(voltage->isEnabled());
  EXPECT_EQ(voltage->text(), shown);  // nothing is cleared

  silence(station1, false);
  clock.advance(ms(scan().roundLengthUs() / 1000 + 2000));
  EXPECT_FALSE(live().showsStale());
  EXPECT_FALSE(FrmMonitoring1::instance().showsStale());
  EXPECT_TRUE(voltage->isEnabled());
  EXPECT_TRUE(testing::control<QLabel>(live(), "StaleLabel")->isHidden());
}

TEST_F(TruthTest, HistoryTellsSuccessOnlyWhenEveryDayAnswered) {
  startAndSettle();
  mdi().show();
  mdi().action("HlstoryMonitoring")->trigger();
  auto& history = FrmHlstoryMonitoring::instance();
  QComboBox* stations = testing::combo(history);
  stations->setCurrentIndex(stations->findText(kOne));
  emit stations->activated(stations->currentIndex());
  clock.advance(ms(1000));
  const auto read = [&] {
    testing::combo(history, "Combo2")->setEditText("2");
    QTest::mouseClick(testing::button(history, "Command5"), Qt::LeftButton);
    clock.advance(ms(3000));
  };
  read();
  EXPECT_EQ(logCount(QStringLiteral("读历史信息成功")), 1);
  silence(station1, true);
  read();
  EXPECT_EQ(logCount(QStringLiteral("读历史信息成功")), 1);
  EXPECT_EQ(logCount(QStringLiteral("读历史信息完成：3 天无应答")), 1);
  for (int r = 1; r <= 3; ++r) EXPECT_EQ(grid(history, "VsFList1")->textMatrix(r, 1), QStringLiteral("无应答")) << r;
}

}  // namespace
}  // namespace xl
