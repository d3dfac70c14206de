// The station table on a real SQLite file, and a request sent to a station by its name.

#include "core/station_store.h"

#include <sqlite3.h>

#include <gtest/gtest.h>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <functional>

#include "core/app_state.h"
#include "core/message_log.h"
#include "core/station_request.h"
#include "link/frame_codec.h"
#include "platform/failure.h"
#include "platform/sim_bus.h"

using namespace xl::core;

namespace {

Station station(const QString& name, const QString& port, const QString& id) {
  Station s;
  std::tie(s.StationName, s.Port, s.DeviceID) = std::tie(name, port, id);
  return s;
}

QStringList names(const std::vector<Station>& stations) {
  QStringList list;
  for (const Station& s : stations) list << s.StationName;
  return list;
}

class StationStore : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir_.isValid());
    path_ = dir_.filePath("MSCONS.DLL");
    setStationStorePath(path_);
  }
  void TearDown() override { setStationStorePath(QString()); }

  // Runs SQL on the file directly, as another tool would.
  void execute(const char* sql) const {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path_.toUtf8().constData(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    sqlite3_close(db);
  }

  QTemporaryDir dir_;
  QString path_;
};

}  // namespace

TEST_F(StationStore, AMissingFileIsNotCreatedTheInstallerMakesItOnceAndAFileOfJunkIsLeftAlone) {
  EXPECT_FALSE(checkDatabase() || findStation("S1") || insertStation(station("S1", "COM3,9600", "1")) ||
               deleteStation("S1") || updateStation("S1", station("S1", "COM3,9600", "1")));
  EXPECT_EQ(getStationPort("S1") + getStationDeviceID("S1"), "");
  EXPECT_TRUE(getStations("COM3,9600").empty() && !QFile::exists(path_));
  // Without a path of its own the store lies in the program directory, also when that is the root.
  setStationStorePath(QString());
  for (const auto& [programDir, path] : {std::pair{dir_.path(), path_}, {"/", "/MSCONS.DLL"}})
    EXPECT_EQ((setProgramDir(programDir), stationStorePath()), path);
  setProgramDir(QString());
  setStationStorePath(path_);

  // The installer makes the table once and never alters it.
  ASSERT_TRUE(createStore() && checkDatabase() && insertStation(station("S1", "COM3,9600", "1")));
  EXPECT_TRUE(createStore());
  EXPECT_EQ(getStationPort("S1"), "COM3,9600");

  // A file that is no database is left as it is, and reads as empty.
  const QString other = dir_.filePath("other.DLL");
  QFile junk(other);
  ASSERT_TRUE(junk.open(QIODevice::WriteOnly) && junk.write(QByteArray(4096, 'x')) == 4096);
  junk.close();
  setStationStorePath(other);
  EXPECT_FALSE(checkDatabase() || createStore());
  EXPECT_EQ(getStationPort("S1"), "");
  ASSERT_TRUE(junk.open(QIODevice::ReadOnly));
  EXPECT_EQ(junk.readAll(), QByteArray(4096, 'x'));
}

// Every column round trip is the station editor's test; here quotes in a name and deletion.
TEST_F(StationStore, QuotesAreJustTextAndDeletingNothingIsNoFailure) {
  ASSERT_TRUE(createStore());
  const Station s = station(QStringLiteral("O'Brien's \"北站\""), "COM3,9600", "1");
  ASSERT_TRUE(insertStation(s));
  EXPECT_EQ(findStation(s.StationName), s);
  EXPECT_TRUE(deleteStation(s.StationName) && !findStation(s.StationName));
  EXPECT_TRUE(deleteStation(s.StationName));
}

TEST_F(StationStore, StationsOfAPortComeInTableOrderByTheWholePortText) {
  ASSERT_TRUE(createStore());
  // C has the same port and DeviceID as B.
  for (const Station& s : {station("B", "COM3,9600", "1"), station("A", "COM3,19200", "2"),
                           station("C", "COM3,9600", "1"), station("D", "COM4,9600", "3")})
    ASSERT_TRUE(insertStation(s));
  EXPECT_EQ(names(getStations("COM3,9600")), QStringList({"B", "C"}));
  EXPECT_EQ(names(getStations("COM3,19200")), QStringList({"A"}));
  EXPECT_TRUE(getStations("COM3").empty() && getStations("COM3,9600 ").empty());

  // Text compares without regard to case.
  EXPECT_EQ(names(getStations("com3,9600")), QStringList({"B", "C"}));
  EXPECT_TRUE(getStationDeviceID("d") == "3" && deleteStation("b"));
  EXPECT_EQ(names(getStations("COM3,9600")), QStringList({"C"}));
}

// sameStationName is the store's own comparison: the store finds a name exactly when it says so.
TEST_F(StationStore, SameStationNameComparesAsTheStoreFindsNames) {
  ASSERT_TRUE(createStore());
  const std::pair<const char*, const char*> pairs[] = {{"abc", "ABC"}, {"东区", "东区"}, {"Äa", "äa"}, {"a", "a "},
                                                       {"Σ", "σ"},     {"x1", "X1"},     {"k", "K"}};
  for (const auto& [stored, asked] : pairs) {
    execute("delete from Station");
    ASSERT_TRUE(insertStation(station(QString::fromUtf8(stored), "COM3,9600", "1")));
    const QString a = QString::fromUtf8(asked);
    EXPECT_EQ(findStation(a).has_value(), sameStationName(QString::fromUtf8(stored), a)) << stored << " / " << asked;
  }
}

TEST_F(StationStore, AnUpdateReplacesTheRowOrLosesNothing) {
  ASSERT_TRUE(createStore() && insertStation(station("S1", "COM3,9600", "1")) &&
              insertStation(station("S2", "COM3,9600", "2")));

  // An insert that fails after the delete: the old row is still there.
  execute(
      "create trigger refuse before insert on Station when new.StationName = 'Bad' "
      "begin select raise(abort, 'refused'); end");
  EXPECT_FALSE(updateStation("S1", station("Bad", "COM3,9600", "9")));
  EXPECT_EQ(findStation("S1"), station("S1", "COM3,9600", "1"));

  // A rename: the row is new, so it comes last.
  EXPECT_TRUE(updateStation("S1", station("S9", "COM3,9600", "5")) && !findStation("S1"));
  EXPECT_TRUE(names(getStations("COM3,9600")) == QStringList({"S2", "S9"}) && getStationDeviceID("S9") == "5");
}

// The lookup by name is cached; every change, through the routines or by another tool on the
// file, is seen at the next lookup.
TEST_F(StationStore, TheCachedLookupFollowsEveryChange) {
  // The first row of a name counts.
  ASSERT_TRUE(createStore() && insertStation(station("S1", "COM3,9600", "1")) &&
              insertStation(station("s1", "COM4,9600", "7")));
  EXPECT_EQ(getStationPort("S1") + "|" + getStationDeviceID("s1"), "COM3,9600|1");
  EXPECT_EQ(getStationPort(QStringLiteral("Ｓ1")), "");  // only ASCII letters fold, as in the file

  // The port and ID of a name, looked up before a change and again after it.
  const auto after = [](const QString& name, const std::function<void()>& change) {
    getStationPort(name);
    change();
    return getStationPort(name) + "|" + getStationDeviceID(name);
  };
  EXPECT_EQ(after("S2", [] { insertStation(station("S2", "COM5,9600", "2")); }), "COM5,9600|2");
  EXPECT_EQ(after("S2", [] { updateStation("S2", station("S2", "COM6,9600", "3")); }), "COM6,9600|3");
  EXPECT_EQ(after("S2", [] { updateStation("S2", station("S3", "COM6,9600", "3")); }), "|");
  EXPECT_EQ(after("S1", [] { deleteStation("S1"); }), "|");
  // Another tool's change: the file is looked at again after 250 ms.
  const auto otherTool = [this] {
    execute("update Station set Port = 'COM8,9600' where StationName = 'S3'");
    QThread::msleep(300);
  };
  EXPECT_EQ(after("S3", otherTool), "COM8,9600|3");
  EXPECT_EQ(after("S3", [this] { setStationStorePath(dir_.filePath("none")); }), "|");
}

namespace xl::core {

TEST(StationRequest, AddressAndPortComeFromTheStoreByName) {
  QTemporaryDir dir;
  setStationStorePath(dir.path() + "/MSCONS.DLL");
  ASSERT_TRUE(createStore());
  for (const auto& [name, id] : {std::pair{"Ten", "10"}, {"Huge", "99999999999"}, {"Words", "abc"}}) {
    Station s;
    std::tie(s.StationName, s.Port, s.DeviceID) = std::tuple(QString(name), QString("COM3,9600"), QString(id));
    ASSERT_TRUE(insertStation(s));
  }

  platform::VirtualClock clock;
  platform::setScheduler(&clock);
  platform::SimBusDriver driver;
  platform::setPortDriver(&driver);
  platform::SimLine& line = driver.addLine("COM3", 9600);
  link::SerialSession session("Test.MSComm1", {}, [](Bytes&, const std::string&) {});
  QString log;
  setLogBox({[&] { return log; }, [&](const QString& t) { log = t; }});

  requestStation(session, "Ten", " 03 0100 0023");
  ASSERT_EQ(line.wire().size(), 1u);
  EXPECT_EQ(hexText(line.wire()[0].bytes), hexText(requestFrame(10, " 03 0100 0023")));
  clock.advance(platform::ms(400));  // the line is free again (silence)
  // The scan's form reads leniently: an address that is no number reads as 0.
  requestStation(session, "Words", " 03 0100 0023");
  ASSERT_EQ(line.wire().size(), 2u);
  EXPECT_EQ(line.wire()[1].bytes[0], 0x00);
  clock.advance(platform::ms(400));
  // A screen's form never sends to 0, to an address that does not fit or to a name that is no
  // station; each refusal is one plain Chinese line, nothing of the internals. A name that is
  // no station is passed over in silence unless the screen asks.
  EXPECT_THROW(requestStation(session, "Huge", " 03 0100 0023"), RuntimeFailure);
  const std::pair<const char*, const char*> refused[] = {{"Huge", "]Huge：设备ID无效，请求未发送"},
                                                         {"Words", "]Words：设备ID无效，请求未发送"},
                                                         {"Nobody", "]没有名为“Nobody”的站点，未发送任何数据"}};
  for (const auto& [name, expected] : refused) {
    log.clear();
    EXPECT_FALSE(trySendToStation(session, name, " 03 0100 0023", true)) << name;
    EXPECT_TRUE(log.endsWith(QString::fromUtf8(expected))) << log.toStdString();
    EXPECT_FALSE(log.contains("overflow", Qt::CaseInsensitive));
  }
  log.clear();
  EXPECT_FALSE(trySendToStation(session, "Nobody", " 03 0100 0023") ||
               trySendToStation(session, "", " 03 0100 0023", true));
  EXPECT_TRUE(log.isEmpty() && line.wire().size() == 2u);
  EXPECT_TRUE(trySendToStation(session, "Ten", " 03 0100 0023") && line.wire().size() == 3u);

  setLogBox({});
  setStationStorePath({});
}

}  // namespace xl::core
