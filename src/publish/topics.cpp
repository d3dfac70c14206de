#include "publish/topics.h"

namespace xl::publish {

namespace {
constexpr char kHexUpper[] = "0123456789ABCDEF";
constexpr char kHexLower[] = "0123456789abcdef";

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// A prefix level: escaped, and never empty (an empty level would make "//" in a topic).
std::string level(std::string_view text) { return escapeTopicLevel(text); }
}  // namespace

std::string escapeTopicLevel(std::string_view name) {
  if (name.empty()) return "%";  // no name escapes to a lone "%" ("%" itself is "%25")
  std::string out;
  out.reserve(name.size());
  for (char c : name) {
    const auto b = static_cast<unsigned char>(c);
    if (c == '+' || c == '#' || c == '/' || c == '%' || b == 0) {
      out += '%';
      out += kHexUpper[b >> 4];
      out += kHexUpper[b & 0xF];
    } else {
      out += c;
    }
  }
  return out;
}

std::string unescapeTopicLevel(std::string_view level) {
  if (level == "%") return {};
  std::string out;
  for (std::size_t i = 0; i < level.size(); ++i) {
    if (level[i] == '%' && i + 2 < level.size()) {
      const int hi = hexDigit(level[i + 1]);
      const int lo = hexDigit(level[i + 2]);
      if (hi >= 0 && lo >= 0) {
        out += static_cast<char>(hi * 16 + lo);
        i += 2;
        continue;
      }
    }
    out += level[i];
  }
  return out;
}

std::string objectId(std::string_view text) {
  std::string out;
  for (char c : text) {
    const auto b = static_cast<unsigned char>(c);
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-') {
      out += c;
    } else {
      out += '_';
      out += kHexLower[b >> 4];
      out += kHexLower[b & 0xF];
    }
  }
  return out.empty() ? "_" : out;
}

std::string Topics::base() const { return level(prefix) + "/" + level(clientId); }
std::string Topics::status() const { return base() + "/status"; }
std::string Topics::state(std::string_view station) const { return base() + "/" + level(station) + "/state"; }
std::string Topics::availability(std::string_view station) const {
  return base() + "/" + level(station) + "/availability";
}
std::string Topics::alarms(std::string_view station) const { return base() + "/" + level(station) + "/alarms"; }
std::string Topics::alarm(std::string_view station) const { return base() + "/" + level(station) + "/alarm"; }
std::string Topics::discoveryConfig(std::string_view uniqueId, std::string_view component) const {
  return level(discoveryPrefix) + "/" + std::string(component) + "/" + std::string(uniqueId) + "/config";
}
std::string Topics::uniqueId(std::string_view station, std::string_view key) const {
  return objectId(clientId) + "_" + objectId(station) + "_" + objectId(key);
}

}  // namespace xl::publish
