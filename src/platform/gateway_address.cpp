#include "platform/gateway_address.h"

#include <cctype>

namespace xl::platform {

namespace {

std::string_view trimmed(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
  return s;
}

bool isHex(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }
bool isAlnum(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }

// A host name or IPv4 address: letters, digits, '-', '_' and '.', at most 253 characters.
bool plainHost(std::string_view h) {
  if (h.empty() || h.size() > 253 || h.front() == '.' || h.front() == '-') return false;
  for (char c : h)
    if (!isAlnum(c) && c != '-' && c != '_' && c != '.') return false;
  return true;
}

// The inside of the brackets: hex digits, ':' and '.' (an IPv4 tail), with at least two ':'.
bool ipv6Host(std::string_view h) {
  if (h.size() < 2 || h.size() > 45) return false;
  int colons = 0;
  for (char c : h) {
    if (c == ':')
      ++colons;
    else if (!isHex(c) && c != '.')
      return false;
  }
  return colons >= 2;
}

std::optional<std::uint16_t> portNumber(std::string_view p) {
  if (p.empty() || p.size() > 5) return std::nullopt;
  unsigned n = 0;
  for (char c : p) {
    if (c < '0' || c > '9') return std::nullopt;
    n = n * 10 + static_cast<unsigned>(c - '0');
  }
  if (n < 1 || n > 65535) return std::nullopt;
  return static_cast<std::uint16_t>(n);
}

std::optional<GatewayAddress> hostAndPort(std::string_view s) {
  std::string_view host;
  std::string_view rest;
  bool bracketed = false;
  if (!s.empty() && s.front() == '[') {
    const auto close = s.find(']');
    if (close == std::string_view::npos) return std::nullopt;
    host = s.substr(1, close - 1);
    rest = s.substr(close + 1);
    bracketed = true;
  } else {
    const auto colon = s.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    host = s.substr(0, colon);
    rest = s.substr(colon);
  }
  if (rest.empty() || rest.front() != ':') return std::nullopt;
  if (bracketed ? !ipv6Host(host) : !plainHost(host)) return std::nullopt;
  const auto port = portNumber(rest.substr(1));
  if (!port) return std::nullopt;
  return GatewayAddress{std::string(host), *port};
}

bool hasScheme(std::string_view s) {
  constexpr std::string_view kScheme = "tcp://";
  if (s.size() < kScheme.size()) return false;
  for (std::size_t i = 0; i < kScheme.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(s[i])) != kScheme[i]) return false;
  return true;
}

}  // namespace

std::optional<GatewayAddress> parseGatewayAddress(std::string_view text) {
  const std::string_view s = trimmed(text);
  if (!hasScheme(s)) return std::nullopt;
  return hostAndPort(s.substr(6));
}

std::optional<GatewayAddress> parseTypedGatewayAddress(std::string_view text) {
  const std::string_view s = trimmed(text);
  return hasScheme(s) ? hostAndPort(s.substr(6)) : hostAndPort(s);
}

std::string gatewayShown(const GatewayAddress& a) {
  const bool v6 = a.host.find(':') != std::string::npos;
  return (v6 ? "[" + a.host + "]" : a.host) + ":" + std::to_string(a.port);
}

std::string gatewayValue(const GatewayAddress& a) { return "tcp://" + gatewayShown(a); }

}  // namespace xl::platform
