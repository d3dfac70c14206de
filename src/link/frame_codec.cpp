#include "link/frame_codec.h"

#include <cmath>

#include "link/vb_numbers.h"
#include "platform/failure.h"

namespace xl {

std::array<std::uint8_t, 2> crcBytes{};

namespace {

// The reflected CRC-16 table for polynomial 0xA001. The published Modbus byte tables are its
// two halves: the "high" table holds the low bytes of the entries, the "low" table the high.
constexpr std::array<std::uint16_t, 256> makeCrcTable() {
  std::array<std::uint16_t, 256> t{};
  for (unsigned i = 0; i < 256; ++i) {
    std::uint16_t c = static_cast<std::uint16_t>(i);
    for (int b = 0; b < 8; ++b)
      c = (c & 1) ? static_cast<std::uint16_t>((c >> 1) ^ 0xA001) : static_cast<std::uint16_t>(c >> 1);
    t[i] = c;
  }
  return t;
}
constexpr auto kCrcTable = makeCrcTable();

std::string withoutBlanks(std::string_view text) {
  std::string s;
  s.reserve(text.size());
  for (char c : text)
    if (c != ' ') s += c;
  return s;
}

// Reads one or two hex digits (the `Mid(s, pos, 2)` of a 1-based position) as a byte.
std::uint8_t hexPair(const std::string& s, std::size_t pos1) {
  std::size_t start = pos1 - 1;
  if (start >= s.size()) fail(Failure::TypeMismatch, "type mismatch: missing hex digits");
  std::size_t len = std::min<std::size_t>(2, s.size() - start);
  unsigned v = 0;
  for (std::size_t k = 0; k < len; ++k) {
    char c = s[start + k];
    unsigned d;
    if (c >= '0' && c <= '9')
      d = static_cast<unsigned>(c - '0');
    else if (c >= 'A' && c <= 'F')
      d = static_cast<unsigned>(c - 'A' + 10);
    else if (c >= 'a' && c <= 'f')
      d = static_cast<unsigned>(c - 'a' + 10);
    else
      fail(Failure::TypeMismatch, "type mismatch: '" + s.substr(start, len) + "' is not hexadecimal");
    v = v * 16 + d;
  }
  return static_cast<std::uint8_t>(v);
}

void store(Bytes& a, std::size_t index, std::uint8_t value) {
  if (index >= a.size()) fail(Failure::Bounds, "subscript out of range");
  a[index] = value;
}

}  // namespace

std::uint8_t crcHiTable(std::uint8_t index) { return static_cast<std::uint8_t>(kCrcTable[index] & 0xFF); }
std::uint8_t crcLoTable(std::uint8_t index) { return static_cast<std::uint8_t>(kCrcTable[index] >> 8); }

int crcCompute(const Bytes& data, int count) {
  std::uint8_t n = toByte(count);
  std::uint8_t first = 0xFF, second = 0xFF;
  for (unsigned i = 0; i < n; ++i) {
    if (i >= data.size()) fail(Failure::Bounds, "subscript out of range");
    std::uint8_t k = data[i] ^ first;
    first = crcHiTable(k) ^ second;
    second = crcLoTable(k);
  }
  crcBytes[0] = first;
  crcBytes[1] = second;
  return 0;
}

Bytes buildFrame(std::string_view text) {
  const std::string s = withoutBlanks(text);
  const std::uint8_t n = toByte(static_cast<double>(s.size()) / 2.0 - 1.0);
  Bytes data(n + 1u, 0), frame(n + 3u, 0);
  for (std::size_t i = 1; i <= s.size(); i += 2) {
    std::uint8_t b = hexPair(s, i);
    store(data, (i - 1) / 2, b);
    store(frame, (i - 1) / 2, b);
  }
  crcCompute(data, n + 1);
  frame[n + 1u] = crcBytes[0];
  frame[n + 2u] = crcBytes[1];
  return frame;
}

Bytes appendCrc(const Bytes& data) {
  if (data.empty()) fail(Failure::Bounds, "subscript out of range");
  const std::uint8_t u = toByte(static_cast<double>(data.size() - 1));
  Bytes out(u + 3u, 0);
  crcCompute(data, u + 1);
  std::copy(data.begin(), data.end(), out.begin());
  out[u + 1u] = crcBytes[0];
  out[u + 2u] = crcBytes[1];
  return out;
}

std::optional<Bytes> verifyFrame(std::string_view text) {
  try {
    const std::string s = withoutBlanks(text);
    const std::uint8_t n = toByte(static_cast<double>(s.size()) / 2.0 - 3.0);
    Bytes data(n + 1u, 0);
    const std::size_t last = s.size() >= 4 ? s.size() - 4 : 0;
    std::size_t i = 1;
    for (; i <= last; i += 2) store(data, (i - 1) / 2, hexPair(s, i));
    crcCompute(data, n + 1);
    const std::uint8_t crcFirst = hexPair(s, i);
    const std::uint8_t crcSecond = hexPair(s, i + 2);
    if (crcSecond != crcBytes[1] || crcFirst != crcBytes[0]) return Bytes{0};
    return data;
  } catch (const RuntimeFailure&) {
    return std::nullopt;
  }
}

double regValue(std::uint8_t high, std::uint8_t low, std::int32_t divisor) {
  double v = high * 256.0 + low;
  return divisor >= 1 ? v / divisor : v;
}

std::string byteToBits(std::int32_t value) {
  if (value == 0) return "00000000";
  std::string digits;
  for (std::int32_t v = value; v > 0; v /= 2) digits.insert(digits.begin(), static_cast<char>('0' + v % 2));
  if (digits.empty()) return "";  // a negative value formats an empty text
  if (digits.size() < 8) digits.insert(0, 8 - digits.size(), '0');
  return digits;
}

std::string byteToHex(std::string_view decimalText) {
  const std::int32_t v = toLong(decimalText);
  static const char* kDigits = "0123456789ABCDEF";
  std::uint32_t u = static_cast<std::uint32_t>(v);
  std::string out;
  do {
    out.insert(out.begin(), kDigits[u & 0xF]);
    u >>= 4;
  } while (u != 0);
  if (out.size() == 1) out.insert(out.begin(), '0');
  return out;
}

std::string hexText(const Bytes& bytes) {
  static const char* kDigits = "0123456789ABCDEF";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (std::uint8_t b : bytes) {
    out += kDigits[b >> 4];
    out += kDigits[b & 0xF];
  }
  return out;
}

Bytes requestFrame(std::int32_t deviceId, std::string_view literal) {
  return buildFrame(byteToHex(std::to_string(deviceId)) + std::string(literal));
}

}  // namespace xl
