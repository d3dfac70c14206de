#pragma once
// Frame codec: the conversion between frame text and bytes, with the Modbus CRC-16.
//
// Requests are written as hex text ("01 03 0100 0023"); replies are turned into hex text by
// the receive routine and checked here. All routines are pure apart from `crcBytes`, the
// two-byte hand-over slot that `crcCompute` fills and its callers read at once.
//
// Failures of the conversions are raised as xl::RuntimeFailure: Overflow when a count or
// index does not fit a byte, Bounds when an odd text gives one pair too many, TypeMismatch
// when a digit pair is not hexadecimal. `verifyFrame` never raises.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/bytes.h"

namespace xl {

// The CRC hand-over slot: [0] goes first into a frame (the CRC's low byte), [1] second.
extern std::array<std::uint8_t, 2> crcBytes;

// The two 256-entry tables of the table-driven Modbus CRC-16.
std::uint8_t crcHiTable(std::uint8_t index);
std::uint8_t crcLoTable(std::uint8_t index);

// CRC-16/MODBUS of data[0..count-1] into crcBytes. `count` must fit a byte (Overflow) and
// lie within the data (Bounds). Returns 0, as the routine always has.
int crcCompute(const Bytes& data, int count);

// The bytes of a hex text (blanks ignored), followed by the two CRC bytes.
Bytes buildFrame(std::string_view text);

// The same bytes followed by their two CRC bytes.
Bytes appendCrc(const Bytes& data);

// The reply without its CRC when the CRC is right; the single byte 0 when it is wrong;
// nullopt (the unset result) when the text is too short, too long or not hexadecimal.
std::optional<Bytes> verifyFrame(std::string_view text);

// high * 256 + low, unsigned, divided by `divisor` when it is 1 or more.
double regValue(std::uint8_t high, std::uint8_t low, std::int32_t divisor);

// Binary digits of `value`, most significant first, padded to at least eight.
std::string byteToBits(std::int32_t value);

// Upper-case hexadecimal of a number given as decimal text, at least two digits.
std::string byteToHex(std::string_view decimalText);

// The hex text a receive routine makes of raw bytes: two upper-case digits a byte, no blanks.
std::string hexText(const Bytes& bytes);

// A request for the device at address `deviceId`: byteToHex of its decimal text followed by
// the command literal (" 03 0100 0023" and the like), through buildFrame.
Bytes requestFrame(std::int32_t deviceId, std::string_view literal);

}  // namespace xl
