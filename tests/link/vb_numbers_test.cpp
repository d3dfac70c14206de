#include "link/vb_numbers.h"

#include <gtest/gtest.h>

#include "platform/failure.h"

namespace xl {
namespace {

TEST(VbNumbers, RoundingIsHalfToEven) {
  for (const auto& [v, rounded] : {std::pair{0.5, 0}, {1.5, 2}, {2.5, 2}, {-0.5, 0}, {-1.5, -2}, {2.4999, 2}, {2.5001, 3}})
    EXPECT_EQ(roundHalfEven(v), rounded) << v;
}

TEST(VbNumbers, LenientReading) {
  for (const auto& [text, v] : {std::pair{"", 0.0}, {"abc", 0.0}, {"12abc", 12.0}, {"  -3.25V", -3.25}, {"1e3", 1000.0},
                                {"1e", 1.0}, {"&H1F", 31.0}, {".5", 0.5}, {"+7", 7.0}, {"-", 0.0}})
    EXPECT_EQ(val(text), v) << text;
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
