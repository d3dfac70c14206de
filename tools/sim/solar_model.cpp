#include "tools/sim/solar_model.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace xl::sim {

namespace {

constexpr double kDay = 86400.0;
constexpr double kSunrise = 6.0 * 3600;
constexpr double kSunset = 18.5 * 3600;
constexpr double kTwilight = 1800.0;  // the panel voltage rises and falls in this time
constexpr double kPastStep = 300.0;   // step while the past is built
constexpr double kLiveStep = 5.0;     // step from the start on
constexpr double kChargerEfficiency = 0.96;
constexpr double kChargeEfficiency = 0.97;  // of the battery: Ah in that are kept
constexpr double kStartStage = 120.0;       // s of "start charging" each morning
constexpr double kPanelOpen12 = 21.5;       // array open-circuit voltage, 12 V basis
constexpr double kPanelMpp12 = 17.5;

std::uint64_t splitmix(std::uint64_t x) {
  x += 0x9E3779B97F4A7C15ull;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
  return x ^ (x >> 31);
}

std::uint16_t reg16(double v) { return static_cast<std::uint16_t>(std::clamp(std::lround(v), 0L, 65535L)); }
std::uint16_t floor16(double v) { return static_cast<std::uint16_t>(std::clamp(std::floor(v), 0.0, 65535.0)); }
std::uint32_t floor32(double v) { return static_cast<std::uint32_t>(std::clamp(std::floor(v), 0.0, 4294967295.0)); }

}  // namespace

SolarModel::SolarModel(const PlantSetup& setup, const SimClock& clock) : setup_(setup), clock_(clock) {
  setup_.historyDays = std::clamp(setup_.historyDays, 0, static_cast<int>(kHistoryCapacity));
  if (setup_.batteryVoltage < 12) setup_.batteryVoltage = 12;
  const double tod = std::chrono::duration<double>(clock_.startTimeOfDay).count();
  start_ = setup_.historyDays * kDay + std::fmod(std::max(tod, 0.0), kDay);
}

double SolarModel::simulatedSeconds(Duration at) const {
  return start_ + std::chrono::duration<double>(at).count() * clock_.speed;
}

double SolarModel::timeOfDay(Duration at) const { return std::fmod(simulatedSeconds(at), kDay); }

double SolarModel::noise(std::uint64_t channel, std::int64_t index) const {
  const std::uint64_t h = splitmix(splitmix(setup_.seed ^ (channel << 56)) ^ static_cast<std::uint64_t>(index));
  return static_cast<double>(h >> 11) / 9007199254740992.0;  // [0, 1)
}

double SolarModel::smoothNoise(std::uint64_t channel, double t, double period) const {
  const double slot = std::floor(t / period);
  const double f = t / period - slot;
  const auto i = static_cast<std::int64_t>(slot);
  return noise(channel, i) * (1 - f) + noise(channel, i + 1) * f;
}

SolarModel::Sky SolarModel::sky(double t) const {
  const auto day = static_cast<std::int64_t>(std::floor(t / kDay));
  const double tod = t - static_cast<double>(day) * kDay;
  const double len = kSunset - kSunrise;
  const double sun = (tod > kSunrise && tod < kSunset) ? std::sin(std::numbers::pi * (tod - kSunrise) / len) : 0.0;
  const double light = (tod > kSunrise - kTwilight && tod < kSunset + kTwilight)
                           ? std::sin(std::numbers::pi * (tod - kSunrise + kTwilight) / (len + 2 * kTwilight))
                           : 0.0;
  const double cloud = std::pow(noise(1, day), 1.5);  // 0 clear .. 1 overcast, one value a day
  const double passing = 1.0 - 0.5 * cloud * smoothNoise(2, t, 600.0);
  const double gain = std::pow(sun, 1.2) * (1.0 - 0.7 * cloud) * passing;
  const double rise = std::min(1.0, light * 6.0);
  Sky s;
  s.panelPower = setup_.panelWatts * gain;
  s.openVoltage = kPanelOpen12 * rise;
  s.mppVoltage = kPanelMpp12 * rise;
  s.ambient = setup_.ambientCelsius + 6.0 * std::sin(2 * std::numbers::pi * (tod - 9 * 3600) / kDay);
  return s;
}

double SolarModel::capacity(const DeviceState& s) const {
  const double c = s.param(param::kCapacity);
  return c >= 1 ? c : 100.0;
}

// Target voltages move with the battery temperature, by the coefficient of the block (mV per
// °C per 2 V cell, six cells on the 12 V basis).
double SolarModel::compensation(const DeviceState& s) const {
  return -s.param(param::kTempCompensation) / 1000.0 * (batteryTemp_ - 25.0) * 6.0;
}

// Terminal voltage on the 12 V basis while `amps` flow into the battery: rest voltage, the
// internal resistance, and the steep rise of a battery that is nearly full.
double SolarModel::chargeVoltage12(const DeviceState& s, double soc, double amps) const {
  const double c = capacity(s);
  const double rest = 11.7 + 1.1 * soc;
  const double full = soc > 0.8 ? 1.9 * std::pow((soc - 0.8) / 0.2, 2) : 0.0;
  return rest + amps * 1.5 / c + full * std::min(1.0, amps / (0.02 * c));
}

// Terminal voltage on the 12 V basis while `amps` flow out; an empty battery sags.
double SolarModel::dischargeVoltage12(const DeviceState& s, double soc, double amps) const {
  const double rest = 11.7 + 1.1 * soc;
  const double sag = soc < 0.2 ? 1.6 * (0.2 - soc) / 0.2 : 0.0;
  return rest - sag - amps * 1.5 / capacity(s);
}

// The battery current that holds the terminal voltage at `target12`.
double SolarModel::holdingCurrent(const DeviceState& s, double target12) const {
  if (chargeVoltage12(s, soc_, 0) >= target12) return 0;
  double lo = 0, hi = 10 * capacity(s);
  for (int i = 0; i < 30; ++i) {
    const double mid = (lo + hi) / 2;
    (chargeVoltage12(s, soc_, mid) < target12 ? lo : hi) = mid;
  }
  return lo;
}

void SolarModel::warmUp(DeviceState& s) {
  t_ = 0;
  soc_ = 0.6;
  volts_ = dischargeVoltage12(s, soc_, 0) * scale();
  batteryTemp_ = setup_.ambientCelsius;
  s.readings.daysInOperation = 1;
  s.history.clear();
  wanted_ = lastLoadOn_ = s.readings.loadOn;
  restartDay(s);
  while (t_ < start_) step(s, std::min(kPastStep, start_ - t_));
  if (setup_.startSoc) {
    soc_ = std::clamp(*setup_.startSoc / 100.0, 0.0, 1.0);
    volts_ = dischargeVoltage12(s, soc_, 0) * scale();
    step(s, 0);
  }
}

void SolarModel::advanceTo(DeviceState& s, Duration at) {
  const double target = simulatedSeconds(at);
  while (t_ + kLiveStep <= target) step(s, kLiveStep);
}

void SolarModel::restartDay(DeviceState& s) {
  dayAhIn_ = dayAhOut_ = dayWhIn_ = dayWhOut_ = 0;
  DayRecord& d = s.readings.today;
  d = DayRecord{};
  d.minBatteryVoltage = d.maxBatteryVoltage = reg16(volts_ * 10);
}

void SolarModel::newDay(DeviceState& s) {
  s.history.push_front(s.readings.today);
  while (s.history.size() > kHistoryCapacity) s.history.pop_back();
  if (s.readings.daysInOperation < 0xFFFF) ++s.readings.daysInOperation;
  ++daysSinceEqualize_;
  restartDay(s);
}

void SolarModel::step(DeviceState& s, double dt) {
  const double k = scale();
  const double before = t_;
  t_ += dt;
  const Sky sk = sky(t_);
  const double c = capacity(s);

  // The load draws from the battery bus while it is on.
  const double loadW = s.readings.loadOn ? setup_.loadWatts * (0.9 + 0.2 * smoothNoise(3, t_, 600.0)) : 0.0;
  const double loadA = loadW / std::max(volts_, 1.0);

  // The charger: what the array gives, limited by the set and the rated current, and in the
  // timed stages by the voltage it holds.
  const bool daylight = sk.panelPower > 1.0 && sk.openVoltage > volts_ / k + 0.5;
  double chargerA = 0;
  limited_ = false;
  if (!daylight) {
    stage_ = Stage::Night;
  } else {
    if (stage_ == Stage::Night) {
      stage_ = Stage::Start;
      stageLeft_ = kStartStage;
    }
    const double setA = std::min(s.param(param::kChargeCurrent) / 100.0, double(s.identity.ratedChargeCurrent));
    const double availableA = sk.panelPower * kChargerEfficiency / std::max(volts_, 1.0);
    chargerA = std::min(availableA, setA);
    double target = 0;
    if (stage_ == Stage::Equalize) target = s.param(param::kEqualizeVoltage) / 10.0;
    if (stage_ == Stage::Boost) target = s.param(param::kBoostVoltage) / 10.0;
    if (stage_ == Stage::Float) target = s.param(param::kFloatVoltage) / 10.0;
    if (target > 0) {
      target = std::min(target + compensation(s), s.param(param::kChargeLimitVoltage) / 10.0);
      chargerA = std::clamp(holdingCurrent(s, target) + loadA, 0.0, chargerA);
    } else {
      limited_ = availableA > setA;
    }
  }

  // The battery takes the difference.
  const double batteryA = chargerA - loadA;
  const double keptAh = batteryA * dt / 3600.0 * (batteryA > 0 ? kChargeEfficiency : 1.0);
  soc_ = std::clamp(soc_ + keptAh / c, 0.0, 1.0);
  const double v12 = batteryA >= 0 ? chargeVoltage12(s, soc_, batteryA) : dischargeVoltage12(s, soc_, -batteryA);
  volts_ = v12 * k;

  // Charge stages.
  if (daylight) {
    const bool equalizeDue = s.param(param::kEqualizeVoltage) > 0 && s.param(param::kEqualizeTime) > 0 &&
                             daysSinceEqualize_ >= s.param(param::kEqualizeInterval);
    switch (stage_) {
      case Stage::Start:
        stageLeft_ -= dt;
        if (stageLeft_ <= 0) stage_ = Stage::Bulk;
        break;
      case Stage::Bulk: {
        const double target = (equalizeDue ? s.param(param::kEqualizeVoltage) : s.param(param::kBoostVoltage)) / 10.0;
        if (v12 >= target + compensation(s)) {
          stage_ = equalizeDue ? Stage::Equalize : Stage::Boost;
          stageLeft_ = 60.0 * (equalizeDue ? s.param(param::kEqualizeTime) : s.param(param::kBoostTime));
          if (equalizeDue) daysSinceEqualize_ = 0;
        }
        break;
      }
      case Stage::Equalize:
      case Stage::Boost:
        stageLeft_ -= dt;
        if (stageLeft_ <= 0) {
          stage_ = Stage::Float;
          if (s.readings.fullCharges < 0xFFFF) ++s.readings.fullCharges;
        }
        break;
      case Stage::Float:
        if (v12 < s.param(param::kBoostReturnVoltage) / 10.0) stage_ = Stage::Bulk;
        break;
      case Stage::Night: break;
    }
  }

  // The array works at its maximum-power voltage while it gives power, else it stands open.
  const double panelW = chargerA * volts_ / kChargerEfficiency;
  const double share = sk.panelPower > 0 ? std::min(1.0, panelW / sk.panelPower) : 0.0;
  const double panelV = (sk.openVoltage - (sk.openVoltage - sk.mppVoltage) * share) * k;

  const double deviceT = sk.ambient + 15.0 * panelW / std::max(1.0, s.identity.ratedChargeCurrent * volts_) +
                         4.0 * loadA / std::max(1.0, double(s.identity.ratedLoadCurrent));
  batteryTemp_ = sk.ambient - 2.0 + 3.0 * std::abs(batteryA) / (0.1 * c);

  dayAhIn_ += chargerA * dt / 3600.0;
  dayAhOut_ += loadA * dt / 3600.0;
  dayWhIn_ += chargerA * volts_ * dt / 3600.0;
  dayWhOut_ += loadW * dt / 3600.0;
  totAhIn_ += chargerA * dt / 3600.0;
  totAhOut_ += loadA * dt / 3600.0;
  totWhIn_ += chargerA * volts_ * dt / 3600.0;
  totWhOut_ += loadW * dt / 3600.0;

  updateLoad(s, sk, dt, v12);
  publish(s, chargerA, loadA, loadW, panelW, panelV, batteryA, deviceT, batteryTemp_, sk);

  if (std::floor(t_ / kDay) > std::floor(before / kDay)) newDay(s);
}

// The load output: the mode of register 0xE01D switches it at dusk and dawn (or never, when it
// is switched by hand), and the over-discharge protection holds it off whatever the mode until
// the battery has recovered; then the output returns to what the mode or the last command wants.
void SolarModel::updateLoad(DeviceState& s, const Sky& sk, double dt, double v12) {
  Readings& r = s.readings;
  if (r.loadOn != lastLoadOn_) wanted_ = r.loadOn;  // switched by a command since the last step

  const unsigned mode = s.param(param::kLoadMode);
  const double onVolts = s.param(param::kLightOnVoltage);
  const double delay = mode == 16 ? 0.0 : 60.0 * s.param(param::kLoadDelay);
  const double wasDark = darkFor_;
  darkFor_ = sk.openVoltage < onVolts ? darkFor_ + dt : 0.0;
  const bool nowBright = sk.openVoltage > onVolts + 1.0;
  // Dusk is the moment the panel has stayed dark for the delay; dawn the moment it is bright.
  const bool dusk = delay > 0 ? (wasDark < delay && darkFor_ >= delay) : (wasDark == 0 && darkFor_ > 0);
  const bool dawn = nowBright && !bright_;
  bright_ = nowBright;

  if (mode <= 14 || mode == 16) {
    if (dusk) wanted_ = true;
    if (dawn) wanted_ = false;
    if (mode >= 1 && mode <= 14 && wanted_ && loadOnFor_ >= mode * 3600.0) wanted_ = false;
  } else if (mode == 17) {
    wanted_ = true;
  }

  // Over-discharge: by voltage, or by charge level when the block says to charge by SOC.
  const bool bySoc = (s.paramHigh(param::kChargeMode) & 0x04) != 0;
  const double socPercent = soc_ * 100.0;
  const bool low =
      bySoc ? socPercent < s.paramLow(param::kSocLimits) : v12 < s.param(param::kOverDischargeVoltage) / 10.0;
  lowFor_ = low ? lowFor_ + dt : 0.0;
  if (!overDischarged_ && low && lowFor_ >= s.param(param::kOverDischargeDelay)) {
    overDischarged_ = true;
    if (r.overDischarges < 0xFFFF) ++r.overDischarges;
  }
  if (overDischarged_) {
    const bool recovered =
        bySoc ? socPercent >= s.paramLow(param::kSocLimits) + 10.0 : v12 >= s.param(param::kOverDischargeReturn) / 10.0;
    if (recovered) overDischarged_ = false;
  }

  r.loadOn = wanted_ && !overDischarged_;
  loadOnFor_ = r.loadOn ? (lastLoadOn_ ? loadOnFor_ + dt : 0.0) : 0.0;
  lastLoadOn_ = r.loadOn;
}

void SolarModel::publish(DeviceState& s, double chargerA, double loadA, double loadW, double panelW, double panelV,
                         double batteryA, double deviceT, double batteryT, const Sky& sk) {
  Readings& r = s.readings;
  const double k = scale();
  const double v12 = volts_ / k;
  if (!r.loadOn) loadA = loadW = 0;  // switched off by this step: nothing flows any more
  r.soc = static_cast<std::uint8_t>(std::lround(soc_ * 100));
  r.batteryVoltage = reg16(volts_ * 10);
  r.batteryCurrent = reg16(std::abs(batteryA) * 100);
  r.deviceTemperature = static_cast<int>(std::lround(deviceT));
  r.batteryTemperature = static_cast<int>(std::lround(batteryT));
  r.loadVoltage = r.loadOn ? reg16(volts_ * 10) : 0;
  r.loadCurrent = reg16(loadA * 100);
  r.loadPower = reg16(loadW);
  r.panelVoltage = reg16(panelV * 10);
  r.panelCurrent = reg16(panelV > 0.5 ? panelW / panelV * 100 : 0);
  r.panelPower = reg16(panelW);

  switch (stage_) {
    case Stage::Night: r.chargeState = kNotCharging; break;
    case Stage::Start: r.chargeState = kStartCharging; break;
    case Stage::Bulk: r.chargeState = limited_ ? kLimitedCharging : kMpptCharging; break;
    case Stage::Equalize: r.chargeState = kEqualizeCharging; break;
    case Stage::Boost: r.chargeState = kBoostCharging; break;
    case Stage::Float: r.chargeState = kFloatCharging; break;
  }

  std::uint16_t f = 0;
  if (overDischarged_) f |= fault::kOverDischarge;
  if (v12 > s.param(param::kOverVoltage) / 10.0) f |= fault::kBatteryOverVoltage;
  if (v12 < s.param(param::kLowVoltageAlarm) / 10.0) f |= fault::kUnderVoltageWarning;
  if (deviceT > 85) f |= fault::kDeviceOverTemperature;
  if (batteryT > 55) f |= fault::kBatteryOverTemperature;
  if (sk.panelPower * kChargerEfficiency > 1.5 * s.identity.ratedChargeCurrent * volts_) f |= fault::kPanelOverPower;
  r.faultWord = f;
  r.alarmWord = f;

  DayRecord& d = r.today;
  const std::uint16_t v10 = r.batteryVoltage;
  d.minBatteryVoltage = std::min(d.minBatteryVoltage, v10);
  d.maxBatteryVoltage = std::max(d.maxBatteryVoltage, v10);
  d.maxChargeCurrent = std::max(d.maxChargeCurrent, reg16(chargerA * 100));
  d.maxDischargeCurrent = std::max(d.maxDischargeCurrent, r.loadCurrent);
  d.maxChargePower = std::max(d.maxChargePower, reg16(chargerA * volts_));
  d.maxDischargePower = std::max(d.maxDischargePower, r.loadPower);
  d.chargeAh = floor16(dayAhIn_);
  d.dischargeAh = floor16(dayAhOut_);
  d.generatedWh = floor16(dayWhIn_);
  d.usedWh = floor16(dayWhOut_);
  r.totalAhCharged = floor32(totAhIn_);
  r.totalAhDischarged = floor32(totAhOut_);
  r.totalWhGenerated = floor32(totWhIn_);
  r.totalWhUsed = floor32(totWhOut_);
}

}  // namespace xl::sim
