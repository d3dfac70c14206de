#include "tools/sim/line_timing.h"

#include <algorithm>

namespace xl::sim {

namespace {
constexpr std::size_t kMaxFrame = 512;  // anything longer is noise; keep only its tail
}

Duration characterTime(int baud, std::size_t count) {
  return Duration(static_cast<std::int64_t>(count) * 10'000'000 / std::max(baud, 1));
}

FrameAssembler::FrameAssembler(int baud) : baud_(baud) {
  // 3.5 characters, and no less than 1.75 ms at high rates.
  silence_ = std::max(Duration(static_cast<std::int64_t>(35'000'000 / std::max(baud, 1))), Duration(1750));
}

void FrameAssembler::push(const Bytes& bytes, Duration now) {
  if (bytes.empty()) return;
  wireEnd_ = std::max(now, pending_.empty() ? now : wireEnd_) + characterTime(baud_, bytes.size());
  pending_.insert(pending_.end(), bytes.begin(), bytes.end());
  if (pending_.size() > kMaxFrame) pending_.erase(pending_.begin(), pending_.end() - kMaxFrame);
}

std::optional<FrameAssembler::Frame> FrameAssembler::take(Duration now) {
  if (pending_.empty() || now < wireEnd_ + silence_) return std::nullopt;
  Frame f{std::move(pending_), wireEnd_};
  pending_.clear();
  return f;
}

std::optional<Duration> FrameAssembler::deadline() const {
  if (pending_.empty()) return std::nullopt;
  return wireEnd_ + silence_;
}

void ReplyPacer::schedule(const std::vector<platform::SimReplyPart>& parts, Duration requestEnd) {
  Duration t = requestEnd;
  for (const platform::SimReplyPart& part : parts) {
    t += part.gap;
    if (part.bytes.empty()) continue;
    t = std::max(t, lineFree_);
    parts_.push_back(Part{t, part.bytes, 0});
    t += characterTime(baud_, part.bytes.size());
    lineFree_ = t;
  }
}

std::vector<ReplyPacer::Chunk> ReplyPacer::due(Duration now) {
  std::vector<Chunk> out;
  while (!parts_.empty()) {
    Part& p = parts_.front();
    if (now < p.start + characterTime(baud_, p.sent + 1)) break;
    // Bytes are let out when their last bit would be on the wire.
    std::size_t upTo = p.sent;
    while (upTo < p.bytes.size() && p.start + characterTime(baud_, upTo + 1) <= now) ++upTo;
    Chunk c;
    c.first = p.sent == 0;
    if (c.first) c.part = p.bytes;
    c.bytes.assign(p.bytes.begin() + static_cast<std::ptrdiff_t>(p.sent),
                   p.bytes.begin() + static_cast<std::ptrdiff_t>(upTo));
    p.sent = upTo;
    out.push_back(std::move(c));
    if (p.sent < p.bytes.size()) break;
    parts_.pop_front();
  }
  return out;
}

std::optional<Duration> ReplyPacer::next() const {
  if (parts_.empty()) return std::nullopt;
  const Part& p = parts_.front();
  return p.start + characterTime(baud_, p.sent + 1);
}

}  // namespace xl::sim
