#pragma once
// What went over the wire, one exchange at a time: a request, the reply that came back within
// its receive window (or none), and the verdict on that reply. No Qt.
//
// The sessions report every exchange to the observers registered here (serial_session.h); with
// none registered they do no work at all. `ExchangeLog` is a bounded ring that keeps the newest
// exchanges for the wire view.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "platform/bytes.h"

namespace xl::link {

enum class Verdict {
  Ok,               // "正常": a frame with a right CRC and the length the request asks for
  CrcError,         // "CRC错误": bytes came, but they are no frame with a right CRC
  NoReply,          // "无应答": no byte within the silence limit
  Exception,        // "异常应答": the controller refused the request (function | 0x80, a code)
  LengthMismatch,   // "长度不符": a right CRC, but not the length the request asks for
  AddressMismatch,  // "地址不符": a right CRC, but another address or function than the request's
};

struct Exchange {
  std::int64_t sentUs = 0;   // when the request was written
  std::int64_t endedUs = 0;  // when the reply was read, or the silence limit passed
  std::string port;          // "COM3"
  int address = -1;          // the request's first byte (-1 for a reply with no request)
  Bytes request;             // the frame as written, CRC included
  Bytes reply;               // everything read in the receive window
  Verdict verdict = Verdict::NoReply;
  int exceptionCode = 0;        // for Verdict::Exception
  std::int64_t wallSentMs = 0;  // wall clock of the request (ms since the epoch), set by a reader
};

// The verdict on `reply` (raw bytes with their CRC) to `request` (with its CRC).
// A frame from another address, or of another function (bit 7 aside: an exception reply is an
// answer of the station asked), answers some other request: "地址不符".
// The expected length is known for functions 3 (5 + 2 * count), 6 and 0x10 (8); for other
// functions any length with a right CRC is taken as an answer.
Verdict judgeReply(const Bytes& request, const Bytes& reply, int* exceptionCode = nullptr);

// Whether `reply` comes from the address `request` went to, with its function (an exception
// reply, function | 0x80, counts). True when there is no request to compare with.
bool answersRequest(const Bytes& request, const Bytes& reply);

// The reply length (with CRC) that `request` asks for, or 0 when its function fixes none.
std::size_t expectedLength(const Bytes& request);

// The operator's text of a verdict: "正常", "CRC错误", "无应答", "异常应答 02", "长度不符".
std::string verdictText(Verdict verdict, int exceptionCode = 0);
inline std::string verdictText(const Exchange& e) { return verdictText(e.verdict, e.exceptionCode); }

// Bytes as spaced hex digit pairs, upper case: "01 03 01 00".
std::string spacedHex(const Bytes& bytes);

// The port name of a port text: "COM3,9600" gives "COM3".
std::string portNameOf(const std::string& portText);

// A ring of the newest exchanges. Each pushed exchange gets the next serial number, so a
// reader that remembers the last number it saw can take only what is new.
class ExchangeLog {
 public:
  static constexpr std::size_t kDefaultCapacity = 5000;
  explicit ExchangeLog(std::size_t capacity = kDefaultCapacity) : capacity_(capacity ? capacity : 1) {}

  void push(Exchange e);
  void clear();
  std::size_t size() const { return ring_.size(); }
  std::size_t capacity() const { return capacity_; }
  // The exchange at `i`, 0 being the oldest kept.
  const Exchange& at(std::size_t i) const { return ring_[i]; }
  // Serial number of the newest exchange (0 before any); the oldest kept is total() - size() + 1.
  std::uint64_t total() const { return total_; }

 private:
  std::size_t capacity_;
  std::deque<Exchange> ring_;
  std::uint64_t total_ = 0;
};

}  // namespace xl::link
