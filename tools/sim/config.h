#pragma once
// The description of a simulated bus: which lines, which stations on them, how they behave.
//
// The text format (documented in tools/sim/README.md) is INI-like: a `[bus]` section with the
// clock, and one `[station]` section per controller with `key = value` lines. `#` and `;`
// start comments. The same station keys change a running station (see `applyRuntimeKey`).

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tools/sim/controller.h"

namespace xl::sim {

class ConfigError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct StationConfig {
  std::string port = "COM3";  // the line's name
  int baud = 9600;
  StationOptions options;
};

struct BusConfig {
  SimClock clock;
  std::vector<StationConfig> stations;
};

// Reads a bus description. Raises ConfigError naming the line of the first mistake.
BusConfig parseConfig(std::string_view text);

// Three stations, addresses 1, 2 and 3, on COM3 at 9600 baud.
BusConfig defaultConfig();

// Sets one station key on options being built. Raises ConfigError for an unknown key or a bad
// value. `port` takes the port text "COM3,9600" and sets the station's line.
void applyStationKey(StationConfig& station, std::string_view key, std::string_view value);

// Changes a running controller: the fault keys, `latency`, `restart`, the `flags_*` keys,
// `load`, `live` and `faults = none`. Raises ConfigError for other keys or bad values.
void applyRuntimeKey(Controller& controller, std::string_view key, std::string_view value);

// Reads "150ms", "3s", "2min" or a bare number of milliseconds.
Duration parseDuration(std::string_view text);

// One line describing a running station's faults, for the tool's "show" command.
std::string describeFaults(const Faults& faults);

}  // namespace xl::sim
