#pragma once
// Device data map: what the bytes of a controller's replies mean, and how each screen shows them.
//
// Three replies are decoded here, each as `verifyFrame` returns it (address, function, count,
// data from byte 3, no CRC): the device information block (37 bytes), the real-time block
// (73 bytes) and the load mode register (5 bytes). Every decoder refuses any other length.
//
// Three readers take the real-time block: the real-time screen, the scan of all stations and
// the recorder. They agree on the numbers and differ in a few texts and status tests; the
// differences are the `Reader` argument, not separate copies. All texts are UTF-8.
//
// Pure functions; no Qt, no state.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bytes.h"

namespace xl::link {

enum class Reader {
  RealTime,  // the live screen of one station
  Scan,      // the table of all stations, which does the polling
  Recorder,  // the CSV rows of the data recorder
};

// The three reads every monitor and the scan make, as command literals for buildFrame (the
// station's address goes in front), and the lengths of their replies.
inline constexpr const char* kDeviceInfoRequest = " 03 000A 0011";  // 17 registers
inline constexpr const char* kRealTimeRequest = " 03 0100 0023";    // 35 registers
inline constexpr const char* kLoadModeRequest = " 03 E0 1D 0001";   // 1 register
inline constexpr std::size_t kDeviceInfoLength = 37;
inline constexpr std::size_t kRealTimeLength = 73;
inline constexpr std::size_t kLoadModeLength = 5;

// ---- Number texts -------------------------------------------------------------------------

// A number written into a box as it is: integers without a point, otherwise up to fifteen
// significant digits with no trailing zeros ("300", "0.128", "2147483.647").
std::string numberText(double value);
// A fixed number of decimals: the formats "0", "0.0", "0.00", "0.000".
std::string fixedText(double value, int places);
// The format "0.###": at most three decimals, trailing zeros dropped, and no point left
// behind when none remain ("5", "1234.5", "0.001").
std::string upToThreePlacesText(double value);

// ---- Device information block -------------------------------------------------------------

struct DeviceInfo {
  std::uint8_t maxSystemVoltage = 0;    // byte 3, volts: 24, 48, 60, 72, 96
  std::uint8_t ratedChargeCurrent = 0;  // byte 4, amperes
  std::uint8_t ratedLoadCurrent = 0;    // byte 5, amperes; 0 = no load output
  std::string model;            // bytes 8..23, blanks cut at both ends
  std::string softwareVersion;  // bytes 24..26, "V2.1.0"
  std::string deviceVersion;    // bytes 28..30
  std::string serialNumber;     // bytes 31..34, "00" each
};

// nullopt unless the reply has exactly 37 bytes.
//
// The model's sixteen bytes become sixteen characters, one each, read as Latin-1 (ASCII is
// what a device sends; a byte from 0x80 up becomes the character of the same number, two bytes
// of UTF-8). Only blanks (0x20) are cut, so other padding such as NUL bytes stays in the text.
std::optional<DeviceInfo> decodeDeviceInfo(const Bytes& reply);

// "V" and the three numbers in decimal, joined by ".": (2, 1, 0) -> "V2.1.0".
std::string versionText(std::uint8_t major, std::uint8_t minor, std::uint8_t patch);
// Each byte with at least two digits, no separator: (16, 5, 0, 23) -> "16050023".
std::string serialNumberText(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d);

// ---- Real-time block: single values -------------------------------------------------------

// Temperature bytes are sign and magnitude with a one-sided test: from 129 up the value is
// negative (byte - 128); 128 and below are the byte itself. 0x85 -> -5, 0x80 -> 128.
int temperatureValue(std::uint8_t byte);
// The screens show "0.0" ("-5.0", "128.0"); the recorder writes the plain number ("-5").
std::string temperatureText(std::uint8_t byte, Reader reader);

// A 32-bit total b1 b2 b3 b4 (big-endian), as the scan adds it up: the four products are
// separate 32-bit signed computations and one that overflows is skipped, leaving its byte in
// the sum as it was. Only the first byte can overflow (from 128 up), so such a total is
// b1 + b2 x 65536 + b3 x 256 + b4. Never negative.
std::int32_t totalValue(std::uint8_t b1, std::uint8_t b2, std::uint8_t b3, std::uint8_t b4);

// The text of a charge state 0..6 ("未开启充电" ... "限流充电"); empty above 6.
std::string_view chargeStateName(std::uint8_t state);
// What a reader shows for a charge state: its name; above 6 the real-time screen and the
// recorder show nothing and the scan shows the 32 flag digits it built just before.
std::string chargeStateText(std::uint8_t state, std::string_view statusFlags, Reader reader);

// The load is on when bit 7 of byte 67 is set.
bool loadIsOn(std::uint8_t byte67);
// "已打开" / "已关闭" on the screens; "1" / "0" in the recorder.
std::string loadStateText(bool on, Reader reader);

// The 32 flag characters "0"/"1" of bytes 67, 68, 69, 70, joined in that order. Position 1
// (leftmost) is bit 7 of byte 67, position 32 bit 0 of byte 70. Empty when the reply is too
// short to hold those bytes.
std::string statusFlagsOf(const Bytes& reply);

// The real-time screen reads its fault word from register 0x0122: before decoding, it
// exchanges bytes 69, 70 with bytes 71, 72 in the array it was given, and the exchange stays.
// Does nothing to a reply too short to hold byte 72.
void exchangeFaultWords(Bytes& reply);

// ---- Fault positions ----------------------------------------------------------------------

// The ten positions of the status flags that the readers test for a fault, each with a code
// and the recorder's text for it (positions 1 = leftmost; bit 0 of the fault word is 32).
// Position 24, the panel's clean bill, is no fault and is not listed.
struct FaultPosition {
  std::string_view code;
  int position;
  std::string_view text;
};
std::span<const FaultPosition> faultPositions();
// Whether `position` (1..32) is "1" in flags of exactly 32 characters; false for any other text.
bool flagSet(std::string_view flags, int position);

// ---- Status groups ------------------------------------------------------------------------

struct StatusTexts {
  std::string battery;  // battery status (the real-time screen's Text10, scan column 5)
  std::string panel;    // solar panel status (Text6, scan column 3)
  std::string device;   // device status (Text19, scan column 2)
  std::string load;     // load state, then load faults (Text14, scan column 6)
};

// Runs the four status groups over `flags` and returns the new texts. Battery, panel and
// device restart from "正常"; the load group starts from the text it is given (the load state
// word). A later hit overwrites an earlier one, so the order of the tests matters; see the
// source for it. When `flags` is not exactly 32 characters, `current` comes back untouched.
StatusTexts applyStatusGroups(std::string_view flags, StatusTexts current, Reader reader);

// ---- Real-time block: the whole reply -----------------------------------------------------

// A value with the text a screen shows for it.
struct Shown {
  double value = 0;
  std::string text;
};

struct RealTimeBlock {
  Shown chargeLevel;          // byte 4, %, plain integer
  Shown batteryVoltage;       // 5, 6 / 10, V, "0.0"
  Shown batteryCurrent;       // 7, 8 / 100, A, "0.00"; never negative
  Shown deviceTemperature;    // 9, sign and magnitude, °C
  Shown batteryTemperature;   // 10, sign and magnitude, °C
  Shown loadVoltage;          // 11, 12 / 10, V
  Shown loadCurrent;          // 13, 14 / 100, A
  Shown loadPower;            // 15, 16, W, plain
  Shown panelVoltage;         // 17, 18 / 10, V
  Shown panelCurrent;         // 19, 20 / 100, A; the recorder writes "0.00" when the panel
                              // voltage is not above 0, whatever the bytes say
  Shown panelPower;           // 21, 22, W, plain
  Shown dayMinBatteryVoltage;    // 25, 26 / 10, V
  Shown dayMaxBatteryVoltage;    // 27, 28 / 10, V
  Shown dayMaxChargeCurrent;     // 29, 30 / 100, A
  Shown dayMaxDischargeCurrent;  // 31, 32 / 100, A
  Shown dayMaxChargePower;       // 33, 34, W
  Shown dayMaxDischargePower;    // 35, 36, W
  Shown dayChargeAh;             // 37, 38, Ah
  Shown dayDischargeAh;          // 39, 40, Ah
  Shown dayEnergyGenerated;      // 41, 42 / 1000, kWh, "0.000"
  Shown dayEnergyUsed;           // 43, 44 / 1000, kWh, "0.000"
  Shown daysInOperation;         // 45, 46
  Shown overDischargeCount;      // 47, 48
  Shown fullChargeCount;         // 49, 50
  Shown totalChargeAh;           // 51..54, 32-bit total, plain
  Shown totalDischargeAh;        // 55..58
  Shown totalEnergyGenerated;    // 59..62 / 1000, kWh, plain
  Shown totalEnergyUsed;         // 63..66 / 1000, kWh, plain
  std::string totalEnergyGeneratedGrid;  // the same under the grid's column format "0.###"
  std::string totalEnergyUsedGrid;

  std::uint8_t chargeState = 0;  // byte 68
  std::string chargeStateText;
  bool loadOn = false;           // bit 7 of byte 67
  std::string loadStateText;
  std::string statusFlags;       // bytes 67..70 as given (exchange first for register 0x0122)
  StatusTexts status;            // the four groups, the load group started from loadStateText
};

// nullopt unless the reply has exactly 73 bytes. Decodes the array as it is: the real-time
// screen calls exchangeFaultWords first.
std::optional<RealTimeBlock> decodeRealTime(const Bytes& reply, Reader reader);

// The ten day values of the daily screen in its order (bytes 25..44: lowest and highest
// battery voltage, largest charge and discharge current, largest charge and discharge power,
// Ah charged and discharged, energy generated and used). That screen makes no length test:
// the list ends before the first value whose bytes the reply does not hold, so it is complete
// from 45 bytes on and empty below 27.
std::vector<std::string> dayValueTexts(const Bytes& reply);

// ---- Load mode register -------------------------------------------------------------------

// nullopt unless the reply has exactly 5 bytes; true (manual mode) when byte 4 is 15. Byte 3
// is not looked at.
std::optional<bool> loadModeIsManual(const Bytes& reply);

}  // namespace xl::link
