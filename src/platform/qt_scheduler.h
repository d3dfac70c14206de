#pragma once
// The scheduler of the running program, on Qt's event loop.
//
// One precise single-shot QTimer is set to the earliest task. While a receive window is open,
// operator input (mouse, keys, wheel) is held back and delivered when the window ends, so a
// click cannot cut into a reply that is being read; painting goes on.

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <memory>
#include <vector>

#include "platform/scheduler.h"

class QEvent;

namespace xl::platform {

class QtScheduler : public QObject, public Scheduler {
 public:
  QtScheduler();
  ~QtScheduler() override;
  Duration now() const override;

 protected:
  void wake(Duration at) override;
  void holdChanged(bool holding) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QElapsedTimer clock_;
  QTimer timer_;
  bool filtering_ = false;
  std::vector<std::pair<QPointer<QObject>, std::unique_ptr<QEvent>>> heldInput_;
};

}  // namespace xl::platform
