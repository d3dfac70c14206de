#pragma once
// The rules of the load configuration screen, apart from its widgets: the read of the load
// block, what a reply puts into the boxes, the write of the block from the screen's state and
// the verdict on each reply.
//
// The load block is three registers from 0xE01D: the load mode, the delay in minutes and the
// light-control switch-on voltage in whole volts. Each register's high byte is 0 in a write
// and ignored in a read. Load modes: 0 light control ("光控开/关", Option3), 1 to 14 light
// control and that many working hours ("光时控", Option5 with the hours in Combo2), 15 manual
// (Option4), 16 debug (Option6), 17 always on (Option7).
//
// The tags of LTextBox2 and LTextBox3 hold what a write sends; the boxes only show a value,
// and a change of a box reaches its tag only while Option3 is selected.
//
// Pure functions and values; no Qt. Texts are UTF-8.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/bytes.h"

namespace xl::configuration {

inline constexpr char kLoadBlockReadLiteral[] = " 03 E01D 0003";
inline constexpr std::size_t kLoadBlockReplyLength = 9;   // last index 8
inline constexpr std::size_t kLoadBlockWriteLength = 13;  // before the CRC

// The screen's texts.
inline constexpr std::string_view kLoadChooseStationText = "选择一个可用的站点名";
inline constexpr std::string_view kLoadReadFirstText = "请先读取数据";
inline constexpr std::string_view kLoadWriteDoneText = "设置参数成功";

// What pendingRead says the screen waits for.
inline constexpr int kLoadPendingRead = 1;
inline constexpr int kLoadPendingWrite = 2;

// The option buttons of Frame1; None when no button is selected.
enum class LoadOption { None, Option3, Option5, Option4, Option6, Option7 };

// The caption of an option button ("光控开/关", "光时控", "手动模式", "调试模式", "常开模式");
// empty for None.
std::string_view loadOptionCaption(LoadOption option);
// The option that shows a load mode: 0 Option3, 1..14 Option5, 15 Option4, 16 Option6,
// 17 Option7, above 17 None (no button stands for it).
LoadOption loadOptionOf(std::uint8_t mode);

// The read request for the station whose DeviceID text is `deviceIdText`: Val of it as the
// address, half to even, then 03 E0 1D 00 03 and the CRC. nullopt when the address does not
// fit a byte, so that no frame of another shape is made from it; the screen then logs
// kLoadAddressRefusedLog.
std::optional<Bytes> loadBlockReadRequest(std::string_view deviceIdText);
inline constexpr std::string_view kLoadAddressRefusedLog = "读取失败：设备ID不是0到255之间的数，未发送任何数据";

// What showLoadBlock puts into the boxes. Every field is the text the control ends with; the
// hidden boxes (LTextBox4, LTextBox5, Combo3, LTextBox8) are kept up though no write uses them.
struct LoadBlockView {
  std::uint8_t mode = 0;  // byte 4
  // The option to select. For a mode above 17 this is None and `keepOption` is set: the
  // option that was selected stays selected.
  LoadOption option = LoadOption::None;
  bool keepOption = false;
  std::string lTextBox2;     // light-control voltage box: byte 8 in mode 0, else empty
  std::string lTextBox2Tag;  // byte 8 in every mode
  std::string lTextBox3;     // delay box: byte 6 in mode 0, else empty
  std::string lTextBox3Tag;  // byte 6 in every mode
  std::string lTextBox4;     // hidden: the voltage less 1 above 3, else empty
  std::string lTextBox5;     // hidden: "1" in mode 0
  std::string combo2;        // the hours: the mode in modes 1 to 14
  std::string combo3;        // hidden: "0" in modes 1 to 14
  std::string lTextBox8;     // hidden: "0" in modes 1 to 14
};

// The seven steps of showLoadBlock for a reply as verifyFrame returns it; nullopt, and nothing
// changes, unless its last index is 8.
std::optional<LoadBlockView> showLoadBlock(const Bytes& reply);

// LTextBox2_Change: the hidden LTextBox4 shows Val of the voltage text less 1, or nothing when
// Val is 3 or less.
std::string lightOffVoltageText(std::string_view lTextBox2Text);

// The screen's state at "设置".
struct LoadScreenState {
  std::string deviceIdText;  // getStationDeviceID(Combo1.Text)
  LoadOption selected = LoadOption::None;
  std::string combo2Text;    // the working hours box
  std::string lTextBox2Tag;  // the voltage that goes out
  std::string lTextBox3Tag;  // the delay that goes out
};

// The outcome of "设置": the frame to send with its CRC, or a message box text, or a line for
// the message window. Exactly one of the three is set.
struct LoadWrite {
  std::optional<Bytes> frame;
  std::string message;     // kLoadReadFirstText when the voltage tag is 0 or less
  std::string failureLog;  // a value that does not fit a byte: nothing is sent
};

// The write: address, 0x10, 0xE0, 0x1D, 0x00, 0x03, 0x06, 0, mode, 0, delay, 0, voltage, CRC.
// The mode comes from the selected option (Option7 17, Option6 16, Option4 15, Option5
// Val(Combo2) as a byte, Option3 0, none 0); delay and voltage are Val of the tags as bytes.
// Every byte conversion rounds half to even and refuses values outside 0..255.
LoadWrite buildLoadWrite(const LoadScreenState& state);

// The message a reply gets: kLoadWriteDoneText for a reply with function 16 while a write is
// pending; nothing otherwise (an exception reply, a read, a reply of address 0 or too short).
std::string loadReplyMessage(int pendingRead, const Bytes& reply);

}  // namespace xl::configuration
