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
  if (nextDue(at)) wake(at);
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
    // The wait is over when the handler starts: the deferred tasks are queued again (they run
    // right after the handler, in their order) and operator input flows again. So a message
    // box that the handler shows can be answered, and the program goes on behind it.
    endHold();
    try {
      fn();
    } catch (...) {
      // A failure that escapes a handler ends that handler only.
    }
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
  Duration at;
  if (nextDue(at)) wake(at);
}

bool Scheduler::nextDue(Duration& at) const {
  if (queue_.empty()) return false;
  at = queue_.begin()->first.due;
  return true;
}

void Scheduler::runDue() {
  // Re-entered when a task opens a modal box: the box's event loop serves the queue while
  // the task waits for the answer.
  while (!queue_.empty() && queue_.begin()->first.due <= now()) {
    auto node = queue_.extract(queue_.begin());
    index_.erase(node.mapped().id);
    Task task = std::move(node.mapped());
    if (holdTask_ != 0 && task.id != holdTask_) {
      deferred_.push_back(std::move(task));
      continue;
    }
    // The backend is woken for what follows before the task runs, in case the task waits in
    // an event loop of its own.
    Duration at;
    if (nextDue(at)) wake(at);
    try {
      task.fn();
    } catch (...) {
      // A failure that escapes a handler ends that handler only; the program goes on.
    }
  }
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
  // A task may have advanced the clock itself (a test answering a box after a while).
  if (end > now_) now_ = end;
}

}  // namespace xl::platform
