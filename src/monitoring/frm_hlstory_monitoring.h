#pragma once
// FrmHlstoryMonitoring ("历史监控"; the name is spelt as it stands): the day records that a
// charge controller keeps in its own memory, read into a grid, drawn as a curve or as bars,
// and exported to a CSV file.
//
// A reading of N days asks for the records N, N-1, ... 0 days ago, one request every 150 ms
// tick of Timer2, without waiting for replies; each reply fills the grid row the countdown
// points at when it arrives. The reading goes on while the screen is hidden. It does not stop
// the background scan: every request simply takes the port from it (the session closes the
// scan's control first), so the scan loses its requests for as long as the reading lasts.
// The rules (requests, countdown, rows, marks, chart values, export lines) are in
// history_record.h; this file moves texts between them and the controls.

#include <set>

#include "link/serial_session.h"
#include "monitoring/history_record.h"
#include "platform/timer.h"
#include "ui/registry.h"
#include "ui/screen.h"

class QComboBox;
class QLineEdit;
class QPushButton;

namespace xl::platform {
class FlexGrid;
}
namespace xl::ui {
class StationBox;
}

namespace xl::monitoring {

class FrmHlstoryMonitoring : public ui::Screen, public ui::Singleton<FrmHlstoryMonitoring> {
  Q_OBJECT
  friend class ui::Singleton<FrmHlstoryMonitoring>;

 public:
  // --- Named operation, for the shell's list rebuild ------------------------------------------
  // Empties the identity boxes LTextBox1, LTextBox6, LTextBox7, LTextBox8.
  void ClearAll();

  // --- Handlers ---------------------------------------------------------------------------------
  void Combo1_Click();
  void Combo1_Change() { Combo1_Click(); }
  void Combo2_LostFocus();
  void Command5_Click();
  void Command6_Click() { drawChart(kLineChart); }
  void Command7_Click() { drawChart(kBarChart); }
  void Command8_Click();
  void Command1_Click();
  void VsFList1_Click(int row);
  void Timer2_Timer();
  void readDatasA1(Bytes& reply);
  void showHistoryDay(Bytes& reply);

  // --- State, for tests -------------------------------------------------------------------------
  const HistoryReading& reading() const { return reading_; }
  std::int32_t pendingRead = 0;  // 1 device information, 2 history record
  int portNumber() const { return MSComm1.portNumber(); }

  platform::Timer Timer1;  // 300 ms; enabled by the device information, does nothing
  platform::Timer Timer2;  // 150 ms, the request pacer

 private:
  FrmHlstoryMonitoring();
  ~FrmHlstoryMonitoring() override;
  void drawChart(short chartType);
  void showIdle();
  // After the last request: once every exchange of the reading has ended, the log line tells
  // whether every day answered, and the rows that did not are marked.
  void concludeReading();
  GridRows gridRows() const;

  ui::StationBox* Combo1;
  QLineEdit *LTextBox1, *LTextBox6, *LTextBox7, *LTextBox8;
  QComboBox* Combo2;  // days, editable
  QLineEdit* Text2;   // the countdown in Combo2's place
  QComboBox* Combo3;  // the item of the charts
  QPushButton *Command5, *Command6, *Command7, *Command8;
  QPushButton* Command1;  // hidden
  QLineEdit* Text1;       // hidden: the hex text of each reply
  platform::FlexGrid* VsFList1;
  HistoryReading reading_;
  bool concluding_ = false;     // the last request has left; its exchanges may still run
  std::set<int> answeredRows_;  // rows of this reading that a reply filled
  link::SerialSession MSComm1;
};

}  // namespace xl::monitoring
