// Fuzzes the frame codec with arbitrary reply and request texts.
//
// verifyFrame must never raise and must give one of its three outcomes; a frame that
// buildFrame makes must verify back to its payload; buildFrame may raise only the codec's own
// run-time failures.

#include <cstddef>
#include <cstdint>
#include <string>

#include "link/frame_codec.h"
#include "platform/failure.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);

  // The reply path: any text, never a failure.
  const auto reply = xl::verifyFrame(text);
  if (reply && reply->empty()) __builtin_trap();

  // The request path: either a frame that verifies, or one of the conversion failures.
  try {
    const xl::Bytes frame = xl::buildFrame(text);
    const auto back = xl::verifyFrame(xl::hexText(frame));
    if (!back || back->size() + 2 != frame.size()) __builtin_trap();
    if (!std::equal(back->begin(), back->end(), frame.begin())) __builtin_trap();
  } catch (const xl::RuntimeFailure& f) {
    const auto k = f.kind();
    if (k != xl::Failure::Overflow && k != xl::Failure::Bounds && k != xl::Failure::TypeMismatch) __builtin_trap();
  }

  // Raw bytes as a reply: the receive routine's hex text of them always reads.
  const xl::Bytes raw(data, data + size);
  const auto rawReply = xl::verifyFrame(xl::hexText(raw));
  if (size >= 3 && size <= 257 && !rawReply) __builtin_trap();
  if (rawReply && size >= 3 && rawReply->size() != 1 && rawReply->size() != size - 2) __builtin_trap();
  return 0;
}
