#pragma once
// The one event queue of the console: timer ticks and serial events are tasks on it.
//
// Everything runs on one thread. A task is a function due at a point in time; the scheduler
// runs due tasks in order of their time, one at a time, each to its end.
//
// The receive window (`holdFor`) stands for the fixed wait of a receive routine: while a
// window is open no other task is served. Tasks that fall due inside it are deferred and run,
// in their order, right after the window's own handler. The GUI keeps painting meanwhile;
// nothing sleeps. The window ends when its handler starts, so a handler that shows a modal box
// does not hold the program: the box's event loop serves the queue (runDue is re-entrant),
// and timers and serial events go on while the box waits for its answer.
//
// Two backends: `VirtualClock` (tests advance time by hand, deterministically and instantly)
// and the Qt backend of the program, which rides on Qt's event loop.

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <unordered_map>
#include <vector>

namespace xl::platform {

using Duration = std::chrono::microseconds;
using TaskId = std::uint64_t;

class Scheduler {
 public:
  virtual ~Scheduler();

  // Time since the scheduler started.
  virtual Duration now() const = 0;

  // Runs `fn` once, `delay` from now. A zero delay runs it after the current handler.
  TaskId post(Duration delay, std::function<void()> fn);
  void cancel(TaskId id);

  // Opens a receive window of `length`; `fn` runs at its end, and no other task runs before.
  void holdFor(Duration length, std::function<void()> fn);
  bool holding() const { return holdTask_ != 0; }

  // Number of tasks waiting (deferred ones included).
  std::size_t pending() const { return queue_.size() + deferred_.size(); }

 protected:
  // Runs every task due at now(), in order, honouring an open window.
  void runDue();
  // The time of the earliest task, if any.
  bool nextDue(Duration& at) const;
  // The backend arranges for runDue() to be called at `at` (or at once when it has passed).
  virtual void wake(Duration at) = 0;
  // Told when a receive window opens and when it has ended (the Qt backend holds operator
  // input back meanwhile, as a waiting handler would).
  virtual void holdChanged(bool /*holding*/) {}

 private:
  struct Key {
    Duration due;
    std::uint64_t seq;
    bool operator<(const Key& o) const { return due != o.due ? due < o.due : seq < o.seq; }
  };
  struct Task {
    TaskId id;
    std::function<void()> fn;
  };
  TaskId insert(Duration due, std::function<void()> fn);
  void endHold();

  std::map<Key, Task> queue_;
  std::unordered_map<TaskId, Key> index_;
  std::vector<Task> deferred_;
  std::uint64_t seq_ = 0;
  TaskId nextId_ = 1;
  TaskId holdTask_ = 0;
};

// A clock for tests: time moves only through advance(), which runs every task that falls due.
class VirtualClock : public Scheduler {
 public:
  Duration now() const override { return now_; }
  // Moves time forward by `span`, running every task due up to the new time in order.
  void advance(Duration span);
  // Runs what is due at the present time (tasks posted with zero delay).
  void runPending() { advance(Duration::zero()); }

 protected:
  void wake(Duration) override {}

 private:
  Duration now_{0};
};

// The scheduler that timers and serial controls use. Set once at start (or by a test).
Scheduler& scheduler();
void setScheduler(Scheduler* s);

inline Duration ms(std::int64_t v) { return std::chrono::milliseconds(v); }
inline std::int64_t toMs(Duration d) { return std::chrono::duration_cast<std::chrono::milliseconds>(d).count(); }

}  // namespace xl::platform
