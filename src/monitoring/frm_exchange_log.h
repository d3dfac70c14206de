#pragma once
// FrmExchangeLog ("通讯记录"): the wire view. The newest exchanges of every session (the time
// of the request to the millisecond, port, station, request and reply in hex, verdict), a
// filter by port and by station, pause, copy and save as CSV.
//
// It watches the wire only while it is open: closing it removes its observer and stops its
// timer, so a closed view costs nothing. What it recorded stays for the next opening.

#include <QHash>
#include <QPair>

#include "link/exchange_log.h"
#include "platform/flex_grid.h"
#include "platform/timer.h"
#include "ui/registry.h"
#include "ui/screen.h"

class QComboBox;
class QPushButton;

namespace xl::monitoring {

class FrmExchangeLog : public ui::Screen, public ui::Singleton<FrmExchangeLog> {
  Q_OBJECT
  friend class ui::Singleton<FrmExchangeLog>;

 public:
  // Handlers, public for tests.
  void Pause_Click();
  void Copy_Click();
  void Save_Click();
  void Clear_Click();
  void filterChanged();
  // Takes what the wire brought since the last call into the table (the timer does this).
  void Timer1_Timer();

  bool watching() const { return observer_ != 0; }
  const link::ExchangeLog& log() const { return log_; }
  // The CSV text of the rows shown (header first, CR LF).
  QString csvText() const;

  platform::Timer Timer1;  // takes the new exchanges into the table, twice a second

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  FrmExchangeLog();
  ~FrmExchangeLog() override;
  void startWatching();
  void stopWatching();
  void loadStationNames();
  QString stationOf(const link::Exchange& e) const;
  bool passes(const link::Exchange& e) const;
  void appendRow(const link::Exchange& e);
  void rebuild();
  QStringList fieldsOf(int row) const;

  link::ExchangeLog log_;
  int observer_ = 0;
  std::uint64_t shown_ = 0;  // serial number of the newest exchange taken into the table
  bool paused_ = false;
  QHash<QPair<QString, int>, QString> names_;  // (port, address) -> station name

  QComboBox* PortFilter;
  QComboBox* StationFilter;
  QPushButton* Pause;
  QPushButton* Copy;
  QPushButton* Save;
  QPushButton* Clear;
  platform::FlexGrid* Grid1;
};

}  // namespace xl::monitoring
