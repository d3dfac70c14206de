#pragma once
// The rules of the device ID screen, apart from its widgets: the address poll that finds the
// one controller on a line, and the write that gives it a new bus address.
//
// A pass polls the addresses 1 to 241 in turn, one a tick, with a one-register read at 0x000A;
// the first sound reply ends it, and the address is taken from that reply's first byte, not
// from the address that was polled. The write sets register 0x001A of the controller found.
//
// Pure functions and values; no Qt. Texts are UTF-8.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/bytes.h"

namespace xl::configuration {

inline constexpr int kLastPollAddress = 241;  // a pass ends with the tick that polls 241
inline constexpr int kPollPaceMs = 300;       // Timer2
inline constexpr int kWriteWaitMs = 500;      // Timer1: the end of the wait for the write's reply

inline constexpr std::string_view kAddressWarningText =
    "读取ID时，采用地址轮询方式，请确认只有一台控制器连接在通讯总线上";
inline constexpr std::string_view kAddressWrittenText = "设备ID设置成功";

// The poll of one address: address 03 00 0A 00 01 CRC; address 1 gives 01 03 00 0A 00 01 A4 08.
Bytes addressPollFrame(std::uint8_t address);

// One tick of a pass: the frame to send and whether the pass ends with it.
struct PollTick {
  Bytes frame;
  int address = 0;
  bool lastOfPass = false;
};

// The pass over the addresses: `scanAddress` is the last address polled, 0 at each start.
class AddressScan {
 public:
  // Command1: a new pass from address 1.
  void start() {
    scanAddress_ = 0;
    running_ = true;
  }
  // A find ends the pass.
  void stop() { running_ = false; }
  bool running() const { return running_; }
  int scanAddress() const { return scanAddress_; }

  // Timer2: the next address and its poll; after the poll of 241 the pass is over. nullopt
  // when no pass runs.
  std::optional<PollTick> tick();

 private:
  int scanAddress_ = 0;
  bool running_ = false;
};

// The address a poll reply reveals: the first byte of the verified reply when it is not 0 and
// the reply text is not empty. The function code and the length do not count, so an exception
// reply ends the search too. nullopt for no bytes, a CRC mismatch (the single 0) or address 0.
std::optional<std::uint8_t> foundAddress(const Bytes& verified, std::string_view replyText);

// The outcome of "设置设备ID": the frame, or a line for the message window when the new
// address is no byte. Exactly one is set.
struct AddressWrite {
  std::optional<Bytes> frame;
  std::string failureLog;
};

// The write of the new address to the controller at `target` (the address found last, 0 when
// none was found): target 06 00 1A 00 new CRC. The new address is Val of the typed text as an
// unsigned byte, half to even: letters give 0, and 0 and 242 to 255 are written as typed; a
// value above 255 or below 0 is refused and nothing is made. A device at 1 gets the address 5
// with 01 06 00 1A 00 05 68 0E.
AddressWrite addressWrite(std::uint8_t target, std::string_view newAddressText);

// The write's reply: kAddressWrittenText for any sound reply (first byte not 0, text not
// empty), whatever it holds; nothing otherwise.
std::string addressWriteMessage(const Bytes& verified, std::string_view replyText);

}  // namespace xl::configuration
