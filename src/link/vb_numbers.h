#pragma once
// Number conversions of the console's boxes and frames.
//
// Numbers live as text in the boxes. `val` reads a text leniently (the longest numeric prefix,
// 0 when there is none), `toNumber` strictly (the whole text must be a number, else a
// type-mismatch failure). Rounding to an integer is half to even throughout.

#include <cstdint>
#include <string>
#include <string_view>

namespace xl {

// Round half to even, as every integer conversion of the console does.
double roundHalfEven(double x);

// Lenient reading: leading blanks skipped, then the longest prefix that reads as a decimal
// number (sign, digits, point, exponent) or "&H"/"&O" prefixed integer. No number gives 0.
double val(std::string_view text);

// Strict reading of a whole text (blanks around it allowed). Raises TypeMismatch otherwise.
double toNumber(std::string_view text);

// Strict conversion to a 32-bit integer, rounding half to even. Raises TypeMismatch or Overflow.
std::int32_t toLong(std::string_view text);
std::int32_t toLong(double value);

// Strict conversion to an unsigned byte, rounding half to even. Raises Overflow out of 0..255.
std::uint8_t toByte(double value);

}  // namespace xl
