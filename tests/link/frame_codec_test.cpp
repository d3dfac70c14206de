#include "link/frame_codec.h"

#include <gtest/gtest.h>

#include "platform/failure.h"

namespace xl {
namespace {

Bytes hex(std::string_view text) {
  Bytes out;
  std::string digits;
  for (char c : text)
    if (c != ' ') digits += c;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) out.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  return out;
}

Failure failureOf(const std::function<void()>& fn) {
  try {
    fn();
  } catch (const RuntimeFailure& f) {
    return f.kind();
  }
  ADD_FAILURE() << "no failure raised";
  return Failure::InvalidValue;
}

// Every frame the console's documentation prints, as request text and as wire bytes.
TEST(FrameCodec, GoldenRequestFrames) {
  struct Golden {
    const char* text;
    const char* wire;
  };
  const Golden golden[] = {
      {"01 03 0100 0023", "01 03 01 00 00 23 05 EF"},  // real-time block
      {"01 03 000A 0011", "01 03 00 0A 00 11 A5 C4"},  // device information
      {"01 03 E0 1D 0001", "01 03 E0 1D 00 01 23 CC"}, // load mode register
      {"01 06 010A 0001", "01 06 01 0A 00 01 69 F4"},  // load on
      {"01 06 010A 0000", "01 06 01 0A 00 00 A8 34"},  // load off
      {"01 03 F003 000A", "01 03 F0 03 00 0A 06 CD"},  // history, 3 days ago
      {"01 03 F000 000A", "01 03 F0 00 00 0A F6 CD"},  // history, today
      {"01 03 000A 0001", "01 03 00 0A 00 01 A4 08"},  // address poll
      {"01 06 001A 0005", "01 06 00 1A 00 05 68 0E"},  // new address 5
      {"01 78 0000 0001", "01 78 00 00 00 01 60 00"},  // factory settings
      {"01 79 0000 0001", "01 79 00 00 00 01 5D C0"},  // clear history
      {"01 06 E327 0000", "01 06 E3 27 00 00 0E 45"},
      {"01 06 E327 0001", "01 06 E3 27 00 01 CF 85"},
      {"01 06 DF01 0001", "01 06 DF 01 00 01 22 1E"},  // restart
  };
  for (const auto& g : golden) {
    EXPECT_EQ(hexText(buildFrame(g.text)), hexText(hex(g.wire))) << g.text;
    // The same bytes with the CRC appended to the payload, and verified back.
    const Bytes wire = hex(g.wire);
    ASSERT_EQ(wire.size(), 8u);
    const Bytes payload(wire.begin(), wire.begin() + 6);
    EXPECT_EQ(appendCrc(payload), hex(g.wire)) << g.text;
    auto verified = verifyFrame(hexText(hex(g.wire)));
    ASSERT_TRUE(verified.has_value()) << g.text;
    EXPECT_EQ(*verified, payload) << g.text;
  }
  // Requests composed as screens compose them: address text plus literal.
  EXPECT_EQ(requestFrame(1, " 03 0100 0023"), hex("01 03 01 00 00 23 05 EF"));
  EXPECT_EQ(requestFrame(1, " 03 000A 0011"), hex("01 03 00 0A 00 11 A5 C4"));
  EXPECT_EQ(requestFrame(1, " 03 E0 1D 0001"), hex("01 03 E0 1D 00 01 23 CC"));
  EXPECT_EQ(requestFrame(1, " 78 0000 0001"), hex("01 78 00 00 00 01 60 00"));
  EXPECT_EQ(requestFrame(1, "06E3270000"), hex("01 06 E3 27 00 00 0E 45"));
}

TEST(FrameCodec, CrcTablesAndCompute) {
  // Every entry of both tables is the reflected polynomial 0xA001 run over its index.
  for (int i = 0; i < 256; ++i) {
    unsigned crc = static_cast<unsigned>(i);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) ? 0xA001u : 0u);
    EXPECT_EQ(crcHiTable(i), crc & 0xFF) << i;
    EXPECT_EQ(crcLoTable(i), crc >> 8) << i;
  }
  // The check value of CRC-16/MODBUS over "123456789" is 0x4B37, low byte first.
  const Bytes check = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
  EXPECT_EQ(crcCompute(check, 9), 0);
  EXPECT_EQ(crcBytes[0], 0x37);
  EXPECT_EQ(crcBytes[1], 0x4B);
  crcCompute(check, 0);
  EXPECT_EQ(crcBytes[0], 0xFF);
  EXPECT_EQ(crcBytes[1], 0xFF);
  EXPECT_EQ(failureOf([&] { crcCompute(Bytes(300, 0), 256); }), Failure::Overflow);
  EXPECT_EQ(failureOf([&] { crcCompute(check, 10); }), Failure::Bounds);
}

TEST(FrameCodec, BuildFrameSpellingsAndFailures) {
  // Blanks anywhere, either case.
  EXPECT_EQ(buildFrame("0103 01000023"), buildFrame("01 03 0100 0023"));
  EXPECT_EQ(buildFrame(" 0 1 0 3 0 1 0 0 0 0 2 3 "), buildFrame("01 03 0100 0023"));
  EXPECT_EQ(buildFrame("01 03 e0 1d 0001"), buildFrame("01 03 E0 1D 0001"));
  // Odd texts: five digits give three payload bytes, the last from one digit.
  const Bytes five = buildFrame("01035");
  ASSERT_EQ(five.size(), 5u);
  EXPECT_EQ(five[0], 0x01);
  EXPECT_EQ(five[1], 0x03);
  EXPECT_EQ(five[2], 0x05);
  // Seven digits: n rounds from 2.5 to 2, and the fourth pair has no room.
  EXPECT_EQ(failureOf([] { buildFrame("0103050"); }), Failure::Bounds);
  // Nine digits: n is 3.5 -> 4, fits.
  EXPECT_EQ(buildFrame("010305001").size(), 7u);
  EXPECT_EQ(failureOf([] { buildFrame(""); }), Failure::Overflow);
  EXPECT_EQ(failureOf([] { buildFrame("   "); }), Failure::Overflow);
  EXPECT_EQ(failureOf([] { buildFrame("01 G3"); }), Failure::TypeMismatch);
  EXPECT_EQ(failureOf([] { buildFrame("01\t03"); }), Failure::TypeMismatch);
  // 510 digits is the longest that works; 512 fails at the CRC, 514 at once.
  EXPECT_EQ(buildFrame(std::string(510, 'A')).size(), 257u);
  EXPECT_EQ(failureOf([] { buildFrame(std::string(512, 'A')); }), Failure::Overflow);
  EXPECT_EQ(failureOf([] { buildFrame(std::string(514, 'A')); }), Failure::Overflow);
  // A 512-digit text with a bad digit at its end fails on that digit first: the arrays are
  // filled before the CRC step.
  EXPECT_EQ(failureOf([] { buildFrame(std::string(511, 'A') + "Z"); }), Failure::TypeMismatch);
}

TEST(FrameCodec, AppendCrcLimits) {
  EXPECT_EQ(appendCrc(Bytes(255, 1)).size(), 257u);
  EXPECT_EQ(failureOf([] { appendCrc(Bytes(256, 1)); }), Failure::Overflow);
  EXPECT_EQ(failureOf([] { appendCrc(Bytes(257, 1)); }), Failure::Overflow);
  const Bytes one = appendCrc(Bytes{0x01});
  ASSERT_EQ(one.size(), 3u);
  EXPECT_TRUE(verifyFrame(hexText(one)).has_value());
}

TEST(FrameCodec, VerifyFrameOutcomes) {
  // Correct CRC: the frame without it.
  EXPECT_EQ(*verifyFrame("0103000A0011A5C4"), hex("01 03 00 0A 00 11"));
  EXPECT_EQ(*verifyFrame("01 03 00 0a 00 11 a5 c4"), hex("01 03 00 0A 00 11"));
  // Swapped CRC bytes: the single element 0.
  EXPECT_EQ(*verifyFrame("0103000A0011C4A5"), Bytes{0});
  // One flipped payload bit.
  EXPECT_EQ(*verifyFrame("0103000B0011A5C4"), Bytes{0});
  // Unset results: too short, not hexadecimal, too long.
  EXPECT_FALSE(verifyFrame("").has_value());
  EXPECT_FALSE(verifyFrame("01FF").has_value());
  EXPECT_FALSE(verifyFrame("0G03000A0011A5C4").has_value());
  EXPECT_FALSE(verifyFrame("0103000A0011A5CG").has_value());
  EXPECT_FALSE(verifyFrame(std::string(516, '0')).has_value());
  // Six digits are the shortest text that gets a CRC test.
  const Bytes shortest = appendCrc(Bytes{0x07});
  EXPECT_EQ(*verifyFrame(hexText(shortest)), Bytes{0x07});
  // 255 payload bytes (514 digits) are the most that get a check; 516 digits reach a count of
  // 256 and fail.
  Bytes big(255, 0x11);
  EXPECT_EQ(verifyFrame(hexText(appendCrc(big)))->size(), 255u);
  Bytes tooBig(256, 0x11);
  const Bytes tooBigFrame = [&] {
    Bytes f = tooBig;
    f.push_back(0);
    f.push_back(0);
    return f;
  }();
  EXPECT_FALSE(verifyFrame(hexText(tooBigFrame)).has_value());
  // Address 0 with a correct CRC passes here; the receive routine drops it.
  EXPECT_EQ((*verifyFrame(hexText(appendCrc(hex("00 03 02 00 01")))))[0], 0);
  // A five-byte exception reply verifies as three bytes.
  EXPECT_EQ(verifyFrame(hexText(appendCrc(hex("01 83 02"))))->size(), 3u);
  // Odd lengths: seven digits need a second payload byte that has no room.
  EXPECT_FALSE(verifyFrame("0103A5C").has_value());
}

TEST(FrameCodec, NumberHelpers) {
  EXPECT_DOUBLE_EQ(regValue(0x01, 0x2C, 10), 30.0);
  EXPECT_DOUBLE_EQ(regValue(0x01, 0x2C, 0), 300.0);
  EXPECT_DOUBLE_EQ(regValue(0x01, 0x2C, -5), 300.0);
  EXPECT_DOUBLE_EQ(regValue(0xFF, 0xFF, 1), 65535.0);
  EXPECT_DOUBLE_EQ(regValue(0x80, 0x00, 1), 32768.0);  // no signed reading
  EXPECT_DOUBLE_EQ(regValue(0x04, 0xD2, 1000), 1.234);

  EXPECT_EQ(byteToBits(5), "00000101");
  EXPECT_EQ(byteToBits(0), "00000000");
  EXPECT_EQ(byteToBits(255), "11111111");
  EXPECT_EQ(byteToBits(128), "10000000");
  EXPECT_EQ(byteToBits(511), "111111111");
  EXPECT_EQ(byteToBits(-1), "");

  EXPECT_EQ(byteToHex("1"), "01");
  EXPECT_EQ(byteToHex("10"), "0A");
  EXPECT_EQ(byteToHex("255"), "FF");
  EXPECT_EQ(byteToHex("256"), "100");
  EXPECT_EQ(byteToHex("0"), "00");
  EXPECT_EQ(byteToHex(" 17 "), "11");
  EXPECT_EQ(byteToHex("2.5"), "02");  // half to even
  EXPECT_EQ(byteToHex("3.5"), "04");
  EXPECT_EQ(failureOf([] { byteToHex(""); }), Failure::TypeMismatch);
  EXPECT_EQ(failureOf([] { byteToHex("abc"); }), Failure::TypeMismatch);
  EXPECT_EQ(failureOf([] { byteToHex("99999999999"); }), Failure::Overflow);
  // An address of 256 makes the frame text odd; the frame is still built, one byte longer.
  EXPECT_EQ(requestFrame(256, " 03 0100 0023").size(), 9u);
}

}  // namespace
}  // namespace xl
