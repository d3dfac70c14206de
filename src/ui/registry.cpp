#include "ui/registry.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

namespace xl::ui {

namespace {

std::vector<std::pair<const void*, void (*)()>>& created() {
  static std::vector<std::pair<const void*, void (*)()>> list;
  return list;
}

int constructing = 0;

}  // namespace

namespace detail {

void remember(const void* key, void (*discard)()) { created().emplace_back(key, discard); }

void forget(const void* key) {
  auto& list = created();
  list.erase(std::remove_if(list.begin(), list.end(), [key](const auto& e) { return e.first == key; }), list.end());
}

void beginConstruction() {
  if (constructing > 0) {
    throw std::logic_error("a screen's constructor touched another screen");
  }
  ++constructing;
}

void endConstruction() { --constructing; }

}  // namespace detail

void discardAll() {
  // A discarded screen may take others with it (its child widgets); the list is read afresh
  // after each one.
  while (!created().empty()) {
    void (*discard)() = created().back().second;
    discard();
  }
}

int screenCount() { return static_cast<int>(created().size()); }

}  // namespace xl::ui
