// The real-time and the daily monitor of one station, in the whole console against simulated
// controllers and in virtual time: the requests of a station choice, the automatic start,
// the values and curves fed by the scan, the load switch and the mirroring of the pair.

#include <QGroupBox>
#include <QMouseEvent>
#include <QRadioButton>

#include "monitoring/day_charts.h"
#include "monitoring/frm_monitoring1.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "screen_test.h"

namespace xl::testing {
namespace {

using monitoring::DayChart;
using monitoring::FrmMonitoring1;
using monitoring::FrmRealTimeMonitoring;

class MonitorScreensTest : public ScreenTest {
 protected:
  void SetUp() override {
    ScreenTest::SetUp();
    auto& r = station1->state().readings;
    setReadings(r, {80, 125, 333, 31, -5, 124, 150, 18, 180, 250, 45, 2});  // 12.5 V, 3.33 A, ...
    r.today.minBatteryVoltage = 118;
    r.today.maxBatteryVoltage = 141;
  }

  FrmRealTimeMonitoring& live() { return FrmRealTimeMonitoring::instance(); }
  FrmMonitoring1& daily() { return FrmMonitoring1::instance(); }

  // Start, stop and the station list of the real-time screen, then of the daily screen.
  QString controls() {
    return enabled({button(live(), "Command2"), button(live(), "Command9"), combo(live())}) + " " +
           enabled({button(daily(), "Command2"), button(daily(), "Command9"), combo(daily())});
  }
  // The newest point of every curve of the daily screen, and the axis tops of the pair.
  QString newestPoints() {
    QStringList out;
    for (const char* name : {"MSChart1", "MSChart2", "MSChart3"})
      for (int line = 0; line < 3; ++line)
        out << QString::number(control<DayChart>(daily(), name)->values(line).last());
    return out.join(' ') + QStringLiteral(" top %1 %2").arg(live().voltageMax).arg(live().powerMax);
  }
  // A load mode reply of the screen's own request.
  void loadMode(const char* hex) {
    Bytes reply = hexBytes(hex);
    live().readDatasA3(reply);
  }
};

TEST_F(MonitorScreensTest, StartUpListsTheStationsChoosesNoneStartsNothingAndClearsTheCurveCaptionsForGood) {
  const std::initializer_list<const char*> captions = {"Text2", "Text4", "Text5"};
  startAndDiscover();
  // The real-time screen shown in the middle area; the start-up's list rebuild cleared the
  // daily screen, curve captions included, and its clock runs.
  const auto* frame = qobject_cast<QMdiSubWindow*>(live().parentWidget());
  EXPECT_EQ(flags({frame && frame->mdiArea() == mdi().mdiArea(), live().isHidden(), frame->isHidden()}), "100");
  EXPECT_EQ(live().windowTitle() + texts(daily(), captions) + QString::number(edit(daily(), "Text3")->text().size()),
            QStringLiteral("实时监控||19"));  // "YYYY-MM-DD HH:MM:SS"
  EXPECT_EQ(listState(combo(live())) + " " + listState(combo(daily())), "2 editable[] 2 editable[]");
  EXPECT_EQ(controls(), "+-+ +-+");
  // A stop without a station logs nothing; a start only complains; nothing starts by itself.
  live().Command9_Click();
  daily().Command9_Click();
  live().Command2_Click();
  daily().Command2_Click();
  mdi().RefreshAllStations_Click();  // stops both monitors, and lists the stations again
  clock.advance(ms(12000));
  EXPECT_EQ(dialogTexts().join('|') +
                QString::number(logCount(QStringLiteral("开始监控")) + logCount(QStringLiteral("停止监控"))) +
                controls(),
            QStringLiteral("选择一个可用的站点名|选择一个可用的站点名0+-+ +-+"));

  // A choice on the daily screen mirrors to the real-time screen, whose change event reads the
  // station; the daily screen asks for the day values 900 ms later. The captions stay empty.
  choose(daily(), secondName);
  EXPECT_EQ(combo(live())->currentText() + "|" + texts(daily(), {"Text2", "Text3"}), secondName + "||");
  clock.advance(ms(1500));
  EXPECT_EQ(
      QString::number(edit(daily(), "Text3")->text().size()) + texts(daily(), captions) + texts(daily(), {"Text23"}),
      "19||25.3");
}

TEST_F(MonitorScreensTest, ChoiceReadsTheStationStartsMonitoringAndFeedsTheCurves) {
  startAndDiscover();
  mdi().resize(1024, 768);
  mdi().show();
  choose(live(), firstName);
  clock.advance(ms(1500));
  // The device information at once, the real-time block 300 ms later from this screen and
  // 900 ms later from the daily screen.
  EXPECT_EQ(framesText(sentFrames(*line, 7000)), "8000:0103000A0011A5C4 8300:01030100002305EF 8900:01030100002305EF ");
  EXPECT_EQ(combo(daily())->currentText(), firstName);
  EXPECT_EQ(
      texts(live(), {"LTextBox2", "LTextBox3", "LTextBox4", "SoftSw", "LTextBox5", "Text2", "Text3", "Text4", "Text9",
                     "Text13", "Text11", "Text7", "Text18", "Text16", "Text17", "Text15", "Text5", "Text14", "Text10"}),
      QStringLiteral("1|XL-MPPT4820|V2.1.0|V1.0.4|16050023|2.50|18.0|45|12.5|3.33|80|-5.0|31.0|12.4|1.50|18|"
                     "MPPT充电|已打开|正常"));
  // The identity reaches the daily screen too, without the software version.
  EXPECT_EQ(texts(daily(), {"LTextBox2", "LTextBox3", "LTextBox4", "LTextBox5", "Text23", "Text22"}),
            "1|XL-MPPT4820|V2.1.0|16050023|11.8|14.1");
  // The load shown on; the day values and the hex text of the daily screen's reply filled.
  EXPECT_EQ(flags({control<QRadioButton>(live(), "Option1")->isChecked(), edit(daily(), "Text12")->text().isEmpty(),
                   edit(daily(), "Text1")->text().isEmpty()}),
            "100");
  // Monitoring is off: no point reached the curves.
  EXPECT_EQ(control<DayChart>(daily(), "MSChart1")->values(0), QList<double>(30, 0.0));
  mdi().hide();

  // Monitoring starts by itself within five seconds of the choice, each screen's own timer
  // once: two lines for one choice, and no more later.
  clock.advance(ms(3500));
  EXPECT_EQ(controls() + (live().monitoringRuns() ? " runs" : ""), "-+- -+- runs");
  EXPECT_EQ(logCount(firstName + QStringLiteral(" 开始监控")), 2);
  // The second fault register reaches the watched station's box and row of the scan, not the
  // others'.
  for (sim::Controller* s : {station1, station2})
    s->state().readings.alarmWord = sim::fault::kOverDischarge | sim::fault::kLoadShort;
  clock.advance(ms(5000));  // 18 s: the first scan reply came at 17.6 s
  // Battery power is the product of the two display texts; the tops are 18 and 45 x 1.1, up.
  auto* voltage = control<DayChart>(daily(), "MSChart1");
  EXPECT_EQ(newestPoints(), "18 12.5 12.4 2.5 3.33 1.5 45 41.625 18 top 20 50");
  EXPECT_EQ(voltage->values(0).mid(28) << voltage->axisMaximum(), (QList<double>{0, 18.0, 20}));
  clock.advance(ms(1000));
  auto* table = grid(scan(), "VsFList1");
  EXPECT_EQ(table->textMatrix(1, 5) + table->textMatrix(2, 5) + texts(live(), {"Text10", "Text14"}),
            QStringLiteral("过放正常过放|负载短路"));
  // The recorder keeps the reply as it came, before the exchange.
  EXPECT_EQ(recorder().engine().storedReply(1).toHex().mid(140), "000009");  // 73 bytes

  // The next round, 17 s later, with a higher voltage, then one with a lower one.
  auto& r = station1->state().readings;
  r.panelVoltage = 300;
  clock.advance(ms(16000));
  EXPECT_EQ(live().voltageMax, 34);
  r.panelVoltage = 200;
  clock.advance(ms(17000));
  EXPECT_EQ(voltage->values(0).mid(27) << voltage->axisMaximum(), (QList<double>{18.0, 30.0, 20.0, 34}));
  // A stop halts the curves; replies of the own requests still show.
  live().Command9Click();
  r.panelVoltage = 100;
  clock.advance(ms(17000));
  EXPECT_EQ(voltage->values(0).last(), 20.0);
  // A new choice clears the boxes and the axis tops, not the points.
  choose(live(), secondName);
  EXPECT_EQ(texts(daily(), {"Text23"}) + texts(live(), {"Text3"}) +
                QStringLiteral("top %1 last %2").arg(live().voltageMax).arg(voltage->values(0).last()),
            "top 0 last 20");
  // A stop right after the choice does not cancel the automatic start.
  clock.advance(ms(100));
  live().Command9Click();
  clock.advance(ms(33900));
  QString seen =
      controls() +
      QStringLiteral(" %1 %2 ").arg(logCount(secondName + QStringLiteral(" 开始监控"))).arg(dialogs.shown.size());
  // Stop from the daily screen stops both; a full refresh stops them too.
  daily().Command9_Click();
  seen += controls() + QString::number(logCount(secondName + QStringLiteral(" 停止监控")));
  daily().Command2_Click();
  seen += " " + controls() + " ";
  mdi().RefreshAllStations_Click();
  EXPECT_EQ(seen + controls() + " " + listState(combo(live())) + texts(live(), {"Text3"}),
            "-+- -+- 2 0 +-+ +-+2 -+- -+- +-+ +-+ 0 editable[]");
}

TEST_F(MonitorScreensTest, LoadSwitchActsOnlyInManualModeAtMostOneEveryHalfSecond) {
  startAndDiscover();
  live().show();
  choose(live(), firstName);
  clock.advance(ms(6000));  // monitoring runs; the station box is locked
  // The load is not in manual mode: the switch is greyed, and a click on it sends nothing.
  loadMode("01 03 02 00 0E");
  auto* on = control<QRadioButton>(live(), "Option1");
  ASSERT_FALSE(on->isEnabled());
  QTest::mouseClick(on, Qt::LeftButton);
  QTest::mouseClick(control<QRadioButton>(live(), "Option2"), Qt::LeftButton);
  clock.advance(ms(600));
  // Keys in the locked station box are not taken either.
  ASSERT_FALSE(combo(live())->isEnabled());
  QTest::keyClick(combo(live()), Qt::Key_Down);
  EXPECT_EQ(QString::number(live().downKeyFlag) + (station1->state().readings.loadOn ? "on" : "off"), "0on");
  // In manual mode the same click switches the load.
  loadMode("01 03 02 00 0F");
  QTest::mouseClick(control<QRadioButton>(live(), "Option2"), Qt::LeftButton);
  clock.advance(ms(600));
  // At most one every half second: the second release is inside the guard.
  const std::pair<const char*, int> releases[] = {
      {"Option2", 200}, {"Option1", 400}, {"Option2", 100}, {"Option1", 500}, {"Option1", 100}};
  for (const auto& [option, wait] : releases) {
    QMouseEvent e(QEvent::MouseButtonRelease, QPointF(2, 2), QPointF(2, 2), Qt::LeftButton, Qt::NoButton,
                  Qt::NoModifier);
    QCoreApplication::sendEvent(control<QRadioButton>(live(), option), &e);
    clock.advance(ms(wait));
  }
  EXPECT_EQ(framesText(sentFrames(*line, 8000), "0106"),
            "14600:0106010A0000A834 15200:0106010A0000A834 15800:0106010A0000A834 16400:0106010A000169F4 ");
  EXPECT_EQ(live().pendingRead, 4);
  // The device switched; the screen shows it with the next scan reply.
  EXPECT_TRUE(station1->state().readings.loadOn);
  station1->state().readings.loadOn = false;
  clock.advance(ms(1700));  // past the scan's reply of 17.6 s
  EXPECT_EQ(enabled({control<QGroupBox>(live(), "Picture9")}) + texts(live(), {"Text5", "Text14"}) +
                (control<QRadioButton>(live(), "Option2")->isChecked() ? "|off" : "|on"),
            QStringLiteral("+MPPT充电|已关闭|off"));
  // The scan's load mode pass (at 20.6 s) hands the watched station's reply to the screen.
  loadMode("01 03 02 00 0E");
  station1->state().setParam(sim::param::kLoadMode, sim::param::kManualLoadMode);
  clock.advance(ms(3000));
  EXPECT_EQ(enabled({control<QGroupBox>(live(), "Picture9")}), "+");
}

TEST_F(MonitorScreensTest, TypedStationNameStaysWhenTheListsFillAndStartsMonitoring) {
  start();
  clock.advance(ms(3000));  // discovery runs; the lists are still empty
  live().show();
  // Chinese characters typed one by one, as an input method hands them over.
  const auto type = [&](const QString& text) {
    for (QChar c : text)
      QTest::sendKeyEvent(QTest::Click, combo(live())->lineEdit(), Qt::Key_unknown, QString(c), Qt::NoModifier);
  };
  type(QStringLiteral("二号"));
  clock.advance(ms(5000));  // the lists are filled at 5.6 s
  for (QComboBox* box : {combo(live()), combo(daily())})
    EXPECT_EQ(QStringLiteral("%1 %2 ").arg(box->count()).arg(box->currentIndex()) + box->currentText(),
              QStringLiteral("2 -1 二号"));
  // The typed name started monitoring by itself (a name typed is a choice); after a stop,
  // typing goes on where it stopped.
  QTest::mouseClick(button(live(), "Command9"), Qt::LeftButton);
  type(QStringLiteral("站"));
  EXPECT_EQ(combo(live())->currentText() + texts(live(), {"LTextBox2"}), secondName + "2");
}

}  // namespace
}  // namespace xl::testing
