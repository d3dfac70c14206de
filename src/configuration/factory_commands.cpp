#include "configuration/factory_commands.h"

#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "platform/failure.h"

namespace xl::configuration {

namespace {

struct CommandRow {
  std::string_view literal;
  int pendingRead;
  std::string_view caption;
  std::string_view toolTip;
};

const CommandRow& rowOf(FactoryCommand command) {
  static const CommandRow kRows[] = {
      {" 78 0000 0001", 1, "恢复出厂设置", "恢复设置参数到默认，同时清除历史数据"},
      {" 79 0000 0001", 2, "清除历史数据", "仅清除历史数据"},
      {" 06 E327 0000", 3, "RS485用于通讯模式", ""},
      {" 06 E327 0001", 3, "RS485用于并机模式", ""},
      {" 06 DF01 0001", 5, "系统重启", ""},
  };
  return kRows[static_cast<int>(command)];
}

}  // namespace

std::string_view factoryLiteral(FactoryCommand command) { return rowOf(command).literal; }
int factoryPendingRead(FactoryCommand command) { return rowOf(command).pendingRead; }
std::string_view factoryCaption(FactoryCommand command) { return rowOf(command).caption; }
std::string_view factoryToolTip(FactoryCommand command) { return rowOf(command).toolTip; }

std::optional<Bytes> factoryFrame(FactoryCommand command, std::string_view deviceIdText) {
  std::uint8_t address = 0;
  try {
    address = toByte(val(deviceIdText));
  } catch (const RuntimeFailure&) {
    return std::nullopt;
  }
  return requestFrame(address, factoryLiteral(command));
}

std::string replyDigits(std::string_view replyText) {
  if (replyText.size() <= 2) return {};
  return std::string(replyText.substr(2, 10));
}

FactoryReply factoryReply(int pendingRead, const Bytes& b, std::string_view replyText) {
  FactoryReply r;
  if (b.size() != kFactoryReplyLength || b[0] == 0) return r;
  const std::string digits = replyDigits(replyText);
  switch (pendingRead) {
    case 1:
      if (b[1] == 0x78) r.message = "恢复出厂成功";
      break;
    case 2:
      if (b[1] == 0x79) r.message = "清除数据成功";
      break;
    case 3:
      if (digits == "06E3270000")
        r.text1 = std::string(kCommunicationUseText);
      else if (digits == "06E3270001")
        r.text1 = std::string(kParallelUseText);
      else
        r.text1 = std::string(kUnknownUseText);
      r.message = "设置成功";
      break;
    case 5:
      if (digits == "06DF010001") r.message = "系统复位成功";
      break;
    default: break;
  }
  return r;
}

}  // namespace xl::configuration
