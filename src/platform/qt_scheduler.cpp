#include "platform/qt_scheduler.h"

#include <QCoreApplication>
#include <QEvent>

namespace xl::platform {

QtScheduler::QtScheduler() {
  clock_.start();
  timer_.setSingleShot(true);
  timer_.setTimerType(Qt::PreciseTimer);
  QObject::connect(&timer_, &QTimer::timeout, this, [this] { runDue(); });
}

QtScheduler::~QtScheduler() {
  if (filtering_ && QCoreApplication::instance()) QCoreApplication::instance()->removeEventFilter(this);
}

Duration QtScheduler::now() const { return Duration(clock_.nsecsElapsed() / 1000); }

void QtScheduler::wake(Duration at) {
  const auto delay = at - now();
  const qint64 ms = delay <= Duration::zero() ? 0 : (delay.count() + 999) / 1000;
  timer_.start(static_cast<int>(ms));
}

namespace {
bool isOperatorInput(QEvent::Type t) {
  switch (t) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::Wheel: return true;
    default: return false;
  }
}
}  // namespace

void QtScheduler::holdChanged(bool holding) {
  auto* app = QCoreApplication::instance();
  if (!app) return;
  if (holding && !filtering_) {
    app->installEventFilter(this);
    filtering_ = true;
  } else if (!holding && filtering_) {
    app->removeEventFilter(this);
    filtering_ = false;
    auto held = std::move(heldInput_);
    heldInput_.clear();
    for (auto& [target, event] : held)
      if (target) QCoreApplication::postEvent(target, event.release());
  }
}

bool QtScheduler::eventFilter(QObject* watched, QEvent* event) {
  if (filtering_ && isOperatorInput(event->type()) && watched->isWidgetType()) {
    heldInput_.emplace_back(QPointer<QObject>(watched), std::unique_ptr<QEvent>(event->clone()));
    return true;
  }
  return QObject::eventFilter(watched, event);
}

}  // namespace xl::platform
