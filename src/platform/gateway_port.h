#pragma once
// Ports that are serial-to-Ethernet gateways in transparent mode: the raw RTU bytes over TCP.
//
// `GatewayDriver` stands in front of the serial driver. A port whose name has a gateway
// address (settings section `Network Ports`, "COM5=tcp://HOST:PORT") is opened here, every
// other port by the serial driver. The channel behaves as a serial one: write, read all, the
// receive event at the first byte of an empty buffer (through the scheduler), dropping buffers.
//
// One TCP connection per gateway port is kept from one opening to the next (a gateway serves
// one client, and a connection per request would cost a handshake each time):
// - a write that finds no connection starts connecting, without blocking; its bytes wait and
//   go out when the connection stands. Bytes written before a close are still sent: the
//   connection, not the channel, holds them;
// - while an attempt is under way (up to the timeout, 3 s) the port cannot be opened
//   (PortUnavailable, silent like a missing serial port), so requests do not pile up behind a
//   gateway that does not answer; a refused or timed-out attempt drops its waiting bytes, and
//   the next request tries again;
// - a connection that drops raises a line error on an open channel, and the next write
//   connects again;
// - bytes that come while no channel is open are dropped, as a closed serial port drops them.

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/gateway_address.h"
#include "platform/scheduler.h"
#include "platform/serial_port.h"

namespace xl::platform {

class GatewayLink;

class GatewayDriver : public PortDriver {
 public:
  // `gatewayOf("COM5")` gives the port's settings value, empty for a serial port.
  GatewayDriver(PortDriver& serial, std::function<std::string(const std::string&)> gatewayOf,
                Duration connectTimeout = ms(3000));
  ~GatewayDriver() override;
  std::unique_ptr<PortChannel> open(const std::string& name, const LineSettings& settings) override;

 private:
  PortDriver& serial_;
  std::function<std::string(const std::string&)> gatewayOf_;
  Duration connectTimeout_;
  std::map<std::string, std::unique_ptr<GatewayLink>> links_;
};

}  // namespace xl::platform
