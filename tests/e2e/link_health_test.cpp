// Link health in the whole console, in virtual time against simulated controllers: a station
// that falls silent turns stale after two rounds and fresh at its next reply; the share of
// answered requests after a pattern of faults; a station that never answered; the wire view.
// The wire dialogue itself is asserted by the monitoring cycle test; here only what is shown.

#include "link/exchange_log.h"
#include "monitoring/frm_exchange_log.h"
#include "tests/e2e/e2e.h"

namespace xl::testing {
namespace {

using monitoring::Freshness;

class LinkHealthTest : public WholeConsole {
 protected:
  // Runs the clock to `atMs` since start-up and refreshes the health columns there.
  void runTo(std::int64_t atMs) {
    clock.advance(ms(atMs) - clock.now());
    scan().refreshHealth();
  }
  platform::FlexGrid* table() { return grid(scan(), "VsFList1"); }
  QString status() { return control<QLabel>(mdi(), "HealthStatus")->text(); }
};

TEST_F(LinkHealthTest, SilentStationTurnsStaleAfterTwoRoundsAndFreshAtItsNextReply) {
  start();
  runTo(25000);                                                 // discovery and the first round are over
  EXPECT_EQ(rowText(0), "最后应答|距今|应答率 colours - - -");  // after the fourteen and the hidden mark
  EXPECT_TRUE(table()->isColumnHidden(14));
  EXPECT_EQ(rowText(2), "NN:NN:NN|3秒|100% colours - - -");
  EXPECT_EQ(status().left(12), QStringLiteral("在线站点 2/2    "));

  silence(station2);
  const std::int64_t lastGood = *scan().linkHealth().find("COM3", 2)->lastGoodUs;
  EXPECT_EQ(scan().roundLengthUs(), 17'000'000);  // two stations, read interval 10: 3 + 3 + 11 s
  const std::int64_t staleAtMs = (lastGood + 2 * 17'000'000) / 1000;

  // Two whole rounds go by without a reply; right up to their end the row is fresh.
  runTo(staleAtMs - 500);
  EXPECT_EQ(scan().roundLengthUs(), 17'000'000);  // now measured between two round starts
  EXPECT_EQ(rowText(2), "NN:NN:NN|33秒|50% colours - - -");
  runTo(staleAtMs + 500);
  // Grey row, red age; the fourteen columns keep their last texts, the answer mark stays.
  EXPECT_EQ(rowText(2), "NN:NN:NN|34秒|43% colours #969696 #969696 #c80000");
  EXPECT_EQ(rowText(1), "NN:NN:NN|1秒|100% colours - - -");
  EXPECT_EQ(
      stationsText({"COM3,9600,1", "COM3,9600,2"}),  // the tree's images stay as they are
      "一号站 answered=1 image=2 status=1 block=73 stored=73\n二号站 answered=1 image=2 status=1 block=73 stored=73");
  EXPECT_EQ(status(), QStringLiteral("在线站点 1/2    最旧读数 34秒"));
  const QString tip = tooltipOf("COM3,9600,2");
  EXPECT_TRUE(tip.startsWith(QStringLiteral("最后应答 ")) && tip.contains(QStringLiteral("距今 34秒")))
      << tip.toStdString();

  // It answers again: fresh at the first reply of the next round.
  silence(station2, false);
  const std::size_t sentBefore = sentFrames(*line).size();
  while (sentFrames(*line).size() == sentBefore) clock.advance(ms(100));
  // The next frame is station 1's; station 2's follows a second later.
  runTo(platform::toMs(clock.now()) + 1500);
  EXPECT_EQ(rowText(2), "NN:NN:NN|0秒|50% colours - - -");
  EXPECT_EQ(status().left(12), QStringLiteral("在线站点 2/2    "));
}

// Discovery (1 request) and round 1 (2 requests) are good; then station 1 has one round
// each with a bad CRC, an exception reply, silence, then a good round again; station 2 has
// an exception reply in the first of them. The wire view is opened for them.
TEST_F(LinkHealthTest, ShareOfAnsweredRequestsAndTheWireViewFollowAPatternOfFaults) {
  using monitoring::FrmExchangeLog;
  start();
  mdi().show();
  // What a listener of the scan hears of each station's real-time requests: replies and misses.
  std::map<QString, std::pair<int, int>> heard;
  const auto key = [](const engine::StationRef& s) { return s.name + "@" + s.port + "#" + s.deviceId; };
  engine::ScanListener listener;
  listener.realTime = [&](const engine::StationRef& s, const QByteArray& reply) {
    EXPECT_EQ(reply.size(), 73);
    ++heard[key(s)].first;
  };
  listener.realTimeMissed = [&](const engine::StationRef& s) { ++heard[key(s)].second; };
  scan().scanEngine().addListener(listener);
  const auto shares = [&] { return table()->textMatrix(1, kShare) + " " + table()->textMatrix(2, kShare); };
  runTo(25000);
  EXPECT_FALSE(FrmExchangeLog::exists());  // nothing watches the wire before it is opened
  mdi().action("ExchangeLog")->trigger();
  auto& view = FrmExchangeLog::instance();
  ASSERT_TRUE(view.watching());
  EXPECT_EQ(view.windowTitle(), QStringLiteral("通讯记录"));

  station1->setFaults({.badCrc = true});
  station2->setFaults({.exception = sim::Exception::IllegalAddress});
  runTo(42000);                    // the second round: two requests to each station
  EXPECT_EQ(shares(), "60% 60%");  // 3 of 5 each
  // Port, station, verdict; the whole reply, its CRC spoiled; the time to the millisecond.
  auto* log = grid(view, "Grid1");
  EXPECT_EQ(gridText(log, {1, 2, 5}),
            "COM3|一号站|CRC错误\nCOM3|二号站|异常应答 02\nCOM3|一号站|CRC错误\nCOM3|二号站|异常应答 02");
  EXPECT_EQ(log->textMatrix(1, 3), QStringLiteral("01 03 01 00 00 23 05 EF"));
  EXPECT_EQ(log->textMatrix(1, 4).size(), 75 * 3 - 1);
  EXPECT_EQ(log->textMatrix(2, 4).left(8), QStringLiteral("02 83 02"));
  EXPECT_EQ(log->cellForeColor(1, 5), QColor(200, 0, 0));
  EXPECT_EQ(log->textMatrix(1, 0).size(), 23);
  // The station filter shows station 2 only; "all" brings back every row.
  auto* stations = combo(view, "StationFilter");
  stations->setCurrentIndex(stations->findText(QStringLiteral("二号站")));
  EXPECT_EQ(gridText(log, {2}), "二号站\n二号站");
  stations->setCurrentIndex(0);
  EXPECT_EQ(log->rows(), 5);

  // Paused, the table stands still while the wire goes on; going on shows what came.
  station1->setFaults({.exception = sim::Exception::IllegalAddress});
  station2->setFaults({});
  QTest::mouseClick(button(view, "Pause"), Qt::LeftButton);
  runTo(59000);
  EXPECT_EQ(shares(), "43% 71%");  // 3 and 5 of 7
  EXPECT_EQ(log->rows(), 5);
  QTest::mouseClick(button(view, "Pause"), Qt::LeftButton);
  ASSERT_EQ(log->rows(), 9);
  EXPECT_EQ(gridText(log, {2, 5}, 5), "一号站|异常应答 02\n二号站|正常\n一号站|异常应答 02\n二号站|正常");

  // Saved as CSV in the system's code page.
  const QString path = dir.path() + "/wire.csv";
  dialogs.fileNames.push_back(path);
  QTest::mouseClick(button(view, "Save"), Qt::LeftButton);
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  const QStringList lines = platform::fromGbk(file.readAll()).split("\r\n", Qt::SkipEmptyParts);
  ASSERT_EQ(lines.size(), 9);
  EXPECT_EQ(lines[0], QStringLiteral("时间,端口,站点,请求,应答,结果"));
  EXPECT_EQ(lines[2].section(',', 1).toStdString(), "COM3,二号站," + link::spacedHex(requestFrame(2, kRealTime)) + "," +
                                                        link::spacedHex(appendCrc({0x02, 0x83, 0x02})) +
                                                        ",异常应答 02");

  // Closed, it watches nothing: the ring stays as it was.
  view.close();
  EXPECT_FALSE(view.watching());
  const std::size_t kept = view.log().size();
  station1->setFaults({.silent = true});
  runTo(76000);
  EXPECT_EQ(view.log().size(), kept);
  EXPECT_EQ(shares(), "33% 78%");  // 3 and 7 of 9
  station1->setFaults({});
  runTo(93000);
  EXPECT_EQ(shares(), "45% 82%");  // 5 and 9 of 11
  // Not stale: the last silent round was only one round.
  EXPECT_EQ(scan().healthOf(1).state, Freshness::Fresh);
  // Five rounds: each station missed its faulty ones (the load mode requests are no miss).
  EXPECT_EQ(heard, (std::map<QString, std::pair<int, int>>{{QStringLiteral("一号站@COM3,9600#1"), {2, 3}},
                                                           {QStringLiteral("二号站@COM3,9600#2"), {4, 1}}}));
}

}  // namespace
}  // namespace xl::testing
