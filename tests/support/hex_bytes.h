#pragma once
// The bytes of a hex text exactly as printed ("01 03 F0 03 00 0A 06 CD"), blanks ignored. No
// CRC is computed here, so a printed frame is compared byte for byte with what the code makes.

#include <cctype>
#include <string_view>

#include "platform/bytes.h"

namespace xl::testing {

inline Bytes hexBytes(std::string_view text) {
  Bytes out;
  int high = -1;
  for (char c : text) {
    if (c == ' ') continue;
    const int d =
        std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : std::toupper(static_cast<unsigned char>(c)) - 'A' + 10;
    if (high < 0) {
      high = d;
    } else {
      out.push_back(static_cast<std::uint8_t>(high * 16 + d));
      high = -1;
    }
  }
  return out;
}

}  // namespace xl::testing
