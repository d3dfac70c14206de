#include "link/device_data_map.h"

#include <cmath>
#include <cstdio>
#include <iterator>
#include <utility>

#include "link/frame_codec.h"

namespace xl::link {

namespace {

constexpr const char* kNormal = "正常";

// ---- Number texts -------------------------------------------------------------------------

std::string printed(const char* format, int places, double value) {
  char buf[64];
  std::snprintf(buf, sizeof buf, format, places, value);
  return buf;
}

// ---- Real-time block fields ---------------------------------------------------------------

// Decimals of a display format; kPlain writes the number as it is.
constexpr int kPlain = -1;

// A 16-bit register at bytes index, index + 1, scaled and formatted.
Shown registerShown(const Bytes& r, std::size_t index, std::int32_t divisor, int places) {
  Shown s;
  s.value = regValue(r[index], r[index + 1], divisor);
  s.text = places == kPlain ? numberText(s.value) : fixedText(s.value, places);
  return s;
}

// A 32-bit total at bytes index..index + 3, divided by `divisor` when it is above 1.
Shown totalShown(const Bytes& r, std::size_t index, double divisor) {
  Shown s;
  s.value = totalValue(r[index], r[index + 1], r[index + 2], r[index + 3]) / divisor;
  s.text = numberText(s.value);
  return s;
}

Shown temperatureShown(std::uint8_t byte, Reader reader) {
  return {static_cast<double>(temperatureValue(byte)), temperatureText(byte, reader)};
}

struct DayField {
  std::size_t index;
  std::int32_t divisor;
  int places;
};

// The daily screen's boxes, in the order it fills them.
constexpr DayField kDayFields[] = {
    {25, 10, 1},          // lowest battery voltage of the day
    {27, 10, 1},          // highest battery voltage of the day
    {29, 100, 2},         // largest charge current
    {31, 100, 2},         // largest discharge current
    {33, 1, kPlain},      // largest charge power
    {35, 1, kPlain},      // largest discharge power
    {37, 1, kPlain},      // Ah charged today
    {39, 1, kPlain},      // Ah discharged today
    {41, 1000, 3},        // energy generated today
    {43, 1000, 3},        // energy used today
};

// ---- Status group texts -------------------------------------------------------------------

// The words of each reader for the status positions whose texts differ between readers.
struct GroupWords {
  const char* overDischarge;     // position 32
  const char* underVoltage;      // position 30
  const char* batteryOverVolt;   // position 31
  const char* panelOverPower;    // position 25
  const char* panelOverVolt;     // position 23
  const char* panelReversed;     // position 20
  const char* loadOverCurrent;   // position 28
};

constexpr GroupWords kRealTimeWords = {"过放", "欠压警告", "超压", "超功率", "超压", "太阳板反接", "负载过流"};
constexpr GroupWords kScanWords = {"过放",           "欠压警告",       "超压",        "太阳能板功率过大",
                                   "太阳能板超压",   "太阳能板反接",   "负载过流"};
constexpr GroupWords kRecorderWords = {"蓄电池过放",     "蓄电池欠压警告", "蓄电池超压", "太阳能板超功率",
                                       "太阳能板超电压", "太阳能板反接",   "负载过载"};

constexpr FaultPosition kFaultPositions[] = {
    {"over_discharge", 32, kRecorderWords.overDischarge},
    {"battery_over_voltage", 31, kRecorderWords.batteryOverVolt},
    {"battery_under_voltage", 30, kRecorderWords.underVoltage},
    {"load_short_circuit", 29, "负载短路"},
    {"load_over_current", 28, kRecorderWords.loadOverCurrent},
    {"device_over_temperature", 27, "设备超温"},
    {"battery_over_temperature", 26, "蓄电池超温"},
    {"panel_over_power", 25, kRecorderWords.panelOverPower},
    {"panel_over_voltage", 23, kRecorderWords.panelOverVolt},
    {"panel_reverse_polarity", 20, kRecorderWords.panelReversed},
};

const GroupWords& wordsOf(Reader reader) {
  switch (reader) {
    case Reader::RealTime: return kRealTimeWords;
    case Reader::Scan: return kScanWords;
    case Reader::Recorder: break;
  }
  return kRecorderWords;
}

}  // namespace

std::span<const FaultPosition> faultPositions() { return kFaultPositions; }

bool flagSet(std::string_view flags, int position) {
  return flags.size() == 32 && position >= 1 && position <= 32 && flags[static_cast<std::size_t>(position - 1)] == '1';
}

std::string numberText(double value) {
  value += 0.0;  // no "-0"
  if (std::floor(value) == value && std::fabs(value) < 1e15) return printed("%.*f", 0, value);
  return printed("%.*g", 15, value);
}

std::string fixedText(double value, int places) {
  if (places < 0) places = 0;
  std::string text = printed("%.*f", places, value + 0.0);
  // A negative value that rounds to zero shows as zero.
  if (text.front() == '-' && text.find_first_not_of("-0.") == std::string::npos) text.erase(0, 1);
  return text;
}

std::string upToThreePlacesText(double value) {
  std::string text = fixedText(value, 3);
  while (text.back() == '0') text.pop_back();
  if (text.back() == '.') text.pop_back();
  return text;
}

// ---- Device information block -------------------------------------------------------------

std::string versionText(std::uint8_t major, std::uint8_t minor, std::uint8_t patch) {
  return "V" + std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
}

std::string serialNumberText(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) {
  std::string text;
  for (std::uint8_t byte : {a, b, c, d}) {
    if (byte < 10) text += '0';
    text += std::to_string(byte);
  }
  return text;
}

std::optional<DeviceInfo> decodeDeviceInfo(const Bytes& reply) {
  if (reply.size() != kDeviceInfoLength) return std::nullopt;
  DeviceInfo info;
  info.maxSystemVoltage = reply[3];
  info.ratedChargeCurrent = reply[4];
  info.ratedLoadCurrent = reply[5];

  std::size_t first = 8, last = 23;  // the model's bytes, inclusive
  while (first <= last && reply[first] == ' ') ++first;
  while (last >= first && reply[last] == ' ') --last;
  for (std::size_t i = first; i <= last; ++i) {
    const std::uint8_t b = reply[i];
    if (b < 0x80) {
      info.model += static_cast<char>(b);
    } else {  // Latin-1 character as UTF-8
      info.model += static_cast<char>(0xC0 | (b >> 6));
      info.model += static_cast<char>(0x80 | (b & 0x3F));
    }
  }

  info.softwareVersion = versionText(reply[24], reply[25], reply[26]);
  info.deviceVersion = versionText(reply[28], reply[29], reply[30]);
  info.serialNumber = serialNumberText(reply[31], reply[32], reply[33], reply[34]);
  return info;
}

// ---- Real-time block: single values -------------------------------------------------------

int temperatureValue(std::uint8_t byte) { return byte >= 129 ? -(byte - 128) : byte; }

std::string temperatureText(std::uint8_t byte, Reader reader) {
  const int value = temperatureValue(byte);
  return reader == Reader::Recorder ? std::to_string(value) : fixedText(value, 1);
}

std::int32_t totalValue(std::uint8_t b1, std::uint8_t b2, std::uint8_t b3, std::uint8_t b4) {
  // Each part starts as its byte and is then shifted into place in 32-bit signed arithmetic.
  // A shift that would overflow is skipped, and the part keeps its unshifted byte.
  const std::int64_t limit = INT32_MAX;
  std::int64_t p1 = b1, p2 = b2, p3 = b3;
  const std::int64_t p4 = b4;
  if (p1 * 16777216 <= limit) p1 *= 16777216;
  if (p2 * 65536 <= limit) p2 *= 65536;
  if (p3 * 256 <= limit) p3 *= 256;
  return static_cast<std::int32_t>(p1 + p2 + p3 + p4);  // at most 0x7FFFFFFF
}

std::string_view chargeStateName(std::uint8_t state) {
  static constexpr std::string_view kNames[] = {"未开启充电", "开始充电", "MPPT充电", "均衡充电",
                                                "提升充电",   "浮充充电", "限流充电"};
  return state < std::size(kNames) ? kNames[state] : std::string_view();
}

std::string chargeStateText(std::uint8_t state, std::string_view statusFlags, Reader reader) {
  if (state <= 6) return std::string(chargeStateName(state));
  // The scan builds its flag text in the same variable just before and leaves it there.
  return reader == Reader::Scan ? std::string(statusFlags) : std::string();
}

bool loadIsOn(std::uint8_t byte67) { return byteToBits(byte67).front() == '1'; }

std::string loadStateText(bool on, Reader reader) {
  if (reader == Reader::Recorder) return on ? "1" : "0";
  return on ? "已打开" : "已关闭";
}

std::string statusFlagsOf(const Bytes& reply) {
  if (reply.size() < 71) return {};
  return byteToBits(reply[67]) + byteToBits(reply[68]) + byteToBits(reply[69]) + byteToBits(reply[70]);
}

void exchangeFaultWords(Bytes& reply) {
  if (reply.size() < kRealTimeLength) return;
  std::swap(reply[69], reply[71]);
  std::swap(reply[70], reply[72]);
}

// ---- Status groups ------------------------------------------------------------------------

StatusTexts applyStatusGroups(std::string_view flags, StatusTexts current, Reader reader) {
  if (flags.size() != 32) return current;
  const auto set = [&](int position) { return flags[position - 1] == '1'; };
  const GroupWords& w = wordsOf(reader);
  StatusTexts t = std::move(current);

  // Battery: over-discharge hides under-voltage; over-voltage overwrites either.
  t.battery = kNormal;
  if (set(32)) t.battery = w.overDischarge;
  else if (set(30)) t.battery = w.underVoltage;
  if (set(31)) t.battery = w.batteryOverVolt;
  if (reader == Reader::RealTime && set(26)) t.battery = "蓄电池超温";

  // Panel: over-power hides over-voltage; the scan and the recorder take position 24 for a
  // clean bill that wipes both; reverse polarity overwrites everything before it.
  t.panel = kNormal;
  if (set(25)) t.panel = w.panelOverPower;
  else if (set(23)) t.panel = w.panelOverVolt;
  if (reader != Reader::RealTime && set(24)) t.panel = kNormal;
  if (set(20)) t.panel = w.panelReversed;

  // Device: over-temperature; failing that, the recorder reports the battery's. The real-time
  // screen reads position 26 here without using it, and the scan does not read it.
  t.device = kNormal;
  if (set(27)) t.device = "设备超温";
  else if (reader == Reader::Recorder && set(26)) t.device = "蓄电池超温";

  // Load: starts from the on/off word; a short circuit wins over an over-current.
  if (set(28)) t.load = w.loadOverCurrent;
  if (set(29)) t.load = "负载短路";
  return t;
}

// ---- Real-time block: the whole reply -----------------------------------------------------

std::optional<RealTimeBlock> decodeRealTime(const Bytes& reply, Reader reader) {
  if (reply.size() != kRealTimeLength) return std::nullopt;
  const Bytes& r = reply;
  RealTimeBlock b;
  b.chargeLevel = {static_cast<double>(r[4]), std::to_string(r[4])};
  b.batteryVoltage = registerShown(r, 5, 10, 1);
  b.batteryCurrent = registerShown(r, 7, 100, 2);
  b.deviceTemperature = temperatureShown(r[9], reader);
  b.batteryTemperature = temperatureShown(r[10], reader);
  b.loadVoltage = registerShown(r, 11, 10, 1);
  b.loadCurrent = registerShown(r, 13, 100, 2);
  b.loadPower = registerShown(r, 15, 1, kPlain);
  b.panelVoltage = registerShown(r, 17, 10, 1);
  b.panelCurrent = registerShown(r, 19, 100, 2);
  if (reader == Reader::Recorder && !(b.panelVoltage.value > 0)) b.panelCurrent.text = "0.00";
  b.panelPower = registerShown(r, 21, 1, kPlain);

  Shown* day[] = {&b.dayMinBatteryVoltage, &b.dayMaxBatteryVoltage, &b.dayMaxChargeCurrent,
                  &b.dayMaxDischargeCurrent, &b.dayMaxChargePower, &b.dayMaxDischargePower,
                  &b.dayChargeAh, &b.dayDischargeAh, &b.dayEnergyGenerated, &b.dayEnergyUsed};
  for (std::size_t i = 0; i < std::size(kDayFields); ++i)
    *day[i] = registerShown(r, kDayFields[i].index, kDayFields[i].divisor, kDayFields[i].places);

  b.daysInOperation = registerShown(r, 45, 1, kPlain);
  b.overDischargeCount = registerShown(r, 47, 1, kPlain);
  b.fullChargeCount = registerShown(r, 49, 1, kPlain);
  b.totalChargeAh = totalShown(r, 51, 1);
  b.totalDischargeAh = totalShown(r, 55, 1);
  b.totalEnergyGenerated = totalShown(r, 59, 1000);
  b.totalEnergyUsed = totalShown(r, 63, 1000);
  b.totalEnergyGeneratedGrid = upToThreePlacesText(b.totalEnergyGenerated.value);
  b.totalEnergyUsedGrid = upToThreePlacesText(b.totalEnergyUsed.value);

  b.statusFlags = statusFlagsOf(r);
  b.chargeState = r[68];
  b.chargeStateText = chargeStateText(r[68], b.statusFlags, reader);
  b.loadOn = loadIsOn(r[67]);
  b.loadStateText = loadStateText(b.loadOn, reader);
  b.status = applyStatusGroups(b.statusFlags, StatusTexts{{}, {}, {}, b.loadStateText}, reader);
  return b;
}

std::vector<std::string> dayValueTexts(const Bytes& reply) {
  std::vector<std::string> texts;
  for (const DayField& f : kDayFields) {
    if (reply.size() <= f.index + 1) break;
    texts.push_back(registerShown(reply, f.index, f.divisor, f.places).text);
  }
  return texts;
}

// ---- Load mode register -------------------------------------------------------------------

std::optional<bool> loadModeIsManual(const Bytes& reply) {
  if (reply.size() != kLoadModeLength) return std::nullopt;
  return reply[4] == 15;
}

}  // namespace xl::link
