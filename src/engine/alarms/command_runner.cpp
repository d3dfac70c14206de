#include "engine/alarms/command_runner.h"

#include <QProcess>
#include <QTimer>

#include "core/message_log.h"

namespace xl::engine::alarms {

CommandRunner::CommandRunner(std::function<QString()> program, int limitMs)
    : program_(std::move(program)), limitMs_(limitMs) {}

// At the end of the program a run under way is killed and its end waited for (a second at most).
CommandRunner::~CommandRunner() {
  if (process_) {
    process_->disconnect();
    process_->kill();
    process_->waitForFinished(1000);
    delete process_;
  }
}

QStringList CommandRunner::argumentsOf(const AlarmEvent& e) {
  return {e.station,      e.deviceId, e.code, e.text, e.raised ? QStringLiteral("raised") : QStringLiteral("cleared"),
          logTime(e.time)};
}

void CommandRunner::enqueue(const AlarmEvent& e) {
  const QString program = program_ ? program_().trimmed() : QString();
  if (program.isEmpty()) return;
  queue_.push_back({program, argumentsOf(e)});
  if (!process_) startNext();
}

void CommandRunner::startNext() {
  if (process_ || queue_.empty()) return;
  Run run = std::move(queue_.front());
  queue_.pop_front();
  current_ = run.program;
  process_ = new QProcess(this);
  process_->setProgram(run.program);
  process_->setArguments(run.arguments);
  process_->setProcessChannelMode(QProcess::ForwardedErrorChannel);
  process_->setStandardOutputFile(QProcess::nullDevice());
  limit_ = new QTimer(process_);
  limit_->setSingleShot(true);
  overTime_ = false;
  // At the limit the program is killed; its end comes back as any end does, never waited for.
  connect(limit_, &QTimer::timeout, this, [this] {
    overTime_ = true;
    if (process_) process_->kill();
  });
  connect(process_, &QProcess::finished, this, [this](int code, QProcess::ExitStatus status) {
    finished(!overTime_ && status == QProcess::NormalExit && code == 0);
  });
  connect(process_, &QProcess::errorOccurred, this, [this](QProcess::ProcessError err) {
    if (err == QProcess::FailedToStart) finished(false);  // no end follows a failed start
  });
  limit_->start(limitMs_);
  process_->start();
}

void CommandRunner::finished(bool ok) {
  if (!process_) return;
  QProcess* p = process_;
  process_ = nullptr;
  p->disconnect(this);
  p->deleteLater();  // not running any more: deleting it waits for nothing
  if (!ok && (!sinceFailureLine_.isValid() || sinceFailureLine_.elapsed() >= 60000)) {
    sinceFailureLine_.start();
    core::appendLog(QStringLiteral("告警命令执行失败：") + current_);
  }
  // The next run starts from the event loop, not from inside the finished process's signal.
  QTimer::singleShot(0, this, [this] { startNext(); });
}

}  // namespace xl::engine::alarms
