#include "tools/sim/config.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <set>
#include <sstream>

namespace xl::sim {

namespace {

std::string_view trim(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

std::string lower(std::string_view s) {
  std::string out(s);
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
  return out;
}

// A comment starts with '#' or ';' at the start of a line or after a blank.
std::string_view stripComment(std::string_view line) {
  for (std::size_t i = 0; i < line.size(); ++i)
    if ((line[i] == '#' || line[i] == ';') && (i == 0 || std::isspace(static_cast<unsigned char>(line[i - 1]))))
      return line.substr(0, i);
  return line;
}

[[noreturn]] void bad(std::string_view key, std::string_view value, std::string_view why) {
  throw ConfigError(std::string(key) + " = " + std::string(value) + ": " + std::string(why));
}

// A whole number, decimal or with 0x, within [lo, hi].
long long integer(std::string_view key, std::string_view value, long long lo, long long hi) {
  std::string_view v = trim(value);
  int base = 10;
  if (v.size() > 2 && v[0] == '0' && (v[1] == 'x' || v[1] == 'X')) {
    base = 16;
    v.remove_prefix(2);
  }
  long long n = 0;
  auto [end, ec] = std::from_chars(v.data(), v.data() + v.size(), n, base);
  if (ec != std::errc{} || end != v.data() + v.size() || v.empty()) bad(key, value, "not a whole number");
  if (n < lo || n > hi) bad(key, value, "out of range " + std::to_string(lo) + ".." + std::to_string(hi));
  return n;
}

double number(std::string_view key, std::string_view value, double lo, double hi) {
  const std::string v(trim(value));
  std::size_t used = 0;
  double d = 0;
  try {
    d = std::stod(v, &used);
  } catch (...) {
    bad(key, value, "not a number");
  }
  if (used != v.size() || !std::isfinite(d)) bad(key, value, "not a number");
  if (d < lo || d > hi) bad(key, value, "out of range");
  return d;
}

bool boolean(std::string_view key, std::string_view value) {
  const std::string v = lower(trim(value));
  if (v == "yes" || v == "on" || v == "true" || v == "1") return true;
  if (v == "no" || v == "off" || v == "false" || v == "0") return false;
  bad(key, value, "not yes or no");
}

// Numbers separated by blanks, dots or commas: "2.1.0", "16 05 00 23".
template <std::size_t N>
std::array<std::uint8_t, N> bytesList(std::string_view key, std::string_view value) {
  std::array<std::uint8_t, N> out{};
  std::string text(value);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '.' || c == ','; }, ' ');
  std::istringstream in(text);
  std::string item;
  std::size_t n = 0;
  while (in >> item) {
    if (n == N) bad(key, value, "more than " + std::to_string(N) + " numbers");
    out[n++] = static_cast<std::uint8_t>(integer(key, item, 0, 255));
  }
  if (n != N) bad(key, value, "needs " + std::to_string(N) + " numbers");
  return out;
}

std::uint8_t byte(std::string_view key, std::string_view value) {
  return static_cast<std::uint8_t>(integer(key, value, 0, 255));
}

Duration timeOfDay(std::string_view key, std::string_view value) {
  const std::string v(trim(value));
  int h = 0, m = 0, s = 0;
  char c1 = 0, c2 = 0;
  std::istringstream in(v);
  in >> h >> c1 >> m;
  if (!in || c1 != ':') bad(key, value, "not HH:MM");
  if (in >> c2) {
    if (c2 != ':' || !(in >> s)) bad(key, value, "not HH:MM:SS");
  }
  if (h < 0 || h > 23 || m < 0 || m > 59 || s < 0 || s > 59) bad(key, value, "not a time of day");
  return std::chrono::hours(h) + std::chrono::minutes(m) + std::chrono::seconds(s);
}

// The fault keys, shared by the file and by changes at run time. False when `key` is not one.
bool applyFaultKey(Faults& f, const std::string& key, std::string_view value) {
  if (key == "silent")
    f.silent = boolean(key, value);
  else if (key == "bad_crc")
    f.badCrc = boolean(key, value);
  else if (key == "delay")
    f.delay = parseDuration(value);
  else if (key == "split")
    f.splitGap = parseDuration(value);
  else if (key == "split_at")
    f.splitAt = static_cast<std::size_t>(integer(key, value, 0, 255));
  else if (key == "exception")
    f.exception = static_cast<Exception>(integer(key, value, 0, 255));
  else if (key == "reply_address") {
    if (lower(trim(value)) == "none")
      f.replyAddress.reset();
    else
      f.replyAddress = byte(key, value);
  } else if (key == "faults") {
    if (lower(trim(value)) != "none") bad(key, value, "only 'none' clears the faults");
    f = Faults{};
  } else {
    return false;
  }
  return true;
}

// Keys that act on status and timing, shared by the file and run time.
bool applyStatusKey(ForcedStatus& forced, const std::string& key, std::string_view value) {
  if (key == "flags_0120")
    forced.statusBits = static_cast<std::uint8_t>(integer(key, value, 0, 0x7F));
  else if (key == "flags_0121")
    forced.faultWord = static_cast<std::uint16_t>(integer(key, value, 0, 0xFFFF));
  else if (key == "flags_0122")
    forced.alarmWord = static_cast<std::uint16_t>(integer(key, value, 0, 0xFFFF));
  else
    return false;
  return true;
}

void checkBus(const BusConfig& bus) {
  std::set<std::pair<std::string, int>> seen;
  for (const StationConfig& a : bus.stations) {
    if (!seen.insert({a.port, a.options.address}).second)
      throw ConfigError("two stations with address " + std::to_string(a.options.address) + " on " + a.port);
    for (const StationConfig& b : bus.stations)
      if (a.port == b.port && a.baud != b.baud)
        throw ConfigError(a.port + " is given two baud rates, " + std::to_string(a.baud) + " and " +
                          std::to_string(b.baud));
  }
}

}  // namespace

Duration parseDuration(std::string_view text) {
  const std::string v = lower(trim(text));
  std::size_t used = 0;
  double amount = 0;
  try {
    amount = std::stod(v, &used);
  } catch (...) {
    bad("duration", text, "not a duration");
  }
  const std::string unit(trim(std::string_view(v).substr(used)));
  double factor = 1000;  // microseconds in the unit
  if (unit.empty() || unit == "ms")
    factor = 1000;
  else if (unit == "s")
    factor = 1'000'000;
  else if (unit == "min")
    factor = 60'000'000;
  else
    bad("duration", text, "unit must be ms, s or min");
  if (!std::isfinite(amount) || amount < 0 || amount * factor > 86400e6) bad("duration", text, "out of range");
  return Duration(static_cast<std::int64_t>(std::llround(amount * factor)));
}

void applyStationKey(StationConfig& st, std::string_view keyText, std::string_view value) {
  const std::string key = lower(trim(keyText));
  StationOptions& o = st.options;
  value = trim(value);
  if (applyFaultKey(o.faults, key, value) || applyStatusKey(o.forced, key, value)) return;
  if (key == "port") {
    const std::size_t comma = value.find(',');
    const std::string name(trim(value.substr(0, comma)));
    if (name.empty()) bad(key, value, "no port name");
    st.port = name;
    if (comma != std::string_view::npos)
      st.baud = static_cast<int>(integer(key, value.substr(comma + 1), 50, 4'000'000));
  } else if (key == "baud") {
    st.baud = static_cast<int>(integer(key, value, 50, 4'000'000));
  } else if (key == "address") {
    o.address = static_cast<std::uint8_t>(integer(key, value, 1, 247));
  } else if (key == "model") {
    if (value.size() > 16) bad(key, value, "longer than 16 characters");
    o.identity.model = std::string(value);
  } else if (key == "serial") {
    o.identity.serialNumber = bytesList<4>(key, value);
  } else if (key == "software") {
    o.identity.softwareVersion = bytesList<3>(key, value);
  } else if (key == "device_version") {
    o.identity.deviceVersion = bytesList<3>(key, value);
  } else if (key == "max_voltage") {
    o.identity.maxSystemVoltage = byte(key, value);
  } else if (key == "rated_charge") {
    o.identity.ratedChargeCurrent = byte(key, value);
  } else if (key == "rated_load") {
    o.identity.ratedLoadCurrent = byte(key, value);
  } else if (key == "battery") {
    o.plant.batteryVoltage = static_cast<int>(integer(key, value, 12, 96));
  } else if (key == "capacity") {
    o.capacityAh = static_cast<std::uint16_t>(integer(key, value, 1, 65535));
  } else if (key == "soc") {
    o.plant.startSoc = number(key, value, 0, 100);
  } else if (key == "panel") {
    o.plant.panelWatts = number(key, value, 0, 100000);
  } else if (key == "load_power") {
    o.plant.loadWatts = number(key, value, 0, 100000);
  } else if (key == "ambient") {
    o.plant.ambientCelsius = number(key, value, -60, 80);
  } else if (key == "history") {
    o.plant.historyDays = static_cast<int>(integer(key, value, 0, static_cast<long long>(kHistoryCapacity)));
  } else if (key == "seed") {
    o.plant.seed = static_cast<std::uint64_t>(integer(key, value, 0, std::numeric_limits<long long>::max()));
  } else if (key == "load") {
    o.loadOn = boolean(key, value);
  } else if (key == "load_mode") {
    o.loadMode = static_cast<std::uint16_t>(integer(key, value, 0, param::kLastLoadMode));
  } else if (key == "live") {
    o.live = boolean(key, value);
  } else if (key == "latency") {
    o.latency = parseDuration(value);
  } else if (key == "restart") {
    o.restartSilence = parseDuration(value);
  } else {
    throw ConfigError("unknown station key '" + key + "'");
  }
}

void applyRuntimeKey(Controller& c, std::string_view keyText, std::string_view value) {
  const std::string key = lower(trim(keyText));
  value = trim(value);
  Faults faults = c.faults();
  if (applyFaultKey(faults, key, value)) {
    c.setFaults(faults);
  } else if (applyStatusKey(c.state().forced, key, value)) {
  } else if (key == "latency") {
    c.setLatency(parseDuration(value));
  } else if (key == "restart") {
    c.setRestartSilence(parseDuration(value));
  } else if (key == "load") {
    c.state().readings.loadOn = boolean(key, value);
  } else if (key == "live") {
    c.setLive(boolean(key, value));
  } else {
    throw ConfigError("'" + key + "' cannot be changed while the simulator runs");
  }
}

BusConfig parseConfig(std::string_view text) {
  BusConfig bus;
  enum class Section { None, Bus, Station } section = Section::None;
  std::set<std::string> keysOfStation;
  bool portWithBaud = false;
  std::vector<bool> explicitBaud;
  auto finishStation = [&] {
    if (section != Section::Station) return;
    StationConfig& st = bus.stations.back();
    if (!keysOfStation.count("seed")) st.options.plant.seed = st.options.address;
    explicitBaud.push_back(keysOfStation.count("baud") || portWithBaud);
  };

  std::size_t lineNo = 0;
  std::size_t pos = 0;
  while (pos <= text.size()) {
    const std::size_t eol = std::min(text.find('\n', pos), text.size());
    std::string_view line = trim(stripComment(text.substr(pos, eol - pos)));
    pos = eol + 1;
    ++lineNo;
    if (line.empty()) continue;
    try {
      if (line.front() == '[') {
        if (line.back() != ']') throw ConfigError("a section name ends with ']'");
        const std::string name = lower(trim(line.substr(1, line.size() - 2)));
        finishStation();
        if (name == "bus") {
          section = Section::Bus;
        } else if (name == "station") {
          section = Section::Station;
          bus.stations.emplace_back();
          keysOfStation.clear();
          portWithBaud = false;
        } else {
          throw ConfigError("unknown section [" + name + "]");
        }
        continue;
      }
      const std::size_t eq = line.find('=');
      if (eq == std::string_view::npos) throw ConfigError("expected key = value");
      const std::string key = lower(trim(line.substr(0, eq)));
      const std::string_view value = trim(line.substr(eq + 1));
      switch (section) {
        case Section::None: throw ConfigError("key outside a section");
        case Section::Bus:
          if (key == "speed")
            bus.clock.speed = number(key, value, 0.001, 1e6);
          else if (key == "start")
            bus.clock.startTimeOfDay = timeOfDay(key, value);
          else
            throw ConfigError("unknown bus key '" + key + "'");
          break;
        case Section::Station:
          applyStationKey(bus.stations.back(), key, value);
          keysOfStation.insert(key);
          if (key == "port" && value.find(',') != std::string_view::npos) portWithBaud = true;
          break;
      }
    } catch (const ConfigError& e) {
      throw ConfigError("line " + std::to_string(lineNo) + ": " + e.what());
    }
  }
  finishStation();
  // A station that names its port without a rate runs at the rate given for that line.
  for (std::size_t i = 0; i < bus.stations.size(); ++i) {
    if (explicitBaud[i]) continue;
    for (std::size_t j = 0; j < bus.stations.size(); ++j)
      if (explicitBaud[j] && bus.stations[j].port == bus.stations[i].port) bus.stations[i].baud = bus.stations[j].baud;
  }
  for (StationConfig& st : bus.stations) st.options.clock = bus.clock;
  checkBus(bus);
  return bus;
}

BusConfig defaultConfig() {
  BusConfig bus;
  for (std::uint8_t address = 1; address <= 3; ++address) {
    StationConfig st;
    StationOptions& o = st.options;
    o.address = address;
    o.plant.seed = address;
    o.identity.serialNumber = {16, 5, 0, static_cast<std::uint8_t>(20 + address)};
    if (address == 2) {
      o.identity.model = "XL-MPPT2410";
      o.identity.maxSystemVoltage = 24;
      o.identity.ratedChargeCurrent = 10;
      o.identity.ratedLoadCurrent = 10;
      o.plant.batteryVoltage = 12;
      o.plant.panelWatts = 220;
      o.plant.loadWatts = 20;
      o.capacityAh = 100;
    } else if (address == 3) {
      o.identity.model = "XL-MPPT9640";
      o.identity.maxSystemVoltage = 96;
      o.identity.ratedChargeCurrent = 40;
      o.identity.ratedLoadCurrent = 0;  // no load output
      o.plant.batteryVoltage = 48;
      o.plant.panelWatts = 2400;
      o.plant.loadWatts = 0;
      o.capacityAh = 400;
      o.loadOn = false;
    }
    bus.stations.push_back(st);
  }
  return bus;
}

std::string describeFaults(const Faults& f) {
  if (!f.any()) return "no faults";
  std::ostringstream out;
  const char* sep = "";
  auto item = [&](const std::string& s) {
    out << sep << s;
    sep = ", ";
  };
  auto ms = [](Duration d) {
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(d).count()) + "ms";
  };
  if (f.silent) item("silent");
  if (f.exception != Exception::None) item("exception " + std::to_string(static_cast<int>(f.exception)));
  if (f.replyAddress) item("reply address " + std::to_string(*f.replyAddress));
  if (f.badCrc) item("bad CRC");
  if (f.splitGap > Duration::zero())
    item("split " + ms(f.splitGap) + (f.splitAt ? " after " + std::to_string(f.splitAt) + " bytes" : ""));
  if (f.delay > Duration::zero()) item("delay " + ms(f.delay));
  return out.str();
}

}  // namespace xl::sim
