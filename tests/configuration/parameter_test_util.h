#pragma once
// Helpers of the configuration tests: parameter replies as the receive routine delivers them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "configuration/parameter_block.h"
#include "core/text_cases.h"
#include "link/frame_codec.h"
#include "support/hex_bytes.h"

namespace xl::configuration::testing {

using xl::testing::hexBytes;
using xl::testing::mapsTo;

// A register write into a reply: the value of register `reg` (0xE001..0xE021) at its bytes.
inline void putRegister(Bytes& reply, std::uint16_t reg, std::uint16_t value) {
  const std::size_t at = 3 + 2 * static_cast<std::size_t>(reg - 0xE001);
  reply[at] = static_cast<std::uint8_t>(value >> 8);
  reply[at + 1] = static_cast<std::uint8_t>(value & 0xFF);
}

// The parameter reply of a device at address 1 with the values of the screen's reference
// column (sealed, automatic system voltage, voltage compensation), `centiAmps` as charge
// current, and distinct values in every stretch the screen never shows, so that a byte taken
// from the wrong place shows: 0xE003 low A1, 0xE004 high 0 (a non-zero one makes the type
// unknown), 0xE015..0xE020 C0 C1 ... D7, 0xE021 low E3; then `changed` ("E007=0000 ...", hex);
// passed through the codec as a received reply is.
inline Bytes parameterReply(std::string_view changed = {}, std::uint16_t centiAmps = 2000) {
  Bytes r = hexBytes(
      "01 03 42 07D0 00C8 FFA1 0002 00A0 009B 0092 0090 008A 0084 007E 0078 006F 006A 641E 0005 0078 0078 001E 0003 "
      "C0C1 C2C3 C4C5 C6C7 C8C9 CACB CCCD CECF D0D1 D2D3 D4D5 D6D7 00E3");
  putRegister(r, 0xE001, centiAmps);
  for (std::size_t at = 0; at + 9 <= changed.size(); at += 10)
    putRegister(r, std::stoi(std::string(changed.substr(at, 4)), nullptr, 16),
                std::stoi(std::string(changed.substr(at + 5, 4)), nullptr, 16));
  const auto verified = verifyFrame(hexText(appendCrc(r)));
  EXPECT_TRUE(verified.has_value());
  return verified.value_or(Bytes{});
}

// A device information reply: maximum system voltage, rated charge and load current.
inline Bytes deviceInfoReply(std::uint8_t volts, std::uint8_t chargeAmps, std::uint8_t loadAmps) {
  Bytes r{0x01, 0x03, 0x22, volts, chargeAmps, loadAmps};
  r.resize(37, 0x20);
  return r;
}

// A screen that read the information block (rated 20 A at 48 V) and then `block`.
struct ReadScreen {
  ParameterBoxes boxes;
  ParameterBlockState state;
};
inline ReadScreen readScreen(const Bytes& block, std::uint8_t ratedAmps = 20) {
  ReadScreen s;
  s.boxes.setText(Control::LTextBox1, "1");
  EXPECT_TRUE(showRatedInfo(s.boxes, deviceInfoReply(48, ratedAmps, 20)));
  EXPECT_TRUE(showParameterBlock(s.boxes, s.state, block));
  return s;
}

// The 73 bytes of a write that must succeed.
inline Bytes writeOf(ParameterBoxes& boxes, const ParameterBlockState& state) {
  auto built = buildParameterWrite(boxes, state);
  if (auto* failure = std::get_if<WriteFailure>(&built)) {
    ADD_FAILURE() << "write refused: " << failure->logLine;
    return Bytes(73, 0);
  }
  return std::get<Bytes>(built);
}

// The boxes named in `expected` ("Name=text", "+Name", "-Name=text") as one text.
inline ::testing::AssertionResult hasTexts(const ParameterBoxes& b, std::string_view expected) {
  return xl::testing::describedAs(expected,
                                  [&](const std::string& name) -> std::optional<std::pair<std::string, bool>> {
                                    const auto c = controlNamed(name);
                                    if (!c) return std::nullopt;
                                    return std::pair(b.text(*c), b.enabled(*c));
                                  });
}

// Puts texts into boxes, written as "Name=text Name=text".
inline void setTexts(ParameterBoxes& b, std::string_view texts) {
  if (texts.empty()) return;
  for (const std::string& token : xl::testing::split(texts, ' '))
    b.setText(controlNamed(token.substr(0, token.find('='))).value(), token.substr(token.find('=') + 1));
}

// The register at write index `at` (high byte first).
inline std::uint16_t wordAt(const Bytes& b, std::size_t at) {
  return static_cast<std::uint16_t>(b[at] << 8 | b[at + 1]);
}

}  // namespace xl::configuration::testing
