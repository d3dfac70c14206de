#pragma once
// The living part of a simulated station: sun, panel, battery, load, charge stages, daily
// extremes and totals, counters and history.
//
// Time is simulated: the caller passes the time since the simulation started (`at`, from the
// scheduler or the tool's monotonic clock), and the clock turns it into simulated seconds with a
// start time of day and a speed-up factor. The plant moves in fixed steps on a grid of simulated
// time (5 minutes while the past is built, 5 s afterwards), so what it reports at a given moment does
// not depend on how often it was asked before. Weather and load variation come from a seeded
// hash, so a seed gives the same station every time.
//
// All voltage parameters of the block are tenths of a volt on the 12 V basis; the plant scales
// them by the nominal battery voltage.

#include <cstdint>
#include <optional>

#include "platform/scheduler.h"
#include "tools/sim/device_state.h"

namespace xl::sim {

using platform::Duration;

struct SimClock {
  Duration startTimeOfDay = std::chrono::hours(10);  // simulated time of day when `at` is 0
  double speed = 1.0;                                // simulated seconds per second
};

// The physical station behind the controller.
struct PlantSetup {
  int batteryVoltage = 24;         // nominal: 12, 24, 36 or 48 V
  double panelWatts = 600;         // peak power of the array
  double loadWatts = 60;           // power of the load when it is on
  double ambientCelsius = 25;      // daily mean; the day swings 6 °C around it
  std::optional<double> startSoc;  // % at the start; otherwise what the past left
  int historyDays = 30;            // days of history built before the start
  std::uint64_t seed = 1;
};

class SolarModel {
 public:
  SolarModel(const PlantSetup& setup, const SimClock& clock);

  // Builds the past: runs the station from midnight `historyDays` days before the start up to
  // the start, which fills the history, the counters and the totals of `s`.
  void warmUp(DeviceState& s);

  // Moves the station to the simulated moment of `at` and writes its readings into `s`.
  // Time never goes back: an earlier `at` changes nothing.
  void advanceTo(DeviceState& s, Duration at);

  // Today's extremes and totals start again from the present readings.
  void restartDay(DeviceState& s);

  // Simulated seconds since midnight of the first simulated day, for `at`.
  double simulatedSeconds(Duration at) const;
  // The simulated time of day of `at`, in seconds.
  double timeOfDay(Duration at) const;

 private:
  enum class Stage { Night, Start, Bulk, Equalize, Boost, Float };

  struct Sky {
    double panelPower;   // W available from the array
    double openVoltage;  // panel open-circuit voltage, 12 V basis
    double mppVoltage;   // panel voltage at maximum power, 12 V basis
    double ambient;      // °C
  };

  Sky sky(double t) const;
  void step(DeviceState& s, double dt);
  void updateLoad(DeviceState& s, const Sky& sky, double dt, double v12);
  void newDay(DeviceState& s);
  void publish(DeviceState& s, double chargerAmps, double loadAmps, double loadW, double panelW, double panelV,
               double batteryAmps, double deviceT, double batteryT, const Sky& sky);
  double noise(std::uint64_t channel, std::int64_t index) const;
  double smoothNoise(std::uint64_t channel, double t, double period) const;
  double scale() const { return setup_.batteryVoltage / 12.0; }
  double capacity(const DeviceState& s) const;
  double compensation(const DeviceState& s) const;
  double chargeVoltage12(const DeviceState& s, double soc, double amps) const;
  double dischargeVoltage12(const DeviceState& s, double soc, double amps) const;
  double holdingCurrent(const DeviceState& s, double target12) const;

  PlantSetup setup_;
  SimClock clock_;
  double start_ = 0;  // simulated seconds of `at` = 0
  double t_ = 0;      // simulated seconds reached

  double soc_ = 0.6;  // 0..1
  double volts_ = 0;  // battery terminal voltage
  double batteryTemp_ = 25;
  Stage stage_ = Stage::Night;
  double stageLeft_ = 0;  // s left in a timed stage
  bool limited_ = false;  // the charge current is held at its limit
  int daysSinceEqualize_ = 0;
  bool overDischarged_ = false;
  double lowFor_ = 0;        // s below the over-discharge threshold
  double darkFor_ = 0;       // s with the panel below the light-control voltage
  bool bright_ = true;       // the panel was above the switch-off voltage
  double loadOnFor_ = 0;     // s since the load went on
  bool wanted_ = false;      // the output the mode or the last command asks for
  bool lastLoadOn_ = false;  // the output after the last step

  // Fractions kept between steps, so whole Ah and Wh are never lost to rounding.
  double dayAhIn_ = 0, dayAhOut_ = 0, dayWhIn_ = 0, dayWhOut_ = 0;
  double totAhIn_ = 0, totAhOut_ = 0, totWhIn_ = 0, totWhOut_ = 0;
};

}  // namespace xl::sim
