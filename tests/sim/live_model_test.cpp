// The living station: sun, battery, charge stages, load modes, days, history and counters.

#include <gtest/gtest.h>

#include <set>

#include "link/frame_codec.h"
#include "sim_test_util.h"
#include "tools/sim/controller.h"
#include "tools/sim/register_map.h"

namespace xl::sim {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

// A station whose simulated clock starts at midnight and runs at real speed.
StationOptions midnightStation() {
  StationOptions o;
  o.clock.startTimeOfDay = hours(0);
  o.plant.historyDays = 3;
  o.plant.seed = 11;
  return o;
}

TEST(LiveModel, ADayOfSunChargesTheBatteryThroughItsStages) {
  StationOptions o = midnightStation();
  o.plant.panelWatts = 1500;  // enough sun on any day to fill the battery
  o.plant.startSoc = 60;
  Controller c(o);
  const Readings& r = c.state().readings;

  std::set<int> stages;
  int socAtMidnight = r.soc, socAt5 = 0, maxPanel = 0;
  const auto fullCharges = r.fullCharges;
  for (int minute = 1; minute < 24 * 60; ++minute) {
    c.advanceTo(minutes(minute));
    stages.insert(r.chargeState);
    maxPanel = std::max<int>(maxPanel, r.panelPower);
    if (minute == 5 * 60) {
      socAt5 = r.soc;
      EXPECT_EQ(r.panelPower, 0);
      EXPECT_EQ(r.chargeState, kNotCharging);
      EXPECT_GT(r.loadCurrent, 0);
    }
  }
  // Night drains the battery through the load; the day fills it again.
  EXPECT_LT(socAt5, socAtMidnight);
  EXPECT_GT(maxPanel, 500);
  for (int s : {kNotCharging, kStartCharging, kBoostCharging, kFloatCharging}) EXPECT_TRUE(stages.count(s)) << s;
  EXPECT_TRUE(stages.count(kMpptCharging) || stages.count(kLimitedCharging));
  EXPECT_EQ(r.fullCharges, fullCharges + 1);
  EXPECT_GE(r.today.maxBatteryVoltage, 2 * 140);  // reached boost on the 24 V basis
  EXPECT_LE(r.today.minBatteryVoltage, r.today.maxBatteryVoltage);
  EXPECT_GT(r.today.generatedWh, 1000);
  EXPECT_GT(r.today.usedWh, 500);
}

TEST(LiveModel, MidnightStoresTheDayAndCountsIt) {
  StationOptions o = midnightStation();
  o.clock.startTimeOfDay = hours(23);
  Controller c(o);
  const DeviceState& s = c.state();
  const auto days = s.readings.daysInOperation, fullCharges = s.readings.fullCharges;
  const auto stored = s.history.size();
  EXPECT_EQ(std::pair(stored, int(days)), std::pair(3ul, 4));  // three past days and today

  c.advanceTo(minutes(59) + seconds(55));
  const DayRecord before = s.readings.today;
  const std::uint32_t totalUsed = s.readings.totalWhUsed;
  c.advanceTo(hours(1) + minutes(30));
  EXPECT_EQ(s.readings.daysInOperation, days + 1);
  ASSERT_EQ(s.history.size(), stored + 1);
  const DayRecord& yesterday = s.history.front();
  EXPECT_EQ(yesterday.minBatteryVoltage, before.minBatteryVoltage);
  EXPECT_TRUE(yesterday.usedWh >= before.usedWh && yesterday.usedWh <= before.usedWh + 1) << yesterday.usedWh;
  EXPECT_EQ(c.state().record(1), yesterday);
  // The new day starts from nothing, the totals go on.
  EXPECT_LT(s.readings.today.usedWh, before.usedWh);
  EXPECT_GT(s.readings.totalWhUsed, totalUsed);
  EXPECT_EQ(s.readings.fullCharges, fullCharges);  // nothing charges at night
}

TEST(LiveModel, TotalsAreTheSumOfTheDays) {
  StationOptions o = midnightStation();
  o.plant.historyDays = 20;
  Controller c(o);
  const DeviceState& s = c.state();
  std::uint32_t generated = s.readings.today.generatedWh, used = s.readings.today.usedWh;
  for (const DayRecord& d : s.history) {
    generated += d.generatedWh;
    used += d.usedWh;
    EXPECT_LE(d.minBatteryVoltage, d.maxBatteryVoltage);
  }
  // Each day's value is rounded down on its own, the total once.
  for (const auto& [total, sum] : {std::pair{s.readings.totalWhGenerated, generated}, {s.readings.totalWhUsed, used}}) {
    EXPECT_GE(total, sum);
    EXPECT_LE(total, sum + 21);
  }
  EXPECT_EQ(s.readings.daysInOperation, 21);
}

TEST(LiveModel, SameSeedSameStationWhateverTheQueries) {
  StationOptions o = midnightStation();
  o.clock.startTimeOfDay = hours(8);
  Controller often(o), once(o);
  for (int s = 0; s < 6 * 3600; s += 7) often.advanceTo(seconds(s));
  often.advanceTo(seconds(6 * 3600));
  once.advanceTo(seconds(6 * 3600));
  EXPECT_EQ(realTimeBytes(often.state()), realTimeBytes(once.state()));

  StationOptions other = o;
  other.plant.seed = 12;
  Controller different(other);
  EXPECT_NE(often.state().history, different.state().history);
  Controller again(o);
  EXPECT_EQ(again.state().history, Controller(o).state().history);
}

TEST(LiveModel, SpeedFactorRunsTheClockFaster) {
  StationOptions o = midnightStation();
  o.clock.speed = 3600;  // an hour a second
  Controller c(o);
  c.advanceTo(seconds(12));
  EXPECT_NEAR(c.model().timeOfDay(seconds(12)), 12 * 3600.0, 1e-6);
  EXPECT_GT(c.state().readings.panelPower, 0);
  c.advanceTo(seconds(48));
  EXPECT_EQ(c.state().readings.daysInOperation, 6);  // midnight of day 0 + 3 history + 2 more
}

TEST(LiveModel, OverDischargeCutsTheLoadAndCountsOnce) {
  StationOptions o = midnightStation();
  o.plant.panelWatts = 0, o.plant.loadWatts = 150, o.plant.historyDays = 0, o.plant.startSoc = 30;
  o.capacityAh = 50;
  Controller c(o);
  const Readings& r = c.state().readings;
  ASSERT_TRUE(r.loadOn);
  ASSERT_EQ(r.overDischarges, 0);

  c.advanceTo(hours(3));
  EXPECT_EQ(std::tuple(r.overDischarges, r.loadOn, r.loadVoltage, r.loadCurrent), std::tuple(1, false, 0, 0));
  EXPECT_TRUE((r.faultWord & fault::kOverDischarge) && (r.faultWord & fault::kUnderVoltageWarning));
  const Bytes block = realTimeBytes(c.state());
  EXPECT_EQ(block[64] & 0x80, 0);  // byte 67 of the reply: load off
  EXPECT_EQ(block[67] & 0x01, 1);  // byte 70: over-discharge bit of 0x0121

  // A command cannot switch the load on while the battery is flat; it stays wanted.
  c.handle(requestFrame(1, " 06 010A 0001"), hours(3));
  c.advanceTo(hours(3) + seconds(10));
  EXPECT_FALSE(r.loadOn);
  c.advanceTo(hours(6));
  EXPECT_EQ(r.overDischarges, 1);
}

TEST(LiveModel, LightControlSwitchesTheLoadAtDuskAndDawn) {
  StationOptions o = midnightStation();
  o.clock.startTimeOfDay = hours(12);
  o.loadOn = false;
  o.loadMode = 0;  // light control, 10 minutes' delay, 5 V
  Controller c(o);
  const Readings& r = c.state().readings;
  ASSERT_FALSE(r.loadOn);
  // 18:00, still light; 20:00, dark for long enough; 05:00; 07:00, bright.
  for (const auto& [at, on] : {std::pair{hours(6), false}, {hours(8), true}, {hours(17), true}, {hours(19), false}}) {
    c.advanceTo(at);
    EXPECT_EQ(r.loadOn, on) << at.count();
  }

  // Light and hours: on at dusk, off after the number of hours of the mode.
  c.handle(appendCrc(Bytes{1, 0x06, 0xE0, 0x1D, 0x00, 0x02}), hours(19));
  c.advanceTo(hours(32));  // 20:00
  EXPECT_TRUE(r.loadOn);
  c.advanceTo(hours(34) + minutes(30));  // 22:30, more than two hours after switching on
  EXPECT_FALSE(r.loadOn);

  // Always on.
  c.handle(appendCrc(Bytes{1, 0x06, 0xE0, 0x1D, 0x00, 0x11}), hours(34) + minutes(30));
  c.advanceTo(hours(34) + minutes(31));
  EXPECT_TRUE(r.loadOn);
}

TEST(LiveModel, ManualLoadFollowsTheSwitchAndFrozenStationsStayPut) {
  Controller c(midnightStation());
  c.handle(requestFrame(1, " 06 010A 0000"), minutes(1));
  c.advanceTo(hours(2));
  EXPECT_TRUE(!c.state().readings.loadOn && c.state().readings.loadPower == 0);
  c.handle(requestFrame(1, " 06 010A 0001"), hours(2));
  c.advanceTo(hours(2) + minutes(1));
  EXPECT_TRUE(c.state().readings.loadOn && c.state().readings.loadPower > 0);

  c.setLive(false);
  const Bytes frozen = realTimeBytes(c.state());
  c.advanceTo(hours(12));
  c.handle(requestFrame(1, " 03 0100 0023"), hours(14));
  EXPECT_EQ(realTimeBytes(c.state()), frozen);
}

}  // namespace
}  // namespace xl::sim
