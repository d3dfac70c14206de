#include "tools/sim/faults.h"

#include "link/frame_codec.h"

namespace xl::sim {

Bytes exceptionFrame(std::uint8_t address, std::uint8_t function, Exception code) {
  return appendCrc(Bytes{address, static_cast<std::uint8_t>(function | 0x80), static_cast<std::uint8_t>(code)});
}

std::vector<SimReplyPart> shapeReply(Bytes frame, const Faults& faults, Duration latency) {
  if (frame.size() < 3) return {};
  if (faults.replyAddress) {
    frame.resize(frame.size() - 2);
    frame[0] = *faults.replyAddress;
    frame = appendCrc(frame);
  }
  if (faults.badCrc) frame.back() ^= 0xFF;

  const Duration first = latency + faults.delay;
  if (faults.splitGap <= Duration::zero()) return {SimReplyPart{first, std::move(frame)}};

  std::size_t at = faults.splitAt ? faults.splitAt : frame.size() / 2;
  if (at == 0 || at >= frame.size()) at = frame.size() / 2;
  Bytes head(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(at));
  Bytes tail(frame.begin() + static_cast<std::ptrdiff_t>(at), frame.end());
  return {SimReplyPart{first, std::move(head)}, SimReplyPart{faults.splitGap, std::move(tail)}};
}

}  // namespace xl::sim
