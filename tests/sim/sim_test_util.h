#pragma once
// Helpers of the simulator's tests.

#include <cctype>
#include <string_view>

#include "platform/bytes.h"
#include "platform/scheduler.h"
#include "support/hex_bytes.h"
#include "tools/sim/controller.h"

namespace xl::sim::testing {

// The bytes of a hex text exactly as printed, CRC included (see support/hex_bytes.h).
inline Bytes hex(std::string_view text) { return xl::testing::hexBytes(text); }

// A station whose values stay as a test sets them: no history, nothing moves.
inline StationOptions frozenStation(std::uint8_t address = 1) {
  StationOptions o;
  o.address = address;
  o.live = false;
  o.plant.historyDays = 0;
  return o;
}

inline platform::Duration at(int milliseconds) { return platform::ms(milliseconds); }

}  // namespace xl::sim::testing
