#include "core/station_store.h"

#include <sqlite3.h>

#include "core/app_state.h"

namespace xl::core {

namespace {

QString gStorePath;

using Field = QString Station::*;
struct Column {
  const char* name;
  Field field;
};

// The columns in the order that the insert statement names them.
constexpr Column kInsertColumns[] = {
    {"ArraysType", &Station::ArraysType}, {"BatteryType", &Station::BatteryType},
    {"Capacity", &Station::Capacity},     {"DeviceID", &Station::DeviceID},
    {"LoadType", &Station::LoadType},     {"PeakPower", &Station::PeakPower},
    {"Port", &Station::Port},             {"Power", &Station::Power},
    {"Remarks", &Station::Remarks},       {"StationName", &Station::StationName},
    {"Vmp", &Station::Vmp},               {"Voc", &Station::Voc},
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
class Connection {
 public:
  // Without SQLITE_OPEN_CREATE a missing file stays missing and the open fails.
  explicit Connection(int flags = SQLITE_OPEN_READWRITE) {
    ok_ = sqlite3_open_v2(stationStorePath().toUtf8().constData(), &db_, flags, nullptr) == SQLITE_OK;
    if (ok_) sqlite3_busy_timeout(db_, 2000);
  }
  ~Connection() { sqlite3_close_v2(db_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool ok() const { return ok_; }
  sqlite3* handle() const { return db_; }
  bool exec(const char* sql) { return ok_ && sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) == SQLITE_OK; }

 private:
  sqlite3* db_ = nullptr;
  bool ok_ = false;
};

// A prepared statement; every failure along the way makes it not ok, and later calls do nothing.
class Statement {
 public:
  Statement(const Connection& db, const char* sql) {
    ok_ = db.ok() && sqlite3_prepare_v2(db.handle(), sql, -1, &stmt_, nullptr) == SQLITE_OK;
  }
  ~Statement() { sqlite3_finalize(stmt_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  bool ok() const { return ok_; }

  // A null text is stored as the empty text, as the system writes every column as quoted text.
  Statement& bind(int index, const QString& value) {
    const QByteArray utf8 = value.toUtf8();
    ok_ = ok_ && sqlite3_bind_text(stmt_, index, utf8.constData(), static_cast<int>(utf8.size()),
                                   SQLITE_TRANSIENT) == SQLITE_OK;
    return *this;
  }

  // True while there is a row to read; ok() tells a finished statement from a failed one.
  bool next() {
    if (!ok_) return false;
    const int rc = sqlite3_step(stmt_);
    ok_ = rc == SQLITE_ROW || rc == SQLITE_DONE;
    return rc == SQLITE_ROW;
  }

  // Runs a statement that returns no rows.
  bool run() {
    while (next()) {
    }
    return ok_;
  }

  QString text(int column) const {
    const auto* data = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, column));
    return data ? QString::fromUtf8(data, sqlite3_column_bytes(stmt_, column)) : QString();
  }

  // The current row, columns found by name, so that a table with its columns in another order
  // reads the same. Columns that the table lacks stay empty.
  Station station() const {
    Station row;
    const int count = sqlite3_column_count(stmt_);
    for (int c = 0; c < count; ++c) {
      const char* name = sqlite3_column_name(stmt_, c);
      for (const Column& column : kInsertColumns) {
        if (name && sqlite3_stricmp(name, column.name) == 0) row.*column.field = text(c);
      }
    }
    return row;
  }

 private:
  sqlite3_stmt* stmt_ = nullptr;
  bool ok_ = false;
};

// The first row's column 0 of a one-parameter query, or "".
QString lookup(const char* sql, const QString& name) {
  Connection db;
  Statement query(db, sql);
  query.bind(1, name);
  return query.next() ? query.text(0) : QString();
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

void setStationStorePath(const QString& path) { gStorePath = path; }

bool checkDatabase() {
  Connection db;
  Statement query(db, "select * from Station where Port = ''");
  return query.run();
}

bool createStore() {
  Connection db(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  return db.exec(kCreateTable);
}

QString getStationPort(const QString& name) {
  return lookup("select Port from Station where StationName = ? collate nocase", name);
}

QString getStationDeviceID(const QString& name) {
  return lookup("select DeviceID from Station where StationName = ? collate nocase", name);
}

std::vector<Station> getStations(const QString& port) {
  Connection db;
  Statement query(db, "select * from Station where Port = ? collate nocase order by rowid");
  query.bind(1, port);
  std::vector<Station> stations;
  while (query.next()) stations.push_back(query.station());
  if (!query.ok()) return {};
  return stations;
}

std::optional<Station> findStation(const QString& name) {
  Connection db;
  Statement query(db, "select * from Station where StationName = ? collate nocase order by rowid");
  query.bind(1, name);
  if (!query.next()) return std::nullopt;
  return query.station();
}

bool insertStation(const Station& station) {
  Connection db;
  return insertRow(db, station);
}

bool deleteStation(const QString& name) {
  Connection db;
  return deleteRows(db, name);
}

bool updateStation(const QString& oldName, const Station& station) {
  Connection db;
  if (!db.exec("begin immediate")) return false;
  if (deleteRows(db, oldName) && insertRow(db, station) && db.exec("commit")) return true;
  db.exec("rollback");
  return false;
}

}  // namespace xl::core
