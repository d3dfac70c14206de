// The example frames of the system's description, answered by the device model exactly as
// printed; plus the byte layout of every block and the exception replies.

#include <algorithm>

#include "sim_test_util.h"

namespace xl::sim {
namespace {

// The reply of `c` to a request printed with its CRC; empty when none comes.
Bytes ask(Controller& c, std::string_view request) { return c.handle(hex(request), at(0)).value_or(Bytes{}); }
// The reply without its CRC to a request given without one.
Bytes read(Controller& c, std::string_view request) { return verified(c.handle(appendCrc(hex(request)), at(0))); }
Bytes slice(const Bytes& b, std::size_t from, std::size_t to) { return Bytes(b.begin() + from, b.begin() + to); }

TEST(GoldenFrames, DeviceInformationAndRealTimeBlocksHaveEveryValueAtItsByte) {
  StationOptions o = frozenStation();
  o.identity = {48, 30, 0, "XL-MPPT", {2, 1, 0}, {1, 2, 3}, {16, 5, 0, 23}};
  Controller c(o);
  // Voltage, currents; the model in 16 blanked characters ("XL-MPPT"); the versions; the serial
  // number; 0x001A holding the bus address.
  EXPECT_EQ(hexText(verified(c.handle(hex("01 03 00 0A 00 11 A5 C4"), at(0)))),
            hexText(hex("01 03 22 30 1E 00 00 00 58 4C 2D 4D 50 50 54 20 20 20 20 20 20 20 20 20 "
                        "02 01 00 00 01 02 03 10 05 00 17 00 01")));
  // The one-register address poll reads the first register of the same block.
  EXPECT_EQ(ask(c, "01 03 00 0A 00 01 A4 08"), appendCrc(hex("01 03 02 30 1E")));

  // Charge level; battery voltage, current; temperatures; load voltage, current, power; panel
  // voltage, current, power; the day's ten values; days, over-discharges, full charges; the four
  // 32-bit totals; load on, status bits, charge state, fault and alarm words.
  Controller rt(frozenStation(7));
  rt.state().readings =
      Readings(87, 265, 1234, -5, 25, 264, 250, 66, 351, 812, 285,
               DayRecord(252, 287, 1184, 259, 338, 66, 65, 54, 1768, 1415), 31, 2, 22, 0x01020304, 1663, 53601,
               0x80000001, true, 0x01, kFloatCharging, fault::kUnderVoltageWarning, fault::kPanelReversed);
  rt.state().forced.faultWord = fault::kLoadShort;
  // From byte 3: not read, charge level; ...; -5 °C as sign and magnitude; the load switch
  // register; the day's values from 0x010B; load on in bit 7 above the first status bits; 0x0121
  // with the forced load short bit, 0x0122.
  EXPECT_EQ(hexText(read(rt, "07 03 01 00 00 23")),
            hexText(hex("07 03 46 00 57 01 09 04 D2 85 19 01 08 00 FA 00 42 01 5F 03 2C 01 1D 00 01 "
                        "00 FC 01 1F 04 A0 01 03 01 52 00 42 00 41 00 36 06 E8 05 87 00 1F 00 02 00 16 "
                        "01 02 03 04 00 00 06 7F 00 00 D1 61 80 00 00 01 81 05 00 0C 10 00")));
}

TEST(GoldenFrames, LoadSwitchLoadModeAndTheLoadBlock) {
  Controller c(frozenStation());
  c.state().readings.loadOn = false;
  // The scan's real-time request of station 1, as printed: 75 bytes back, the load in bit 7.
  auto loadByte = [&] {
    const Bytes r = ask(c, "01 03 01 00 00 23 05 EF");
    EXPECT_EQ(hexText(slice(r, 0, 3)) + " " + std::to_string(r.size()), "010346 75");
    return r.at(67) & 0x80;
  };
  for (const auto& [write, on] : {std::pair{"01 06 01 0A 00 01 69 F4", 0x80}, {"01 06 01 0A 00 00 A8 34", 0}}) {
    EXPECT_EQ(ask(c, write), hex(write));
    EXPECT_EQ(loadByte(), on) << write;
  }

  // The scan's one-register read of the load mode: manual mode as delivered.
  EXPECT_EQ(ask(c, "01 03 E0 1D 00 01 23 CC"), appendCrc(hex("01 03 02 00 0F")));
  // The load screen's write example: mode 5, delay 10 minutes, 5 volts; standard acknowledgement.
  const Bytes write = appendCrc(hex("01 10 E0 1D 00 03 06 00 05 00 0A 00 05"));
  ASSERT_EQ(write.size(), 15u);
  EXPECT_EQ(c.handle(write, at(0)), appendCrc(hex("01 10 E0 1D 00 03")));
  EXPECT_EQ(read(c, "01 03 E0 1D 00 03"), hex("01 03 06 00 05 00 0A 00 05"));
  EXPECT_EQ(read(c, "01 03 E0 1D 00 01"), hex("01 03 02 00 05"));
  // The three registers lie inside the parameter block.
  const Bytes block = read(c, "01 03 E0 01 00 21");
  ASSERT_EQ(block.size(), 69u);
  EXPECT_EQ(slice(block, 59, 65), hex("00 05 00 0A 00 05"));
}

TEST(GoldenFrames, ParameterBlockReadsAsTheExampleWriteAndTakesItBack) {
  Controller c(frozenStation());  // rated charge current 20 A
  const Bytes got = read(c, "01 03 E0 01 00 21");
  ASSERT_EQ(got.size(), 69u);
  // The factory values are those of the write example (sealed, automatic system voltage, the
  // reference values, 20.00 A); the low byte of 0xE003 and the high byte of 0xE004, which the
  // screen never shows, as "..". The high byte of the type stays 0, so the type reads as
  // "Sealed"; voltage compensation (bit 2 of byte 67) is off.
  std::string shown = hexText(slice(got, 0, 43));
  shown.replace(16, 2, "..");
  EXPECT_EQ(shown + " " + std::to_string(got[67] & 4),
            "01034207D000C8FF..000200A0009B00920090008A0084007E0078006F006A641E000500780078001E0003 0");

  // The screen's write: the shown values changed, every hidden byte echoed from the read.
  Bytes write = hex("01 10 E0 01 00 21 42");
  write.insert(write.end(), got.begin() + 3, got.end());
  write[7] = 0x05, write[8] = 0xDC;  // 15.00 A
  write[22] = 0x8E;                  // boost 14.2 V
  write[71] = 4;                     // charge by SOC; the other bits of that byte go out as 0
  ASSERT_EQ(write.size(), 73u);
  EXPECT_EQ(c.handle(appendCrc(write), at(0)), appendCrc(hex("01 10 E0 01 00 21")));
  EXPECT_EQ(slice(read(c, "01 03 E0 01 00 21"), 3, 69), slice(write, 7, 73));
  EXPECT_EQ(std::pair(c.state().param(param::kChargeCurrent), c.state().param(param::kBoostVoltage)),
            std::pair(std::uint16_t{1500}, std::uint16_t{142}));
}

TEST(GoldenFrames, HistoryRecordExampleAndItsRegisters) {
  Controller c(frozenStation());
  c.state().setRecord(3, DayRecord{124, 144, 500, 200, 150, 60, 10, 5, 120, 50});
  EXPECT_EQ(ask(c, "01 03 F0 03 00 0A 06 CD"),
            hex("01 03 14 00 7C 00 90 01 F4 00 C8 00 96 00 3C 00 0A 00 05 00 78 00 32 28 09"));
  // Register 0xF000 is today, from the running day values of the real-time block.
  c.state().readings.today = DayRecord{130, 131, 1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(verified(ask(c, "01 03 F0 00 00 0A F6 CD")),
            hex("01 03 14 00 82 00 83 00 01 00 02 00 03 00 04 00 05 00 06 00 07 00 08"));
  // Days the memory does not hold read as zeros, as far back as the screen can ask (1825 days).
  Bytes zeros = hex("01 03 14");
  zeros.resize(23);
  EXPECT_EQ(read(c, "01 03 F7 21 00 0A"), zeros);
  // Days 1 and 2 sit between and are empty too; day 3 is not disturbed by them.
  EXPECT_EQ(c.state().history.size(), 3u);
  EXPECT_EQ(c.state().record(2), DayRecord{});
}

TEST(GoldenFrames, AddressPollAddressWriteAndFactoryCommands) {
  Controller c(frozenStation());
  EXPECT_EQ(verified(ask(c, "01 03 00 0A 00 01 A4 08")), hex("01 03 02 30 14"));
  // The echo comes from the old address; the new one counts from the next frame, and the
  // device information block carries it in 0x001A.
  EXPECT_EQ(ask(c, "01 06 00 1A 00 05 68 0E"), hex("01 06 00 1A 00 05 68 0E"));
  EXPECT_EQ(ask(c, "01 03 00 0A 00 01 A4 08"), Bytes{});
  EXPECT_EQ(read(c, "05 03 00 0A 00 01"), hex("05 03 02 30 14"));
  EXPECT_EQ(hexText(slice(read(c, "05 03 00 0A 00 11"), 35, 37)), "0005");

  Controller f(frozenStation());
  f.state().setParam(param::kBoostVoltage, 150);
  f.state().setRecord(2, DayRecord{120, 140, 0, 0, 0, 0, 1, 1, 1, 1});
  // 0x79: history cleared, parameters kept; the reply is the request's six bytes.
  EXPECT_EQ(ask(f, "01 79 00 00 00 01 5D C0"), hex("01 79 00 00 00 01 5D C0"));
  EXPECT_EQ(std::tuple(f.state().param(param::kBoostVoltage), f.state().history.size()), std::tuple(150, 0u));
  // 0x78: factory parameters and the history cleared.
  f.state().setRecord(1, DayRecord{120, 140, 0, 0, 0, 0, 1, 1, 1, 1});
  f.state().rs485Use = 1;
  EXPECT_EQ(ask(f, "01 78 00 00 00 01 60 00"), hex("01 78 00 00 00 01 60 00"));
  EXPECT_EQ(std::tuple(f.state().param(param::kBoostVoltage), f.state().history.size(), f.state().rs485Use),
            std::tuple(144, 0u, 0));

  // RS-485 use: the screen tests the ten digits from the third on; the write is echoed and kept.
  EXPECT_EQ(hexText(ask(f, "01 06 E3 27 00 00 0E 45")).substr(2, 10), "06E3270000");
  EXPECT_EQ(ask(f, "01 06 E3 27 00 01 CF 85"), hex("01 06 E3 27 00 01 CF 85"));
  EXPECT_EQ(read(f, "01 03 E3 27 00 01"), hex("01 03 02 00 01"));
  // Restart: the echo, then silence for the configured time, then answers again.
  f.setRestartSilence(std::chrono::seconds(3));
  EXPECT_EQ(hexText(ask(f, "01 06 DF 01 00 01 22 1E")).substr(2, 10), "06DF010001");
  EXPECT_FALSE(f.handle(requestFrame(1, " 03 000A 0011"), at(2999)));
  EXPECT_TRUE(f.handle(requestFrame(1, " 03 000A 0011"), at(3000)));
}

TEST(ExceptionReplies, UnknownFunctionsRegistersAndValues) {
  // Input registers: unknown; nothing at 0x0200; past the real-time block; before the info
  // block; longer than a history record; no registers; more than 125; a frame too short; a
  // restart needs 1; the load switch 0 or 1; no address 0 nor above 247; readings are
  // read-only; load mode 18; a byte count mismatch; a write past 0xE021; outside the block; a
  // short factory command; a block write with one refused value.
  // Each case is the request without its CRC, ">", the reply without its CRC; cases apart by "|".
  const std::string cases =
      "01 04 01 00 00 01>01 84 01|01 03 02 00 00 01>01 83 02|01 03 01 00 00 24>01 83 02|"
      "01 03 00 09 00 02>01 83 02|01 03 F0 01 00 0B>01 83 02|01 03 01 00 00 00>01 83 03|"
      "01 03 E0 01 00 7E>01 83 03|01 03 01 00 00>01 83 03|01 06 DF 01 00 00>01 86 03|01 06 01 0A 00 02>01 86 03|"
      "01 06 00 1A 00 00>01 86 03|01 06 00 1A 00 F8>01 86 03|01 06 01 00 00 01>01 86 02|"
      "01 10 E0 1D 00 01 02 00 12>01 90 03|01 10 E0 1D 00 02 02 00 05>01 90 03|"
      "01 10 E0 21 00 02 04 00 00 00 00>01 90 02|01 10 01 0A 00 01 02 00 01>01 90 02|01 78 00 00 00>01 F8 03|"
      "01 10 E0 1C 00 02 04 00 07 00 12>01 90 03";
  Controller c(frozenStation());
  for (std::size_t from = 0, to; from < cases.size(); from = to + 1) {
    to = std::min(cases.find('|', from), cases.size());
    const std::string row = cases.substr(from, to - from), request = row.substr(0, row.find('>'));
    EXPECT_EQ(read(c, request), hex(row.substr(request.size() + 1))) << row;
  }
  // A refused block write changes nothing, not even its valid registers.
  EXPECT_EQ(std::pair(c.state().param(param::kLoadMode), c.state().param(0xE01C)),
            std::pair(param::kManualLoadMode, std::uint16_t{1}));
}

TEST(ExceptionReplies, SilenceForOtherAddressesBadFramesAndBroadcasts) {
  Controller c(frozenStation(2));
  // Another station's request, a spoilt CRC, frames too short and too long; a broadcast is
  // carried out but never answered; broadcast reads and refused writes do nothing; giving every
  // device on the line one address is not carried out.
  Bytes spoilt = requestFrame(2, " 03 000A 0011");
  spoilt.back() ^= 0x01;
  c.state().readings.loadOn = true;
  for (const Bytes& frame :
       {requestFrame(1, " 03 000A 0011"), spoilt, hex("02 03"), Bytes{}, Bytes(300, 0x02),
        requestFrame(0, " 06 010A 0000"), requestFrame(0, " 03 000A 0011"), appendCrc(hex("00 06 01 0A 00 07")),
        appendCrc(hex("00 10 E0 1D 00 01 02 00 11")), appendCrc(hex("00 06 00 1A 00 09"))})
    EXPECT_FALSE(c.handle(frame, at(0))) << hexText(frame);
  EXPECT_EQ(std::tuple(c.state().readings.loadOn, int(c.state().param(param::kLoadMode)), int(c.address())),
            std::tuple(false, 17, 2));
}

}  // namespace
}  // namespace xl::sim
