// The alarms without a screen: the conditions of one station reply by reply, the log file, the
// settings section, the engine across a restart, and the command run per event.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include "core/app_state.h"
#include "core/message_log.h"
#include "core/settings.h"
#include "core/station_store.h"
#include "engine/alarms/alarm_engine.h"
#include "engine/alarms/command_runner.h"
#include "platform/scheduler.h"

namespace xl::engine::alarms {
namespace {

// A valid real-time reply with the fault word 0x0121 and the charge level given.
Bytes replyWith(std::uint16_t faultWord, std::uint8_t soc = 80) {
  Bytes b(73, 0);
  b[0] = 1;
  b[1] = 3;
  b[2] = 70;
  b[4] = soc;
  b[69] = static_cast<std::uint8_t>(faultWord >> 8);
  b[70] = static_cast<std::uint8_t>(faultWord & 0xFF);
  return b;
}
QByteArray q(const Bytes& b) {
  return QByteArray(reinterpret_cast<const char*>(b.data()), static_cast<qsizetype>(b.size()));
}

TEST(AlarmConditions, EveryFaultBitRaisesItsCodeAndClearsAfterTwoRepliesWithout) {
  const struct {
    int bit;
    const char* code;
  } bits[] = {{0, "over_discharge"},           {1, "battery_over_voltage"}, {2, "battery_under_voltage"},
              {3, "load_short_circuit"},       {4, "load_over_current"},    {5, "device_over_temperature"},
              {6, "battery_over_temperature"}, {7, "panel_over_power"},     {9, "panel_over_voltage"},
              {12, "panel_reverse_polarity"}};
  for (const auto& b : bits) {
    StationConditions c;
    const auto on = replyWith(static_cast<std::uint16_t>(1u << b.bit));
    EXPECT_EQ(c.reply(on, {}), (std::vector<Change>{{b.code, true}})) << b.code;
    EXPECT_TRUE(c.reply(on, {}).empty()) << "raised once";
    EXPECT_TRUE(c.reply(replyWith(0), {}).empty()) << "one reply without it is not enough";
    EXPECT_TRUE(c.reply(on, {}).empty()) << "shown again: the count starts over";
    EXPECT_TRUE(c.reply(replyWith(0), {}).empty());
    EXPECT_EQ(c.reply(replyWith(0), {}), (std::vector<Change>{{b.code, false}})) << b.code;
  }
  // Bit 8 (the panel's clean bill) and bits no reader tests raise nothing; nor does a reply of
  // another length.
  StationConditions c;
  EXPECT_TRUE(c.reply(replyWith(0x2000 | 0x0100 | 0x0400 | 0x0800 | 0xC000), {}).empty());
  Bytes shortReply = replyWith(1);
  shortReply.pop_back();
  EXPECT_TRUE(c.reply(shortReply, {}).empty());
  EXPECT_TRUE(c.activeCodes().empty());
}

TEST(AlarmConditions, SilenceAndLowChargeAndRestore) {
  StationConditions c;
  c.reply(replyWith(1), {});
  EXPECT_TRUE(c.missed(3).empty());
  EXPECT_TRUE(c.missed(3).empty());
  EXPECT_EQ(c.missed(3), (std::vector<Change>{{"silent", true}}));
  EXPECT_TRUE(c.missed(3).empty());
  EXPECT_TRUE(c.active("over_discharge")) << "nothing is known while silent";
  // Back: silence needs two replies to clear like any condition; a miss between starts over.
  EXPECT_TRUE(c.reply(replyWith(1), {}).empty());
  EXPECT_TRUE(c.missed(3).empty());
  EXPECT_TRUE(c.reply(replyWith(1), {}).empty());
  EXPECT_EQ(c.reply(replyWith(1), {}), (std::vector<Change>{{"silent", false}}));
  // A reply resets the count of misses.
  c.missed(3);
  c.missed(3);
  c.reply(replyWith(1), {});
  EXPECT_TRUE(c.missed(3).empty());

  // Low charge: below the threshold, not at it; off without one.
  StationConditions soc;
  EXPECT_TRUE(soc.reply(replyWith(0, 20), 20).empty());
  EXPECT_EQ(soc.reply(replyWith(0, 19), 20), (std::vector<Change>{{"low_soc", true}}));
  soc.reply(replyWith(0, 5), {});
  EXPECT_EQ(soc.reply(replyWith(0, 5), {}), (std::vector<Change>{{"low_soc", false}})) << "turned off";

  // Restored from the log: the next reply without it clears it.
  StationConditions r;
  r.restore("load_short_circuit");
  EXPECT_EQ(r.activeCodes(), (std::vector<std::string>{"load_short_circuit"}));
  EXPECT_TRUE(r.reply(replyWith(1u << 3), {}).empty());
  r.restore("over_discharge");
  EXPECT_EQ(r.reply(replyWith(1u << 3), {}), (std::vector<Change>{{"over_discharge", false}}));
  EXPECT_EQ(textOf("silent"), "通讯中断");
  EXPECT_EQ(textOf("low_soc"), "电量低");
  EXPECT_EQ(conditions().size(), 12u);
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

TEST_F(AlarmEngineTest, SettingsReadWithTheirDefaultsAndWriteBack) {
  EXPECT_EQ(readAlarmSettings(), AlarmSettings{});
  const struct {
    const char *silent, *soc, *keep;
    int silentAfter;
    std::optional<int> lowSoc;
    int keepDays;
  } cases[] = {{"5", "30", "7", 5, 30, 7},
               {"", "", "", 3, {}, 365},
               {"0", "101", "x", 3, {}, 365},
               {" 2 ", "abc", "-1", 2, {}, 365}};
  for (const auto& c : cases) {
    core::writeIni("Alarms", "Silent After", c.silent);
    core::writeIni("Alarms", "Low SOC", c.soc);
    core::writeIni("Alarms", "Keep Days", c.keep);
    const AlarmSettings s = readAlarmSettings();
    EXPECT_EQ(s.silentAfter, c.silentAfter) << c.silent;
    EXPECT_EQ(s.lowSoc, c.lowSoc) << c.soc;
    EXPECT_EQ(s.keepDays, c.keepDays) << c.keep;
  }
  const AlarmSettings w{4, 25, QStringLiteral("/usr/bin/notify \"x\""), 30};
  ASSERT_TRUE(writeAlarmSettings(w));
  EXPECT_EQ(readAlarmSettings(), w);
}

TEST_F(AlarmEngineTest, LogKeepsRaisingClearingAndAcknowledgementAcrossARestart) {
  QDateTime now = at(1);
  const QString path = dir.filePath("XLALARM.DB");
  EXPECT_EQ(AlarmLog::besideStationStore(), path);
  std::vector<AlarmEvent> events;
  {
    AlarmEngine engine;
    engine.setClock([&] { return now; });
    engine.addEventListener([&](const AlarmEvent& e) { events.push_back(e); });
    engine.realTimeReply("站;'\"1", "1", q(replyWith(1)));
    engine.realTimeReply("站2", "2", q(replyWith(1u << 3)));
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(eventLine(events[0]), "2026-05-01 08:00:00 站;'\"1 1 蓄电池过放 发生");
    EXPECT_TRUE(logText.contains("告警发生：站;'\"1 设备ID 1 蓄电池过放"));
    const auto open = engine.log().open();
    ASSERT_EQ(open.size(), 2u);
    EXPECT_EQ(open[0].raised, "2026-05-01 08:00:00");
    EXPECT_EQ(open[0].cleared, "");
    EXPECT_EQ(engine.log().unacknowledged(), 2);
    EXPECT_EQ(engine.acknowledge({open[1].id, 999}, "administrator"), 1);
    EXPECT_EQ(engine.acknowledge({open[1].id}, "guest"), 0) << "acknowledged once";
    EXPECT_EQ(engine.log().unacknowledged(), 1);
  }
  // The program stops with both open; the next start knows them, and the first reply of 站2
  // without its fault clears it.
  now = at(2);
  AlarmEngine engine;
  engine.setClock([&] { return now; });
  ASSERT_EQ(engine.activeOf("站2").size(), 1u);
  EXPECT_EQ(engine.activeOf("站2")[0].since, at(1));
  engine.realTimeReply("站2", "2", q(replyWith(0)));
  EXPECT_TRUE(engine.activeOf("站2").empty());
  const auto rows = engine.log().history({QStringLiteral("站2"), {}, {}});
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].cleared, "2026-05-02 08:00:00");
  EXPECT_EQ(rows[0].ackBy, "administrator");
  EXPECT_EQ(engine.alarmedStations(), std::vector<QString>{"站;'\"1"});
  // Filters by day; the export writes "，" for a comma and no quoting.
  EXPECT_EQ(engine.log().history({{}, QDate(2026, 5, 2), QDate(2026, 5, 2)}).size(), 0u);
  EXPECT_EQ(engine.log().history({{}, QDate(2026, 5, 1), QDate(2026, 5, 1)}).size(), 2u);
  EXPECT_EQ(engine.log().stations(), (QStringList{"站2", "站;'\"1"}));
  AlarmRow comma;
  comma.station = "a,b";
  EXPECT_EQ(exportLines({comma}).value(1), "a，b,,,,,,,,");

  // Old cleared rows go after Keep Days; open ones stay however old.
  core::writeIni("Alarms", "Keep Days", "10");
  engine.reloadSettings();
  now = at(11, 7);
  engine.prune();
  EXPECT_EQ(engine.log().history({}).size(), 2u);
  now = at(11, 9);
  engine.prune();
  const auto left = engine.log().history({});
  ASSERT_EQ(left.size(), 1u);
  EXPECT_EQ(left[0].station, "站;'\"1");
  // A deleted station's open alarm is cleared at once.
  engine.forgetStation("站;'\"1");
  EXPECT_TRUE(engine.alarmedStations().empty());
  EXPECT_TRUE(engine.log().open().empty());
}

TEST_F(AlarmEngineTest, ProgramRunsPerEventWithArgumentsNeverThroughAShellOneAtATime) {
  // The one application of this test program (no widgets here): its event loop runs the
  // processes' signals.
  static int argc = 1;
  static char name[] = "test_alarms";
  static char* argv[] = {name, nullptr};
  static QCoreApplication* app = QCoreApplication::instance() ? nullptr : new QCoreApplication(argc, argv);
  (void)app;
  // A script that appends its arguments, one a line, after a short wait: a run that overlapped
  // another would interleave the lines.
  const QString out = dir.filePath("out.txt");
  const QString script = dir.filePath("notify.sh");
  QFile f(script);
  ASSERT_TRUE(f.open(QIODevice::WriteOnly));
  f.write(QStringLiteral("#!/bin/sh\nsleep 0.2\nfor a in \"$@\"; do printf '%s\\n' \"$a\" >> '%1'; done\n")
              .arg(out)
              .toUtf8());
  f.close();
  f.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
  QString program = script;
  CommandRunner runner([&] { return program; }, 2000);
  const QString nasty = QStringLiteral("站\"'; touch %1 #").arg(dir.filePath("pwned"));
  runner.enqueue({nasty, "1", "", "over_discharge", "蓄电池过放", true, at(1)});
  runner.enqueue({"B", "2", "", "silent", "通讯中断", false, at(1, 9)});
  EXPECT_EQ(runner.waiting(), 1u);
  const auto runUntil = [](const std::function<bool()>& done) {
    QElapsedTimer t;
    t.start();
    while (!done() && t.elapsed() < 5000) {
      QCoreApplication::processEvents();
      QThread::msleep(5);
    }
    return done();
  };
  ASSERT_TRUE(runUntil([&] { return !runner.running() && runner.waiting() == 0; }));
  QFile o(out);
  ASSERT_TRUE(o.open(QIODevice::ReadOnly));
  EXPECT_EQ(QString::fromUtf8(o.readAll()).split('\n'),
            (QStringList{nasty, "1", "over_discharge", "蓄电池过放", "raised", "2026-05-01 08:00:00", "B", "2",
                         "silent", "通讯中断", "cleared", "2026-05-01 09:00:00", ""}));
  EXPECT_FALSE(QFile::exists(dir.filePath("pwned")));
  EXPECT_FALSE(logText.contains("告警命令执行失败"));

  // Failures: a missing program, then one that outlives its limit; one line a minute at most.
  program = dir.filePath("missing");
  runner.enqueue({"A", "1", "", "silent", "通讯中断", true, at(1)});
  ASSERT_TRUE(runUntil([&] { return logText.contains("告警命令执行失败"); }));
  QFile slow(script);
  ASSERT_TRUE(slow.open(QIODevice::WriteOnly));
  slow.write("#!/bin/sh\nexec sleep 30\n");
  slow.close();
  program = script;
  QElapsedTimer t;
  t.start();
  runner.enqueue({"A", "1", "", "silent", "通讯中断", false, at(1)});
  ASSERT_TRUE(runUntil([&] { return !runner.running(); }));
  EXPECT_LT(t.elapsed(), 4000) << "killed at its limit";
  EXPECT_EQ(logText.count("告警命令执行失败"), 1);
  // No command: nothing runs.
  program.clear();
  runner.enqueue({"A", "1", "", "silent", "通讯中断", true, at(1)});
  EXPECT_FALSE(runner.running());
}

}  // namespace
}  // namespace xl::engine::alarms
