// Link health in the whole console, in virtual time against simulated controllers: a station
// that falls silent turns stale after two rounds and fresh at its next reply; the share of
// answered requests after a pattern of faults; a station that never answered. The wire
// dialogue itself is asserted by the monitoring cycle test; here only what is shown.

#include <gtest/gtest.h>

#include <QAction>
#include <QComboBox>
#include <QFile>
#include <QHelpEvent>
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QtTest/QTest>
#include <QStatusBar>
#include <QTreeWidget>

#include "monitoring/frm_exchange_log.h"
#include "monitoring/frm_global_monitoring.h"
#include "link/exchange_log.h"
#include "link/frame_codec.h"
#include "platform/gbk.h"
#include "support/two_stations.h"
#include "support/wire_log.h"
#include "tools/sim/bus.h"

namespace xl {
namespace {

using monitoring::Freshness;
using platform::ms;
using testing::grid;

constexpr int kLastReply = 15, kAge = 16, kShare = 17;

class LinkHealthTest : public testing::TwoStationFixture {
 protected:
  void SetUp() override {
    TwoStationFixture::SetUp();
  }

  // Runs the clock to `atMs` since start-up and refreshes the health columns there.
  void runTo(std::int64_t atMs) {
    clock.advance(ms(atMs) - clock.now());
    scan().refreshHealth();
  }
  platform::FlexGrid* table() { return grid(scan(), "VsFList1"); }
  QString status() { return testing::control<QLabel>(mdi(), "HealthStatus")->text(); }
  // The tooltip of a station's node, as the tree makes it when the mouse rests there.
  QString tooltipOf(const QString& key) {
    mdi().show();
    auto* tree = testing::control<QTreeWidget>(mdi(), "TreeView1");
    tree->expandAll();
    QTreeWidgetItem* item = mdi().node(key);
    const QPoint at = tree->visualItemRect(item).center();
    QHelpEvent e(QEvent::ToolTip, at, tree->viewport()->mapToGlobal(at));
    QApplication::sendEvent(tree->viewport(), &e);
    return item->toolTip(0);
  }

};

TEST_F(LinkHealthTest, SilentStationTurnsStaleAfterTwoRoundsAndFreshAtItsNextReply) {
  start();
  runTo(25000);  // discovery and the first round are over
  EXPECT_EQ(table()->textMatrix(0, kLastReply), QStringLiteral("最后应答"));
  EXPECT_EQ(table()->textMatrix(0, kAge), QStringLiteral("距今"));
  EXPECT_EQ(table()->textMatrix(0, kShare), QStringLiteral("应答率"));
  EXPECT_EQ(scan().healthOf(2).state, Freshness::Fresh);
  EXPECT_EQ(table()->textMatrix(2, kShare), QStringLiteral("100%"));
  EXPECT_EQ(table()->textMatrix(2, kLastReply).size(), 8);  // HH:mm:ss
  EXPECT_EQ(status().left(12), QStringLiteral("在线站点 2/2    "));

  sim::Faults silent;
  silent.silent = true;
  station2->setFaults(silent);
  const std::int64_t lastGood = *scan().linkHealth().find("COM3", 2)->lastGoodUs;
  const std::int64_t round = scan().roundLengthUs();
  EXPECT_EQ(round, 17'000'000);  // two stations, read interval 10: 3 + 3 + 11 s
  const std::int64_t staleAtMs = (lastGood + 2 * round) / 1000;

  // Two whole rounds go by without a reply; right up to their end the row is fresh.
  runTo(staleAtMs - 500);
  EXPECT_EQ(scan().roundLengthUs(), 17'000'000);  // now measured between two round starts
  EXPECT_EQ(scan().healthOf(2).state, Freshness::Fresh);
  EXPECT_FALSE(table()->cellForeColor(2, 0).isValid());
  runTo(staleAtMs + 500);
  EXPECT_EQ(scan().healthOf(2).state, Freshness::Stale);
  EXPECT_EQ(scan().healthOf(1).state, Freshness::Fresh);
  // Grey row, red age; the fourteen columns keep their last texts, the answer mark stays.
  EXPECT_EQ(table()->cellForeColor(2, 0), QColor(150, 150, 150));
  EXPECT_EQ(table()->cellForeColor(2, 6), QColor(150, 150, 150));
  EXPECT_EQ(table()->cellForeColor(2, kAge), QColor(200, 0, 0));
  EXPECT_FALSE(table()->cellForeColor(1, 0).isValid());
  EXPECT_EQ(table()->textMatrix(2, kAge), QStringLiteral("34秒"));
  EXPECT_FALSE(table()->textMatrix(2, 4).isEmpty());
  EXPECT_TRUE(scan().answered(2));
  EXPECT_EQ(status(), QStringLiteral("在线站点 1/2    最旧读数 34秒"));
  const QString tip = tooltipOf("COM3,9600,2");
  EXPECT_TRUE(tip.startsWith(QStringLiteral("最后应答 "))) << tip.toStdString();
  EXPECT_TRUE(tip.contains(QStringLiteral("距今 34秒"))) << tip.toStdString();
  EXPECT_EQ(mdi().nodeImage("COM3,9600,2"), 2);  // the tree's images stay as they are

  // It answers again: fresh at the first reply of the next round.
  station2->setFaults({});
  const std::size_t sentBefore = testing::sentFrames(*driver.line("COM3")).size();
  while (testing::sentFrames(*driver.line("COM3")).size() == sentBefore) clock.advance(ms(100));
  // The next frame is station 1's; station 2's follows a second later.
  runTo(platform::toMs(clock.now()) + 1500);
  EXPECT_EQ(scan().healthOf(2).state, Freshness::Fresh);
  EXPECT_FALSE(table()->cellForeColor(2, 0).isValid());
  EXPECT_FALSE(table()->cellForeColor(2, kAge).isValid());
  EXPECT_EQ(status().left(12), QStringLiteral("在线站点 2/2    "));
}

TEST_F(LinkHealthTest, ShareOfAnsweredRequestsFollowsAPatternOfFaults) {
  start();
  // What a listener of the scan hears of each station's real-time requests: replies and misses.
  std::map<QString, std::pair<int, int>> heard;
  engine::ScanListener listener;
  listener.realTime = [&](const engine::StationRef& s, const QByteArray& reply) {
    EXPECT_EQ(reply.size(), 73);
    ++heard[s.name + "@" + s.port + "#" + s.deviceId].first;
  };
  listener.realTimeMissed = [&](const engine::StationRef& s) { ++heard[s.name + "@" + s.port + "#" + s.deviceId].second; };
  scan().scanEngine().addListener(listener);
  // Discovery (1 request) and round 1 (2 requests) are good; then one round each with a bad
  // CRC, an exception reply, silence; then a good round again: 5 good of 11.
  runTo(25000);
  sim::Faults crc;
  crc.badCrc = true;
  station1->setFaults(crc);
  runTo(42000);
  EXPECT_EQ(table()->textMatrix(1, kShare), QStringLiteral("60%"));  // 3 of 5
  sim::Faults refused;
  refused.exception = sim::Exception::IllegalAddress;
  station1->setFaults(refused);
  runTo(59000);
  EXPECT_EQ(table()->textMatrix(1, kShare), QStringLiteral("43%"));  // 3 of 7
  sim::Faults silent;
  silent.silent = true;
  station1->setFaults(silent);
  runTo(76000);
  EXPECT_EQ(table()->textMatrix(1, kShare), QStringLiteral("33%"));  // 3 of 9
  station1->setFaults({});
  runTo(93000);
  EXPECT_EQ(table()->textMatrix(1, kShare), QStringLiteral("45%"));  // 5 of 11
  EXPECT_EQ(table()->textMatrix(2, kShare), QStringLiteral("100%"));
  // Not stale: the last silent round was only one round.
  EXPECT_EQ(scan().healthOf(1).state, Freshness::Fresh);
  const QString one = scan().stations()[0].name + "@COM3,9600#1", two = scan().stations()[1].name + "@COM3,9600#2";
  // Five rounds: station 1 missed the three faulty ones (the load mode requests are no miss).
  EXPECT_EQ(heard[one], std::make_pair(2, 3));
  EXPECT_EQ(heard[two], std::make_pair(5, 0));
  EXPECT_EQ(heard.size(), 2u);
}

TEST_F(LinkHealthTest, StationThatNeverAnsweredIsMarked) {
  addStation(QStringLiteral("三号站"), "COM3,9600", "3");  // no controller at address 3
  start();
  runTo(3000);
  EXPECT_EQ(table()->textMatrix(3, kAge), QString());  // not asked yet: nothing to say
  runTo(30000);
  EXPECT_EQ(table()->textMatrix(3, kAge), QStringLiteral("无应答"));
  EXPECT_EQ(table()->textMatrix(3, kLastReply), QString());
  EXPECT_EQ(table()->textMatrix(3, kShare), QStringLiteral("0%"));
  EXPECT_EQ(table()->cellForeColor(3, kAge), QColor(200, 0, 0));
  EXPECT_EQ(table()->cellForeColor(3, 0), QColor(150, 150, 150));
  EXPECT_EQ(tooltipOf("COM3,9600,3"), QStringLiteral("无应答"));
  EXPECT_EQ(status().left(12), QStringLiteral("在线站点 2/3    "));
  // The health columns come after the fourteen and the hidden mark.
  EXPECT_EQ(table()->colIndex(monitoring::FrmGlobalMonitoring::kAnswerKey), 14);
  EXPECT_TRUE(table()->isColumnHidden(14));
  EXPECT_EQ(table()->colIndex("Last Reply"), kLastReply);
}

TEST_F(LinkHealthTest, WireViewShowsEachExchangeWithItsVerdictAndWatchesOnlyWhileOpen) {
  using monitoring::FrmExchangeLog;
  start();
  mdi().show();
  runTo(25000);
  EXPECT_FALSE(FrmExchangeLog::exists());  // nothing watches the wire before it is opened

  mdi().action("ExchangeLog")->trigger();
  auto& view = FrmExchangeLog::instance();
  ASSERT_TRUE(view.watching());
  EXPECT_EQ(view.windowTitle(), QStringLiteral("通讯记录"));
  sim::Faults crc;
  crc.badCrc = true;
  station1->setFaults(crc);
  sim::Faults refused;
  refused.exception = sim::Exception::IllegalAddress;
  station2->setFaults(refused);
  runTo(42000);  // the second round: two requests to each station

  auto* table = grid(view, "Grid1");
  ASSERT_EQ(table->rows(), 5);
  const QString rt1 = QStringLiteral("01 03 01 00 00 23 05 EF");
  EXPECT_EQ(table->textMatrix(1, 1), QStringLiteral("COM3"));
  EXPECT_EQ(table->textMatrix(1, 2), QStringLiteral("一号站"));
  EXPECT_EQ(table->textMatrix(1, 3), rt1);
  EXPECT_EQ(table->textMatrix(1, 4).size(), 75 * 3 - 1);  // the whole reply, its CRC spoiled
  EXPECT_EQ(table->textMatrix(1, 5), QStringLiteral("CRC错误"));
  EXPECT_EQ(table->textMatrix(2, 2), QStringLiteral("二号站"));
  EXPECT_EQ(table->textMatrix(2, 5), QStringLiteral("异常应答 02"));
  EXPECT_EQ(table->textMatrix(2, 4).left(8), QStringLiteral("02 83 02"));
  EXPECT_EQ(table->textMatrix(4, 5), QStringLiteral("异常应答 02"));
  EXPECT_EQ(table->cellForeColor(1, 5), QColor(200, 0, 0));
  // Time to the millisecond.
  EXPECT_EQ(table->textMatrix(1, 0).size(), 23);

  // The station filter shows station 2 only; "all" brings back every row.
  auto* stations = testing::combo(view, "StationFilter");
  stations->setCurrentIndex(stations->findText(QStringLiteral("二号站")));
  ASSERT_EQ(table->rows(), 3);
  EXPECT_EQ(table->textMatrix(1, 2), QStringLiteral("二号站"));
  EXPECT_EQ(table->textMatrix(2, 2), QStringLiteral("二号站"));
  stations->setCurrentIndex(0);
  EXPECT_EQ(table->rows(), 5);

  // Paused, the table stands still while the wire goes on; going on shows what came.
  station1->setFaults({});
  station2->setFaults({});
  QTest::mouseClick(testing::button(view, "Pause"), Qt::LeftButton);
  runTo(59000);
  EXPECT_EQ(table->rows(), 5);
  QTest::mouseClick(testing::button(view, "Pause"), Qt::LeftButton);
  ASSERT_EQ(table->rows(), 9);
  EXPECT_EQ(table->textMatrix(8, 5), QStringLiteral("正常"));

  // Saved as CSV in the system's code page.
  const QString path = dir.path() + "/wire.csv";
  dialogs.fileNames.push_back(path);
  QTest::mouseClick(testing::button(view, "Save"), Qt::LeftButton);
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  const QStringList lines = platform::fromGbk(file.readAll()).split("\r\n", Qt::SkipEmptyParts);
  ASSERT_EQ(lines.size(), 9);
  EXPECT_EQ(lines[0], QStringLiteral("时间,端口,站点,请求,应答,结果"));
  const QString request2 = QString::fromStdString(link::spacedHex(requestFrame(2, " 03 0100 0023")));
  const QString reply2 = QString::fromStdString(link::spacedHex(appendCrc({0x02, 0x83, 0x02})));
  EXPECT_TRUE(lines[2].endsWith(QStringLiteral(",COM3,二号站,") + request2 + "," + reply2 + QStringLiteral(",异常应答 02")))
      << lines[2].toStdString();

  // Closed, it watches nothing: the ring stays as it was.
  view.close();
  EXPECT_FALSE(view.watching());
  const std::size_t kept = view.log().size();
  runTo(80000);
  EXPECT_EQ(view.log().size(), kept);
}

}  // namespace
}  // namespace xl
