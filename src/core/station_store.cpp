#include "core/station_store.h"

#include <sqlite3.h>
#include <chrono>
#include <filesystem>

#include <QHash>

#include "core/app_state.h"
#include "core/sqlite_db.h"

namespace xl::core {

namespace {

QString gStorePath;

// The cached lookup (of the GUI thread, as every routine here): name (folded as the store compares it) to the first
// row's port and address.
struct PortAndId {
  QString port, deviceId;
};
// What identifies the file's state: a file written by anything else (another copy of the
// program, an editor) gets another time or size, and the cache is read again.
struct FileStamp {
  QString path;
  std::uintmax_t size = 0;
  std::filesystem::file_time_type modified{};
  bool operator==(const FileStamp&) const = default;
};
FileStamp stampOf(const QString& path) {
  FileStamp f;
  f.path = path;
  const std::filesystem::path file(path.toStdU16String());
  std::error_code error;
  f.size = std::filesystem::file_size(file, error);
  if (error) f.size = 0;
  f.modified = std::filesystem::last_write_time(file, error);
  if (error) f.modified = {};
  return f;
}
// The file is looked at again at most this often: a scan pass asks for a hundred stations in a
// row, and one look serves them all. Changes through this file's routines need no look at all.
constexpr auto kRecheckEvery = std::chrono::milliseconds(250);

struct Lookup {
  bool loaded = false;
  FileStamp stamp;
  std::chrono::steady_clock::time_point checkedAt;
  QHash<QString, PortAndId> rows;
};
Lookup gLookup;

// "collate nocase" folds only the ASCII letters; the cache's keys are folded the same way, so
// "Ａ站" and "ａ站" stay two names as they are in the file.
QString foldName(const QString& name) {
  QString folded = name;
  for (QChar& c : folded)
    if (c.unicode() >= 'A' && c.unicode() <= 'Z') c = QChar(c.unicode() + ('a' - 'A'));
  return folded;
}

using Field = QString Station::*;
struct Column {
  const char* name;
  Field field;
};

// The columns in the order that the insert statement names them.
constexpr Column kInsertColumns[] = {
    {"ArraysType", &Station::ArraysType},
    {"BatteryType", &Station::BatteryType},
    {"Capacity", &Station::Capacity},
    {"DeviceID", &Station::DeviceID},
    {"LoadType", &Station::LoadType},
    {"PeakPower", &Station::PeakPower},
    {"Port", &Station::Port},
    {"Power", &Station::Power},
    {"Remarks", &Station::Remarks},
    {"StationName", &Station::StationName},
    {"Vmp", &Station::Vmp},
    {"Voc", &Station::Voc},
    {"Voltage", &Station::Voltage},
};

constexpr const char* kCreateTable =
    "create table if not exists Station (StationName TEXT, Port TEXT, DeviceID TEXT, ArraysType TEXT, "
    "PeakPower TEXT, Voc TEXT, Vmp TEXT, BatteryType TEXT, Capacity TEXT, Voltage TEXT, LoadType TEXT, "
    "Power TEXT, Remarks TEXT)";
constexpr const char* kInsert =
    "insert into Station (ArraysType,BatteryType,Capacity,DeviceID,LoadType,PeakPower,Port,Power,Remarks,"
    "StationName,Vmp,Voc,Voltage) Values (?,?,?,?,?,?,?,?,?,?,?,?,?)";
// Names and ports compare without regard to case, as Jet compares text: "com3,9600" finds the
// stations of "COM3,9600", while another baud rate is another port.
constexpr const char* kDelete = "delete from Station where StationName = ? collate nocase";

// One connection for the length of one routine.
class Connection : public SqliteDb {
 public:
  explicit Connection(int flags = SQLITE_OPEN_READWRITE) : SqliteDb(stationStorePath(), flags, 2000) {}
};

using Statement = SqliteStatement;

// The current row, columns found by name, so that a table with its columns in another order
// reads the same. Columns that the table lacks stay empty.
Station stationOf(const Statement& query) {
  Station row;
  for (int c = 0; c < query.columnCount(); ++c) {
    const char* name = query.columnName(c);
    for (const Column& column : kInsertColumns) {
      if (name && sqlite3_stricmp(name, column.name) == 0) row.*column.field = query.text(c);
    }
  }
  return row;
}

// The cached row of that name, reading the table first when nothing is cached. A failed read
// caches nothing, so the next lookup tries the file again.
const PortAndId* lookup(const QString& name) {
  const auto now = std::chrono::steady_clock::now();
  const QString path = stationStorePath();
  if (gLookup.loaded && (gLookup.stamp.path != path || now - gLookup.checkedAt >= kRecheckEvery)) {
    if (!(gLookup.stamp == stampOf(path))) gLookup = {};
    gLookup.checkedAt = now;
  }
  if (!gLookup.loaded) {
    const FileStamp stamp = stampOf(path);
    Connection db;
    Statement query(db, "select StationName, Port, DeviceID from Station order by rowid");
    QHash<QString, PortAndId> rows;
    while (query.next()) {
      const QString key = foldName(query.text(0));
      if (!rows.contains(key)) rows.insert(key, {query.text(1), query.text(2)});
    }
    if (!query.ok()) return nullptr;
    gLookup.rows = std::move(rows);
    gLookup.stamp = stamp;
    gLookup.checkedAt = now;
    gLookup.loaded = true;
  }
  const auto it = gLookup.rows.constFind(foldName(name));
  return it == gLookup.rows.constEnd() ? nullptr : &*it;
}

bool insertRow(const Connection& db, const Station& station) {
  Statement insert(db, kInsert);
  int index = 1;
  for (const Column& column : kInsertColumns) insert.bind(index++, station.*column.field);
  return insert.run();
}

bool deleteRows(const Connection& db, const QString& name) {
  Statement remove(db, kDelete);
  remove.bind(1, name);
  return remove.run();
}

}  // namespace

bool sameStationName(const QString& a, const QString& b) {
  if (a.size() != b.size()) return false;
  const auto fold = [](char16_t c) { return c >= u'A' && c <= u'Z' ? char16_t(c + (u'a' - u'A')) : c; };
  for (qsizetype i = 0; i < a.size(); ++i)
    if (fold(a[i].unicode()) != fold(b[i].unicode())) return false;
  return true;
}

QString stationStorePath() {
  if (!gStorePath.isEmpty()) return gStorePath;
  QString path = programDir() + QStringLiteral("/MSCONS.DLL");
  path.replace(QStringLiteral("//"), QStringLiteral("/"));  // a program in the root directory
  return path;
}

void setStationStorePath(const QString& path) {
  gStorePath = path;
  forgetStationLookup();
}

void forgetStationLookup() { gLookup = {}; }

bool checkDatabase() {
  Connection db;
  Statement query(db, "select * from Station where Port = ''");
  return query.run();
}

bool createStore() {
  forgetStationLookup();
  Connection db(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  return db.exec(kCreateTable);
}

QString getStationPort(const QString& name) {
  const PortAndId* row = lookup(name);
  return row ? row->port : QString();
}

QString getStationDeviceID(const QString& name) {
  const PortAndId* row = lookup(name);
  return row ? row->deviceId : QString();
}

std::vector<Station> getStations(const QString& port) {
  Connection db;
  Statement query(db, "select * from Station where Port = ? collate nocase order by rowid");
  query.bind(1, port);
  std::vector<Station> stations;
  while (query.next()) stations.push_back(stationOf(query));
  if (!query.ok()) return {};
  return stations;
}

std::optional<Station> findStation(const QString& name) {
  Connection db;
  Statement query(db, "select * from Station where StationName = ? collate nocase order by rowid");
  query.bind(1, name);
  if (!query.next()) return std::nullopt;
  return stationOf(query);
}

bool insertStation(const Station& station) {
  forgetStationLookup();
  Connection db;
  return insertRow(db, station);
}

bool deleteStation(const QString& name) {
  forgetStationLookup();
  Connection db;
  return deleteRows(db, name);
}

bool updateStation(const QString& oldName, const Station& station) {
  forgetStationLookup();
  Connection db;
  if (!db.exec("begin immediate")) return false;
  if (deleteRows(db, oldName) && insertRow(db, station) && db.exec("commit")) return true;
  db.exec("rollback");
  return false;
}

}  // namespace xl::core
