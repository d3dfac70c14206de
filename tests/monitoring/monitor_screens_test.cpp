// The real-time and the daily monitor of one station, in the whole console against simulated
// controllers and in virtual time: the requests of a station choice, the automatic start,
// the values and curves fed by the scan, the load switch and the mirroring of the pair.

#include <gtest/gtest.h>

#include <QComboBox>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

#include "link/frame_codec.h"
#include "monitoring/day_charts.h"
#include "monitoring/frm_monitoring1.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "support/two_stations.h"
#include "support/wire_log.h"
#include "tools/sim/bus.h"
#include "ui/form.h"

namespace xl {
namespace {

using monitoring::FrmMonitoring1;
using monitoring::FrmRealTimeMonitoring;
using platform::ms;

using testing::Sent;
using testing::button;
using testing::combo;
using testing::control;
using testing::edit;
using testing::grid;

const QString kStation1 = QStringLiteral("一号站");
const QString kStation2 = QStringLiteral("二号站");

class MonitorScreensTest : public testing::TwoStationFixture {
 protected:
  void SetUp() override {
    TwoStationFixture::SetUp();
    auto& r = station1->state().readings;
    r.soc = 80;
    r.batteryVoltage = 125;   // 12.5 V
    r.batteryCurrent = 333;   // 3.33 A
    r.deviceTemperature = 31;
    r.batteryTemperature = -5;
    r.loadVoltage = 124;
    r.loadCurrent = 150;
    r.loadPower = 18;
    r.panelVoltage = 180;
    r.panelCurrent = 250;
    r.panelPower = 45;
    r.chargeState = 2;
    r.loadOn = true;
    r.today.minBatteryVoltage = 118;
    r.today.maxBatteryVoltage = 141;
  }

  FrmRealTimeMonitoring& live() { return FrmRealTimeMonitoring::instance(); }
  FrmMonitoring1& daily() { return FrmMonitoring1::instance(); }

  // Start-up and discovery; the station lists are filled at 5.6 s.
  void startAndDiscover() {
    start();
    clock.advance(ms(8000));
  }

  // The operator picks a station from the list of the real-time screen.
  void choose(const QString& name) {
    const int index = combo(live())->findText(name);
    ASSERT_GE(index, 0);
    combo(live())->setCurrentIndex(index);
    emit combo(live())->activated(index);
  }

  std::vector<Sent> sentFrom(std::int64_t fromMs) const { return testing::sentFrames(*line, fromMs); }
  static std::string frame(int id, const char* literal) { return hexText(requestFrame(id, literal)); }

  QStringList logLinesEndingWith(const QString& tail) {
    QStringList out;
    for (const QString& l : logLines())
      if (l.trimmed().endsWith(tail)) out << l;
    return out;
  }

};

// A 73-byte real-time block as verifyFrame returns it, all data bytes zero.
Bytes realTimeReply() {
  Bytes r(73, 0);
  r[0] = 1;
  r[1] = 3;
  r[2] = 70;
  return r;
}

TEST_F(MonitorScreensTest, StartUpOpensTheRealTimeScreenAndListsTheStationsWithoutChoosing) {
  startAndDiscover();
  bool inMiddleArea = false;
  for (QMdiSubWindow* w : mdi().mdiArea()->subWindowList())
    if (w->widget() == &live()) inMiddleArea = !w->isHidden() && !live().isHidden();
  EXPECT_TRUE(inMiddleArea);
  EXPECT_EQ(live().windowTitle(), QStringLiteral("实时监控"));
  ASSERT_EQ(combo(live())->count(), 2);
  ASSERT_EQ(combo(daily())->count(), 2);
  EXPECT_TRUE(combo(live())->currentText().isEmpty());
  EXPECT_TRUE(combo(daily())->currentText().isEmpty());
  EXPECT_TRUE(button(live(), "Command2")->isEnabled());
  // Nothing but the scan has spoken, and nothing starts by itself without a choice.
  clock.advance(ms(12000));
  EXPECT_TRUE(dialogs.shown.empty());
  EXPECT_TRUE(logLinesEndingWith(QStringLiteral("开始监控")).isEmpty());

  // The menu items bring the screens to the front.
  mdi().action("Monitoring1")->trigger();
  ASSERT_NE(mdi().mdiArea()->activeSubWindow(), nullptr);
  EXPECT_EQ(mdi().mdiArea()->activeSubWindow()->widget(), &daily());
  mdi().action("RealTimeMonitoring")->trigger();
  EXPECT_EQ(mdi().mdiArea()->activeSubWindow()->widget(), &live());
  // Closing hides the screen and its frame; the screen lives on and the menu shows it again.
  live().close();
  EXPECT_TRUE(FrmRealTimeMonitoring::exists());
  EXPECT_TRUE(live().isHidden());
  EXPECT_TRUE(live().parentWidget()->isHidden());
  mdi().action("RealTimeMonitoring")->trigger();
  EXPECT_FALSE(live().isHidden());
  EXPECT_FALSE(live().parentWidget()->isHidden());
}

TEST_F(MonitorScreensTest, ChoiceSendsInformationThenRealTimeRequestsAndFillsBothScreens) {
  startAndDiscover();
  choose(kStation1);
  clock.advance(ms(1500));
  // The device information at once, the real-time block 300 ms later from this screen and
  // 900 ms later from the daily screen.
  const std::vector<Sent> expected = {{8000, frame(1, " 03 000A 0011")},
                                      {8300, frame(1, " 03 0100 0023")},
                                      {8900, frame(1, " 03 0100 0023")}};
  EXPECT_EQ(sentFrom(7000), expected);

  EXPECT_EQ(combo(daily())->currentText(), kStation1);
  // The identity reaches the daily screen too, without the software version.
  const struct {
    QWidget* screen;
    const char* box;
    const char* text;
  } boxes[] = {{&live(), "LTextBox2", "1"}, {&daily(), "LTextBox2", "1"}, {&live(), "LTextBox3", "XL-MPPT4820"},
               {&live(), "LTextBox4", "V2.1.0"}, {&live(), "SoftSw", "V1.0.4"}, {&live(), "LTextBox5", "16050023"},
               {&daily(), "LTextBox3", "XL-MPPT4820"}, {&daily(), "LTextBox4", "V2.1.0"},
               {&daily(), "LTextBox5", "16050023"}, {&live(), "Text2", "2.50"}, {&live(), "Text3", "18.0"},
               {&live(), "Text4", "45"}, {&live(), "Text9", "12.5"}, {&live(), "Text13", "3.33"},
               {&live(), "Text11", "80"}, {&live(), "Text7", "-5.0"}, {&live(), "Text18", "31.0"},
               {&live(), "Text16", "12.4"}, {&live(), "Text17", "1.50"}, {&live(), "Text15", "18"},
               {&live(), "Text5", "MPPT充电"}, {&live(), "Text14", "已打开"}, {&live(), "Text10", "正常"},
               {&daily(), "Text23", "11.8"}, {&daily(), "Text22", "14.1"}};
  for (const auto& b : boxes)
    EXPECT_EQ(edit(*b.screen, b.box)->text(), QString::fromUtf8(b.text))
        << b.screen->objectName().toStdString() << " " << b.box;
  EXPECT_TRUE(control<QRadioButton>(live(), "Option1")->isChecked());
  EXPECT_FALSE(edit(daily(), "Text12")->text().isEmpty());
  EXPECT_FALSE(edit(daily(), "Text1")->text().isEmpty());  // the hex text of the daily screen's reply
  // Monitoring is off: no point reached the curves.
  EXPECT_EQ(control<monitoring::DayChart>(daily(), "MSChart1")->values(0), QList<double>(30, 0.0));
}

TEST_F(MonitorScreensTest, MonitoringStartsByItselfWithinFiveSecondsWithTwoLogLines) {
  startAndDiscover();
  choose(kStation1);
  // A stop right after the choice does not cancel the automatic start.
  clock.advance(ms(100));
  live().Command9Click();
  EXPECT_EQ(logLinesEndingWith(kStation1 + QStringLiteral(" 停止监控")).size(), 1);
  clock.advance(ms(4900));
  EXPECT_FALSE(button(live(), "Command2")->isEnabled());
  EXPECT_TRUE(button(live(), "Command9")->isEnabled());
  EXPECT_FALSE(combo(live())->isEnabled());
  EXPECT_FALSE(button(daily(), "Command2")->isEnabled());
  EXPECT_TRUE(button(daily(), "Command9")->isEnabled());
  EXPECT_FALSE(combo(daily())->isEnabled());
  EXPECT_TRUE(live().monitoringRuns());
  // Each screen's own timer starts once: two lines for one choice, and no more later.
  EXPECT_EQ(logLinesEndingWith(kStation1 + QStringLiteral(" 开始监控")).size(), 2);
  clock.advance(ms(20000));
  EXPECT_EQ(logLinesEndingWith(kStation1 + QStringLiteral(" 开始监控")).size(), 2);
  EXPECT_TRUE(dialogs.shown.empty());

  // Stop from the daily screen stops both; a full refresh stops them too.
  daily().Command9_Click();
  EXPECT_TRUE(button(live(), "Command2")->isEnabled());
  EXPECT_TRUE(combo(live())->isEnabled());
  EXPECT_EQ(logLinesEndingWith(kStation1 + QStringLiteral(" 停止监控")).size(), 2);
  daily().Command2_Click();
  EXPECT_FALSE(button(live(), "Command2")->isEnabled());
  mdi().RefreshAllStations_Click();
  EXPECT_TRUE(button(live(), "Command2")->isEnabled());
  EXPECT_TRUE(button(daily(), "Command2")->isEnabled());
  EXPECT_EQ(combo(live())->count(), 0);
  EXPECT_TRUE(edit(live(), "Text3")->text().isEmpty());
}

TEST_F(MonitorScreensTest, StartWithoutStationOnlyComplains) {
  startAndDiscover();
  live().Command2_Click();
  daily().Command2_Click();
  ASSERT_EQ(dialogs.shown.size(), 2u);
  EXPECT_EQ(dialogs.shown[0].text, QStringLiteral("选择一个可用的站点名"));
  EXPECT_EQ(dialogs.shown[1].text, QStringLiteral("选择一个可用的站点名"));
  EXPECT_TRUE(button(live(), "Command2")->isEnabled());
  EXPECT_TRUE(button(daily(), "Command2")->isEnabled());
  EXPECT_TRUE(logLinesEndingWith(QStringLiteral("开始监控")).isEmpty());
}

TEST_F(MonitorScreensTest, CurvesScrollOnePointPerScanReplyWithTheAxisTopOnlyGrowing) {
  auto& quiet = station2->state().readings;
  quiet.panelVoltage = quiet.batteryVoltage = quiet.loadVoltage = 0;
  startAndDiscover();
  choose(kStation1);
  clock.advance(ms(10000));  // 18 s: monitoring runs, the first scan reply came at 17.6 s
  auto& r = station1->state().readings;
  auto* voltage = control<monitoring::DayChart>(daily(), "MSChart1");
  QList<double> array = voltage->values(0);
  EXPECT_EQ(array.mid(28), (QList<double>{0, 18.0}));
  EXPECT_EQ(voltage->values(1).last(), 12.5);
  EXPECT_EQ(voltage->values(2).last(), 12.4);
  EXPECT_EQ(live().voltageMax, 20);  // 18 x 1.1 = 19.8
  EXPECT_EQ(voltage->axisMaximum(), 20);
  EXPECT_EQ(control<monitoring::DayChart>(daily(), "MSChart2")->values(0).last(), 2.5);
  EXPECT_EQ(control<monitoring::DayChart>(daily(), "MSChart2")->values(1).last(), 3.33);
  EXPECT_EQ(control<monitoring::DayChart>(daily(), "MSChart3")->values(0).last(), 45);
  // Battery power is the product of the two display texts.
  EXPECT_DOUBLE_EQ(control<monitoring::DayChart>(daily(), "MSChart3")->values(1).last(), 12.5 * 3.33);
  EXPECT_EQ(control<monitoring::DayChart>(daily(), "MSChart3")->values(2).last(), 18);
  EXPECT_EQ(live().powerMax, 50);  // 45 x 1.1 = 49.5

  // The next round, 17 s later, with a higher voltage, then one with a lower one.
  r.panelVoltage = 300;
  clock.advance(ms(17000));
  EXPECT_EQ(voltage->values(0).mid(27), (QList<double>{0, 18.0, 30.0}));
  EXPECT_EQ(live().voltageMax, 34);
  r.panelVoltage = 200;
  clock.advance(ms(17000));
  EXPECT_EQ(voltage->values(0).mid(27), (QList<double>{18.0, 30.0, 20.0}));
  EXPECT_EQ(voltage->axisMaximum(), 34);

  // A stop halts the curves; replies of the own requests still show.
  live().Command9Click();
  r.panelVoltage = 100;
  clock.advance(ms(17000));
  EXPECT_EQ(voltage->values(0).last(), 20.0);

  // A new choice clears the boxes and the axis tops, not the points.
  choose(kStation2);
  EXPECT_TRUE(edit(daily(), "Text23")->text().isEmpty());
  EXPECT_TRUE(edit(live(), "Text3")->text().isEmpty());
  EXPECT_EQ(live().voltageMax, 0);
  EXPECT_EQ(voltage->values(0).last(), 20.0);
  // Station 2 reports zero volts; after its first scan reply the top comes from it alone.
  clock.advance(ms(34000));
  EXPECT_FALSE(button(live(), "Command2")->isEnabled());
  EXPECT_EQ(voltage->values(0).last(), 0);
  EXPECT_EQ(live().voltageMax, 1);
  EXPECT_EQ(voltage->values(0).at(28), 20.0);  // the older point has scrolled one place
}

TEST_F(MonitorScreensTest, WatchedRowOfTheScanShowsTheSecondFaultRegister) {
  for (sim::Controller* s : {station1, station2}) {
    s->state().readings.faultWord = 0;
    s->state().readings.alarmWord = sim::fault::kOverDischarge;  // register 0x0122
  }
  startAndDiscover();
  choose(kStation1);
  clock.advance(ms(11000));  // 19 s: both real-time replies of the pass are in
  auto* table = grid(scan(), "VsFList1");
  EXPECT_EQ(table->textMatrix(1, 5), QStringLiteral("过放"));
  EXPECT_EQ(table->textMatrix(2, 5), QStringLiteral("正常"));
  EXPECT_EQ(edit(live(), "Text10")->text(), QStringLiteral("过放"));
  // The recorder keeps the reply as it came, before the exchange.
  const QByteArray stored = recorder().engine().storedReply(1);
  ASSERT_EQ(stored.size(), 73);
  EXPECT_EQ(static_cast<unsigned char>(stored[70]), 0);
  EXPECT_EQ(static_cast<unsigned char>(stored[72]), 1);
}

TEST_F(MonitorScreensTest, ReadDatasA2ExchangesFaultWordsInTheCallersArray) {
  startAndDiscover();
  Bytes r = realTimeReply();
  r[67] = 0x80;  // load on
  r[68] = 3;
  r[69] = 0x00;
  r[70] = 0x10;  // 0x0121: load over-current
  r[71] = 0x00;
  r[72] = 0x09;  // 0x0122: load short and over-discharge
  live().readDatasA2(r);
  // The load group of 0x0122, read after the exchange, overwrites the load state.
  EXPECT_EQ(edit(live(), "Text14")->text(), QStringLiteral("负载短路"));
  EXPECT_EQ(edit(live(), "Text5")->text(), QStringLiteral("均衡充电"));
  // Charge states and lengths are the decoder's (device_data_map_test); a refused reply
  // leaves the boxes as they were.
  Bytes shortReply(72, 0);
  shortReply[0] = 1;
  shortReply[68] = 1;
  live().readDatasA2(shortReply);
  EXPECT_EQ(edit(live(), "Text5")->text(), QStringLiteral("均衡充电"));
  r[67] = 0;
  r[68] = 6;
  live().readDatasA2(r);
  EXPECT_EQ(edit(live(), "Text5")->text(), QStringLiteral("限流充电"));
  EXPECT_TRUE(control<QRadioButton>(live(), "Option2")->isChecked());
}

TEST_F(MonitorScreensTest, LoadModeReplyEnablesTheManualSwitchOnlyForFifteen) {
  startAndDiscover();
  Bytes reply{1, 3, 2, 0, 15};
  live().readDatasA3(reply);
  EXPECT_TRUE(control<QGroupBox>(live(), "Picture9")->isEnabled());
  // Which replies are manual is the decoder's (device_data_map_test); here the switch follows.
  reply[4] = 14;
  live().readDatasA3(reply);
  EXPECT_FALSE(control<QGroupBox>(live(), "Picture9")->isEnabled());
  // A reply the decoder refuses leaves the switch as it was.
  reply[4] = 15;
  live().readDatasA3(reply);
  Bytes longer{1, 3, 4, 0, 16, 0, 0};
  live().readDatasA3(longer);
  EXPECT_TRUE(control<QGroupBox>(live(), "Picture9")->isEnabled());

  // Through the scan: station 1 in manual mode, seen in the load mode pass at 20.6 s.
  station1->state().setParam(sim::param::kLoadMode, sim::param::kManualLoadMode);
  choose(kStation1);
  clock.advance(ms(13000));
  EXPECT_TRUE(control<QGroupBox>(live(), "Picture9")->isEnabled());
}

TEST_F(MonitorScreensTest, LoadButtonsSendTheExactFramesAtMostOneEveryHalfSecond) {
  startAndDiscover();
  choose(kStation1);
  clock.advance(ms(7000));  // 15 s, monitoring runs
  auto release = [](QWidget* w) {
    QMouseEvent e(QEvent::MouseButtonRelease, QPointF(2, 2), QPointF(2, 2), Qt::LeftButton, Qt::NoButton,
                  Qt::NoModifier);
    QCoreApplication::sendEvent(w, &e);
  };
  release(control<QRadioButton>(live(), "Option2"));
  clock.advance(ms(200));
  release(control<QRadioButton>(live(), "Option1"));  // inside the guard: not sent
  clock.advance(ms(400));
  release(control<QRadioButton>(live(), "Option2"));
  clock.advance(ms(100));
  release(control<QRadioButton>(live(), "Option1"));
  clock.advance(ms(500));
  release(control<QRadioButton>(live(), "Option1"));
  clock.advance(ms(100));
  const std::vector<Sent> expected = {{15000, "0106010A0000A834"},
                                      {15600, "0106010A0000A834"},
                                      {16200, "0106010A000169F4"}};
  EXPECT_EQ(sentFrom(15000), expected);
  EXPECT_EQ(live().pendingRead, 4);
  // The device switched; the screen shows it with the next scan reply.
  EXPECT_TRUE(station1->state().readings.loadOn);
  station1->state().readings.loadOn = false;
  clock.advance(ms(1900));  // past the scan's reply of 17.6 s
  EXPECT_EQ(edit(live(), "Text14")->text(), QStringLiteral("已关闭"));
  EXPECT_TRUE(control<QRadioButton>(live(), "Option2")->isChecked());
}

TEST_F(MonitorScreensTest, DownArrowThenHoldingTheVersionLabelShowsTheSoftwareVersion) {
  startAndDiscover();
  live().show();
  auto key = [&](int code) {
    QKeyEvent e(QEvent::KeyPress, code, Qt::NoModifier);
    QCoreApplication::sendEvent(combo(live()), &e);
  };
  auto mouse = [&](QEvent::Type type) {
    QMouseEvent e(type, QPointF(2, 2), QPointF(2, 2), Qt::LeftButton,
                  type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(control<QLabel>(live(), "Label34"), &e);
  };
  key(Qt::Key_Down);
  EXPECT_EQ(live().downKeyFlag, 1);
  mouse(QEvent::MouseButtonPress);
  EXPECT_TRUE(edit(live(), "SoftSw")->isVisibleTo(&live()));
  EXPECT_FALSE(edit(live(), "LTextBox4")->isVisibleTo(&live()));
  mouse(QEvent::MouseButtonRelease);
  EXPECT_FALSE(edit(live(), "SoftSw")->isVisibleTo(&live()));
  EXPECT_TRUE(edit(live(), "LTextBox4")->isVisibleTo(&live()));
  key(Qt::Key_Up);
  EXPECT_EQ(live().downKeyFlag, 0);
  mouse(QEvent::MouseButtonPress);
  EXPECT_FALSE(edit(live(), "SoftSw")->isVisibleTo(&live()));
  EXPECT_TRUE(edit(live(), "LTextBox4")->isVisibleTo(&live()));
}

TEST_F(MonitorScreensTest, ClearingWipesTheCurveCaptionsForGoodAndTheClockRuns) {
  EXPECT_EQ(edit(daily(), "Text2")->text(), QStringLiteral("电压实时曲线(V)"));
  EXPECT_EQ(edit(daily(), "Text4")->text(), QStringLiteral("电流实时曲线(A)"));
  EXPECT_EQ(edit(daily(), "Text5")->text(), QStringLiteral("功率实时曲线(W)"));
  // The start-up's list rebuild clears the screen, captions included.
  startAndDiscover();
  EXPECT_TRUE(edit(daily(), "Text2")->text().isEmpty());
  EXPECT_EQ(edit(daily(), "Text3")->text().size(), 19);  // "YYYY-MM-DD HH:MM:SS"
  // A choice on the daily screen mirrors to the real-time screen, whose change event reads the
  // station; the daily screen asks for the day values 900 ms later.
  combo(daily())->setCurrentIndex(combo(daily())->findText(kStation2));
  emit combo(daily())->activated(combo(daily())->currentIndex());
  EXPECT_EQ(combo(live())->currentText(), kStation2);
  EXPECT_TRUE(edit(daily(), "Text2")->text().isEmpty());
  EXPECT_TRUE(edit(daily(), "Text3")->text().isEmpty());
  clock.advance(ms(1500));
  EXPECT_EQ(edit(daily(), "Text3")->text().size(), 19);
  EXPECT_TRUE(edit(daily(), "Text2")->text().isEmpty());
  EXPECT_TRUE(edit(daily(), "Text4")->text().isEmpty());
  EXPECT_TRUE(edit(daily(), "Text5")->text().isEmpty());
  EXPECT_FALSE(edit(daily(), "Text23")->text().isEmpty());
}

TEST_F(MonitorScreensTest, GreyedControlsNeverAct) {
  startAndDiscover();
  live().show();
  choose(kStation1);
  clock.advance(ms(6000));  // monitoring runs; the station box is locked
  // The load is not in manual mode: the switch is greyed, and a click on it sends nothing.
  Bytes automatic{1, 3, 2, 0, 14};
  live().readDatasA3(automatic);
  auto* on = control<QRadioButton>(live(), "Option1");
  ASSERT_FALSE(on->isEnabled());
  const std::int64_t before = platform::toMs(clock.now());
  QTest::mouseClick(on, Qt::LeftButton);
  QTest::mouseClick(control<QRadioButton>(live(), "Option2"), Qt::LeftButton);
  clock.advance(ms(600));
  for (const Sent& f : sentFrom(before)) EXPECT_NE(f.frame.substr(0, 4), "0106") << f.frame;
  EXPECT_TRUE(station1->state().readings.loadOn);
  // Keys in the locked station box are not taken either.
  ASSERT_FALSE(combo(live())->isEnabled());
  QTest::keyClick(combo(live()), Qt::Key_Down);
  EXPECT_EQ(live().downKeyFlag, 0);
  // In manual mode the same click switches the load.
  Bytes manual{1, 3, 2, 0, 15};
  live().readDatasA3(manual);
  QTest::mouseClick(control<QRadioButton>(live(), "Option2"), Qt::LeftButton);
  clock.advance(ms(100));
  ASSERT_FALSE(sentFrom(before).empty());
  EXPECT_EQ(sentFrom(before).back().frame, "0106010A0000A834");
}

// Chinese characters typed one by one, as an input method hands them over.
void typeInto(QWidget* w, const QString& text) {
  for (QChar c : text) QTest::sendKeyEvent(QTest::Click, w, Qt::Key_unknown, QString(c), Qt::NoModifier);
}

TEST_F(MonitorScreensTest, TypedStationNameStaysWhenTheListsFill) {
  start();
  clock.advance(ms(3000));  // discovery runs; the lists are still empty
  live().show();
  typeInto(combo(live())->lineEdit(), QStringLiteral("二号"));
  clock.advance(ms(5000));  // the lists are filled at 5.6 s
  for (QComboBox* box : {combo(live()), combo(daily())}) {
    EXPECT_EQ(box->count(), 2);
    EXPECT_EQ(box->currentIndex(), -1);
    EXPECT_EQ(box->currentText(), QStringLiteral("二号"));
  }
  // The typed name started monitoring by itself (a name typed is a choice); after a stop,
  // typing goes on where it stopped.
  QTest::mouseClick(button(live(), "Command9"), Qt::LeftButton);
  typeInto(combo(live())->lineEdit(), QStringLiteral("站"));
  EXPECT_EQ(combo(live())->currentText(), kStation2);
  EXPECT_EQ(edit(live(), "LTextBox2")->text(), "2");
}

TEST_F(MonitorScreensTest, StoppedAtFirstSightAndAStopWithoutStationLogsNothing) {
  startAndDiscover();
  for (QWidget* screen : {static_cast<QWidget*>(&live()), static_cast<QWidget*>(&daily())}) {
    EXPECT_TRUE(button(*screen, "Command2")->isEnabled());
    EXPECT_FALSE(button(*screen, "Command9")->isEnabled());
  }
  live().Command9_Click();
  daily().Command9_Click();
  mdi().RefreshAllStations_Click();  // stops both monitors
  EXPECT_TRUE(logLinesEndingWith(QStringLiteral("停止监控")).isEmpty());
  EXPECT_FALSE(button(live(), "Command9")->isEnabled());
}

TEST_F(MonitorScreensTest, EveryBoxHasItsCaptionAsBuddyAndTheModelFits) {
  startAndDiscover();
  mdi().resize(1024, 768);
  mdi().show();
  choose(kStation1);
  clock.advance(ms(1000));
  for (QWidget* screen : {static_cast<QWidget*>(&live()), static_cast<QWidget*>(&daily())}) {
    for (const char* name : {"LTextBox2", "LTextBox3", "LTextBox4", "LTextBox5"}) {
      QLabel* label = ui::labelFor(edit(*screen, name));
      ASSERT_NE(label, nullptr) << name;
      EXPECT_FALSE(label->text().isEmpty());
    }
    QLineEdit* model = edit(*screen, "LTextBox3");
    EXPECT_EQ(model->text(), "XL-MPPT4820");
    EXPECT_GE(model->width(), model->fontMetrics().horizontalAdvance(model->text()) + 8) << screen->objectName().toStdString();
  }
  EXPECT_EQ(ui::labelFor(edit(live(), "Text18"))->text(), QStringLiteral("设备温度(℃)"));
  EXPECT_EQ(ui::labelFor(edit(daily(), "Text12"))->text(), QStringLiteral("用电量（kWh）"));
  mdi().hide();
}

}  // namespace
}  // namespace xl
