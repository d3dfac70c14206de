// The bus description: its format, its mistakes, changes at run time, and the example bus.

#include <fstream>
#include <sstream>

#include "sim_test_util.h"
#include "tools/sim/config.h"

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
  // The second station of a line shares its rate; a station's seed is its address.
  EXPECT_EQ(std::tuple(bus.stations[1].baud, bus.stations[1].options.plant.seed, bus.clock.startTimeOfDay),
            std::tuple(19200, 13u, std::chrono::seconds(6 * 3600 + 30 * 60 + 15)));
}

// The message a bus description is refused with, "accepted" when it is not.
std::string mistake(const std::string& text) {
  try {
    parseConfig(text);
    return "accepted";
  } catch (const ConfigError& e) {
    return e.what();
  }
}

TEST(Config, MistakesNameTheirLineAndRuntimeChangesTakeEffect) {
  std::string seen;
  for (const char* text :
       {"[station]\naddress = 1\ncolour = red\n", "[station]\naddress = 0\n", "[station]\ndelay = 3 hours\n",
        "address = 1\n", "[station]\naddress = 2\n[station]\naddress = 2\n",
        "[station]\nport = COM3,9600\naddress = 1\n[station]\nport = COM3,4800\naddress = 2\n"})
    seen += mistake(text) + "|";
  EXPECT_EQ(seen,
            "line 3: unknown station key 'colour'|line 2: address = 0: out of range 1..247|line 2: duration = 3 hours: "
            "unit must be ms, s or min|line 1: key outside a section|two stations with address 2 on COM3|COM3 is given "
            "two baud rates, 9600 and 4800|");

  // Keys given to a running station; names in any case; "none" takes a fault away.
  Controller c(frozenStation());
  for (const auto& [key, value] : {std::pair{"split", "150ms"}, {"split_at", "4"}, {"Reply_Address", "7"}})
    applyRuntimeKey(c, key, value);
  for (const auto& [key, value] : {std::pair{"flags_0121", "0x0010"}, {"load", "off"}, {"latency", "20ms"}})
    applyRuntimeKey(c, key, value);
  EXPECT_EQ(describeFaults(c.faults()), "reply address 7, split 150ms after 4 bytes");
  applyRuntimeKey(c, "reply_address", "none");
  EXPECT_EQ(describeFaults(c.faults()), "split 150ms after 4 bytes");
  applyRuntimeKey(c, "faults", "none");
  EXPECT_EQ(std::tuple(describeFaults(c.faults()), c.state().forced.faultWord, c.state().readings.loadOn, c.latency()),
            std::tuple("no faults", 0x0010, false, ms(20)));
  EXPECT_THROW(applyRuntimeKey(c, "model", "X"), ConfigError);
}

TEST(Config, TheExampleBusOfTheReadmeRuns) {
  std::stringstream text;
  text << std::ifstream(XL_SIM_EXAMPLE_BUS).rdbuf();
  const BusConfig bus = parseConfig(text.str());
  ASSERT_EQ(bus.stations.size(), 4u);
  EXPECT_EQ(std::tuple(bus.clock.startTimeOfDay, bus.stations[1].options.faults.splitGap, bus.stations[3].port,
                       bus.stations[3].baud),
            std::tuple(std::chrono::minutes(17 * 60 + 30), ms(150), "COM4", 19200));
}

}  // namespace
}  // namespace xl::sim
