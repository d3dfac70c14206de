#pragma once
// The rules of the factory operation screen, apart from its widgets: the five one-shot
// commands, the verdict on each reply and the status line of the RS-485 port's use.
//
//   Command1 "恢复出厂设置"      " 78 0000 0001"  pendingRead 1  function 0x78
//   Command2 "清除历史数据"      " 79 0000 0001"  pendingRead 2  function 0x79
//   Command3 "RS485用于通讯模式" " 06 E327 0000"  pendingRead 3  0 to register 0xE327
//   Command4 "RS485用于并机模式" " 06 E327 0001"  pendingRead 3  1 to register 0xE327
//   Command5 "系统重启"          " 06 DF01 0001"  pendingRead 5  1 to register 0xDF01
//
// Every reply is six bytes without its CRC. The screen never reads register 0xE327: its status
// line shows the port's use only after a command of this screen.
//
// Pure functions and values; no Qt. Texts are UTF-8.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/bytes.h"

namespace xl::configuration {

enum class FactoryCommand { Command1, Command2, Command3, Command4, Command5 };

inline constexpr std::size_t kFactoryReplyLength = 6;
inline constexpr std::string_view kUnknownUseText = " ";  // Text1 when nothing is known
inline constexpr std::string_view kCommunicationUseText = "当前RS485通讯口用于：通讯";
inline constexpr std::string_view kParallelUseText = "当前RS485通讯口用于：并机";

// The command literal that follows the address, as in the table above.
std::string_view factoryLiteral(FactoryCommand command);
// The pendingRead a command sets: 1, 2, 3, 3, 5.
int factoryPendingRead(FactoryCommand command);
// The caption and the tool tip of a command's button (the tip is empty for 3 to 5).
std::string_view factoryCaption(FactoryCommand command);
std::string_view factoryToolTip(FactoryCommand command);

// The frame of a command to the station whose LTextBox1 holds `deviceIdText`: byteToHex of
// the decimal text of Val of it, the literal, the CRC. An empty box gives address 0 (00).
// nullopt when the address does not fit a byte, so that no frame of another length is ever
// made from it; the screen then logs kFactoryAddressRefusedLog.
std::optional<Bytes> factoryFrame(FactoryCommand command, std::string_view deviceIdText);
inline constexpr std::string_view kFactoryAddressRefusedLog = "设备ID不是0到255之间的数，未发送任何数据";

// The ten digits of a reply text from the third on: the reply without its address and CRC.
// Shorter when the text is.
std::string replyDigits(std::string_view replyText);

// What a reply does to the screen: a message box text (empty for none) and, for the RS-485
// commands, the new status line.
struct FactoryReply {
  std::string message;
  std::optional<std::string> text1;
};

// The dispatch of a verified reply (the session's reply handler gets it without CRC, its first
// byte not 0) by pendingRead: 1 "恢复出厂成功" when byte 1 is 0x78; 2 "清除数据成功" when byte 1 is
// 0x79; 3 "设置成功" for any reply, with the status line from the digits ("06E3270000"
// communication, "06E3270001" parallel, anything else " "); 5 "系统复位成功" when the digits
// are "06DF010001". Every case asks for exactly six bytes; any other reply does nothing,
// an exception reply (three bytes) included, and so does a first byte of 0.
// `replyText` is the screen's field of that name: the hex text of the raw reply, CRC included,
// as the receive routine builds it (link::hexText).
FactoryReply factoryReply(int pendingRead, const Bytes& reply, std::string_view replyText);

}  // namespace xl::configuration
