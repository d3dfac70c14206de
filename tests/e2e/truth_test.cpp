// What the screens show is what the stations said: in virtual time against simulated
// controllers with faults (another address, a slow reply, silence), checked on the wire, in the
// record of the exchanges and on the screens.

#include <QRegularExpression>

#include "link/exchange_log.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "tests/e2e/e2e.h"

namespace xl::testing {
namespace {

using monitoring::Freshness;
using monitoring::FrmMonitoring1;
using monitoring::FrmRealTimeMonitoring;

const QString kOne = QStringLiteral("一号站");
const QString kTwo = QStringLiteral("二号站");

class TruthTest : public WholeConsole {
 protected:
  void SetUp() override {
    WholeConsole::SetUp();
    observer = link::addExchangeObserver([this](const link::Exchange& e) { exchanges.push_back(e); });
  }
  void TearDown() override {
    link::removeExchangeObserver(observer);
    WholeConsole::TearDown();
  }

  // Start-up, discovery of both stations and the first round.
  void startAndSettle() {
    start();
    clock.advance(ms(25000));
    ASSERT_TRUE(scan().answered(1) && scan().answered(2));
  }
  // The verdicts of the exchanges with one address sent at `fromMs` or later, in order.
  std::string verdictsOf(int address, std::int64_t fromMs = 0) const {
    std::string out;
    for (const auto& e : exchanges)
      if (e.address == address && e.sentUs >= fromMs * 1000) out += (out.empty() ? "" : ",") + link::verdictText(e);
    return out;
  }
  FrmRealTimeMonitoring& live() { return FrmRealTimeMonitoring::instance(); }
  std::int64_t nowMs() const { return platform::toMs(clock.now()); }

  // The requests of the round after the first, a second apart, whoever answers.
  const std::vector<Sent> secondRound{{34600, frame(1, kRealTime)},
                                      {35600, frame(2, kRealTime)},
                                      {37600, frame(1, kLoadMode)},
                                      {38600, frame(2, kLoadMode)}};
  std::vector<link::Exchange> exchanges;
  int observer = 0;
};

TEST_F(TruthTest, RepliesOfAnotherStationAreNeverBookedToTheStationAsked) {
  // Station 2 answers from address 9: "地址不符" in each of the three discovery passes, never
  // answered, nothing shown for it.
  sim::Faults other;
  other.replyAddress = 9;
  station2->setFaults(other);
  start();
  clock.advance(ms(2000));
  scan().refreshHealth();
  EXPECT_EQ(rowText(2), "|| colours - - -");  // not asked yet: nothing to say
  clock.advance(ms(23000));
  scan().refreshHealth();
  EXPECT_EQ(verdictsOf(2), "地址不符,地址不符,地址不符");
  EXPECT_EQ(stationsText({"COM3,9600,1", "COM3,9600,2"}),
            "一号站 answered=1 image=2 status=1 block=73 stored=73\n"
            "二号站 answered=0 image=3 status=0 block=0 stored=0");
  EXPECT_EQ(scan().stationHealth(kTwo).state, Freshness::NeverAnswered);
  EXPECT_EQ(rowText(2), "|无应答|0% colours #969696 #969696 #c80000");
  EXPECT_EQ(tooltipOf("COM3,9600,2"), QStringLiteral("无应答"));
  EXPECT_EQ(control<QLabel>(mdi(), "HealthStatus")->text().left(12), QStringLiteral("在线站点 1/2    "));
}

TEST_F(TruthTest, LateReplyRunningIntoTheNextExchangeIsNotTheNextStations) {
  // Station 1 turns slow (1.2 s) and station 2 silent: station 1's late reply comes while
  // station 2 is asked. It is not station 2's: the row keeps station 2's own block, and both
  // stations have a failure booked.
  startAndSettle();
  station1->setFaults({.delay = ms(1200)});
  silence(station2);
  const std::int64_t from = nowMs();
  clock.advance(ms(20000));
  // The pace on the wire is the scan's own: one request a second, as with answering stations.
  EXPECT_EQ(sentFrames(*line, from), secondRound);
  EXPECT_EQ(verdictsOf(1, from) + " / " + verdictsOf(2, from), "无应答,无应答 / 地址不符,地址不符");
  const QByteArray kept = grid(scan(), "VsFList1")->cellData(2, 0).toByteArray();
  EXPECT_EQ(kept.left(1).toHex() + " " + QByteArray::number(kept.size()), "02 73");
}

TEST_F(TruthTest, SilentStationChosenOnTheLiveScreenLeavesTheLineToTheScanAndStopReleasesAtOnce) {
  startAndSettle();
  silence(station2);
  // The device information, 300 ms later the real-time block, and at 900 ms the daily screen's.
  live().setCombo1Text(kTwo);
  clock.advance(ms(50));
  ASSERT_TRUE(link::SerialSession::exchangeOnLine(3));
  clock.advance(ms(1200));
  // Each request ended at its silence limit: nothing holds the port.
  EXPECT_FALSE(line->isOpen());
  EXPECT_FALSE(link::SerialSession::exchangeOnLine(3));
  EXPECT_EQ(verdictsOf(2, 25000), "无应答,无应答,无应答");
  // The scan goes on with its next round on that line, and station 1 stays fresh.
  const std::int64_t from = nowMs();
  clock.advance(ms(20000));
  EXPECT_EQ(sentFrames(*line, from), secondRound);
  EXPECT_EQ(verdictsOf(1, from), "正常,正常");
  EXPECT_EQ(scan().stationHealth(kOne).state, Freshness::Fresh);

  // 停止监控 with a load command out: the line is free at once, nothing waits.
  QTest::mouseClick(button(live(), "Command2"), Qt::LeftButton);
  QTest::mouseClick(control<QRadioButton>(live(), "Option2"), Qt::LeftButton);
  clock.advance(ms(20));
  ASSERT_TRUE(link::SerialSession::exchangeOnLine(3) || link::SerialSession::waitingRequests() > 0);
  QTest::mouseClick(button(live(), "Command9"), Qt::LeftButton);
  const auto after = link::SerialSession::exchangeOnLine(3);
  EXPECT_TRUE(!after || after->address != 2);  // the scan's, if any
  EXPECT_EQ(link::SerialSession::waitingRequests(), 0u);
}

TEST_F(TruthTest, LoadSwitchWithoutEchoReturnsToTheShownStateAndAStaleStationIsGreyedOnBothMonitors) {
  station1->state().readings.loadOn = true;
  startAndSettle();
  live().setCombo1Text(kOne);
  clock.advance(ms(1000));
  auto* on = control<QRadioButton>(live(), "Option1");
  auto* off = control<QRadioButton>(live(), "Option2");
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
  silence(station1);
  QTest::mouseClick(shownOn ? off : on, Qt::LeftButton);
  EXPECT_TRUE((shownOn ? off : on)->isChecked());
  clock.advance(ms(600));
  EXPECT_EQ(on->isChecked(), shownOn);
  EXPECT_EQ(logCount(QStringLiteral("负载开关无应答：一号站")), 1);

  // Monitoring with the station answering again; then stale, greyed with its age on both
  // monitors, and fresh again at its next reply.
  silence(station1, false);
  QTest::mouseClick(button(live(), "Command2"), Qt::LeftButton);
  clock.advance(ms(20000));
  QLineEdit* voltage = edit(live(), "Text9");
  // Both monitors' stale mark and label (digits as N), and the live screen's voltage box.
  const auto staleText = [&] {
    const auto label = [](const QWidget& screen) {
      const auto* l = control<QLabel>(screen, "StaleLabel");
      return l->isHidden() ? QStringLiteral("hidden") : QString(l->text()).replace(QRegularExpression("\\d+"), "N");
    };
    auto& daily = FrmMonitoring1::instance();
    return QStringLiteral("live %1 %2, daily %3 %4, voltage enabled=%5 %6")
        .arg(QString::number(live().showsStale()), label(live()), QString::number(daily.showsStale()), label(daily),
             QString::number(voltage->isEnabled()), voltage->text())
        .toStdString();
  };
  EXPECT_EQ(staleText(), "live 0 hidden, daily 0 hidden, voltage enabled=1 25.9");

  // Greyed, nothing cleared.
  silence(station1);
  clock.advance(ms(2 * scan().roundLengthUs() / 1000 + 20000));
  EXPECT_EQ(staleText(), "live 1 最后应答 N 秒前, daily 1 最后应答 N 秒前, voltage enabled=0 25.9");

  silence(station1, false);
  clock.advance(ms(scan().roundLengthUs() / 1000 + 2000));
  EXPECT_EQ(staleText(), "live 0 hidden, daily 0 hidden, voltage enabled=1 25.9");
}

}  // namespace
}  // namespace xl::testing
