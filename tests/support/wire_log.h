#pragma once
// What the console sent on a simulated line, as timed hex frames, for tests that assert the
// dialogue on the wire.

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "link/frame_codec.h"
#include "platform/sim_bus.h"

namespace xl::testing {

struct Sent {
  std::int64_t atMs;  // when the frame's first byte went out
  std::string frame;  // hex, no blanks
  bool operator==(const Sent&) const = default;
};
inline std::ostream& operator<<(std::ostream& os, const Sent& s) { return os << s.atMs << " ms: " << s.frame; }

// The master's frames on `line` whose first byte went out at `fromMs` or later.
inline std::vector<Sent> sentFrames(const platform::SimLine& line, std::int64_t fromMs = 0) {
  std::vector<Sent> out;
  for (const auto& f : line.wire())
    if (f.fromMaster && platform::toMs(f.start) >= fromMs) out.push_back({platform::toMs(f.start), hexText(f.bytes)});
  return out;
}

}  // namespace xl::testing
