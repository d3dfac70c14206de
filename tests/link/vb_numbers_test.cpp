#include "link/vb_numbers.h"

#include <gtest/gtest.h>

#include <sstream>

#include "platform/failure.h"

namespace xl {
namespace {

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
  for (const char* bad : {"", " ", "12abc", "abc", "1 2", "--1"}) {
    try {
      toNumber(bad);
      ADD_FAILURE() << "'" << bad << "' was read";
    } catch (const RuntimeFailure& f) {
      EXPECT_EQ(f.kind(), Failure::TypeMismatch) << bad;
    }
  }
  EXPECT_THROW(toLong("3000000000"), RuntimeFailure);
  for (double v : {256.0, -1.0}) EXPECT_THROW(toByte(v), RuntimeFailure) << v;
  EXPECT_EQ(std::pair(toByte(255.4), toByte(-0.5)), (std::pair<std::uint8_t, std::uint8_t>(255, 0)));
}

}  // namespace
}  // namespace xl
