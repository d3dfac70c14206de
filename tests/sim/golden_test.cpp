// The example frames of the system's description, answered by the device model exactly as
// printed; plus the byte layout of every block and the exception replies.

#include <gtest/gtest.h>

#include "link/frame_codec.h"
#include "sim_test_util.h"
#include "tools/sim/controller.h"
#include "tools/sim/register_map.h"

namespace xl::sim {
namespace {

using testing::at;
using testing::frozenStation;
using testing::hex;

// The controller's reply without its CRC, as the console's receive routine hands it on;
// empty when the CRC does not match or nothing came.
Bytes verified(const std::optional<Bytes>& reply) {
  if (!reply) return {};
  auto v = verifyFrame(hexText(*reply));
  return v && v->size() > 1 ? *v : Bytes{};
}

std::uint16_t word(const Bytes& b, std::size_t i) { return static_cast<std::uint16_t>(b[i] << 8 | b[i + 1]); }

TEST(GoldenFrames, DeviceInformationBlockHasTheMappedBytes) {
  StationOptions o = frozenStation();
  o.identity.maxSystemVoltage = 48;
  o.identity.ratedChargeCurrent = 30;
  o.identity.ratedLoadCurrent = 0;
  o.identity.model = "XL-MPPT";
  o.identity.softwareVersion = {2, 1, 0};
  o.identity.deviceVersion = {1, 2, 3};
  o.identity.serialNumber = {16, 5, 0, 23};
  Controller c(o);

  // Voltage, currents; the model in 16 blanked characters ("XL-MPPT"); the versions; the serial
  // number; 0x001A holding the bus address.
  EXPECT_EQ(hexText(verified(c.handle(hex("01 03 00 0A 00 11 A5 C4"), at(0)))),
            hexText(hex("01 03 22 30 1E 00 00 00 58 4C 2D 4D 50 50 54 20 20 20 20 20 20 20 20 20 "
                        "02 01 00 00 01 02 03 10 05 00 17 00 01")));

  // The one-register address poll reads the first register of the same block.
  EXPECT_EQ(c.handle(hex("01 03 00 0A 00 01 A4 08"), at(0)), appendCrc(hex("01 03 02 30 1E")));
}

TEST(GoldenFrames, RealTimeBlockHasEveryValueAtItsByte) {
  Controller c(frozenStation(7));
  c.state().readings = Readings{
      .soc = 87, .batteryVoltage = 265, .batteryCurrent = 1234, .deviceTemperature = -5, .batteryTemperature = 25,
      .loadVoltage = 264, .loadCurrent = 250, .loadPower = 66, .panelVoltage = 351, .panelCurrent = 812,
      .panelPower = 285, .today = {252, 287, 1184, 259, 338, 66, 65, 54, 1768, 1415}, .daysInOperation = 31,
      .overDischarges = 2, .fullCharges = 22, .totalAhCharged = 0x01020304, .totalAhDischarged = 1663,
      .totalWhGenerated = 53601, .totalWhUsed = 0x80000001, .loadOn = true, .statusBits = 0x01,
      .chargeState = kFloatCharging, .faultWord = fault::kUnderVoltageWarning, .alarmWord = fault::kPanelReversed};
  c.state().forced.faultWord = fault::kLoadShort;

  // From byte 3: not read, charge level; battery voltage, current; temperatures (-5 °C as sign
  // and magnitude); load voltage, current, power; panel voltage, current, power; the load
  // switch register; the day's ten values (0x010B on); days, over-discharges, full charges; the
  // four 32-bit totals; load on in bit 7 above the first status bits, the charge state; 0x0121
  // with the forced load short bit, 0x0122.
  EXPECT_EQ(hexText(verified(c.handle(requestFrame(7, " 03 0100 0023"), at(0)))),
            hexText(hex("07 03 46 00 57 01 09 04 D2 85 19 01 08 00 FA 00 42 01 5F 03 2C 01 1D 00 01 "
                        "00 FC 01 1F 04 A0 01 03 01 52 00 42 00 41 00 36 06 E8 05 87 00 1F 00 02 00 16 "
                        "01 02 03 04 00 00 06 7F 00 00 D1 61 80 00 00 01 81 05 00 0C 10 00")));
}

TEST(GoldenFrames, LoadSwitchIsEchoedAndShowsInBitSevenOfTheLoadState) {
  Controller c(frozenStation());
  c.state().readings.loadOn = false;
  // The scan's real-time request of station 1, as printed: 75 bytes back.
  auto loadByte = [&] {
    const auto reply = c.handle(hex("01 03 01 00 00 23 05 EF"), at(0));
    EXPECT_EQ(reply.value().size(), 75u);
    const Bytes r = verified(reply);
    EXPECT_EQ(Bytes(r.begin(), r.begin() + 3), hex("01 03 46"));
    return r.at(67);
  };

  EXPECT_EQ(c.handle(hex("01 06 01 0A 00 01 69 F4"), at(0)), hex("01 06 01 0A 00 01 69 F4"));
  EXPECT_EQ(loadByte() & 0x80, 0x80);
  EXPECT_EQ(c.handle(hex("01 06 01 0A 00 00 A8 34"), at(0)), hex("01 06 01 0A 00 00 A8 34"));
  EXPECT_EQ(loadByte() & 0x80, 0);
}

TEST(GoldenFrames, LoadModeRegisterAndLoadBlock) {
  Controller c(frozenStation());
  // The scan's one-register read of the load mode: manual mode as delivered.
  EXPECT_EQ(c.handle(hex("01 03 E0 1D 00 01 23 CC"), at(0)), appendCrc(hex("01 03 02 00 0F")));

  // The load screen's write example: mode 5, delay 10 minutes, 5 volts; standard acknowledgement.
  const Bytes write = appendCrc(hex("01 10 E0 1D 00 03 06 00 05 00 0A 00 05"));
  ASSERT_EQ(write.size(), 15u);
  EXPECT_EQ(c.handle(write, at(0)), appendCrc(hex("01 10 E0 1D 00 03")));
  EXPECT_EQ(verified(c.handle(requestFrame(1, " 03 E01D 0003"), at(0))), hex("01 03 06 00 05 00 0A 00 05"));
  EXPECT_EQ(verified(c.handle(requestFrame(1, " 03 E0 1D 0001"), at(0))), hex("01 03 02 00 05"));
  // The three registers lie inside the parameter block.
  const Bytes block = verified(c.handle(requestFrame(1, " 03 E001 0021"), at(0)));
  ASSERT_EQ(block.size(), 69u);
  EXPECT_EQ(Bytes(block.begin() + 59, block.begin() + 65), hex("00 05 00 0A 00 05"));
}

TEST(GoldenFrames, ParameterBlockReadsAsTheExampleWriteAndTakesItBack) {
  Controller c(frozenStation());  // rated charge current 20 A
  const Bytes read = verified(c.handle(requestFrame(1, " 03 E001 0021"), at(0)));
  ASSERT_EQ(read.size(), 69u);
  EXPECT_EQ(Bytes(read.begin(), read.begin() + 3), hex("01 03 42"));
  // The factory values are those of the write example (sealed, automatic system voltage, the
  // reference values, 20.00 A); the bytes the screen never shows are checked apart.
  const Bytes shown = hex("07 D0 00 C8 FF 00 00 02 00 A0 00 9B 00 92 00 90 00 8A 00 84 00 7E 00 78 00 6F 00 6A 64 1E "
                          "00 05 00 78 00 78 00 1E 00 03");
  Bytes got(read.begin() + 3, read.begin() + 3 + static_cast<std::ptrdiff_t>(shown.size()));
  got[5] = got[6] = 0;  // the low byte of 0xE003, the high byte of 0xE004
  EXPECT_EQ(got, shown);
  EXPECT_EQ(read[9], 0);      // the high byte of the type stays 0, so the type reads as "Sealed"
  EXPECT_EQ(read[67] & 4, 0);  // voltage compensation

  // The screen's write: the shown values changed, every hidden byte echoed from the read.
  Bytes write = hex("01 10 E0 01 00 21 42");
  write.insert(write.end(), read.begin() + 3, read.end());
  write[7] = 0x05, write[8] = 0xDC;  // 15.00 A
  write[22] = 0x8E;  // boost 14.2 V
  write[71] = 4;     // charge by SOC; the other bits of that byte go out as 0
  ASSERT_EQ(write.size(), 73u);
  EXPECT_EQ(c.handle(appendCrc(write), at(0)), appendCrc(hex("01 10 E0 01 00 21")));

  const Bytes after = verified(c.handle(requestFrame(1, " 03 E001 0021"), at(0)));
  EXPECT_EQ(Bytes(after.begin() + 3, after.end()), Bytes(write.begin() + 7, write.end()));
  EXPECT_EQ(c.state().param(param::kChargeCurrent), 1500);
  EXPECT_EQ(c.state().param(param::kBoostVoltage), 142);
}

TEST(GoldenFrames, HistoryRecordExampleAndItsRegisters) {
  Controller c(frozenStation());
  c.state().setRecord(3, DayRecord{124, 144, 500, 200, 150, 60, 10, 5, 120, 50});
  EXPECT_EQ(c.handle(hex("01 03 F0 03 00 0A 06 CD"), at(0)),
            hex("01 03 14 00 7C 00 90 01 F4 00 C8 00 96 00 3C 00 0A 00 05 00 78 00 32 28 09"));

  // Register 0xF000 is today, from the running day values of the real-time block.
  c.state().readings.today = DayRecord{130, 131, 1, 2, 3, 4, 5, 6, 7, 8};
  const Bytes today = verified(c.handle(hex("01 03 F0 00 00 0A F6 CD"), at(0)));
  ASSERT_EQ(today.size(), 23u);
  EXPECT_EQ(Bytes(today.begin() + 3, today.end()),
            hex("00 82 00 83 00 01 00 02 00 03 00 04 00 05 00 06 00 07 00 08"));

  // Days the memory does not hold read as zeros, as far back as the screen can ask (1825 days).
  const Bytes old = verified(c.handle(appendCrc(hex("01 03 F7 21 00 0A")), at(0)));
  ASSERT_EQ(old.size(), 23u);
  EXPECT_EQ(Bytes(old.begin() + 3, old.end()), Bytes(20, 0));
  // Days 1 and 2 sit between and are empty too; day 3 is not disturbed by them.
  EXPECT_EQ(c.state().history.size(), 3u);
  EXPECT_EQ(c.state().record(2), DayRecord{});
}

TEST(GoldenFrames, AddressPollAndAddressWrite) {
  Controller c(frozenStation());
  EXPECT_EQ(verified(c.handle(hex("01 03 00 0A 00 01 A4 08"), at(0))), hex("01 03 02 30 14"));

  // The echo comes from the old address; the new one counts from the next frame.
  EXPECT_EQ(c.handle(hex("01 06 00 1A 00 05 68 0E"), at(0)), hex("01 06 00 1A 00 05 68 0E"));
  EXPECT_EQ(c.address(), 5);
  EXPECT_FALSE(c.handle(hex("01 03 00 0A 00 01 A4 08"), at(0)));
  EXPECT_EQ(verified(c.handle(appendCrc(hex("05 03 00 0A 00 01")), at(0))), hex("05 03 02 30 14"));
  // The device information block carries the new address in 0x001A.
  const Bytes info = verified(c.handle(requestFrame(5, " 03 000A 0011"), at(0)));
  EXPECT_EQ(word(info, 35), 5);
}

TEST(GoldenFrames, FactoryCommandsAreAnsweredAsTheScreenExpects) {
  Controller c(frozenStation());
  c.state().setParam(param::kBoostVoltage, 150);
  c.state().setRecord(2, DayRecord{120, 140, 0, 0, 0, 0, 1, 1, 1, 1});

  // 0x79: history cleared, parameters kept; the reply is the request's six bytes.
  EXPECT_EQ(c.handle(hex("01 79 00 00 00 01 5D C0"), at(0)), hex("01 79 00 00 00 01 5D C0"));
  EXPECT_TRUE(c.state().history.empty());
  EXPECT_EQ(c.state().param(param::kBoostVoltage), 150);

  // 0x78: factory parameters and the history cleared.
  c.state().setRecord(1, DayRecord{120, 140, 0, 0, 0, 0, 1, 1, 1, 1});
  c.state().rs485Use = 1;
  EXPECT_EQ(c.handle(hex("01 78 00 00 00 01 60 00"), at(0)), hex("01 78 00 00 00 01 60 00"));
  EXPECT_EQ(std::tuple(c.state().param(param::kBoostVoltage), c.state().history.size(), c.state().rs485Use),
            std::tuple(144, 0u, 0));

  // RS-485 use: the screen tests the ten digits from the third on.
  auto digits = [&](const char* request) {
    auto reply = c.handle(hex(request), at(0));
    return reply ? hexText(*reply).substr(2, 10) : std::string();
  };
  EXPECT_EQ(digits("01 06 E3 27 00 00 0E 45"), "06E3270000");
  EXPECT_EQ(c.handle(hex("01 06 E3 27 00 01 CF 85"), at(0)), hex("01 06 E3 27 00 01 CF 85"));
  EXPECT_EQ(c.state().rs485Use, 1);
  EXPECT_EQ(verified(c.handle(appendCrc(hex("01 03 E3 27 00 01")), at(0))), hex("01 03 02 00 01"));

  // Restart: the echo, then silence for the configured time, then answers again.
  c.setRestartSilence(std::chrono::seconds(3));
  EXPECT_EQ(digits("01 06 DF 01 00 01 22 1E"), "06DF010001");
  EXPECT_FALSE(c.handle(requestFrame(1, " 03 000A 0011"), at(2999)));
  EXPECT_TRUE(c.handle(requestFrame(1, " 03 000A 0011"), at(3000)));
}

TEST(ExceptionReplies, UnknownFunctionsRegistersAndValues) {
  Controller c(frozenStation());
  auto ask = [&](const char* payload) { return c.handle(appendCrc(hex(payload)), at(0)); };
  EXPECT_EQ(ask("01 04 01 00 00 01"), appendCrc(hex("01 84 01")));            // input registers: unknown
  EXPECT_EQ(ask("01 03 02 00 00 01"), appendCrc(hex("01 83 02")));            // nothing at 0x0200
  EXPECT_EQ(ask("01 03 01 00 00 24"), appendCrc(hex("01 83 02")));            // past the real-time block
  EXPECT_EQ(ask("01 03 00 09 00 02"), appendCrc(hex("01 83 02")));            // starts before the info block
  EXPECT_EQ(ask("01 03 F0 01 00 0B"), appendCrc(hex("01 83 02")));            // longer than a history record
  EXPECT_EQ(ask("01 03 01 00 00 00"), appendCrc(hex("01 83 03")));            // no registers
  EXPECT_EQ(ask("01 03 E0 01 00 7E"), appendCrc(hex("01 83 03")));            // more than 125
  EXPECT_EQ(ask("01 03 01 00 00"), appendCrc(hex("01 83 03")));               // frame too short
  EXPECT_EQ(ask("01 06 DF 01 00 00"), appendCrc(hex("01 86 03")));            // restart needs 1
  EXPECT_EQ(ask("01 06 01 0A 00 02"), appendCrc(hex("01 86 03")));            // load switch 0 or 1
  EXPECT_EQ(ask("01 06 00 1A 00 00"), appendCrc(hex("01 86 03")));            // no address 0
  EXPECT_EQ(ask("01 06 00 1A 00 F8"), appendCrc(hex("01 86 03")));            // nor above 247
  EXPECT_EQ(ask("01 06 01 00 00 01"), appendCrc(hex("01 86 02")));            // readings are read-only
  EXPECT_EQ(ask("01 10 E0 1D 00 01 02 00 12"), appendCrc(hex("01 90 03")));   // load mode 18
  EXPECT_EQ(ask("01 10 E0 1D 00 02 02 00 05"), appendCrc(hex("01 90 03")));   // byte count mismatch
  EXPECT_EQ(ask("01 10 E0 21 00 02 04 00 00 00 00"), appendCrc(hex("01 90 02")));  // runs past 0xE021
  EXPECT_EQ(ask("01 10 01 0A 00 01 02 00 01"), appendCrc(hex("01 90 02")));   // outside the block
  EXPECT_EQ(ask("01 78 00 00 00"), appendCrc(hex("01 F8 03")));

  // A refused block write changes nothing, not even its valid registers.
  EXPECT_EQ(ask("01 10 E0 1C 00 02 04 00 07 00 12"), appendCrc(hex("01 90 03")));
  EXPECT_EQ(c.state().param(param::kLoadMode), param::kManualLoadMode);
  EXPECT_EQ(c.state().param(0xE01C), 0x0001);
}

TEST(ExceptionReplies, SilenceForOtherAddressesBadFramesAndBroadcasts) {
  Controller c(frozenStation(2));
  // Another station's request, a spoilt CRC, frames too short and too long.
  Bytes spoilt = requestFrame(2, " 03 000A 0011");
  spoilt.back() ^= 0x01;
  for (const Bytes& frame : {requestFrame(1, " 03 000A 0011"), spoilt, hex("02 03"), Bytes{}, Bytes(300, 0x02)})
    EXPECT_FALSE(c.handle(frame, at(0))) << hexText(frame);

  // A broadcast is carried out but never answered; reads and refused writes do nothing.
  c.state().readings.loadOn = true;
  EXPECT_FALSE(c.handle(requestFrame(0, " 06 010A 0000"), at(0)));
  EXPECT_FALSE(c.state().readings.loadOn);
  for (const Bytes& frame : {requestFrame(0, " 03 000A 0011"), appendCrc(hex("00 06 01 0A 00 07")),
                             appendCrc(hex("00 10 E0 1D 00 01 02 00 11"))})
    EXPECT_FALSE(c.handle(frame, at(0))) << hexText(frame);
  EXPECT_EQ(c.state().param(param::kLoadMode), 17);
  // Giving every device on the line one address is not carried out.
  EXPECT_FALSE(c.handle(appendCrc(hex("00 06 00 1A 00 09")), at(0)));
  EXPECT_EQ(c.address(), 2);
}

TEST(ExceptionReplies, AnyFrameGetsNothingOrAWellFormedReply) {
  Controller c(frozenStation(3));
  c.setRestartSilence(Duration::zero());
  std::uint64_t x = 0x9E3779B97F4A7C15ull;
  auto next = [&x] {
    x ^= x << 13;
    x ^= x >> 7;
    x ^= x << 17;
    return x;
  };
  const std::uint8_t functions[] = {0x03, 0x06, 0x10, 0x78, 0x79, 0x04, 0x2B};
  int answered = 0;
  for (int i = 0; i < 20000; ++i) {
    Bytes p(2 + next() % 12);
    for (auto& b : p) b = static_cast<std::uint8_t>(next());
    p[0] = next() % 4 ? 3 : static_cast<std::uint8_t>(next() % 5);
    p[1] = functions[next() % std::size(functions)];
    if (p.size() > 3 && next() % 2) p[2] = static_cast<std::uint8_t>(0xE0 + next() % 0x20);  // near the parameters
    const Bytes frame = appendCrc(p);
    const auto reply = c.handle(frame, at(0));
    if (!reply) continue;
    ++answered;
    const Bytes r = verified(reply);
    ASSERT_GE(r.size(), 3u) << hexText(frame);
    EXPECT_EQ(r[0], 3) << hexText(frame);
    EXPECT_EQ(r[1] & 0x7F, p[1]) << hexText(frame);
    if (r[1] & 0x80) {
      EXPECT_EQ(r.size(), 3u);
    } else if (r[1] == 0x03) {
      EXPECT_EQ(r.size(), 3u + r[2]);
    }
    c.state().address = 3;  // an accepted address write would move the device away
  }
  EXPECT_GT(answered, 1000);
}

}  // namespace
}  // namespace xl::sim
