#pragma once
// FrmMaintenanceRecord ("数据保存"): the data recorder.
//
// The screen saves the readings of the marked stations to numbered CSV files on a fixed
// interval, with nobody at the keyboard, and holds the read interval of the global monitor's
// polling. It is made with the station lists at start-up and lives to the end of the program;
// the menu only shows it, modally, and closing it only hides it.
//
// It writes no request and runs no save cycle of its own: the recorder engine (engine/recorder)
// holds the station rows, each station's last real-time reply, the save cycle and the files.
// This screen shows the engine's configuration in its boxes and grid, edits it, and applies it:
// it registers the engine as the scan's reply store and passes the read interval on to the scan.
//
// The recorder works from the applied settings only: those read from the settings file when the
// configuration is applied (Timer1, at start and after "确定"). Text being typed into the boxes
// and marks being clicked change nothing until "确定"; "取消" and the close box put every box and
// mark back as applied.
//
// Timer1 "读配置" (1000 ms) applies the configuration once, then turns itself off; the engine's
// timers are Timer2 "保存数据", Timer3 "读数据" and Timer4 "启动读数据".

#include <QHash>
#include <QSet>

#include "core/settings.h"
#include "engine/recorder.h"
#include "platform/flex_grid.h"
#include "ui/registry.h"
#include "ui/screen.h"

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLineEdit;
class QPushButton;
class QScrollBar;

namespace xl::monitoring {

class FrmMaintenanceRecord : public ui::Screen, public ui::Singleton<FrmMaintenanceRecord> {
  Q_OBJECT
  friend class ui::Singleton<FrmMaintenanceRecord>;

 public:
  // --- Named operations ---
  // The stations of the grid and of the engine, loaded by the shell in the order of the scan's
  // table; each new station has the configuration applied again a second later.
  void clearStations();
  void appendStation(const QString& name, const QString& deviceId);
  // The engine this screen shows and commands.
  engine::Recorder& engine() { return engine_; }
  // A station's mark follows its name, in `settings` (the settings file as a document, which
  // the station editor writes in the same step as the store): a rename moves the key to the new
  // name and drops a key the new name had of its own, a delete removes it. The recorder's
  // fixed keys are never touched. True when the document changed.
  static bool moveStationMark(core::IniDocument& settings, const QString& oldName, const QString& newName);
  static bool removeStationMark(core::IniDocument& settings, const QString& name);

  // --- Handlers ---
  void Timer1_Timer();  // applies the configuration; also run by Command3_Click
  void Command1_Click();
  void Command3_Click();
  void Command4_Click();
  void Combo1_Change();
  void VScroll1_Change();
  void VScroll2_Change();
  void LTextBox1_Change();
  void LTextBox3_Change();
  void VSFlexGrid1_Click(int row);

  engine::TaggedTimer Timer1{"读配置"};

 private:
  FrmMaintenanceRecord();
  ~FrmMaintenanceRecord() override;
  void Form_Load();
  void closeEvent(QCloseEvent* event) override;
  // Puts every box and mark back as applied.
  void showApplied();
  // The first refusal of a typed text the settings file cannot hold as typed; empty when none.
  QString typedTextRefusal() const;

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
  platform::FlexGrid* VSFlexGrid1;  // 0 mark, 1 StationName, 2 DeviceID; 3, 4 hidden and empty (files are the engine's)
  QPushButton* Command3;        // "确定"
  QPushButton* Command4;        // "取消"

  engine::Recorder engine_;
  bool appliedPerLine_ = false;
  // Marks of stations whose names cannot be keys: kept for this run only, by name.
  QHash<QString, QString> runOnlyMarks_;
  QSet<QString> toldNames_;  // such names already named in the message window
};

}  // namespace xl::monitoring
