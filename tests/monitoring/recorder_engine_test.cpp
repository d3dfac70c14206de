// The recorder engine alone: no widget, a QCoreApplication and a virtual clock. Fed replies as
// the scan feeds them, configured from the settings file, it writes the marked stations' files on
// its own cycle, and a stop writes what waits.

#include "engine/recorder.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <initializer_list>
#include <memory>
#include <utility>

#include "core/app_state.h"
#include "core/message_log.h"
#include "core/settings.h"
#include "monitoring/recorder_line.h"
#include "platform/gbk.h"
#include "platform/scheduler.h"

namespace xl::engine {
namespace {

using platform::ms;

const QDateTime kBase(QDate(2026, 1, 5), QTime(10, 0, 0));

QCoreApplication& coreApp() {
  static int argc = 1;
  static char name[] = "xinglan-test";
  static char* argv[] = {name, nullptr};
  static auto* app = new QCoreApplication(argc, argv);
  return *app;
}

// The example reply: address 1, from byte 3 on 00 5A, 00 82, 01 2C, 19 95, 00 80, 00 32, 00 06,
// 00 C8, 00 FA, 00 32, and 80 02 00 00 in bytes 67 to 70.
QByteArray exampleReply() {
  QByteArray reply(73, '\0');
  const QByteArray head = QByteArray::fromHex("010346" "005A0082012C1995008000320006" "00C800FA0032");
  reply.replace(0, head.size(), head);
  reply[67] = static_cast<char>(0x80);
  reply[68] = 0x02;
  return reply;
}

class RecorderEngineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    coreApp();
    ASSERT_TRUE(dir.isValid());
    platform::setScheduler(&clock);
    core::setProgramDir(dir.path());
    core::configPath = dir.filePath("MSCON.DLL");
    root = dir.filePath("data");
    core::setLogBox({[this] { return log; }, [this](const QString& text) { log = text; }});
    recorder = std::make_unique<Recorder>();
    recorder->setTimeSource([this] { return kBase.addMSecs(platform::toMs(clock.now())); });
  }
  void TearDown() override {
    recorder.reset();
    core::setLogBox({});
    core::setProgramDir({});
    core::configPath.clear();
  }

  // Keys of the recorder's section, as pairs of key and value.
  static void set(std::initializer_list<std::pair<const char*, QString>> keys) {
    for (const auto& [key, value] : keys) core::writeIni("Maintenance Record", QString::fromUtf8(key), value);
  }
  void at(std::int64_t atMs) { clock.advance(ms(atMs) - clock.now()); }
  QString file(const QString& station, int n) const { return root + "/" + station + "/" + QString::number(n) + ".csv"; }
  static QByteArray bytesOf(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
  }
  // The data lines of a file, GBK decoded, without the header and the CR LF.
  QStringList dataLines(const QString& station, int n) const {
    QStringList lines = platform::fromGbk(bytesOf(file(station, n))).split("\r\n");
    lines.removeLast();  // after the last CR LF
    if (!lines.isEmpty()) lines.removeFirst();
    return lines;
  }
  QStringList stamps(const QString& station, int n) const {
    QStringList out;
    for (const QString& line : dataLines(station, n)) out << line.section(',', 0, 0).mid(11);
    return out;
  }

  platform::VirtualClock clock;
  QTemporaryDir dir;
  QString root, log;
  std::unique_ptr<Recorder> recorder;
};

TEST_F(RecorderEngineTest, ConfiguredFromTheSettingsFileItRecordsTheMarkedStations) {
  // A stored line count is taken as it stands.
  set({{"Auto Saving", "1"}, {"File Path", root}, {"Read Interval", "75"}, {"Line Count", "3"},
       {"Roof", "-1"}, {"Shed", "0"}, {"Ghost", "-1"}});
  ASSERT_TRUE(QDir().mkpath(root));
  const char* const stations[][2] = {{"Roof", "1"}, {"Shed", "2"}, {"Ghost", "9"}, {"file path", "4"}};
  for (const auto& [name, id] : stations) recorder->appendStation(name, id);
  recorder->storeReply(1, exampleReply());
  recorder->storeReply(2, exampleReply());
  recorder->storeReply(5, exampleReply());  // no such row
  recorder->configureFromSettings();

  EXPECT_EQ(recorder->config().readInterval, "60");  // as the box bounds it
  EXPECT_EQ(recorder->readIntervalSeconds(), 60);
  EXPECT_EQ(recorder->Timer4.interval(), 60000);
  EXPECT_EQ(recorder->saveInterval(), 60);  // both interval keys empty: 0 h 1 min
  EXPECT_TRUE(recorder->Timer2.enabled());
  // A station named like one of the recorder's own keys has no mark of its own.
  const QStringList marks{recorder->appliedMark(1), recorder->appliedMark(2), recorder->appliedMark(3),
                          recorder->appliedMark(4)};
  EXPECT_EQ(marks, (QStringList{"-1", "0", "-1", ""}));
  // A station appended later is unmarked until the configuration is applied again.
  recorder->appendStation("Late", "5");
  set({{"Late", "-1"}});
  EXPECT_EQ(recorder->appliedMark(5), "");

  // Timer2's 61st tick starts the cycle; its rows follow 300 ms apart.
  at(61000);
  EXPECT_EQ(recorder->recordCounter(), 1);
  EXPECT_FALSE(QFile::exists(file("Roof", 1)));
  at(61300);
  EXPECT_EQ(bytesOf(file("Roof", 1)),
            platform::toGbk(monitoring::headerLine() + "\r\n" +
                            QStringLiteral("2026-01-05 10:01:01,Roof,1,2.50,20.0,50,MPPT充电,13.0,-21,3.00,90,0.50,"
                                           "6,12.8,1,25,正常,正常,正常\r\n")));
  EXPECT_EQ(recorder->currentFile(1), file("Roof", 1));
  at(62500);
  EXPECT_FALSE(recorder->Timer3.enabled());
  EXPECT_EQ(dataLines("Ghost", 1), QStringList{QStringLiteral("2026-01-05 10:01:01,Ghost,9,0.00,0.0,0,未开启充电,0.0,0,"
                                                              "0.00,0,0.00,0,0.0,0,0,正常,正常,正常")});
  for (const char* unmarked : {"Shed", "file path", "Late"}) EXPECT_FALSE(QDir(root + "/" + unmarked).exists());

  // No fresh reply: the stored one is written again with a new time; the fourth line rolls.
  at(61000 * 4 + 1000);
  EXPECT_EQ(stamps("Roof", 1), (QStringList{"10:01:01", "10:02:02", "10:03:03"}));
  EXPECT_EQ(stamps("Roof", 2), QStringList{"10:04:04"});
  EXPECT_EQ(dataLines("Roof", 2)[0].section(',', 1), dataLines("Roof", 1)[0].section(',', 1));
  EXPECT_TRUE(log.isEmpty());

  recorder->configureFromSettings();
  EXPECT_EQ(recorder->appliedMark(5), "-1");
}

TEST_F(RecorderEngineTest, ACycleEverySecondWaitsForTheRootAndStopWritesWhatWaits) {
  set({{"Auto Saving", "1"}, {"File Path", root}, {"Save Interval H", "0"}, {"Save Interval M", "0"},
       {"Roof", "-1"}, {"Shed", "-1"}});  // the root is not there yet
  recorder->appendStation("Roof", "1");
  recorder->appendStation("Shed", "2");
  recorder->storeReply(1, exampleReply());
  recorder->configureFromSettings();
  EXPECT_EQ(recorder->saveInterval(), 0);

  // Cycles at 1 s, 2 s and 3 s, their rows queued while the root is missing; nothing said.
  at(3700);
  EXPECT_EQ(recorder->queue().size(), 6u);
  EXPECT_FALSE(recorder->Timer3.enabled());
  ASSERT_TRUE(QDir().mkpath(root));
  recorder->stop();
  EXPECT_TRUE(recorder->queue().empty());
  EXPECT_EQ(stamps("Roof", 1), (QStringList{"10:00:01", "10:00:02", "10:00:03"}));
  EXPECT_EQ(stamps("Shed", 1), (QStringList{"10:00:01", "10:00:02", "10:00:03"}));
  EXPECT_FALSE(recorder->Timer2.enabled() || recorder->Timer4.enabled());
  at(4700);
  EXPECT_EQ(stamps("Roof", 1).size(), 3);

  // Stopped in the middle of a pass: the pass is finished at once.
  recorder->configureFromSettings();
  at(6000);  // Timer2 ticks at 5.7 s, Roof's row at 6.0 s
  EXPECT_TRUE(recorder->Timer3.enabled());
  EXPECT_EQ(stamps("Shed", 1).size(), 3);
  recorder->stop();
  EXPECT_FALSE(recorder->Timer3.enabled());
  EXPECT_EQ(stamps("Roof", 1).value(3), "10:00:06");
  EXPECT_EQ(stamps("Shed", 1).value(3), "10:00:06");
  EXPECT_TRUE(log.isEmpty());
  EXPECT_EQ(recorder->droppedLines(), 0);
}

}  // namespace
}  // namespace xl::engine
