#pragma once
// Helpers of the simulator's tests.

#include <cctype>
#include <string_view>

#include "platform/bytes.h"
#include "platform/scheduler.h"
#include "tools/sim/controller.h"

namespace xl::sim::testing {

// The bytes of a hex text exactly as printed ("01 03 F0 03 00 0A 06 CD"), CRC included; no CRC
// is computed here, so a printed frame is compared byte for byte.
inline Bytes hex(std::string_view text) {
  Bytes out;
  int high = -1;
  for (char c : text) {
    if (c == ' ') continue;
    const int d = std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : std::toupper(static_cast<unsigned char>(c)) - 'A' + 10;
    if (high < 0) {
      high = d;
    } else {
      out.push_back(static_cast<std::uint8_t>(high * 16 + d));
      high = -1;
    }
  }
  return out;
}

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
