#include "link/vb_numbers.h"

#include <gtest/gtest.h>

#include "platform/failure.h"

namespace xl {
namespace {

TEST(VbNumbers, RoundingIsHalfToEven) {
  EXPECT_EQ(roundHalfEven(0.5), 0);
  EXPECT_EQ(roundHalfEven(1.5), 2);
  EXPECT_EQ(roundHalfEven(2.5), 2);
  EXPECT_EQ(roundHalfEven(-0.5), 0);
  EXPECT_EQ(roundHalfEven(-1.5), -2);
  EXPECT_EQ(roundHalfEven(2.4999), 2);
  EXPECT_EQ(roundHalfEven(2.5001), 3);
}

TEST(VbNumbers, LenientReading) {
  EXPECT_EQ(val(""), 0);
  EXPECT_EQ(val("abc"), 0);
  EXPECT_EQ(val("12abc"), 12);
  EXPECT_EQ(val("  -3.25V"), -3.25);
  EXPECT_EQ(val("1e3"), 1000);
  EXPECT_EQ(val("1e"), 1);
  EXPECT_EQ(val("&H1F"), 31);
  EXPECT_EQ(val(".5"), 0.5);
  EXPECT_EQ(val("+7"), 7);
  EXPECT_EQ(val("-"), 0);
}

TEST(VbNumbers, StrictReading) {
  EXPECT_EQ(toNumber(" 12.5 "), 12.5);
  EXPECT_EQ(toLong("2.5"), 2);
  EXPECT_EQ(toLong("3.5"), 4);
  EXPECT_EQ(toLong("-7"), -7);
  for (const char* bad : {"", " ", "12abc", "abc", "1 2", "--1"}) {
    try {
      toNumber(bad);
      ADD_FAILURE() << "'" << bad << "' was read";
    } catch (const RuntimeFailure& f) {
      EXPECT_EQ(f.kind(), Failure::TypeMismatch) << bad;
    }
  }
  EXPECT_THROW(toLong("3000000000"), RuntimeFailure);
  EXPECT_THROW(toByte(256), RuntimeFailure);
  EXPECT_THROW(toByte(-1), RuntimeFailure);
  EXPECT_EQ(toByte(255.4), 255);
  EXPECT_EQ(toByte(-0.5), 0);
}

}  // namespace
}  // namespace xl
