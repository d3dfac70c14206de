#include "platform/scheduler.h"

#include <cassert>
#include <stdexcept>

namespace xl::platform {

namespace {
Scheduler* gScheduler = nullptr;
}

Scheduler& scheduler() {
  if (!gScheduler) throw std::logic_error("no scheduler set");
  return *gScheduler;
}

void setScheduler(Scheduler* s) { gScheduler = s; }

Scheduler::~Scheduler() {
  if (gScheduler == this) gScheduler = nullptr;
}

TaskId Scheduler::insert(Duration due, std::function<void()> fn) {
  const TaskId id = nextId_++;
  const Key key{due, seq_++};
  queue_.emplace(key, Task{id, std::move(fn)});
  index_.emplace(id, key);
  return id;
}

TaskId Scheduler::post(Duration delay, std::function<void()> fn) {
  if (delay < Duration::zero()) delay = Duration::zero();
  const TaskId id = insert(now() + delay, std::move(fn));
  Duration at;
  if (!running_ && nextDue(at)) wake(at);
  return id;
}

void Scheduler::cancel(TaskId id) {
  auto it = index_.find(id);
  if (it != index_.end()) {
    queue_.erase(it->second);
    index_.erase(it);
    return;
  }
  std::erase_if(deferred_, [id](const Task& t) { return t.id == id; });
}

void Scheduler::holdFor(Duration length, std::function<void()> fn) {
  // A window opened while another is open would be a window inside a handler's wait, which
  // cannot happen: receive events are tasks and are deferred like any other.
  assert(holdTask_ == 0);
  holdTask_ = post(length, [this, fn = std::move(fn)] {
    try {
      fn();
    } catch (...) {
      // The window ends whatever its handler did.
    }
    endHold();
  });
  holdChanged(true);
}

void Scheduler::endHold() {
  holdTask_ = 0;
  // Deferred tasks run next, in the order in which they fell due.
  for (auto& t : deferred_) {
    const Key key{now(), seq_++};
    index_.emplace(t.id, key);
    queue_.emplace(key, std::move(t));
  }
  deferred_.clear();
  holdChanged(false);
}

bool Scheduler::nextDue(Duration& at) const {
  if (queue_.empty()) return false;
  at = queue_.begin()->first.due;
  return true;
}

void Scheduler::runDue() {
  if (running_) return;
  running_ = true;
  while (!queue_.empty() && queue_.begin()->first.due <= now()) {
    auto node = queue_.extract(queue_.begin());
    index_.erase(node.mapped().id);
    Task task = std::move(node.mapped());
    if (holdTask_ != 0 && task.id != holdTask_) {
      deferred_.push_back(std::move(task));
      continue;
    }
    try {
      task.fn();
    } catch (...) {
      // A failure that escapes a handler ends that handler only; the program goes on.
    }
  }
  running_ = false;
  Duration at;
  if (nextDue(at)) wake(at);
}

void VirtualClock::advance(Duration span) {
  const Duration end = now_ + span;
  Duration at;
  while (nextDue(at) && at <= end) {
    if (at > now_) now_ = at;
    runDue();
  }
  now_ = end;
}

}  // namespace xl::platform
