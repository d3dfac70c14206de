#pragma once
// A family of cases written as one text, "typed>shown|typed>shown" (any text but '|' and '>'),
// checked through one function: one line per family, and a failure shows every case that
// differs.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace xl::testing {

template <class F>
::testing::AssertionResult mapsTo(F f, std::string_view cases) {
  std::string actual;
  for (std::size_t at = 0; at <= cases.size();) {
    const std::size_t end = std::min(cases.find('|', at), cases.size());
    const std::string typed(cases.substr(at, cases.substr(at, end - at).find('>')));
    actual += (actual.empty() ? "" : "|") + typed + ">" + std::string(f(typed));
    at = end + 1;
  }
  if (actual == cases) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "the cases give\n  " << actual << "\nnot\n  " << cases;
}

}  // namespace xl::testing
