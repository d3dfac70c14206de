#include "configuration/device_id.h"

#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "platform/failure.h"

namespace xl::configuration {

Bytes addressPollFrame(std::uint8_t address) { return appendCrc(Bytes{address, 0x03, 0x00, 0x0A, 0x00, 0x01}); }

std::optional<PollTick> AddressScan::tick() {
  if (!running_) return std::nullopt;
  ++scanAddress_;
  PollTick t;
  t.address = scanAddress_;
  t.frame = addressPollFrame(static_cast<std::uint8_t>(scanAddress_));
  if (scanAddress_ >= kLastPollAddress) {
    t.lastOfPass = true;
    running_ = false;
  }
  return t;
}

std::optional<std::uint8_t> foundAddress(const Bytes& verified, std::string_view replyText) {
  if (verified.empty() || verified[0] == 0 || replyText.empty()) return std::nullopt;
  return verified[0];
}

AddressWrite addressWrite(std::uint8_t target, std::string_view newAddressText) {
  AddressWrite w;
  std::uint8_t address = 0;
  try {
    address = toByte(val(newAddressText));
  } catch (const RuntimeFailure&) {
    w.failureLog = "设备ID设置失败：新的设备ID不是0到255之间的数，未发送任何数据";
    return w;
  }
  w.frame = appendCrc(Bytes{target, 0x06, 0x00, 0x1A, 0x00, address});
  return w;
}

std::string addressWriteMessage(const Bytes& verified, std::string_view replyText) {
  return foundAddress(verified, replyText) ? std::string(kAddressWrittenText) : std::string();
}

}  // namespace xl::configuration
