// The bus description: its format, its defaults, its mistakes, and changes at run time.

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <sstream>

#include "link/frame_codec.h"
#include "tools/sim/config.h"
#include "tools/sim/register_map.h"

namespace xl::sim {
namespace {

using platform::ms;

// Each station key, alone in a station, and what it sets.
TEST(Config, EveryStationKeyLandsInTheOptions) {
  using O = StationOptions;
  const std::pair<const char*, std::function<bool(const O&)>> keys[] = {
      {"address = 12", [](const O& o) { return o.address == 12; }},
      {"model = XL MPPT#2", [](const O& o) { return o.identity.model == "XL MPPT#2"; }},  // '#' is no comment here
      {"serial = 1.2.3.4", [](const O& o) { return o.identity.serialNumber == std::array<std::uint8_t, 4>{1, 2, 3, 4}; }},
      {"software = 3.2.1", [](const O& o) { return o.identity.softwareVersion == std::array<std::uint8_t, 3>{3, 2, 1}; }},
      {"device_version = 4 5 6", [](const O& o) { return o.identity.deviceVersion == std::array<std::uint8_t, 3>{4, 5, 6}; }},
      {"max_voltage = 96", [](const O& o) { return o.identity.maxSystemVoltage == 96; }},
      {"rated_charge = 40", [](const O& o) { return o.identity.ratedChargeCurrent == 40; }},
      {"rated_load = 0", [](const O& o) { return o.identity.ratedLoadCurrent == 0; }},
      {"battery = 48", [](const O& o) { return o.plant.batteryVoltage == 48; }},
      {"capacity = 400", [](const O& o) { return o.capacityAh == 400; }},
      {"soc = 55.5", [](const O& o) { return o.plant.startSoc == 55.5; }},
      {"panel = 2400", [](const O& o) { return o.plant.panelWatts == 2400; }},
      {"load_power = 0", [](const O& o) { return o.plant.loadWatts == 0; }},
      {"load = off", [](const O& o) { return !o.loadOn; }},
      {"load_mode = 17", [](const O& o) { return o.loadMode == 17; }},
      {"ambient = -10", [](const O& o) { return o.plant.ambientCelsius == -10; }},
      {"history = 400", [](const O& o) { return o.plant.historyDays == 400; }},
      {"seed = 0x2A", [](const O& o) { return o.plant.seed == 42u; }},
      {"live = no", [](const O& o) { return !o.live; }},
      {"latency = 2ms", [](const O& o) { return o.latency == ms(2); }},
      {"restart = 1.5s", [](const O& o) { return o.restartSilence == ms(1500); }},
      {"flags_0120 = 0x40", [](const O& o) { return o.forced.statusBits == 0x40; }},
      {"flags_0121 = 0x1001", [](const O& o) { return o.forced.faultWord == 0x1001; }},
      {"flags_0122 = 8", [](const O& o) { return o.forced.alarmWord == 8; }},
      {"silent = yes", [](const O& o) { return o.faults.silent; }},
      {"bad_crc = yes", [](const O& o) { return o.faults.badCrc; }},
      {"delay = 250", [](const O& o) { return o.faults.delay == ms(250); }},
      {"split = 150ms", [](const O& o) { return o.faults.splitGap == ms(150); }},
      {"split_at = 10", [](const O& o) { return o.faults.splitAt == 10u; }},
      {"exception = 2", [](const O& o) { return o.faults.exception == Exception::IllegalAddress; }},
      {"reply_address = 9  ; a comment", [](const O& o) { return o.faults.replyAddress == 9; }},
  };
  for (const auto& [line, holds] : keys) {
    const BusConfig bus = parseConfig(std::string("[station]\n") + line + "\n");
    ASSERT_EQ(bus.stations.size(), 1u) << line;
    EXPECT_TRUE(holds(bus.stations[0].options)) << line;
  }

  // The bus keys reach every station; the second station of a line shares its rate; a
  // station's seed is its address.
  const BusConfig bus = parseConfig("[bus]\nspeed = 60\nstart = 06:30:15\n[station]\nport = COM7,19200\naddress = 12\n"
                                    "[station]\nport = COM7\naddress = 13\n");
  EXPECT_DOUBLE_EQ(bus.clock.speed, 60);
  EXPECT_EQ(bus.clock.startTimeOfDay, std::chrono::seconds(6 * 3600 + 30 * 60 + 15));
  ASSERT_EQ(bus.stations.size(), 2u);
  EXPECT_EQ(std::tuple(bus.stations[0].port, bus.stations[0].options.clock.speed), std::tuple("COM7", 60.0));
  EXPECT_EQ(std::tuple(bus.stations[1].baud, bus.stations[1].options.plant.seed), std::tuple(19200, 13u));
  EXPECT_FALSE(bus.stations[1].options.faults.any());
}

TEST(Config, MistakesNameTheirLine) {
  auto error = [](const char* text) {
    try {
      parseConfig(text);
    } catch (const ConfigError& e) {
      return std::string(e.what());
    }
    return std::string("accepted");
  };
  EXPECT_EQ(error("[station]\naddress = 1\ncolour = red\n"), "line 3: unknown station key 'colour'");
  EXPECT_EQ(error("[station]\naddress = 0\n"), "line 2: address = 0: out of range 1..247");
  EXPECT_EQ(error("[station]\nload = maybe\n"), "line 2: load = maybe: not yes or no");
  EXPECT_EQ(error("[station]\nserial = 1 2 3\n"), "line 2: serial = 1 2 3: needs 4 numbers");
  EXPECT_EQ(error("[station]\nmodel = ABCDEFGHIJKLMNOPQ\n"), "line 2: model = ABCDEFGHIJKLMNOPQ: longer than 16 characters");
  EXPECT_EQ(error("[station]\ndelay = 3 hours\n"), "line 2: duration = 3 hours: unit must be ms, s or min");
  EXPECT_EQ(error("[bus]\nstart = 25:00\n"), "line 2: start = 25:00: not a time of day");
  EXPECT_EQ(error("address = 1\n"), "line 1: key outside a section");
  EXPECT_EQ(error("[stations]\n"), "line 1: unknown section [stations]");
  EXPECT_EQ(error("[station]\njust words\n"), "line 2: expected key = value");
  EXPECT_EQ(error("[station]\nload_mode = 18\n"), "line 2: load_mode = 18: out of range 0..17");
  EXPECT_EQ(error("[station]\naddress = 2\n[station]\naddress = 2\n"), "two stations with address 2 on COM3");
  EXPECT_EQ(error("[station]\nport = COM3,9600\naddress = 1\n[station]\nport = COM3,4800\naddress = 2\n"),
            "COM3 is given two baud rates, 9600 and 4800");
}

TEST(Config, DefaultBusIsThreeStationsOnCom3) {
  const BusConfig bus = defaultConfig();
  ASSERT_EQ(bus.stations.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    const auto& s = bus.stations[i];
    EXPECT_EQ(std::tuple(s.port, s.baud, s.options.address, s.options.faults.any()), std::tuple("COM3", 9600, i + 1, false));
  }
  // The same bus written out as text reads the same.
  EXPECT_EQ(parseConfig("[station]\naddress = 1\n").stations[0].port, "COM3");
  EXPECT_EQ(parseConfig("").stations.size(), 0u);
}

TEST(Config, DurationsAndRuntimeChanges) {
  for (const auto& [text, d] : {std::pair{"150", 150}, {" 2 s ", 2000}, {"0.5min", 30000}}) EXPECT_EQ(parseDuration(text), ms(d));
  for (const char* text : {"-1ms", "soon"}) EXPECT_THROW(parseDuration(text), ConfigError) << text;

  StationOptions o;
  o.plant.historyDays = 0, o.live = false;
  Controller c(o);
  for (const auto& [key, value] : {std::pair{"split", "150ms"}, {"split_at", "4"}, {"Reply_Address", "7"}})
    applyRuntimeKey(c, key, value);
  EXPECT_EQ(std::tuple(c.faults().splitGap, c.faults().splitAt, c.faults().replyAddress), std::tuple(ms(150), 4u, 7));
  EXPECT_EQ(describeFaults(c.faults()), "reply address 7, split 150ms after 4 bytes");
  applyRuntimeKey(c, "reply_address", "none");
  EXPECT_FALSE(c.faults().replyAddress);
  applyRuntimeKey(c, "faults", "none");
  EXPECT_FALSE(c.faults().any());
  EXPECT_EQ(describeFaults(c.faults()), "no faults");

  for (const auto& [key, value] : {std::pair{"flags_0121", "0x0010"}, {"load", "off"}, {"latency", "20ms"}})
    applyRuntimeKey(c, key, value);
  EXPECT_EQ(std::tuple(c.state().forced.faultWord, c.state().readings.loadOn, c.latency()), std::tuple(0x0010, false, ms(20)));
  EXPECT_THROW(applyRuntimeKey(c, "model", "X"), ConfigError);
  EXPECT_THROW(applyRuntimeKey(c, "silent", "perhaps"), ConfigError);
  EXPECT_FALSE(c.faults().silent);
}

TEST(Config, TheExampleBusOfTheReadmeRuns) {
  std::ifstream in(XL_SIM_EXAMPLE_BUS);
  ASSERT_TRUE(in);
  std::stringstream text;
  text << in.rdbuf();
  const BusConfig bus = parseConfig(text.str());
  ASSERT_EQ(bus.stations.size(), 4u);
  EXPECT_EQ(bus.clock.startTimeOfDay, std::chrono::hours(17) + std::chrono::minutes(30));
  EXPECT_EQ(bus.stations[1].options.faults.splitGap, ms(150));
  EXPECT_EQ(std::tuple(bus.stations[3].port, bus.stations[3].baud), std::tuple("COM4", 19200));

  // Station 3 reports its forced over-temperature in both fault words and has no load output.
  Controller three(bus.stations[2].options);
  const Bytes r = verifyFrame(hexText(three.handle(requestFrame(3, " 03 0100 0023"), ms(0)).value_or(Bytes{}))).value_or(Bytes{});
  ASSERT_EQ(r.size(), 73u);
  EXPECT_TRUE((r[70] & fault::kDeviceOverTemperature) && (r[72] & fault::kDeviceOverTemperature));
  EXPECT_EQ(r[67] & 0x80, 0);
  EXPECT_EQ(three.handle(requestFrame(3, " 03 000A 0011"), ms(0)).value()[5], 0);  // rated load current
}

}  // namespace
}  // namespace xl::sim
