#include "link/device_data_map.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "link/frame_codec.h"

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
  const Bytes bytes = realTime({
      {3, 0xEE}, {4, 87},                     // not read; charge level
      {5, 0x00}, {6, 0x85},                   // battery voltage 133
      {7, 0x04}, {8, 0xD2},                   // battery current 1234
      {9, 0x85}, {10, 0x19},                  // temperatures -5, 25
      {11, 0x00}, {12, 0x7F},                 // load voltage 127
      {13, 0x00}, {14, 0x05},                 // load current 5
      {15, 0x01}, {16, 0x2C},                 // load power 300
      {17, 0x01}, {18, 0x90},                 // panel voltage 400
      {19, 0x02}, {20, 0x9A},                 // panel current 666
      {21, 0x0A}, {22, 0x6B},                 // panel power 2667
      {23, 0x00}, {24, 0x01},                 // load switch, not read
      {25, 0x00}, {26, 0x78},                 // day: lowest battery voltage 120
      {27, 0x00}, {28, 0x91},                 // highest 145
      {29, 0x07}, {30, 0xD0},                 // largest charge current 2000
      {31, 0x00}, {32, 0x07},                 // largest discharge current 7
      {33, 0x01}, {34, 0xF4},                 // largest charge power 500
      {35, 0x00}, {36, 0x64},                 // largest discharge power 100
      {37, 0x00}, {38, 0x2D},                 // Ah charged 45
      {39, 0x00}, {40, 0x0C},                 // Ah discharged 12
      {41, 0x04}, {42, 0xD2},                 // energy generated 1234
      {43, 0x00}, {44, 0x05},                 // energy used 5
      {45, 0x01}, {46, 0x6D},                 // days 365
      {47, 0x00}, {48, 0x03},                 // over-discharges
      {49, 0x00}, {50, 0xC8},                 // full charges 200
      {51, 0x00}, {52, 0x01}, {53, 0xE2}, {54, 0x40},  // total Ah charged 123456
      {55, 0x00}, {56, 0x00}, {57, 0x30}, {58, 0x39},  // total Ah discharged 12345
      {59, 0x00}, {60, 0x12}, {61, 0xD6}, {62, 0x87},  // total energy generated 1234567
      {63, 0x00}, {64, 0x00}, {65, 0x07}, {66, 0xD0},  // total energy used 2000
      {67, 0x80}, {68, 0x02},                 // load on; MPPT charging
      {69, 0x00}, {70, 0x00},                 // fault word 0x0121: clean
      {71, 0x00}, {72, 0x01},                 // fault word 0x0122: over-discharge
  });
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
  const RealTimeBlock recorder = decoded(bytes, Reader::Recorder);
  EXPECT_EQ(recorder.deviceTemperature.text, "-5");
  EXPECT_EQ(recorder.batteryTemperature.text, "25");
  EXPECT_EQ(recorder.loadStateText, "1");
  EXPECT_EQ(recorder.status.load, "1");
  EXPECT_EQ(recorder.panelCurrent.text, "6.66");
  EXPECT_EQ(recorder.batteryVoltage.text, b.batteryVoltage.text);

  // Wrong lengths are refused on every reader.
  for (Reader r : kReaders) {
    for (std::size_t length : {0u, 37u, 72u, 74u}) {
      Bytes other = bytes;
      other.resize(length);
      EXPECT_FALSE(decodeRealTime(other, r).has_value()) << nameOf(r) << " " << length;
    }
  }
}

// The recorder's row for the documented example, and for a reply of zeros.
TEST(DeviceDataMap, RecorderRowTexts) {
  const auto row = [](const RealTimeBlock& b) {
    const std::string cols[] = {b.panelCurrent.text,       b.panelVoltage.text,    b.panelPower.text,
                                b.chargeStateText,         b.batteryVoltage.text,  b.batteryTemperature.text,
                                b.batteryCurrent.text,     b.chargeLevel.text,     b.loadCurrent.text,
                                b.loadPower.text,          b.loadVoltage.text,     b.status.load,
                                b.deviceTemperature.text,  b.status.battery,       b.status.panel,
                                b.status.device};
    std::string line;
    for (const std::string& c : cols) line += (line.empty() ? "" : ",") + c;
    return line;
  };
  const Bytes example = realTime({{3, 0x00}, {4, 0x5A}, {5, 0x00}, {6, 0x82}, {7, 0x01}, {8, 0x2C},
                                  {9, 0x19}, {10, 0x95}, {11, 0x00}, {12, 0x80}, {13, 0x00}, {14, 0x32},
                                  {15, 0x00}, {16, 0x06}, {17, 0x00}, {18, 0xC8}, {19, 0x00}, {20, 0xFA},
                                  {21, 0x00}, {22, 0x32}, {67, 0x80}, {68, 0x02}});
  EXPECT_EQ(row(decoded(example, Reader::Recorder)),
            "2.50,20.0,50,MPPT充电,13.0,-21,3.00,90,0.50,6,12.8,1,25,正常,正常,正常");
  EXPECT_EQ(row(decoded(Bytes(73, 0), Reader::Recorder)),
            "0.00,0.0,0,未开启充电,0.0,0,0.00,0,0.00,0,0.0,0,0,正常,正常,正常");

  // A panel current with no panel voltage is written as "0.00" by the recorder only.
  const Bytes noVoltage = realTime({{19, 0x01}, {20, 0x2C}});
  EXPECT_EQ(decoded(noVoltage, Reader::Recorder).panelCurrent.text, "0.00");
  EXPECT_EQ(decoded(noVoltage, Reader::Scan).panelCurrent.text, "3.00");
  EXPECT_EQ(decoded(noVoltage, Reader::RealTime).panelCurrent.text, "3.00");
  EXPECT_DOUBLE_EQ(decoded(noVoltage, Reader::Recorder).panelCurrent.value, 3.0);
  const Bytes lowVoltage = realTime({{18, 0x01}, {19, 0x01}, {20, 0x2C}});  // 0.1 V
  EXPECT_EQ(decoded(lowVoltage, Reader::Recorder).panelCurrent.text, "3.00");
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
    // In the block: byte 9 is the device, byte 10 the battery.
    const RealTimeBlock b = decoded(realTime({{9, c.byte}, {10, c.byte}}), Reader::RealTime);
    EXPECT_EQ(b.deviceTemperature.text, c.screen);
    EXPECT_EQ(b.batteryTemperature.text, c.screen);
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
  for (Reader r : kReaders) {
    const bool recorder = r == Reader::Recorder;
    EXPECT_EQ(loadStateText(true, r), recorder ? "1" : "已打开") << nameOf(r);
    EXPECT_EQ(loadStateText(false, r), recorder ? "0" : "已关闭") << nameOf(r);
  }
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

// Each tested position alone, on each reader: which group changes, to what.
TEST(DeviceDataMap, StatusGroupsEachPosition) {
  struct Texts {
    const char *battery, *panel, *device, *load;
  };
  struct Case {
    int position;
    Texts texts[3];  // in the order of kReaders: real-time, scan, recorder
  };
  const Case cases[] = {
      {32, {{"过放", "正常", "正常", "已关闭"}, {"过放", "正常", "正常", "已关闭"}, {"蓄电池过放", "正常", "正常", "0"}}},
      {31, {{"超压", "正常", "正常", "已关闭"}, {"超压", "正常", "正常", "已关闭"}, {"蓄电池超压", "正常", "正常", "0"}}},
      {30, {{"欠压警告", "正常", "正常", "已关闭"}, {"欠压警告", "正常", "正常", "已关闭"},
            {"蓄电池欠压警告", "正常", "正常", "0"}}},
      {29, {{"正常", "正常", "正常", "负载短路"}, {"正常", "正常", "正常", "负载短路"}, {"正常", "正常", "正常", "负载短路"}}},
      {28, {{"正常", "正常", "正常", "负载过流"}, {"正常", "正常", "正常", "负载过流"}, {"正常", "正常", "正常", "负载过载"}}},
      {27, {{"正常", "正常", "设备超温", "已关闭"}, {"正常", "正常", "设备超温", "已关闭"}, {"正常", "正常", "设备超温", "0"}}},
      {26, {{"蓄电池超温", "正常", "正常", "已关闭"}, {"正常", "正常", "正常", "已关闭"}, {"正常", "正常", "蓄电池超温", "0"}}},
      {25, {{"正常", "超功率", "正常", "已关闭"}, {"正常", "太阳能板功率过大", "正常", "已关闭"},
            {"正常", "太阳能板超功率", "正常", "0"}}},
      {24, {{"正常", "正常", "正常", "已关闭"}, {"正常", "正常", "正常", "已关闭"}, {"正常", "正常", "正常", "0"}}},
      {23, {{"正常", "超压", "正常", "已关闭"}, {"正常", "太阳能板超压", "正常", "已关闭"},
            {"正常", "太阳能板超电压", "正常", "0"}}},
      {20, {{"正常", "太阳板反接", "正常", "已关闭"}, {"正常", "太阳能板反接", "正常", "已关闭"},
            {"正常", "太阳能板反接", "正常", "0"}}},
  };
  for (const Case& c : cases) {
    // Through the reply: position p is bit (32 - p) of the fault word in bytes 69, 70.
    const int bit = 32 - c.position;
    const Bytes bytes = realTime({{69, static_cast<std::uint8_t>(bit >= 8 ? 1 << (bit - 8) : 0)},
                                  {70, static_cast<std::uint8_t>(bit < 8 ? 1 << bit : 0)}});
    for (std::size_t i = 0; i < 3; ++i) {
      const Texts& e = c.texts[i];
      const RealTimeBlock b = decoded(bytes, kReaders[i]);
      ASSERT_EQ(b.statusFlags, flagsWith({c.position}));
      const std::string label = std::to_string(c.position) + " " + nameOf(kReaders[i]);
      EXPECT_EQ(b.status.battery, e.battery) << label;
      EXPECT_EQ(b.status.panel, e.panel) << label;
      EXPECT_EQ(b.status.device, e.device) << label;
      EXPECT_EQ(b.status.load, e.load) << label;
    }
  }

  // Positions no reader tests change nothing, even all at once; old texts are replaced.
  std::string untested(32, '0');
  for (int p = 1; p <= 19; ++p) untested[p - 1] = '1';
  untested[20] = untested[21] = '1';
  for (Reader r : kReaders) {
    const StatusTexts t = applyStatusGroups(untested, {"old", "old", "old", "已打开"}, r);
    EXPECT_EQ(t.battery, "正常") << nameOf(r);
    EXPECT_EQ(t.panel, "正常") << nameOf(r);
    EXPECT_EQ(t.device, "正常") << nameOf(r);
    EXPECT_EQ(t.load, "已打开") << nameOf(r);
  }
}

// The alarms' table names each tested position once, with the recorder's text for it alone.
TEST(DeviceDataMap, FaultPositionsCarryTheRecordersTexts) {
  ASSERT_EQ(faultPositions().size(), 10u);
  for (const auto& f : faultPositions()) {
    const StatusTexts t = applyStatusGroups(flagsWith({f.position}), {"", "", "", "0"}, Reader::Recorder);
    EXPECT_TRUE(t.battery == f.text || t.panel == f.text || t.device == f.text || t.load == f.text) << f.code;
    EXPECT_TRUE(flagSet(flagsWith({f.position}), f.position) && !flagSet(flagsWith({f.position}).substr(1), f.position));
  }
}

// Positions together: the order of the tests decides.
TEST(DeviceDataMap, StatusGroupsOrderOfTests) {
  struct Case {
    std::initializer_list<int> positions;
    Reader reader;
    const char* battery;
    const char* panel;
    const char* device;
    const char* load;
  };
  const Case cases[] = {
      // Over-discharge hides under-voltage; over-voltage overwrites both.
      {{32, 30}, Reader::RealTime, "过放", "正常", "正常", "已打开"},
      {{32, 30}, Reader::Scan, "过放", "正常", "正常", "已打开"},
      {{32, 30}, Reader::Recorder, "蓄电池过放", "正常", "正常", "1"},
      {{32, 31}, Reader::Scan, "超压", "正常", "正常", "已打开"},
      {{30, 31}, Reader::Recorder, "蓄电池超压", "正常", "正常", "1"},
      // The live screen's battery over-temperature comes last.
      {{32, 31, 26}, Reader::RealTime, "蓄电池超温", "正常", "正常", "已打开"},
      {{32, 31, 26}, Reader::Scan, "超压", "正常", "正常", "已打开"},
      {{32, 31, 26}, Reader::Recorder, "蓄电池超压", "正常", "蓄电池超温", "1"},
      // Over-power hides panel over-voltage; position 24 wipes both on the scan and recorder.
      {{25, 23}, Reader::RealTime, "正常", "超功率", "正常", "已打开"},
      {{25, 23}, Reader::Scan, "正常", "太阳能板功率过大", "正常", "已打开"},
      {{25, 23}, Reader::Recorder, "正常", "太阳能板超功率", "正常", "1"},
      {{25, 23, 24}, Reader::RealTime, "正常", "超功率", "正常", "已打开"},
      {{25, 23, 24}, Reader::Scan, "正常", "正常", "正常", "已打开"},
      {{25, 23, 24}, Reader::Recorder, "正常", "正常", "正常", "1"},
      {{23, 24}, Reader::Scan, "正常", "正常", "正常", "已打开"},
      {{23, 24}, Reader::RealTime, "正常", "超压", "正常", "已打开"},
      // Reverse polarity comes after the wipe.
      {{25, 24, 20}, Reader::Scan, "正常", "太阳能板反接", "正常", "已打开"},
      {{25, 24, 20}, Reader::Recorder, "正常", "太阳能板反接", "正常", "1"},
      {{25, 20}, Reader::RealTime, "正常", "太阳板反接", "正常", "已打开"},
      // Device over-temperature hides the recorder's battery over-temperature.
      {{27, 26}, Reader::RealTime, "蓄电池超温", "正常", "设备超温", "已打开"},
      {{27, 26}, Reader::Scan, "正常", "正常", "设备超温", "已打开"},
      {{27, 26}, Reader::Recorder, "正常", "正常", "设备超温", "1"},
      // Short circuit wins over over-current.
      {{28, 29}, Reader::RealTime, "正常", "正常", "正常", "负载短路"},
      {{28, 29}, Reader::Scan, "正常", "正常", "正常", "负载短路"},
      {{28, 29}, Reader::Recorder, "正常", "正常", "正常", "负载短路"},
  };
  for (const Case& c : cases) {
    const bool recorder = c.reader == Reader::Recorder;
    const StatusTexts t =
        applyStatusGroups(flagsWith(c.positions), {"x", "x", "x", recorder ? "1" : "已打开"}, c.reader);
    std::string label = nameOf(c.reader);
    for (int p : c.positions) label += " " + std::to_string(p);
    EXPECT_EQ(t.battery, c.battery) << label;
    EXPECT_EQ(t.panel, c.panel) << label;
    EXPECT_EQ(t.device, c.device) << label;
    EXPECT_EQ(t.load, c.load) << label;
  }

  // A flag text that is not 32 characters leaves every group as it was, load included.
  const StatusTexts before{"过放", "超功率", "设备超温", "负载短路"};
  for (Reader r : kReaders) {
    for (const std::string& flags : {std::string(), std::string(31, '1'), std::string(33, '1'),
                                     std::string(31, '0'), std::string(33, '0')}) {
      const StatusTexts t = applyStatusGroups(flags, before, r);
      EXPECT_EQ(t.battery, before.battery) << nameOf(r) << " " << flags.size();
      EXPECT_EQ(t.panel, before.panel) << nameOf(r) << " " << flags.size();
      EXPECT_EQ(t.device, before.device) << nameOf(r) << " " << flags.size();
      EXPECT_EQ(t.load, before.load) << nameOf(r) << " " << flags.size();
    }
  }
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
