// The recorder without a screen: the line of one reply byte for byte, the files it goes to and
// when they roll, the settings the screen bounds and keys, and the engine that runs it all on
// its own cycle from the settings file, in virtual time.

#include <QDir>
#include <QFileInfo>
#include <memory>

#include "core/message_log.h"
#include "engine/recorder.h"
#include "monitoring/recorder_files.h"
#include "monitoring/recorder_line.h"
#include "monitoring/recorder_settings.h"
#include "platform/gbk.h"
#include "screen_test.h"

namespace xl::monitoring {
namespace {

using platform::ms;
using testing::flags;
using testing::readFile;

// A 73-byte real-time reply of address 1, all data zero but the bytes given as "index value".
Bytes reply(std::initializer_list<std::pair<std::size_t, std::uint8_t>> set) {
  Bytes data = testing::hexBytes("010346" + std::string(140, '0'));
  for (const auto& [index, value] : set) data[index] = value;
  return data;
}
// The station of the example: bytes 3.. 00 5A 00 82 01 2C 19 95 00 80 00 32 00 06 00 C8 00 FA
// 00 32, bytes 67..70 80 02 00 00.
Bytes exampleReply() {
  return testing::hexBytes("010346 005A 0082 012C 1995 0080 0032 0006 00C8 00FA 0032" + std::string(88, '0') +
                           "80020000 0000");
}

const QDateTime kExampleTime(QDate(2026, 1, 5), QTime(10, 30, 0));
const QString kExampleLine =
    QStringLiteral("2026-01-05 10:30:00,Roof,1,2.50,20.0,50,MPPT充电,13.0,-21,3.00,90,0.50,6,12.8,1,25,正常,正常,正常");
// The line of a station that has not answered yet: Ghost at address 9.
const QString kNoReplyLine =
    QStringLiteral("2026-01-05 10:30:00,Ghost,9,0.00,0.0,0,未开启充电,0.0,0,0.00,0,0.00,0,0.0,0,0,正常,正常,正常");

ReadingRow parsed(const std::optional<Bytes>& bytes, const QString& name = QStringLiteral("Roof"),
                  const QString& id = QStringLiteral("1")) {
  const auto row = parseReading(bytes, name, id, kExampleTime, 7);
  EXPECT_TRUE(row.has_value());
  return row.value_or(ReadingRow{});
}
// The given cells of a row, joined by "|".
QString cells(const ReadingRow& row, std::initializer_list<int> columns) {
  QStringList out;
  for (int c : columns) out << row[c];
  return out.join('|');
}

TEST(RecorderLine, LinesByteForByteValueAndStatusRulesPathsNamesAsFoldersAndAsKeysAndTheSettingsBounds) {
  // GBK of the Chinese words, written out so the test does not trust the converter:
  // 充电 B3E4 B5E7, 正常 D5FD B3A3, ℃ A1E6.
  const ReadingRow row = parsed(exampleReply());
  EXPECT_EQ(row[0], "7");
  EXPECT_EQ(lineBytes(csvLine(row)),
            QByteArray("2026-01-05 10:30:00,Roof,1,2.50,20.0,50,MPPT\xB3\xE4\xB5\xE7,13.0,-21,3.00,90,0.50,6,12.8,1,25,"
                       "\xD5\xFD\xB3\xA3,\xD5\xFD\xB3\xA3,\xD5\xFD\xB3\xA3\r\n"));
  EXPECT_EQ(lineBytes(headerLine()),
            QByteArray("Date Time,Station Name,Device ID,Array Current(A),Array Voltage(V),Array Power(W),Working "
                       "State,Battery Voltage(V),Battery Temp.(\xA1\xE6),Battery Current(A),Battery SOC(%),Load "
                       "Current(A),Load Power(W),Load Voltage(V),Load State,Device Temp.(\xA1\xE6),Battery "
                       "State,Charging State,Controller Working State\r\n"));
  // A comma inside a cell goes out as the full-width comma.
  EXPECT_EQ(csvLine(parsed(exampleReply(), QStringLiteral("Roof,East"), QStringLiteral("1,2"))),
            QString(kExampleLine).replace(",Roof,1,", QStringLiteral(",Roof，East,1，2,")));
  // No cell data at all, an empty array, or no array: no reply yet.
  for (const QVariant& cell : {QVariant(), QVariant(QByteArray()), QVariant(QStringLiteral("x"))})
    EXPECT_EQ(csvLine(parsed(storedReplyOf(cell), QStringLiteral("Ghost"), QStringLiteral("9"))), kNoReplyLine);

  // Array current "0.00" whenever the array voltage is not above 0; temperatures sign and
  // magnitude with the one-sided test; working state names up to 6; load digit from bit 7 of
  // byte 67; SOC from byte 4 only.
  const std::pair<Bytes, const char*> values[] = {
      {reply({{19, 0x01}, {20, 0x2C}}), "0.00|0|0|未开启充电|0|0"},
      {reply({{17, 0x00}, {18, 0x01}, {19, 0x01}, {20, 0x2C}}), "3.00|0|0|未开启充电|0|0"},
      {reply({{9, 0x80}, {10, 0x81}}), "0.00|128|-1|未开启充电|0|0"},
      {reply({{9, 0xFF}, {10, 0x00}}), "0.00|-127|0|未开启充电|0|0"},
      {reply({{68, 6}}), "0.00|0|0|限流充电|0|0"},
      {reply({{68, 7}}), "0.00|0|0||0|0"},
      {reply({{68, 0xFF}, {67, 0x7F}}), "0.00|0|0||0|0"},
      {reply({{3, 0xFF}, {4, 100}}), "0.00|0|0|未开启充电|0|100"}};
  for (const auto& [bytes, expected] : values)
    EXPECT_EQ(cells(parsed(bytes), {4, 16, 9, 7, 15, 11}), QString::fromUtf8(expected)) << expected;

  // Status texts by bytes 67, 69 and 70: load, battery, panel, device. Bytes 71, 72, the fault
  // word of the live screen, are all ones in every case and play no part. In order: bit 2 is an
  // else of bit 1, 3 overwrites 1; 5 is an else of 4, 6 wipes 4 and 5, 7 comes after 6; 9 is an
  // else of 8; a load fault replaces the on digit, and 11 comes after 10.
  QStringList seen;
  for (const char* bytes :
       {"00 00 00", "00 00 01", "00 00 04", "00 00 05", "00 00 07", "00 00 80", "00 02 00", "00 02 80", "00 03 80",
        "00 13 80", "00 00 20", "00 00 40", "00 00 60", "80 00 10", "80 00 08", "00 00 18", "80 00 00"}) {
    const Bytes b = testing::hexBytes(bytes);
    seen << cells(parsed(reply({{67, b[0]}, {69, b[1]}, {70, b[2]}, {71, 0xFF}, {72, 0xFF}})), {15, 17, 18, 19});
  }
  EXPECT_EQ(seen.join(' '), QStringLiteral("0|正常|正常|正常 0|蓄电池过放|正常|正常 0|蓄电池欠压警告|正常|正常 "
                                           "0|蓄电池过放|正常|正常 0|蓄电池超压|正常|正常 0|正常|太阳能板超功率|正常 "
                                           "0|正常|太阳能板超电压|正常 0|正常|太阳能板超功率|正常 0|正常|正常|正常 "
                                           "0|正常|太阳能板反接|正常 0|正常|正常|设备超温 0|正常|正常|蓄电池超温 "
                                           "0|正常|正常|设备超温 负载过载|正常|正常|正常 负载短路|正常|正常|正常 "
                                           "负载短路|正常|正常|正常 1|正常|正常|正常"));

  // Names that cannot be a folder, then names that can.
  QString folders;
  for (const QString& name : QStringLiteral("|.|..|a/b|/|Roof|站点 1|#1|..a|a,b").split('|'))
    folders += isFolderName(name) ? '1' : '0';
  EXPECT_EQ(folders + (isFolderName(QString(QChar(u'\0'))) ? "1" : "0"), "00000111110");
  // Names as keys, one digit a name, the problem in its order: none, empty, line break, "=",
  // ";" or "[" ahead, not GBK, one of the recorder's own keys as the file finds keys (any case,
  // blanks around).
  QString problems;
  for (const QString& name :
       QStringLiteral("Roof|#1|站点一|a;b[c]| Roof |FilePath|Line Count1||   |a\nb|a\rb|a=b|=|;x|  "
                      ";x|[x]|Roof ☀|read interval|AUTO SAVING| file path\t|Save Interval H|save "
                      "interval m|Line Count|temporary")
           .split('|'))
    problems += QString::number(static_cast<int>(stationKeyProblem(name)));
  EXPECT_EQ(problems + QString::number(static_cast<int>(stationKeyProblem(QString("a") + QChar(u'\0')))),
            "0000000112233445677777772");

  // The interval keys take their defaults only together.
  const SaveIntervalTexts hours = saveIntervalOrDefault("2", ""), minutes = saveIntervalOrDefault("", "0");
  EXPECT_EQ(hours.hours + ":" + hours.minutes + " " + minutes.hours + ":" + minutes.minutes, "2: :0");
  // Seconds: 0 is a cycle every second; halves to even; beyond int the ends of int.
  QStringList seconds;
  for (const auto& [h, m] : {std::pair{"0", "1"}, {"", "abc"}, {"0", "0.375"}, {"1e9", "0"}, {"-1e9", "0"}})
    seconds << QString::number(saveIntervalSeconds(h, m));
  EXPECT_EQ(seconds.join(' '), "60 0 22 2147483647 -2147483648");
  // The bounds of the accept button, each typed text with what is kept ("32000x" is in bounds
  // by Val).
  QStringList kept;
  for (const char* typed : {"999", "abc", "32000x", "60000", "60000.5"}) kept << boundedLineCount(typed);
  for (const char* typed : {"", "0.5", "1", "50"}) kept << boundedSizeLimit(typed);
  kept << boundedReadInterval("60") << boundedReadInterval("0") << boundedReadInterval("");
  EXPECT_EQ(kept.join(' '), "1000 1000 32000x 60000 60000 1 1 1 50 60 0 ");
}

// One set of files over a temporary root, with the screen's counter and queue.
class RecorderFilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir.isValid());
    rootPath = dir.path();
  }

  QString root() const { return rootPath; }
  QString file(const QString& station, int n) const { return numberedFile(stationFolder(root(), station), n); }
  // Writes `bytes` to `path`, its folder made first.
  static void writeFile(const QString& path, const QByteArray& bytes) {
    ASSERT_TRUE(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    ASSERT_EQ(file.write(bytes), bytes.size());
  }
  // The header and the lines `texts` of a file, each with its CR LF.
  static QByteArray lines(std::initializer_list<const char*> texts) {
    QByteArray out = lineBytes(headerLine());
    for (const char* t : texts) out += QByteArray(t) + "\r\n";
    return out;
  }
  // The numbered files of a station's folder: "1=H;a1; 2=H;a2;" with the header as H and each
  // CR LF as ";".
  QString filesOf(const QString& station) const {
    QStringList out;
    for (int n = 1; n <= 5; ++n)
      if (QFileInfo::exists(file(station, n)))
        out << QString::number(n) + "=" +
                   QString::fromLatin1(readFile(file(station, n)).replace(lineBytes(headerLine()), "H\r\n"))
                       .replace("\r\n", ";");
    return out.join(' ');
  }
  // Queues the rows and flushes them: what was written, dropped and told.
  QString flush(std::initializer_list<std::pair<QString, QString>> rows) {
    for (const auto& [name, text] : rows) queue.push_back({name, text});
    const FlushReport r = files.flushReadings(root(), stations, queue, limits, recordCounter);
    return QStringLiteral("written %1 dropped %2 [%3]").arg(r.written).arg(r.dropped).arg(r.log.join('|'));
  }

  QTemporaryDir dir;
  QString rootPath;
  RecorderFiles files;
  std::vector<RecorderStation> stations;
  std::deque<PendingRow> queue;
  RecorderLimits limits;
  std::int32_t recordCounter = 0;
};

TEST_F(RecorderFilesTest, FilesRollAtTheSizeLimitAndByTheLinesOfTheirOwnFileAndStationsOfOneNameShareOne) {
  limits.sizeLimitMb = 1;  // 10^6 bytes, not 2^20
  stations = {{"Roof", true, {}}};
  writeFile(file("Roof", 1), QByteArray(999'999, 'x'));
  flush({{"Roof", "keep"}});
  EXPECT_EQ(stations[0].file, file("Roof", 1));
  writeFile(file("Roof", 1), QByteArray(1'000'000, 'x'));
  recordCounter = 5;
  flush({{"Roof", "roll"}});
  EXPECT_EQ(readFile(file("Roof", 2)), lines({"roll"}));
  // The current file, the size of the full one, and the shared counter, which any roll resets.
  EXPECT_EQ(QStringLiteral("%1 %2 ").arg(recordCounter).arg(QFileInfo(file("Roof", 1)).size()) + stations[0].file,
            "0 1000000 " + file("Roof", 2));

  // Each station's file rolls by its own data lines, counted from the file itself the first
  // time (a restart), whatever the shared save-cycle counter says.
  limits = RecorderLimits{};
  limits.lineLimit = 2;
  stations = {{"A", true, {}}, {"B", true, {}}, {"C", true, {}}, {"D", true, {}}};
  for (const char* full : {"C", "D"}) writeFile(file(full, 1), lines({"0", "1"}));  // D has no line to write
  writeFile(file("B", 1), lines({"b0"}));                                           // one line of room
  recordCounter = 7;
  flush({{"A", "a1"}, {"B", "b1"}, {"C", "c2"}});
  EXPECT_EQ(filesOf("A") + " " + filesOf("B") + " " + filesOf("C") + " " + filesOf("D") + " " +
                QString::number(recordCounter),
            "1=H;a1; 1=H;b0;b1; 1=H;0;1; 2=H;c2; 1=H;0;1; 2=H; 0");
  // Lines that waited (root missing) for one station: the file rolls between them, in order,
  // and none is lost. A hand-written line without its line end counts as a line.
  writeFile(file("A", 1), lines({"a1"}) + "half");
  flush({{"A", "a2"}, {"A", "a3"}, {"A", "a4"}, {"B", "b2"}});
  EXPECT_EQ(filesOf("A") + " " + filesOf("B"), "1=H;a1;half 2=H;a2;a3; 3=H;a4; 1=H;b0;b1; 2=H;b2;");
  EXPECT_EQ(QString::number(queue.size()) + " " + stations[0].file, "0 " + file("A", 3));
  EXPECT_EQ(countDataLines(file("A", 2)) * 10 + countDataLines(root() + "/none.csv"), 20);

  // Stations of one name share a file; the first of the name decides, marked or not: here it
  // holds an older path.
  stations = {{"Twin", true, {}}, {"Twin", true, {}}};
  flush({{"Twin", "x"}});
  EXPECT_EQ(stations[1].file, file("Twin", 1));
  const QString older = dir.filePath("older.csv");
  stations = {{"Twin", false, older}, {"Twin", true, {}}};
  flush({{"Twin", "y"}});
  EXPECT_EQ(readFile(older) + filesOf("Twin").toLatin1(), "y\r\n1=H;x;");
}

TEST_F(RecorderFilesTest, FolderOrFileThatCannotBeMadeIsReportedOnceAndSkipped) {
  // "a/b" is no folder name; "Blocked" is taken by a plain file.
  writeFile(stationFolder(root(), "Blocked"), "not a folder");
  stations = {{"a/b", true, {}}, {"Blocked", true, {}}, {"Roof", true, {}}};
  EXPECT_EQ(flush({{"a/b", "1"}, {"Blocked", "1"}, {"Roof", "1"}}),
            QStringLiteral("written 1 dropped 2 [数据保存：无法建立站点“a/b”的文件夹，该站点的数据没有保存。|"
                           "数据保存：无法建立站点“Blocked”的文件夹，该站点的数据没有保存。]"));
  EXPECT_EQ(flags({queue.empty(), stations[0].file.isEmpty(), QFileInfo::exists(dir.filePath("a"))}), "110");
  // Later cycles: no new line for the message window, the other station goes on.
  EXPECT_EQ(flush({{"a/b", "2"}, {"Blocked", "2"}, {"Roof", "2"}}), "written 1 dropped 2 []");
  EXPECT_EQ(filesOf("Roof"), "1=H;1;2;");
  // Its lines are skipped even where an unmarked first row of the same name holds an old path.
  const QString older = dir.filePath("older.csv");
  stations.insert(stations.begin(), {"Blocked", false, older});
  EXPECT_EQ(flush({{"Blocked", "2b"}}), "written 0 dropped 1 []");
  EXPECT_FALSE(QFileInfo::exists(older));
  stations.erase(stations.begin());
  // Once the folder can be made it is written.
  QFile::remove(stationFolder(root(), "Blocked"));
  EXPECT_EQ(flush({{"Blocked", "3"}}), "written 1 dropped 0 []");

  // A line that cannot be written is dropped alone: Yard's current "file" is a folder, a name
  // with no row, a row without a file.
  stations = {{"Roof", true, {}}, {"Yard", true, {}}, {"Gone", false, {}}};
  ASSERT_TRUE(QDir().mkpath(file("Yard", 1)));
  EXPECT_EQ(flush({{"Roof", "r1"}, {"Yard", "y1"}, {"Nobody", "n1"}, {"Gone", "g1"}, {"Roof", "r2"}}),
            "written 2 dropped 3 []");
  EXPECT_EQ(filesOf("Roof"), "1=H;1;2;r1;r2;");
}

const QDateTime kBase(QDate(2026, 1, 5), QTime(10, 0, 0));

// The engine alone: no widget, a QCoreApplication and a virtual clock. Fed replies as the scan
// feeds them, configured from the settings file, it writes the marked stations' files on its
// own cycle, and a stop writes what waits.
class RecorderEngineTest : public RecorderFilesTest {
 protected:
  void SetUp() override {
    RecorderFilesTest::SetUp();
    testing::testApp();
    platform::setScheduler(&clock);
    core::setProgramDir(dir.path());
    core::configPath = dir.filePath("MSCON.DLL");
    rootPath = dir.filePath("data");
    core::setLogBox({[this] { return log; }, [this](const QString& text) { log = text; }});
    recorder = std::make_unique<engine::Recorder>();
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
  void store(int row) {
    const Bytes b = exampleReply();
    recorder->storeReply(row, QByteArray(reinterpret_cast<const char*>(b.data()), 73));
  }
  void at(std::int64_t atMs) { clock.advance(ms(atMs) - clock.now()); }
  // The times of the data lines of a file, after its header.
  QString stamps(const QString& station, int n) const {
    QStringList out;
    for (const QString& line : platform::fromGbk(readFile(file(station, n))).split("\r\n").mid(1))
      out << line.section(',', 0, 0).mid(11);
    return out.join(' ').trimmed();
  }
  // A file of the header and the example line, or the line of no reply, at these times.
  static QByteArray exampleFile(std::initializer_list<const char*> times, const QString& line = kExampleLine) {
    QString text = headerLine() + "\r\n";
    for (const char* t : times) text += QString(line).replace("10:30:00", t) + "\r\n";
    return platform::toGbk(text);
  }

  platform::VirtualClock clock;
  QString log;
  std::unique_ptr<engine::Recorder> recorder;
};

TEST_F(RecorderEngineTest, ConfiguredFromTheSettingsFileItRecordsTheMarkedStations) {
  // A stored line count is taken as it stands.
  set({{"Auto Saving", "1"}, {"File Path", root()}, {"Read Interval", "75"}, {"Line Count", "3"}});
  set({{"Roof", "-1"}, {"Shed", "0"}, {"Ghost", "-1"}});
  ASSERT_TRUE(QDir().mkpath(root()));
  for (const auto& [name, id] : {std::pair{"Roof", "1"}, {"Shed", "2"}, {"Ghost", "9"}, {"file path", "4"}})
    recorder->appendStation(name, id);
  for (int row : {1, 2, 5}) store(row);  // no row 5
  recorder->configureFromSettings();
  // The read interval as the box bounds it; both interval keys empty: 0 h 1 min. A station
  // named like one of the recorder's own keys has no mark of its own.
  const engine::Recorder& e = *recorder;
  EXPECT_EQ(QStringList({e.config().readInterval, QString::number(e.readIntervalSeconds()),
                         QString::number(e.Timer4.interval()), QString::number(e.saveInterval()),
                         e.Timer2.enabled() ? "on" : "off", e.appliedMark(1), e.appliedMark(2), e.appliedMark(3),
                         e.appliedMark(4)})
                .join(' '),
            "60 60 60000 60 on -1 0 -1 ");
  // A station appended later is unmarked until the configuration is applied again.
  recorder->appendStation("Late", "5");
  set({{"Late", "-1"}});
  const QString lateMark = recorder->appliedMark(5);

  // Timer2's 61st tick starts the cycle; its rows follow 300 ms apart (the soak checks their
  // times). No fresh reply: the stored one is written again with a new time; the fourth line
  // rolls. A marked station that never answered gets the line of no reply.
  at(61000);
  EXPECT_EQ(recorder->recordCounter() * 10 + QFile::exists(file("Roof", 1)), 10);
  at(61000 * 4 + 1000);
  const auto three = {"10:01:01", "10:02:02", "10:03:03"};
  EXPECT_EQ(readFile(file("Roof", 1)) + readFile(file("Roof", 2)) + readFile(file("Ghost", 1)),
            exampleFile(three) + exampleFile({"10:04:04"}) + exampleFile(three, kNoReplyLine));
  recorder->configureFromSettings();
  EXPECT_EQ(QDir(root()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries).join(' ') + log + "|" + lateMark + "|" +
                recorder->appliedMark(5) + " " + recorder->currentFile(1),
            "Ghost Roof||-1 " + file("Roof", 2));
}

TEST_F(RecorderEngineTest, ACycleEverySecondWaitsForTheRootAndStopWritesWhatWaits) {
  set({{"Auto Saving", "1"}, {"File Path", root()}, {"Save Interval H", "0"}, {"Save Interval M", "0"}});
  set({{"Roof", "-1"}, {"Shed", "-1"}});  // the root is not there yet
  recorder->appendStation("Roof", "1");
  recorder->appendStation("Shed", "2");
  store(1);
  recorder->configureFromSettings();
  // Cycles at 1 s, 2 s and 3 s, their rows queued while the root is missing; nothing said.
  at(3700);
  QString seen = QStringLiteral("%1 %2 ").arg(recorder->saveInterval()).arg(recorder->queue().size()) +
                 QString::fromStdString(flags({recorder->Timer3.enabled()}));
  ASSERT_TRUE(QDir().mkpath(root()));
  recorder->stop();
  seen += QStringLiteral(" %1 %2 / %3 ").arg(recorder->queue().size()).arg(stamps("Roof", 1), stamps("Shed", 1));
  seen += QString::fromStdString(flags({recorder->Timer2.enabled(), recorder->Timer4.enabled()}));
  at(4700);
  EXPECT_EQ(seen + " " + stamps("Roof", 1) + log + QString::number(recorder->droppedLines()),
            "0 6 0 0 10:00:01 10:00:02 10:00:03 / 10:00:01 10:00:02 10:00:03 00 10:00:01 10:00:02 10:00:030");
}

}  // namespace
}  // namespace xl::monitoring
