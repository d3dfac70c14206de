// The data recorder in the whole console, against simulated controllers and in virtual time: its
// controls and defaults, the timers and the pace they set, and the cases an operator would try
// (marks clicked and applied only at the accept, names that cannot be keys, an empty or zero
// read interval, typing and cancelling). The lines of a save cycle are the engine's test.

#include <QDir>
#include <QScrollBar>

#include "monitoring/frm_real_time_monitoring.h"
#include "monitoring/recorder_settings.h"
#include "platform/gbk.h"
#include "screen_test.h"
#include "ui/screen.h"

namespace xl::testing {
namespace {

using monitoring::FrmMaintenanceRecord;
using monitoring::FrmRealTimeMonitoring;

const QDateTime kBase(QDate(2026, 1, 5), QTime(10, 0, 0));

class RecorderScreenTest : public ScreenTest {
 protected:
  RecorderScreenTest() {
    firstName = "Roof";
    secondName = "Shed";
  }
  void SetUp() override {
    ScreenTest::SetUp();
    ini = dir.path() + "/MSCON.DLL";
    root = dir.path() + "/data";
    // The values of the example reply: 00 5A, 00 82, 01 2C, 19 95, 00 80, 00 32, 00 06, 00 C8,
    // 00 FA, 00 32 from byte 3, and 80 02 00 00 in bytes 67 to 70.
    setReadings(station1->state().readings, {90, 130, 300, 25, -21, 128, 50, 6, 200, 250, 50, 2});
  }

  FrmMaintenanceRecord& r() { return recorder(); }
  // Settings before the start, as the operator left them last time.
  void setting(const QString& key, const QString& value) { core::writeIniFile("Maintenance Record", key, value, ini); }
  // Recording on, into `root`, with every station of the grid marked, a cycle every
  // `minutes` minutes (the default when empty).
  void recordEverything(const QString& minutes = {}) {
    setting("Auto Saving", "1");
    setting("File Path", root);
    for (const char* station : {"Roof", "Shed"}) setting(station, "-1");
    setting("Save Interval H", minutes.isEmpty() ? "" : "0");
    setting("Save Interval M", minutes);
    ASSERT_TRUE(QDir().mkpath(root));
  }
  void startRecorder() {
    start();
    r().engine().setTimeSource([this] { return kBase.addMSecs(nowMs()); });
  }
  // Moves virtual time to `atMs` from the start.
  void at(std::int64_t atMs) { clock.advance(ms(atMs - nowMs())); }
  // The recorder's keys in the settings file, "key=value" each.
  static QString keys(std::initializer_list<const char*> names) {
    QStringList out;
    for (const char* k : names) out << QString::fromUtf8(k) + "=" + core::readIni("Maintenance Record", k);
    return out.join(' ');
  }
  // The boxes of the screen, the switch and the bars.
  QString boxes() {
    return QStringLiteral("read %1 auto%2 every %3:%4 lines %5 size %6 bars %7 %8")
        .arg(combo(r())->currentText(), (control<QCheckBox>(r(), "Check1")->isChecked() ? "+" : "-"),
             texts(r(), {"LTextBox1"}), texts(r(), {"LTextBox3"}), texts(r(), {"LTextBox4"}), texts(r(), {"LTextBox5"}))
        .arg(control<QScrollBar>(r(), "VScroll1")->value())
        .arg(control<QScrollBar>(r(), "VScroll2")->value());
  }
  // The read interval where it sets the pace: the scan, the recorder's Timer4 and the
  // real-time screen's fields.
  QString pace() {
    const auto& live = FrmRealTimeMonitoring::instance();
    return QStringLiteral("scan %1%2 timer4 %3%4 live %5 %6")
        .arg(QString::number(scan().readInterval()), scan().Timer2.enabled() ? "+" : "-",
             QString::number(r().engine().Timer4.interval()), r().engine().Timer4.enabled() ? "+" : "-",
             QString::number(live.timer3Interval), QString::number(live.timer4Interval));
  }
  // The lines of a file after its header, GBK decoded, without their CR LF.
  QStringList dataLinesOf(const QString& station, int n) const {
    QStringList l = platform::fromGbk(readFile(QStringLiteral("%1/%2/%3.csv").arg(root, station).arg(n))).split("\r\n");
    return l.size() > 2 ? l.mid(1, l.size() - 2) : QStringList();
  }
  QStringList logWith(const QString& part) { return logLines().filter(part); }
  // A real click on the mark cell of grid row `row`, and the marks of the grid.
  void clickMark(int row) {
    auto* g = grid(r(), "VSFlexGrid1");
    QTest::mouseClick(g->viewport(), Qt::LeftButton, {}, g->visualRect(g->model()->index(row - 1, 0)).center());
  }
  QString marks() {
    QStringList out;
    for (int row = 1; row < grid(r(), "VSFlexGrid1")->rows(); ++row)
      out << grid(r(), "VSFlexGrid1")->textMatrix(row, 0);
    return out.join('|');
  }
  void accept() { QTest::mouseClick(button(r(), "Command3"), Qt::LeftButton); }

  QString ini, root;
};

TEST_F(RecorderScreenTest, AtFirstSightTheDefaultsSetThePaceAndOnlyTheAcceptButtonWritesAndPacesTheScan) {
  startRecorder();
  at(1500);
  EXPECT_EQ(combo(r())->itemText(0) + "-" + combo(r())->itemText(5) + " " + listState(combo(r())),
            "10-60 6 editable[10]");

  // Empty keys show the defaults; the bars follow the text, upward.
  EXPECT_EQ(boxes(), "read 10 auto- every 0:1 lines 32000 size 30 bars 5 58");
  EXPECT_EQ(QString::fromStdString(flags({r().Timer1.enabled(), r().engine().Timer2.enabled()})) +
                QStringLiteral(" save %1 ").arg(r().engine().saveInterval()) + pace() + " " + texts(r(), {"LTextBox2"}),
            "00 save 60 scan 10+ timer4 10000+ live 10 10 " + core::programDir());

  // Menu and toolbar show it modally; cancel and closing only hide it and write nothing.
  EXPECT_TRUE(r().isHidden());
  mdi().action("MaintenanceRecord")->trigger();
  EXPECT_EQ(flags({r().isVisible(), r().windowModality() == Qt::ApplicationModal}), "11");
  QTest::mouseClick(button(r(), "Command4"), Qt::LeftButton);
  EXPECT_TRUE(r().isHidden());
  mdi().action("Data Save Seting")->trigger();
  EXPECT_TRUE(r().isVisible());
  r().close();
  EXPECT_EQ(flags({r().isHidden(), FrmMaintenanceRecord::exists()}), "11");
  EXPECT_EQ(keys({"Read Interval", "Auto Saving", "Line Count"}), "Read Interval= Auto Saving= Line Count=");
  r().Command3_Click();
  EXPECT_EQ(keys({"Read Interval", "Auto Saving", "Line Count"}), "Read Interval=10 Auto Saving=0 Line Count=32000");

  // A bar moved by the operator writes its box; the box moves the bar back in step. Typed
  // text is never rewritten by its bar; the size limit takes two characters as typed.
  control<QScrollBar>(r(), "VScroll1")->setValue(3);
  control<QScrollBar>(r(), "VScroll2")->setValue(0);
  EXPECT_EQ(texts(r(), {"LTextBox1", "LTextBox3"}), "2|59");
  edit(r(), "LTextBox1")->setText("abc");
  edit(r(), "LTextBox5")->clear();
  QTest::keyClicks(edit(r(), "LTextBox5"), "123");
  EXPECT_EQ(boxes(), "read 10 auto- every abc:59 lines 32000 size 12 bars 5 0");

  // The read interval, typed and accepted once discovery and a round are over.
  at(25000);
  // Typed 0 and accepted: the scan stops and the idle timers get 0. Below 10: the scan takes
  // it, the real-time screen's Timer3 does not.
  const std::pair<const char*, const char*> accepted[] = {{"0", "scan 0- timer4 0- live 0 0"},
                                                          {"5", "scan 5+ timer4 5000+ live 0 5"}};
  for (const auto& [typed, state] : accepted) {
    combo(r())->setEditText(typed);
    r().Command3_Click();
    EXPECT_EQ(keys({"Read Interval"}) + " " + pace(), QStringLiteral("Read Interval=%1 %2").arg(typed, state));
  }
  // Above 60 while typed: back to 60.
  combo(r())->setEditText("");
  QTest::keyClicks(combo(r())->lineEdit(), "75");
  EXPECT_EQ(combo(r())->currentText(), "60");
  // Empty in the box and accepted: the empty text is written, and read back as "10".
  combo(r())->setEditText("");
  r().Command3_Click();
  EXPECT_EQ(keys({"Read Interval"}) + " " + combo(r())->currentText() + " " + pace(),
            "Read Interval= 10 scan 10+ timer4 10000+ live 10 10");
}

TEST_F(RecorderScreenTest, AcceptBoundsTheLimitsWritesEveryKeyAndAppliesThem) {
  ASSERT_TRUE(QDir().mkpath(root));
  startRecorder();
  at(1500);
  ui::showModal(&r(), &mdi());
  // The folder dialog fills the path box.
  dialogs.fileNames.push_back(root);
  QTest::mouseClick(button(r(), "Command1"), Qt::LeftButton);
  // A second, cancelled: the path stays; the dialog opens in the folder the box names.
  QTest::mouseClick(button(r(), "Command1"), Qt::LeftButton);
  EXPECT_EQ(edit(r(), "LTextBox2")->text() + " " + dialogs.folderStart, root + " " + root);
  control<QCheckBox>(r(), "Check1")->setChecked(true);
  edit(r(), "LTextBox1")->setText("1");
  edit(r(), "LTextBox3")->setText("30");
  edit(r(), "LTextBox4")->setText("500");
  edit(r(), "LTextBox5")->setText("99");
  // The fast scan's switch beside the read interval, off by default.
  auto* perLine = control<QCheckBox>(r(), "PerLine");
  EXPECT_EQ(flags({perLine->isChecked(), scan().perLine()}), "00");
  QTest::mouseClick(perLine, Qt::LeftButton);
  accept();
  EXPECT_EQ(core::readIni("Scan", "Per Line") + QString::fromStdString(flags({scan().perLine(), r().isHidden()})),
            "111");
  // The bounds themselves are the rule layer's; unmarked rows write their empty mark.
  EXPECT_EQ(boxes(), "read 10 auto+ every 1:30 lines 1000 size 50 bars 4 29");
  EXPECT_EQ(keys({"Auto Saving", "Save Interval H", "Save Interval M", "Line Count", "Temporary", "Roof"}),
            "Auto Saving=1 Save Interval H=1 Save Interval M=30 Line Count=1000 Temporary=50 Roof=");
  EXPECT_EQ(core::readIni("Maintenance Record", "File Path"), root);
  // Applied at once: recording on, 5400 s between cycles.
  EXPECT_EQ(r().engine().saveInterval() * 10 + r().engine().Timer2.enabled(), 54001);

  ui::showModal(&r(), &mdi());
  // A folder that cannot be used is said once at the accept, and saved all the same; a text the
  // settings file cannot give back as typed is refused and nothing is saved.
  const QString missing = root + "/missing";
  for (const QString& typed : {root + QStringLiteral("/Jörg"), QStringLiteral(" ") + missing, missing}) {
    edit(r(), "LTextBox2")->setText(typed);
    accept();
  }
  EXPECT_EQ(dialogTexts(), (QStringList{"不能保存字符：ö", "文件保存路径首尾不能有空格或引号"}));
  EXPECT_EQ(core::readIni("Maintenance Record", "File Path") + (r().isHidden() ? " hidden " : " ") +
                QString::number(logWith(QStringLiteral("不存在或不能写入")).size()),
            missing + " hidden 1");
  EXPECT_TRUE(logWith(QStringLiteral("不存在或不能写入")).value(0).contains(missing));
}

// What the operator types or ticks moves nothing until "确定"; "取消" puts it all back.
TEST_F(RecorderScreenTest, TypingAndCancelNeverMoveTheRecorder) {
  recordEverything("0");
  setting("Shed", "0");
  const QString other = dir.path() + "/other";
  ASSERT_TRUE(QDir().mkpath(other));
  startRecorder();
  at(1500);
  ui::showModal(&r(), &mdi());
  clickMark(2);
  auto* path = edit(r(), "LTextBox2");
  path->clear();
  // Typed slowly: every prefix that names a folder stands in the box for a few cycles.
  for (const QString& part : {dir.path(), QStringLiteral("/"), QStringLiteral("other")}) {
    QTest::keyClicks(path, part);
    clock.advance(ms(2000));
  }
  // The mark clicked is neither saved nor followed before the accept.
  const int written = dataLinesOf("Roof", 1).size();
  EXPECT_EQ(path->text() + " " + keys({"Shed"}) + " " +
                QString::fromStdString(
                    flags({QFile::exists(dir.path() + "/Roof"), QFile::exists(root + "/Shed"), written >= 5})) +
                QDir(other).entryList(QDir::NoDotAndDotDot | QDir::AllEntries).join(' '),
            other + " Shed=0 001");

  QTest::mouseClick(button(r(), "Command4"), Qt::LeftButton);
  EXPECT_EQ(path->text() + " " + marks() + (r().isHidden() ? " hidden" : ""), root + " -1|0 hidden");
  // A later "确定", pressed only to turn automatic saving off, saves nothing that was cancelled.
  ui::showModal(&r(), &mdi());
  auto* check = control<QCheckBox>(r(), "Check1");
  QTest::mouseClick(check, Qt::LeftButton, {}, QPoint(8, check->height() / 2));  // on its box
  accept();
  EXPECT_EQ(keys({"File Path", "Shed", "Auto Saving"}), "File Path=" + root + " Shed=0 Auto Saving=0");
  clock.advance(ms(3000));
  // A pass under way may end.
  EXPECT_EQ(flags({dataLinesOf("Roof", 1).size() <= written + 1, QFile::exists(root + "/Shed")}), "10");
}

TEST_F(RecorderScreenTest, MarksSurviveARestartAndANameThatCannotBeAKeyIsNamed) {
  addStation("#1", "COM3,9600", "4");
  addStation("a=b", "COM3,9600", "5");
  addStation("x/y", "COM3,9600", "6");
  addStation(" file path", "COM3,9600", "7");  // the recorder's own key, as the file compares keys
  recordEverything("0");
  setting("Roof", "");
  setting("Shed", "");
  startRecorder();
  at(1500);
  ui::showModal(&r(), &mdi());
  ASSERT_EQ(grid(r(), "VSFlexGrid1")->rows(), 7);
  for (int row = 1; row < 7; ++row) clickMark(row);
  accept();
  ui::showModal(&r(), &mdi());
  accept();  // told once a run, not a click
  // "#1" is a key; "a=b" cannot be one and is named once in the message window; its mark holds
  // for this run.
  EXPECT_EQ(marks() + " " + keys({"#1", "x/y", "File Path"}), "-1|-1|-1|-1|-1|-1 #1=-1 x/y=-1 File Path=" + root);
  // "x/y" can have no folder: its lines are skipped and it is reported once, not every cycle.
  at(8000);
  EXPECT_EQ(QStringLiteral("%1 %2 %3 %4 ")
                    .arg(logWith(QStringLiteral("“ file path”")).size())
                    .arg(logWith(QStringLiteral("“a=b”")).size())
                    .arg(logWith(QStringLiteral("“x/y”")).size())
                    .arg(ended) +
                QString::fromStdString(flags({dataLinesOf("#1", 1).isEmpty(), dataLinesOf("a=b", 1).isEmpty()})),
            "1 1 1 0 00");

  // A restart: the marks that have keys come back.
  ui::discardAll();
  startRecorder();
  clock.advance(ms(1500));
  EXPECT_EQ(marks(), "-1|-1|-1||-1|");
}

}  // namespace
}  // namespace xl::testing
