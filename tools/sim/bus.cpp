#include "tools/sim/bus.h"

#include <stdexcept>

namespace xl::sim {

Bus::Bus(platform::SimBusDriver& driver, const BusConfig& config) : driver_(driver) {
  for (const StationConfig& st : config.stations) add(st.port, st.baud, st.options);
}

Controller& Bus::add(const std::string& port, int baud, const StationOptions& options) {
  platform::SimLine* line = driver_.line(port);
  if (!line) line = &driver_.addLine(port, baud);
  if (line->baud() != baud)
    throw std::invalid_argument(port + " runs at " + std::to_string(line->baud()) + " baud, not " +
                                std::to_string(baud));
  auto controller = std::make_shared<Controller>(options);
  line->attach(controller);
  stations_.push_back(Station{port, controller});
  return *controller;
}

Controller& Bus::add(const std::string& port, std::uint8_t address) {
  StationOptions options;
  options.address = address;
  options.plant.seed = address;
  return add(port, 9600, options);
}

Controller* Bus::find(const std::string& port, std::uint8_t address) const {
  for (const Station& s : stations_)
    if (s.port == port && s.controller->address() == address) return s.controller.get();
  return nullptr;
}

}  // namespace xl::sim
