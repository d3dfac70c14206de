#pragma once
// The bytes of a hex text exactly as printed ("01 03 F0 03 00 0A 06 CD"), blanks ignored. No
// CRC is computed here, so a printed frame is compared byte for byte with what the code makes.

#include <string>
#include <string_view>

#include "platform/bytes.h"

namespace xl::testing {

inline Bytes hexBytes(std::string_view text) {
  std::string digits;
  for (char c : text)
    if (c != ' ') digits += c;
  Bytes out;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
    out.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  return out;
}

}  // namespace xl::testing
