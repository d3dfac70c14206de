#pragma once
// Timing of a serial line for a device that is fed raw bytes (the pseudo-terminal front end).
//
// `FrameAssembler` cuts the incoming byte stream into frames the way an RTU device does: a frame
// ends when the line has been silent for 3.5 characters (at least 1.75 ms at high rates). Bytes
// that arrive all at once, as from a pseudo-terminal, are taken to occupy the wire for 10 bits
// each, so the frame ends where it would end on a real line.
//
// `ReplyPacer` lets reply bytes out at wire speed: each part starts after its gap and each byte
// takes 10 bits. Parts from different devices never overlap; a later one waits.
//
// Both work on a time axis the caller gives them (Duration since some start), so they run the
// same under a test's invented times as under the tool's monotonic clock.

#include <deque>
#include <optional>
#include <vector>

#include "platform/bytes.h"
#include "platform/scheduler.h"
#include "platform/sim_bus.h"

namespace xl::sim {

using platform::Duration;

// Time of `count` characters of 10 bits at `baud`.
Duration characterTime(int baud, std::size_t count = 1);

class FrameAssembler {
 public:
  explicit FrameAssembler(int baud);

  // Bytes read from the line at `now`.
  void push(const Bytes& bytes, Duration now);
  // The frame that is complete at `now`, if any, with the time its last byte left the wire.
  struct Frame {
    Bytes bytes;
    Duration end;
  };
  std::optional<Frame> take(Duration now);
  // When the frame being received will be complete, if one is.
  std::optional<Duration> deadline() const;
  Duration silence() const { return silence_; }

 private:
  int baud_;
  Duration silence_;
  Bytes pending_;
  Duration wireEnd_{0};
};

class ReplyPacer {
 public:
  explicit ReplyPacer(int baud) : baud_(baud) {}

  // Queues the parts of one reply to a request whose last byte was on the wire at `requestEnd`.
  void schedule(const std::vector<platform::SimReplyPart>& parts, Duration requestEnd);

  // A piece of a part that is due now; `first` marks the first bytes of a part.
  struct Chunk {
    Bytes bytes;
    bool first = false;
    Bytes part;  // the whole part, for the log, when `first`
  };
  // Takes the bytes whose time has come by `now`, part by part.
  std::vector<Chunk> due(Duration now);
  // When the next byte is due, if any is waiting.
  std::optional<Duration> next() const;
  bool idle() const { return parts_.empty(); }

 private:
  struct Part {
    Duration start;
    Bytes bytes;
    std::size_t sent = 0;
  };
  int baud_;
  std::deque<Part> parts_;
  Duration lineFree_{0};
};

}  // namespace xl::sim
