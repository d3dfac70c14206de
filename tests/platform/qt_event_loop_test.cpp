// The parts that live on Qt's event loop: the scheduler, the operator's dialogs, the grid, and
// gateway ports: the settings value, and the TCP driver against a real peer on 127.0.0.1.

#include "platform/qt_scheduler.h"

#include <gtest/gtest.h>

#include <QAbstractFileIconProvider>
#include <QApplication>
#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QLineEdit>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <map>

#include "platform/dialogs.h"
#include "platform/failure.h"
#include "platform/flex_grid.h"
#include "platform/gateway_port.h"
#include "platform/sim_bus.h"
#include "platform/timer.h"
#include "support/qt_app.h"
#include "support/unanswered_host.h"

namespace xl::platform {
namespace {

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

TEST_F(QtLoopTest, TasksRunInOrderAndOperatorInputWaitsForTheReceiveWindow) {
  std::string order;
  s.post(ms(30), [&] { order += "2"; });
  s.post(ms(10), [&] { order += "1"; });
  s.cancel(s.post(ms(20), [&] { order += "x"; }));
  s.post(ms(60), [&] { order += "."; });  // past the cancelled task's time
  runUntil([&] { return order.size() == 3; });
  EXPECT_EQ(order, "12.");

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

TEST(FlexGrid, ColumnsAreNumbersByHeaderOrLastRowAndTheBodyEmpties) {
  // Numbers: exact words, endings, beginnings and contained words.
  for (const char* number :
       {"序号", "密度", "电池数", "金额", "效率", "单价", "电量", "充电(%)", "发电KWh", "应收", "本月合计", "累计发电",
        "最大值", "单位成本", "剩余容量", "工作小时", "投产量", "期初库存"})
    EXPECT_EQ(classifyColumnText(QString::fromUtf8(number)), 0) << number;
  for (const char* text : {"", "站点名称", "状态", "电压(V)", "备注", "数据", "kwh", "序号1"})
    EXPECT_EQ(classifyColumnText(QString::fromUtf8(text)), 2) << text;

  testing::testApp();
  FlexGrid grid;
  grid.setCols(5);
  grid.setRows(3);
  const char* headers[] = {"num value", " str x", "No. of days", "Voltage", "Name"};
  for (int c = 0; c < 5; ++c) grid.setTextMatrix(0, c, headers[c]);
  grid.setTextMatrix(2, 3, QStringLiteral("充电量"));  // the last row decides
  grid.setTextMatrix(1, 4, QStringLiteral("充电量"));  // not the last row: no effect
  grid.setTextMatrix(2, 4, QStringLiteral("站点"));
  formatGridColumns(grid);
  // Alignments of the first three columns, formats of all five.
  QString columns;
  for (int c = 0; c < 5; ++c)
    columns += (c < 3 ? QString::number(grid.colAlignment(c)) : QString()) + "'" + grid.colFormat(c) + "' ";
  EXPECT_EQ(columns.toStdString(), "1'#,##0.000' 1'' 7'' '#,##0.000' '' ");
  // The number format shows numbers grouped with three decimals and leaves other text.
  EXPECT_EQ(formatCell("1234.5", "#,##0.000") + " " + formatCell("abc", "#,##0.000") + " " + formatCell("1234.5", ""),
            "1,234.500 abc 1234.5");
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

TEST(GatewayAddress, SettingsValuesAndTypedAddresses) {
  // Each value read as a settings value and as a typed address, shown as the settings keep it
  // ("-": refused); "=" when the kept value reads back as the same address. The settings want
  // the scheme; IPv6 only in brackets.
  std::string seen;
  for (const char* text :
       {"tcp://192.168.1.50:8899", " TCP://gw-3.site.local:502 ", "tcp://[fe80::1:2]:65535",
        "tcp://[::ffff:10.0.0.1]:1", "192.168.1.50:8899", "udp://10.0.0.1:502", "tcp://fe80::1:502",
        "tcp://[fe80::1]502", "tcp://[10.0.0.1]:502", "tcp://10.0.0.1:0", "tcp://10.0.0.1:65536", "tcp://10.0.0.1:+502",
        "tcp://10.0.0.1:", "tcp://:502", "tcp://10.0.0.1:502/", "tcp://host name:502", "tcp://-x:502", "10.0.0.1"}) {
    const auto value = parseGatewayAddress(text), typed = parseTypedGatewayAddress(text);
    seen += (value ? gatewayValue(*value) + (parseGatewayAddress(gatewayValue(*value)) == value ? "=" : "!") : "-") +
            " " + (typed ? gatewayShown(*typed) : "-") + "|";
  }
  EXPECT_EQ(seen,
            "tcp://192.168.1.50:8899= 192.168.1.50:8899|tcp://gw-3.site.local:502= "
            "gw-3.site.local:502|tcp://[fe80::1:2]:65535= [fe80::1:2]:65535|tcp://[::ffff:10.0.0.1]:1= "
            "[::ffff:10.0.0.1]:1|- 192.168.1.50:8899|- -|- -|- -|- -|- -|- -|- -|- -|- -|- -|- -|- -|- -|");
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
    if (control.portOpen()) control.setPortOpen(false);
    setPortDriver(nullptr);
    QtLoopTest::TearDown();
  }
  void open(int port) {
    control.setCommPort(port);
    control.setRThreshold(1);
    control.setPortOpen(true);
  }
  bool opens(int port) {
    try {
      open(port);
      return true;
    } catch (const RuntimeFailure& f) {
      EXPECT_EQ(f.kind(), Failure::PortUnavailable);
      return false;
    }
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
  EXPECT_FALSE(opens(6));
  qint64 worstGap = 0, last = 0;
  while (!opens(6) && t.elapsed() < 2000) {
    QTest::qWait(5);
    worstGap = std::max(worstGap, t.elapsed() - last);
    last = t.elapsed();
  }
  EXPECT_TRUE(t.elapsed() >= 300 && t.elapsed() < 600) << t.elapsed();
  EXPECT_LT(worstGap, 50);
  control.output({0x02});
  control.setPortOpen(false);
  EXPECT_FALSE(opens(6));
  // An unreadable value leaves the port unable to open; a changed address is a new gateway.
  EXPECT_FALSE((gateways["COM6"] = "tcp://127.0.0.1", opens(6)));
  EXPECT_TRUE((gateways["COM6"] = gateways["COM5"], opens(6)));
}

}  // namespace
}  // namespace xl::platform
