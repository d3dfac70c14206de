#pragma once
// The address of a serial-to-Ethernet gateway: the value "tcp://HOST:PORT" that the settings
// give a port in section `Network Ports`. HOST is a host name, an IPv4 address, or an IPv6
// address in brackets ("tcp://[fe80::1]:502"). No Qt, so the text can be fuzzed alone.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace xl::platform {

struct GatewayAddress {
  std::string host;  // without brackets
  std::uint16_t port = 0;
  bool operator==(const GatewayAddress&) const = default;
};

// The address of a settings value, or nothing when the value is no such address. The scheme is
// read without regard to case; blanks around the value are allowed, none inside it.
std::optional<GatewayAddress> parseGatewayAddress(std::string_view text);

// What an operator types: "HOST:PORT", or the whole value with "tcp://".
std::optional<GatewayAddress> parseTypedGatewayAddress(std::string_view text);

// "tcp://HOST:PORT", the host in brackets when it is an IPv6 address.
std::string gatewayValue(const GatewayAddress& address);
// "HOST:PORT" in the same way, as the operator sees it.
std::string gatewayShown(const GatewayAddress& address);

}  // namespace xl::platform
