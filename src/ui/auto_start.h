#pragma once
// The automatic start of a monitor: a station choice asks for it, and the next tick of a
// five-second timer starts monitoring once. The timer runs on for good once it is on; a tick
// with nothing asked does nothing.

#include <cstdint>
#include <functional>

#include "platform/timer.h"

namespace xl::ui {

class AutoStart {
 public:
  // `start` is the screen's start (its Command2_Click).
  explicit AutoStart(std::function<void()> start, std::int64_t intervalMs = 5000) : start_(std::move(start)) {
    timer.setInterval(intervalMs);
    timer.setOnTick([this] {
      if (pending != 1) return;
      pending = 0;
      start_();
    });
  }
  // A station was chosen: start at the next tick.
  void request() {
    timer.setEnabled(true);
    pending = 1;
  }

  platform::Timer timer;
  std::int32_t pending = 0;  // 1 from a choice until the next tick

 private:
  std::function<void()> start_;
};

}  // namespace xl::ui
