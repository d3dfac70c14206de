#pragma once
// The value axis of the charts: it starts at 0 and ends at the first whole number above 110
// percent of the largest value. Header only and Qt-free, so that the rules that pick a chart's
// values can be tested without a chart.

#include <cmath>
#include <span>

namespace xl::monitoring {

// The top of a value axis that leaves at least ten percent of room above `value`:
// the integer part of value x 1.1 (rounded down), plus 1. 0 -> 1, 10 -> 12, 12.5 -> 14,
// 100 -> 111. A value beyond the range of an int, or not a number, gives the nearest end of
// that range instead of undefined behaviour.
inline int jiashi(double value) {
  const double top = std::floor(value * 1.1) + 1;
  if (std::isnan(top)) return 0;
  if (top >= 2147483647.0) return 2147483647;
  if (top <= -2147483648.0) return -2147483647 - 1;
  return static_cast<int>(top);
}

// The axis top of a whole chart: it starts at 0 and is raised to jiashi of any value that
// needs more room. All values 0 -> 1; one value 100 -> 111; values below 0 lie under the axis
// and never lower it; no values at all -> 0.
inline int chartAxisTop(std::span<const double> values) {
  int top = 0;
  for (double v : values)
    if (top < jiashi(v)) top = jiashi(v);
  return top;
}

}  // namespace xl::monitoring
