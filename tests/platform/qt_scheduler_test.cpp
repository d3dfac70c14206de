#include "platform/qt_scheduler.h"

#include <gtest/gtest.h>

#include <QApplication>

#include "support/qt_app.h"
#include <QElapsedTimer>
#include <QAbstractFileIconProvider>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include "platform/dialogs.h"
#include "platform/timer.h"

namespace xl::platform {
namespace {

QApplication& app() { return testing::testApp(); }

// Counts the mouse presses it is given.
struct PressCounter : QWidget {
  int presses = 0;
  void mousePressEvent(QMouseEvent*) override { ++presses; }
};

void pressOn(QWidget& w) {
  QMouseEvent press(QEvent::MouseButtonPress, QPointF(5, 5), QPointF(5, 5), Qt::LeftButton, Qt::LeftButton,
                    Qt::NoModifier);
  QApplication::sendEvent(&w, &press);
}

// A scheduler on the Qt event loop, set for the test's length.
struct OnEventLoop {
  OnEventLoop() { app(), setScheduler(&s); }
  ~OnEventLoop() { setScheduler(nullptr); }
  QtScheduler s;
};

// Runs the event loop until `done` holds, or for two seconds at most.
template <typename Pred>
void runEventLoopUntil(Pred done) {
  QElapsedTimer t;
  t.start();
  while (!done() && t.elapsed() < 2000) QApplication::processEvents(QEventLoop::AllEvents, 5);
}

TEST(QtScheduler, RunsTasksOnTheEventLoopInOrder) {
  OnEventLoop loop;
  QtScheduler& s = loop.s;
  std::vector<int> order;
  s.post(ms(30), [&] { order.push_back(2); });
  s.post(ms(10), [&] { order.push_back(1); });
  const TaskId dropped = s.post(ms(20), [&] { order.push_back(99); });
  s.cancel(dropped);
  bool sentinel = false;
  s.post(ms(60), [&] { sentinel = true; });  // past the cancelled task's time
  runEventLoopUntil([&] { return sentinel; });
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(QtScheduler, OperatorInputWaitsForTheReceiveWindow) {
  OnEventLoop loop;
  QtScheduler& s = loop.s;
  PressCounter w;
  int pressesSeenByHandler = -1;
  bool tickRanInside = false;
  s.holdFor(ms(60), [&] { pressesSeenByHandler = w.presses; });
  s.post(ms(20), [&] { tickRanInside = s.holding(); });
  pressOn(w);  // a click in the middle of the window
  EXPECT_EQ(w.presses, 0);
  runEventLoopUntil([&] { return w.presses > 0; });
  // The handler ran before the click, the tick waited for the window, the click came afterwards.
  EXPECT_TRUE(pressesSeenByHandler == 0 && !tickRanInside && w.presses == 1);
  // Outside a window, input goes straight through.
  EXPECT_EQ((pressOn(w), w.presses), 2);
}

// A box shown from a reply handler (inside the receive window) or from a tick is answered by
// the operator's mouse or keys, and the timers keep their pace while it waits.
TEST(QtScheduler, BoxShownFromAHandlerIsAnsweredWhileTimersGoOn) {
  OnEventLoop loop;
  QtScheduler& s = loop.s;
  QtDialogs qtDialogs(QStringLiteral("星澜站点监控软件"));
  Dialogs& dialogs = qtDialogs;
  int ticks = 0;
  Timer scan(20, [&] { ++ticks; });
  scan.setEnabled(true);
  // The operator, outside the program's queue: answers whatever box is open after a while.
  // A box that could not be answered is closed after two seconds with no answer.
  const auto operatorDoes = [](int afterMs, std::function<void(QMessageBox*)> act) {
    QTimer::singleShot(afterMs, [act] {
      if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) act(box);
    });
    QTimer::singleShot(afterMs + 2000, [] {
      if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) box->done(0);
    });
  };

  int answer = 0, ticksBefore = -1, ticksAfter = -1;
  s.holdFor(ms(30), [&] {
    ticksBefore = ticks;
    answer = dialogs.msgBox(QStringLiteral("设置成功"), kYesNo | kInformation);
    ticksAfter = ticks;
  });
  int boxWidth = 0, titleWidth = 0;
  operatorDoes(300, [&](QMessageBox* box) {
    // A short text must not leave the title bar too narrow for the program's name.
    boxWidth = box->width();
    titleWidth = box->fontMetrics().horizontalAdvance(box->windowTitle());
    QTest::mouseClick(box->button(QMessageBox::Yes), Qt::LeftButton);
  });
  runEventLoopUntil([&] { return answer != 0; });
  EXPECT_TRUE(answer == kYes && boxWidth >= titleWidth * 3 / 2 + 100) << answer << " " << boxWidth << " " << titleWidth;
  EXPECT_GE(ticksAfter - ticksBefore, 8);  // about 13 ticks of 20 ms while the box waited

  // From a tick: the Enter key answers the default button; the timer's own ticks meanwhile
  // are dropped (its handler is not entered twice), the other timer goes on.
  answer = 0;
  int boxes = 0;
  Timer asker(10, [&] { ++boxes, answer = dialogs.msgBox(QStringLiteral("参数设置成功")); });
  asker.setEnabled(true);
  operatorDoes(200, [](QMessageBox* box) { QTest::keyClick(box, Qt::Key_Return); });
  const int ticksAtStart = ticks;
  runEventLoopUntil([&] { return answer != 0; });
  asker.setEnabled(false);
  EXPECT_TRUE(answer == kOk && boxes == 1);
  EXPECT_GE(ticks - ticksAtStart, 5);
}

// The real save dialog, a name put into its box and "保存" clicked: a name without the suffix comes
// back with it, and the question whether to replace an existing file names the file written.
TEST(QtDialogs, SaveDialogAddsTheFiltersSuffixBeforeItAsksToReplace) {
  app();
  QTemporaryDir dir;
  ASSERT_TRUE(QFile(dir.filePath("p3.txt")).open(QIODevice::WriteOnly));
  QtDialogs dialogs;
  QString question;
  const auto typeName = [&](const QString& name) {
    QTimer::singleShot(200, [&, name] {
      auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
      if (!dialog) return;
      dialog->findChild<QLineEdit*>("fileNameEdit")->setText(name);
      QTimer::singleShot(200, [&] {  // the question, when one comes, is answered Yes
        if (auto* ask = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
          question = ask->text();
          ask->button(QMessageBox::Yes)->click();
        }
      });
      // "保存" by mouse: Return would go to the completion list that an existing name opens.
      QTest::mouseClick(dialog->findChild<QDialogButtonBox*>("buttonBox")->button(QDialogButtonBox::Save),
                        Qt::LeftButton);
    });
    QTimer::singleShot(3000, [] {
      if (auto* w = qobject_cast<QDialog*>(QApplication::activeModalWidget())) w->reject();
    });
  };
  typeName(dir.filePath("p1"));
  EXPECT_EQ(dialogs.saveFileName("导出设置", "*.txt"), dir.filePath("p1.txt"));
  EXPECT_TRUE(question.isEmpty());
  typeName(dir.filePath("p3"));
  EXPECT_EQ(dialogs.saveFileName("导出设置", "*.txt"), dir.filePath("p3.txt"));
  EXPECT_TRUE(question.contains("p3.txt")) << question.toStdString();
}

// File and folder dialogs open in the folder asked for when it exists, else in the program's
// home folder, never in the working directory.
TEST(QtDialogsFolders, DialogsOpenInTheNamedFolderElseTheHomeFolder) {
  app();
  QTemporaryDir home, named;
  QtDialogs dialogs({}, [&] { return home.path(); });
  const struct { std::function<QString()> open; QString expected; } cases[] = {
      {[&] { return dialogs.saveFileName("s", "*.csv"); }, home.path()},
      {[&] { return dialogs.openFileName("o", "*.txt"); }, home.path()},
      {[&] { return dialogs.chooseFolderIn("f", named.path()); }, named.path()},
      {[&] { return dialogs.chooseFolderIn("f", named.path() + "/gone"); }, home.path()}};
  for (const auto& c : cases) {
    QString seen, kind;
    QTimer::singleShot(200, [&] {
      if (auto* d = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
        seen = d->directory().absolutePath();
        kind = d->iconProvider() ? d->iconProvider()->type(QFileInfo(home.path())) : QString();
        d->reject();
      }
    });
    EXPECT_TRUE(c.open().isEmpty());
    EXPECT_EQ(QFileInfo(seen).canonicalFilePath(), QFileInfo(c.expected).canonicalFilePath());
    EXPECT_EQ(kind, QStringLiteral("文件夹"));  // the kind column in Chinese
  }
}

}  // namespace
}  // namespace xl::platform
