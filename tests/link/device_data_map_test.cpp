#include "link/device_data_map.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <tuple>
#include <utility>

#include "link/frame_codec.h"
#include "support/hex_bytes.h"

namespace xl::link {
namespace {

constexpr Reader kReaders[] = {Reader::RealTime, Reader::Scan, Reader::Recorder};

const char* nameOf(Reader r) {
  switch (r) {
    case Reader::RealTime: return "real-time";
    case Reader::Scan: return "scan";
    case Reader::Recorder: return "recorder";
  }
  return "?";
}

// A reply as the receive routine delivers it: address 1, function 3, the byte count, the data
// with the given bytes set, sent through the codec and verified back.
Bytes reply(std::size_t length, std::initializer_list<std::pair<std::size_t, std::uint8_t>> set) {
  Bytes data(length, 0);
  data[0] = 0x01;
  data[1] = 0x03;
  data[2] = static_cast<std::uint8_t>(length - 3);
  for (const auto& [index, value] : set) data[index] = value;
  const auto verified = verifyFrame(hexText(appendCrc(data)));
  EXPECT_TRUE(verified.has_value());
  EXPECT_EQ(*verified, data);
  return *verified;
}

Bytes realTime(std::initializer_list<std::pair<std::size_t, std::uint8_t>> set) { return reply(73, set); }

RealTimeBlock decoded(const Bytes& bytes, Reader reader) {
  auto block = decodeRealTime(bytes, reader);
  EXPECT_TRUE(block.has_value());
  return block.value_or(RealTimeBlock{});
}

// The information block's values in one text: ratings, model, versions, serial number.
std::string infoText(const std::optional<DeviceInfo>& i) {
  if (!i) return "(none)";
  return std::to_string(i->maxSystemVoltage) + " " + std::to_string(i->ratedChargeCurrent) + " " +
         std::to_string(i->ratedLoadCurrent) + "|" + i->model + "|" + i->softwareVersion + "|" + i->deviceVersion + "|" +
         i->serialNumber;
}

// The four groups in one text: battery, panel, device, load.
std::string joined(const StatusTexts& t) { return t.battery + " " + t.panel + " " + t.device + " " + t.load; }

// 32 flag characters with the given positions (1 = leftmost) set.
std::string flagsWith(std::initializer_list<int> positions) {
  std::string flags(32, '0');
  for (int p : positions) flags[p - 1] = '1';
  return flags;
}

// ---- Device information block -------------------------------------------------------------

TEST(DeviceDataMap, DeviceInformationBlock) {
  Bytes bytes = reply(37, {{3, 48}, {4, 40}, {5, 20}, {6, 0xAA}, {7, 0xBB},
                           {24, 1}, {25, 0}, {26, 12}, {27, 0xEE}, {28, 2}, {29, 1}, {30, 0},
                           {31, 16}, {32, 5}, {33, 0}, {34, 23}, {35, 0x12}, {36, 0x34}});
  const std::string model = " ML4820 MPPT    ";
  for (std::size_t i = 0; i < 16; ++i) bytes[8 + i] = static_cast<std::uint8_t>(model[i]);
  // Blanks cut at both ends of the model, the inner one kept.
  EXPECT_EQ(infoText(decodeDeviceInfo(bytes)), "48 40 20|ML4820 MPPT|V1.0.12|V2.1.0|16050023");

  // Sixteen blanks, zero versions, a serial with three-digit bytes.
  std::fill(bytes.begin() + 8, bytes.begin() + 24, ' ');
  std::fill(bytes.begin() + 24, bytes.begin() + 31, 0);
  std::ranges::copy(testing::hexBytes("64 FF 09 63"), bytes.begin() + 31);
  EXPECT_EQ(infoText(decodeDeviceInfo(bytes)), "48 40 20||V0.0.0|V0.0.0|1002550999");

  // One character a byte, read as Latin-1; only blanks are cut, NUL padding stays.
  std::ranges::copy(testing::hexBytes("41 B0 43 00"), bytes.begin() + 8);
  EXPECT_EQ(decodeDeviceInfo(bytes)->model, std::string("A\xC2\xB0" "C") + std::string(1, '\0'));
  bytes[23] = 'Z';
  EXPECT_EQ(decodeDeviceInfo(bytes)->model.size(), 17u);  // "A", two bytes for 0xB0, "C", NUL, 11 blanks, "Z"

  // Any other length is refused.
  for (std::size_t length : {0u, 1u, 36u, 38u, 73u}) {
    Bytes other = bytes;
    other.resize(length);
    EXPECT_FALSE(decodeDeviceInfo(other).has_value()) << length;
  }
}

// ---- Real-time block ----------------------------------------------------------------------

// Every value of the block with a distinct content, and its display text.
TEST(DeviceDataMap, RealTimeBlockEveryValue) {
  // From byte 3: not read, charge level; battery voltage, current; temperatures; load voltage,
  // current, power; panel voltage, current, power; load switch; the day's ten values; days,
  // over-discharges, full charges; the four 32-bit totals; load state, charge state; fault words.
  Bytes bytes = realTime({});
  const Bytes values = testing::hexBytes(
      "EE 57 00 85 04 D2 85 19 00 7F 00 05 01 2C 01 90 02 9A 0A 6B 00 01 00 78 00 91 07 D0 00 07 01 F4 00 64 "
      "00 2D 00 0C 04 D2 00 05 01 6D 00 03 00 C8 00 01 E2 40 00 00 30 39 00 12 D6 87 00 00 07 D0 80 02 00 00 00 01");
  std::copy(values.begin(), values.end(), bytes.begin() + 3);
  const RealTimeBlock b = decoded(bytes, Reader::Scan);
  // Each value's display text and its number.
  const std::tuple<const Shown*, const char*, double> expected[] = {
      {&b.chargeLevel, "87", 87}, {&b.batteryVoltage, "13.3", 13.3}, {&b.batteryCurrent, "12.34", 12.34},
      {&b.deviceTemperature, "-5.0", -5}, {&b.batteryTemperature, "25.0", 25},
      {&b.loadVoltage, "12.7", 12.7}, {&b.loadCurrent, "0.05", 0.05}, {&b.loadPower, "300", 300},
      {&b.panelVoltage, "40.0", 40}, {&b.panelCurrent, "6.66", 6.66}, {&b.panelPower, "2667", 2667},
      {&b.dayMinBatteryVoltage, "12.0", 12}, {&b.dayMaxBatteryVoltage, "14.5", 14.5},
      {&b.dayMaxChargeCurrent, "20.00", 20}, {&b.dayMaxDischargeCurrent, "0.07", 0.07},
      {&b.dayMaxChargePower, "500", 500}, {&b.dayMaxDischargePower, "100", 100},
      {&b.dayChargeAh, "45", 45}, {&b.dayDischargeAh, "12", 12},
      {&b.dayEnergyGenerated, "1.234", 1.234}, {&b.dayEnergyUsed, "0.005", 0.005},
      {&b.daysInOperation, "365", 365}, {&b.overDischargeCount, "3", 3}, {&b.fullChargeCount, "200", 200},
      {&b.totalChargeAh, "123456", 123456}, {&b.totalDischargeAh, "12345", 12345},
      {&b.totalEnergyGenerated, "1234.567", 1234.567}, {&b.totalEnergyUsed, "2", 2},
  };
  for (const auto& [shown, text, value] : expected) {
    EXPECT_EQ(shown->text, text);
    EXPECT_DOUBLE_EQ(shown->value, value) << text;
  }
  EXPECT_EQ(b.totalEnergyGeneratedGrid + " " + b.totalEnergyUsedGrid, "1234.567 2");
  EXPECT_EQ(b.chargeState, 2);
  EXPECT_EQ(b.chargeStateText, "MPPT充电");
  EXPECT_TRUE(b.loadOn);
  EXPECT_EQ(b.loadStateText, "已打开");
  EXPECT_EQ(b.statusFlags, "10000000" "00000010" "00000000" "00000000");
  EXPECT_EQ(joined(b.status), "正常 正常 正常 已打开");  // register 0x0121 is clean

  // The daily screen's ten boxes, in its order, and as far as a short frame reaches.
  const std::vector<std::string> day = {"12.0", "14.5", "20.00", "0.07", "500",
                                        "100",  "45",   "12",    "1.234", "0.005"};
  EXPECT_EQ(dayValueTexts(bytes), day);
  for (std::size_t length : {45u, 44u, 43u, 28u, 27u, 26u, 0u}) {
    Bytes cut = bytes;
    cut.resize(length);
    const std::size_t boxes = length < 27 ? 0 : (length - 25) / 2;
    EXPECT_EQ(dayValueTexts(cut), std::vector<std::string>(day.begin(), day.begin() + std::min<std::size_t>(boxes, 10)))
        << length;
  }

  // The other readers: same numbers, their own words for temperatures and the load state.
  const RealTimeBlock screen = decoded(bytes, Reader::RealTime);
  EXPECT_EQ(screen.deviceTemperature.text, "-5.0");
  EXPECT_EQ(screen.loadStateText, "已打开");
  EXPECT_EQ(screen.panelCurrent.text, "6.66");
  // Wrong lengths are refused on every reader.
  for (Reader r : kReaders) {
    for (std::size_t length : {0u, 37u, 72u, 74u}) {
      Bytes other = bytes;
      other.resize(length);
      EXPECT_FALSE(decodeRealTime(other, r).has_value()) << nameOf(r) << " " << length;
    }
  }
}

TEST(DeviceDataMap, Temperatures) {
  // The byte, its value, its text on the screens and in the recorder.
  const std::tuple<std::uint8_t, int, const char*, const char*> cases[] = {
      {129, -1, "-1.0", "-1"}, {128, 128, "128.0", "128"}, {0, 0, "0.0", "0"},
      {0x85, -5, "-5.0", "-5"}, {0x19, 25, "25.0", "25"},   {0x95, -21, "-21.0", "-21"},
      {255, -127, "-127.0", "-127"}, {127, 127, "127.0", "127"},
  };
  for (const auto& [byte, value, screen, recorder] : cases) {
    EXPECT_EQ(temperatureValue(byte), value) << int(byte);
    EXPECT_EQ(temperatureText(byte, Reader::RealTime), screen) << int(byte);
    EXPECT_EQ(temperatureText(byte, Reader::Scan), screen) << int(byte);
    EXPECT_EQ(temperatureText(byte, Reader::Recorder), recorder) << int(byte);
  }
}

// The scan's 32-bit totals: a first byte from 128 up enters the sum unshifted.
TEST(DeviceDataMap, ThirtyTwoBitTotalsAndTheirOverflow) {
  const std::pair<const char*, std::int64_t> totals[] = {
      {"00 00 00 00", 0}, {"01 00 00 00", 16777216}, {"12 34 56 78", 0x12345678}, {"7F FF FF FF", 2147483647},
      {"80 00 00 00", 128}, {"80 01 02 03", 128 + 65536 + 2 * 256 + 3}, {"FF FF FF FF", 255 + 0xFF0000 + 0xFF00 + 0xFF}};
  for (const auto& [text, value] : totals) {
    const Bytes t = testing::hexBytes(text);
    EXPECT_EQ(totalValue(t[0], t[1], t[2], t[3]), value) << text;
  }

  const RealTimeBlock b = decoded(realTime({{51, 0x81}, {52, 0x00}, {53, 0x01}, {54, 0x00},
                                            {55, 0x7F}, {56, 0xFF}, {57, 0xFF}, {58, 0xFF},
                                            {59, 0x80}, {60, 0x00}, {61, 0x00}, {62, 0x00},
                                            {63, 0x7F}, {64, 0xFF}, {65, 0xFF}, {66, 0xFF}}),
                                  Reader::Scan);
  // 385 is 129 + 256.
  EXPECT_EQ(b.totalChargeAh.text + " " + b.totalDischargeAh.text, "385 2147483647");
  EXPECT_EQ(b.totalEnergyGenerated.text + " " + b.totalEnergyGeneratedGrid, "0.128 0.128");
  EXPECT_EQ(b.totalEnergyUsed.text + " " + b.totalEnergyUsedGrid, "2147483.647 2147483.647");

  // The grid format "0.###" against the plain text of the cell.
  const struct {
    std::uint8_t b3, b4;
    const char* plain;
    const char* grid;
  } grids[] = {{0x00, 0x00, "0", "0"}, {0x00, 0x01, "0.001", "0.001"}, {0x00, 0x0A, "0.01", "0.01"},
               {0x05, 0xDC, "1.5", "1.5"}, {0x03, 0xE8, "1", "1"}, {0x04, 0xD2, "1.234", "1.234"}};
  for (const auto& g : grids) {
    const RealTimeBlock e = decoded(realTime({{65, g.b3}, {66, g.b4}}), Reader::Scan);
    EXPECT_EQ(e.totalEnergyUsed.text, g.plain);
    EXPECT_EQ(e.totalEnergyUsedGrid, g.grid);
  }
}

TEST(DeviceDataMap, NumberTexts) {
  for (const auto& [v, text] : {std::pair{300.0, "300"}, {0.0, "0"}, {-0.0, "0"}, {-21.0, "-21"}, {0.128, "0.128"},
                                 {65535.0, "65535"}})
    EXPECT_EQ(numberText(v), text) << v;
  for (const auto& [v, places, text] : {std::tuple{30.0, 1, "30.0"}, {0.29, 2, "0.29"}, {65.535, 3, "65.535"},
                                        {6553.5, 1, "6553.5"}, {-0.0001, 2, "0.00"}})
    EXPECT_EQ(fixedText(v, places), text) << v;
  for (const auto& [v, text] : {std::pair{5.0, "5"}, {0.1, "0.1"}, {0.0004, "0"}}) EXPECT_EQ(upToThreePlacesText(v), text);
  // Every 16-bit register shows exactly under each scale, with no rounding error.
  const auto places = [](int v, int n) {
    std::string s = std::to_string(v);
    return std::string(n - s.size(), '0') + s;
  };
  for (int raw : {1, 7, 29, 99, 101, 255, 1005, 4097, 65535}) {
    const auto hi = static_cast<std::uint8_t>(raw >> 8), lo = static_cast<std::uint8_t>(raw & 0xFF);
    EXPECT_EQ(fixedText(regValue(hi, lo, 10), 1), std::to_string(raw / 10) + "." + places(raw % 10, 1)) << raw;
    EXPECT_EQ(fixedText(regValue(hi, lo, 100), 2), std::to_string(raw / 100) + "." + places(raw % 100, 2)) << raw;
    EXPECT_EQ(fixedText(regValue(hi, lo, 1000), 3), std::to_string(raw / 1000) + "." + places(raw % 1000, 3)) << raw;
  }
}

TEST(DeviceDataMap, ChargeAndLoadState) {
  const char* names[] = {"未开启充电", "开始充电", "MPPT充电", "均衡充电", "提升充电", "浮充充电", "限流充电"};
  for (std::uint8_t s = 0; s <= 6; ++s) {
    EXPECT_EQ(chargeStateName(s), names[s]);
    for (Reader r : kReaders) EXPECT_EQ(decoded(realTime({{68, s}}), r).chargeStateText, names[s]) << nameOf(r);
  }
  // Above 6: nothing on the live screen and in the recorder, the flag digits on the scan.
  for (std::uint8_t s : {7, 8, 255}) {
    EXPECT_EQ(chargeStateName(s), "");
    const Bytes bytes = realTime({{67, 0x80}, {68, s}, {69, 0x12}, {70, 0x01}});
    const std::string flags = byteToBits(0x80) + byteToBits(s) + "00010010" "00000001";
    EXPECT_EQ(decoded(bytes, Reader::RealTime).chargeStateText, "");
    EXPECT_EQ(decoded(bytes, Reader::Recorder).chargeStateText, "");
    EXPECT_EQ(decoded(bytes, Reader::Scan).chargeStateText, flags);
    EXPECT_EQ(decoded(bytes, Reader::Scan).statusFlags, flags);
  }

  // Load state: bit 7 of byte 67 alone.
  for (std::uint8_t byte : {0x80, 0xFF, 0xC1}) EXPECT_TRUE(loadIsOn(byte)) << int(byte);
  for (std::uint8_t byte : {0x00, 0x7F, 0x01}) EXPECT_FALSE(loadIsOn(byte)) << int(byte);
  const RealTimeBlock off = decoded(realTime({{67, 0x7F}}), Reader::RealTime);
  EXPECT_FALSE(off.loadOn);
  EXPECT_EQ(off.status.load, "已关闭");
}

// ---- Status flags and groups --------------------------------------------------------------

TEST(DeviceDataMap, StatusFlagsAndTheExchangedFaultWord) {
  // Fault word 0x0121 says over-discharge (bit 0); 0x0122 says reverse polarity (bit 12); the
  // load is off.
  Bytes bytes = realTime({{67, 0x00}, {68, 0x05}, {69, 0x00}, {70, 0x01}, {71, 0x10}, {72, 0x00}});
  const Bytes original = bytes;
  EXPECT_EQ(statusFlagsOf(bytes), "00000000" "00000101" "00000000" "00000001");

  // The scan and the recorder read register 0x0121.
  EXPECT_EQ(joined(decoded(bytes, Reader::Scan).status), "过放 正常 正常 已关闭");
  EXPECT_EQ(decoded(bytes, Reader::Recorder).status.battery, "蓄电池过放");

  // The live screen exchanges first, in the caller's array, and reads register 0x0122.
  exchangeFaultWords(bytes);
  Bytes exchanged = original;
  std::ranges::copy(testing::hexBytes("10 00 00 01"), exchanged.begin() + 69);
  EXPECT_EQ(bytes, exchanged);
  const RealTimeBlock screen = decoded(bytes, Reader::RealTime);
  EXPECT_EQ(joined(screen.status), "正常 太阳板反接 正常 已关闭");
  EXPECT_EQ(screen.chargeStateText, "浮充充电");  // byte 68 is not moved
  // The scan, decoding the same array after the live screen, shows register 0x0122 too.
  EXPECT_EQ(joined(decoded(bytes, Reader::Scan).status), "正常 太阳能板反接 正常 已关闭");

  // A second exchange puts the words back; a short array is left alone.
  exchangeFaultWords(bytes);
  EXPECT_EQ(bytes, original);
  Bytes shortReply(72, 7);
  shortReply[69] = 1;
  exchangeFaultWords(shortReply);
  EXPECT_EQ(shortReply[69], 1);
  EXPECT_EQ(statusFlagsOf(Bytes(70, 0)), "");
  EXPECT_EQ(statusFlagsOf(Bytes(71, 0xFF)), std::string(32, '1'));
}

// Each tested position alone, then positions together, where the order of the tests decides.
// The recorder's own words are the recorder line's tests.
TEST(DeviceDataMap, StatusGroups) {
  // The groups on the live screen and on the scan ("=": as on the live screen, "-": not tried).
  struct Case {
    std::initializer_list<int> positions;
    const char* rt;
    const char* scan;
  };
  const Case cases[] = {
      {{32}, "过放 正常 正常 已打开", "="},
      {{31}, "超压 正常 正常 已打开", "="},
      {{30}, "欠压警告 正常 正常 已打开", "="},
      {{29}, "正常 正常 正常 负载短路", "="},
      {{28}, "正常 正常 正常 负载过流", "="},
      {{27}, "正常 正常 设备超温 已打开", "="},
      {{26}, "蓄电池超温 正常 正常 已打开", "正常 正常 正常 已打开"},
      {{25}, "正常 超功率 正常 已打开", "正常 太阳能板功率过大 正常 已打开"},
      {{24}, "正常 正常 正常 已打开", "="},
      {{23}, "正常 超压 正常 已打开", "正常 太阳能板超压 正常 已打开"},
      {{20}, "正常 太阳板反接 正常 已打开", "正常 太阳能板反接 正常 已打开"},
      // Over-discharge hides under-voltage; over-voltage overwrites both.
      {{32, 30}, "过放 正常 正常 已打开", "="},
      {{32, 31}, "-", "超压 正常 正常 已打开"},
      // The live screen's battery over-temperature comes last.
      {{32, 31, 26}, "蓄电池超温 正常 正常 已打开", "超压 正常 正常 已打开"},
      // Over-power hides panel over-voltage; position 24 wipes both on the scan.
      {{25, 23}, "正常 超功率 正常 已打开", "正常 太阳能板功率过大 正常 已打开"},
      {{25, 23, 24}, "正常 超功率 正常 已打开", "正常 正常 正常 已打开"},
      {{23, 24}, "正常 超压 正常 已打开", "正常 正常 正常 已打开"},
      // Reverse polarity comes after the wipe.
      {{25, 24, 20}, "-", "正常 太阳能板反接 正常 已打开"},
      {{25, 20}, "正常 太阳板反接 正常 已打开", "-"},
      {{27, 26}, "蓄电池超温 正常 设备超温 已打开", "正常 正常 设备超温 已打开"},
      // Short circuit wins over over-current.
      {{28, 29}, "正常 正常 正常 负载短路", "="},
      // Positions no reader tests change nothing, even all at once.
      {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 21, 22}, "正常 正常 正常 已打开", "="},
  };
  for (const Case& c : cases) {
    std::string label;
    for (int p : c.positions) label += " " + std::to_string(p);
    for (const auto& [reader, want] : {std::pair{Reader::RealTime, c.rt}, {Reader::Scan, c.scan}}) {
      if (std::string_view(want) == "-") continue;
      const StatusTexts t = applyStatusGroups(flagsWith(c.positions), {"old", "old", "old", "已打开"}, reader);
      EXPECT_EQ(joined(t), std::string_view(want) == "=" ? c.rt : want) << nameOf(reader) << label;
    }
  }
  // Through a reply: position p is bit (32 - p) of the fault word in bytes 69, 70.
  EXPECT_EQ(decoded(realTime({{69, 0x10}, {70, 0x00}}), Reader::Scan).status.panel, "太阳能板反接");
  EXPECT_EQ(decoded(realTime({{69, 0x00}, {70, 0x20}}), Reader::RealTime).status.device, "设备超温");

  // A flag text that is not 32 characters leaves every group as it was, load included.
  const StatusTexts before{"过放", "超功率", "设备超温", "负载短路"};
  for (Reader r : kReaders)
    for (const std::string& flags : {std::string(), std::string(31, '1'), std::string(33, '1'), std::string(33, '0')})
      EXPECT_EQ(joined(applyStatusGroups(flags, before, r)), joined(before)) << nameOf(r) << " " << flags.size();
}

// ---- Load mode register -------------------------------------------------------------------

TEST(DeviceDataMap, LoadModeReply) {
  // Manual is 15 in byte 4; byte 3 is not looked at.
  for (const auto& [b3, b4, manual] : {std::tuple<std::uint8_t, std::uint8_t, bool>{0x00, 15, true}, {0x00, 14, false},
                                       {0x00, 16, false}, {0x00, 0, false}, {0xFF, 15, true}, {0x01, 15, true}})
    EXPECT_EQ(loadModeIsManual(reply(5, {{3, b3}, {4, b4}})), manual) << int(b3) << " " << int(b4);
  for (std::size_t length : {0u, 4u, 6u, 11u, 73u})
    EXPECT_FALSE(loadModeIsManual(Bytes(length, 15)).has_value()) << length;
}

}  // namespace
}  // namespace xl::link
