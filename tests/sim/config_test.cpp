// The bus description: its format, its defaults, its mistakes, and changes at run time.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "link/frame_codec.h"
#include "sim_test_util.h"
#include "tools/sim/config.h"
#include "tools/sim/register_map.h"

namespace xl::sim {
namespace {

using platform::ms;

template <typename Array>
std::string dotted(const Array& a) {
  std::string s;
  for (auto v : a) s += (s.empty() ? "" : ".") + std::to_string(v);
  return s;
}

// Every value a station's options carry, in the order of the keys of a bus description.
std::string describe(const StationConfig& c) {
  const StationOptions& o = c.options;
  const Identity& i = o.identity;
  const Faults& f = o.faults;
  auto msOf = [](Duration d) { return std::to_string(platform::toMs(d)) + "ms"; };
  std::ostringstream s;
  s << c.port << "," << c.baud << " address " << int(o.address) << " model " << i.model << " serial "
    << dotted(i.serialNumber) << " software " << dotted(i.softwareVersion) << " device " << dotted(i.deviceVersion)
    << " rated " << int(i.maxSystemVoltage) << "V/" << int(i.ratedChargeCurrent) << "A/" << int(i.ratedLoadCurrent)
    << "A\nbattery " << o.plant.batteryVoltage << " capacity " << o.capacityAh << " soc "
    << o.plant.startSoc.value_or(-1) << " panel " << o.plant.panelWatts << " load " << o.plant.loadWatts
    << (o.loadOn ? " on" : " off") << " mode " << o.loadMode.value_or(99) << " ambient " << o.plant.ambientCelsius
    << " history " << o.plant.historyDays << " seed " << o.plant.seed << " live " << o.live << " clock "
    << o.clock.speed << "x@" << platform::toMs(o.clock.startTimeOfDay) / 1000 << "s\nlatency " << msOf(o.latency)
    << " restart " << msOf(o.restartSilence) << std::hex << " flags " << int(o.forced.statusBits) << "/"
    << o.forced.faultWord << "/" << o.forced.alarmWord << std::dec << " silent " << f.silent << " bad_crc " << f.badCrc
    << " delay " << msOf(f.delay) << " split " << msOf(f.splitGap) << "@" << f.splitAt << " exception "
    << int(f.exception) << " reply_address " << int(f.replyAddress.value_or(0));
  return s.str();
}

TEST(Config, EveryKeyLandsInTheOptionsAndTheBusKeysReachEveryStation) {
  // '#' is no comment inside a value, ';' starts one.
  const BusConfig bus = parseConfig(
      "[bus]\nspeed = 60\nstart = 06:30:15\n[station]\nport = COM7,19200\naddress = 12\nmodel = XL MPPT#2\n"
      "serial = 1.2.3.4\nsoftware = 3.2.1\ndevice_version = 4 5 6\nmax_voltage = 96\nrated_charge = 40\n"
      "rated_load = 0\nbattery = 48\ncapacity = 400\nsoc = 55.5\npanel = 2400\nload_power = 0\nload = off\n"
      "load_mode = 17\nambient = -10\nhistory = 400\nseed = 0x2A\nlive = no\nlatency = 2ms\nrestart = 1.5s\n"
      "flags_0120 = 0x40\nflags_0121 = 0x1001\nflags_0122 = 8\nsilent = yes\nbad_crc = yes\ndelay = 250\n"
      "split = 150ms\nsplit_at = 10\nexception = 2\nreply_address = 9  ; a comment\n"
      "[station]\nport = COM7\naddress = 13\n");
  ASSERT_EQ(bus.stations.size(), 2u);
  EXPECT_EQ(describe(bus.stations[0]),
            R"(COM7,19200 address 12 model XL MPPT#2 serial 1.2.3.4 software 3.2.1 device 4.5.6 rated 96V/40A/0A
battery 48 capacity 400 soc 55.5 panel 2400 load 0 off mode 17 ambient -10 history 400 seed 42 live 0 clock 60x@23415s
latency 2ms restart 1500ms flags 40/1001/8 silent 1 bad_crc 1 delay 250ms split 150ms@10 exception 2 reply_address 9)");
  // The second station of a line shares its rate; a station's seed is its address; the rest
  // are the defaults.
  EXPECT_EQ(describe(bus.stations[1]),
            R"(COM7,19200 address 13 model XL-MPPT4820 serial 16.5.0.23 software 1.0.4 device 2.1.0 rated 48V/20A/20A
battery 24 capacity 200 soc -1 panel 600 load 60 on mode 99 ambient 25 history 30 seed 13 live 1 clock 60x@23415s
latency 5ms restart 3000ms flags 0/0/0 silent 0 bad_crc 0 delay 0ms split 0ms@0 exception 0 reply_address 0)");
  EXPECT_EQ(bus.clock.startTimeOfDay, std::chrono::seconds(6 * 3600 + 30 * 60 + 15));

  // The default bus: three stations on COM3 at 9600 baud.
  std::string ports;
  for (const StationConfig& s : defaultConfig().stations)
    ports += s.port + "," + std::to_string(s.baud) + " " + std::to_string(s.options.address) + " " +
             std::to_string(s.options.faults.any()) + ";";
  EXPECT_EQ(ports, "COM3,9600 1 0;COM3,9600 2 0;COM3,9600 3 0;");
  EXPECT_EQ(parseConfig("[station]\naddress = 1\n").stations[0].port, "COM3");
  EXPECT_EQ(parseConfig("").stations.size(), 0u);
}

TEST(Config, MistakesNameTheirLine) {
  const std::pair<const char*, const char*> cases[] = {
      {"[station]\naddress = 1\ncolour = red\n", "line 3: unknown station key 'colour'"},
      {"[station]\naddress = 0\n", "line 2: address = 0: out of range 1..247"},
      {"[station]\nload = maybe\n", "line 2: load = maybe: not yes or no"},
      {"[station]\nserial = 1 2 3\n", "line 2: serial = 1 2 3: needs 4 numbers"},
      {"[station]\nmodel = ABCDEFGHIJKLMNOPQ\n", "line 2: model = ABCDEFGHIJKLMNOPQ: longer than 16 characters"},
      {"[station]\ndelay = 3 hours\n", "line 2: duration = 3 hours: unit must be ms, s or min"},
      {"[bus]\nstart = 25:00\n", "line 2: start = 25:00: not a time of day"},
      {"address = 1\n", "line 1: key outside a section"},
      {"[stations]\n", "line 1: unknown section [stations]"},
      {"[station]\njust words\n", "line 2: expected key = value"},
      {"[station]\nload_mode = 18\n", "line 2: load_mode = 18: out of range 0..17"},
      {"[station]\naddress = 2\n[station]\naddress = 2\n", "two stations with address 2 on COM3"},
      {"[station]\nport = COM3,9600\naddress = 1\n[station]\nport = COM3,4800\naddress = 2\n",
       "COM3 is given two baud rates, 9600 and 4800"}};
  for (const auto& [text, message] : cases) {
    try {
      parseConfig(text);
      ADD_FAILURE() << "accepted: " << text;
    } catch (const ConfigError& e) {
      EXPECT_EQ(std::string(e.what()), message);
    }
  }
}

TEST(Config, DurationsAndRuntimeChanges) {
  for (const auto& [text, d] : {std::pair{"150", 150}, {" 2 s ", 2000}, {"0.5min", 30000}})
    EXPECT_EQ(parseDuration(text), ms(d));
  for (const char* text : {"-1ms", "soon"}) EXPECT_THROW(parseDuration(text), ConfigError) << text;

  Controller c(frozenStation());
  for (const auto& [key, value] : {std::pair{"split", "150ms"}, {"split_at", "4"}, {"Reply_Address", "7"}})
    applyRuntimeKey(c, key, value);
  EXPECT_EQ(describeFaults(c.faults()), "reply address 7, split 150ms after 4 bytes");
  applyRuntimeKey(c, "reply_address", "none");
  EXPECT_EQ(describeFaults(c.faults()), "split 150ms after 4 bytes");
  applyRuntimeKey(c, "faults", "none");
  EXPECT_EQ(describeFaults(c.faults()), "no faults");

  for (const auto& [key, value] : {std::pair{"flags_0121", "0x0010"}, {"load", "off"}, {"latency", "20ms"}})
    applyRuntimeKey(c, key, value);
  EXPECT_EQ(std::tuple(c.state().forced.faultWord, c.state().readings.loadOn, c.latency()),
            std::tuple(0x0010, false, ms(20)));
  EXPECT_THROW(applyRuntimeKey(c, "model", "X"), ConfigError);
  EXPECT_THROW(applyRuntimeKey(c, "silent", "perhaps"), ConfigError);
  EXPECT_FALSE(c.faults().silent);
}

TEST(Config, TheExampleBusOfTheReadmeRuns) {
  std::ifstream in(XL_SIM_EXAMPLE_BUS);
  std::stringstream text;
  text << in.rdbuf();
  const BusConfig bus = parseConfig(text.str());
  ASSERT_EQ(bus.stations.size(), 4u);
  EXPECT_EQ(bus.clock.startTimeOfDay, std::chrono::hours(17) + std::chrono::minutes(30));
  EXPECT_EQ(bus.stations[1].options.faults.splitGap, ms(150));
  EXPECT_EQ(std::tuple(bus.stations[3].port, bus.stations[3].baud), std::tuple("COM4", 19200));

  // Station 3 reports its forced over-temperature in both fault words and has no load output.
  Controller three(bus.stations[2].options);
  const Bytes r = verified(three.handle(requestFrame(3, " 03 0100 0023"), ms(0)));
  ASSERT_EQ(r.size(), 73u);
  EXPECT_TRUE((r[70] & fault::kDeviceOverTemperature) && (r[72] & fault::kDeviceOverTemperature));
  EXPECT_EQ(r[67] & 0x80, 0);
  EXPECT_EQ(three.handle(requestFrame(3, " 03 000A 0011"), ms(0)).value()[5], 0);  // rated load current
}

}  // namespace
}  // namespace xl::sim
