#pragma once
// Faults that a simulated controller can show on the wire, and how a reply is shaped by them.
//
// A fault set belongs to one controller and may be changed between any two frames. Several
// faults combine: an exception replaces the reply, then the address is changed, then the CRC is
// spoiled, then the reply is split, and the delay comes on top of the response latency.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/bytes.h"
#include "platform/sim_bus.h"
#include "tools/sim/register_map.h"

namespace xl::sim {

using platform::Duration;
using platform::SimReplyPart;

struct Faults {
  // The device hears nothing: it neither acts on a frame nor answers.
  bool silent = false;
  // The reply leaves with its second CRC byte inverted.
  bool badCrc = false;
  // Extra silence before the reply, on top of the response latency.
  Duration delay{0};
  // When above zero the reply is sent in two parts with this silence between them; the first
  // part holds `splitAt` bytes (half the reply, rounded down, when 0).
  Duration splitGap{0};
  std::size_t splitAt = 0;
  // When set the device refuses every request addressed to it with this exception code and
  // carries nothing out.
  Exception exception = Exception::None;
  // When set the reply carries this address instead of the device's (with a CRC that fits).
  std::optional<std::uint8_t> replyAddress{};

  bool any() const {
    return silent || badCrc || delay > Duration::zero() || splitGap > Duration::zero() ||
           exception != Exception::None || replyAddress.has_value();
  }
};

// The exception reply of `address` to `function`: address, function | 0x80, code, CRC.
Bytes exceptionFrame(std::uint8_t address, std::uint8_t function, Exception code);

// Applies the address, CRC and split faults to a finished reply frame and times it: the first
// part follows the request after `latency` plus the fault's delay.
std::vector<SimReplyPart> shapeReply(Bytes frame, const Faults& faults, Duration latency);

}  // namespace xl::sim
