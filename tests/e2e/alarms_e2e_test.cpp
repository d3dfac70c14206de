// Alarms in the whole console, in virtual time against two simulated controllers: a fault word
// changed while the scan runs, a station made silent and back, a restart with an alarm open,
// and the screen 告警记录 used through its controls by the administrator and by the guest.

#include <gtest/gtest.h>

#include <QFile>
#include <QLabel>
#include <QMenu>
#include <QTest>
#include <QTreeWidget>

#include "engine/alarms/alarm_engine.h"
#include "monitoring/frm_alarm_log.h"
#include "platform/gbk.h"
#include "shell/login.h"
#include "support/two_stations.h"
#include "tools/sim/bus.h"
#include "tools/sim/device_state.h"

namespace xl {
namespace {

using engine::alarms::AlarmEngine;
using engine::alarms::AlarmEvent;
using monitoring::FrmAlarmLog;
using monitoring::FrmGlobalMonitoring;
using platform::ms;

// One round of the scan with the recorder's default interval: a request a second for each
// station and each of the two passes, a tick to end each pass, then 11 s of rest.
constexpr int kRoundMs = 17000;

class AlarmsTest : public testing::TwoStationFixture {
 protected:
  void SetUp() override {
    TwoStationFixture::SetUp();
    core::configPath = dir.filePath("MSCON.DLL");
    startEngine();
    FrmGlobalMonitoring::setReplyListener(
        {{},
         [this](const QString& n, const QString& id, const QByteArray& r) { engine->realTimeReply(n, id, r); },
         [this](const QString& n, const QString& id) { engine->realTimeMissed(n, id); }});
  }
  void TearDown() override {
    FrmGlobalMonitoring::setReplyListener({});
    ConsoleFixture::TearDown();
    engine.reset();
  }
  void startEngine() {
    engine = std::make_unique<AlarmEngine>(dir.filePath("XLALARM.DB"));
    engine->addEventListener([this](const AlarmEvent& e) { events.push_back(e); });
  }
  void startAndSettle() {
    start();
    clock.advance(ms(25000));
    ASSERT_TRUE(scan().answered(1) && scan().answered(2));
  }
  QStringList codesOf(const QString& station) const {
    QStringList out;
    for (const auto& a : engine->activeOf(station)) out << a.code;
    return out;
  }
  QString eventsText() const {
    QStringList out;
    for (const auto& e : events) out << e.station + " " + e.code + (e.raised ? "+" : "-");
    return out.join(", ");
  }

  std::unique_ptr<AlarmEngine> engine;
  std::vector<AlarmEvent> events;
};

TEST_F(AlarmsTest, FaultRaisedAtOnceClearedAfterTwoRepliesSilenceKeepsTheOthers) {
  startAndSettle();
  EXPECT_TRUE(events.empty());
  station1->state().readings.faultWord = sim::fault::kOverDischarge | sim::fault::kLoadShort;
  clock.advance(ms(kRoundMs));
  EXPECT_EQ(eventsText(), QStringLiteral("一号站 over_discharge+, 一号站 load_short_circuit+"));
  EXPECT_EQ(logLines().filter(QStringLiteral("告警发生：一号站 设备ID 1 蓄电池过放")).size(), 1);
  EXPECT_EQ(dialogs.shown.size(), 0u) << "nothing pops up";

  // The fault goes: one round later it still stands, after the second it is cleared.
  station1->state().readings.faultWord = sim::fault::kLoadShort;
  clock.advance(ms(kRoundMs));
  EXPECT_EQ(codesOf(firstName), (QStringList{"over_discharge", "load_short_circuit"}));
  clock.advance(ms(kRoundMs));
  EXPECT_EQ(codesOf(firstName), QStringList{"load_short_circuit"});
  EXPECT_EQ(engine->log().history({}).back().cleared.size(), 19) << "the oldest row, cleared";

  // Station 1 falls silent: after three rounds without a reply "silent" is raised and its
  // short circuit stays; station 2 is untouched.
  events.clear();
  sim::Faults silent;
  silent.silent = true;
  station1->setFaults(silent);
  clock.advance(ms(2 * kRoundMs));
  EXPECT_TRUE(events.empty());
  clock.advance(ms(kRoundMs));
  EXPECT_EQ(eventsText(), QStringLiteral("一号站 silent+"));
  EXPECT_EQ(codesOf(firstName), (QStringList{"load_short_circuit", "silent"}));
  EXPECT_TRUE(codesOf(secondName).isEmpty());
  station1->setFaults({});
  station1->state().readings.faultWord = 0;
  clock.advance(ms(2 * kRoundMs));
  EXPECT_TRUE(codesOf(firstName).isEmpty());

  // The tree and the status bar: red count of unacknowledged alarms, the station's node red.
  station2->state().readings.faultWord = sim::fault::kDeviceOverTemperature;
  clock.advance(ms(kRoundMs));
  auto* status = testing::control<QLabel>(mdi(), "AlarmStatus");
  EXPECT_EQ(status->text(), QStringLiteral("未确认告警 1")) << "the two of station 1 are cleared";
  const auto* tree = testing::control<QTreeWidget>(mdi(), "TreeView1");
  const auto found = tree->findItems(secondName, Qt::MatchExactly | Qt::MatchRecursive);
  ASSERT_EQ(found.size(), 1);
  EXPECT_EQ(found[0]->foreground(0).color(), QColor(0xc0, 0, 0));
  EXPECT_NE(tree->findItems(firstName, Qt::MatchExactly | Qt::MatchRecursive)[0]->foreground(0).color(),
            QColor(0xc0, 0, 0));
}

TEST_F(AlarmsTest, AnAlarmOpenAtStopIsOpenAtStartAndTheNextReplyWithoutItClearsIt) {
  startAndSettle();
  station2->state().readings.faultWord = sim::fault::kPanelReversed;
  clock.advance(ms(kRoundMs));
  ASSERT_EQ(codesOf(secondName), QStringList{"panel_reverse_polarity"});
  // The program stops (the engine goes with its memory); the fault is repaired meanwhile.
  station2->state().readings.faultWord = 0;
  engine.reset();
  startEngine();
  EXPECT_EQ(codesOf(secondName), QStringList{"panel_reverse_polarity"});
  clock.advance(ms(kRoundMs));
  EXPECT_TRUE(codesOf(secondName).isEmpty());
  const auto rows = engine->log().history({});
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_FALSE(rows[0].cleared.isEmpty());
}

TEST_F(AlarmsTest, ScreenAcknowledgesAsAdministratorNeverAsGuestAndExports) {
  startAndSettle();
  station1->state().readings.faultWord = sim::fault::kOverDischarge;
  station2->state().readings.faultWord = sim::fault::kBatteryOverVoltage;
  clock.advance(ms(kRoundMs));
  mdi().action("AlarmLog")->trigger();
  FrmAlarmLog& view = FrmAlarmLog::instance();
  auto* active = testing::grid(view, "ActiveGrid");
  auto* history = testing::grid(view, "HistoryGrid");
  auto* ack = testing::button(view, "Acknowledge");
  ASSERT_EQ(active->rows(), 3);
  EXPECT_EQ(active->textMatrix(1, 0), firstName);
  EXPECT_EQ(active->textMatrix(1, 2), QStringLiteral("蓄电池过放"));
  EXPECT_FALSE(ack->isEnabled()) << "nothing chosen";

  // The guest chooses a row: the button stays grey and a real click does nothing.
  core::currentUser = QStringLiteral("guest");
  active->selectRow(1);
  EXPECT_FALSE(ack->isEnabled());
  QTest::mouseClick(ack, Qt::LeftButton);
  EXPECT_EQ(engine->log().unacknowledged(), 2);

  // The administrator acknowledges the chosen row; after it nothing is chosen, and the same
  // button pressed again does nothing.
  core::currentUser = QStringLiteral("administrator");
  view.updateButtons();
  ASSERT_TRUE(ack->isEnabled());
  QTest::mouseClick(ack, Qt::LeftButton);
  EXPECT_EQ(active->textMatrix(1, 4), QStringLiteral("administrator"));
  EXPECT_TRUE(active->selectionModel()->selectedRows().isEmpty());
  EXPECT_FALSE(ack->isEnabled());
  QTest::mouseClick(ack, Qt::LeftButton);
  EXPECT_EQ(engine->log().unacknowledged(), 1);
  EXPECT_EQ(testing::control<QLabel>(mdi(), "AlarmStatus")->text(), QStringLiteral("未确认告警 1"));

  // The history follows its station filter; the export is GBK with CR LF.
  auto* stations = testing::combo(view, "StationFilter");
  ASSERT_EQ(history->rows(), 3);
  stations->setCurrentIndex(stations->findText(secondName));
  ASSERT_EQ(history->rows(), 2);
  EXPECT_EQ(history->textMatrix(1, 2), QStringLiteral("蓄电池超压"));
  const QString path = dir.filePath("alarms");
  dialogs.fileNames.push_back(path);
  QTest::mouseClick(testing::button(view, "Export"), Qt::LeftButton);
  QFile file(path + ".csv");
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  const QByteArray bytes = file.readAll();
  EXPECT_EQ(platform::fromGbk(bytes).count("\r\n"), 2);
  EXPECT_TRUE(platform::fromGbk(bytes).startsWith(QStringLiteral("站点,设备ID,端口,代码,告警,")));
  EXPECT_TRUE(platform::fromGbk(bytes).contains(QStringLiteral("二号站,2,COM3，9600,battery_over_voltage,蓄电池超压,")));
  EXPECT_TRUE(bytes.contains(platform::toGbk(QStringLiteral("蓄电池超压"))));
}

TEST_F(AlarmsTest, SettingsDialogWritesTheSectionAndTheEngineTakesIt) {
  startAndSettle();
  mdi().action("AlarmSettings")->trigger();
  auto& form = monitoring::FrmAlarmSettings::instance();
  const auto type = [&](const char* box, const QString& text) {
    auto* e = testing::edit(form, box);
    e->selectAll();
    QTest::keyClicks(e, text);
  };
  EXPECT_EQ(testing::edit(form, "TextSilentAfter")->text(), "3");
  EXPECT_EQ(testing::edit(form, "TextLowSoc")->text(), "");
  // A refused value: one message, nothing written.
  type("TextLowSoc", "150");
  QTest::mouseClick(testing::button(form, "Command1"), Qt::LeftButton);
  ASSERT_EQ(dialogs.shown.size(), 1u);
  EXPECT_EQ(core::readIni("Alarms", "Low SOC"), "");
  type("TextSilentAfter", "2");
  type("TextLowSoc", "50");
  type("TextCommand", "/opt/site/notify");
  QTest::mouseClick(testing::button(form, "Command1"), Qt::LeftButton);
  EXPECT_EQ(core::readIni("Alarms", "Silent After"), "2");
  EXPECT_EQ(core::readIni("Alarms", "Command"), "/opt/site/notify");
  EXPECT_EQ(engine->settings().lowSoc, 50);
  // Below 50 raises at the next round, 50 itself does not.
  station1->state().readings.soc = 49;
  station2->state().readings.soc = 50;
  clock.advance(ms(kRoundMs));
  EXPECT_EQ(codesOf(firstName), QStringList{"low_soc"});
  EXPECT_TRUE(codesOf(secondName).isEmpty());
  // The guest has no road to the dialog: its menu is the administrator's.
  shell::upUsers(QStringLiteral("guest"));
  EXPECT_FALSE(testing::control<QMenu>(mdi(), "Maintenance")->menuAction()->isEnabled());
}

}  // namespace
}  // namespace xl
