#pragma once
// Helpers of the simulator's tests.

#include <gtest/gtest.h>

#include <optional>

#include "link/frame_codec.h"
#include "platform/scheduler.h"
#include "support/hex_bytes.h"
#include "tools/sim/controller.h"
#include "tools/sim/register_map.h"

namespace xl::sim {

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

// The controller's reply without its CRC, as the console's receive routine hands it on;
// empty when the CRC does not match or nothing came.
inline Bytes verified(const std::optional<Bytes>& reply) {
  if (!reply) return {};
  auto v = verifyFrame(hexText(*reply));
  return v && v->size() > 1 ? *v : Bytes{};
}

}  // namespace xl::sim
