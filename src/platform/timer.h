#pragma once
// A timer of a screen: interval in milliseconds, enabled flag, tick handler.
//
// Ticks fall on a fixed grid from the moment the timer was enabled (or its interval set).
// A tick that is served late (behind a receive window) does not move the grid; ticks that
// fell due meanwhile are merged into one, as a window system's timer messages are.
// An interval of 0 never ticks. Setting the interval, or enabling a disabled timer, restarts
// the count from now.

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/scheduler.h"

namespace xl::platform {

class Timer {
 public:
  Timer() = default;
  explicit Timer(std::int64_t intervalMs, std::function<void()> onTick = {});
  ~Timer();
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  void setInterval(std::int64_t ms);
  std::int64_t interval() const { return intervalMs_; }
  void setEnabled(bool on);
  bool enabled() const { return enabled_; }
  void setOnTick(std::function<void()> fn) { onTick_ = std::move(fn); }

 private:
  void arm(Duration due);
  void disarm();
  void fire();

  std::int64_t intervalMs_ = 0;
  bool enabled_ = false;
  std::function<void()> onTick_;
  TaskId task_ = 0;
  Duration due_{0};
  bool ticking_ = false;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace xl::platform
