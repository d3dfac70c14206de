#pragma once
// The data recorder's engine: the station rows with each station's last real-time reply, the
// save cycle and the files, with no widget. It runs under QCoreApplication (or a virtual clock)
// in the console, where FrmMaintenanceRecord shows and edits it, and in a site agent without a
// display.
//
// It writes no request. Whoever polls the stations hands each valid 73-byte real-time reply to
// `storeReply`, by the row of the station in the scan's order; on each save cycle the recorder
// turns the reply of every marked row into a queue row and flushes the queue into the station's
// current file (recorder_line, recorder_files).
//
// Timers, each with its tag:
//   Timer2 "保存数据"   1000 ms  counts seconds while automatic saving is on, starts a save cycle
//   Timer3 "读数据"      300 ms  one station row per tick during a save cycle
//   Timer4 "启动读数据" 60000 ms, then the read interval in seconds; its tick does nothing
//
// The recorder follows the configuration last applied (`configure`), never text being typed.
// A station appended after that is unmarked until the configuration is applied again.

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include "monitoring/recorder_files.h"
#include "platform/timer.h"

namespace xl::engine {

// A timer with the tag it bears.
struct TaggedTimer : platform::Timer {
  explicit TaggedTimer(const char* t) : tag(QString::fromUtf8(t)) {}
  const QString tag;
};

// The recorder's configuration, as the boxes of its screen show it: texts are taken with Val
// where a number is meant, so a value from the settings file counts as it stands.
struct RecorderConfig {
  QString readInterval = QStringLiteral("10");  // seconds between the scan's rounds
  bool autoSaving = false;                       // Timer2 runs
  QString root;                                  // the root folder of the station folders
  QString hours = QStringLiteral("0");           // the save interval
  QString minutes = QStringLiteral("1");
  QString lineCount = QStringLiteral("32000");   // data lines of a file before it rolls
  QString sizeLimit = QStringLiteral("30");      // megabytes of a file before it rolls
  QHash<QString, QString> marks;                 // by station name: "-1" saves the station
};

// The configuration in the settings file (section "Maintenance Record"), with the defaults for
// empty keys, and the mark of each of `stationNames` that can be a key of its own; other names
// get no mark. `programFolder` is the default root.
RecorderConfig recorderConfigFromSettings(const QStringList& stationNames, const QString& programFolder);

class Recorder {
 public:
  Recorder();
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  // --- The rows, in the scan's row order, from 1 ---
  void clearStations();
  void appendStation(const QString& name, const QString& deviceId);
  int stationCount() const { return static_cast<int>(rows_.size()); }
  QString stationName(int row) const;
  // The last real-time reply of the station at `row` (empty until it answers). A row that does
  // not exist is ignored.
  void storeReply(int row, const QByteArray& reply);
  QByteArray storedReply(int row) const;
  // The current file of the station at `row`, chosen by the last flush; empty before.
  QString currentFile(int row) const;

  // --- The configuration ---
  // Applies `config`: the marks of the present rows, the save interval, Timer2 (on exactly when
  // automatic saving is) and Timer4 on the read interval.
  void configure(const RecorderConfig& config);
  // Applies the configuration in the settings file, as the screen's Timer1 does; the default
  // root is the program folder.
  void configureFromSettings();
  const RecorderConfig& config() const { return config_; }
  // The applied mark of a station row ("-1" marked), the one the save cycle follows.
  QString appliedMark(int row) const;
  // Val of the applied read interval, and that as whole seconds (at most 32 bits): the pace the
  // scan takes when the value is above 0.
  double readIntervalValue() const;
  std::int32_t readIntervalSeconds() const;

  // Where the time stamps of the rows come from (the present time unless set). An empty
  // function restores the present time.
  void setTimeSource(std::function<QDateTime()> now);

  // --- The save cycle ---
  void Timer2_Timer();
  void Timer3_Timer();
  // Stops recording: the pass under way, if any, is finished at once, the queue is written
  // (when the root folder is there) and the timers go off. Nothing is lost that can be written.
  void stop();

  TaggedTimer Timer2{"保存数据"};
  TaggedTimer Timer3{"读数据"};
  TaggedTimer Timer4{"启动读数据"};

  std::int32_t saveInterval() const { return saveInterval_; }
  std::int32_t recordCounter() const { return recordCounter_; }
  int passRow() const { return passRow_; }
  // The queue of lines on their way to the files.
  const std::deque<monitoring::PendingRow>& queue() const { return queue_; }
  // Lines dropped so far because they could not be written (a refused folder, a failed write).
  int droppedLines() const { return dropped_; }

 private:
  struct Row {
    QString name;
    QString deviceId;
    QByteArray reply;  // storedReply
    QString mark;      // applied
    QString file;      // current file
  };
  const Row* rowAt(int row) const;
  // One queue row for the pass's current row from its stored reply, then the flush.
  void parseReading();
  void flushReadings();
  QDateTime now() const;

  std::vector<Row> rows_;
  RecorderConfig config_;
  std::int32_t saveInterval_ = 0;   // seconds between save cycles
  std::int32_t saveTicks_ = 0;      // seconds counted toward saveInterval
  std::int32_t recordCounter_ = 0;  // save cycles since the last roll of any file; one for all
  int passRow_ = 0;                 // the row of the save cycle's pass
  std::deque<monitoring::PendingRow> queue_;
  monitoring::RecorderFiles files_;
  int dropped_ = 0;
  std::function<QDateTime()> now_;
};

}  // namespace xl::engine
