// The data recorder in the whole console, against simulated controllers and in virtual time: its
// controls and defaults, the timers, the save cycle writing a scanned reply into the files, and
// the cases an operator would try (marks taken off and put back, names that cannot be keys, an
// empty or zero read interval, typing and cancelling). The engine's own cycle, files and stop are
// tried alone in recorder_engine_test.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QScrollBar>
#include <QTest>

#include "core/message_log.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "monitoring/recorder_line.h"
#include "monitoring/recorder_settings.h"
#include "platform/gbk.h"
#include "support/console_fixture.h"
#include "tools/sim/bus.h"
#include "ui/form.h"
#include "ui/screen.h"

namespace xl {
namespace {

using monitoring::FrmMaintenanceRecord;
using monitoring::FrmRealTimeMonitoring;
using platform::ms;
using testing::button;
using testing::combo;
using testing::control;
using testing::edit;
using testing::grid;

const QDateTime kBase(QDate(2026, 1, 5), QTime(10, 0, 0));

class RecorderScreenTest : public testing::ConsoleFixture {
 protected:
  void SetUp() override {
    ConsoleFixture::SetUp();
    ini = dir.path() + "/MSCON.DLL";
    root = dir.path() + "/data";
    setPorts({"COM3,9600"});
    addStation("Roof", "COM3,9600", "1");
    addStation("Shed", "COM3,9600", "2");
    sim::StationOptions frozen;
    frozen.live = false;
    frozen.address = 1;
    roof = &bus.add("COM3", 9600, frozen);
    frozen.address = 2;
    shed = &bus.add("COM3", 9600, frozen);
    // The values of the example reply: 00 5A, 00 82, 01 2C, 19 95, 00 80, 00 32, 00 06, 00 C8,
    // 00 FA, 00 32 from byte 3, and 80 02 00 00 in bytes 67 to 70.
    auto& r = roof->state().readings;
    r.soc = 90;
    r.batteryVoltage = 130;
    r.batteryCurrent = 300;
    r.deviceTemperature = 25;
    r.batteryTemperature = -21;
    r.loadVoltage = 128;
    r.loadCurrent = 50;
    r.loadPower = 6;
    r.panelVoltage = 200;
    r.panelCurrent = 250;
    r.panelPower = 50;
    r.chargeState = 2;
    r.loadOn = true;
  }

  // Settings before the start, as the operator left them last time.
  void setting(const char* key, const QString& value) {
    core::writeIniFile("Maintenance Record", QString::fromUtf8(key), value, ini);
  }
  // Recording on, into `root`, with every station of the grid marked.
  void recordEverything() {
    setting("Auto Saving", "1");
    setting("File Path", root);
    setting("Roof", "-1");
    setting("Shed", "-1");
    ASSERT_TRUE(QDir().mkpath(root));
  }
  void startRecorder() {
    start();
    recorder().engine().setTimeSource([this] {
      return kBase.addMSecs(std::chrono::duration_cast<std::chrono::milliseconds>(clock.now()).count());
    });
  }
  // Moves virtual time to `atMs` from the start.
  void at(std::int64_t atMs) {
    clock.advance(ms(atMs) - std::chrono::duration_cast<std::chrono::milliseconds>(clock.now()));
  }

  QString file(const QString& station, int n) const { return root + "/" + station + "/" + QString::number(n) + ".csv"; }
  static QByteArray bytesOf(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
  }
  // The lines of a file, GBK decoded, without their CR LF.
  static QStringList linesOf(const QString& path) {
    QString text = platform::fromGbk(bytesOf(path));
    if (text.endsWith("\r\n")) text.chop(2);
    return text.isEmpty() ? QStringList() : text.split("\r\n");
  }
  QStringList dataLinesOf(const QString& station, int n) const {
    QStringList l = linesOf(file(station, n));
    if (!l.isEmpty()) l.removeFirst();
    return l;
  }
  static QString stampOf(const QString& line) { return line.section(',', 0, 0); }
  QStringList logEndingWith(const QString& tail) {
    QStringList out;
    for (const QString& l : logLines())
      if (l.contains(tail)) out << l;
    return out;
  }

  // A real click on the mark cell of grid row `row`.
  void clickMark(int row) {
    auto* g = grid(recorder(), "VSFlexGrid1");
    const QRect cell = g->visualRect(g->model()->index(row - 1, 0));
    QTest::mouseClick(g->viewport(), Qt::LeftButton, {}, cell.center());
  }

  QString ini, root;
  sim::Bus bus{driver};
  sim::Controller* roof = nullptr;
  sim::Controller* shed = nullptr;
};

TEST_F(RecorderScreenTest, ControlsAndCaptionsAsTheOperatorFindsThem) {
  startRecorder();
  FrmMaintenanceRecord& r = recorder();
  EXPECT_EQ(r.windowTitle(), QStringLiteral("数据保存"));
  QStringList items;
  for (int i = 0; i < combo(r)->count(); ++i) items << combo(r)->itemText(i);
  EXPECT_EQ(items, (QStringList{"10", "20", "30", "40", "50", "60"}));
  EXPECT_TRUE(combo(r)->isEditable());
  EXPECT_EQ(control<QCheckBox>(r, "Check1")->text(), QStringLiteral("  自动保存"));
  EXPECT_EQ(control<QCheckBox>(r, "Check1")->parentWidget(), control<QGroupBox>(r, "Frame1"));
  const struct {
    const char* name;
    const char* caption;
  } captions[] = {{"Combo1", "读取间隔(秒)"},        {"LTextBox1", "保存时间间隔(小时:分钟)"},
                  {"LTextBox2", "文件保存路径："},     {"LTextBox4", "行计数"},
                  {"LTextBox5", "临时文件大小限制(MB)"}, {"VSFlexGrid1", "保存站点："}};
  for (const auto& c : captions) {
    QLabel* label = ui::labelFor(control<QWidget>(r, c.name));
    ASSERT_NE(label, nullptr) << c.name;
    EXPECT_EQ(label->text(), QString::fromUtf8(c.caption)) << c.name;
  }
  // The file columns stay out of the operator's sight.
  EXPECT_TRUE(grid(r, "VSFlexGrid1")->isColumnHidden(3) && grid(r, "VSFlexGrid1")->isColumnHidden(4));
  // The size limit takes at most two characters as typed.
  edit(r, "LTextBox5")->clear();
  QTest::keyClicks(edit(r, "LTextBox5"), "123");
  EXPECT_EQ(edit(r, "LTextBox5")->text(), "12");
}

TEST_F(RecorderScreenTest, MenuAndToolbarShowItModallyAndClosingOnlyHidesIt) {
  startRecorder();
  at(1500);
  EXPECT_TRUE(recorder().isHidden());
  mdi().action("MaintenanceRecord")->trigger();
  EXPECT_TRUE(recorder().isVisible());
  EXPECT_EQ(recorder().windowModality(), Qt::ApplicationModal);
  QTest::mouseClick(button(recorder(), "Command4"), Qt::LeftButton);
  EXPECT_TRUE(recorder().isHidden());
  mdi().action("Data Save Seting")->trigger();
  EXPECT_TRUE(recorder().isVisible());
  recorder().close();
  EXPECT_TRUE(recorder().isHidden());
  EXPECT_TRUE(FrmMaintenanceRecord::exists());
  // Cancel wrote nothing.
  EXPECT_TRUE(core::readIni("Maintenance Record", "Read Interval").isEmpty());
}

TEST_F(RecorderScreenTest, EmptyKeysShowTheDefaultsAndSetThePaceOfTheScan) {
  startRecorder();
  at(1500);
  FrmMaintenanceRecord& r = recorder();
  EXPECT_FALSE(r.Timer1.enabled());
  EXPECT_EQ(combo(r)->currentText(), "10");
  EXPECT_FALSE(control<QCheckBox>(r, "Check1")->isChecked());
  EXPECT_EQ(edit(r, "LTextBox2")->text(), core::programDir());
  EXPECT_EQ(edit(r, "LTextBox1")->text(), "0");
  EXPECT_EQ(edit(r, "LTextBox3")->text(), "1");
  EXPECT_EQ(edit(r, "LTextBox4")->text(), "32000");
  EXPECT_EQ(edit(r, "LTextBox5")->text(), "30");
  EXPECT_EQ(r.engine().saveInterval(), 60);
  EXPECT_FALSE(r.engine().Timer2.enabled());
  // The bars follow the text, upward.
  EXPECT_EQ(control<QScrollBar>(r, "VScroll1")->value(), 5);
  EXPECT_EQ(control<QScrollBar>(r, "VScroll2")->value(), 58);
  // The read interval reaches the scan, the recorder's Timer4 and the real-time screen's fields.
  EXPECT_EQ(scan().readInterval(), 10);
  EXPECT_TRUE(scan().Timer2.enabled());
  EXPECT_EQ(r.engine().Timer4.interval(), 10000);
  EXPECT_EQ(FrmRealTimeMonitoring::instance().timer3Interval, 10);
  EXPECT_EQ(FrmRealTimeMonitoring::instance().timer4Interval, 10);
  // The default "10" is shown, not written; only the accept button writes it.
  EXPECT_TRUE(core::readIni("Maintenance Record", "Read Interval").isEmpty());
  r.Command3_Click();
  EXPECT_EQ(core::readIni("Maintenance Record", "Read Interval"), "10");
  EXPECT_EQ(core::readIni("Maintenance Record", "Auto Saving"), "0");
  EXPECT_EQ(core::readIni("Maintenance Record", "Line Count"), "32000");

  // A bar moved by the operator writes its box; the box moves the bar back in step.
  control<QScrollBar>(r, "VScroll1")->setValue(3);
  EXPECT_EQ(edit(r, "LTextBox1")->text(), "2");
  control<QScrollBar>(r, "VScroll2")->setValue(0);
  EXPECT_EQ(edit(r, "LTextBox3")->text(), "59");
  // Typed text is never rewritten by its bar.
  edit(r, "LTextBox1")->setText("abc");
  EXPECT_EQ(edit(r, "LTextBox1")->text(), "abc");
  EXPECT_EQ(control<QScrollBar>(r, "VScroll1")->value(), 5);
}

TEST_F(RecorderScreenTest, ReadIntervalZeroSmallAndAboveSixty) {
  startRecorder();
  at(25000);  // discovery and a round are over
  FrmMaintenanceRecord& r = recorder();
  auto& live = FrmRealTimeMonitoring::instance();

  // Typed 0 and accepted: the scan stops and the idle timers get 0.
  combo(r)->setEditText("0");
  r.Command3_Click();
  EXPECT_EQ(core::readIni("Maintenance Record", "Read Interval"), "0");
  EXPECT_FALSE(scan().Timer2.enabled());
  EXPECT_EQ(scan().readInterval(), 0);
  EXPECT_FALSE(r.engine().Timer4.enabled());
  EXPECT_EQ(live.timer3Interval, 0);
  EXPECT_EQ(live.timer4Interval, 0);

  // Below 10: the scan takes it, the real-time screen's Timer3 does not.
  combo(r)->setEditText("5");
  r.Command3_Click();
  EXPECT_TRUE(scan().Timer2.enabled());
  EXPECT_EQ(scan().readInterval(), 5);
  EXPECT_EQ(live.timer3Interval, 0);
  EXPECT_EQ(live.timer4Interval, 5);
  EXPECT_EQ(r.engine().Timer4.interval(), 5000);
  EXPECT_TRUE(r.engine().Timer4.enabled());

  // Above 60 while typed: back to 60.
  combo(r)->setEditText("");
  QTest::keyClicks(combo(r)->lineEdit(), "75");
  EXPECT_EQ(combo(r)->currentText(), "60");

  // Empty in the box and accepted: the empty text is written, and read back as "10".
  combo(r)->setEditText("");
  r.Command3_Click();
  EXPECT_EQ(core::readIni("Maintenance Record", "Read Interval"), "");
  EXPECT_EQ(combo(r)->currentText(), "10");
  EXPECT_EQ(scan().readInterval(), 10);
}

TEST_F(RecorderScreenTest, AcceptBoundsTheLimitsWritesEveryKeyAndAppliesThem) {
  ASSERT_TRUE(QDir().mkpath(root));
  startRecorder();
  at(1500);
  FrmMaintenanceRecord& r = recorder();
  ui::showModal(&r, &mdi());
  // The folder dialog fills the path box.
  dialogs.fileNames.push_back(root);
  QTest::mouseClick(button(r, "Command1"), Qt::LeftButton);
  EXPECT_EQ(edit(r, "LTextBox2")->text(), root);
  control<QCheckBox>(r, "Check1")->setChecked(true);
  edit(r, "LTextBox1")->setText("1");
  edit(r, "LTextBox3")->setText("30");
  edit(r, "LTextBox4")->setText("500");
  edit(r, "LTextBox5")->setText("99");
  // The fast scan's switch beside the read interval, off by default.
  auto* perLine = control<QCheckBox>(r, "PerLine");
  EXPECT_FALSE(perLine->isChecked());
  EXPECT_FALSE(scan().perLine());
  QTest::mouseClick(perLine, Qt::LeftButton);
  QTest::mouseClick(button(r, "Command3"), Qt::LeftButton);
  EXPECT_EQ(core::readIni("Scan", "Per Line"), "1");
  EXPECT_TRUE(scan().perLine());
  EXPECT_TRUE(r.isHidden());
  EXPECT_EQ(edit(r, "LTextBox4")->text(), "1000");
  EXPECT_EQ(edit(r, "LTextBox5")->text(), "50");
  const auto key = [](const char* k) { return core::readIni("Maintenance Record", QString::fromUtf8(k)); };
  EXPECT_EQ(key("Auto Saving"), "1");
  EXPECT_EQ(key("File Path"), root);
  EXPECT_EQ(key("Save Interval H"), "1");
  EXPECT_EQ(key("Save Interval M"), "30");
  EXPECT_EQ(key("Line Count"), "1000");
  EXPECT_EQ(key("Temporary"), "50");
  EXPECT_EQ(key("Roof"), "");  // unmarked rows write their empty mark
  // Applied at once: recording on, 5400 s between cycles.
  EXPECT_EQ(r.engine().saveInterval(), 5400);
  EXPECT_TRUE(r.engine().Timer2.enabled());
  EXPECT_EQ(control<QScrollBar>(r, "VScroll1")->value(), 4);

  // (The bounds themselves are the rule layer's: recorder_settings_test.)
  // A cancelled folder dialog keeps the path; the dialog opens in the folder the box names.
  ui::showModal(&r, &mdi());
  QTest::mouseClick(button(r, "Command1"), Qt::LeftButton);
  EXPECT_EQ(edit(r, "LTextBox2")->text(), root);
  EXPECT_EQ(dialogs.folderStart, root);
  // A folder that cannot be used is said once at the accept, and saved all the same; a text the
  // settings file cannot give back as typed is refused and nothing is saved.
  const QString missing = root + "/missing";
  for (const QString& typed : {root + QStringLiteral("/Jörg"), QStringLiteral(" ") + missing, missing}) {
    edit(r, "LTextBox2")->setText(typed);
    QTest::mouseClick(button(r, "Command3"), Qt::LeftButton);
  }
  ASSERT_EQ(dialogs.shown.size(), 2u);
  EXPECT_EQ(dialogs.shown[0].text, "不能保存字符：ö");
  EXPECT_EQ(dialogs.shown[1].text, "文件保存路径首尾不能有空格或引号");
  EXPECT_EQ(key("File Path"), missing);
  EXPECT_TRUE(r.isHidden());
  ASSERT_EQ(logEndingWith(QStringLiteral("不存在或不能写入")).size(), 1);
  EXPECT_TRUE(logEndingWith(QStringLiteral("不存在或不能写入"))[0].contains(missing));
}

// What the operator types or ticks moves nothing until "确定"; "取消" puts it all back.
TEST_F(RecorderScreenTest, TypingAndCancelNeverMoveTheRecorder) {
  recordEverything();
  setting("Shed", "0");
  setting("Save Interval H", "0");
  setting("Save Interval M", "0");
  const QString other = dir.path() + "/other";
  ASSERT_TRUE(QDir().mkpath(other));
  startRecorder();
  at(1500);
  FrmMaintenanceRecord& r = recorder();
  ui::showModal(&r, &mdi());
  clickMark(2);
  auto* path = edit(r, "LTextBox2");
  path->clear();
  // Typed slowly: every prefix that names a folder stands in the box for a few cycles.
  for (const QString& part : {dir.path(), QStringLiteral("/"), QStringLiteral("other")}) {
    QTest::keyClicks(path, part);
    clock.advance(ms(2000));
  }
  EXPECT_EQ(path->text(), other);
  EXPECT_FALSE(QFile::exists(dir.path() + "/Roof"));
  EXPECT_TRUE(QDir(other).entryList(QDir::NoDotAndDotDot | QDir::AllEntries).isEmpty());
  EXPECT_FALSE(QFile::exists(root + "/Shed"));
  const int written = dataLinesOf("Roof", 1).size();
  EXPECT_GE(written, 5);

  QTest::mouseClick(button(r, "Command4"), Qt::LeftButton);
  EXPECT_TRUE(r.isHidden());
  EXPECT_EQ(path->text(), root);
  EXPECT_EQ(grid(r, "VSFlexGrid1")->textMatrix(2, 0), "0");
  // A later "确定", pressed only to turn automatic saving off, saves nothing that was cancelled.
  ui::showModal(&r, &mdi());
  auto* check = control<QCheckBox>(r, "Check1");
  QTest::mouseClick(check, Qt::LeftButton, {}, QPoint(8, check->height() / 2));  // on its box
  QTest::mouseClick(button(r, "Command3"), Qt::LeftButton);
  EXPECT_EQ(core::readIni("Maintenance Record", "File Path"), root);
  EXPECT_EQ(core::readIni("Maintenance Record", "Shed"), "0");
  EXPECT_EQ(core::readIni("Maintenance Record", "Auto Saving"), "0");
  clock.advance(ms(3000));
  EXPECT_LE(dataLinesOf("Roof", 1).size(), written + 1);  // a pass under way may end
  EXPECT_FALSE(QFile::exists(root + "/Shed"));
}

TEST_F(RecorderScreenTest, SaveCycleWritesTheExampleLineByteForByte) {
  recordEverything();
  startRecorder();
  at(62300);  // Timer1 ran at 1 s; Timer2 counts from 2 s, its 61st tick starts the cycle
  const QByteArray expected =
      platform::toGbk(monitoring::headerLine() + "\r\n" +
                      QStringLiteral("2026-01-05 10:01:02,Roof,1,2.50,20.0,50,MPPT充电,13.0,-21,3.00,90,0.50,6,12.8,"
                                     "1,25,正常,正常,正常\r\n"));
  EXPECT_EQ(bytesOf(file("Roof", 1)), expected);
  // Every marked station's file is chosen at each flush: Shed's has its header, no line yet.
  EXPECT_EQ(linesOf(file("Shed", 1)), QStringList{monitoring::headerLine()});
  at(62600);
  ASSERT_EQ(dataLinesOf("Shed", 1).size(), 1);
  EXPECT_EQ(stampOf(dataLinesOf("Shed", 1)[0]), "2026-01-05 10:01:02");
  EXPECT_TRUE(recorder().engine().queue().empty());
}

TEST_F(RecorderScreenTest, UnmarkingStopsLinesAtOnceAndMarkingAgainContinuesTheFile) {
  recordEverything();
  setting("Save Interval M", "0");
  setting("Save Interval H", "0");
  startRecorder();
  at(3000);
  ui::showModal(&recorder(), &mdi());
  ASSERT_EQ(dataLinesOf("Roof", 1).size(), 1);
  clickMark(1);
  EXPECT_EQ(grid(recorder(), "VSFlexGrid1")->textMatrix(1, 0), "0");
  QTest::mouseClick(button(recorder(), "Command3"), Qt::LeftButton);
  ui::showModal(&recorder(), &mdi());
  at(8000);
  EXPECT_EQ(dataLinesOf("Roof", 1).size(), 1);
  EXPECT_EQ(dataLinesOf("Shed", 1).size(), 6);
  // A greyed grid takes no click.
  grid(recorder(), "VSFlexGrid1")->setEnabled(false);
  clickMark(1);
  EXPECT_EQ(grid(recorder(), "VSFlexGrid1")->textMatrix(1, 0), "0");
  grid(recorder(), "VSFlexGrid1")->setEnabled(true);
  clickMark(1);
  EXPECT_EQ(grid(recorder(), "VSFlexGrid1")->textMatrix(1, 0), "-1");
  // The mark is kept and followed only from the accept button on.
  EXPECT_EQ(core::readIni("Maintenance Record", "Roof"), "0");
  QTest::mouseClick(button(recorder(), "Command3"), Qt::LeftButton);
  EXPECT_EQ(core::readIni("Maintenance Record", "Roof"), "-1");
  EXPECT_TRUE(recorder().isHidden());
  at(10000);
  EXPECT_EQ(dataLinesOf("Roof", 1).size(), 3);
  EXPECT_FALSE(QFile::exists(file("Roof", 2)));
}

TEST_F(RecorderScreenTest, MarksSurviveARestartAndANameThatCannotBeAKeyIsNamed) {
  addStation("#1", "COM3,9600", "4");
  addStation("a=b", "COM3,9600", "5");
  addStation("x/y", "COM3,9600", "6");
  addStation(" file path", "COM3,9600", "7");  // the recorder's own key, as the file compares keys
  setting("Auto Saving", "1");
  setting("File Path", root);
  setting("Save Interval H", "0");
  setting("Save Interval M", "0");
  ASSERT_TRUE(QDir().mkpath(root));
  startRecorder();
  at(1500);
  ui::showModal(&recorder(), &mdi());
  auto* g = grid(recorder(), "VSFlexGrid1");
  ASSERT_EQ(g->rows(), 7);
  for (int r = 1; r < 7; ++r) clickMark(r);
  QTest::mouseClick(button(recorder(), "Command3"), Qt::LeftButton);
  ui::showModal(&recorder(), &mdi());
  QTest::mouseClick(button(recorder(), "Command3"), Qt::LeftButton);  // told once a run, not a click
  EXPECT_EQ(core::readIniFile("Maintenance Record", "File Path", ini), root);
  EXPECT_EQ(logEndingWith(QStringLiteral("“ file path”")).size(), 1);
  EXPECT_EQ(g->textMatrix(6, 0), "-1");
  // "#1" is a key; "a=b" cannot be one and is named once in the message window; its mark holds
  // for this run.
  EXPECT_EQ(core::readIniFile("Maintenance Record", "#1", ini), "-1");
  EXPECT_EQ(core::readIniFile("Maintenance Record", "x/y", ini), "-1");
  const QStringList told = logEndingWith(QStringLiteral("“a=b”"));
  ASSERT_EQ(told.size(), 1);
  EXPECT_TRUE(told[0].endsWith(*monitoring::stationKeyLogLine("a=b")));
  EXPECT_EQ(g->textMatrix(4, 0), "-1");
  // "x/y" can have no folder: its lines are skipped and it is reported once, not every cycle.
  at(8000);
  EXPECT_EQ(logEndingWith(QStringLiteral("“x/y”")).size(), 1);
  EXPECT_FALSE(dataLinesOf("#1", 1).isEmpty());
  EXPECT_FALSE(dataLinesOf("a=b", 1).isEmpty());
  EXPECT_EQ(ended, 0);

  // A restart: the marks that have keys come back.
  ui::discardAll();
  startRecorder();
  clock.advance(ms(1500));
  g = grid(recorder(), "VSFlexGrid1");
  ASSERT_EQ(g->rows(), 7);
  EXPECT_EQ(g->textMatrix(6, 0), "");
  EXPECT_EQ(g->textMatrix(1, 0), "-1");
  EXPECT_EQ(g->textMatrix(3, 0), "-1");
  EXPECT_EQ(g->textMatrix(4, 0), "");
  EXPECT_EQ(g->textMatrix(5, 0), "-1");
}

}  // namespace
}  // namespace xl
