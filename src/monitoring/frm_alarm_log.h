#pragma once
// FrmAlarmLog ("告警记录"): the alarms of the site. The open alarms at the top (station, device
// ID, text, since, acknowledged by), the history below with a filter by station and by days,
// "确认" to acknowledge the chosen open alarms in the name of the logged-in user (the guest
// may look but not acknowledge), "导出" to write the history shown as a CSV file (GBK, CR LF).
// It reads the alarm log and refreshes at each change of the alarms and every five seconds
// while shown (an agent of the same site may write the log too).
//
// FrmAlarmSettings ("告警设置"): section Alarms of the settings file, for the administrator.

#include <QDate>

#include "engine/alarms/alarm_log.h"
#include "platform/flex_grid.h"
#include "platform/timer.h"
#include "ui/registry.h"
#include "ui/screen.h"

class QCheckBox;
class QComboBox;
class QDateEdit;
class QLineEdit;
class QPushButton;

namespace xl::monitoring {

class FrmAlarmLog : public ui::Screen, public ui::Singleton<FrmAlarmLog> {
  Q_OBJECT
  friend class ui::Singleton<FrmAlarmLog>;

 public:
  void Acknowledge_Click();
  void Export_Click();
  // Reads the log again into both tables, keeping the filter and the chosen open alarms.
  void refresh();
  // The acknowledge button follows the user and the choice.
  void updateButtons();

  platform::Timer Timer1;  // refresh while shown

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  FrmAlarmLog();
  ~FrmAlarmLog() override;
  void fillActive();
  void fillHistory();
  engine::alarms::HistoryFilter historyFilter() const;

  int listener_ = 0;
  platform::FlexGrid* ActiveGrid;
  platform::FlexGrid* HistoryGrid;
  QComboBox* StationFilter;
  QCheckBox* DateFilter;
  QDateEdit* FromDate;
  QDateEdit* ToDate;
  QPushButton* Acknowledge;
  QPushButton* Export;
};

class FrmAlarmSettings : public ui::Screen, public ui::Singleton<FrmAlarmSettings> {
  Q_OBJECT
  friend class ui::Singleton<FrmAlarmSettings>;

 public:
  void Form_Load();       // the file into the boxes
  void Command1_Click();  // 确定: checks, writes, the engine reads the file again
  void Command2_Click();  // 取消

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  FrmAlarmSettings();
  QLineEdit* TextSilentAfter;
  QLineEdit* TextLowSoc;
  QLineEdit* TextCommand;
  QLineEdit* TextKeepDays;
  QPushButton* Command1;
  QPushButton* Command2;
};

}  // namespace xl::monitoring
