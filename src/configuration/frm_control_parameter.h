#pragma once
// FrmControlParameter ("控制参数"): the charge parameters of one controller, read as one block,
// edited under the battery rules and written back whole, byte for byte.
//
// The screen only moves text: it copies its boxes into a ParameterBoxes, runs a routine of the
// rule layer (parameter_block.h, parameter_rules.h, parameter_file.h) and puts the result back
// into its boxes. Nothing is computed here. Operator events map onto the rules as follows:
//   a pick in Combo2/Combo3/Combo4     selectEntry (the list's click rule)
//   every edit of LTextBox10's text    lTextBox10Change
//   focus leaving an enabled box       lostFocus (its limits, format and couplings)
//   Timer1, 1000 ms / Timer2, 200 ms   timer1Tick (Combo4 blinks) / timer2Tick (greying)
// The station choice asks for the device information; its answer shows the rated values and
// goes on by itself to the block read ("读取"). "设置" sends only what command2Click returns.
//
// The form is shown modally from the main menu after ClearAll; closing hides it and the boxes
// keep their values.

#include <QHash>
#include <cstdint>

#include "configuration/parameter_block.h"
#include "link/serial_session.h"
#include "platform/timer.h"
#include "ui/registry.h"
#include "ui/screen.h"

class QComboBox;
class QLineEdit;
class QPushButton;

namespace xl::ui {
class StationBox;
}

namespace xl::configuration {

class FrmControlParameter : public ui::Screen, public ui::Singleton<FrmControlParameter> {
  Q_OBJECT
  friend class ui::Singleton<FrmControlParameter>;

 public:
  // --- Named operations ---------------------------------------------------------------------
  // For the menu: empties the rated values and the current column; lists choose nothing.
  void ClearAll();

  // --- Handlers -----------------------------------------------------------------------------
  void Combo1_Click();
  void Command1_Click();  // "读取"
  void Command2_Click();  // "设置"
  void Command3_Click();  // "恢复默认值"
  void Command4_Click();  // "导出设置"
  void Command5_Click();  // "导入设置"
  void Timer1_Timer();
  void Timer2_Timer();

  platform::Timer Timer1;  // 1000 ms: the forbidden pair "LI" + "Auto" blinks
  platform::Timer Timer2;  // 200 ms: disabled boxes greyed

  std::int32_t pendingRead = 0;
  std::uint8_t blinkState = 0;
  const ParameterBlockState& blockState() const { return state_; }

 private:
  FrmControlParameter();
  ~FrmControlParameter() override;
  void Form_Load();
  void build();
  void onReply(Bytes& reply);

  // The boxes as the rule layer sees them, and back. put() changes a widget only where the
  // value differs, without raising its events (the rules already ran).
  ParameterBoxes boxes() const;
  void put(const ParameterBoxes& b);
  template <class F>
  void run(F&& rule) {
    ParameterBoxes b = boxes();
    rule(b);
    put(b);
  }

  QWidget* widgetOf(Control c) const { return widgets_.value(static_cast<int>(c)); }

  ui::StationBox* Combo1 = nullptr;
  QComboBox *Combo2 = nullptr, *Combo3 = nullptr, *Combo4 = nullptr;
  QLineEdit* Text1 = nullptr;  // the last reply as hex text, never visible
  QPushButton *Command1 = nullptr, *Command2 = nullptr, *Command3 = nullptr, *Command4 = nullptr, *Command5 = nullptr;
  QHash<int, QWidget*> widgets_;  // every Control's widget
  ParameterBlockState state_;
  link::SerialSession MSComm1;
};

}  // namespace xl::configuration
