// Link health in the whole console, in virtual time against simulated controllers: a station
// that falls silent turns stale after two rounds and fresh at its next reply; the share of
// answered requests after a pattern of faults; a station that never answered; the wire view.
// The wire dialogue itself is asserted by the monitoring cycle test; here only what is shown.
// And what the screens show is what the stations said: with faults (another address, a slow
// reply, silence), checked on the wire, in the record of the exchanges and on the screens.
// Alarms likewise: a fault word changed while the scan runs, a station made silent and back, and
// the screens 告警记录 and the alarm settings used through their controls.

#include "engine/alarms/alarm_engine.h"
#include "link/exchange_log.h"
#include "monitoring/frm_alarm_log.h"
#include "monitoring/frm_exchange_log.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "tests/e2e/e2e.h"

namespace xl::testing {
namespace {

using engine::alarms::AlarmEngine;
using engine::alarms::AlarmEvent;
using monitoring::Freshness;
using monitoring::FrmGlobalMonitoring;
using monitoring::FrmMonitoring1;
using monitoring::FrmRealTimeMonitoring;

class LinkHealthTest : public WholeConsole {
 protected:
  // The exchanges are recorded; the scan's replies and misses go to the alarms, as the program
  // wires them, and are noted: "station#id" and a letter for each whole reply ("r") and miss ("m").
  void SetUp() override {
    WholeConsole::SetUp();
    observer = link::addExchangeObserver([this](const link::Exchange& e) { exchanges.push_back(e); });
    core::configPath = dir.filePath("MSCON.DLL");
    engine = std::make_unique<AlarmEngine>(dir.filePath("XLALARM.DB"));
    engine->addEventListener([this](const AlarmEvent& e) { events.push_back(e); });
    FrmGlobalMonitoring::setReplyListener({{},
                                           [this](const QString& n, const QString& id, const QByteArray& r) {
                                             heard[n + "#" + id] += r.size() == 73 ? "r" : "?";
                                             engine->realTimeReply(n, id, r);
                                           },
                                           [this](const QString& n, const QString& id) {
                                             heard[n + "#" + id] += "m";
                                             engine->realTimeMissed(n, id);
                                           }});
  }
  void TearDown() override {
    link::removeExchangeObserver(observer);
    FrmGlobalMonitoring::setReplyListener({});
    WholeConsole::TearDown();
    engine.reset();
  }
  // Runs the clock to `atMs` since start-up and refreshes the health columns there.
  void runTo(std::int64_t atMs) {
    clock.advance(ms(atMs) - clock.now());
    scan().refreshHealth();
  }
  QString status() { return control<QLabel>(mdi(), "HealthStatus")->text(); }
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
  // The open alarms of both stations, then the events since the last call.
  std::string alarmsText() {
    QStringList out;
    for (const QString& station : {firstName, secondName}) {
      QStringList codes;
      for (const auto& a : engine->activeOf(station)) codes << a.code;
      out << station + ": " + codes.join(' ');
    }
    QStringList told;
    for (const auto& e : events) told << e.station + " " + e.code + (e.raised ? "+" : "-");
    events.clear();
    return (out.join("; ") + " | " + told.join(", ")).toStdString();
  }

  std::vector<link::Exchange> exchanges;
  int observer = 0;
  std::unique_ptr<AlarmEngine> engine;
  std::vector<AlarmEvent> events;
  std::map<QString, QString> heard;
};
using TruthTest = LinkHealthTest;
using AlarmsTest = LinkHealthTest;

TEST_F(LinkHealthTest, SilentStationTurnsStaleAfterTwoRoundsAndFreshAtItsNextReply) {
  start();
  runTo(25000);  // discovery and the first round are over
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
// each with a bad CRC, an exception reply and silence; station 2 has
// an exception reply in the first of them. The wire view is opened for them.
TEST_F(LinkHealthTest, ShareOfAnsweredRequestsAndTheWireViewFollowAPatternOfFaults) {
  using monitoring::FrmExchangeLog;
  start();
  mdi().show();
  const auto shares = [&] { return table()->textMatrix(1, kShare) + " " + table()->textMatrix(2, kShare); };
  runTo(25000);
  EXPECT_FALSE(FrmExchangeLog::exists());  // nothing watches the wire before it is opened
  mdi().action("ExchangeLog")->trigger();
  auto& view = FrmExchangeLog::instance();
  ASSERT_TRUE(view.watching());

  station1->setFaults({.badCrc = true});
  station2->setFaults({.exception = sim::Exception::IllegalAddress});
  runTo(42000);                    // the second round: two requests to each station
  EXPECT_EQ(shares(), "60% 60%");  // 3 of 5 each
  // Port, station, verdict; the whole reply, its CRC spoiled (its length as text); the time to
  // the millisecond (its length); the verdict's colour.
  auto* log = grid(view, "Grid1");
  EXPECT_EQ(gridText(log, {1, 2, 5}),
            "COM3|一号站|CRC错误\nCOM3|二号站|异常应答 02\nCOM3|一号站|CRC错误\nCOM3|二号站|异常应答 02");
  EXPECT_EQ(QStringLiteral("%1 / %2 / %3 / %4 %5")
                .arg(log->textMatrix(1, 3), QString::number(log->textMatrix(1, 4).size()), log->textMatrix(2, 4),
                     QString::number(log->textMatrix(1, 0).size()), log->cellForeColor(1, 5).name()),
            "01 03 01 00 00 23 05 EF / 224 / 02 83 02 30 F1 / 23 #c80000");
  // Then station 1 answers with an exception, station 2 well.
  station1->setFaults({.exception = sim::Exception::IllegalAddress});
  station2->setFaults({});
  runTo(59000);
  EXPECT_EQ(shares(), "43% 71%");  // 3 and 5 of 7
  ASSERT_EQ(log->rows(), 9);
  EXPECT_EQ(gridText(log, {2, 5}, 5), "一号站|异常应答 02\n二号站|正常\n一号站|异常应答 02\n二号站|正常");

  // Saved as CSV in the system's code page.
  const QStringList lines = savedText(button(view, "Save"), "wire.csv", "wire.csv").split("\r\n", Qt::SkipEmptyParts);
  EXPECT_EQ(QString::number(lines.size()) + " " + lines.value(0) + " / " + lines.value(2).section(',', 1),
            "9 时间,端口,站点,请求,应答,结果 / COM3,二号站,02 03 01 00 00 23 05 DC,02 83 02 30 F1,异常应答 02");

  // Then station 1 falls silent.
  station1->setFaults({.silent = true});
  runTo(76000);
  EXPECT_EQ(shares(), "33% 78%");  // 3 and 7 of 9
  // Four rounds: each station missed its faulty ones (the load mode requests are no miss).
  EXPECT_EQ(heard, (std::map<QString, QString>{{"一号站#1", "rmmm"}, {"二号站#2", "rmrr"}}));
}

// The live screen with a silent station, a slow one and a load switch that is not answered.
TEST_F(TruthTest, LiveScreenTellsOnlyWhatTheStationsSaidAndNeverHoldsTheLine) {
  station1->state().readings.loadOn = true;
  startAndSettle();
  silence(station2);
  // The device information, 300 ms later the real-time block, and at 900 ms the daily screen's.
  live().setCombo1Text(secondName);
  clock.advance(ms(50));
  ASSERT_TRUE(link::SerialSession::exchangeOnLine(3));
  clock.advance(ms(1200));
  // Each request ended at its silence limit: nothing holds the port.
  EXPECT_EQ(
      verdictsOf(2, 25000) + (line->isOpen() ? " open" : "") + (link::SerialSession::exchangeOnLine(3) ? " held" : ""),
      "无应答,无应答,无应答");
  // The scan goes on with its next round on that line, at its own pace. Station 1 turns slow
  // (1.2 s): its late reply comes while the silent station 2 is asked. It is not station 2's:
  // the row keeps station 2's own block, both stations have a failure booked, and one round
  // without a reply leaves station 1 fresh.
  station1->setFaults({.delay = ms(1200)});
  const std::int64_t from = platform::toMs(clock.now());
  clock.advance(ms(20000));
  EXPECT_EQ(sentFrames(*line, from), (std::vector<Sent>{{34600, r1}, {35600, r2}, {37600, l1}, {38600, l2}}));
  EXPECT_EQ(verdictsOf(1, from) + " / " + verdictsOf(2, from), "无应答,无应答 / 地址不符,地址不符");
  const QByteArray kept = table()->cellData(2, 0).toByteArray();
  EXPECT_EQ(kept.left(1).toHex() + " " + QByteArray::number(kept.size()) +
                " fresh=" + QByteArray::number(scan().stationHealth(firstName).state == Freshness::Fresh),
            "02 73 fresh=1");
  station1->setFaults({});

  // 停止监控 with a load command out: the line is free at once, nothing waits.
  QTest::mouseClick(button(live(), "Command2"), Qt::LeftButton);
  QTest::mouseClick(control<QRadioButton>(live(), "Option2"), Qt::LeftButton);
  clock.advance(ms(20));
  ASSERT_TRUE(link::SerialSession::exchangeOnLine(3) || link::SerialSession::waitingRequests() > 0);
  QTest::mouseClick(button(live(), "Command9"), Qt::LeftButton);
  const auto after = link::SerialSession::exchangeOnLine(3);  // the scan's, if any
  EXPECT_EQ(std::pair(after && after->address == 2, link::SerialSession::waitingRequests()), std::pair(false, 0ul));

  // The load switch of station 1, which shows its load on.
  live().setCombo1Text(firstName);
  clock.advance(ms(1000));
  auto* on = control<QRadioButton>(live(), "Option1");
  auto* off = control<QRadioButton>(live(), "Option2");
  ASSERT_TRUE(on->isChecked());
  // Answered: the switch stays where the operator put it, no line.
  QTest::mouseClick(off, Qt::LeftButton);
  clock.advance(ms(600));
  EXPECT_TRUE(off->isChecked());
  EXPECT_EQ(logCount(QStringLiteral("负载开关无应答：一号站")), 0);
  // Silent: back to what 负载状态 showed (the last block: on), one line.
  live().setCombo1Text(secondName);
  live().setCombo1Text(firstName);
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
  // Both monitors' stale mark and label (digits as N), and the live screen's voltage box.
  const auto staleText = [&] {
    const auto mark = [](const auto& screen) {
      const auto* l = control<QLabel>(screen, "StaleLabel");
      return QString::number(screen.showsStale()) + " " +
             (l->isHidden() ? QStringLiteral("hidden") : QString(l->text()).replace(QRegularExpression("\\d+"), "N"));
    };
    const QLineEdit* voltage = edit(live(), "Text9");
    return QStringLiteral("live %1, daily %2, voltage enabled=%3 %4")
        .arg(mark(live()), mark(FrmMonitoring1::instance()), QString::number(voltage->isEnabled()), voltage->text())
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

// One round of the scan with the recorder's default interval: a request a second for each
// station and each of the two passes, a tick to end each pass, then 11 s of rest.
constexpr int kRoundMs = 17000;

// The scan's replies and misses reach the alarms (their rules are the engine's own tests'):
// raised at the first reply with the fault, told in the message window, never in a box.
TEST_F(AlarmsTest, FaultsRaiseAndClearAlarmsShownInTheTreeAndTheStatusBarAndTheSettingsDialogIsTaken) {
  startAndSettle();
  EXPECT_EQ(alarmsText(), "一号站: ; 二号站:  | ");
  station1->state().readings.faultWord = sim::fault::kOverDischarge | sim::fault::kLoadShort;
  clock.advance(ms(kRoundMs));
  EXPECT_EQ(alarmsText(),
            "一号站: over_discharge load_short_circuit; 二号站:  | "
            "一号站 over_discharge+, 一号站 load_short_circuit+");
  EXPECT_EQ(logCount(QStringLiteral("告警发生：一号站 设备ID 1 蓄电池过放")), 1);
  EXPECT_TRUE(dialogs.shown.empty()) << "nothing pops up";

  // Without faults, all clear (silence and the other rules are the engine's own tests'; that
  // the scan's misses reach the listener, the share scenario shows).
  station1->state().readings.faultWord = 0;
  clock.advance(ms(2 * kRoundMs));
  EXPECT_EQ(alarmsText(), "一号站: ; 二号站:  | 一号站 over_discharge-, 一号站 load_short_circuit-");

  // The tree and the status bar: red count of unacknowledged alarms, the station's node red.
  station2->state().readings.faultWord = sim::fault::kDeviceOverTemperature;
  clock.advance(ms(kRoundMs));
  // The two of station 1 are cleared: one left, station 2's node red, station 1's as before.
  EXPECT_EQ(control<QLabel>(mdi(), "AlarmStatus")->text() + " " +
                mdi().node("COM3,9600,2")->foreground(0).color().name() + " " +
                mdi().node("COM3,9600,1")->foreground(0).color().name(),
            "未确认告警 1 #c00000 #000000");

  // The settings dialog writes the section and the engine takes it.
  mdi().action("AlarmSettings")->trigger();
  auto& form = monitoring::FrmAlarmSettings::instance();
  const auto type = [&](const char* box, const QString& text) {
    edit(form, box)->selectAll();
    QTest::keyClicks(edit(form, box), text);
  };
  EXPECT_EQ(edit(form, "TextSilentAfter")->text() + "/" + edit(form, "TextLowSoc")->text(), "3/");
  // A refused value: one message, nothing written.
  type("TextLowSoc", "150");
  QTest::mouseClick(button(form, "Command1"), Qt::LeftButton);
  ASSERT_EQ(dialogs.shown.size(), 1u);
  EXPECT_EQ(core::readIni("Alarms", "Low SOC"), "");
  type("TextSilentAfter", "2");
  type("TextLowSoc", "50");
  type("TextCommand", "/opt/site/notify");
  QTest::mouseClick(button(form, "Command1"), Qt::LeftButton);
  EXPECT_EQ(core::readIni("Alarms", "Silent After") + " " + core::readIni("Alarms", "Command"), "2 /opt/site/notify");
  // Below 50 raises at the next round, 50 itself does not.
  station1->state().readings.soc = 49;
  station2->state().readings.soc = 50;
  clock.advance(ms(kRoundMs));
  EXPECT_EQ(alarmsText(),
            "一号站: low_soc; 二号站: device_over_temperature | 二号站 device_over_temperature+, 一号站 low_soc+");
}

TEST_F(AlarmsTest, ScreenAcknowledgesAsAdministratorNeverAsGuestAndExports) {
  startAndSettle();
  station1->state().readings.faultWord = sim::fault::kOverDischarge;
  station2->state().readings.faultWord = sim::fault::kBatteryOverVoltage;
  clock.advance(ms(kRoundMs));
  mdi().action("AlarmLog")->trigger();
  auto& view = monitoring::FrmAlarmLog::instance();
  auto* active = grid(view, "ActiveGrid");
  auto* ack = button(view, "Acknowledge");
  // The open alarms (station, text, who acknowledged), the button, the chosen rows, the count.
  const auto screenText = [&] {
    return QStringLiteral("%1 | enabled=%2 chosen=%3 unacknowledged=%4 %5")
        .arg(QString::fromStdString(gridText(active, {0, 2, 4})).replace('\n', "; "))
        .arg(QString::number(ack->isEnabled()), QString::number(active->selectionModel()->selectedRows().size()),
             QString::number(engine->log().unacknowledged()), control<QLabel>(mdi(), "AlarmStatus")->text())
        .toStdString();
  };
  EXPECT_EQ(screenText(), "一号站|蓄电池过放|; 二号站|蓄电池超压| | enabled=0 chosen=0 unacknowledged=2 未确认告警 2");

  // The guest chooses a row: the button stays grey and a real click does nothing.
  core::currentUser = QStringLiteral("guest");
  active->selectRow(1);
  QTest::mouseClick(ack, Qt::LeftButton);
  EXPECT_EQ(screenText(), "一号站|蓄电池过放|; 二号站|蓄电池超压| | enabled=0 chosen=1 unacknowledged=2 未确认告警 2");

  // The administrator acknowledges the chosen row; after it nothing is chosen, and the same
  // button pressed again does nothing.
  core::currentUser = QStringLiteral("administrator");
  view.updateButtons();
  ASSERT_TRUE(ack->isEnabled());
  for (int press = 0; press < 2; ++press) {
    QTest::mouseClick(ack, Qt::LeftButton);
    EXPECT_EQ(screenText(),
              "一号站|蓄电池过放|administrator; 二号站|蓄电池超压| | enabled=0 chosen=0 unacknowledged=1 未确认告警 1");
  }

  // The history follows its station filter; the export is GBK with CR LF.
  auto* history = grid(view, "HistoryGrid");
  auto* stations = combo(view, "StationFilter");
  ASSERT_EQ(history->rows(), 3);
  stations->setCurrentIndex(stations->findText(secondName));
  EXPECT_EQ(gridText(history, {2}), "蓄电池超压");
  EXPECT_EQ(savedText(button(view, "Export"), "alarms", "alarms.csv")
                .replace(QRegularExpression("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d"), "T"),
            QStringLiteral("站点,设备ID,端口,代码,告警,发生时间,解除时间,确认人,确认时间\r\n"
                           "二号站,2,COM3，9600,battery_over_voltage,蓄电池超压,T,,,\r\n"));
}

}  // namespace
}  // namespace xl::testing
