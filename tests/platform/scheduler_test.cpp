#include "platform/scheduler.h"

#include <gtest/gtest.h>

#include "platform/timer.h"

namespace xl::platform {
namespace {

class SchedulerTest : public ::testing::Test {
 protected:
  void SetUp() override { setScheduler(&clock); }
  std::int64_t nowMs() const { return toMs(clock.now()); }
  // A task that logs its name and the time it ran at.
  std::function<void()> mark(const std::string& name) {
    return [this, name] { log.push_back(name + "@" + std::to_string(nowMs())); };
  }
  VirtualClock clock;
  std::vector<std::string> log;
};

TEST_F(SchedulerTest, TasksRunInTimeOrderAndCanBeCancelled) {
  clock.post(ms(30), mark("c"));
  clock.post(ms(10), mark("a"));
  const TaskId dropped = clock.post(ms(20), [&] { log.push_back("dropped"); });
  clock.post(ms(10), [&] { mark("b")(), clock.post(ms(0), mark("b0")); });
  clock.cancel(dropped);
  clock.advance(ms(25));
  EXPECT_EQ(log, (std::vector<std::string>{"a@10", "b@10", "b0@10"}));
  EXPECT_EQ(nowMs(), 25);
  clock.advance(ms(10));
  EXPECT_TRUE(log.back() == "c@30" && clock.pending() == 0u);
}

TEST_F(SchedulerTest, WindowDefersEverythingElseInOrder) {
  clock.post(ms(5), [&] { mark("open")(), clock.holdFor(ms(100), mark("handler")); });
  clock.post(ms(50), mark("x"));
  clock.post(ms(20), mark("w"));
  clock.post(ms(104), mark("y"));
  clock.post(ms(106), mark("z"));
  clock.advance(ms(200));
  EXPECT_EQ(log, (std::vector<std::string>{"open@5", "handler@105", "w@105", "x@105", "y@105", "z@106"}));
  EXPECT_FALSE(clock.holding());
}

TEST_F(SchedulerTest, FailingHandlersEndOnlyThemselves) {
  clock.post(ms(1), [] { throw std::runtime_error("a handler fails"); });
  clock.post(ms(2), [&] { log.push_back("after"); });
  clock.post(ms(3), [&] { clock.holdFor(ms(100), [] { throw std::runtime_error("the receive handler fails"); }); });
  clock.post(ms(50), mark("deferred"));
  EXPECT_NO_THROW(clock.advance(ms(200)));
  EXPECT_EQ(log, (std::vector<std::string>{"after", "deferred@103"}));
  EXPECT_FALSE(clock.holding());
}

TEST_F(SchedulerTest, TimerTicksOnItsGridAndRestartsWhenReset) {
  std::vector<std::int64_t> ticks;
  Timer t(1000, [&] { ticks.push_back(nowMs()); });
  clock.advance(ms(5000));
  EXPECT_TRUE(ticks.empty());  // not enabled
  t.setEnabled(true);
  clock.advance(ms(3500));
  EXPECT_EQ(ticks, (std::vector<std::int64_t>{6000, 7000, 8000}));
  // Setting the interval restarts the count from now.
  t.setInterval(300);
  clock.advance(ms(700));
  EXPECT_EQ(ticks.back(), 9100);
  // Enabling an enabled timer changes nothing; disabling stops it.
  t.setEnabled(true);
  clock.advance(ms(300));
  EXPECT_EQ(ticks.back(), 9400);
  t.setEnabled(false);
  clock.advance(ms(2000));
  EXPECT_EQ(ticks.back(), 9400);
  // An interval of 0 never ticks.
  t.setInterval(0);
  t.setEnabled(true);
  clock.advance(ms(2000));
  EXPECT_EQ(ticks.back(), 9400);
}

TEST_F(SchedulerTest, TimerHandlerMayStopOrRestartItself) {
  int count = 0;
  Timer t(100);
  t.setOnTick([&] { t.setEnabled(++count != 2); });
  t.setEnabled(true);
  clock.advance(ms(1000));
  EXPECT_EQ(count, 2);

  std::vector<std::int64_t> ticks;
  Timer r(100);
  r.setOnTick([&] {
    ticks.push_back(nowMs());
    r.setEnabled(false);
    r.setInterval(250);
    r.setEnabled(true);
  });
  r.setEnabled(true);
  clock.advance(ms(700));
  EXPECT_EQ(ticks, (std::vector<std::int64_t>{1100, 1350, 1600}));
}

TEST_F(SchedulerTest, DestroyedTimerNeverTicks) {
  int count = 0;
  {
    Timer t(10, [&] { ++count; });
    t.setEnabled(true);
  }
  clock.advance(ms(100));
  EXPECT_EQ(count, 0);
}

}  // namespace
}  // namespace xl::platform
