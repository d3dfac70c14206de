// The history screen and its chart window in the whole console, against simulated controllers
// in virtual time: the requests of a reading on the wire tick by tick, the rows of the replies,
// the day count box, the marks, the charts and the export file byte for byte.

#include "monitoring/frm_chart.h"
#include "monitoring/frm_hlstory_monitoring.h"
#include "platform/gbk.h"
#include "screen_test.h"

namespace xl::testing {
namespace {

using monitoring::FrmChart;
using monitoring::FrmHlstoryMonitoring;

const QString kHeaderLine = QStringLiteral(
    "天前,蓄电池最低电压(V),蓄电池最高电压(V),最大充电电流(A),最大放电电流(A),最大充电功率(W),"
    "最大放电功率(W),充电安时数(Ah),放电安时数(Ah),发电量(KWh),放电量(KWh)");

class HistoryScreenTest : public ScreenTest {
 protected:
  void SetUp() override {
    ScreenTest::SetUp();
    // The record of the example, three days ago: its reply is
    // 01 03 14 00 7C 00 90 01 F4 00 C8 00 96 00 3C 00 0A 00 05 00 78 00 32 28 09.
    station1->state().setRecord(3, {124, 144, 500, 200, 150, 60, 10, 5, 120, 50});
    station1->state().setRecord(2, {});
    station1->state().setRecord(1, {});
    station1->state().readings.today = {118, 141, 0, 0, 0, 0, 0, 0, 0, 0};
    station2->state().setRecord(1, {130, 150, 100, 100, 20, 20, 3, 3, 40, 40});
    // What a chart window shows: type, axis, values, row labels, legend and title.
    ui::setModalRunner([this](ui::DialogForm& form) {
      const auto& c = static_cast<FrmChart&>(form);
      QStringList v;
      for (double d : c.values()) v << QString::number(d);
      charts << QStringLiteral("type %1 top %2 [%3] rows %4%5 %6")
                    .arg(QString::number(c.chartType()), QString::number(c.axisMaximum()), v.join(' '),
                         c.rowLabels().join(' '), c.legendShown() ? " legend" : "", c.title());
    });
  }
  void TearDown() override { ui::setModalRunner({}), ConsoleFixture::TearDown(); }

  FrmHlstoryMonitoring& history() { return FrmHlstoryMonitoring::instance(); }
  platform::FlexGrid* rows() { return grid(history(), "VsFList1"); }
  QComboBox* days() { return combo(history(), "Combo2"); }

  // Start-up and discovery, then the screen from its menu item.
  void startAndOpen() {
    startAndDiscover();
    mdi().show();
    mdi().action("HlstoryMonitoring")->trigger();
  }
  // A station chosen and its device information read.
  void chooseAndWait(const QString& name) {
    choose(history(), name);
    clock.advance(ms(400));
  }
  // The reading's controls: the day box or the progress box with its text, "读取", the reply
  // awaited, the grid's rows and the request pacer.
  QString readingState() {
    return QStringLiteral("%1%2[%3] read%4 pending %5 rows %6%7")
        .arg(days()->isHidden() ? "" : "days", edit(history(), "Text2")->isHidden() ? "" : "progress",
             edit(history(), "Text2")->text(), enabled({button(history(), "Command5")}),
             QString::number(history().pendingRead), QString::number(rows()->rows()),
             history().Timer2.enabled() ? " pacing" : "");
  }
  // The text of an exported file, as written in GBK.
  static QString fileText(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return platform::fromGbk(file.readAll());
  }
  void click(const char* name) { QTest::mouseClick(button(history(), name), Qt::LeftButton); }
  void pickItem(const QString& item) {
    combo(history(), "Combo3")->setCurrentIndex(combo(history(), "Combo3")->findText(item));
  }
  // A click on a cell of the grid, as the operator makes it.
  void clickRow(int row, int column = 3) {
    const QModelIndex index = rows()->model()->index(row - 1, column);
    rows()->scrollTo(index);
    QTest::mouseClick(rows()->viewport(), Qt::LeftButton, {}, rows()->visualRect(index).center());
  }
  // The history requests on the wire from `fromMs` on (the scan's requests left out).
  std::vector<Sent> historyFrames(std::int64_t fromMs) const {
    std::vector<Sent> out;
    for (const Sent& s : sentFrames(*line, fromMs))
      if (s.frame.size() == 16 && s.frame.substr(2, 3) == "03F") out.push_back(s);
    return out;
  }
  // Cells `from` to `to` of grid row `row`, joined by "|"; column 0 is the mark.
  QString rowText(int row, int from = 0, int to = 11) {
    QStringList out;
    for (int c = from; c <= to; ++c) out << rows()->textMatrix(row, c);
    return out.join('|');
  }
  // A reading of `text` days, to its end and the last reply.
  void readDays(const QString& text, int dayCount) {
    days()->setEditText(text);
    click("Command5");
    clock.advance(ms(150 * (dayCount + 1) + 200));
  }

  QStringList charts;
};

TEST_F(HistoryScreenTest, AtFirstSightRefusedStartsOnlyComplainAndTheListRebuildEmptiesTheIdentity) {
  startAndOpen();
  // The stations that answered, none chosen; the lists.
  EXPECT_EQ(listState(combo(history())) + " " + listState(days()) + " " + listState(combo(history(), "Combo3")) +
                days()->itemText(99),
            "2 editable[] 100 editable[] 10[]100");
  EXPECT_EQ(rowText(0, 1, 1) + QString::number(rows()->rows()) +
                QString::fromStdString(
                    flags({edit(history(), "Text1")->isHidden(), button(history(), "Command1")->isHidden()})),
            QStringLiteral("天前111"));

  // The day count box is clamped when the cursor leaves it (the clamping is the rule layer's).
  mdi().activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&mdi()));
  days()->setFocus();
  days()->lineEdit()->selectAll();
  QTest::keyClicks(days(), "3000");
  combo(history(), "Combo3")->setFocus();  // the cursor goes elsewhere
  EXPECT_EQ(days()->currentText(), "1825");
  // No station: only the message.
  days()->setEditText("3");
  click("Command5");
  chooseAndWait(firstName);
  readDays("2", 2);
  EXPECT_EQ(readingState(), "days[] read+ pending 2 rows 4");
  // No days: the grid is cut back, the message comes, nothing is sent.
  const std::int64_t t0 = nowMs();
  days()->setEditText("");
  click("Command5");
  EXPECT_EQ(dialogTexts(), (QStringList{QStringLiteral("选择一个可用的站点名"), QStringLiteral("读取前先选择天数")}));
  EXPECT_EQ(readingState(), "days[] read+ pending 2 rows 1");
  clock.advance(ms(1000));
  EXPECT_TRUE(historyFrames(t0).empty());

  // The list rebuild empties the identity.
  mdi().RefreshAllStations_Click();
  EXPECT_EQ(texts(history(), {"LTextBox1", "LTextBox6", "LTextBox7", "LTextBox8"}) + listState(combo(history())),
            "|||0 editable[]");
}

TEST_F(HistoryScreenTest, GoldenReadingOfThreeDaysOnTheWireInTheGridAndInTheFile) {
  startAndOpen();
  choose(history(), firstName);
  const std::int64_t chosen = nowMs();
  clock.advance(ms(400));
  EXPECT_EQ(sentFrames(*line, chosen).front(), (Sent{chosen, "0103000A0011A5C4"}));
  EXPECT_EQ(texts(history(), {"LTextBox1", "LTextBox6", "LTextBox7", "LTextBox8"}) +
                (history().Timer1.enabled() ? " timer1" : ""),
            "1|XL-MPPT4820|V2.1.0|16050023 timer1");

  days()->setEditText("3");
  const std::int64_t t0 = nowMs();
  click("Command5");
  EXPECT_EQ(readingState() + QString::number(logCount(QStringLiteral("正在读取历史信息，请稍等..."))),
            "progress[3] read- pending 2 rows 5 pacing1");
  // The reading goes on while the screen is hidden.
  history().close();
  clock.advance(ms(160));
  const QString progress = edit(history(), "Text2")->text();
  // A greyed "读取" does nothing.
  QTest::mouseClick(button(history(), "Command5"), Qt::LeftButton);
  clock.advance(ms(290));
  EXPECT_EQ(progress + QStringLiteral(" %1 ").arg(history().reading().historyDays()) + edit(history(), "Text2")->text(),
            "3(2) 3 3(0)");
  clock.advance(ms(150));
  // The last request has left: idle again; the message waits for the last reply.
  const QString idle = rowText(4, 1, 1) + enabled({button(history(), "Command5")}) +
                       QString::number(logCount(QStringLiteral("读历史信息成功")));
  clock.advance(ms(150));
  EXPECT_EQ(idle + " " + readingState() + QString::number(logCount(QStringLiteral("读历史信息成功"))),
            "+0 days[] read+ pending 2 rows 51");
  clock.advance(ms(300));

  EXPECT_EQ(framesText(historyFrames(t0), "", t0),
            "150:0103F003000A06CD 300:0103F002000A570D 450:0103F001000AA70D 600:0103F000000AF6CD ");
  // Row 4 is today, with the running day values; Text1 holds the hex text of the last reply.
  EXPECT_EQ(rowText(1) + " " + rowText(2) + " " + rowText(4, 1, 3) + " " + edit(history(), "Text1")->text().left(6),
            "-1|3|12.4|14.4|5.00|2.00|150|60|10|5|0.120|0.050 -1|2|0.0|0.0|0.00|0.00|0|0|0|0|0.000|0.000 0|11.8|14.1 "
            "010314");

  mdi().action("HlstoryMonitoring")->trigger();
  // The export: the header and every row, GBK, CR LF, ".csv" added.
  dialogs.fileNames.push_back(dir.path() + "/days");
  click("Command8");
  EXPECT_EQ(dialogTexts().join('|') + QString::number(logCount(QStringLiteral("保存历史信息成功"))) +
                fileText(dir.path() + "/days.csv"),
            QStringLiteral("导出数据成功1") + kHeaderLine +
                "\r\n3,12.4,14.4,5.00,2.00,150,60,10,5,0.120,0.050\r\n2,0.0,0.0,0.00,0.00,0,0,0,0,0.000,0.000\r\n"
                "1,0.0,0.0,0.00,0.00,0,0,0,0,0.000,0.000\r\n0,11.8,14.1,0.00,0.00,0,0,0,0,0.000,0.000\r\n");

  // The scan was only robbed of the port: its real-time requests go on after the reading.
  clock.advance(ms(15000));
  EXPECT_NE(framesText(sentFrames(*line, t0 + 700), "01030100002305EF"), "");
}

TEST_F(HistoryScreenTest, FiveYearsReachRegisterF721AndFillEighteenHundredTwentySevenRows) {
  startAndOpen();
  chooseAndWait(firstName);
  days()->setEditText("1825");
  const std::int64_t t0 = nowMs();
  click("Command5");
  clock.advance(ms(150 * 1825));
  EXPECT_EQ(readingState(), "progress[1825(0)] read- pending 2 rows 1827 pacing");
  clock.advance(ms(150 + 300));
  const std::vector<Sent> sent = historyFrames(t0);
  ASSERT_EQ(QString::number(sent.size()) + (history().Timer2.enabled() ? " pacing" : ""), "1826");
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
  int filled = 0;
  for (int r = 1; r < rows()->rows(); ++r) filled += rows()->textMatrix(r, 0) == "-1";
  EXPECT_EQ(rowText(1, 1, 1) + "|" + rowText(1823, 1, 2) + "|" + rowText(1826, 1, 1) + " " + QString::number(filled),
            "1825|3|12.4|0 1826");
}

TEST_F(HistoryScreenTest, MarkedRowsGoToTheChartsExportsAppendOrFailWholeAndAStationChangeRedirectsAReading) {
  startAndOpen();
  const QString name = dir.path() + "/export";
  // No reading: the dialog first, then only the message.
  dialogs.fileNames.push_back(name);
  click("Command8");
  EXPECT_EQ(dialogTexts(), QStringList{QStringLiteral("导出数据前先读取数据")});
  EXPECT_EQ(flags({dialogs.fileNames.empty(), QFile::exists(name + ".csv")}), "10");

  chooseAndWait(firstName);
  readDays("3", 3);
  click("Command6");  // no item chosen: nothing at all
  pickItem(QStringLiteral("蓄电池最低电压(V)"));
  click("Command6");
  // A click anywhere in a row toggles its mark; unmarked rows stay out.
  clickRow(2, 0);
  clickRow(3, 7);
  EXPECT_EQ(rows()->textMatrix(2, 0), "0");
  pickItem(QStringLiteral("最大充电功率(W)"));
  click("Command7");
  clickRow(2);
  // 12.4 x 1.1 = 13.64; the labels are the rows' days ago.
  EXPECT_EQ(charts.join('\n') + " " + rows()->textMatrix(2, 0),
            QStringLiteral("type 3 top 14 [12.4 0 0 11.8] rows 3 2 1 0 蓄电池最低电压(V)\n"
                           "type 1 top 166 [150 0] rows 3 0 最大充电功率(W) -1"));

  // Two exports to one name append: one file with the header twice. The lines themselves are
  // the rule layer's.
  dialogs.fileNames = {name, name + ".csv"};  // typed without the suffix, then chosen in the list
  click("Command8");
  click("Command8");
  EXPECT_EQ(dialogs.shown.size(), 3u);
  const QString text = fileText(name + ".csv");
  EXPECT_EQ(QString::number(text.count(kHeaderLine)) + text.right(2), "2\r\n");
  // A file that cannot be written: one line in the message window with its name, no success
  // message, the file as it was.
  ASSERT_TRUE(QFile::setPermissions(name + ".csv", QFileDevice::ReadOwner));
  dialogs.fileNames = {name + ".csv"};
  click("Command8");
  EXPECT_EQ(QStringLiteral("%1 %2 %3 ")
                    .arg(dialogs.shown.size())
                    .arg(logCount(QStringLiteral("保存历史信息成功")))
                    .arg(logCount(QStringLiteral("导出数据失败：无法写入文件 ") + name + ".csv")) +
                fileText(name + ".csv"),
            "3 2 1 " + text);

  // A station change during a reading redirects it and drops the records.
  days()->setEditText("6");
  const std::int64_t t0 = nowMs();
  click("Command5");
  clock.advance(ms(150 * 3 + 120));  // three requests out, their replies in
  EXPECT_EQ(rows()->textMatrix(3, 1), "4");
  const std::int64_t changed = nowMs();
  choose(history(), secondName);
  EXPECT_EQ(QString::number(history().pendingRead) + texts(history(), {"LTextBox1"}), "12");
  clock.advance(ms(1000));
  // The device information of the new station first, then its records.
  QString addresses = QString::fromStdString(sentFrames(*line, changed).at(0).frame) + "| ";
  for (const Sent& s : historyFrames(t0)) addresses += QString::fromStdString(s.frame.substr(0, 2)) + " ";
  EXPECT_EQ(addresses, QString::fromStdString(hexText(requestFrame(2, " 03 000A 0011"))) + "| 01 01 01 02 02 02 02 ");
  // The new station's records have the wrong length for a device information block. Those four
  // days did not answer the reading: it says so, and marks their rows.
  EXPECT_EQ(rowText(4, 0, 1) + rowText(5, 0, 1) + rowText(6, 0, 1) + rowText(7, 0, 1) +
                QStringLiteral(" %1 %2")
                    .arg(logCount(QStringLiteral("读历史信息成功")))
                    .arg(logCount(QStringLiteral("读历史信息完成：4 天无应答"))),
            QStringLiteral("|无应答|无应答|无应答|无应答 1 1"));
}

}  // namespace
}  // namespace xl::testing
