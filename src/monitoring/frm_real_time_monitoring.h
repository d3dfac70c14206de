#pragma once
// FrmRealTimeMonitoring ("实时监控"): one station live, in four panels (solar array, battery,
// load, device) under the device's identity, with a switch for the load in manual mode.
//
// Choosing a station reads the device information and, 300 ms later, one real-time block on
// this screen's own port. After that the values come from the background scan: while
// monitoring runs (Command2 disabled) the scan hands every reply of this station to
// readDatasA2 and readDatasA3. Start and stop only open and shut that gate. The screen works in
// a pair with FrmMonitoring1: station, start/stop state and identity are mirrored on both,
// and this screen feeds the other's day values and curves.

#include <optional>

#include "link/serial_session.h"
#include "monitoring/frm_global_monitoring.h"
#include "monitoring/frm_monitoring1.h"
#include "monitoring/stale_mark.h"
#include "platform/timer.h"
#include "ui/auto_start.h"
#include "ui/registry.h"
#include "ui/screen.h"

class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

namespace xl::ui {
class StationBox;
}

namespace xl::monitoring {

class FrmRealTimeMonitoring : public ui::Screen,
                              public ui::Singleton<FrmRealTimeMonitoring>,
                              public WatchedStation,
                              public DailyPartner {
  Q_OBJECT
  friend class ui::Singleton<FrmRealTimeMonitoring>;

 public:
  // --- Named operations ---------------------------------------------------------------------
  // For the scan (WatchedStation): the station shown, whether monitoring runs, its replies.
  QString watchedName() const override;
  bool monitoringRuns() const override;
  void readDatasA2(Bytes& reply) override;
  void readDatasA3(Bytes& reply) override;
  // For the daily screen (DailyPartner) and the shell: the station box set as code does (the
  // change event runs when the text differs), start and stop.
  void setCombo1Text(const QString& text) override;
  void Command2Click() override { Command2_Click(); }
  void Command9Click() override { Command9_Click(); }
  // For the shell's list rebuild: empties the display.
  void ClearAll();

  // --- Handlers -----------------------------------------------------------------------------
  void readDatasA1(Bytes& reply);
  void Combo1_Click();
  void Combo1_Change();
  void Command2_Click();
  void Command9_Click();
  void Timer1_Timer();
  void Timer5_Timer();
  void Option1_MouseUp();
  void Option2_MouseUp();
  void Label34_MouseDown();
  void Label34_MouseUp();

  // The curves of FrmMonitoring1, fed from the display texts.
  void initCharts();
  void updateVoltageChart(double array, double battery, double load);
  void updateCurrentChart(double array, double battery, double load);
  void updatePowerChart(double array, double battery, double load);

  platform::Timer Timer1;      // 300 ms, one real-time request after a choice
  platform::Timer Timer5;      // 500 ms guard of the load switch
  platform::Timer staleTimer;  // 1000 ms: the values greyed out while the station is stale
  // Whether the values are shown as stale now ("最后应答 N 秒前" beside the station).
  bool showsStale() const { return staleMark_.stale(); }
  ui::AutoStart autoStart;  // Timer6, 5000 ms

  std::int32_t pendingRead = 0;
  std::int16_t downKeyFlag = 0;
  double voltageMax = 0, currentMax = 0, powerMax = 0;
  std::int32_t chartPoints = 0;
  // Intervals the recorder writes here when it applies its settings (seconds: the read interval,
  // and for Timer3 0 below 10). Nothing reads them; the timers they name have no behaviour.
  std::int32_t timer3Interval = 0;
  std::int32_t timer4Interval = 0;

 private:
  FrmRealTimeMonitoring();
  ~FrmRealTimeMonitoring() override;
  void Form_Load();
  void sendToStation(const char* literal);
  void loadSwitch(const char* literal);
  void logLine(const char* what);

  ui::StationBox* Combo1;
  QLineEdit* LTextBox2;                                         // device ID
  QLineEdit* LTextBox3;                                         // model
  QLineEdit* LTextBox4;                                         // device version
  QLineEdit* SoftSw;                                            // software version, hidden
  QLineEdit* LTextBox5;                                         // serial number
  QLabel* Label34;                                              // "设备版本"
  QLineEdit* Text1;                                             // left-over, hidden
  QLineEdit *Text2, *Text3, *Text4, *Text6;                     // solar array
  QLineEdit *Text9, *Text13, *Text11, *Text7, *Text5, *Text10;  // battery
  QLineEdit *Text16, *Text17, *Text15, *Text14;                 // load
  QLineEdit *Text18, *Text19;                                   // device
  QGroupBox* Picture9;                                          // manual load switch
  QRadioButton* Option1;                                        // load on
  QRadioButton* Option2;                                        // load off
  QPushButton* Command2;                                        // start
  QPushButton* Command9;                                        // stop
  link::SerialSession MSComm1;
  QLabel* staleLabel_;
  StaleMark staleMark_;
  // The load state of the last block shown (unknown before one), for a switch with no echo.
  std::optional<bool> shownLoadOn_;
  void loadSwitchEnded();
};

}  // namespace xl::monitoring
