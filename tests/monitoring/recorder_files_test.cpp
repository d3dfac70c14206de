#include "monitoring/recorder_files.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include "platform/gbk.h"

namespace xl::monitoring {
namespace {

QByteArray readFile(const QString& path) {
  QFile file(path);
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& bytes) {
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
  ASSERT_EQ(file.write(bytes), bytes.size());
}

QByteArray header() { return lineBytes(headerLine()); }
QByteArray line(const QString& text) { return platform::toGbk(text) + "\r\n"; }

// One recorder over a temporary root, with the screen's counter and queue.
class RecorderFilesTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(dir.isValid()); }

  QString root() const { return dir.path(); }
  QString file(const QString& station, int n) const { return numberedFile(stationFolder(root(), station), n); }
  void makeFolder(const QString& station) { ASSERT_TRUE(QDir().mkpath(stationFolder(root(), station))); }

  FlushReport flush(std::initializer_list<std::pair<QString, QString>> rows) {
    for (const auto& [name, text] : rows) queue.push_back({name, text});
    return files.flushReadings(root(), stations, queue, limits, recordCounter);
  }

  QTemporaryDir dir;
  RecorderFiles files;
  std::vector<RecorderStation> stations;
  std::deque<PendingRow> queue;
  RecorderLimits limits;
  std::int32_t recordCounter = 0;
};

// (A station's first line, its folder and header, is the engine's test.)
TEST_F(RecorderFilesTest, SizeLimitRollsExactlyAtTheLimit) {
  limits.sizeLimitMb = 1;  // 10^6 bytes, not 2^20
  stations = {{"Roof", true, {}}};
  makeFolder("Roof");
  writeFile(file("Roof", 1), QByteArray(999'999, 'x'));
  flush({{"Roof", "keep"}});
  EXPECT_EQ(stations[0].file, file("Roof", 1));
  EXPECT_FALSE(QFileInfo::exists(file("Roof", 2)));

  writeFile(file("Roof", 1), QByteArray(1'000'000, 'x'));
  recordCounter = 5;
  flush({{"Roof", "roll"}});
  EXPECT_EQ(stations[0].file, file("Roof", 2));
  EXPECT_EQ(readFile(file("Roof", 2)), header() + line("roll"));
  EXPECT_EQ(QFileInfo(file("Roof", 1)).size(), 1'000'000);
  EXPECT_EQ(recordCounter, 0);  // any roll resets the shared counter
}

// Each station's file rolls by its own data lines, counted from the file itself the first time
// (a restart), whatever the shared save-cycle counter says.
TEST_F(RecorderFilesTest, LineLimitRollsEachStationByTheLinesOfItsOwnFile) {
  limits.lineLimit = 2;
  stations = {{"A", true, {}}, {"B", true, {}}, {"C", true, {}}};
  makeFolder("C");
  writeFile(file("C", 1), header() + line("c0") + line("c1"));  // full before the start
  makeFolder("B");
  writeFile(file("B", 1), header() + line("b0"));  // one line of room
  recordCounter = 7;
  flush({{"A", "a1"}, {"B", "b1"}, {"C", "c2"}});
  EXPECT_EQ(readFile(file("A", 1)), header() + line("a1"));
  EXPECT_EQ(readFile(file("B", 1)), header() + line("b0") + line("b1"));
  EXPECT_EQ(readFile(file("C", 1)), header() + line("c0") + line("c1"));
  EXPECT_EQ(readFile(file("C", 2)), header() + line("c2"));
  EXPECT_EQ(recordCounter, 0);  // any roll starts the count of save cycles again

  // Lines that waited (root missing) for one station: the file rolls between them, in order,
  // and none is lost. A hand-written line without its line end counts as a line.
  writeFile(file("A", 1), header() + line("a1") + "half");
  flush({{"A", "a2"}, {"A", "a3"}, {"A", "a4"}, {"B", "b2"}});
  EXPECT_EQ(readFile(file("A", 1)), header() + line("a1") + "half");
  EXPECT_EQ(readFile(file("A", 2)), header() + line("a2") + line("a3"));
  EXPECT_EQ(readFile(file("A", 3)), header() + line("a4"));
  EXPECT_EQ(readFile(file("B", 2)), header() + line("b2"));
  EXPECT_EQ(stations[0].file, file("A", 3));
  EXPECT_TRUE(queue.empty());
  EXPECT_EQ(countDataLines(file("A", 2)), 2);
  EXPECT_EQ(countDataLines(root() + "/none.csv"), 0);
}

TEST_F(RecorderFilesTest, DeletedFilesChooseTheNextFile) {
  stations = {{"Roof", true, {}}};
  makeFolder("Roof");
  for (int n = 1; n <= 3; ++n) writeFile(file("Roof", n), header() + line(QString::number(n)));

  // The highest file gone: the one below it is current again.
  QFile::remove(file("Roof", 3));
  flush({{"Roof", "x"}});
  EXPECT_EQ(readFile(file("Roof", 2)), header() + line("2") + line("x"));
  EXPECT_FALSE(QFileInfo::exists(file("Roof", 3)));

  // 1.csv gone while 2.csv exists: 1.csv is made again with a header, 2.csv is left behind.
  QFile::remove(file("Roof", 1));
  flush({{"Roof", "y"}});
  EXPECT_EQ(stations[0].file, file("Roof", 1));
  EXPECT_EQ(readFile(file("Roof", 1)), header() + line("y"));
  EXPECT_EQ(readFile(file("Roof", 2)), header() + line("2") + line("x"));
}

TEST_F(RecorderFilesTest, StationsOfOneNameShareTheFileOfTheFirst) {
  stations = {{"Roof", true, {}}, {"Roof", true, {}}};
  flush({{"Roof", "first"}, {"Roof", "second"}});
  EXPECT_EQ(stations[0].file, stations[1].file);
  EXPECT_EQ(readFile(file("Roof", 1)), header() + line("first") + line("second"));

  // The first of the name decides, marked or not: here it holds an older path.
  const QString older = dir.filePath("older.csv");
  stations = {{"Roof", false, older}, {"Roof", true, {}}};
  flush({{"Roof", "third"}});
  EXPECT_EQ(readFile(older), line("third"));
  EXPECT_EQ(readFile(file("Roof", 1)), header() + line("first") + line("second"));
}

// (The queue waiting for the root over several save cycles is the engine's test.)
TEST_F(RecorderFilesTest, MissingRootTouchesNothingAndARootEndingInASeparatorWorks) {
  const QString later = root() + "/later";
  stations = {{"Roof", true, {}}};
  queue.push_back({"Roof", "1"});
  for (const QString& missing : {later, QString()}) {  // an empty text names no folder
    const FlushReport report = files.flushReadings(missing, stations, queue, limits, recordCounter);
    EXPECT_TRUE(report.rootMissing);
    EXPECT_EQ(report.written + report.dropped, 0);
  }
  EXPECT_EQ(queue.size(), 1u);
  EXPECT_TRUE(stations[0].file.isEmpty());
  ASSERT_TRUE(QDir().mkdir(later));
  EXPECT_EQ(files.flushReadings(later + "/", stations, queue, limits, recordCounter).written, 1);
  EXPECT_EQ(readFile(later + "/Roof/1.csv"), header() + line("1"));
}

TEST_F(RecorderFilesTest, FolderThatCannotBeMadeIsReportedOnceAndSkipped) {
  // "a/b" is no folder name; "Blocked" is taken by a plain file.
  writeFile(stationFolder(root(), "Blocked"), "not a folder");
  stations = {{"a/b", true, {}}, {"Blocked", true, {}}, {"Roof", true, {}}};
  FlushReport report = flush({{"a/b", "1"}, {"Blocked", "1"}, {"Roof", "1"}});
  ASSERT_EQ(report.log.size(), 2);
  EXPECT_TRUE(report.log[0].contains("a/b"));
  EXPECT_TRUE(report.log[1].contains("Blocked"));
  EXPECT_EQ(report.written, 1);
  EXPECT_EQ(report.dropped, 2);
  EXPECT_TRUE(queue.empty());
  EXPECT_TRUE(stations[0].file.isEmpty());
  EXPECT_FALSE(QFileInfo::exists(dir.filePath("a")));
  EXPECT_EQ(readFile(file("Roof", 1)), header() + line("1"));

  // Later cycles: no new line for the message window, the other station goes on.
  report = flush({{"a/b", "2"}, {"Blocked", "2"}, {"Roof", "2"}});
  EXPECT_TRUE(report.log.isEmpty());
  EXPECT_EQ(report.dropped, 2);
  EXPECT_EQ(readFile(file("Roof", 1)), header() + line("1") + line("2"));

  // Its lines are skipped even where an unmarked first row of the same name holds an old path.
  const QString older = dir.filePath("older.csv");
  stations.insert(stations.begin(), {"Blocked", false, older});
  report = flush({{"Blocked", "2b"}});
  EXPECT_EQ(report.dropped, 1);
  EXPECT_FALSE(QFileInfo::exists(older));
  stations.erase(stations.begin());

  // Once the folder can be made it is written; a new failure after that is reported again.
  QFile::remove(stationFolder(root(), "Blocked"));
  report = flush({{"Blocked", "3"}});
  EXPECT_TRUE(report.log.isEmpty());
  EXPECT_EQ(readFile(file("Blocked", 1)), header() + line("3"));
  ASSERT_TRUE(QDir(stationFolder(root(), "Blocked")).removeRecursively());
  writeFile(stationFolder(root(), "Blocked"), "again");
  report = flush({{"Blocked", "4"}});
  EXPECT_EQ(report.log.size(), 1);
}

TEST_F(RecorderFilesTest, LineThatCannotBeWrittenIsDroppedAlone) {
  // The current "file" of Yard is a folder: its line is lost, the others are written.
  stations = {{"Roof", true, {}}, {"Yard", true, {}}, {"Gone", false, {}}};
  makeFolder("Yard");
  ASSERT_TRUE(QDir().mkdir(file("Yard", 1)));
  const FlushReport report = flush({{"Roof", "r1"}, {"Yard", "y1"}, {"Nobody", "n1"}, {"Gone", "g1"}, {"Roof", "r2"}});
  EXPECT_EQ(report.written, 2);
  EXPECT_EQ(report.dropped, 3);  // Yard's folder file, a name with no row, a row without a file
  EXPECT_TRUE(report.log.isEmpty());
  EXPECT_EQ(readFile(file("Roof", 1)), header() + line("r1") + line("r2"));
}

TEST(RecorderPaths, FolderNamesAndFiles) {
  EXPECT_EQ(stationFolder("/r", "Roof"), "/r/Roof");
  EXPECT_EQ(stationFolder("/r/", "Roof"), "/r/Roof");
  EXPECT_EQ(numberedFile("/r/Roof", 12), "/r/Roof/12.csv");
  for (const QString& bad : {QString(), QStringLiteral("."), QStringLiteral(".."), QStringLiteral("a/b"),
                             QStringLiteral("/"), QString(QChar(u'\0'))}) {
    EXPECT_FALSE(isFolderName(bad)) << bad.toStdString();
  }
  for (const QString& good : {QStringLiteral("Roof"), QStringLiteral("站点 1"), QStringLiteral("#1"),
                              QStringLiteral("..a"), QStringLiteral("a,b")}) {
    EXPECT_TRUE(isFolderName(good)) << good.toStdString();
  }
  EXPECT_TRUE(isMarkedCell("-1"));
  EXPECT_FALSE(isMarkedCell("1"));
  EXPECT_FALSE(isMarkedCell(" -1"));
  EXPECT_FALSE(isMarkedCell(""));
}

}  // namespace
}  // namespace xl::monitoring
