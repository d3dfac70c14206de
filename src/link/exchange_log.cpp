#include "link/exchange_log.h"

#include <cstdio>
#include <exception>

#include "link/frame_codec.h"

namespace xl::link {

// The reply length a request asks for, or 0 when the function does not fix one.
std::size_t expectedLength(const Bytes& request) {
  if (request.size() < 2) return 0;
  switch (request[1]) {
    case 0x03:
      if (request.size() < 6) return 0;
      return 5 + 2 * ((static_cast<std::size_t>(request[4]) << 8) | request[5]);
    case 0x06:
    case 0x10: return 8;
    default: return 0;
  }
}

namespace {

// A body of at most 255 bytes with its CRC, as the codec reads frames; anything longer is no
// frame of this bus.
bool crcFits(const Bytes& frame) {
  if (frame.size() < 3 || frame.size() > 257) return false;
  try {
    const Bytes body(frame.begin(), frame.end() - 2);
    return appendCrc(body) == frame;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

bool answersRequest(const Bytes& request, const Bytes& reply) {
  if (request.size() < 2) return true;  // a reply with no request of its own: nothing to compare
  if (reply.size() < 2) return false;
  return reply[0] == request[0] && (reply[1] & 0x7F) == request[1];
}

Verdict judgeReply(const Bytes& request, const Bytes& reply, int* exceptionCode) {
  if (reply.empty()) return Verdict::NoReply;
  if (!crcFits(reply)) return Verdict::CrcError;
  if (!answersRequest(request, reply)) return Verdict::AddressMismatch;
  if (reply.size() == 5 && (reply[1] & 0x80)) {
    if (exceptionCode) *exceptionCode = reply[2];
    return Verdict::Exception;
  }
  const std::size_t want = expectedLength(request);
  if (want != 0 && reply.size() != want) return Verdict::LengthMismatch;
  return Verdict::Ok;
}

std::string verdictText(Verdict verdict, int exceptionCode) {
  switch (verdict) {
    case Verdict::Ok: return "正常";
    case Verdict::CrcError: return "CRC错误";
    case Verdict::NoReply: return "无应答";
    case Verdict::Exception: {
      char code[8];
      std::snprintf(code, sizeof code, "%02X", exceptionCode & 0xFF);
      return std::string("异常应答 ") + code;
    }
    case Verdict::LengthMismatch: return "长度不符";
    case Verdict::AddressMismatch: return "地址不符";
  }
  return {};
}

std::string spacedHex(const Bytes& bytes) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(bytes.size() * 3);
  for (std::uint8_t b : bytes) {
    if (!out.empty()) out += ' ';
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
  return out;
}

std::string portNameOf(const std::string& portText) {
  const auto comma = portText.find(',');
  return comma == std::string::npos ? portText : portText.substr(0, comma);
}

void ExchangeLog::push(Exchange e) {
  if (ring_.size() >= capacity_) ring_.pop_front();
  ring_.push_back(std::move(e));
  ++total_;
}

void ExchangeLog::clear() { ring_.clear(); }

}  // namespace xl::link
