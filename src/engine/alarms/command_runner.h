#pragma once
// The program a site names for its alarms (section Alarms, key Command), run once for each
// raising and clearing with the arguments station, device ID, code, text, state ("raised" or
// "cleared") and time. It is started directly with an argument list, never through a shell,
// so no text of a station name can run anything. One runs at a time, the others wait in
// order; each may take 30 s, then it is killed. A failure (no start, a crash, a non-zero exit,
// the time limit) writes one line in the message window, at most once a minute.

#include <QDateTime>
#include <QElapsedTimer>
#include <QObject>
#include <QStringList>
#include <deque>
#include <functional>
#include <memory>

#include "engine/alarms/alarm_engine.h"

class QProcess;
class QTimer;

namespace xl::engine::alarms {

class CommandRunner : public QObject {
 public:
  // `program` gives the Command setting at the moment of each event (empty = none).
  explicit CommandRunner(std::function<QString()> program, int limitMs = 30000);
  ~CommandRunner() override;

  // Queues the run for one raising or clearing; it starts at once when none is under way.
  void enqueue(const AlarmEvent& e);
  // The arguments of an event, in their order.
  static QStringList argumentsOf(const AlarmEvent& e);
  // Waiting runs, the one under way not counted.
  std::size_t waiting() const { return queue_.size(); }
  bool running() const { return process_ != nullptr; }

 private:
  struct Run {
    QString program;
    QStringList arguments;
  };
  void startNext();
  void finished(bool ok);

  std::function<QString()> program_;
  int limitMs_;
  std::deque<Run> queue_;
  QProcess* process_ = nullptr;
  QTimer* limit_ = nullptr;
  bool overTime_ = false;
  QString current_;
  QElapsedTimer sinceFailureLine_;
};

}  // namespace xl::engine::alarms
