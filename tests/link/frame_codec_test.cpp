#include "link/frame_codec.h"

#include <gtest/gtest.h>

#include <sstream>

#include "link/vb_numbers.h"
#include "platform/failure.h"
#include "support/hex_bytes.h"

namespace xl {
namespace {

using testing::hexBytes;

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
      {"01 03 0100 0023", "01 03 01 00 00 23 05 EF"},   // real-time block
      {"01 03 000A 0011", "01 03 00 0A 00 11 A5 C4"},   // device information
      {"01 03 E0 1D 0001", "01 03 E0 1D 00 01 23 CC"},  // load mode register
      {"01 06 010A 0001", "01 06 01 0A 00 01 69 F4"},   // load on
      {"01 06 010A 0000", "01 06 01 0A 00 00 A8 34"},   // load off
      {"01 03 F003 000A", "01 03 F0 03 00 0A 06 CD"},   // history, 3 days ago
      {"01 03 F000 000A", "01 03 F0 00 00 0A F6 CD"},   // history, today
      {"01 03 000A 0001", "01 03 00 0A 00 01 A4 08"},   // address poll
      {"01 06 001A 0005", "01 06 00 1A 00 05 68 0E"},   // new address 5
      {"01 78 0000 0001", "01 78 00 00 00 01 60 00"},   // factory settings
      {"01 79 0000 0001", "01 79 00 00 00 01 5D C0"},   // clear history
      {"01 06 E327 0000", "01 06 E3 27 00 00 0E 45"},  {"01 06 E327 0001", "01 06 E3 27 00 01 CF 85"},
      {"01 06 DF01 0001", "01 06 DF 01 00 01 22 1E"},  // restart
  };
  for (const auto& g : golden) {
    // The same bytes built from the text, with the CRC appended to the payload, and verified back.
    const Bytes wire = hexBytes(g.wire), payload(wire.begin(), wire.begin() + 6);
    ASSERT_EQ(wire.size(), 8u);
    EXPECT_EQ(hexText(buildFrame(g.text)), hexText(wire)) << g.text;
    EXPECT_EQ(appendCrc(payload), wire) << g.text;
    EXPECT_EQ(verifyFrame(hexText(wire)), payload) << g.text;
  }
  // Requests composed as screens compose them: address text plus literal.
  for (const auto& [literal, wire] : {std::pair{" 03 0100 0023", "01 03 01 00 00 23 05 EF"},
                                      {" 03 000A 0011", "01 03 00 0A 00 11 A5 C4"},
                                      {" 03 E0 1D 0001", "01 03 E0 1D 00 01 23 CC"},
                                      {" 78 0000 0001", "01 78 00 00 00 01 60 00"},
                                      {"06E3270000", "01 06 E3 27 00 00 0E 45"}})
    EXPECT_EQ(requestFrame(1, literal), hexBytes(wire)) << literal;
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
  EXPECT_EQ(crcBytes, (std::array<std::uint8_t, 2>{0x37, 0x4B}));
  crcCompute(check, 0);
  EXPECT_EQ(crcBytes, (std::array<std::uint8_t, 2>{0xFF, 0xFF}));
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
  EXPECT_EQ(Bytes(five.begin(), five.begin() + 3), hexBytes("01 03 05"));
  EXPECT_EQ(five.size(), 5u);
  // Seven digits: n rounds from 2.5 to 2, and the fourth pair has no room.
  EXPECT_EQ(failureOf([] { buildFrame("0103050"); }), Failure::Bounds);
  // Nine digits: n is 3.5 -> 4, fits.
  EXPECT_EQ(buildFrame("010305001").size(), 7u);
  for (const char* text : {"", "   "}) EXPECT_EQ(failureOf([&] { buildFrame(text); }), Failure::Overflow) << text;
  for (const char* text : {"01 G3", "01\t03"}) EXPECT_EQ(failureOf([&] { buildFrame(text); }), Failure::TypeMismatch);
  // 510 digits is the longest that works; 512 fails at the CRC, 514 at once.
  EXPECT_EQ(buildFrame(std::string(510, 'A')).size(), 257u);
  for (int n : {512, 514}) EXPECT_EQ(failureOf([&] { buildFrame(std::string(n, 'A')); }), Failure::Overflow) << n;
  // A 512-digit text with a bad digit at its end fails on that digit first: the arrays are
  // filled before the CRC step.
  EXPECT_EQ(failureOf([] { buildFrame(std::string(511, 'A') + "Z"); }), Failure::TypeMismatch);
}

TEST(FrameCodec, AppendCrcLimits) {
  EXPECT_EQ(appendCrc(Bytes(255, 1)).size(), 257u);
  for (int n : {256, 257}) EXPECT_EQ(failureOf([&] { appendCrc(Bytes(n, 1)); }), Failure::Overflow) << n;
  EXPECT_EQ(appendCrc(Bytes{0x01}).size(), 3u);
}

TEST(FrameCodec, VerifyFrameOutcomes) {
  // Correct CRC: the frame without it; swapped CRC bytes or one flipped payload bit: the single
  // element 0.
  EXPECT_EQ(verifyFrame("0103000A0011A5C4"), hexBytes("01 03 00 0A 00 11"));
  EXPECT_EQ(verifyFrame("01 03 00 0a 00 11 a5 c4"), hexBytes("01 03 00 0A 00 11"));
  EXPECT_EQ(verifyFrame("0103000A0011C4A5"), Bytes{0});
  EXPECT_EQ(verifyFrame("0103000B0011A5C4"), Bytes{0});
  // Unset results: too short, not hexadecimal, too long (516 digits reach a count of 256), odd
  // (seven digits need a second payload byte that has no room).
  for (const std::string& text : {std::string(), std::string("01FF"), std::string("0G03000A0011A5C4"),
                                  std::string("0103000A0011A5CG"), std::string(516, '0'), std::string("0103A5C")})
    EXPECT_FALSE(verifyFrame(text).has_value()) << text;
  // Six digits are the shortest text that gets a CRC test; 255 payload bytes (514 digits) the most.
  EXPECT_EQ(verifyFrame(hexText(appendCrc(Bytes{0x07}))), Bytes{0x07});
  EXPECT_EQ(verifyFrame(hexText(appendCrc(Bytes(255, 0x11)))), Bytes(255, 0x11));
  // Address 0 with a correct CRC passes here; the receive routine drops it.
  EXPECT_EQ((*verifyFrame(hexText(appendCrc(hexBytes("00 03 02 00 01")))))[0], 0);
  // A five-byte exception reply verifies as three bytes.
  EXPECT_EQ(verifyFrame(hexText(appendCrc(hexBytes("01 83 02"))))->size(), 3u);
}

TEST(FrameCodec, NumberHelpers) {
  // A divisor below 1 reads as 1; no signed reading.
  std::ostringstream values;
  for (int divisor : {10, 0, -5, 1}) values << regValue(0x01, 0x2C, divisor) << " ";
  values << regValue(0xFF, 0xFF, 1) << " " << regValue(0x80, 0x00, 1) << " " << regValue(0x04, 0xD2, 1000);
  EXPECT_EQ(values.str(), "30 300 300 300 65535 32768 1.234");
  std::string got;
  for (int value : {5, 0, 255, 128, 511, -1}) got += byteToBits(value) + " ";
  // Rounding half to even.
  for (const char* text : {"1", "10", "255", "256", "0", " 17 ", "2.5", "3.5"}) got += byteToHex(text) + " ";
  EXPECT_EQ(got, "00000101 00000000 11111111 10000000 111111111  01 0A FF 100 00 11 02 04 ");
  for (const char* text : {"", "abc"}) EXPECT_EQ(failureOf([&] { byteToHex(text); }), Failure::TypeMismatch) << text;
  EXPECT_EQ(failureOf([] { byteToHex("99999999999"); }), Failure::Overflow);
  // An address of 256 makes the frame text odd; the frame is still built, one byte longer.
  EXPECT_EQ(requestFrame(256, " 03 0100 0023").size(), 9u);
}

TEST(VbNumbers, RoundingIsHalfToEvenAndLenientReading) {
  std::ostringstream rounded, read;
  // Minus zero is zero.
  for (double v : {0.5, 1.5, 2.5, -0.5, -1.5, 2.4999, 2.5001}) rounded << roundHalfEven(v) + 0.0 << " ";
  EXPECT_EQ(rounded.str(), "0 2 2 0 -2 2 3 ");
  for (const char* text : {"", "abc", "12abc", "  -3.25V", "1e3", "1e", "&H1F", ".5", "+7", "-"})
    read << val(text) << " ";
  EXPECT_EQ(read.str(), "0 0 12 -3.25 1000 1 31 0.5 7 0 ");
}

TEST(VbNumbers, StrictReading) {
  EXPECT_EQ(toNumber(" 12.5 "), 12.5);
  for (const auto& [text, v] : {std::pair{"2.5", 2}, {"3.5", 4}, {"-7", -7}}) EXPECT_EQ(toLong(text), v) << text;
  for (const char* bad : {"", " ", "12abc", "abc", "1 2", "--1"})
    EXPECT_EQ(failureOf([&] { toNumber(bad); }), Failure::TypeMismatch) << bad;
  EXPECT_THROW(toLong("3000000000"), RuntimeFailure);
  for (double v : {256.0, -1.0}) EXPECT_THROW(toByte(v), RuntimeFailure) << v;
  EXPECT_EQ(std::pair(toByte(255.4), toByte(-0.5)), (std::pair<std::uint8_t, std::uint8_t>(255, 0)));
}

}  // namespace
}  // namespace xl
