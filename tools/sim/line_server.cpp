#include "tools/sim/line_server.h"

#include <algorithm>

namespace xl::sim {

std::string spacedHex(const Bytes& bytes) {
  static const char digits[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(bytes.size() * 3);
  for (std::uint8_t b : bytes) {
    if (!out.empty()) out += ' ';
    out += digits[b >> 4];
    out += digits[b & 0x0F];
  }
  return out;
}

LineServer::LineServer(std::string name, int baud, const std::filesystem::path& link, Log log)
    : name_(std::move(name)), baud_(baud), pty_(baud, link), log_(std::move(log)), frames_(baud), replies_(baud) {}

void LineServer::readInput(Duration now) { frames_.push(pty_.read(), now); }

void LineServer::service(Duration now) {
  while (auto frame = frames_.take(now)) {
    log_(name_ + " <- " + spacedHex(frame->bytes));
    // A program that talks at another rate than the line's is only noise to the devices.
    const int rate = pty_.programBaud();
    if (rate != 0 && rate != baud_) {
      log_(name_ + "    (sent at " + std::to_string(rate) + " baud on a " + std::to_string(baud_) +
           " baud line: not understood)");
      continue;
    }
    for (const auto& c : controllers_) replies_.schedule(c->onFrame(frame->bytes, frame->end), frame->end);
  }
  for (const ReplyPacer::Chunk& chunk : replies_.due(now)) {
    if (chunk.first) log_(name_ + " -> " + spacedHex(chunk.part));
    pty_.write(chunk.bytes);
  }
}

std::optional<Duration> LineServer::nextDeadline() const {
  std::optional<Duration> a = frames_.deadline(), b = replies_.next();
  if (a && b) return std::min(*a, *b);
  return a ? a : b;
}

Controller* LineServer::find(std::uint8_t address) const {
  for (const auto& c : controllers_)
    if (c->address() == address) return c.get();
  return nullptr;
}

}  // namespace xl::sim
