#pragma once
// Topic names of the broker publisher and the identifiers derived from station names.
//
// A topic level may hold any UTF-8 text except '+', '#', '/' (which MQTT reserves for
// wildcards and levels) and NUL. A station's name is put into a level with those four, and the
// escape character '%' itself, written as '%' and two upper-case hex digits ("A/B" -> "A%2FB");
// everything else, Chinese included, stays readable as it is. An empty name (never a station's,
// the store keys on it) becomes the level "%", which no other name gives, so no topic holds an
// empty level and two names never share one.
//
// Discovery object ids (Home Assistant accepts [a-zA-Z0-9_-] only) keep ASCII letters, digits
// and '-', and write every other byte of the UTF-8 text as '_' and two lower-case hex digits.
//
// Plain functions; no Qt.

#include <string>
#include <string_view>

namespace xl::publish {

std::string escapeTopicLevel(std::string_view name);
// The inverse of escapeTopicLevel for a well-formed level; other text comes back as it is.
std::string unescapeTopicLevel(std::string_view level);
std::string objectId(std::string_view text);

// The topics of one console: <prefix>/<client id>/... ; every level escaped.
struct Topics {
  std::string prefix = "xinglan";
  std::string clientId;
  std::string discoveryPrefix = "homeassistant";

  std::string base() const;  // "<prefix>/<client id>"
  std::string status() const;
  std::string state(std::string_view station) const;
  std::string availability(std::string_view station) const;
  // The station's open alarms (retained) and its alarm events (not retained).
  std::string alarms(std::string_view station) const;
  std::string alarm(std::string_view station) const;
  // "<discovery prefix>/<component>/<unique id>/config"
  std::string discoveryConfig(std::string_view uniqueId, std::string_view component = "sensor") const;
  // "<client id>_<station>_<key>" as object ids.
  std::string uniqueId(std::string_view station, std::string_view key) const;
};

}  // namespace xl::publish
