#pragma once
// FrmMonitoring1 ("日常监控"): the second face of the station watched on FrmRealTimeMonitoring.
// The day's extremes and totals of the controller, and three moving curves (voltage, current,
// power) with a line each for the array, the battery and the load.
//
// Its values arrive through FrmRealTimeMonitoring::readDatasA2, which also draws the curves;
// of its own it sends one real-time request 900 ms after a station choice, so the day boxes
// fill once even with monitoring off. Station, start/stop state and identity are mirrored
// with the real-time screen.

#include <QWidget>

#include "link/serial_session.h"
#include "platform/singleton.h"
#include "platform/timer.h"

class QComboBox;
class QLineEdit;
class QPushButton;

namespace xl::monitoring {

class DayChart;

class FrmMonitoring1 : public QWidget, public platform::Singleton<FrmMonitoring1> {
  Q_OBJECT
  friend class platform::Singleton<FrmMonitoring1>;

 public:
  void readDatasA1(Bytes& reply);
  // Fills the ten day boxes; no length test, a short reply fills those it holds.
  void readDatasA2(Bytes& reply);

  // Writes the station box as code does: when the text differs, the change event runs.
  void setCombo1Text(const QString& text);

  void Combo1_Click();
  void Combo1_Change();
  void Command2_Click();
  void Command9_Click();
  void Command9Click() { Command9_Click(); }
  void Timer1_Timer();
  void Timer2_Timer();
  void Timer3_Timer();
  void ClearAll();

  QComboBox* Combo1;
  QLineEdit *LTextBox2, *LTextBox3, *LTextBox4, *LTextBox5;
  QLineEdit* Text1;  // the hex text of the last own reply; not shown
  QLineEdit* Text3;  // the clock
  // The day values, in the order of the reply.
  QLineEdit *Text23, *Text22, *Text21, *Text20, *Text24, *Text25, *Text26, *Text27, *Text8, *Text12;
  // The captions over the curves.
  QLineEdit *Text2, *Text4, *Text5;
  DayChart *MSChart1, *MSChart2, *MSChart3;
  QPushButton* Command2;
  QPushButton* Command9;

  platform::Timer Timer1;  // 900 ms, one real-time request after a choice
  platform::Timer Timer2;  // 1000 ms, the clock
  platform::Timer Timer3;  // 5000 ms, automatic start
  link::SerialSession MSComm1;

  std::int32_t pendingRead = 0;
  std::int32_t autoStartPending = 0;

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  FrmMonitoring1();
  ~FrmMonitoring1() override;

  bool keepEmptyAfterInsert_ = false;
};

}  // namespace xl::monitoring
