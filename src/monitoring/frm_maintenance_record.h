#pragma once
// FrmMaintenanceRecord ("数据保存"): the data recorder's screen.
//
// What stands so far: its station grid VSFlexGrid1 (one row per station, in the same order as
// the global monitor's table, holding each station's last real-time reply as cell data of
// column 0, and the station's mark), and Timer1, which applies the configuration: the marks and
// the read interval of the global monitor. The CSV saving is not built yet.

#include <QWidget>

#include "platform/flex_grid.h"
#include "platform/singleton.h"
#include "platform/timer.h"

class QComboBox;

namespace xl::monitoring {

class FrmMaintenanceRecord : public QWidget, public platform::Singleton<FrmMaintenanceRecord> {
  Q_OBJECT
  friend class platform::Singleton<FrmMaintenanceRecord>;

 public:

  // Applies the configuration once, then turns itself off.
  void Timer1_Timer();

  platform::FlexGrid* VSFlexGrid1;  // 0 mark, 1 StationName, 2 DeviceID, 3 file (hidden), 4 (hidden)
  QComboBox* Combo1;                // "读取间隔(秒)"
  platform::Timer Timer1;

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  FrmMaintenanceRecord();
  ~FrmMaintenanceRecord() override;
  void Form_Load();
};

}  // namespace xl::monitoring
