#include "engine/alarms/alarm_log.h"

#include <sqlite3.h>

#include <QDir>
#include <QFileInfo>

#include "core/sqlite_db.h"
#include "core/station_store.h"

namespace xl::engine::alarms {
namespace {

constexpr const char* kCreate =
    "create table if not exists AlarmLog (Id integer primary key autoincrement, StationName text not null,"
    " DeviceID text not null, Port text not null, Code text not null, Text text not null,"
    " Raised text not null, Cleared text not null default '', AckBy text not null default '',"
    " AckTime text not null default '')";
constexpr const char* kColumns = "Id, StationName, DeviceID, Port, Code, Text, Raised, Cleared, AckBy, AckTime";

// A writer in another process holds the file only for one short transaction.
class Db : public core::SqliteDb {
 public:
  Db(const QString& path, int flags) : SqliteDb(path, flags, 250) {}
};

using Stmt = core::SqliteStatement;

AlarmRow rowOf(const Stmt& s) {
  return {s.integer(0), s.text(1), s.text(2), s.text(3), s.text(4),
          s.text(5),    s.text(6), s.text(7), s.text(8), s.text(9)};
}

std::vector<AlarmRow> rowsOf(Stmt& s) {
  std::vector<AlarmRow> out;
  while (s.next()) out.push_back(rowOf(s));
  return out;
}

QString csvField(QString text) { return text.replace(u',', u'，'); }

}  // namespace

QString logTime(const QDateTime& at) { return at.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")); }

AlarmLog::AlarmLog(QString path) : path_(std::move(path)) {}

QString AlarmLog::besideStationStore() {
  return QFileInfo(core::stationStorePath()).dir().filePath(QStringLiteral("XLALARM.DB"));
}

bool AlarmLog::ensure() const {
  Db db(path_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  return db.exec("pragma journal_mode=WAL") && db.exec(kCreate);
}

std::optional<std::int64_t> AlarmLog::raise(const AlarmRow& r) const {
  Db db(path_, SQLITE_OPEN_READWRITE);
  Stmt s(db, "insert into AlarmLog (StationName, DeviceID, Port, Code, Text, Raised) values (?, ?, ?, ?, ?, ?)");
  s.bind(1, r.station).bind(2, r.deviceId).bind(3, r.port).bind(4, r.code).bind(5, r.text).bind(6, r.raised);
  if (!s.run()) return std::nullopt;
  return sqlite3_last_insert_rowid(db.handle());
}

bool AlarmLog::clear(std::int64_t id, const QDateTime& at) const {
  Db db(path_, SQLITE_OPEN_READWRITE);
  Stmt s(db, "update AlarmLog set Cleared = ? where Id = ? and Cleared = ''");
  return s.bind(1, logTime(at)).bind(2, id).run();
}

int AlarmLog::acknowledge(const std::vector<std::int64_t>& ids, const QString& user, const QDateTime& at) const {
  Db db(path_, SQLITE_OPEN_READWRITE);
  if (!db.exec("begin")) return 0;
  int done = 0;
  for (const std::int64_t id : ids) {
    Stmt s(db, "update AlarmLog set AckBy = ?, AckTime = ? where Id = ? and Cleared = '' and AckBy = ''");
    if (s.bind(1, user).bind(2, logTime(at)).bind(3, id).run()) done += sqlite3_changes(db.handle());
  }
  return db.exec("commit") ? done : 0;
}

std::vector<AlarmRow> AlarmLog::open() const {
  Db db(path_, SQLITE_OPEN_READONLY);
  Stmt s(db, QStringLiteral("select %1 from AlarmLog where Cleared = '' order by Id").arg(kColumns));
  return rowsOf(s);
}

std::vector<AlarmRow> AlarmLog::history(const HistoryFilter& f, int limit) const {
  Db db(path_, SQLITE_OPEN_READONLY);
  QString sql = QStringLiteral("select %1 from AlarmLog where 1").arg(kColumns);
  if (!f.station.isEmpty()) sql += " and StationName = ?1";
  if (f.from.isValid()) sql += " and Raised >= ?2";
  if (f.to.isValid()) sql += " and Raised < ?3";
  sql += " order by Id desc limit ?4";
  Stmt s(db, sql);
  if (!f.station.isEmpty()) s.bind(1, f.station);
  if (f.from.isValid()) s.bind(2, f.from.toString(Qt::ISODate));
  if (f.to.isValid()) s.bind(3, f.to.addDays(1).toString(Qt::ISODate));
  s.bind(4, static_cast<std::int64_t>(limit));
  return rowsOf(s);
}

int AlarmLog::unacknowledged() const {
  Db db(path_, SQLITE_OPEN_READONLY);
  Stmt s(db, "select count(*) from AlarmLog where Cleared = '' and AckBy = ''");
  return s.next() ? static_cast<int>(s.integer(0)) : 0;
}

QStringList AlarmLog::stations() const {
  Db db(path_, SQLITE_OPEN_READONLY);
  Stmt s(db, "select distinct StationName from AlarmLog order by StationName");
  QStringList out;
  while (s.next()) out << s.text(0);
  return out;
}

int AlarmLog::prune(int keepDays, const QDateTime& now) const {
  Db db(path_, SQLITE_OPEN_READWRITE);
  Stmt s(db, "delete from AlarmLog where Cleared <> '' and Raised < ?");
  if (!s.bind(1, logTime(now.addDays(-keepDays))).run()) return 0;
  return sqlite3_changes(db.handle());
}

QStringList exportLines(const std::vector<AlarmRow>& rows) {
  QStringList lines{QStringLiteral("站点,设备ID,端口,代码,告警,发生时间,解除时间,确认人,确认时间")};
  for (const AlarmRow& r : rows)
    lines
        << QStringList{csvField(r.station), csvField(r.deviceId), csvField(r.port), r.code, csvField(r.text), r.raised,
                       r.cleared,           csvField(r.ackBy),    r.ackTime}
               .join(u',');
  return lines;
}

}  // namespace xl::engine::alarms
