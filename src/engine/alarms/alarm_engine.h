#pragma once
// The alarm engine: hears every real-time reply of the scan and every real-time request that
// got no valid reply, keeps each station's conditions, writes raisings and clearings to the
// alarm log, and tells its listeners (the message window, the broker, the command, the
// screens) of each event.
//
// Alarms that were open when the program stopped are open again when it starts, and the next
// valid reply of their station that does not show them clears them. The log's old rows are
// removed once a day; the settings are read again every minute, so an agent takes a change of
// the file without a restart.

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "engine/alarms/alarm_log.h"
#include "engine/alarms/alarm_settings.h"
#include "engine/alarms/conditions.h"
#include "platform/timer.h"

namespace xl::engine::alarms {

struct AlarmEvent {
  QString station;
  QString deviceId;
  QString port;
  QString code;
  QString text;
  bool raised = false;
  QDateTime time;
};

// "发生" or "解除".
QString stateWord(bool raised);
// One line of the event for standard output: "YYYY-MM-DD HH:MM:SS 站点 设备ID 文本 发生".
QString eventLine(const AlarmEvent& e);

struct ActiveAlarm {
  std::int64_t id = 0;
  QString code;
  QString text;
  QDateTime since;
};

class AlarmEngine {
 public:
  explicit AlarmEngine(QString logPath = AlarmLog::besideStationStore());
  ~AlarmEngine();
  AlarmEngine(const AlarmEngine&) = delete;
  AlarmEngine& operator=(const AlarmEngine&) = delete;

  // The engine of the program, for the screens (none until one is made).
  static AlarmEngine* current();

  // From the scan.
  void realTimeReply(const QString& station, const QString& deviceId, const QByteArray& reply);
  void realTimeMissed(const QString& station, const QString& deviceId);

  // A station deleted or renamed: its open alarms are cleared now (they can never be cleared by
  // a reply under that name again) and it is forgotten.
  void forgetStation(const QString& station);

  // Acknowledges open alarms by their log ids in the name of `user`; how many were.
  int acknowledge(const std::vector<std::int64_t>& ids, const QString& user);

  using EventListener = std::function<void(const AlarmEvent&)>;
  // Told after each change of the open alarms (an event or an acknowledgement).
  using ChangeListener = std::function<void()>;
  int addEventListener(EventListener l);
  int addChangeListener(ChangeListener l);
  void removeListener(int id);

  std::vector<ActiveAlarm> activeOf(const QString& station) const;
  // Stations with at least one open alarm.
  std::vector<QString> alarmedStations() const;
  const AlarmLog& log() const { return log_; }
  const AlarmSettings& settings() const { return settings_; }
  // Reads section Alarms again (the settings dialog calls it after saving).
  void reloadSettings();
  void setClock(std::function<QDateTime()> now) { now_ = std::move(now); }
  // Removes the log's rows older than Keep Days (the daily timer does this).
  void prune();

 private:
  struct Station {
    QString deviceId;
    StationConditions conditions;
    std::map<QString, ActiveAlarm> open;  // by code
  };
  void restoreOpen();
  void apply(const QString& name, Station& st, const std::vector<Change>& changes);
  void notifyChanged();

  AlarmLog log_;
  AlarmSettings settings_;
  std::map<QString, Station> stations_;
  std::function<QDateTime()> now_;
  std::map<int, EventListener> eventListeners_;
  std::map<int, ChangeListener> changeListeners_;
  int nextListener_ = 1;
  platform::Timer settingsTimer_;
  platform::Timer pruneTimer_;
};

}  // namespace xl::engine::alarms
