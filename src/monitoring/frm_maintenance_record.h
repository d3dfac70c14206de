#pragma once
// FrmMaintenanceRecord ("数据保存"): the data recorder.
//
// The screen saves the readings of the marked stations to numbered CSV files on a fixed
// interval, with nobody at the keyboard, and holds the read interval of the global monitor's
// polling. It is made with the station lists at start-up and lives to the end of the program;
// the menu only shows it, modally, and closing it only hides it.
//
// It writes no request. The scan leaves each station's last real-time reply in the station grid
// (cell data of column 0, storedReply); on each save cycle the recorder turns the reply of every
// marked row into a queue row and flushes the queue into the station's current file. The rules
// of rows, lines, files and settings live apart in recorder_line, recorder_files and
// recorder_settings; this screen moves data between its controls, its timers and those rules.
//
// The recorder works from the applied settings only: those read from the settings file when the
// configuration is applied (Timer1, at start and after "确定"). Text being typed into the boxes
// and marks being clicked change nothing until "确定"; "取消" and the close box put every box and
// mark back as applied.
//
// Timers, each with its tag:
//   Timer1 "读配置"     1000 ms  applies the configuration once, then turns itself off
//   Timer2 "保存数据"   1000 ms  counts seconds while Check1 is on, starts a save cycle
//   Timer3 "读数据"      300 ms  one station row per tick during a save cycle
//   Timer4 "启动读数据" 60000 ms, then the read interval in seconds; its tick does nothing

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <deque>
#include <functional>
#include <vector>

#include "core/settings.h"
#include "monitoring/recorder_files.h"
#include "platform/flex_grid.h"
#include "platform/timer.h"
#include "ui/registry.h"
#include "ui/screen.h"

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLineEdit;
class QPushButton;
class QScrollBar;

namespace xl::monitoring {

// A timer of this screen with the tag it bears.
struct TaggedTimer : platform::Timer {
  explicit TaggedTimer(const char* t) : tag(QString::fromUtf8(t)) {}
  const QString tag;
};

class FrmMaintenanceRecord : public ui::Screen, public ui::Singleton<FrmMaintenanceRecord> {
  Q_OBJECT
  friend class ui::Singleton<FrmMaintenanceRecord>;

 public:
  // --- Named operations ---
  // The stations of the grid, loaded by the shell in the order of the scan's table; each new
  // station has the configuration applied again a second later.
  void clearStations();
  void appendStation(const QString& name, const QString& deviceId);
  // Where the time stamps of the rows come from (the present time unless set; tests give the
  // virtual clock's time). An empty function restores the present time.
  void setTimeSource(std::function<QDateTime()> now);
  // A station's mark follows its name, in `settings` (the settings file as a document, which
  // the station editor writes in the same step as the store): a rename moves the key to the new
  // name and drops a key the new name had of its own, a delete removes it. The recorder's
  // fixed keys are never touched. True when the document changed.
  static bool moveStationMark(core::IniDocument& settings, const QString& oldName, const QString& newName);
  static bool removeStationMark(core::IniDocument& settings, const QString& name);
  // The applied mark of a station row ("-1" marked), the one the save cycle follows.
  QString appliedMark(int row) const;

  // --- Handlers ---
  void Timer1_Timer();  // applies the configuration; also run by Command3_Click
  void Timer2_Timer();
  void Timer3_Timer();
  void Command1_Click();
  void Command3_Click();
  void Command4_Click();
  void Combo1_Change();
  void VScroll1_Change();
  void VScroll2_Change();
  void LTextBox1_Change();
  void LTextBox3_Change();
  void VSFlexGrid1_Click(int row);
  // Appends one queue row for the current row of the pass from `reply` (its storedReply).
  void parseReading(const QVariant& reply);
  // Chooses each marked station's file and writes out the queue.
  void flushReadings();

  TaggedTimer Timer1{"读配置"};
  TaggedTimer Timer2{"保存数据"};
  TaggedTimer Timer3{"读数据"};
  TaggedTimer Timer4{"启动读数据"};

  std::int32_t saveInterval = 0;   // seconds between save cycles
  std::int32_t saveTicks = 0;      // seconds counted toward saveInterval
  std::int32_t recordCounter = 0;  // save cycles since the last roll of any file; one for all
  int passRow = 0;                 // the row of the save cycle's pass (the grid's Row)

  // The queue of lines on their way to the files (the never-visible VSFlexGrid2).
  const std::deque<PendingRow>& queue() const { return queue_; }
  // Lines dropped so far because they could not be written (a refused folder, a failed write).
  int droppedLines() const { return dropped_; }

 private:
  FrmMaintenanceRecord();
  ~FrmMaintenanceRecord() override;
  void Form_Load();
  void closeEvent(QCloseEvent* event) override;
  // The applied settings, as the boxes showed them when they were applied.
  struct AppliedBoxes {
    QString readInterval, hours, minutes, root, lineCount, sizeLimit;
    bool perLine = false;
    bool autoSaving = false;
  };
  AppliedBoxes boxesNow() const;
  // Puts every box and mark back as applied.
  void showApplied();
  // The first refusal of a typed text the settings file cannot hold as typed; empty when none.
  QString typedTextRefusal() const;
  // The scan leaves a station's last real-time reply here (storedReply).
  void storeReply(int row, const QByteArray& reply);
  QDateTime now() const;
  // Val of the read interval box, as the scan and the real-time screen take it.
  double readIntervalValue() const;

  QComboBox* Combo1;            // "读取间隔(秒)", the read interval
  QCheckBox* PerLine;           // "逐线快速轮询": the scan's fast pace (settings Scan / Per Line)
  QGroupBox* Frame1;            // the group "  自动保存"
  QCheckBox* Check1;            // its switch
  QLineEdit* LTextBox1;         // hours of the save interval
  QScrollBar* VScroll1;         // 0..5, upward
  QLineEdit* LTextBox3;         // minutes of the save interval
  QScrollBar* VScroll2;         // 0..59, upward
  QLineEdit* LTextBox2;         // "文件保存路径：", the root folder
  QPushButton* Command1;        // "浏览"
  QLineEdit* LTextBox4;         // "行计数", the line limit
  QLineEdit* LTextBox5;         // "临时文件大小限制(MB)", the size limit
  platform::FlexGrid* VSFlexGrid1;  // 0 mark, 1 StationName, 2 DeviceID, 3 file (hidden), 4 (hidden)
  QPushButton* Command3;        // "确定"
  QPushButton* Command4;        // "取消"

  AppliedBoxes applied_;
  std::vector<QString> appliedMarks_;  // by station row, from row 1
  // Marks of stations whose names cannot be keys: kept for this run only, by name.
  QHash<QString, QString> runOnlyMarks_;
  QSet<QString> toldNames_;  // such names already named in the message window
  std::deque<PendingRow> queue_;
  RecorderFiles files_;
  int dropped_ = 0;
  std::function<QDateTime()> now_;
};

}  // namespace xl::monitoring
