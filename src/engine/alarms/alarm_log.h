#pragma once
// The alarm log: XLALARM.DB (SQLite) beside the station store, table AlarmLog, one row an
// alarm from its raising to its clearing. Times are local "YYYY-MM-DD HH:MM:SS"; Cleared,
// AckBy and AckTime are empty while not set.
//
// The file is in WAL mode, so a console can read it while an agent of the same site writes it.
// Each routine opens its own connection and closes it; nothing is held between calls.

#include <QDate>
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <optional>
#include <vector>

namespace xl::engine::alarms {

struct AlarmRow {
  std::int64_t id = 0;
  QString station;
  QString deviceId;
  QString port;
  QString code;
  QString text;
  QString raised;
  QString cleared;
  QString ackBy;
  QString ackTime;
};

// Which rows of the history: a station (empty = all) and the days of raising (inclusive; an
// invalid date is open).
struct HistoryFilter {
  QString station;
  QDate from;
  QDate to;
};

// "YYYY-MM-DD HH:MM:SS" in local time.
QString logTime(const QDateTime& at);

class AlarmLog {
 public:
  explicit AlarmLog(QString path);
  // XLALARM.DB in the folder of the station store.
  static QString besideStationStore();
  const QString& path() const { return path_; }

  // Makes the file with its table (and WAL mode) when missing; false when it cannot be used.
  bool ensure() const;
  // A new open row; its id, or nothing when the file could not be written.
  std::optional<std::int64_t> raise(const AlarmRow& row) const;
  bool clear(std::int64_t id, const QDateTime& at) const;
  // Acknowledges those of `ids` that are open and not yet acknowledged; how many were.
  int acknowledge(const std::vector<std::int64_t>& ids, const QString& user, const QDateTime& at) const;
  // The open rows, oldest first.
  std::vector<AlarmRow> open() const;
  // Rows of the filter, newest first, at most `limit`.
  std::vector<AlarmRow> history(const HistoryFilter& filter, int limit = 5000) const;
  // Open and not acknowledged.
  int unacknowledged() const;
  // Names of every station in the log, sorted.
  QStringList stations() const;
  // Removes the cleared rows raised more than `keepDays` days before `now`; how many.
  int prune(int keepDays, const QDateTime& now) const;

 private:
  QString path_;
};

// The export: a header line and one line a row, fields joined by "," with a "," inside a field
// written "，" (no quoting), as the recorder's files; without line ends.
QStringList exportLines(const std::vector<AlarmRow>& rows);

}  // namespace xl::engine::alarms
