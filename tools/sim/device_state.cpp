#include "tools/sim/device_state.h"

namespace xl::sim {

DayRecord DeviceState::record(std::size_t daysAgo) const {
  if (daysAgo == 0) return readings.today;
  if (daysAgo <= history.size()) return history[daysAgo - 1];
  return DayRecord{};
}

void DeviceState::setRecord(std::size_t daysAgo, const DayRecord& rec) {
  if (daysAgo == 0) {
    readings.today = rec;
    return;
  }
  if (daysAgo > kHistoryCapacity) return;
  if (history.size() < daysAgo) history.resize(daysAgo);
  history[daysAgo - 1] = rec;
}

ParamBlock factoryParams(std::uint8_t ratedChargeCurrent) {
  ParamBlock p{};
  auto set = [&p](std::uint16_t reg, std::uint16_t value) { p[reg - kParamFirst] = value; };
  set(param::kChargeCurrent, static_cast<std::uint16_t>(ratedChargeCurrent * 100));
  set(param::kCapacity, 200);
  set(param::kSystemVoltage, 0xFF01);  // automatic; the low byte is reserved
  set(param::kBatteryType, 2);         // sealed
  set(param::kOverVoltage, 160);
  set(param::kChargeLimitVoltage, 155);
  set(param::kEqualizeVoltage, 146);
  set(param::kBoostVoltage, 144);
  set(param::kFloatVoltage, 138);
  set(param::kBoostReturnVoltage, 132);
  set(param::kOverDischargeReturn, 126);
  set(param::kLowVoltageAlarm, 120);
  set(param::kOverDischargeVoltage, 111);
  set(param::kDischargeLimitVoltage, 106);
  set(param::kSocLimits, 0x641E);  // full at 100 %, discharge limit 30 %
  set(param::kOverDischargeDelay, 5);
  set(param::kEqualizeTime, 120);
  set(param::kBoostTime, 120);
  set(param::kEqualizeInterval, 30);
  set(param::kTempCompensation, 3);
  // Words the console never shows but must carry back unchanged on a block write. They are
  // reserved here; the non-zero factory values make a write that loses them visible.
  const std::uint16_t reserved[] = {0x0064, 0x0032, 0x000A, 0x0005, 0x0190, 0x00C8, 0x0003, 0x0001};
  for (std::size_t i = 0; i < std::size(reserved); ++i) p[0xE015 - kParamFirst + i] = reserved[i];
  set(param::kLoadMode, param::kManualLoadMode);
  set(param::kLoadDelay, 10);
  set(param::kLightOnVoltage, 5);
  set(0xE020, 0x0078);
  set(param::kChargeMode, 0x0002);  // voltage compensation; the low byte is reserved
  return p;
}

}  // namespace xl::sim
