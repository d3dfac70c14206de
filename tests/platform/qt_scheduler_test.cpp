#include "platform/qt_scheduler.h"

#include <gtest/gtest.h>

#include <QApplication>

#include "support/qt_app.h"
#include <QElapsedTimer>
#include <QMouseEvent>
#include <QWidget>

namespace xl::platform {
namespace {

QApplication& app() { return testing::testApp(); }

// Counts the mouse presses it is given.
class PressCounter : public QWidget {
 public:
  int presses = 0;

 protected:
  void mousePressEvent(QMouseEvent*) override { ++presses; }
};

void pressOn(QWidget& w) {
  QMouseEvent press(QEvent::MouseButtonPress, QPointF(5, 5), QPointF(5, 5), Qt::LeftButton, Qt::LeftButton,
                    Qt::NoModifier);
  QApplication::sendEvent(&w, &press);
}

// Runs the event loop until `done` holds, or for two seconds at most.
template <typename Pred>
void runEventLoopUntil(Pred done) {
  QElapsedTimer t;
  t.start();
  while (!done() && t.elapsed() < 2000) QApplication::processEvents(QEventLoop::AllEvents, 5);
}

TEST(QtScheduler, RunsTasksOnTheEventLoopInOrder) {
  app();
  QtScheduler s;
  setScheduler(&s);
  std::vector<int> order;
  s.post(ms(30), [&] { order.push_back(2); });
  s.post(ms(10), [&] { order.push_back(1); });
  const TaskId dropped = s.post(ms(20), [&] { order.push_back(99); });
  s.cancel(dropped);
  bool sentinel = false;
  s.post(ms(60), [&] { sentinel = true; });  // past the cancelled task's time
  runEventLoopUntil([&] { return sentinel; });
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  setScheduler(nullptr);
}

TEST(QtScheduler, OperatorInputWaitsForTheReceiveWindow) {
  app();
  QtScheduler s;
  setScheduler(&s);
  PressCounter w;
  int pressesSeenByHandler = -1;
  bool tickRanInside = false;
  s.holdFor(ms(60), [&] { pressesSeenByHandler = w.presses; });
  s.post(ms(20), [&] { tickRanInside = s.holding(); });
  pressOn(w);  // a click in the middle of the window
  EXPECT_EQ(w.presses, 0);
  runEventLoopUntil([&] { return w.presses > 0; });
  EXPECT_EQ(pressesSeenByHandler, 0);  // the handler ran before the click
  EXPECT_FALSE(tickRanInside);         // the tick waited for the window
  EXPECT_EQ(w.presses, 1);             // and the click was delivered afterwards
  // Outside a window, input goes straight through.
  pressOn(w);
  EXPECT_EQ(w.presses, 2);
  setScheduler(nullptr);
}

}  // namespace
}  // namespace xl::platform
