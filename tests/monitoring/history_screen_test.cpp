// The history screen and its chart window in the whole console, against simulated controllers
// in virtual time: the requests of a reading on the wire tick by tick, the rows of the replies,
// the day count box, the marks, the charts and the export file byte for byte.

#include <gtest/gtest.h>

#include <QChartView>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QTest>

#include "link/frame_codec.h"
#include "monitoring/frm_chart.h"
#include "monitoring/frm_hlstory_monitoring.h"
#include "platform/gbk.h"
#include "support/two_stations.h"
#include "support/wire_log.h"
#include "tools/sim/bus.h"
#include "ui/form.h"

namespace xl {
namespace {

using monitoring::FrmChart;
using monitoring::FrmHlstoryMonitoring;
using platform::ms;
using testing::Sent;
using testing::button;
using testing::combo;
using testing::edit;
using testing::grid;

const QString kStation1 = QStringLiteral("一号站");
const QString kStation2 = QStringLiteral("二号站");
const QString kHeaderLine = QStringLiteral(
    "天前,蓄电池最低电压(V),蓄电池最高电压(V),最大充电电流(A),最大放电电流(A),最大充电功率(W),"
    "最大放电功率(W),充电安时数(Ah),放电安时数(Ah),发电量(KWh),放电量(KWh)");

// What the chart window showed each time it was opened.
struct ChartSeen {
  short type = 0;
  QList<double> values;
  double axisMin = -1, axisMax = -1;
  bool legend = true;
  QStringList rowLabels;
  QString title;
};

class HistoryScreenTest : public testing::TwoStationFixture {
 protected:
  void SetUp() override {
    TwoStationFixture::SetUp();
    // The record of the example, three days ago: its reply is
    // 01 03 14 00 7C 00 90 01 F4 00 C8 00 96 00 3C 00 0A 00 05 00 78 00 32 28 09.
    station1->state().setRecord(3, {124, 144, 500, 200, 150, 60, 10, 5, 120, 50});
    station1->state().setRecord(2, {});
    station1->state().setRecord(1, {});
    station1->state().readings.today = {118, 141, 0, 0, 0, 0, 0, 0, 0, 0};
    station2->state().setRecord(1, {130, 150, 100, 100, 20, 20, 3, 3, 40, 40});
    ui::setModalRunner([this](ui::DialogForm& form) {
      const auto& c = static_cast<FrmChart&>(form);
      charts.push_back(
          {c.chartType(), c.values(), c.axisMinimum(), c.axisMaximum(), c.legendShown(), c.rowLabels(), c.title()});
    });
  }
  void TearDown() override { ui::setModalRunner({}), ConsoleFixture::TearDown(); }

  FrmHlstoryMonitoring& history() { return FrmHlstoryMonitoring::instance(); }
  platform::FlexGrid* rows() { return grid(history(), "VsFList1"); }
  QComboBox* days() { return combo(history(), "Combo2"); }

  // Start-up and discovery, then the screen from its menu item.
  void startAndOpen() {
    start();
    mdi().show();
    clock.advance(ms(8000));
    mdi().action("HlstoryMonitoring")->trigger();
  }
  void choose(const QString& name) {
    const int index = combo(history())->findText(name);
    ASSERT_GE(index, 0);
    combo(history())->setCurrentIndex(index);
    emit combo(history())->activated(index);
  }
  // A station chosen and its device information read.
  void chooseAndWait(const QString& name) {
    choose(name);
    clock.advance(ms(400));
  }
  QStringList shownTexts() const {
    QStringList out;
    for (const auto& d : dialogs.shown) out << d.text;
    return out;
  }
  QStringList boxTexts(std::initializer_list<const char*> names) {
    QStringList out;
    for (const char* n : names) out << edit(history(), n)->text();
    return out;
  }
  // The text of an exported file, as written in GBK.
  static QString fileText(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return platform::fromGbk(file.readAll());
  }
  void click(const char* name) { QTest::mouseClick(button(history(), name), Qt::LeftButton); }
  void pickItem(const QString& item) { combo(history(), "Combo3")->setCurrentIndex(combo(history(), "Combo3")->findText(item)); }
  // A click on a cell of the grid, as the operator makes it.
  void clickRow(int row, int column = 3) {
    auto* g = rows();
    const QModelIndex index = g->model()->index(row - 1, column);
    g->scrollTo(index);
    const QRect cell = g->visualRect(index);
    QTest::mouseClick(g->viewport(), Qt::LeftButton, {}, cell.center());
  }

  // The history requests on the wire from `fromMs` on (the scan's requests left out).
  std::vector<Sent> historyFrames(std::int64_t fromMs) const {
    std::vector<Sent> out;
    for (const Sent& s : testing::sentFrames(*line, fromMs))
      if (s.frame.size() == 16 && s.frame.substr(2, 3) == "03F") out.push_back(s);
    return out;
  }
  std::int64_t nowMs() const { return platform::toMs(clock.now()); }
  QStringList rowTexts(int row) {
    QStringList out;
    for (int c = 0; c < 12; ++c) out << rows()->textMatrix(row, c);
    return out;
  }
  int logCount(const QString& tail) {
    return static_cast<int>(
        std::ranges::count_if(logLines(), [&](const QString& l) { return l.trimmed().endsWith(tail); }));
  }
  // A reading of `text` days, to its end and the last reply.
  void readDays(const QString& text, int dayCount) {
    days()->setEditText(text);
    click("Command5");
    clock.advance(ms(150 * (dayCount + 1) + 200));
  }

  std::vector<ChartSeen> charts;
};

TEST_F(HistoryScreenTest, TheListsTakeTheirCaptionsAndChooseNothingAndTheToolbarBringsTheScreenBack) {
  startAndOpen();
  EXPECT_EQ(mdi().mdiArea()->activeSubWindow()->widget(), &history());
  EXPECT_EQ(history().windowTitle(), QStringLiteral("历史监控"));
  // The stations that answered, none chosen.
  EXPECT_TRUE(combo(history())->count() == 2 && combo(history())->currentText().isEmpty());
  EXPECT_EQ(ui::labelFor(days())->text(), QStringLiteral("读取历史数据"));
  EXPECT_TRUE(days()->count() == 100 && days()->itemText(99) == "100");
  EXPECT_TRUE(days()->isEditable() && days()->currentText().isEmpty());
  EXPECT_EQ(ui::labelFor(combo(history(), "Combo3"))->text(), QStringLiteral("项目选择"));
  EXPECT_TRUE(!combo(history(), "Combo3")->isEditable() && combo(history(), "Combo3")->currentText().isEmpty());
  const QStringList captions{"读取", "曲线", "柱状图", "导出到excel表格"};
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(button(history(), ("Command" + std::to_string(i + 5)).c_str())->text(), captions[i]);
  EXPECT_TRUE(edit(history(), "Text1")->isHidden() && button(history(), "Command1")->isHidden());
  EXPECT_TRUE(rows()->rows() == 1 && rows()->textMatrix(0, 1) == QStringLiteral("天前"));
  // Closing hides; the toolbar button brings the screen back.
  history().close();
  EXPECT_TRUE(history().isHidden());
  mdi().action("History Monitoring")->trigger();
  EXPECT_FALSE(history().isHidden());
}

TEST_F(HistoryScreenTest, GoldenReadingOfThreeDaysOnTheWireInTheGridAndInTheFile) {
  startAndOpen();
  choose(kStation1);
  const std::int64_t chosen = nowMs();
  clock.advance(ms(400));
  EXPECT_EQ(testing::sentFrames(*line, chosen).front(), (Sent{chosen, "0103000A0011A5C4"}));
  EXPECT_EQ(boxTexts({"LTextBox1", "LTextBox6", "LTextBox7", "LTextBox8"}),
            (QStringList{"1", "XL-MPPT4820", "V2.1.0", "16050023"}));
  EXPECT_TRUE(history().Timer1.enabled());

  days()->setEditText("3");
  const std::int64_t t0 = nowMs();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
  const QRect daysPlace = days()->geometry(), readPlace = button(history(), "Command5")->geometry();
  click("Command5");
  // The progress box takes the days box's place exactly; nothing beside it moves.
  QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
  EXPECT_TRUE(edit(history(), "Text2")->geometry() == daysPlace &&
              button(history(), "Command5")->geometry() == readPlace);
  EXPECT_TRUE(history().pendingRead == 2 && rows()->rows() == 5);
  EXPECT_FALSE(button(history(), "Command5")->isEnabled());
  EXPECT_TRUE(days()->isHidden() && !edit(history(), "Text2")->isHidden());
  EXPECT_EQ(edit(history(), "Text2")->text(), "3");
  EXPECT_EQ(logCount(QStringLiteral("正在读取历史信息，请稍等...")), 1);
  // The reading goes on while the screen is hidden.
  history().close();

  clock.advance(ms(160));
  EXPECT_EQ(edit(history(), "Text2")->text(), "3(2)");
  // A greyed "读取" does nothing.
  QTest::mouseClick(button(history(), "Command5"), Qt::LeftButton);
  EXPECT_EQ(history().reading().historyDays(), 3);
  clock.advance(ms(290));
  EXPECT_EQ(edit(history(), "Text2")->text(), "3(0)");
  EXPECT_EQ(logCount(QStringLiteral("读历史信息成功")), 0);
  clock.advance(ms(150));
  // The last request has left: idle again; the message waits for the last reply.
  EXPECT_EQ(logCount(QStringLiteral("读历史信息成功")), 0);
  EXPECT_TRUE(rows()->textMatrix(4, 1).isEmpty() && button(history(), "Command5")->isEnabled());
  clock.advance(ms(150));
  EXPECT_EQ(logCount(QStringLiteral("读历史信息成功")), 1);
  EXPECT_TRUE(!days()->isHidden() && edit(history(), "Text2")->isHidden() &&
              edit(history(), "Text2")->text().isEmpty());
  EXPECT_FALSE(history().Timer2.enabled());
  clock.advance(ms(300));

  const std::vector<Sent> expected = {{t0 + 150, "0103F003000A06CD"}, {t0 + 300, "0103F002000A570D"},
                                      {t0 + 450, "0103F001000AA70D"}, {t0 + 600, "0103F000000AF6CD"}};
  EXPECT_EQ(historyFrames(t0), expected);
  EXPECT_EQ(rowTexts(1),
            QStringList({"-1", "3", "12.4", "14.4", "5.00", "2.00", "150", "60", "10", "5", "0.120", "0.050"}));
  EXPECT_EQ(rowTexts(2), QStringList({"-1", "2", "0.0", "0.0", "0.00", "0.00", "0", "0", "0", "0", "0.000", "0.000"}));
  EXPECT_EQ(rowTexts(4).mid(1, 3), (QStringList{"0", "11.8", "14.1"}));  // today: the running day values
  EXPECT_EQ(edit(history(), "Text1")->text().left(6), "010314");  // the hex text of the last reply

  mdi().action("HlstoryMonitoring")->trigger();
  // The export: the header and every row, GBK, CR LF, ".csv" added.
  dialogs.fileNames.push_back(dir.path() + "/days");
  click("Command8");
  EXPECT_EQ(shownTexts(), QStringList{QStringLiteral("导出数据成功")});
  EXPECT_EQ(logCount(QStringLiteral("保存历史信息成功")), 1);
  const QStringList lines = fileText(dir.path() + "/days.csv").split('\n');
  ASSERT_EQ(lines.size(), 6);  // five lines and nothing behind the last CR LF
  EXPECT_EQ(lines.mid(0, 3), (QStringList{kHeaderLine + "\r", "3,12.4,14.4,5.00,2.00,150,60,10,5,0.120,0.050\r",
                                          "2,0.0,0.0,0.00,0.00,0,0,0,0,0.000,0.000\r"}));
  EXPECT_TRUE(lines[4].startsWith("0,11.8,14.1,") && lines[5].isEmpty());

  // The scan was only robbed of the port: its real-time requests go on after the reading.
  clock.advance(ms(15000));
  EXPECT_TRUE(std::ranges::any_of(testing::sentFrames(*line, t0 + 700),
                                  [](const Sent& s) { return s.frame == "01030100002305EF"; }));
}

TEST_F(HistoryScreenTest, FiveYearsReachRegisterF721AndFillEighteenHundredTwentySevenRows) {
  startAndOpen();
  chooseAndWait(kStation1);
  days()->setEditText("1825");
  const std::int64_t t0 = nowMs();
  click("Command5");
  EXPECT_EQ(rows()->rows(), 1827);
  clock.advance(ms(150 * 1825));
  EXPECT_TRUE(history().Timer2.enabled() && edit(history(), "Text2")->text() == "1825(0)");
  clock.advance(ms(150 + 300));
  EXPECT_FALSE(history().Timer2.enabled());
  const std::vector<Sent> sent = historyFrames(t0);
  ASSERT_EQ(sent.size(), 1826u);
  EXPECT_EQ(sent.front(), (Sent{t0 + 150, "0103F721000AA7B3"}));
  EXPECT_EQ(sent.back(), (Sent{t0 + 150 * 1826, "0103F000000AF6CD"}));
  // One day a tick, on the 150 ms grid. The scan goes on meanwhile and gets the line now and
  // then between a reply and the next tick; that tick's request waits for the scan's reply
  // (never more than its window), and the next one is on the grid again. The scan sends at
  // most one request a second.
  int late = 0;
  for (std::size_t i = 0; i < sent.size(); ++i) {
    const int reg = 0xF721 - static_cast<int>(i);
    ASSERT_EQ(
        sent[i].frame,
        hexText(appendCrc(Bytes{1, 3, static_cast<std::uint8_t>(reg >> 8), static_cast<std::uint8_t>(reg), 0, 10})));
    const std::int64_t due = t0 + 150 * static_cast<std::int64_t>(i + 1);
    ASSERT_TRUE(sent[i].atMs >= due && sent[i].atMs <= due + 100) << i << " at " << sent[i].atMs;
    late += sent[i].atMs != due;
  }
  EXPECT_LE(late, 150 * 1826 / 1000);
  EXPECT_EQ(rows()->rows(), 1827);
  EXPECT_EQ((QStringList{rows()->textMatrix(1, 1), rows()->textMatrix(1823, 1), rows()->textMatrix(1823, 2),
                         rows()->textMatrix(1826, 1)}),
            (QStringList{"1825", "3", "12.4", "0"}));
  int filled = 0;
  for (int r = 1; r < rows()->rows(); ++r) filled += rows()->textMatrix(r, 0) == "-1";
  EXPECT_EQ(filled, 1826);
}

TEST_F(HistoryScreenTest, TheDayCountBoxIsClampedWhenTheCursorLeavesIt) {
  startAndOpen();
  mdi().activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&mdi()));
  const auto typeAndLeave = [&](const char* typed) {
    days()->setFocus();
    days()->lineEdit()->selectAll();
    QTest::keyClicks(days(), typed);
    combo(history(), "Combo3")->setFocus();  // the cursor goes elsewhere
    return days()->currentText();
  };
  // The clamping itself is the rule layer's (history_record_test); here only that leaving runs it.
  EXPECT_EQ(typeAndLeave("3000"), "1825");
  EXPECT_EQ(typeAndLeave("abc"), "1");
  EXPECT_TRUE(dialogs.shown.empty());
}

TEST_F(HistoryScreenTest, RefusedStartsOnlyComplain) {
  startAndOpen();
  // No station: only the message.
  days()->setEditText("3");
  click("Command5");
  EXPECT_EQ(shownTexts(), QStringList{QStringLiteral("选择一个可用的站点名")});
  chooseAndWait(kStation1);
  readDays("2", 2);
  ASSERT_EQ(rows()->rows(), 4);
  // No days: the grid is cut back, the message comes, nothing is sent.
  const std::int64_t t0 = nowMs();
  days()->setEditText("");
  click("Command5");
  EXPECT_EQ(shownTexts(), (QStringList{QStringLiteral("选择一个可用的站点名"), QStringLiteral("读取前先选择天数")}));
  EXPECT_TRUE(rows()->rows() == 1 && history().pendingRead == 2 && button(history(), "Command5")->isEnabled());
  clock.advance(ms(1000));
  EXPECT_TRUE(historyFrames(t0).empty());
}

TEST_F(HistoryScreenTest, AStationChangeDuringAReadingRedirectsItAndDropsTheRecords) {
  startAndOpen();
  chooseAndWait(kStation1);
  days()->setEditText("6");
  const std::int64_t t0 = nowMs();
  click("Command5");
  clock.advance(ms(150 * 3 + 120));  // three requests out, their replies in
  EXPECT_EQ(rows()->textMatrix(3, 1), "4");
  const std::int64_t changed = nowMs();
  choose(kStation2);
  EXPECT_TRUE(history().pendingRead == 1 && edit(history(), "LTextBox1")->text() == "2");
  clock.advance(ms(1000));
  const std::vector<Sent> after = testing::sentFrames(*line, changed);
  ASSERT_FALSE(after.empty());
  EXPECT_EQ(after.front().frame, hexText(requestFrame(2, " 03 000A 0011")));  // the device information of the new station
  const std::vector<Sent> records = historyFrames(t0);
  ASSERT_EQ(records.size(), 7u);
  EXPECT_EQ(records[2].frame.substr(0, 2), "01");
  for (std::size_t i = 3; i < records.size(); ++i) EXPECT_EQ(records[i].frame.substr(0, 2), "02") << i;
  // The new station's records have the wrong length for a device information block. Those four
  // days did not answer the reading: it says so, and marks their rows.
  for (int r = 4; r <= 7; ++r) EXPECT_EQ(rowTexts(r).mid(0, 2), (QStringList{"", QStringLiteral("无应答")})) << r;
  EXPECT_EQ(logCount(QStringLiteral("读历史信息成功")), 0);
  EXPECT_EQ(logCount(QStringLiteral("读历史信息完成：4 天无应答")), 1);
}

TEST_F(HistoryScreenTest, MarkedRowsGoToTheChartsTopToBottom) {
  startAndOpen();
  chooseAndWait(kStation1);
  readDays("3", 3);

  // No item chosen: nothing at all.
  click("Command6");
  EXPECT_TRUE(charts.empty());

  pickItem(QStringLiteral("蓄电池最低电压(V)"));
  click("Command6");
  ASSERT_EQ(charts.size(), 1u);
  EXPECT_EQ(charts[0].values, (QList<double>{12.4, 0, 0, 11.8}));
  // 12.4 x 1.1 = 13.64; the labels are the rows' days ago.
  EXPECT_TRUE(charts[0].type == 3 && charts[0].axisMax == 14 && charts[0].title == QStringLiteral("蓄电池最低电压(V)"));
  EXPECT_EQ(charts[0].rowLabels, (QStringList{"3", "2", "1", "0"}));

  // A click anywhere in a row toggles its mark; unmarked rows stay out.
  clickRow(2, 0);
  clickRow(3, 7);
  EXPECT_EQ(rows()->textMatrix(2, 0), "0");
  pickItem(QStringLiteral("最大充电功率(W)"));
  click("Command7");
  ASSERT_EQ(charts.size(), 2u);
  EXPECT_TRUE(charts[1].type == 1 && charts[1].values == (QList<double>{150, 0}));
  EXPECT_EQ(charts[1].rowLabels, (QStringList{"3", "0"}));
  clickRow(2);
  EXPECT_EQ(rows()->textMatrix(2, 0), "-1");

  // Every row unmarked: "曲线" and "柱状图" do nothing, with no message.
  for (int r : {1, 2, 4}) clickRow(r);
  for (int r = 1; r <= 4; ++r) EXPECT_EQ(rows()->textMatrix(r, 0), "0") << r;
  click("Command6");
  click("Command7");
  EXPECT_TRUE(charts.size() == 2u && dialogs.shown.empty());
}

TEST_F(HistoryScreenTest, ExportEdgeCases) {
  startAndOpen();
  const QString name = dir.path() + "/export";
  // Cancelled dialog: nothing. No reading: the dialog first, then only the message.
  click("Command8");
  EXPECT_TRUE(dialogs.shown.empty());
  dialogs.fileNames.push_back(name);
  click("Command8");
  EXPECT_EQ(shownTexts(), QStringList{QStringLiteral("导出数据前先读取数据")});
  EXPECT_TRUE(dialogs.fileNames.empty() && !QFile::exists(name + ".csv"));

  chooseAndWait(kStation1);
  readDays("1", 1);
  // Two exports to one name append: one file with the header twice. The lines themselves are
  // the rule layer's (history_record_test).
  dialogs.fileNames = {name, name + ".csv"};  // typed without the suffix, then chosen in the list
  click("Command8");
  click("Command8");
  EXPECT_EQ(dialogs.shown.size(), 3u);
  const QString text = fileText(name + ".csv");
  EXPECT_TRUE(text.count(kHeaderLine) == 2 && text.endsWith(QStringLiteral("\r\n")));
  // A file that cannot be written: one line in the message window with its name, no success
  // message, the file as it was.
  ASSERT_TRUE(QFile::setPermissions(name + ".csv", QFileDevice::ReadOwner));
  dialogs.fileNames = {name + ".csv"};
  click("Command8");
  EXPECT_EQ(dialogs.shown.size(), 3u);
  EXPECT_EQ(logCount(QStringLiteral("保存历史信息成功")), 2);
  EXPECT_EQ(logCount(QStringLiteral("导出数据失败：无法写入文件 ") + name + ".csv"), 1);
  EXPECT_EQ(fileText(name + ".csv"), text);
}

TEST_F(HistoryScreenTest, TheListRebuildEmptiesTheIdentityAndTheHiddenButtonFillsAColumn) {
  startAndOpen();
  chooseAndWait(kStation1);
  EXPECT_FALSE(edit(history(), "LTextBox6")->text().isEmpty());
  mdi().RefreshAllStations_Click();
  EXPECT_EQ(boxTexts({"LTextBox1", "LTextBox6", "LTextBox7", "LTextBox8"}), QStringList(4, ""));
  EXPECT_EQ(combo(history())->count(), 0);

  history().Command1_Click();
  EXPECT_EQ(rows()->rows(), 100);
  EXPECT_EQ(rows()->textMatrix(1, 2) + "|" + rows()->textMatrix(10, 2) + "|" + rows()->textMatrix(11, 2), "1|10|");
}

// The chart window alone.
class ChartWindowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::testApp();
    ui::setModalRunner([this](ui::DialogForm&) { ++shown; });
  }
  void TearDown() override { ui::setModalRunner({}), ui::discardAll(); }
  int shown = 0;
};

TEST_F(ChartWindowTest, AxisTopsRowsTypesAndResizing) {
  FrmChart& chart = FrmChart::instance();
  EXPECT_TRUE(chart.windowTitle() == QStringLiteral("图标") && chart.isModal());

  chart.showChart({100}, 1, 1, "b");
  EXPECT_TRUE(chart.axisMaximum() == 111 && chart.values() == QList<double>{100} && chart.chartType() == 1 &&
              chart.title() == "b");
  // Only `count` values are drawn.
  chart.showChart({5, 50, 500}, 2, 3, "c");
  EXPECT_EQ(chart.values(), (QList<double>{5, 50}));
  EXPECT_TRUE(chart.axisMaximum() == 56 && !chart.legendShown());
  EXPECT_EQ(chart.rowLabels(), (QStringList{"1", "2"}));  // no labels given: the rows' numbers
  // A long reading: labels thinned to at most 18, the first row's always among them.
  chart.showChart(std::vector<double>(100, 1.0), 100, 1, "d");
  EXPECT_TRUE(chart.rowLabels().size() == 17 && chart.rowLabels().front() == "1");
  EXPECT_EQ(shown, 3);

  // The chart follows the window; a window too small leaves it as it was.
  chart.show();
  chart.resize(900, 600);
  QChartView* view = chart.chartView();
  EXPECT_EQ(view->width(), 900 - 2 * view->x());
  EXPECT_EQ(view->height(), 600 - view->y() - view->x());  // no empty strip under the chart
  chart.resize(20, 20);
  EXPECT_EQ(view->width(), 900 - 2 * view->x());
  chart.hide();
}

}  // namespace
}  // namespace xl
