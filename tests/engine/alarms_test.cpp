// The alarms without a screen: the conditions of one station reply by reply, the log file, the
// settings section, the engine across a restart, and the command run per event.

#include <gtest/gtest.h>

#include <QtCore/qtestsupport_core.h>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include "core/app_state.h"
#include "core/message_log.h"
#include "core/settings.h"
#include "core/station_store.h"
#include "engine/alarms/alarm_engine.h"
#include "engine/alarms/command_runner.h"
#include "platform/scheduler.h"
#include "support/qt_app.h"

namespace xl::engine::alarms {
namespace {

// A valid real-time reply with the fault word 0x0121 and the charge level given.
Bytes replyWith(std::uint16_t faultWord, std::uint8_t soc = 80) {
  Bytes b(73, 0);
  std::tie(b[0], b[1], b[2], b[4]) = std::tuple<std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t>(1, 3, 70, soc);
  std::tie(b[69], b[70]) = std::pair(static_cast<std::uint8_t>(faultWord >> 8), static_cast<std::uint8_t>(faultWord));
  return b;
}
QByteArray q(const Bytes& b) {
  return QByteArray(reinterpret_cast<const char*>(b.data()), static_cast<qsizetype>(b.size()));
}

// What each step changed, "code+" raised and "code-" cleared, each step closed by "|". A step is
// a reply with the fault word given, or -1 for a reply missed (silent after three).
std::string trace(StationConditions& c, std::initializer_list<int> steps, std::optional<int> lowSoc = {},
                  std::uint8_t soc = 80) {
  std::string out;
  for (int step : steps) {
    const auto changes = step < 0 ? c.missed(3) : c.reply(replyWith(static_cast<std::uint16_t>(step), soc), lowSoc);
    for (const Change& change : changes) out += change.code + (change.raised ? "+" : "-");
    out += "|";
  }
  return out;
}

TEST(AlarmConditions, FaultBitsSilenceLowChargeAndRestore) {
  const std::pair<int, std::string> bits[] = {{0, "over_discharge"},           {1, "battery_over_voltage"},
                                              {2, "battery_under_voltage"},    {3, "load_short_circuit"},
                                              {4, "load_over_current"},        {5, "device_over_temperature"},
                                              {6, "battery_over_temperature"}, {7, "panel_over_power"},
                                              {9, "panel_over_voltage"},       {12, "panel_reverse_polarity"}};
  // Raised once; one reply without it is not enough; shown again, the count starts over.
  for (const auto& [bit, code] : bits) {
    StationConditions c;
    EXPECT_EQ(trace(c, {1 << bit, 1 << bit, 0, 1 << bit, 0, 0}), code + "+|||||" + code + "-|");
  }
  // Bit 8 (the panel's clean bill) and bits no reader tests raise nothing; nor does a reply of
  // another length.
  StationConditions c;
  EXPECT_EQ(trace(c, {0x2000 | 0x0100 | 0x0400 | 0x0800 | 0xC000}), "|");
  Bytes shortReply = replyWith(1);
  shortReply.pop_back();
  EXPECT_TRUE(c.reply(shortReply, {}).empty());

  // Silent at the third miss; nothing is known while silent. Back, silence needs two replies to
  // clear like any condition, a miss between starts over; a reply resets the count of misses.
  StationConditions s;
  EXPECT_EQ(trace(s, {1, -1, -1, -1, -1}), "over_discharge+|||silent+||");
  EXPECT_TRUE(s.active("over_discharge"));
  EXPECT_EQ(trace(s, {1, -1, 1, 1, -1, -1, 1, -1}), "|||silent-|||||");

  // Low charge: below the threshold, not at it; off without one.
  StationConditions soc;
  std::string seen = trace(soc, {0}, 20, 20);
  seen += trace(soc, {0}, 20, 19);
  EXPECT_EQ(seen + trace(soc, {0, 0}, {}, 5), "|low_soc+||low_soc-|");

  // Restored from the log: the next reply with it raises nothing, one without it clears it.
  StationConditions r;
  for (const char* code : {"load_short_circuit", "over_discharge"}) r.restore(code);
  EXPECT_EQ(trace(r, {1 << 3}), "over_discharge-|");
}

// The rows of the log: station, code, raised, cleared and who acknowledged; one row a line.
QString rowsText(const std::vector<AlarmRow>& rows) {
  QString out;
  for (const AlarmRow& r : rows) out += QStringList{r.station, r.code, r.raised, r.cleared, r.ackBy}.join('|') + "\n";
  return out;
}

class AlarmEngineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir.isValid());
    core::setProgramDir(dir.path());
    core::configPath = dir.filePath("MSCON.DLL");
    core::setStationStorePath(dir.filePath("MSCONS.DLL"));
    platform::setScheduler(&clock);
    core::setLogBox({[this] { return logText; }, [this](const QString& t) { logText = t; }});
  }
  void TearDown() override {
    core::setLogBox({});
    core::configPath.clear();
    core::setStationStorePath({});
    core::setProgramDir({});
  }
  QDateTime at(int day, int hour = 8) const { return QDateTime(QDate(2026, 5, day), QTime(hour, 0)); }

  QTemporaryDir dir;
  platform::VirtualClock clock;
  QString logText;
};

TEST_F(AlarmEngineTest, LogKeepsRaisingClearingAndAcknowledgementAcrossARestartAndTheSettingsTheirDefaults) {
  QDateTime now = at(1);
  std::vector<AlarmEvent> events;
  {
    AlarmEngine engine;
    engine.setClock([&] { return now; });
    engine.addEventListener([&](const AlarmEvent& e) { events.push_back(e); });
    engine.realTimeReply("站;'\"1", "1", q(replyWith(1)));
    engine.realTimeReply("站2", "2", q(replyWith(1u << 3)));
    EXPECT_EQ(QString::number(events.size()) + " " + eventLine(events.at(0)),
              "2 2026-05-01 08:00:00 站;'\"1 1 蓄电池过放 发生");
    const auto open = engine.log().open();
    ASSERT_EQ(open.size(), 2u);
    // Unacknowledged before, acknowledged by the first, then again (once only), unacknowledged after.
    std::string acks = std::to_string(engine.log().unacknowledged());
    acks += std::to_string(engine.acknowledge({open[1].id, 999}, "administrator"));
    acks += std::to_string(engine.acknowledge({open[1].id}, "guest")) + std::to_string(engine.log().unacknowledged());
    EXPECT_EQ(acks, "2101");
  }
  // The program stops with both open; the next start knows them, and the first reply of 站2
  // without its fault clears it.
  now = at(2);
  AlarmEngine engine;
  engine.setClock([&] { return now; });
  const auto restored = engine.activeOf("站2");
  engine.realTimeReply("站2", "2", q(replyWith(0)));
  EXPECT_EQ(QString::number(restored.size() + engine.activeOf("站2").size()) +
                restored.at(0).since.toString(Qt::ISODate) +
                rowsText(engine.log().history({QStringLiteral("站2"), {}, {}})),
            "12026-05-01T08:00:00站2|load_short_circuit|2026-05-01 08:00:00|2026-05-02 08:00:00|administrator\n");
  EXPECT_EQ(engine.alarmedStations(), std::vector<QString>{"站;'\"1"});
  // Filters by day; the export writes "，" for a comma and no quoting.
  const auto onDay = [&](int day) {
    return engine.log().history({{}, QDate(2026, 5, day), QDate(2026, 5, day)}).size();
  };
  EXPECT_EQ(std::to_string(onDay(1)) + std::to_string(onDay(2)), "20");
  EXPECT_EQ(engine.log().stations(), (QStringList{"站2", "站;'\"1"}));
  AlarmRow comma;
  comma.station = "a,b";
  EXPECT_EQ(exportLines({comma}).value(1), "a，b,,,,,,,,");

  // Old cleared rows go after Keep Days; open ones stay however old.
  core::writeIni("Alarms", "Keep Days", "10");
  engine.reloadSettings();
  now = at(11, 9);
  engine.prune();
  EXPECT_EQ(rowsText(engine.log().history({})), "站;'\"1|over_discharge|2026-05-01 08:00:00||\n");
  // A deleted station's open alarm is cleared at once.
  engine.forgetStation("站;'\"1");
  EXPECT_EQ(engine.alarmedStations().size() + engine.log().open().size(), 0u);

  // Silent After, Low SOC and Keep Days as stored, then as read: out of its range, the default.
  std::string read;
  for (const auto& [silent, soc, keep] : {std::array{"5", "30", "7"}, {"0", "101", "x"}, {" 2 ", "abc", "-1"}}) {
    for (const auto& [key, value] : {std::pair{"Silent After", silent}, {"Low SOC", soc}, {"Keep Days", keep}})
      core::writeIni("Alarms", key, value);
    const AlarmSettings s = readAlarmSettings();
    read += std::to_string(s.silentAfter) + " " + (s.lowSoc ? std::to_string(*s.lowSoc) : "-") + " " +
            std::to_string(s.keepDays) + "|";
  }
  EXPECT_EQ(read, "5 30 7|3 - 365|2 - 365|");
  const AlarmSettings w{4, 25, QStringLiteral("/usr/bin/notify \"x\""), 30};
  ASSERT_TRUE(writeAlarmSettings(w));
  EXPECT_EQ(readAlarmSettings(), w);
}

TEST_F(AlarmEngineTest, ProgramRunsPerEventWithArgumentsNeverThroughAShellOneAtATime) {
  testing::testApp();  // its event loop runs the processes' signals
  const QString out = dir.filePath("out.txt");
  const QString script = dir.filePath("notify.sh");
  const auto writeScript = [&](const QString& text) {
    QFile f(script);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(text.toUtf8());
    f.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
  };
  // A script that appends its arguments, one a line, after a short wait: a run that overlapped
  // another would interleave the lines.
  writeScript(
      QStringLiteral("#!/bin/sh\nsleep 0.2\nfor a in \"$@\"; do printf '%s\\n' \"$a\" >> '%1'; done\n").arg(out));
  QString program = script;
  CommandRunner runner([&] { return program; }, 2000);
  const QString nasty = QStringLiteral("站\"'; touch %1 #").arg(dir.filePath("pwned"));
  runner.enqueue({nasty, "1", "", "over_discharge", "蓄电池过放", true, at(1)});
  runner.enqueue({"B", "2", "", "silent", "通讯中断", false, at(1, 9)});
  EXPECT_EQ(runner.waiting(), 1u);
  ASSERT_TRUE(QTest::qWaitFor([&] { return !runner.running() && runner.waiting() == 0; }));
  QFile o(out);
  ASSERT_TRUE(o.open(QIODevice::ReadOnly));
  EXPECT_EQ(QString::fromUtf8(o.readAll()) + (QFile::exists(dir.filePath("pwned")) ? "pwned" : "") + logText,
            nasty +
                "\n1\nover_discharge\n蓄电池过放\nraised\n2026-05-01 08:00:00\nB\n2\nsilent\n通讯中断\ncleared\n"
                "2026-05-01 09:00:00\n");

  // Failures: a missing program, then one that outlives its limit; one line a minute at most.
  program = dir.filePath("missing");
  runner.enqueue({"A", "1", "", "silent", "通讯中断", true, at(1)});
  ASSERT_TRUE(QTest::qWaitFor([&] { return logText.contains("告警命令执行失败"); }));
  writeScript("#!/bin/sh\nexec sleep 30\n");
  program = script;
  QElapsedTimer t;
  t.start();
  runner.enqueue({"A", "1", "", "silent", "通讯中断", false, at(1)});
  // Killed at its limit, long before the script's end; no command: nothing runs.
  const bool ended = QTest::qWaitFor([&] { return !runner.running(); }) && t.elapsed() < 4000;
  program.clear();
  runner.enqueue({"A", "1", "", "silent", "通讯中断", true, at(1)});
  EXPECT_EQ(
      QString::number(logText.count("告警命令执行失败")) + (ended ? " ended" : "") + (runner.running() ? " runs" : ""),
      "1 ended");
}

}  // namespace
}  // namespace xl::engine::alarms
