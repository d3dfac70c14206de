#pragma once
// Helpers of the simulator's tests.

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "link/frame_codec.h"
#include "platform/bytes.h"
#include "platform/scheduler.h"
#include "support/hex_bytes.h"
#include "tools/sim/controller.h"
#include "tools/sim/register_map.h"

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

// The controller's reply without its CRC, as the console's receive routine hands it on;
// empty when the CRC does not match or nothing came.
inline Bytes verified(const std::optional<Bytes>& reply) {
  if (!reply) return {};
  auto v = verifyFrame(hexText(*reply));
  return v && v->size() > 1 ? *v : Bytes{};
}

// The cases of a text, apart by '|', each cut at its first `mark` into what is given and what
// is expected.
inline std::vector<std::pair<std::string, std::string>> splitCases(std::string_view text, char mark) {
  std::vector<std::pair<std::string, std::string>> cases;
  for (std::size_t from = 0, to; from < text.size(); from = to + 1) {
    to = std::min(text.find('|', from), text.size());
    const std::string_view row = text.substr(from, to - from);
    const std::size_t cut = std::min(row.find(mark), row.size());
    cases.emplace_back(row.substr(0, cut), row.substr(std::min(cut + 1, row.size())));
  }
  return cases;
}

}  // namespace xl::sim::testing

namespace xl::sim {
using testing::at;
using testing::frozenStation;
using testing::hex;
using testing::splitCases;
using testing::verified;
}  // namespace xl::sim
