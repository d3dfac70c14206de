// The frame codec (the golden frames, the CRC, the spellings of a request text and the numbers
// of a frame) and the decoders of the blocks a controller sends back.

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <sstream>

#include "link/device_data_map.h"
#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "platform/failure.h"
#include "support/hex_bytes.h"

namespace xl::link {
namespace {

constexpr Reader kReaders[] = {Reader::RealTime, Reader::Scan, Reader::Recorder};

const char* nameOf(Reader r) { return r == Reader::RealTime ? "real-time" : r == Reader::Scan ? "scan" : "recorder"; }

// A reply as the receive routine delivers it: address 1, function 3, the byte count, zeros with
// the bytes of the hex text `set` from index `at`, sent through the codec and verified back.
Bytes reply(std::size_t length, std::size_t at = 3, std::string_view set = "") {
  Bytes data(length, 0);
  data[0] = 0x01;
  data[1] = 0x03;
  data[2] = static_cast<std::uint8_t>(length - 3);
  std::ranges::copy(testing::hexBytes(set), data.begin() + static_cast<std::ptrdiff_t>(at));
  const auto verified = verifyFrame(hexText(appendCrc(data)));
  EXPECT_EQ(verified, data);
  return verified.value_or(data);
}

Bytes realTime(std::size_t at = 3, std::string_view set = "") { return reply(73, at, set); }

// `b` cut or padded with zeros to `length` bytes.
Bytes cut(Bytes b, std::size_t length) {
  b.resize(length);
  return b;
}

RealTimeBlock decoded(const Bytes& bytes, Reader reader) {
  auto block = decodeRealTime(bytes, reader);
  EXPECT_TRUE(block.has_value());
  return block.value_or(RealTimeBlock{});
}

// The information block's values in one text: ratings, model, versions, serial number.
std::string infoText(const std::optional<DeviceInfo>& i) {
  if (!i) return "(none)";
  return std::to_string(i->maxSystemVoltage) + " " + std::to_string(i->ratedChargeCurrent) + " " +
         std::to_string(i->ratedLoadCurrent) + "|" + i->model + "|" + i->softwareVersion + "|" + i->deviceVersion +
         "|" + i->serialNumber;
}

// The four groups in one text: battery, panel, device, load.
std::string joined(const StatusTexts& t) { return t.battery + " " + t.panel + " " + t.device + " " + t.load; }

// Display texts joined, each with its number in brackets where it is not the number the text reads.
template <class... S>
std::string texts(const S&... shown) {
  std::string out;
  for (const Shown* s : {&shown...}) {
    out += s->text;
    const double read = std::strtod(s->text.c_str(), nullptr);
    if (std::abs(read - s->value) > 1e-12 * std::max(1.0, std::abs(read))) out += "(" + numberText(s->value) + ")";
    out += " ";
  }
  return out;
}

// The whole decoded block in one text: each value's display text, the grid texts, charge and
// load state, flags, groups.
std::string describe(const RealTimeBlock& b) {
  return texts(b.chargeLevel, b.batteryVoltage, b.batteryCurrent, b.deviceTemperature, b.batteryTemperature,
               b.loadVoltage, b.loadCurrent, b.loadPower, b.panelVoltage, b.panelCurrent, b.panelPower,
               b.dayMinBatteryVoltage, b.dayMaxBatteryVoltage, b.dayMaxChargeCurrent, b.dayMaxDischargeCurrent,
               b.dayMaxChargePower, b.dayMaxDischargePower, b.dayChargeAh, b.dayDischargeAh, b.dayEnergyGenerated,
               b.dayEnergyUsed, b.daysInOperation, b.overDischargeCount, b.fullChargeCount, b.totalChargeAh,
               b.totalDischargeAh, b.totalEnergyGenerated, b.totalEnergyUsed) +
         "| " + b.totalEnergyGeneratedGrid + " " + b.totalEnergyUsedGrid + " | " + std::to_string(b.chargeState) + " " +
         b.chargeStateText + " | " + (b.loadOn ? "on " : "off ") + b.loadStateText + " | " + b.statusFlags + " | " +
         joined(b.status);
}

// 32 flag characters with the given positions (1 = leftmost) set.
std::string flagsWith(const std::vector<int>& positions) {
  std::string flags(32, '0');
  for (int p : positions) flags[p - 1] = '1';
  return flags;
}

TEST(DeviceDataMap, DeviceInformationBlock) {
  // Ratings, the model " ML4820 MPPT    ", versions 1.0.12 and 2.1.0 (byte 27 unread), serial.
  Bytes bytes = reply(37, 3,
                      "30 28 14 AA BB 20 4D 4C 34 38 32 30 20 4D 50 50 54 20 20 20 20 "
                      "01 00 0C EE 02 01 00 10 05 00 17 12 34");
  // Blanks cut at both ends of the model, the inner one kept.
  EXPECT_EQ(infoText(decodeDeviceInfo(bytes)), "48 40 20|ML4820 MPPT|V1.0.12|V2.1.0|16050023");

  // Sixteen blanks, zero versions, a serial with three-digit bytes.
  std::fill(bytes.begin() + 8, bytes.begin() + 24, ' ');
  std::fill(bytes.begin() + 24, bytes.begin() + 31, 0);
  std::ranges::copy(testing::hexBytes("64 FF 09 63"), bytes.begin() + 31);
  EXPECT_EQ(infoText(decodeDeviceInfo(bytes)), "48 40 20||V0.0.0|V0.0.0|1002550999");
  // Any other length is refused.
  for (std::size_t length : {0u, 1u, 36u, 38u, 73u}) EXPECT_FALSE(decodeDeviceInfo(cut(bytes, length))) << length;
}

// Every value of the block with a distinct content, and its display text.
TEST(DeviceDataMap, RealTimeBlockEveryValue) {
  // From byte 3: not read, charge level; battery voltage, current; temperatures; load voltage,
  // current, power; panel voltage, current, power; load switch; the day's ten values; days,
  // over-discharges, full charges; the four 32-bit totals; load state, charge state; fault words.
  const Bytes bytes = realTime(
      3,
      "EE 57 00 85 04 D2 85 19 00 7F 00 05 01 2C 01 90 02 9A 0A 6B 00 01 00 78 00 91 07 D0 00 07 01 F4 00 64 "
      "00 2D 00 0C 04 D2 00 05 01 6D 00 03 00 C8 00 01 E2 40 00 00 30 39 00 12 D6 87 00 00 07 D0 80 02 00 00 00 01");
  const RealTimeBlock b = decoded(bytes, Reader::Scan);
  // Register 0x0121 is clean.
  EXPECT_EQ(describe(b),
            "87 13.3 12.34 -5.0 25.0 12.7 0.05 300 40.0 6.66 2667 12.0 14.5 20.00 0.07 500 100 45 12 1.234 0.005 365 "
            "3 200 123456 12345 1234.567 2 | 1234.567 2 | 2 MPPT充电 | on 已打开 | 10000000000000100000000000000000 | "
            "正常 正常 正常 已打开");
  // The live screen: same numbers, same words here.
  EXPECT_EQ(describe(decoded(bytes, Reader::RealTime)), describe(b));

  // The daily screen's ten boxes, in its order, and as far as a short frame reaches.
  std::string day;
  for (std::size_t length : {73u, 45u, 44u, 43u, 28u, 27u, 26u, 0u}) {
    for (const std::string& box : dayValueTexts(cut(bytes, length))) day += box + " ";
    day += "| ";
  }
  EXPECT_EQ(day,
            "12.0 14.5 20.00 0.07 500 100 45 12 1.234 0.005 | 12.0 14.5 20.00 0.07 500 100 45 12 1.234 0.005 | "
            "12.0 14.5 20.00 0.07 500 100 45 12 1.234 | 12.0 14.5 20.00 0.07 500 100 45 12 1.234 | 12.0 | 12.0 | | | ");
  // Wrong lengths are refused on every reader.
  for (Reader r : kReaders)
    for (std::size_t length : {0u, 37u, 72u, 74u})
      EXPECT_FALSE(decodeRealTime(cut(bytes, length), r)) << nameOf(r) << " " << length;
}

// The scan's 32-bit totals: a first byte from 128 up enters the sum unshifted (0x80010203 is
// 128 + 65536 + 2 * 256 + 3), for every first byte.
TEST(DeviceDataMap, ThirtyTwoBitTotalsNumberAndTemperatureTexts) {
  for (std::int64_t b1 = 0; b1 < 256; ++b1)
    for (std::int64_t rest : {0x000000, 0x010203, 0xFFFFFF})
      EXPECT_EQ(totalValue(b1, rest >> 16, rest >> 8 & 0xFF, rest & 0xFF), (b1 < 128 ? b1 << 24 : b1) + rest) << b1;

  const RealTimeBlock b = decoded(realTime(51, "81 00 01 00 7F FF FF FF 80 00 00 00 7F FF FF FF"), Reader::Scan);
  // 385 is 129 + 256.
  EXPECT_EQ(b.totalChargeAh.text + " " + b.totalDischargeAh.text + " " + b.totalEnergyGenerated.text + " " +
                b.totalEnergyGeneratedGrid + " " + b.totalEnergyUsed.text + " " + b.totalEnergyUsedGrid,
            "385 2147483647 0.128 0.128 2147483.647 2147483.647");

  std::string got;
  for (double v : {300.0, 0.0, -0.0, -21.0, 0.128, 65535.0}) got += numberText(v) + " ";
  for (const auto& [v, places] : {std::pair{30.0, 1}, {0.29, 2}, {65.535, 3}, {6553.5, 1}, {-0.0001, 2}})
    got += fixedText(v, places) + " ";
  for (double v : {5.0, 0.1, 0.0004}) got += upToThreePlacesText(v) + " ";
  EXPECT_EQ(got, "300 0 0 -21 0.128 65535 30.0 0.29 65.535 6553.5 0.00 5 0.1 0 ");
  // Every 16-bit register shows exactly under each scale, with no rounding error.
  for (int raw : {1, 7, 29, 99, 101, 255, 1005, 4097, 65535}) {
    const auto hi = static_cast<std::uint8_t>(raw >> 8), lo = static_cast<std::uint8_t>(raw & 0xFF);
    for (int n = 1, scale = 10; n <= 3; ++n, scale *= 10)  // the digits after the point: scale + rest, its 1 cut
      EXPECT_EQ(fixedText(regValue(hi, lo, scale), n),
                std::to_string(raw / scale) + "." + std::to_string(scale + raw % scale).substr(1))
          << raw << " / " << scale;
  }

  // Every temperature byte: from 129 up minus (byte - 128), else the byte; one decimal on the
  // screens, none in the recorder.
  for (int byte = 0; byte < 256; ++byte) {
    const std::string value = std::to_string(byte >= 129 ? 128 - byte : byte);
    EXPECT_EQ(std::to_string(temperatureValue(byte)) + " " + temperatureText(byte, Reader::RealTime) + " " +
                  temperatureText(byte, Reader::Scan) + " " + temperatureText(byte, Reader::Recorder),
              value + " " + value + ".0 " + value + ".0 " + value);
  }
}

TEST(DeviceDataMap, ChargeStateLoadStateAndLoadMode) {
  // The name, then the text of the live screen, the recorder and the scan. Above 6: nothing on
  // the live screen and in the recorder, the flag digits on the scan.
  std::string states;
  for (std::uint8_t s : {0, 1, 2, 3, 4, 5, 6, 7, 255}) {
    const Bytes bytes = realTime(67, "80 " + hexText(Bytes{s}) + " 12 01");
    states += std::string(chargeStateName(s)) + "/" + decoded(bytes, Reader::RealTime).chargeStateText + "/" +
              decoded(bytes, Reader::Recorder).chargeStateText + "/" + decoded(bytes, Reader::Scan).chargeStateText +
              "\n";
  }
  EXPECT_EQ(states, R"(未开启充电/未开启充电/未开启充电/未开启充电
开始充电/开始充电/开始充电/开始充电
MPPT充电/MPPT充电/MPPT充电/MPPT充电
均衡充电/均衡充电/均衡充电/均衡充电
提升充电/提升充电/提升充电/提升充电
浮充充电/浮充充电/浮充充电/浮充充电
限流充电/限流充电/限流充电/限流充电
///10000000000001110001001000000001
///10000000111111110001001000000001
)");

  // Load state: bit 7 of byte 67 alone.
  std::string on;
  for (std::uint8_t byte : {0x80, 0xFF, 0xC1, 0x00, 0x7F, 0x01}) on += loadIsOn(byte) ? "1" : "0";
  EXPECT_EQ(on, "111000");

  // The load mode reply: manual is 15 in byte 4; byte 3 is not looked at.
  std::string got;
  for (const char* set : {"00 0F", "00 0E", "00 10", "00 00", "FF 0F", "01 0F"}) {
    const std::optional<bool> manual = loadModeIsManual(reply(5, 3, set));
    got += !manual ? "-" : *manual ? "1" : "0";
  }
  EXPECT_EQ(got, "100011");
  for (std::size_t length : {0u, 4u, 6u, 11u, 73u})
    EXPECT_FALSE(loadModeIsManual(Bytes(length, 15)).has_value()) << length;
}

TEST(DeviceDataMap, StatusFlagsTheExchangedFaultWordAndTheGroups) {
  // Fault word 0x0121 says over-discharge (bit 0); 0x0122 says reverse polarity (bit 12); the
  // load is off.
  Bytes bytes = realTime(67, "00 05 00 01 10 00");
  const Bytes original = bytes;
  EXPECT_EQ(statusFlagsOf(bytes), "00000000000001010000000000000001");

  // The scan and the recorder read register 0x0121.
  EXPECT_EQ(joined(decoded(bytes, Reader::Scan).status), "过放 正常 正常 已关闭");
  EXPECT_EQ(decoded(bytes, Reader::Recorder).status.battery, "蓄电池过放");

  // The live screen exchanges first, in the caller's array, and reads register 0x0122.
  exchangeFaultWords(bytes);
  EXPECT_EQ(hexText(bytes).substr(2 * 67), "000510000001");
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

  // Each tested position alone, then positions together, where the order of the tests decides.
  // The recorder's own words are the recorder line's tests.
  // The groups on the live screen and on the scan ("=": as on the live screen, "-": not tried),
  // by the positions set. Each tested position alone (32 to 20). Then: over-discharge hides
  // under-voltage, over-voltage overwrites both; the live screen's battery over-temperature comes
  // last; over-power hides panel over-voltage, position 24 wipes both on the scan; reverse
  // polarity comes after the wipe; the two temperatures; short circuit wins over over-current;
  // positions no reader tests change nothing, even all at once.
  const std::string table =
      "32|过放 正常 正常 已打开|=;31|超压 正常 正常 已打开|=;30|欠压警告 正常 正常 已打开|=;"
      "29|正常 正常 正常 负载短路|=;28|正常 正常 正常 负载过流|=;27|正常 正常 设备超温 已打开|=;"
      "26|蓄电池超温 正常 正常 已打开|正常 正常 正常 已打开;"
      "25|正常 超功率 正常 已打开|正常 太阳能板功率过大 正常 已打开;24|正常 正常 正常 已打开|=;"
      "23|正常 超压 正常 已打开|正常 太阳能板超压 正常 已打开;"
      "20|正常 太阳板反接 正常 已打开|正常 太阳能板反接 正常 已打开;32 30|过放 正常 正常 已打开|=;"
      "32 31|-|超压 正常 正常 已打开;32 31 26|蓄电池超温 正常 正常 已打开|超压 正常 正常 已打开;"
      "25 23|正常 超功率 正常 已打开|正常 太阳能板功率过大 正常 已打开;"
      "25 23 24|正常 超功率 正常 已打开|正常 正常 正常 已打开;"
      "23 24|正常 超压 正常 已打开|正常 正常 正常 已打开;25 24 20|-|正常 太阳能板反接 正常 已打开;"
      "25 20|正常 太阳板反接 正常 已打开|-;27 26|蓄电池超温 正常 设备超温 已打开|正常 正常 设备超温 已打开;"
      "28 29|正常 正常 正常 负载短路|=;"
      "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 21 22|正常 正常 正常 已打开|=;";
  std::istringstream rows(table);
  for (std::string row; std::getline(rows, row, ';');) {
    const auto bar = row.find('|'), last = row.rfind('|');
    std::vector<int> positions;
    std::istringstream in(row.substr(0, bar));
    for (int p; in >> p;) positions.push_back(p);
    const std::string rt = row.substr(bar + 1, last - bar - 1), scan = row.substr(last + 1);
    for (const auto& [reader, want] : {std::pair{Reader::RealTime, rt}, {Reader::Scan, scan == "=" ? rt : scan}}) {
      if (want == "-") continue;
      const StatusTexts t = applyStatusGroups(flagsWith(positions), {"old", "old", "old", "已打开"}, reader);
      EXPECT_EQ(joined(t), want) << nameOf(reader) << " " << row.substr(0, bar);
    }
  }

  // A flag text that is not 32 characters leaves every group as it was, load included.
  const StatusTexts before{"过放", "超功率", "设备超温", "负载短路"};
  for (Reader r : kReaders)
    for (const std::string& flags : {std::string(), std::string(31, '1'), std::string(33, '1'), std::string(33, '0')})
      EXPECT_EQ(joined(applyStatusGroups(flags, before, r)), joined(before)) << nameOf(r) << " " << flags.size();
}

// What a call gives as one text: its value, or "!" and the code of the failure it raises.
std::string shown(const Bytes& b) { return hexText(b); }
std::string shown(const std::optional<Bytes>& b) { return b ? hexText(*b) : "-"; }
std::string shown(const std::string& s) { return s; }
std::string shown(double v) {
  std::ostringstream o;
  o.precision(15);  // 15 digits: a value off by more than its last bits shows
  o << v;
  return o.str();
}
template <class F>
std::string outcome(F f) {
  try {
    return shown(f());
  } catch (const RuntimeFailure& e) {
    return "!" + std::to_string(int(e.kind()));
  }
}

// Every frame the console's documentation prints, as request text and as wire bytes.
TEST(FrameCodec, GoldenRequestFrames) {
  // Request text and wire bytes: the real-time block, the device information, the load mode
  // register, load on, load off, history of 3 days ago and of today, the address poll, new
  // address 5, factory settings, clear history, the two values of register E327, restart.
  std::istringstream golden(
      "01 03 0100 0023|01 03 01 00 00 23 05 EF;01 03 000A 0011|01 03 00 0A 00 11 A5 C4;"
      "01 03 E0 1D 0001|01 03 E0 1D 00 01 23 CC;01 06 010A 0001|01 06 01 0A 00 01 69 F4;"
      "01 06 010A 0000|01 06 01 0A 00 00 A8 34;01 03 F003 000A|01 03 F0 03 00 0A 06 CD;"
      "01 03 F000 000A|01 03 F0 00 00 0A F6 CD;01 03 000A 0001|01 03 00 0A 00 01 A4 08;"
      "01 06 001A 0005|01 06 00 1A 00 05 68 0E;01 78 0000 0001|01 78 00 00 00 01 60 00;"
      "01 79 0000 0001|01 79 00 00 00 01 5D C0;01 06 E327 0000|01 06 E3 27 00 00 0E 45;"
      "01 06 E327 0001|01 06 E3 27 00 01 CF 85;01 06 DF01 0001|01 06 DF 01 00 01 22 1E");
  for (std::string row; std::getline(golden, row, ';');) {
    // The same bytes built from the text, with the CRC appended to the payload, and verified back.
    const std::string text = row.substr(0, row.find('|'));
    const Bytes wire = testing::hexBytes(row.substr(row.find('|') + 1)), payload(wire.begin(), wire.begin() + 6);
    ASSERT_EQ(wire.size(), 8u);
    EXPECT_EQ(hexText(buildFrame(text)), hexText(wire)) << text;
    EXPECT_EQ(appendCrc(payload), wire) << text;
    EXPECT_EQ(verifyFrame(hexText(wire)), payload) << text;
  }
  // Requests composed as screens compose them: address text plus literal.
  std::string composed;
  for (const char* literal : {" 03 0100 0023", " 03 000A 0011", " 03 E0 1D 0001", " 78 0000 0001", "06E3270000"})
    composed += hexText(requestFrame(1, literal)) + " ";
  EXPECT_EQ(composed, "01030100002305EF 0103000A0011A5C4 0103E01D000123CC 0178000000016000 0106E32700000E45 ");
}

TEST(FrameCodec, CrcTablesComputeAndLimits) {
  // Every entry of both tables is the reflected polynomial 0xA001 run over its index.
  for (int i = 0; i < 256; ++i) {
    unsigned crc = static_cast<unsigned>(i);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) ? 0xA001u : 0u);
    EXPECT_EQ(crcHiTable(i) | crcLoTable(i) << 8, crc) << i;
  }
  // The check value of CRC-16/MODBUS over "123456789" is 0x4B37, low byte first; no bytes leave
  // FFFF. A payload of 255 bytes at most gets its CRC.
  const Bytes check = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
  std::string got;
  for (int n : {9, 0, 10}) {
    got += outcome([&] { return crcCompute(check, n); });  // before the slot it fills is read
    got += shown(Bytes(crcBytes.begin(), crcBytes.end())) + " ";
  }
  got += outcome([&] { return crcCompute(Bytes(300, 0), 256); });
  for (int n : {1, 255, 256, 257}) got += " " + outcome([&] { return double(appendCrc(Bytes(n, 1)).size()); });
  EXPECT_EQ(got, "0374B 0FFFF !9FFFF !6 3 257 !6 !6");
}

// Blanks anywhere, either case. Five digits give three payload bytes, the last from one digit;
// seven: n rounds from 2.5 to 2 and the fourth pair has no room; nine: 3.5 -> 4, fits. 510 digits
// is the longest that works; 512 fails at the CRC, 514 at once; a 512-digit text with a bad digit
// at its end fails on that digit first: the arrays are filled before the CRC step.
TEST(FrameCodec, BuildAndVerifyFrameSpellingsAndOutcomes) {
  std::string got;
  for (const char* text : {"0103 01000023", " 0 1 0 3 0 1 0 0 0 0 2 3 ", "01 03 e0 1d 0001", "01035", "0103050",
                           "010305001", "", "   ", "01 G3", "01\t03"})
    got += outcome([&] { return buildFrame(text); }) + " ";
  for (const std::string& text :
       {std::string(510, 'A'), std::string(512, 'A'), std::string(514, 'A'), std::string(511, 'A') + "Z"})
    got += outcome([&] { return double(buildFrame(text).size()); }) + " ";
  EXPECT_EQ(
      got,
      "01030100002305EF 01030100002305EF 0103E01D000123CC 010305E0F3 !9 0103050001C845 !6 !6 !13 !13 257 !6 !6 !13 ");

  // Correct CRC: the frame without it; swapped CRC bytes or one flipped payload bit: the single
  // element 0. Unset results: too short, not hexadecimal, too long (516 digits reach a count of
  // 256), odd (seven digits need a second payload byte that has no room). Six digits are the
  // shortest text that gets a CRC test. Address 0 with a correct CRC passes here; the receive
  // routine drops it. A five-byte exception reply verifies as three bytes.
  got.clear();
  for (const std::string& text :
       {std::string("0103000A0011A5C4"), std::string("01 03 00 0a 00 11 a5 c4"), std::string("0103000A0011C4A5"),
        std::string("0103000B0011A5C4"), std::string(), std::string("01FF"), std::string("0G03000A0011A5C4"),
        std::string("0103000A0011A5CG"), std::string(516, '0'), std::string("0103A5C"), hexText(appendCrc(Bytes{0x07})),
        hexText(appendCrc(testing::hexBytes("00 03 02 00 01"))), hexText(appendCrc(testing::hexBytes("01 83 02")))})
    got += shown(verifyFrame(text)) + " ";
  EXPECT_EQ(got, "0103000A0011 0103000A0011 00 00 - - - - - - 07 0003020001 018302 ");
  EXPECT_EQ(verifyFrame(hexText(appendCrc(Bytes(255, 0x11)))), Bytes(255, 0x11));
}

// The register reading (a divisor below 1 reads as 1; no signed reading), the bit and hex texts
// of a byte (rounding half to even), and the runtime's number readings: lenient, strict, rounded.
TEST(FrameCodec, NumberHelpersAndReadings) {
  std::string got;
  for (int divisor : {10, 0, -5, 1}) got += shown(regValue(0x01, 0x2C, divisor)) + " ";
  got +=
      shown(regValue(0xFF, 0xFF, 1)) + " " + shown(regValue(0x80, 0, 1)) + " " + shown(regValue(4, 0xD2, 1000)) + " ";
  for (int value : {5, 0, 255, 128, 511, -1}) got += byteToBits(value) + " ";
  for (const char* text : {"1", "10", "255", "256", "0", " 17 ", "2.5", "3.5", "", "abc", "99999999999"})
    got += outcome([&] { return byteToHex(text); }) + " ";
  // An address of 256 makes the frame text odd; the frame is still built, one byte longer.
  got += shown(requestFrame(256, " 03 0100 0023"));
  EXPECT_EQ(got,
            "30 300 300 300 65535 32768 1.234 00000101 00000000 11111111 10000000 111111111  01 0A FF 100 00 11 02 04 "
            "!13 !13 !6 100030100002030F64");
  got.clear();
  // Minus zero is zero.
  for (double v : {0.5, 1.5, 2.5, -0.5, -1.5, 2.4999, 2.5001}) got += shown(roundHalfEven(v) + 0.0) + " ";
  for (const char* text : {"", "abc", "12abc", "  -3.25V", "1e3", "1e", "&H1F", ".5", "+7", "-"})
    got += shown(val(text)) + " ";
  for (const char* text : {" 12.5 ", "", " ", "12abc", "abc", "1 2", "--1"})
    got += outcome([&] { return toNumber(text); }) + " ";
  for (const char* text : {"2.5", "3.5", "-7", "3000000000"}) got += outcome([&] { return toLong(text); }) + " ";
  for (double v : {255.4, -0.5, 256.0, -1.0}) got += outcome([&] { return toByte(v); }) + " ";
  EXPECT_EQ(got, "0 2 2 0 -2 2 3 0 0 12 -3.25 1000 1 31 0.5 7 0 12.5 !13 !13 !13 !13 !13 !13 2 4 -7 !6 255 0 !6 !6 ");
}

}  // namespace
}  // namespace xl::link
