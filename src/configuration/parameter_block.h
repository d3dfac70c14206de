#pragma once
// The control parameter block of a charge controller: 33 holding registers from 0xE001, read
// whole and written whole, and the boxes of the control parameter screen that show them.
//
// The screen keeps its values in its boxes. Here the boxes are a plain value,
// `ParameterBoxes`, keyed by the control names of the screen ("LTextBox12", "Combo2", ...),
// and every routine of the screen that is not drawing is a function over that value: the
// screen copies its widgets into a ParameterBoxes, calls a function, and copies the result back.
//
// Registers, as the reply holds them (byte 0 address, 1 function, 2 count, data from 3; the
// write request carries the same register at index + 4):
//   0xE001 SetChargeCurr /100   0xE002 LTextBox8            0xE003 high Combo4 (system volts)
//   0xE003 low, 0xE004 high: not shown, echoed              0xE004 low Combo2 (battery type)
//   0xE005..0xE00E voltages /10: LTextBox12 TextLimit LTextBox16 18 20 22 38 40 36 34
//   0xE00F LTextBox24 (high) LTextBox44 (low)    0xE010 LTextBox45   0xE011 LTextBox28
//   0xE012 LTextBox29   0xE013 LTextBox32   0xE014 LTextBox10, shown with a minus sign
//   0xE015..0xE020 not shown, echoed (the load block 0xE01D..0xE01F lies among them)
//   0xE021 high: bit 2 is Combo3 (charge by SOC), the other bits are written as 0; low: echoed
//
// No Qt. Failures of the number conversions are caught here; nothing throws past these
// functions.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/bytes.h"
#include "platform/failure.h"
#include "link/device_data_map.h"

namespace xl::configuration {

// The controls of the screen that hold a value, by their names.
enum class Control : int {
  // Read-only boxes filled from the device information block and the station table.
  LTextBox1,     // "设备ID", device address
  LTextBox2,     // "额定电压(V)", rated voltage text
  LTextBox3,     // "额定负载电流(A)"
  LTextBox4,     // "额定充电电流(A)"
  SetCurrText2,  // reference column of "设置充电电流(A)": copy of LTextBox4
  // The current column.
  SetChargeCurr,
  LTextBox8,
  LTextBox10,
  LTextBox12,
  TextLimit,
  LTextBox16,
  LTextBox18,
  LTextBox20,
  LTextBox22,
  LTextBox24,
  LTextBox28,
  LTextBox29,
  LTextBox32,
  LTextBox34,
  LTextBox36,
  LTextBox38,
  LTextBox40,
  LTextBox44,
  LTextBox45,
  // Drop-down lists: a text that the list does not hold cannot be chosen.
  Combo2,  // "电池类型"
  Combo3,  // "充电模式"
  Combo4,  // "蓄电池系统电压"
};
inline constexpr std::size_t kControlCount = static_cast<std::size_t>(Control::Combo4) + 1;

// Every control, in the order of the enumeration.
const std::array<Control, kControlCount>& allControls();
// The object name of a control ("LTextBox12"), and back; nullopt for a name that is not one.
std::string_view controlName(Control c);
std::optional<Control> controlNamed(std::string_view name);
// The caption beside a control on the screen ("超压电压（V）").
std::string_view captionOf(Control c);
bool isList(Control c);

// The entries of a list, in list order. Combo2: "User", "Flooded", "Sealed", "Gel", "LI";
// Combo3: "Volt.Comp.", "SOC"; Combo4: "Auto", "12V", "24V", "36V", "48V". Empty for a text box.
const std::vector<std::string>& listEntries(Control list);

// The values of the screen's boxes: a text for each text box, a chosen entry (-1 for none) for
// each list, and the enabled state of every control. A new value is a screen just loaded:
// every text empty, no entry chosen, every control enabled.
//
// The setters change the value and nothing else: no rule runs. The rules that follow a change
// (a list's click, LTextBox10's change rule) are in parameter_rules.h.
class ParameterBoxes {
 public:
  // The text of a text box; for a list, the text of its chosen entry ("" when none).
  const std::string& text(Control c) const;
  // Sets a text box. For a list: chooses the entry with exactly this text and returns true, or
  // returns false and changes nothing when the list has no such entry.
  bool setText(Control c, std::string text);

  // The chosen entry of a list, -1 for none (also for a text box).
  int listIndex(Control list) const;
  // Chooses entry `index` of a list, or none with -1. An index outside the list is refused
  // (false, nothing changes), as the list control refuses it.
  bool setListIndex(Control list, int index);

  bool enabled(Control c) const { return enabled_[index(c)]; }
  void setEnabled(Control c, bool on) { enabled_[index(c)] = on; }

  bool operator==(const ParameterBoxes&) const = default;

 private:
  static std::size_t index(Control c) { return static_cast<std::size_t>(c); }
  std::array<std::string, kControlCount> texts_{};
  std::array<int, kControlCount> listIndex_ = initialIndexes();
  std::array<bool, kControlCount> enabled_ = initialEnabled();

  static std::array<int, kControlCount> initialIndexes();
  static std::array<bool, kControlCount> initialEnabled();
};

// The screen's state besides its controls.
struct ParameterBlockState {
  // The last parameter reply as verifyFrame gave it (address, function, count, 66 data bytes);
  // all zero until the first one. Never cleared: a station change keeps it.
  std::array<std::uint8_t, 69> lastBlock{};
  // Set by the first shown block, never reset.
  bool dataRead = false;
  // Whether lastBlock came from the station now chosen: set by a shown block, cleared by
  // stationChosen. A write echoes lastBlock's hidden bytes (the load block among them), so it is
  // never sent to a station whose block was not read since it was chosen.
  bool blockOfStation = false;
};

// The screen calls this when a station is chosen (with clearAll): the kept block belongs to the
// station before. dataRead and lastBlock stay.
void stationChosen(ParameterBlockState& state);

// ---- Requests ---------------------------------------------------------------------------

// The command literals after the address: the device information block and the parameter block.
inline constexpr std::string_view kDeviceInfoLiteral = link::kDeviceInfoRequest;
inline constexpr std::string_view kParameterReadLiteral = " 03 E001 0021";

// What the receive routine expects (`pendingRead`).
enum PendingRead : std::int32_t { kPendingRatedInfo = 1, kPendingBlock = 2, kPendingSetResult = 3 };

// ---- The texts of the screen ------------------------------------------------------------

inline constexpr std::string_view kChooseStationMessage = "选择一个可用的站点名";
inline constexpr std::string_view kReadFirstMessage = "请先读数据";
inline constexpr std::string_view kLithiumAutoMessage = "锂电池不支持自动识别!";
inline constexpr std::string_view kSetFailedMessage = "错误参数设置";
inline constexpr std::string_view kSetDoneMessage = "参数设置成功";
inline constexpr std::string_view kNoLoadText = "该设备无负载";

// The reference column ("参考值") beside each current box, in the order in which "恢复默认值"
// copies it. The reference of SetChargeCurr is SetCurrText2, the rated charge current; every
// other reference is a fixed text.
struct ReferenceEntry {
  Control current;             // the box that takes the text
  std::string_view reference;  // the read-only reference box
  std::string_view text;       // its fixed text; empty for SetCurrText2
};
const std::vector<ReferenceEntry>& referenceColumn();

// ---- Routines of the screen -------------------------------------------------------------

// Empties LTextBox1..4, every current text box, TextLimit, SetChargeCurr and SetCurrText2, and
// chooses no entry in Combo2, Combo3, Combo4. Enabled states and the station stay.
void clearAll(ParameterBoxes& boxes);

// The device information reply (37 bytes): rated voltage text into LTextBox2 (24, 48, 60, 72,
// 96 volts; any other byte leaves it), rated load current into LTextBox3 ("该设备无负载" for
// 0), rated charge current "0.00" into LTextBox4 and SetCurrText2. Returns whether it acted:
// then the screen goes on by itself to read the block ("读取").
bool showRatedInfo(ParameterBoxes& boxes, const Bytes& reply);

// The parameter reply (69 bytes): keeps it as lastBlock and fills the boxes in fifteen steps
// (type with its defaults and enabled states, charge mode, then the values), each step on its
// own. Sets dataRead. Returns false, changing nothing, for any other length.
bool showParameterBlock(ParameterBoxes& boxes, ParameterBlockState& state, const Bytes& reply);

// A box whose text cannot be sent. Nothing is sent then.
struct WriteFailure {
  Control control;
  Failure kind;         // TypeMismatch: not a number; Overflow: does not fit its register
  std::string logLine;  // plain Chinese, for the message window
};

// The 73 bytes of the parameter write (function 0x10, 0xE001, 33 registers, 66 data bytes),
// without the CRC, or the first box that fails. Caps SetChargeCurr at the rated current
// (LTextBox4) first, which changes the box even when a later box fails. The address of
// LTextBox1 must be 1 to 255: address 0 would reach every controller on the line.
std::variant<Bytes, WriteFailure> buildParameterWrite(ParameterBoxes& boxes, const ParameterBlockState& state);

// What "设置" does.
struct SetCommand {
  enum class Action {
    ShowMessage,  // a message box with `text`; nothing is sent
    LogFailure,   // `text` goes to the message window; nothing is sent
    Send,         // send `frame` (75 bytes, CRC included) to the station's port
  };
  Action action;
  std::string text;
  Bytes frame;
};
// "请先读数据" before any read, with SetChargeCurr empty, or when no block was read from the
// station chosen now; "锂电池不支持自动识别!" for "LI" with "Auto"; else buildParameterWrite with
// the CRC appended. The screen sets pendingRead to 3 before it sends.
SetCommand command2Click(ParameterBoxes& boxes, const ParameterBlockState& state);

// The message for the reply to a write: six bytes with function 16 "参数设置成功", six bytes
// with another function "错误参数设置", any other length nothing.
std::optional<std::string_view> setResultMessage(const Bytes& reply);

}  // namespace xl::configuration
