#include "platform/timer.h"

namespace xl::platform {

Timer::Timer(std::int64_t intervalMs, std::function<void()> onTick)
    : intervalMs_(intervalMs), onTick_(std::move(onTick)) {}

Timer::~Timer() {
  *alive_ = false;
  disarm();
}

void Timer::setInterval(std::int64_t ms) {
  intervalMs_ = ms < 0 ? 0 : ms;
  disarm();
  if (enabled_ && intervalMs_ > 0) arm(scheduler().now() + platform::ms(intervalMs_));
}

void Timer::setEnabled(bool on) {
  if (on == enabled_) return;
  enabled_ = on;
  disarm();
  if (enabled_ && intervalMs_ > 0) arm(scheduler().now() + platform::ms(intervalMs_));
}

void Timer::arm(Duration due) {
  due_ = due;
  task_ = scheduler().post(due - scheduler().now(), [this] { fire(); });
}

void Timer::disarm() {
  if (task_ != 0) {
    // The scheduler may already be gone at the end of a test or of the program.
    try {
      scheduler().cancel(task_);
    } catch (...) {}
    task_ = 0;
  }
}

void Timer::fire() {
  task_ = 0;
  // The next tick stays on the grid; ticks missed while this one waited are merged.
  Duration next = due_ + platform::ms(intervalMs_);
  const Duration now = scheduler().now();
  while (next <= now) next += platform::ms(intervalMs_);
  arm(next);
  // A tick that falls due while this timer's own handler still runs (it shows a modal box) is
  // dropped: the handler is never entered twice. Other timers keep their pace.
  if (!onTick_ || ticking_) return;
  ticking_ = true;
  // The handler may destroy this timer (with its screen); the token tells.
  const std::shared_ptr<bool> alive = alive_;
  try {
    onTick_();
  } catch (...) {
    if (*alive) ticking_ = false;
    throw;
  }
  if (*alive) ticking_ = false;
}

}  // namespace xl::platform
