#include "link/device_data_map.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
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
  auto info = decodeDeviceInfo(bytes);
  ASSERT_TRUE(info.has_value());
  EXPECT_EQ(info->maxSystemVoltage, 48);
  EXPECT_EQ(info->ratedChargeCurrent, 40);
  EXPECT_EQ(info->ratedLoadCurrent, 20);
  EXPECT_EQ(info->model, "ML4820 MPPT");  // blanks cut at both ends, the inner one kept
  EXPECT_EQ(info->softwareVersion, "V1.0.12");
  EXPECT_EQ(info->deviceVersion, "V2.1.0");
  EXPECT_EQ(info->serialNumber, "16050023");

  // Sixteen blanks, zero versions, a serial with three-digit bytes.
  for (std::size_t i = 8; i <= 23; ++i) bytes[i] = ' ';
  for (std::size_t i = 24; i <= 30; ++i) bytes[i] = 0;
  bytes[31] = 100;
  bytes[32] = 255;
  bytes[33] = 9;
  bytes[34] = 99;
  info = decodeDeviceInfo(bytes);
  ASSERT_TRUE(info.has_value());
  EXPECT_EQ(info->model, "");
  EXPECT_EQ(info->softwareVersion, "V0.0.0");
  EXPECT_EQ(info->deviceVersion, "V0.0.0");
  EXPECT_EQ(info->serialNumber, "1002550999");

  // One character a byte, read as Latin-1; only blanks are cut, NUL padding stays.
  bytes[8] = 'A';
  bytes[9] = 0xB0;
  bytes[10] = 'C';
  bytes[11] = 0;
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
  const std::pair<const Shown*, const char*> expected[] = {
      {&b.chargeLevel, "87"},
      {&b.batteryVoltage, "13.3"},
      {&b.batteryCurrent, "12.34"},
      {&b.deviceTemperature, "-5.0"},
      {&b.batteryTemperature, "25.0"},
      {&b.loadVoltage, "12.7"},
      {&b.loadCurrent, "0.05"},
      {&b.loadPower, "300"},
      {&b.panelVoltage, "40.0"},
      {&b.panelCurrent, "6.66"},
      {&b.panelPower, "2667"},
      {&b.dayMinBatteryVoltage, "12.0"},
      {&b.dayMaxBatteryVoltage, "14.5"},
      {&b.dayMaxChargeCurrent, "20.00"},
      {&b.dayMaxDischargeCurrent, "0.07"},
      {&b.dayMaxChargePower, "500"},
      {&b.dayMaxDischargePower, "100"},
      {&b.dayChargeAh, "45"},
      {&b.dayDischargeAh, "12"},
      {&b.dayEnergyGenerated, "1.234"},
      {&b.dayEnergyUsed, "0.005"},
      {&b.daysInOperation, "365"},
      {&b.overDischargeCount, "3"},
      {&b.fullChargeCount, "200"},
      {&b.totalChargeAh, "123456"},
      {&b.totalDischargeAh, "12345"},
      {&b.totalEnergyGenerated, "1234.567"},
      {&b.totalEnergyUsed, "2"},
  };
  for (const auto& [shown, text] : expected) EXPECT_EQ(shown->text, text);
  EXPECT_DOUBLE_EQ(b.batteryVoltage.value, 13.3);
  EXPECT_DOUBLE_EQ(b.batteryCurrent.value, 12.34);
  EXPECT_DOUBLE_EQ(b.deviceTemperature.value, -5);
  EXPECT_DOUBLE_EQ(b.panelPower.value, 2667);
  EXPECT_DOUBLE_EQ(b.totalChargeAh.value, 123456);
  EXPECT_DOUBLE_EQ(b.totalEnergyGenerated.value, 1234.567);
  EXPECT_EQ(b.totalEnergyGeneratedGrid, "1234.567");
  EXPECT_EQ(b.totalEnergyUsedGrid, "2");
  EXPECT_EQ(b.chargeState, 2);
  EXPECT_EQ(b.chargeStateText, "MPPT充电");
  EXPECT_TRUE(b.loadOn);
  EXPECT_EQ(b.loadStateText, "已打开");
  EXPECT_EQ(b.statusFlags, "10000000" "00000010" "00000000" "00000000");
  EXPECT_EQ(b.status.battery, "正常");  // register 0x0121 is clean
  EXPECT_EQ(b.status.panel, "正常");
  EXPECT_EQ(b.status.device, "正常");
  EXPECT_EQ(b.status.load, "已打开");

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
  struct Case {
    std::uint8_t byte;
    int value;
    const char* screen;
    const char* recorder;
  };
  const Case cases[] = {
      {129, -1, "-1.0", "-1"}, {128, 128, "128.0", "128"}, {0, 0, "0.0", "0"},
      {0x85, -5, "-5.0", "-5"}, {0x19, 25, "25.0", "25"},   {0x95, -21, "-21.0", "-21"},
      {255, -127, "-127.0", "-127"}, {127, 127, "127.0", "127"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(temperatureValue(c.byte), c.value) << int(c.byte);
    EXPECT_EQ(temperatureText(c.byte, Reader::RealTime), c.screen) << int(c.byte);
    EXPECT_EQ(temperatureText(c.byte, Reader::Scan), c.screen) << int(c.byte);
    EXPECT_EQ(temperatureText(c.byte, Reader::Recorder), c.recorder) << int(c.byte);
  }
}

// The scan's 32-bit totals: a first byte from 128 up enters the sum unshifted.
TEST(DeviceDataMap, ThirtyTwoBitTotalsAndTheirOverflow) {
  EXPECT_EQ(totalValue(0x00, 0x00, 0x00, 0x00), 0);
  EXPECT_EQ(totalValue(0x01, 0x00, 0x00, 0x00), 16777216);
  EXPECT_EQ(totalValue(0x12, 0x34, 0x56, 0x78), 0x12345678);
  EXPECT_EQ(totalValue(0x7F, 0xFF, 0xFF, 0xFF), 2147483647);
  EXPECT_EQ(totalValue(0x80, 0x00, 0x00, 0x00), 128);
  EXPECT_EQ(totalValue(0x80, 0x01, 0x02, 0x03), 128 + 65536 + 2 * 256 + 3);
  EXPECT_EQ(totalValue(0xFF, 0xFF, 0xFF, 0xFF), 255 + 0xFF0000 + 0xFF00 + 0xFF);

  const RealTimeBlock b = decoded(realTime({{51, 0x81}, {52, 0x00}, {53, 0x01}, {54, 0x00},
                                            {55, 0x7F}, {56, 0xFF}, {57, 0xFF}, {58, 0xFF},
                                            {59, 0x80}, {60, 0x00}, {61, 0x00}, {62, 0x00},
                                            {63, 0x7F}, {64, 0xFF}, {65, 0xFF}, {66, 0xFF}}),
                                  Reader::Scan);
  EXPECT_EQ(b.totalChargeAh.text, "385");  // 129 + 256
  EXPECT_EQ(b.totalDischargeAh.text, "2147483647");
  EXPECT_EQ(b.totalEnergyGenerated.text, "0.128");
  EXPECT_EQ(b.totalEnergyGeneratedGrid, "0.128");
  EXPECT_EQ(b.totalEnergyUsed.text, "2147483.647");
  EXPECT_EQ(b.totalEnergyUsedGrid, "2147483.647");

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
  EXPECT_EQ(numberText(300), "300");
  EXPECT_EQ(numberText(0), "0");
  EXPECT_EQ(numberText(-0.0), "0");
  EXPECT_EQ(numberText(-21), "-21");
  EXPECT_EQ(numberText(0.128), "0.128");
  EXPECT_EQ(numberText(65535), "65535");
  EXPECT_EQ(fixedText(30, 1), "30.0");
  EXPECT_EQ(fixedText(0.29, 2), "0.29");
  EXPECT_EQ(fixedText(65.535, 3), "65.535");
  EXPECT_EQ(fixedText(6553.5, 1), "6553.5");
  EXPECT_EQ(fixedText(-0.0001, 2), "0.00");
  EXPECT_EQ(upToThreePlacesText(5), "5");
  EXPECT_EQ(upToThreePlacesText(0.1), "0.1");
  EXPECT_EQ(upToThreePlacesText(0.0004), "0");
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
  // Fault word 0x0121 says over-discharge (bit 0); 0x0122 says reverse polarity (bit 12).
  Bytes bytes = realTime({{67, 0x00}, {68, 0x05}, {69, 0x00}, {70, 0x01}, {71, 0x10}, {72, 0x00}});
  const Bytes original = bytes;
  EXPECT_EQ(statusFlagsOf(bytes), "00000000" "00000101" "00000000" "00000001");

  // The scan and the recorder read register 0x0121.
  EXPECT_EQ(decoded(bytes, Reader::Scan).status.battery, "过放");
  EXPECT_EQ(decoded(bytes, Reader::Scan).status.panel, "正常");
  EXPECT_EQ(decoded(bytes, Reader::Recorder).status.battery, "蓄电池过放");

  // The live screen exchanges first, in the caller's array, and reads register 0x0122.
  exchangeFaultWords(bytes);
  EXPECT_EQ(bytes[69], 0x10);
  EXPECT_EQ(bytes[70], 0x00);
  EXPECT_EQ(bytes[71], 0x00);
  EXPECT_EQ(bytes[72], 0x01);
  for (std::size_t i = 0; i < 69; ++i) EXPECT_EQ(bytes[i], original[i]) << i;
  const RealTimeBlock screen = decoded(bytes, Reader::RealTime);
  EXPECT_EQ(screen.status.battery, "正常");
  EXPECT_EQ(screen.status.panel, "太阳板反接");
  EXPECT_EQ(screen.chargeStateText, "浮充充电");  // byte 68 is not moved
  // The scan, decoding the same array after the live screen, shows register 0x0122 too.
  EXPECT_EQ(decoded(bytes, Reader::Scan).status.battery, "正常");
  EXPECT_EQ(decoded(bytes, Reader::Scan).status.panel, "太阳能板反接");

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
  struct Case {
    std::initializer_list<int> positions;
    Reader reader;
    StatusTexts want;
  };
  const Reader rt = Reader::RealTime, scan = Reader::Scan;
  const Case cases[] = {
      {{32}, rt, {"过放", "正常", "正常", "已打开"}},         {{32}, scan, {"过放", "正常", "正常", "已打开"}},
      {{31}, rt, {"超压", "正常", "正常", "已打开"}},         {{31}, scan, {"超压", "正常", "正常", "已打开"}},
      {{30}, rt, {"欠压警告", "正常", "正常", "已打开"}},     {{30}, scan, {"欠压警告", "正常", "正常", "已打开"}},
      {{29}, rt, {"正常", "正常", "正常", "负载短路"}},       {{29}, scan, {"正常", "正常", "正常", "负载短路"}},
      {{28}, rt, {"正常", "正常", "正常", "负载过流"}},       {{28}, scan, {"正常", "正常", "正常", "负载过流"}},
      {{27}, rt, {"正常", "正常", "设备超温", "已打开"}},     {{27}, scan, {"正常", "正常", "设备超温", "已打开"}},
      {{26}, rt, {"蓄电池超温", "正常", "正常", "已打开"}},   {{26}, scan, {"正常", "正常", "正常", "已打开"}},
      {{25}, rt, {"正常", "超功率", "正常", "已打开"}},       {{25}, scan, {"正常", "太阳能板功率过大", "正常", "已打开"}},
      {{24}, rt, {"正常", "正常", "正常", "已打开"}},         {{24}, scan, {"正常", "正常", "正常", "已打开"}},
      {{23}, rt, {"正常", "超压", "正常", "已打开"}},         {{23}, scan, {"正常", "太阳能板超压", "正常", "已打开"}},
      {{20}, rt, {"正常", "太阳板反接", "正常", "已打开"}},   {{20}, scan, {"正常", "太阳能板反接", "正常", "已打开"}},
      // Over-discharge hides under-voltage; over-voltage overwrites both.
      {{32, 30}, rt, {"过放", "正常", "正常", "已打开"}},     {{32, 30}, scan, {"过放", "正常", "正常", "已打开"}},
      {{32, 31}, scan, {"超压", "正常", "正常", "已打开"}},
      // The live screen's battery over-temperature comes last.
      {{32, 31, 26}, rt, {"蓄电池超温", "正常", "正常", "已打开"}},
      {{32, 31, 26}, scan, {"超压", "正常", "正常", "已打开"}},
      // Over-power hides panel over-voltage; position 24 wipes both on the scan.
      {{25, 23}, rt, {"正常", "超功率", "正常", "已打开"}},
      {{25, 23}, scan, {"正常", "太阳能板功率过大", "正常", "已打开"}},
      {{25, 23, 24}, rt, {"正常", "超功率", "正常", "已打开"}},
      {{25, 23, 24}, scan, {"正常", "正常", "正常", "已打开"}},
      {{23, 24}, rt, {"正常", "超压", "正常", "已打开"}},     {{23, 24}, scan, {"正常", "正常", "正常", "已打开"}},
      // Reverse polarity comes after the wipe.
      {{25, 24, 20}, scan, {"正常", "太阳能板反接", "正常", "已打开"}},
      {{25, 20}, rt, {"正常", "太阳板反接", "正常", "已打开"}},
      {{27, 26}, rt, {"蓄电池超温", "正常", "设备超温", "已打开"}},
      {{27, 26}, scan, {"正常", "正常", "设备超温", "已打开"}},
      // Short circuit wins over over-current.
      {{28, 29}, rt, {"正常", "正常", "正常", "负载短路"}},   {{28, 29}, scan, {"正常", "正常", "正常", "负载短路"}},
      // Positions no reader tests change nothing, even all at once.
      {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 21, 22}, rt, {"正常", "正常", "正常", "已打开"}},
      {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 21, 22}, scan, {"正常", "正常", "正常", "已打开"}},
  };
  const auto same = [](const StatusTexts& a, const StatusTexts& b) {
    return a.battery == b.battery && a.panel == b.panel && a.device == b.device && a.load == b.load;
  };
  for (const Case& c : cases) {
    const StatusTexts t = applyStatusGroups(flagsWith(c.positions), {"old", "old", "old", "已打开"}, c.reader);
    std::string label = nameOf(c.reader);
    for (int p : c.positions) label += " " + std::to_string(p);
    EXPECT_TRUE(same(t, c.want)) << label << ": " << t.battery << " " << t.panel << " " << t.device << " " << t.load;
  }
  // Through a reply: position p is bit (32 - p) of the fault word in bytes 69, 70.
  EXPECT_EQ(decoded(realTime({{69, 0x10}, {70, 0x00}}), Reader::Scan).status.panel, "太阳能板反接");
  EXPECT_EQ(decoded(realTime({{69, 0x00}, {70, 0x20}}), Reader::RealTime).status.device, "设备超温");

  // A flag text that is not 32 characters leaves every group as it was, load included.
  const StatusTexts before{"过放", "超功率", "设备超温", "负载短路"};
  for (Reader r : kReaders)
    for (const std::string& flags : {std::string(), std::string(31, '1'), std::string(33, '1'), std::string(33, '0')})
      EXPECT_TRUE(same(applyStatusGroups(flags, before, r), before)) << nameOf(r) << " " << flags.size();
}

// ---- Load mode register -------------------------------------------------------------------

TEST(DeviceDataMap, LoadModeReply) {
  EXPECT_EQ(loadModeIsManual(reply(5, {{3, 0x00}, {4, 15}})), true);
  EXPECT_EQ(loadModeIsManual(reply(5, {{3, 0x00}, {4, 14}})), false);
  EXPECT_EQ(loadModeIsManual(reply(5, {{3, 0x00}, {4, 16}})), false);
  EXPECT_EQ(loadModeIsManual(reply(5, {{3, 0x00}, {4, 0}})), false);
  EXPECT_EQ(loadModeIsManual(reply(5, {{3, 0xFF}, {4, 15}})), true);  // byte 3 is not looked at
  EXPECT_EQ(loadModeIsManual(reply(5, {{3, 0x01}, {4, 15}})), true);
  for (std::size_t length : {0u, 4u, 6u, 11u, 73u})
    EXPECT_FALSE(loadModeIsManual(Bytes(length, 15)).has_value()) << length;
}

}  // namespace
}  // namespace xl::link
