// The living station: sun, battery, charge stages, load modes, days, history and counters.

#include <set>

#include "sim_test_util.h"

namespace xl::sim {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

// A station with three days of history whose simulated clock starts at `start` o'clock and runs
// at real speed.
StationOptions station(int start) {
  StationOptions o;
  o.clock.startTimeOfDay = hours(start);
  o.plant.historyDays = 3;
  o.plant.seed = 11;
  return o;
}

// Whether the load of `c` is on after each of `times`, as a text of 0 and 1; "!" after a load
// whose power does not match (none while on, some while off).
std::string loadAt(Controller& c, std::initializer_list<Duration> times) {
  std::string s;
  for (const Duration t : times) {
    c.advanceTo(t);
    const Readings& r = c.state().readings;
    s += std::to_string(r.loadOn) + (r.loadOn == (r.loadPower > 0) ? "" : "!");
  }
  return s;
}

TEST(LiveModel, ADayOfSunChargesTheBatteryThroughItsStagesAndMidnightStoresTheDay) {
  StationOptions o = station(0);
  o.plant.panelWatts = 1500;  // enough sun on any day to fill the battery
  o.plant.startSoc = 60;
  Controller c(o);
  const DeviceState& s = c.state();
  const Readings& r = s.readings;
  std::set<int> stages;
  const int socAtMidnight = r.soc, fullCharges = r.fullCharges;
  EXPECT_EQ(std::pair(s.history.size(), int(r.daysInOperation)), std::pair(3ul, 4));  // three past days and today
  int maxPanel = 0;
  for (int minute = 1; minute < 24 * 60; ++minute) {
    c.advanceTo(minutes(minute));
    stages.insert(r.chargeState);
    maxPanel = std::max<int>(maxPanel, r.panelPower);
    // Night drains the battery through the load.
    if (minute == 5 * 60) {
      EXPECT_EQ(std::tuple(bool(r.soc < socAtMidnight), r.panelPower, r.chargeState, bool(r.loadCurrent > 0)),
                std::tuple(true, 0, kNotCharging, true));
    }
  }
  // The day fills it again, through every stage, reaching boost on the 24 V basis.
  EXPECT_GT(maxPanel, 500);
  for (int st : {kNotCharging, kStartCharging, kBoostCharging, kFloatCharging}) EXPECT_TRUE(stages.count(st)) << st;
  EXPECT_TRUE(stages.count(kMpptCharging) || stages.count(kLimitedCharging));
  EXPECT_EQ(std::tuple(r.fullCharges - fullCharges, r.today.maxBatteryVoltage >= 2 * 140,
                       r.today.minBatteryVoltage <= r.today.maxBatteryVoltage, r.today.generatedWh > 1000,
                       r.today.usedWh > 500),
            std::tuple(1, true, true, true, true));

  c.advanceTo(hours(24) - seconds(5));
  const DayRecord before = r.today;
  const std::uint32_t totalUsed = r.totalWhUsed;
  c.advanceTo(hours(25) + minutes(30));
  // Yesterday is record 1 with the day's values (the last seconds' use added); the new day
  // starts from nothing, the totals go on.
  const DayRecord& y = s.history.front();
  EXPECT_EQ(std::tuple(s.history.size(), int(r.daysInOperation), y.maxBatteryVoltage,
                       unsigned(y.usedWh - before.usedWh) <= 1u, s.record(1) == y, (r.today.usedWh < before.usedWh),
                       (r.totalWhUsed > totalUsed)),
            std::tuple(4ul, 5, before.maxBatteryVoltage, true, true, true, true));
}

TEST(LiveModel, LoadModesLightControlManualAndFrozenStations) {
  StationOptions o = station(12);
  o.loadOn = false;
  o.loadMode = 0;  // light control, 10 minutes' delay, 5 V
  Controller c(o);
  // 18:00, still light; 20:00, dark for long enough; 05:00; 07:00, bright.
  EXPECT_EQ(loadAt(c, {hours(0), hours(6), hours(8), hours(17), hours(19)}), "00110");

  // Manual: the load follows the switch, its power with it.
  Controller m(station(0));
  m.handle(requestFrame(1, " 06 010A 0000"), minutes(1));
  EXPECT_EQ(loadAt(m, {hours(2)}), "0");
  m.handle(requestFrame(1, " 06 010A 0001"), hours(2));
  EXPECT_EQ(loadAt(m, {hours(2) + minutes(1)}), "1");
  // A frozen station stays put whatever time passes and whatever is asked.
  m.setLive(false);
  const Bytes frozen = realTimeBytes(m.state());
  m.advanceTo(hours(12));
  m.handle(requestFrame(1, " 03 0100 0023"), hours(14));
  EXPECT_EQ(realTimeBytes(m.state()), frozen);
}

}  // namespace
}  // namespace xl::sim
