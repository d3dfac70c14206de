#pragma once
// The register map of the simulated controller: which registers can be read and written, and
// the bytes each readable block is made of.
//
// Readable areas, each read whole or in part (a read may not run past the end of its area):
//   0x000A..0x001A  device information (rated values, model, versions, serial, bus address)
//   0x0100..0x0122  real-time block
//   0xE001..0xE021  control parameters (the load block 0xE01D..0xE01F lies inside)
//   0xE327          use of the RS-485 port
//   0xF000 + k      history record of the day k days ago, 10 registers; records overlap in the
//                   address space, so a read starting at 0xF000 + k reads record k
// Writable registers: 0x010A (load switch), 0x001A (bus address), 0xE001..0xE021, 0xE327 (RS-485
// use) and 0xDF01 (restart).

#include <cstdint>
#include <optional>

#include "platform/bytes.h"
#include "tools/sim/device_state.h"

namespace xl::sim {

// Modbus exception codes.
enum class Exception : std::uint8_t {
  None = 0,
  IllegalFunction = 1,
  IllegalAddress = 2,
  IllegalValue = 3,
};

namespace reg {
constexpr std::uint16_t kDeviceInfo = 0x000A;
constexpr std::uint16_t kDeviceInfoCount = 17;
constexpr std::uint16_t kAddress = 0x001A;
constexpr std::uint16_t kRealTime = 0x0100;
constexpr std::uint16_t kRealTimeCount = 35;
constexpr std::uint16_t kLoadSwitch = 0x010A;
constexpr std::uint16_t kRs485Use = 0xE327;
constexpr std::uint16_t kRestart = 0xDF01;
constexpr std::uint16_t kHistory = 0xF000;
constexpr std::uint16_t kHistoryRecordCount = 10;
}  // namespace reg

// A temperature as the real-time block carries it: sign in bit 7, magnitude in bits 0 to 6.
std::uint8_t temperatureByte(int celsius);

// The data bytes of each block, high byte first, as they follow the byte count of a reply.
Bytes deviceInfoBytes(const DeviceState& s);        // 34 bytes
Bytes realTimeBytes(const DeviceState& s);          // 70 bytes
Bytes parameterBytes(const DeviceState& s);         // 66 bytes
Bytes historyRecordBytes(const DayRecord& record);  // 20 bytes

struct ReadResult {
  Exception error = Exception::None;
  Bytes data;  // 2 x count bytes when there is no error
};

// The data of `count` registers from `start`.
ReadResult readRegisters(const DeviceState& s, std::uint16_t start, std::uint16_t count);

// Whether `value` may be written to `reg` (by function 6, or as part of a block write when
// `inBlock` is set): IllegalAddress for a register that cannot be written (or, in a block, one
// outside the parameter block), IllegalValue for a value the register refuses.
Exception checkWrite(std::uint16_t reg, std::uint16_t value, bool inBlock);

// Stores a checked value. Registers with an effect beyond storage (load switch, address) take it
// here; a restart is the caller's to carry out.
void applyWrite(DeviceState& s, std::uint16_t reg, std::uint16_t value);

}  // namespace xl::sim
