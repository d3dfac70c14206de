#pragma once
// Simulated stations hung on the simulated serial lines of the console's tests.
//
//   xl::platform::SimBusDriver driver;
//   xl::sim::Bus bus(driver);
//   auto& s1 = bus.add("COM3", 1);          // address 1 on COM3 at 9600 baud
//   auto& s2 = bus.add("COM3", 2);
//   s2.setFaults({.silent = true});
//
// or the whole bus of a configuration text at once:
//
//   xl::sim::Bus bus(driver, xl::sim::parseConfig(text));
//
// The bus keeps the controllers alive as long as it lives; the lines belong to the driver.

#include <memory>
#include <string>
#include <vector>

#include "platform/sim_bus.h"
#include "tools/sim/config.h"
#include "tools/sim/controller.h"

namespace xl::sim {

class Bus {
 public:
  explicit Bus(platform::SimBusDriver& driver) : driver_(driver) {}
  // Every station of `config`, each on its line.
  Bus(platform::SimBusDriver& driver, const BusConfig& config);

  // A controller on line `port`; the line is made at `baud` if the driver does not have it yet.
  // Raises std::invalid_argument when the line exists at another baud rate.
  Controller& add(const std::string& port, int baud, const StationOptions& options);
  // A controller with default options at `address` on a 9600 baud line (seeded by its address).
  Controller& add(const std::string& port, std::uint8_t address);

  // The controller at `address` on `port` (by its present address), or null.
  Controller* find(const std::string& port, std::uint8_t address) const;

  struct Station {
    std::string port;
    std::shared_ptr<Controller> controller;
  };
  const std::vector<Station>& stations() const { return stations_; }

 private:
  platform::SimBusDriver& driver_;
  std::vector<Station> stations_;
};

}  // namespace xl::sim
