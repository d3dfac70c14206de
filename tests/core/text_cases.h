#pragma once
// Checks written as one text: a family of cases through one function, or the state of several
// things at once. A failure shows the whole text as it is and as it should be.

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace xl::testing {

// The parts of `text` between the `separator`s ("a|b|" gives "a", "b" and "").
inline std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(separator, at), text.size());
    parts.emplace_back(text.substr(at, end - at));
    at = end + 1;
  }
  return parts;
}

// Each case of `cases`, "typed>shown|typed>shown" (any text but '|' and '>'), through `f`.
template <class F>
::testing::AssertionResult mapsTo(F f, std::string_view cases) {
  std::string actual;
  for (const std::string& c : split(cases, '|')) {
    const std::string typed = c.substr(0, c.find('>'));
    actual += (actual.empty() ? "" : "|") + typed + ">" + std::string(f(typed));
  }
  if (actual == cases) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "the cases give\n  " << actual << "\nnot\n  " << cases;
}

// The things named in `expected` described the same way: "Name=text" for a thing's text (no
// blanks in it), a leading "+" or "-" for an enabled or disabled one ("-Name" alone for the
// state alone). `look(name)` gives a thing's text and state, nullopt when there is none.
template <class F>
::testing::AssertionResult describedAs(std::string_view expected, F look) {
  std::string actual;
  for (const std::string& item : split(expected, ' ')) {
    std::string_view token = item;
    if (token.empty()) continue;
    const bool state = token[0] == '+' || token[0] == '-';
    token.remove_prefix(state ? 1 : 0);
    const std::string name(token.substr(0, token.find('=')));
    const std::optional<std::pair<std::string, bool>> thing = look(name);
    if (!thing) return ::testing::AssertionFailure() << "nothing is named " << name;
    if (!actual.empty()) actual += ' ';
    if (state) actual += thing->second ? '+' : '-';
    actual += name + (name.size() < token.size() ? "=" + thing->first : "");
  }
  if (actual == expected) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "it is\n  " << actual << "\nnot\n  " << expected;
}

}  // namespace xl::testing
