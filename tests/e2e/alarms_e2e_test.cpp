// Alarms in the whole console, in virtual time against two simulated controllers: a fault word
// changed while the scan runs, a station made silent and back, a restart with an alarm open,
// and the screens 告警记录 and the alarm settings used through their controls.

#include "engine/alarms/alarm_engine.h"
#include "monitoring/frm_alarm_log.h"
#include "tests/e2e/e2e.h"

namespace xl::testing {
namespace {

using engine::alarms::AlarmEngine;
using engine::alarms::AlarmEvent;
using monitoring::FrmGlobalMonitoring;

// One round of the scan with the recorder's default interval: a request a second for each
// station and each of the two passes, a tick to end each pass, then 11 s of rest.
constexpr int kRoundMs = 17000;

class AlarmsTest : public WholeConsole {
 protected:
  void SetUp() override {
    WholeConsole::SetUp();
    core::configPath = dir.filePath("MSCON.DLL");
    startEngine();
    FrmGlobalMonitoring::setReplyListener(
        {{},
         [this](const QString& n, const QString& id, const QByteArray& r) { engine->realTimeReply(n, id, r); },
         [this](const QString& n, const QString& id) { engine->realTimeMissed(n, id); }});
    start();
    clock.advance(ms(25000));
    ASSERT_TRUE(scan().answered(1) && scan().answered(2));
  }
  void TearDown() override {
    FrmGlobalMonitoring::setReplyListener({});
    WholeConsole::TearDown();
    engine.reset();
  }
  void startEngine() {
    engine = std::make_unique<AlarmEngine>(dir.filePath("XLALARM.DB"));
    engine->addEventListener([this](const AlarmEvent& e) { events.push_back(e); });
  }
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

  std::unique_ptr<AlarmEngine> engine;
  std::vector<AlarmEvent> events;
};

// The scan's replies and misses reach the alarms (their rules are the engine's own tests'):
// raised at the first reply with the fault, told in the message window, never in a box.
TEST_F(AlarmsTest, FaultsAndSilenceOfTheScanRaiseAndClearAlarmsShownInTheTreeAndTheStatusBar) {
  EXPECT_EQ(alarmsText(), "一号站: ; 二号站:  | ");
  station1->state().readings.faultWord = sim::fault::kOverDischarge | sim::fault::kLoadShort;
  clock.advance(ms(kRoundMs));
  EXPECT_EQ(alarmsText(),
            "一号站: over_discharge load_short_circuit; 二号站:  | "
            "一号站 over_discharge+, 一号站 load_short_circuit+");
  EXPECT_EQ(logCount(QStringLiteral("告警发生：一号站 设备ID 1 蓄电池过放")), 1);
  EXPECT_TRUE(dialogs.shown.empty()) << "nothing pops up";

  // Station 1 falls silent: after three rounds without a reply "silent" is raised and its
  // faults stay; station 2 is untouched. Back and without faults, all clear.
  silence(station1);
  clock.advance(ms(3 * kRoundMs));
  EXPECT_EQ(alarmsText(), "一号站: over_discharge load_short_circuit silent; 二号站:  | 一号站 silent+");
  silence(station1, false);
  station1->state().readings.faultWord = 0;
  clock.advance(ms(2 * kRoundMs));
  EXPECT_EQ(alarmsText(), "一号站: ; 二号站:  | 一号站 over_discharge-, 一号站 load_short_circuit-, 一号站 silent-");

  // The tree and the status bar: red count of unacknowledged alarms, the station's node red.
  station2->state().readings.faultWord = sim::fault::kDeviceOverTemperature;
  clock.advance(ms(kRoundMs));
  EXPECT_EQ(control<QLabel>(mdi(), "AlarmStatus")->text(), QStringLiteral("未确认告警 1"))
      << "the three of station 1 are cleared";
  const auto* tree = control<QTreeWidget>(mdi(), "TreeView1");
  const auto colourOf = [&](const QString& name) {
    const auto found = tree->findItems(name, Qt::MatchExactly | Qt::MatchRecursive);
    return found.size() == 1 ? found[0]->foreground(0).color().name() : QStringLiteral("not one node");
  };
  EXPECT_EQ(colourOf(secondName), "#c00000");
  EXPECT_NE(colourOf(firstName), "#c00000");
}

TEST_F(AlarmsTest, ScreenAcknowledgesAsAdministratorNeverAsGuestAndExports) {
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
  const QString path = dir.filePath("alarms");
  dialogs.fileNames.push_back(path);
  QTest::mouseClick(button(view, "Export"), Qt::LeftButton);
  QFile file(path + ".csv");
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  const QString text = platform::fromGbk(file.readAll());
  EXPECT_EQ(text.count("\r\n"), 2);
  EXPECT_TRUE(text.startsWith(QStringLiteral("站点,设备ID,端口,代码,告警,")));
  EXPECT_TRUE(text.contains(QStringLiteral("二号站,2,COM3，9600,battery_over_voltage,蓄电池超压,")));
}

TEST_F(AlarmsTest, SettingsDialogWritesTheSectionAndTheEngineTakesIt) {
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
  EXPECT_EQ(alarmsText(), "一号站: low_soc; 二号站:  | 一号站 low_soc+");
}

}  // namespace
}  // namespace xl::testing
