#pragma once
// FrmMonitoring1 ("日常监控"): the second face of the station watched on FrmRealTimeMonitoring.
// The day's extremes and totals of the controller, and three moving curves (voltage, current,
// power) with a line each for the array, the battery and the load.
//
// Its values arrive through FrmRealTimeMonitoring::readDatasA2, which also draws the curves;
// of its own it sends one real-time request 900 ms after a station choice, so the day boxes
// fill once even with monitoring off. Station, start/stop state and identity are mirrored
// with the real-time screen, through the named operations below and DailyPartner.

#include "link/serial_session.h"
#include "monitoring/stale_mark.h"
#include "platform/timer.h"
#include "ui/auto_start.h"
#include "ui/registry.h"
#include "ui/screen.h"

class QLineEdit;
class QPushButton;

namespace xl::ui {
class StationBox;
}

namespace xl::monitoring {

class DayChart;

// What the daily screen asks of the real-time screen, which registers itself here. (The
// real-time screen calls the daily screen by name; this keeps the daily screen free of it.)
class DailyPartner {
 public:
  virtual ~DailyPartner();
  virtual void setCombo1Text(const QString& text) = 0;
  virtual void Command2Click() = 0;
  virtual void Command9Click() = 0;
};

class FrmMonitoring1 : public ui::Screen, public ui::Singleton<FrmMonitoring1> {
  Q_OBJECT
  friend class ui::Singleton<FrmMonitoring1>;

 public:
  static constexpr int kChartPoints = 30;
  static void setPartner(DailyPartner* partner);

  // --- Named operations, for the real-time screen -----------------------------------------
  // Writes the station box as code does: when the text differs, the change event runs.
  void setCombo1Text(const QString& text);
  // Start and stop as shown here: Command2, Command9 and Combo1.
  void showRunning(bool running);
  // True while monitoring runs here (Command2 disabled): the curves then move.
  bool monitoringRuns() const;
  // The identity boxes LTextBox3 (model), LTextBox4 (device version), LTextBox5 (serial).
  enum class Identity { Model, DeviceVersion, SerialNumber };
  QString identityText(Identity which) const;
  void setIdentityText(Identity which, const QString& text);
  // The three curves: 0 voltage, 1 current, 2 power.
  void updateCurve(int curve, double array, double battery, double load, double& axisTop);
  // Fills the ten day boxes; no length test, a short reply fills those it holds.
  void readDatasA2(Bytes& reply);
  void ClearAll();
  // Whether the values are shown as stale now ("最后应答 N 秒前" beside the clock).
  bool showsStale() const { return staleMark_.stale(); }
  // Lets go of this screen's line at once (stop): its request out or waiting is given up.
  void releaseLine() { MSComm1.abandon(); }

  // --- Handlers -----------------------------------------------------------------------------
  void readDatasA1(Bytes& reply);
  void Combo1_Click();
  void Combo1_Change();
  void Command2_Click();
  void Command9_Click();
  void Command9Click() { Command9_Click(); }
  void Timer1_Timer();
  void Timer2_Timer();

  platform::Timer Timer1;   // 900 ms, one real-time request after a choice
  platform::Timer Timer2;   // 1000 ms, the clock
  ui::AutoStart autoStart;  // Timer3, 5000 ms
  std::int32_t pendingRead = 0;

 private:
  FrmMonitoring1();
  ~FrmMonitoring1() override;
  QLineEdit* identityBox(Identity which) const;

  ui::StationBox* Combo1;
  QLineEdit *LTextBox2, *LTextBox3, *LTextBox4, *LTextBox5;
  QLineEdit* Text1;  // the hex text of the last own reply; not shown
  QLineEdit* Text3;  // the clock
  // The day values, in the order of the reply.
  QList<QLineEdit*> dayBoxes_;
  // The captions over the curves.
  QLineEdit *Text2, *Text4, *Text5;
  DayChart* charts_[3];
  QPushButton* Command2;
  QPushButton* Command9;
  link::SerialSession MSComm1;
  QLabel* staleLabel_;
  StaleMark staleMark_;
};

}  // namespace xl::monitoring
