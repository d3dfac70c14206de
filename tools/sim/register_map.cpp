#include "tools/sim/register_map.h"

#include <algorithm>

namespace xl::sim {

namespace {

void put16(Bytes& out, std::uint16_t v) {
  out.push_back(static_cast<std::uint8_t>(v >> 8));
  out.push_back(static_cast<std::uint8_t>(v & 0xFF));
}

void put32(Bytes& out, std::uint32_t v) {
  put16(out, static_cast<std::uint16_t>(v >> 16));
  put16(out, static_cast<std::uint16_t>(v & 0xFFFF));
}

void putRecord(Bytes& out, const DayRecord& r) {
  for (std::uint16_t v : {r.minBatteryVoltage, r.maxBatteryVoltage, r.maxChargeCurrent, r.maxDischargeCurrent,
                          r.maxChargePower, r.maxDischargePower, r.chargeAh, r.dischargeAh, r.generatedWh, r.usedWh})
    put16(out, v);
}

// A block that starts at `first` and holds `bytes`; slices of it serve a read.
ReadResult slice(const Bytes& bytes, std::uint16_t first, std::uint16_t start, std::uint16_t count) {
  const std::size_t from = 2u * (start - first);
  const std::size_t len = 2u * count;
  if (from + len > bytes.size()) return {Exception::IllegalAddress, {}};
  return {Exception::None, Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                                 bytes.begin() + static_cast<std::ptrdiff_t>(from + len))};
}

bool inRange(std::uint16_t start, std::uint16_t first, std::uint16_t count) {
  return start >= first && start < first + count;
}

}  // namespace

std::uint8_t temperatureByte(int celsius) {
  if (celsius < 0) return static_cast<std::uint8_t>(0x80 | std::min(-celsius, 127));
  return static_cast<std::uint8_t>(std::min(celsius, 127));
}

Bytes deviceInfoBytes(const DeviceState& s) {
  const Identity& id = s.identity;
  Bytes out;
  out.reserve(34);
  out.push_back(id.maxSystemVoltage);
  out.push_back(id.ratedChargeCurrent);
  out.push_back(id.ratedLoadCurrent);
  out.push_back(0);  // 0x000B low and 0x000C high carry nothing
  out.push_back(0);
  std::string model = id.model.substr(0, 16);
  model.resize(16, ' ');
  for (char c : model) out.push_back(static_cast<std::uint8_t>(c));
  out.insert(out.end(), id.softwareVersion.begin(), id.softwareVersion.end());
  out.push_back(0);  // 0x0016 high carries nothing
  out.insert(out.end(), id.deviceVersion.begin(), id.deviceVersion.end());
  out.insert(out.end(), id.serialNumber.begin(), id.serialNumber.end());
  put16(out, s.address);
  return out;
}

Bytes realTimeBytes(const DeviceState& s) {
  const Readings& r = s.readings;
  Bytes out;
  out.reserve(70);
  out.push_back(0);
  out.push_back(r.soc);
  put16(out, r.batteryVoltage);
  put16(out, r.batteryCurrent);
  out.push_back(temperatureByte(r.deviceTemperature));
  out.push_back(temperatureByte(r.batteryTemperature));
  put16(out, r.loadVoltage);
  put16(out, r.loadCurrent);
  put16(out, r.loadPower);
  put16(out, r.panelVoltage);
  put16(out, r.panelCurrent);
  put16(out, r.panelPower);
  put16(out, r.loadOn ? 1 : 0);  // 0x010A, the load switch
  putRecord(out, r.today);
  put16(out, r.daysInOperation);
  put16(out, r.overDischarges);
  put16(out, r.fullCharges);
  put32(out, r.totalAhCharged);
  put32(out, r.totalAhDischarged);
  put32(out, r.totalWhGenerated);
  put32(out, r.totalWhUsed);
  const std::uint8_t status = static_cast<std::uint8_t>((r.statusBits | s.forced.statusBits) & 0x7F);
  out.push_back(static_cast<std::uint8_t>((r.loadOn ? 0x80 : 0x00) | status));
  out.push_back(r.chargeState);
  put16(out, static_cast<std::uint16_t>(r.faultWord | s.forced.faultWord));
  put16(out, static_cast<std::uint16_t>(r.alarmWord | s.forced.alarmWord));
  return out;
}

Bytes parameterBytes(const DeviceState& s) {
  Bytes out;
  out.reserve(2 * kParamCount);
  for (std::uint16_t v : s.params) put16(out, v);
  return out;
}

Bytes historyRecordBytes(const DayRecord& record) {
  Bytes out;
  out.reserve(20);
  putRecord(out, record);
  return out;
}

ReadResult readRegisters(const DeviceState& s, std::uint16_t start, std::uint16_t count) {
  if (count == 0 || count > 125) return {Exception::IllegalValue, {}};
  if (inRange(start, reg::kDeviceInfo, reg::kDeviceInfoCount))
    return slice(deviceInfoBytes(s), reg::kDeviceInfo, start, count);
  if (inRange(start, reg::kRealTime, reg::kRealTimeCount)) return slice(realTimeBytes(s), reg::kRealTime, start, count);
  if (inRange(start, kParamFirst, kParamCount)) return slice(parameterBytes(s), kParamFirst, start, count);
  if (start == reg::kRs485Use) {
    Bytes data;
    put16(data, s.rs485Use);
    return slice(data, reg::kRs485Use, start, count);
  }
  if (start >= reg::kHistory) return slice(historyRecordBytes(s.record(start - reg::kHistory)), start, start, count);
  return {Exception::IllegalAddress, {}};
}

Exception checkWrite(std::uint16_t reg, std::uint16_t value, bool inBlock) {
  if (inRange(reg, kParamFirst, kParamCount)) {
    if (reg == param::kLoadMode && value > param::kLastLoadMode) return Exception::IllegalValue;
    return Exception::None;
  }
  if (inBlock) return Exception::IllegalAddress;
  switch (reg) {
    case reg::kLoadSwitch:
    case reg::kRs485Use: return value <= 1 ? Exception::None : Exception::IllegalValue;
    case reg::kAddress: return value >= 1 && value <= 247 ? Exception::None : Exception::IllegalValue;
    case reg::kRestart: return value == 1 ? Exception::None : Exception::IllegalValue;
    default: return Exception::IllegalAddress;
  }
}

void applyWrite(DeviceState& s, std::uint16_t reg, std::uint16_t value) {
  if (inRange(reg, kParamFirst, kParamCount)) {
    s.setParam(reg, value);
    return;
  }
  switch (reg) {
    case reg::kLoadSwitch: s.readings.loadOn = value != 0; break;
    case reg::kRs485Use: s.rs485Use = value; break;
    case reg::kAddress: s.address = static_cast<std::uint8_t>(value); break;
    default: break;
  }
}

}  // namespace xl::sim
