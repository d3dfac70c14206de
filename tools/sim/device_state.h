#pragma once
// Everything a simulated charge controller knows, in register units.
//
// Readings are kept as the device reports them (tenths of a volt, hundredths of an ampere,
// whole watts and so on), so what a test puts in comes out on the wire unchanged. The live
// model (solar_model.h) writes the readings; the register map (register_map.h) turns this state
// into reply bytes and applies writes to it.

#include <array>
#include <cstdint>
#include <deque>
#include <string>

namespace xl::sim {

// What the device information block reports.
struct Identity {
  std::uint8_t maxSystemVoltage = 48;    // volts: 24, 48, 60, 72 or 96
  std::uint8_t ratedChargeCurrent = 20;  // amperes
  std::uint8_t ratedLoadCurrent = 20;    // amperes; 0 for a device without a load output
  std::string model = "XL-MPPT4820";     // up to 16 characters, padded with blanks on the wire
  std::array<std::uint8_t, 3> softwareVersion{1, 0, 4};
  std::array<std::uint8_t, 3> deviceVersion{2, 1, 0};
  std::array<std::uint8_t, 4> serialNumber{16, 5, 0, 23};
};

// The extremes and totals of one day, in the order of the history record and of registers
// 0x010B to 0x0114 of the real-time block.
struct DayRecord {
  std::uint16_t minBatteryVoltage = 0;    // 0.1 V
  std::uint16_t maxBatteryVoltage = 0;    // 0.1 V
  std::uint16_t maxChargeCurrent = 0;     // 0.01 A
  std::uint16_t maxDischargeCurrent = 0;  // 0.01 A
  std::uint16_t maxChargePower = 0;       // W
  std::uint16_t maxDischargePower = 0;    // W
  std::uint16_t chargeAh = 0;             // Ah
  std::uint16_t dischargeAh = 0;          // Ah
  std::uint16_t generatedWh = 0;          // Wh (the register's kWh x 1000)
  std::uint16_t usedWh = 0;               // Wh
  bool operator==(const DayRecord&) const = default;
};

// Charge states as the low byte of register 0x0120 reports them.
enum ChargeState : std::uint8_t {
  kNotCharging = 0,
  kStartCharging = 1,
  kMpptCharging = 2,
  kEqualizeCharging = 3,
  kBoostCharging = 4,
  kFloatCharging = 5,
  kLimitedCharging = 6,
};

// Bits of the fault words 0x0121 and 0x0122.
namespace fault {
constexpr std::uint16_t kOverDischarge = 1u << 0;
constexpr std::uint16_t kBatteryOverVoltage = 1u << 1;
constexpr std::uint16_t kUnderVoltageWarning = 1u << 2;
constexpr std::uint16_t kLoadShort = 1u << 3;
constexpr std::uint16_t kLoadOverCurrent = 1u << 4;
constexpr std::uint16_t kDeviceOverTemperature = 1u << 5;
constexpr std::uint16_t kBatteryOverTemperature = 1u << 6;
constexpr std::uint16_t kPanelOverPower = 1u << 7;
constexpr std::uint16_t kPanelNormal = 1u << 8;
constexpr std::uint16_t kPanelOverVoltage = 1u << 9;
constexpr std::uint16_t kPanelReversed = 1u << 12;
}  // namespace fault

// The real-time block (0x0100, 35 registers) in register units.
struct Readings {
  std::uint8_t soc = 0;              // %
  std::uint16_t batteryVoltage = 0;  // 0.1 V
  std::uint16_t batteryCurrent = 0;  // 0.01 A, magnitude of the net battery current
  int deviceTemperature = 25;        // °C, sent as sign and magnitude
  int batteryTemperature = 25;       // °C, sent as sign and magnitude
  std::uint16_t loadVoltage = 0;     // 0.1 V
  std::uint16_t loadCurrent = 0;     // 0.01 A
  std::uint16_t loadPower = 0;       // W
  std::uint16_t panelVoltage = 0;    // 0.1 V
  std::uint16_t panelCurrent = 0;    // 0.01 A
  std::uint16_t panelPower = 0;      // W
  DayRecord today;                   // 0x010B to 0x0114
  std::uint16_t daysInOperation = 0;
  std::uint16_t overDischarges = 0;
  std::uint16_t fullCharges = 0;
  std::uint32_t totalAhCharged = 0;
  std::uint32_t totalAhDischarged = 0;
  std::uint32_t totalWhGenerated = 0;  // the register's kWh x 1000
  std::uint32_t totalWhUsed = 0;
  bool loadOn = false;                      // bit 7 of 0x0120 high
  std::uint8_t statusBits = 0;              // bits 0 to 6 of 0x0120 high
  std::uint8_t chargeState = kNotCharging;  // 0x0120 low
  std::uint16_t faultWord = 0;              // 0x0121, as the live model sees the device
  std::uint16_t alarmWord = 0;              // 0x0122
};

// Bits forced on in the status registers, on top of what the live model reports; the way a test
// or an operator of the simulator raises a fault that the model would not reach by itself.
struct ForcedStatus {
  std::uint8_t statusBits = 0;  // 0x0120 high, bits 0 to 6
  std::uint16_t faultWord = 0;  // 0x0121
  std::uint16_t alarmWord = 0;  // 0x0122
};

// The control parameter block 0xE001 to 0xE021, one word a register.
constexpr std::uint16_t kParamFirst = 0xE001;
constexpr std::size_t kParamCount = 33;
using ParamBlock = std::array<std::uint16_t, kParamCount>;

// Register addresses inside the parameter block.
namespace param {
constexpr std::uint16_t kChargeCurrent = 0xE001;  // 0.01 A
constexpr std::uint16_t kCapacity = 0xE002;       // Ah
constexpr std::uint16_t kSystemVoltage = 0xE003;  // high byte: 12..96 or 255 (automatic)
constexpr std::uint16_t kBatteryType = 0xE004;    // 0 user, 1 flooded, 2 sealed, 3 gel, 4 lithium
constexpr std::uint16_t kOverVoltage = 0xE005;    // voltages: 0.1 V on the 12 V basis
constexpr std::uint16_t kChargeLimitVoltage = 0xE006;
constexpr std::uint16_t kEqualizeVoltage = 0xE007;  // 0: no equalizing
constexpr std::uint16_t kBoostVoltage = 0xE008;
constexpr std::uint16_t kFloatVoltage = 0xE009;
constexpr std::uint16_t kBoostReturnVoltage = 0xE00A;
constexpr std::uint16_t kOverDischargeReturn = 0xE00B;
constexpr std::uint16_t kLowVoltageAlarm = 0xE00C;
constexpr std::uint16_t kOverDischargeVoltage = 0xE00D;
constexpr std::uint16_t kDischargeLimitVoltage = 0xE00E;
constexpr std::uint16_t kSocLimits = 0xE00F;           // high: full-charge SOC %, low: discharge-limit SOC %
constexpr std::uint16_t kOverDischargeDelay = 0xE010;  // s
constexpr std::uint16_t kEqualizeTime = 0xE011;        // min
constexpr std::uint16_t kBoostTime = 0xE012;           // min
constexpr std::uint16_t kEqualizeInterval = 0xE013;    // days
constexpr std::uint16_t kTempCompensation = 0xE014;    // mV/°C/2V, sent without its minus sign
constexpr std::uint16_t kLoadMode = 0xE01D;        // 0 light, 1..14 light + hours, 15 manual, 16 debug, 17 always on
constexpr std::uint16_t kLoadDelay = 0xE01E;       // min
constexpr std::uint16_t kLightOnVoltage = 0xE01F;  // V, whole, panel voltage on the 12 V basis
constexpr std::uint16_t kChargeMode = 0xE021;      // bit 2 of the high byte: charge by SOC
constexpr std::uint16_t kLastLoadMode = 17;
constexpr std::uint16_t kManualLoadMode = 15;
}  // namespace param

// The history kept in the device's memory: element 0 is the day before today.
constexpr std::size_t kHistoryCapacity = 0x0FFF;  // days 1..4095 behind registers 0xF001..0xFFFF

struct DeviceState {
  std::uint8_t address = 1;
  Identity identity;
  Readings readings;
  ForcedStatus forced;
  ParamBlock params{};
  std::uint16_t rs485Use = 0;  // 0xE327: 0 communication, 1 parallel operation
  std::deque<DayRecord> history;

  std::uint16_t param(std::uint16_t reg) const { return params[reg - kParamFirst]; }
  void setParam(std::uint16_t reg, std::uint16_t value) { params[reg - kParamFirst] = value; }
  std::uint8_t paramHigh(std::uint16_t reg) const { return static_cast<std::uint8_t>(param(reg) >> 8); }
  std::uint8_t paramLow(std::uint16_t reg) const { return static_cast<std::uint8_t>(param(reg) & 0xFF); }

  // The history record of `daysAgo` (0 is today, from the running day values); a day the
  // memory does not hold reads as zeros.
  DayRecord record(std::size_t daysAgo) const;
  // Stores `rec` as the record of `daysAgo` (0 sets today), growing the memory as needed.
  void setRecord(std::size_t daysAgo, const DayRecord& rec);
};

// The parameter block as it leaves the factory, for a device with rated charge current
// `ratedChargeCurrent`: sealed lead-acid, automatic system voltage, voltage compensation.
ParamBlock factoryParams(std::uint8_t ratedChargeCurrent);

}  // namespace xl::sim
