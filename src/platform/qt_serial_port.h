#pragma once
// The serial driver of the running program: Qt SerialPort on the device a port name leads to.

#include <functional>
#include <string>

#include "platform/serial_port.h"

namespace xl::platform {

class QtPortDriver : public PortDriver {
 public:
  // `resolve` turns "COM3" into the device path (see port_names.h).
  explicit QtPortDriver(std::function<std::string(const std::string&)> resolve);
  std::unique_ptr<PortChannel> open(const std::string& name, const LineSettings& settings) override;

 private:
  std::function<std::string(const std::string&)> resolve_;
};

}  // namespace xl::platform
