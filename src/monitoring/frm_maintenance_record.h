#pragma once
// FrmMaintenanceRecord ("数据保存"): the data recorder's screen.
//
// What stands so far: its station grid VSFlexGrid1 (one row per station, in the same order as
// the global monitor's table, holding each station's last real-time reply as cell data of
// column 0, and the station's mark), and Timer1, which applies the configuration: the marks and
// the read interval of the global monitor. The CSV saving is not built yet.

#include "platform/flex_grid.h"
#include "platform/timer.h"
#include "ui/registry.h"
#include "ui/screen.h"

class QComboBox;

namespace xl::monitoring {

class FrmMaintenanceRecord : public ui::Screen, public ui::Singleton<FrmMaintenanceRecord> {
  Q_OBJECT
  friend class ui::Singleton<FrmMaintenanceRecord>;

 public:
  // --- Named operations ---
  // The stations of the grid, loaded by the shell in the order of the scan's table; each new
  // station has the configuration applied again a second later.
  void clearStations();
  void appendStation(const QString& name, const QString& deviceId);

  // Applies the configuration once, then turns itself off.
  void Timer1_Timer();
  platform::Timer Timer1;

 private:
  FrmMaintenanceRecord();
  ~FrmMaintenanceRecord() override;
  void Form_Load();
  // The scan leaves a station's last real-time reply here (storedReply).
  void storeReply(int row, const QByteArray& reply);

  platform::FlexGrid* VSFlexGrid1;  // 0 mark, 1 StationName, 2 DeviceID, 3 file (hidden), 4 (hidden)
  QComboBox* Combo1;                // "读取间隔(秒)"
};

}  // namespace xl::monitoring
