#include "link/vb_numbers.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "platform/failure.h"

namespace xl {

double roundHalfEven(double x) {
  return std::nearbyint(x);  // the default rounding mode: to nearest, ties to even
}

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// Reads a radix-prefixed integer ("&H1F", "&O17") at `pos`; returns characters consumed.
std::size_t readPrefixed(std::string_view s, std::size_t pos, double& out) {
  if (pos + 1 >= s.size() || s[pos] != '&') return 0;
  char kind = static_cast<char>(std::toupper(static_cast<unsigned char>(s[pos + 1])));
  int radix = kind == 'H' ? 16 : kind == 'O' ? 8 : 0;
  if (radix == 0) return 0;
  std::size_t i = pos + 2;
  std::uint64_t v = 0;
  std::size_t digits = 0;
  while (i < s.size()) {
    int c = std::toupper(static_cast<unsigned char>(s[i]));
    int d = std::isdigit(c) ? c - '0' : (c >= 'A' && c <= 'F') ? c - 'A' + 10 : 99;
    if (d >= radix) break;
    if (v < (1ULL << 40)) v = v * radix + d;
    ++i;
    ++digits;
  }
  if (digits == 0) return 0;
  // A 16-bit or 32-bit pattern with its top bit set reads as a negative number.
  if (v <= 0xFFFF && digits <= (radix == 16 ? 4u : 6u)) {
    out = v >= 0x8000 ? static_cast<double>(static_cast<std::int64_t>(v) - 0x10000) : static_cast<double>(v);
  } else if (v <= 0xFFFFFFFFULL) {
    out =
        v >= 0x80000000ULL ? static_cast<double>(static_cast<std::int64_t>(v) - 0x100000000LL) : static_cast<double>(v);
  } else {
    out = static_cast<double>(v);
  }
  return i - pos;
}

// Reads a decimal number at `pos`; returns characters consumed (0 when none).
std::size_t readDecimal(std::string_view s, std::size_t pos, double& out) {
  std::size_t i = pos;
  std::string buf;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) buf += s[i++];
  std::size_t mantissa = 0;
  while (i < s.size() && std::isdigit(static_cast<unsigned char>(s[i]))) {
    buf += s[i++];
    ++mantissa;
  }
  if (i < s.size() && s[i] == '.') {
    buf += s[i++];
    while (i < s.size() && std::isdigit(static_cast<unsigned char>(s[i]))) {
      buf += s[i++];
      ++mantissa;
    }
  }
  if (mantissa == 0) return 0;
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
    std::size_t j = i + 1;
    std::string exp = "e";
    if (j < s.size() && (s[j] == '+' || s[j] == '-')) exp += s[j++];
    std::size_t expDigits = 0;
    while (j < s.size() && std::isdigit(static_cast<unsigned char>(s[j]))) {
      exp += s[j++];
      ++expDigits;
    }
    if (expDigits > 0) {
      buf += exp;
      i = j;
    }
  }
  out = std::strtod(buf.c_str(), nullptr);
  return i - pos;
}

std::size_t readNumber(std::string_view s, std::size_t pos, double& out) {
  if (std::size_t n = readPrefixed(s, pos, out)) return n;
  return readDecimal(s, pos, out);
}

}  // namespace

double val(std::string_view text) {
  std::size_t pos = 0;
  while (pos < text.size() && isBlank(text[pos])) ++pos;
  double out = 0;
  if (readNumber(text, pos, out) == 0) return 0;
  return std::isfinite(out) ? out : 0;
}

double toNumber(std::string_view text) {
  std::size_t pos = 0;
  while (pos < text.size() && isBlank(text[pos])) ++pos;
  double out = 0;
  std::size_t n = readNumber(text, pos, out);
  if (n == 0) fail(Failure::TypeMismatch, "type mismatch: '" + std::string(text) + "' is not a number");
  pos += n;
  while (pos < text.size() && isBlank(text[pos])) ++pos;
  if (pos != text.size()) fail(Failure::TypeMismatch, "type mismatch: '" + std::string(text) + "' is not a number");
  if (!std::isfinite(out)) fail(Failure::Overflow, "overflow: '" + std::string(text) + "'");
  return out;
}

std::int32_t toLong(double value) {
  double r = roundHalfEven(value);
  if (!(r >= std::numeric_limits<std::int32_t>::min() && r <= std::numeric_limits<std::int32_t>::max()))
    fail(Failure::Overflow, "overflow: value does not fit a 32-bit integer");
  return static_cast<std::int32_t>(r);
}

std::int32_t toLong(std::string_view text) { return toLong(toNumber(text)); }

std::uint8_t toByte(double value) {
  double r = roundHalfEven(value);
  if (!(r >= 0 && r <= 255)) fail(Failure::Overflow, "overflow: value does not fit a byte");
  return static_cast<std::uint8_t>(r);
}

}  // namespace xl
