// The platform layer. On the virtual clock: the event queue and timers; serial controls, their
// properties, where a port name leads, and the simulated line's timing. On Qt's event loop: the
// scheduler, the operator's dialogs, the grid, and gateway ports against a real peer on 127.0.0.1.

#include <gtest/gtest.h>

#include <QAbstractFileIconProvider>
#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QHeaderView>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <filesystem>
#include <map>

#include "platform/dialogs.h"
#include "platform/failure.h"
#include "platform/flex_grid.h"
#include "platform/gateway_port.h"
#include "platform/port_names.h"
#include "platform/qt_scheduler.h"
#include "platform/timer.h"
#include "support/qt_app.h"
#include "support/scripted_device.h"
#include "support/unanswered_host.h"

namespace xl::platform {
namespace {

using std::chrono::microseconds;

class SchedulerTest : public ::testing::Test {
 protected:
  void SetUp() override { setScheduler(&clock); }
  // A task that logs its name and the time it ran at.
  std::function<void()> mark(const std::string& name) {
    return [this, name] { log += name + "@" + std::to_string(toMs(clock.now())) + " "; };
  }
  VirtualClock clock;
  std::string log;
};

TEST_F(SchedulerTest, TasksRunInTimeOrderAWindowDefersTheRestAndFailuresEndOnlyThemselves) {
  clock.post(ms(30), mark("c"));
  clock.post(ms(10), mark("a"));
  clock.cancel(clock.post(ms(20), mark("dropped")));
  clock.post(ms(10), [&] { mark("b")(), clock.post(ms(0), mark("b0")); });
  clock.advance(ms(35));
  EXPECT_EQ(log + std::to_string(clock.pending()), "a@10 b@10 b0@10 c@30 0");

  // A receive window holds everything due inside it until its handler has run, in order.
  log.clear();
  clock.post(ms(5), [&] { mark("open")(), clock.holdFor(ms(100), mark("handler")); });
  clock.post(ms(50), mark("x"));
  clock.post(ms(20), mark("w"));
  clock.post(ms(104), mark("y"));
  clock.post(ms(106), mark("z"));
  clock.advance(ms(200));
  EXPECT_EQ(log, "open@40 handler@140 w@140 x@140 y@140 z@141 ");
  EXPECT_FALSE(clock.holding());

  // A failing task or receive handler ends only itself.
  log.clear();
  clock.post(ms(1), [] { throw std::runtime_error("a handler fails"); });
  clock.post(ms(2), mark("after"));
  clock.post(ms(3), [&] { clock.holdFor(ms(100), [] { throw std::runtime_error("the receive handler fails"); }); });
  clock.post(ms(50), mark("deferred"));
  EXPECT_NO_THROW(clock.advance(ms(200)));
  EXPECT_EQ(log, "after@237 deferred@338 ");
  EXPECT_FALSE(clock.holding());
}

TEST_F(SchedulerTest, TimerTicksOnItsGridRestartsWhenResetAndMayStopItself) {
  Timer t(1000, mark("t"));
  clock.advance(ms(5000));  // not enabled
  t.setEnabled(true);
  clock.advance(ms(3500));
  // Setting the interval restarts the count from now.
  t.setInterval(300);
  clock.advance(ms(700));
  // Enabling an enabled timer changes nothing; disabling stops it; an interval of 0 never ticks.
  t.setEnabled(true);
  clock.advance(ms(300));
  t.setEnabled(false);
  clock.advance(ms(2000));
  t.setInterval(0);
  t.setEnabled(true);
  clock.advance(ms(2000));
  EXPECT_EQ(log, "t@6000 t@7000 t@8000 t@8800 t@9100 t@9400 ");

  // A handler that stops its timer, one that restarts its own with another interval, a timer
  // destroyed while enabled.
  log.clear();
  int count = 0;
  Timer s(100);
  s.setOnTick([&] { s.setEnabled(++count != 2); });
  s.setEnabled(true);
  Timer r(100);
  r.setOnTick([&] {
    mark("r")();
    r.setEnabled(false);
    r.setInterval(250);
    r.setEnabled(true);
  });
  r.setEnabled(true);
  {
    Timer gone(10, mark("gone"));
    gone.setEnabled(true);
  }
  clock.advance(ms(700));
  EXPECT_EQ(log + std::to_string(count), "r@13600 r@13850 r@14100 2");
}

// The code of the failure `set` throws, "-" when it throws nothing.
template <typename Set>
std::string failureOf(Set set) {
  try {
    set();
    return "-";
  } catch (const RuntimeFailure& f) {
    return std::to_string(int(f.kind()));
  }
}

TEST(SerialControl, RefusesBadPropertyValuesAndDataWhileClosed) {
  SerialControl c("Test.MSComm1");
  std::string seen;
  for (int port : {0, -1, 256, 1, 255}) seen += failureOf([&] { c.setCommPort(port); }) + " ";
  for (const char* settings : {"9600,N,8,1", "115200,n,8,1", "", ",N,8,1", "abc,N,8,1", "9600", "9600,N,9,1",
                               "9600,X,8,1", "9600,N,8,3", "1,N,8,1", "4800,E,7,2"})
    seen += failureOf([&] { c.setSettings(settings); }) + " ";
  // A closed control refuses buffer and data operations; closing it again is no mistake.
  for (const auto& use :
       std::initializer_list<std::function<void()>>{[&] { c.setInBufferCount(0); }, [&] { c.output(Bytes{1}); },
                                                    [&] { c.input(); }, [&] { c.setPortOpen(false); }})
    seen += failureOf(use) + " ";
  EXPECT_EQ(seen + c.settings(),
            "8002 8002 8002 - - - - 380 380 380 380 380 380 380 380 - 8012 8012 8012 - 4800,E,7,2");
}

TEST(PortNames, LinkInProgramDirectoryWinsOverStandardDevice) {
  QTemporaryDir dir;
  const std::string root = dir.path().toStdString();
  EXPECT_EQ(resolvePortPath(root, "COM1") + " " + resolvePortPath(root, "COM3"), "/dev/ttyS0 /dev/ttyS2");
  std::filesystem::create_directories(root + "/ports");
  std::filesystem::create_symlink("/dev/null", root + "/ports/COM3");
  // Names that are no COM port stay in the ports folder, where nothing is found.
  EXPECT_EQ(resolvePortPath(root, "COM3") + " " + resolvePortPath(root, "COM4") + " " + resolvePortPath(root, "COM") +
                " " + resolvePortPath(root, "COM0"),
            root + "/ports/COM3 /dev/ttyS3 " + root + "/ports/COM " + root + "/ports/COM0");
}

class SimBusTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setScheduler(&clock);
    setPortDriver(&driver);
    line = &driver.addLine("COM3", 9600);
    device = std::make_shared<testing::ScriptedDevice>();
    line->attach(device);
    control.onComm = [&](CommEvent) { events += " " + std::to_string(clock.now() / microseconds(1)); };
    control.setCommPort(3);
    control.setRThreshold(1);
    control.setPortOpen(true);
  }
  // Sends one byte with `reply` set up as the device's answer, and lets `span` pass.
  void ask(std::vector<SimReplyPart> reply, Duration span) {
    device->reply = std::move(reply);
    control.output(Bytes{0x01});
    clock.advance(span);
  }
  // The frames on the wire: who sent each, its size, and when it started and ended, in µs.
  std::string wire() const {
    std::string s;
    for (const WireFrame& f : line->wire())
      s += std::string(f.fromMaster ? "M" : "S") + std::to_string(f.bytes.size()) + " " +
           std::to_string(f.start / microseconds(1)) + "-" + std::to_string(f.end / microseconds(1)) + ";";
    return s;
  }
  VirtualClock clock;
  SimBusDriver driver;
  SimLine* line = nullptr;
  std::shared_ptr<testing::ScriptedDevice> device;
  SerialControl control{"Test.MSComm1"};
  std::string events;
};

TEST_F(SimBusTest, BytesTravelAtTenBitsEachASecondPartRaisesAnEventAfterAReadAndNoneComeWhileClosed) {
  device->reply = {{ms(2), Bytes(75, 0x55)}};
  control.output(Bytes(8, 0x01));
  // The request is with the device after 8 byte times; the first reply byte is complete one
  // byte time after the latency.
  clock.advance(microseconds(8333 + 2000 + 1041 - 1));
  EXPECT_EQ(std::to_string(control.inBufferCount()) + events, "0");
  clock.advance(microseconds(1));
  EXPECT_EQ(std::to_string(control.inBufferCount()) + events, "1 11374");
  // Half way through, half the bytes are in; the event is not raised again while unread.
  clock.advance(microseconds(37 * 1042));
  EXPECT_NEAR(control.inBufferCount(), 38, 1);
  clock.advance(ms(50));
  EXPECT_EQ(std::to_string(control.input().size()) + events, "75 11374");
  EXPECT_EQ(wire(), "M8 0-8333;S75 10333-88458;");

  // A reply in two parts: the second raises an event after the first was read; the gap is on
  // the wire.
  line->clearWire();
  events.clear();
  ask({{ms(1), Bytes(10, 1)}, {ms(150), Bytes(10, 2)}}, ms(100));
  EXPECT_EQ(control.input(), Bytes(10, 1));
  clock.advance(ms(200));
  EXPECT_EQ(control.input(), Bytes(10, 2));
  EXPECT_EQ(events + " | " + wire(), " 103010 263426 | M1 99928-100969;S10 101969-112385;S10 262385-272801;");

  // Bytes arriving while the port is closed are lost.
  ask({{ms(1), Bytes(20, 7)}}, ms(5));
  control.setPortOpen(false);
  clock.advance(ms(5));
  control.setPortOpen(true);
  clock.advance(ms(100));
  // Only bytes that arrived after the reopening are in the buffer.
  const auto got = control.input().size();
  EXPECT_TRUE(got > 0u && got < 20u) << got;
  // Dropping the input buffer loses what has come, not what is still on its way.
  ask({{ms(1), Bytes(40, 9)}}, ms(20));
  control.setInBufferCount(0);
  clock.advance(ms(100));
  const auto rest = control.input().size();
  EXPECT_TRUE(rest > 0u && rest < 40u) << rest;
}

TEST_F(SimBusTest, OpeningIsExclusiveAcrossControls) {
  SerialControl other("Other.MSComm1");
  other.setCommPort(3);
  // Taken by the fixture's control; opened twice; the port changed while open.
  std::string seen = failureOf([&] { other.setPortOpen(true); }) + " " + failureOf([&] { control.setPortOpen(true); }) +
                     " " + failureOf([&] { control.setCommPort(4); });
  // A control that goes away gives its port back.
  control.setPortOpen(false);
  {
    SerialControl temp("Temp.MSComm1");
    temp.setCommPort(3);
    temp.setPortOpen(true);
  }
  EXPECT_EQ(seen + " " + failureOf([&] { other.setPortOpen(true); }), "8005 8005 8005 -");
}

// A scheduler on the Qt event loop, set for the test's length.
class QtLoopTest : public ::testing::Test {
 protected:
  void SetUp() override { testing::testApp(), setScheduler(&s); }
  void TearDown() override { setScheduler(nullptr); }
  // Runs the event loop until `done` holds, or for two seconds at most.
  static void runUntil(const std::function<bool()>& done) {
    QElapsedTimer t;
    t.start();
    while (!done() && t.elapsed() < 2000) QApplication::processEvents(QEventLoop::AllEvents, 5);
  }
  // The operator, outside the program's queue, does `act` to the modal dialog open after
  // `afterMs`; a dialog still open two seconds later is closed with no answer.
  template <class Dialog>
  static void operatorDoes(int afterMs, std::function<void(Dialog*)> act) {
    QTimer::singleShot(afterMs, [act] {
      if (auto* d = qobject_cast<Dialog*>(QApplication::activeModalWidget())) act(d);
    });
    QTimer::singleShot(afterMs + 2000, [] {
      if (auto* d = qobject_cast<QDialog*>(QApplication::activeModalWidget())) d->done(0);
    });
  }
  QtScheduler s;
};

// Counts the mouse presses it is given.
struct PressCounter : QWidget {
  int presses = 0;
  void mousePressEvent(QMouseEvent*) override { ++presses; }
  int press() {
    QMouseEvent e(QEvent::MouseButtonPress, QPointF(5, 5), QPointF(5, 5), Qt::LeftButton, Qt::LeftButton,
                  Qt::NoModifier);
    QApplication::sendEvent(this, &e);
    return presses;
  }
};

TEST_F(QtLoopTest, OperatorInputWaitsForTheReceiveWindow) {
  // A click in the middle of a window waits: the handler runs before it, a tick due inside the
  // window waits for its end, the click comes afterwards. Outside a window it goes straight on.
  PressCounter w;
  int pressesSeenByHandler = -1;
  bool tickRanInside = true;
  s.holdFor(ms(60), [&] { pressesSeenByHandler = w.presses; });
  s.post(ms(20), [&] { tickRanInside = s.holding(); });
  EXPECT_EQ(w.press(), 0);
  runUntil([&] { return w.presses > 0; });
  EXPECT_EQ(std::tuple(pressesSeenByHandler, tickRanInside, w.presses), std::tuple(0, false, 1));
  EXPECT_EQ(w.press(), 2);
}

// A box shown from a reply handler (inside the receive window) or from a tick is answered by
// the operator's mouse or keys, and the timers keep their pace while it waits.
TEST_F(QtLoopTest, BoxShownFromAHandlerIsAnsweredWhileTimersGoOn) {
  QtDialogs qtDialogs(QStringLiteral("星澜站点监控软件"));
  Dialogs& dialogs = qtDialogs;
  int ticks = 0;
  Timer scan(20, [&] { ++ticks; });
  scan.setEnabled(true);
  int answer = 0, ticksBefore = -1, ticksAfter = -1;
  s.holdFor(ms(30), [&] {
    ticksBefore = ticks;
    answer = dialogs.msgBox(QStringLiteral("设置成功"), kYesNo | kInformation);
    ticksAfter = ticks;
  });
  int boxWidth = 0, titleWidth = 0;
  operatorDoes<QMessageBox>(300, [&](QMessageBox* box) {
    // A short text must not leave the title bar too narrow for the program's name.
    boxWidth = box->width();
    titleWidth = box->fontMetrics().horizontalAdvance(box->windowTitle());
    QTest::mouseClick(box->button(QMessageBox::Yes), Qt::LeftButton);
  });
  runUntil([&] { return answer != 0; });
  EXPECT_TRUE(answer == kYes && boxWidth >= titleWidth * 3 / 2 + 100) << answer << " " << boxWidth << " " << titleWidth;
  EXPECT_GE(ticksAfter - ticksBefore, 8);  // about 13 ticks of 20 ms while the box waited

  // From a tick: the Enter key answers the default button; the timer's own ticks meanwhile
  // are dropped (its handler is not entered twice), the other timer goes on.
  answer = 0;
  int boxes = 0;
  Timer asker(10, [&] { ++boxes, answer = dialogs.msgBox(QStringLiteral("参数设置成功")); });
  asker.setEnabled(true);
  operatorDoes<QMessageBox>(200, [](QMessageBox* box) { QTest::keyClick(box, Qt::Key_Return); });
  const int ticksAtStart = ticks;
  runUntil([&] { return answer != 0; });
  asker.setEnabled(false);
  EXPECT_EQ(std::pair(answer, boxes), std::pair(int(kOk), 1));
  EXPECT_GE(ticks - ticksAtStart, 5);
}

// The real save dialog, a name put into its box and "保存" clicked: a name without the suffix comes
// back with it, and the question whether to replace an existing file names the file written.
TEST_F(QtLoopTest, SaveDialogAddsTheFiltersSuffixBeforeItAsksToReplace) {
  QTemporaryDir dir;
  ASSERT_TRUE(QFile(dir.filePath("p3.txt")).open(QIODevice::WriteOnly));
  QtDialogs dialogs;
  QString question;
  for (const QString name : {"p1", "p3"}) {
    operatorDoes<QFileDialog>(200, [&](QFileDialog* dialog) {
      dialog->findChild<QLineEdit*>("fileNameEdit")->setText(dir.filePath(name));
      operatorDoes<QMessageBox>(200, [&](QMessageBox* ask) {  // the question, when one comes, is answered Yes
        question += ask->text() + "\n";
        ask->button(QMessageBox::Yes)->click();
      });
      // "保存" by mouse: Return would go to the completion list that an existing name opens.
      QTest::mouseClick(dialog->findChild<QDialogButtonBox*>("buttonBox")->button(QDialogButtonBox::Save),
                        Qt::LeftButton);
    });
    EXPECT_EQ(dialogs.saveFileName("导出设置", "*.txt"), dir.filePath(name + ".txt"));
  }
  EXPECT_TRUE(question.contains("p3.txt")) << question.toStdString();
  EXPECT_FALSE(question.contains("p1")) << question.toStdString();
}

// File and folder dialogs open in the folder asked for when it exists, else in the program's
// home folder, never in the working directory; the kind column is in Chinese.
TEST_F(QtLoopTest, DialogsOpenInTheNamedFolderElseTheHomeFolder) {
  QTemporaryDir home, named;
  QtDialogs dialogs({}, [&] { return home.path(); });
  const std::pair<std::function<QString()>, QString> cases[] = {
      {[&] { return dialogs.saveFileName("s", "*.csv"); }, home.path()},
      {[&] { return dialogs.openFileName("o", "*.txt"); }, home.path()},
      {[&] { return dialogs.chooseFolderIn("f", named.path()); }, named.path()},
      {[&] { return dialogs.chooseFolderIn("f", named.path() + "/gone"); }, home.path()}};
  for (const auto& [open, expected] : cases) {
    QString seen, kind;
    operatorDoes<QFileDialog>(200, [&](QFileDialog* d) {
      seen = QFileInfo(d->directory().absolutePath()).canonicalFilePath();
      kind = d->iconProvider() ? d->iconProvider()->type(QFileInfo(home.path())) : QString();
      d->reject();
    });
    EXPECT_TRUE(open().isEmpty());
    EXPECT_EQ(seen + " " + kind, QFileInfo(expected).canonicalFilePath() + QStringLiteral(" 文件夹"));
  }
}

TEST(FlexGrid, TextStaysAsSetAndTheBodyEmpties) {
  testing::testApp();
  FlexGrid grid;
  grid.setCols(5);
  grid.setRows(3);
  grid.setTextMatrix(0, 0, "num value");
  grid.setTextMatrix(0, 1, " str x");
  formatGridColumns(grid);
  // The stored text stays as it was set; cells out of range are ignored and read as empty.
  grid.setTextMatrix(1, 0, "1234.5");
  grid.setTextMatrix(9, 9, "x");
  EXPECT_EQ((grid.textMatrix(1, 0) + "|" + grid.textMatrix(9, 9)).toStdString(), "1234.5|");
  // formatGrid empties the body unless told to keep it, and keeps the header.
  formatGrid(grid, true);
  EXPECT_EQ(grid.rows(), 3);
  formatGrid(grid, false);
  EXPECT_EQ(std::tuple(grid.rows(), grid.textMatrix(0, 1).toStdString(), grid.verticalHeader()->defaultSectionSize()),
            std::tuple(1, std::string(" str x"), 20));
}

class GatewayPortTest : public QtLoopTest {
 protected:
  void SetUp() override {
    QtLoopTest::SetUp();
    setPortDriver(&driver);
    serial.addLine("COM3", 9600);
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    gateways["COM5"] = "tcp://127.0.0.1:" + std::to_string(server.serverPort());
    control.onComm = [this](CommEvent e) { events.push_back(e); };
  }
  void TearDown() override {
    control.setPortOpen(false);
    setPortDriver(nullptr);
    QtLoopTest::TearDown();
  }
  void open(int port) {
    control.setCommPort(port);
    control.setRThreshold(1);
    control.setPortOpen(true);
  }
  // "-" when the port opens, else the code of the failure.
  std::string opens(int port) {
    return failureOf([&] { open(port); });
  }
  // The bytes the gateway's side has read from its newest connection.
  QByteArray peerRead() {
    while (server.hasPendingConnections()) peer = server.nextPendingConnection();
    if (peer) received += peer->readAll();
    return received;
  }

  SimBusDriver serial;
  std::map<std::string, std::string> gateways;
  GatewayDriver driver{serial, [this](const std::string& name) { return gateways[name]; }, ms(300)};
  QTcpServer server;
  QTcpSocket* peer = nullptr;
  QByteArray received;
  SerialControl control{"Test.MSComm1"};
  std::vector<CommEvent> events;
};

TEST_F(GatewayPortTest, BytesGoBothWaysAndADroppedConnectionIsMadeAgainAtTheNextWrite) {
  // A serial port goes to the serial driver, a gateway port connects at its first write only.
  open(3);
  control.setPortOpen(false);
  open(5);
  EXPECT_FALSE(QTest::qWaitFor([&] { return server.hasPendingConnections(); }, 100));
  control.output({0x01, 0x03, 0x01, 0x00});
  control.setPortOpen(false);  // written, then closed at once: the bytes still go out
  ASSERT_TRUE(QTest::qWaitFor([&] { return peerRead() == QByteArray("\x01\x03\x01\x00", 4); }, 2000));

  open(5);
  control.output({0x02});
  ASSERT_TRUE(QTest::qWaitFor([&] { return peerRead().size() == 5; }, 2000));
  peer->write("\x01\x83\x02", 3);
  ASSERT_TRUE(QTest::qWaitFor([&] { return !events.empty(); }, 2000));
  peer->write("\xC0\xF1", 2);  // more bytes of the same reply raise no second event
  EXPECT_TRUE(QTest::qWaitFor([&] { return control.inBufferCount() == 5; }, 2000));
  EXPECT_EQ(events, std::vector<CommEvent>{CommEvent::Receive});
  EXPECT_EQ(control.input(), (Bytes{0x01, 0x83, 0x02, 0xC0, 0xF1}));

  // The gateway drops the connection: a line error; the next write connects again.
  QTcpSocket* first = peer;
  peer->disconnectFromHost();
  ASSERT_TRUE(QTest::qWaitFor([&] { return events.size() == 2; }, 2000));
  EXPECT_EQ(events[1], CommEvent::LineError);
  control.setPortOpen(false);
  open(5);
  control.output({0x07});
  ASSERT_TRUE(QTest::qWaitFor([&] { return peerRead().endsWith('\x07') && peer != first; }, 2000));
  // A reply that comes after the port was closed is dropped, not kept for the next opening.
  control.setPortOpen(false);
  peer->write("\x55", 1);
  QTest::qWait(50);
  open(5);
  EXPECT_EQ(control.inBufferCount(), 0);
}

TEST_F(GatewayPortTest, WhileConnectingThePortCannotOpenAndEachRequestTriesAgain) {
  // Refused: nobody listens; the request's bytes are dropped, the port opens again at once.
  const quint16 port = server.serverPort();
  server.close();
  open(5);
  control.output({0x01});
  QTest::qWait(50);
  control.setPortOpen(false);
  // The gateway comes back: the very next request goes through, and nothing stale with it.
  ASSERT_TRUE(server.listen(QHostAddress::LocalHost, port));
  open(5);
  control.output({0x09});
  EXPECT_TRUE(QTest::qWaitFor([&] { return peerRead() == QByteArray("\x09", 1); }, 2000));
  control.setPortOpen(false);

  // A host that never answers: while the attempt lasts (the timeout) the port cannot be
  // opened, then it can and the next attempt starts; the event loop never waits.
  testing::UnansweredHost silent;
  gateways["COM6"] = "tcp://127.0.0.1:" + std::to_string(silent.port());
  QElapsedTimer t;
  t.start();
  open(6);
  control.output({0x01});
  control.setPortOpen(false);
  EXPECT_EQ(opens(6), "8010");
  qint64 worstGap = 0, last = 0;
  while (opens(6) != "-" && t.elapsed() < 2000) {
    QTest::qWait(5);
    worstGap = std::max(worstGap, t.elapsed() - last);
    last = t.elapsed();
  }
  EXPECT_TRUE(t.elapsed() >= 300 && t.elapsed() < 600) << t.elapsed();
  EXPECT_LT(worstGap, 50);
  control.output({0x02});
  control.setPortOpen(false);
  EXPECT_EQ(opens(6), "8010");
  // An unreadable value leaves the port unable to open; a changed address is a new gateway.
  EXPECT_EQ((gateways["COM6"] = "tcp://127.0.0.1", opens(6)), "8010");
  EXPECT_EQ((gateways["COM6"] = gateways["COM5"], opens(6)), "-");
}

}  // namespace
}  // namespace xl::platform
