// The control parameter screen's model without the screen: what a reply shows in which box, the
// edges of the write and its refusals; the editing rules (battery type defaults, limits, lithium
// couplings); the parameter file on disk. Then the rules of the load configuration, device ID
// and factory operation screens: the frames, what a reply shows, the writes from a screen's
// state and the verdict on each reply. The timers, "恢复默认值" and the frames the screens send
// for address 1 are checked on the screens themselves.

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <map>

#include "configuration/device_id.h"
#include "configuration/factory_commands.h"
#include "configuration/load_block.h"
#include "configuration/parameter_block.h"
#include "configuration/parameter_file.h"
#include "configuration/parameter_rules.h"
#include "core/text_cases.h"
#include "link/frame_codec.h"
#include "platform/gbk.h"
#include "support/hex_bytes.h"

namespace xl::configuration {
namespace {

using xl::testing::hexBytes;
using xl::testing::mapsTo;
using xl::testing::split;
using C = Control;
using Outcome = ImportResult::Outcome;

// ---- Replies as the receive routine delivers them -----------------------------------------

// A register write into a reply: the value of register `reg` (0xE001..0xE021) at its bytes.
inline void putRegister(Bytes& reply, std::uint16_t reg, std::uint16_t value) {
  const std::size_t at = 3 + 2 * static_cast<std::size_t>(reg - 0xE001);
  reply[at] = static_cast<std::uint8_t>(value >> 8);
  reply[at + 1] = static_cast<std::uint8_t>(value & 0xFF);
}

// The parameter reply of a device at address 1 with the values of the screen's reference
// column (sealed, automatic system voltage, voltage compensation), `centiAmps` as charge
// current, and distinct values in every stretch the screen never shows, so that a byte taken
// from the wrong place shows: 0xE003 low A1, 0xE004 high 0 (a non-zero one makes the type
// unknown), 0xE015..0xE020 C0 C1 ... D7, 0xE021 low E3; then `changed` ("E007=0000 ...", hex);
// passed through the codec as a received reply is.
inline Bytes parameterReply(std::string_view changed = {}, std::uint16_t centiAmps = 2000) {
  Bytes r = hexBytes(
      "01 03 42 07D0 00C8 FFA1 0002 00A0 009B 0092 0090 008A 0084 007E 0078 006F 006A 641E 0005 0078 0078 001E 0003 "
      "C0C1 C2C3 C4C5 C6C7 C8C9 CACB CCCD CECF D0D1 D2D3 D4D5 D6D7 00E3");
  putRegister(r, 0xE001, centiAmps);
  for (std::size_t at = 0; at + 9 <= changed.size(); at += 10)
    putRegister(r, std::stoi(std::string(changed.substr(at, 4)), nullptr, 16),
                std::stoi(std::string(changed.substr(at + 5, 4)), nullptr, 16));
  const auto verified = verifyFrame(hexText(appendCrc(r)));
  EXPECT_TRUE(verified.has_value());
  return verified.value_or(Bytes{});
}

// A screen that read the information block (rated 20 A at 48 V) and then `block`.
struct ReadScreen {
  ParameterBoxes boxes;
  ParameterBlockState state;
};
ReadScreen readScreen(const Bytes& block) {
  ReadScreen s;
  s.boxes.setText(Control::LTextBox1, "1");
  Bytes info{0x01, 0x03, 0x22, 48, 20, 20};
  info.resize(37, 0x20);
  EXPECT_TRUE(showRatedInfo(s.boxes, info));
  EXPECT_TRUE(showParameterBlock(s.boxes, s.state, block));
  return s;
}

// The 73 bytes of a write that must succeed.
inline Bytes writeOf(ParameterBoxes& boxes, const ParameterBlockState& state) {
  auto built = buildParameterWrite(boxes, state);
  if (auto* failure = std::get_if<WriteFailure>(&built)) {
    ADD_FAILURE() << "write refused: " << failure->logLine;
    return Bytes(73, 0);
  }
  return std::get<Bytes>(built);
}

// The boxes named in `expected` ("Name=text", "+Name", "-Name=text") as one text.
inline ::testing::AssertionResult hasTexts(const ParameterBoxes& b, std::string_view expected) {
  const auto look = [&](const std::string& name) -> std::optional<std::pair<std::string, bool>> {
    const auto c = controlNamed(name);
    return c ? std::optional(std::pair(b.text(*c), b.enabled(*c))) : std::nullopt;
  };
  return xl::testing::describedAs(expected, look);
}

// Puts texts into boxes, written as "Name=text Name=text".
inline void setTexts(ParameterBoxes& b, std::string_view texts) {
  if (texts.empty()) return;
  for (const std::string& token : xl::testing::split(texts, ' '))
    b.setText(controlNamed(token.substr(0, token.find('='))).value(), token.substr(token.find('=') + 1));
}

// The register at write index `at` (high byte first).
inline std::uint16_t wordAt(const Bytes& b, std::size_t at) {
  return static_cast<std::uint16_t>(b[at] << 8 | b[at + 1]);
}

// ---- The block --------------------------------------------------------------------------------

// What a register shows, which boxes it opens or closes, and the word the write gives back at
// its write index (high byte first). A type outside the table is "User" (which enables the
// fields); a non-zero high byte makes any low byte unknown, and goes back; the five known types
// read as their names and go back as their codes. System voltages the list lacks show "Auto"
// and write 255; the listed ones themselves. Only the register 0 empties the equalising box:
// 0.1 V shows. The charge mode is bit 2 of the high byte and goes back alone; SOC opens its
// fields after the type's rule closed them. The temperature coefficient is shown negated
// through its rule. A lithium block shows the device's values over the computed defaults.
// The last row has every shown register distinct, so that a value read from a neighbour shows.
// Each row "registers;boxes;write index;word", rows joined by '|'.
TEST(ParameterRead, EachCodedRegisterShowsAndGoesBack) {
  const std::string rows =
      "E004=0007;Combo2=User +LTextBox12;13;0000|E004=5A02;Combo2=User;13;5A00|"
      "E004=0000 E003=0C00;Combo2=User;13;0000|E004=0001 E003=0C00;Combo2=Flooded;13;0001|"
      "E004=0002 E003=0C00;Combo2=Sealed;13;0002|E004=0003 E003=0C00;Combo2=Gel;13;0003|"
      "E004=0004 E003=0C00;Combo2=LI;13;0004|E003=3CA1 E004=0003;Combo4=Auto;11;FFA1|"
      "E003=48A1 E004=0003;Combo4=Auto;11;FFA1|E003=60A1 E004=0003;Combo4=Auto;11;FFA1|"
      "E003=0DA1 E004=0003;Combo4=Auto;11;FFA1|E003=00A1 E004=0003;Combo4=Auto;11;FFA1|"
      "E003=FF00;Combo4=Auto;11;FF00|E003=0C00;Combo4=12V;11;0C00|E003=1800;Combo4=24V;11;1800|"
      "E003=2400;Combo4=36V;11;2400|E003=3000;Combo4=48V;11;3000|E007=0000;LTextBox16=;19;0000|"
      "E007=0001;LTextBox16=0.10;19;0001|E021=FFE3;Combo3=SOC +LTextBox24 +LTextBox44;71;04E3|"
      "E021=FBE3;Combo3=Volt.Comp. -LTextBox24;71;00E3|E014=0003;LTextBox10=-3;45;0003|"
      "E014=0000;LTextBox10=0;45;0000|E014=FFFF;LTextBox10=-5;45;0005|"
      "E004=0004 E005=00AA E00E=0064 E003=0C00;Combo2=LI LTextBox12=17.00 LTextBox34=10.00;15;00AA|"
      "E004=0004 E005=00AA E00E=0064 E003=0C00;Combo4=12V +LTextBox18 -LTextBox12;15;00AA|"
      "E001=04D2 E002=0141 E005=00AB E006=0098 E007=0095 E008=0093 E009=0089 E00A=0083 E00B=007D E00C=0077 "
      "E00D=006D E00E=0068 E00F=5A28 E010=0007 E011=003D E012=003E E013=0011 E014=0004;SetChargeCurr=12.34 "
      "LTextBox8=321 LTextBox12=17.10 TextLimit=15.20 LTextBox16=14.90 LTextBox18=14.70 LTextBox20=13.70 "
      "LTextBox22=13.10 LTextBox38=12.50 LTextBox40=11.90 LTextBox36=10.90 LTextBox34=10.40 LTextBox24=90 "
      "LTextBox44=40 LTextBox45=7 LTextBox28=61 LTextBox29=62 LTextBox32=17 LTextBox10=-4;7;04D2";
  for (const std::string& row : split(rows, '|')) {
    SCOPED_TRACE(row);
    const std::vector<std::string> f = split(row, ';');
    ReadScreen s = readScreen(parameterReply(f[0]));
    EXPECT_TRUE(hasTexts(s.boxes, f[1]));
    EXPECT_EQ(wordAt(writeOf(s.boxes, s.state), std::stoul(f[2])), std::stoi(f[3], nullptr, 16));
  }
}

// ---- The write ----------------------------------------------------------------------------

// What "Box=text" sends at its register's write index (the two levels: their byte; the
// address box: the write's head); "-" where it does not fit and is refused with a line that
// says so, "?" where the box is no number and the line names it. The equalising voltage and
// the full-charge level are read leniently (empty or no number is 0, a numeric prefix counts),
// every other box strictly. An address that is no byte, or the broadcast address 0 that every
// controller of the line would carry out, sends nothing. Rounding, the negated coefficient and
// the list codes are checked by the screen's random run against its own model of the write.
TEST(ParameterWrite, ValuesAndAddressAndTheirRefusals) {
  const ReadScreen read = readScreen(parameterReply());
  const std::map<std::string, std::size_t> at = {{"SetChargeCurr", 7}, {"LTextBox8", 9},   {"LTextBox12", 15},
                                                 {"LTextBox16", 19},   {"LTextBox24", 35}, {"LTextBox44", 36},
                                                 {"LTextBox10", 45},   {"LTextBox1", 0}};
  const auto sent = [&](const std::string& typed) -> std::string {
    const std::string name = typed.substr(0, typed.find('='));
    const Control c = controlNamed(name).value();
    ParameterBoxes b = read.boxes;
    b.setText(C::LTextBox4, "999");  // no cap in the way
    b.setText(c, typed.substr(name.size() + 1));
    const auto built = buildParameterWrite(b, read.state);
    if (const auto* f = std::get_if<WriteFailure>(&built)) {
      if (f->kind == Failure::Overflow && f->logLine.find("超出") != std::string::npos) return "-";
      const bool named = f->control == c && f->logLine.find(captionOf(c)) != std::string::npos;
      return f->kind == Failure::TypeMismatch && named ? "?" : f->logLine;
    }
    const Bytes& w = std::get<Bytes>(built);
    if (c == C::LTextBox1) return hexText(Bytes(w.begin(), w.begin() + 7));
    return std::to_string(name == "LTextBox24" || name == "LTextBox44" ? w[at.at(name)] : wordAt(w, at.at(name)));
  };
  EXPECT_TRUE(mapsTo(sent,
                     "LTextBox8=65535>65535|LTextBox8=65536>-|LTextBox8=-1>-|LTextBox8=-0.4>0|LTextBox8=&H10>16|"
                     "LTextBox8=1e3>1000|LTextBox12=6553.5>65535|LTextBox12=6553.6>-|SetChargeCurr=655.35>65535|"
                     "LTextBox10=3>-|LTextBox10=-65535>65535|LTextBox44=255>255|LTextBox44=256>-|LTextBox24=256>-|"
                     "LTextBox24=-1>-|LTextBox16=-1>-|LTextBox16=6553.5>65535|LTextBox16=>0|LTextBox16=abc>0|"
                     "LTextBox24=>0|LTextBox24=abc>0|LTextBox16=14.2V>142|LTextBox12=abc>?|"
                     "LTextBox10= >?|LTextBox1=7>0710E001002142|"
                     "LTextBox1=256>-|LTextBox1=0>-|LTextBox1=>-|LTextBox1=abc>-|LTextBox1=-1>-"));
  for (const std::string& box : split("SetChargeCurr LTextBox8 LTextBox12 TextLimit LTextBox18 LTextBox20 LTextBox22 "
                                      "LTextBox38 LTextBox40 LTextBox36 LTextBox34 LTextBox44 LTextBox45 LTextBox28 "
                                      "LTextBox29 LTextBox32 LTextBox10",
                                      ' '))
    EXPECT_TRUE(mapsTo(sent, box + "=12V>?|" + box + "=>?"));
}

// ---- The editing rules ------------------------------------------------------------------------

// The operator types `text` into `box` and the cursor leaves it.
std::string leave(ParameterBoxes& b, Control box, const char* text) {
  b.setText(box, text);
  lostFocus(b, box);
  return b.text(box);
}

// Every field of the table in the order of `fields`, with its state ("+" enabled); lithium
// keeps the capacity box's state, which no type closes, so it shows enabled. Each case starts
// from the opposite of every state, and typed values, so that each cell must be set.
TEST(BatteryType, EachTypeAppliesItsColumnAndTheSameTypeRunsAgain) {
  const Control fields[] = {C::Combo3,     C::LTextBox8,  C::LTextBox10, C::LTextBox12, C::LTextBox16,
                            C::LTextBox18, C::LTextBox20, C::LTextBox22, C::LTextBox24, C::Combo4,
                            C::LTextBox29, C::LTextBox28, C::LTextBox32, C::LTextBox45, C::LTextBox34,
                            C::LTextBox38, C::LTextBox40, C::LTextBox36, C::LTextBox44, C::TextLimit};
  const auto column = [&](const std::string& type) {
    ParameterBoxes b;
    for (Control c : fields) {
      b.setEnabled(c, true);
      if (!isList(c)) b.setText(c, "99");
    }
    std::string out = selectEntry(b, C::Combo2, type) ? "" : "not listed";
    for (Control c : fields) out += (b.enabled(c) ? " +" : " -") + b.text(c);
    return out;
  };
  EXPECT_TRUE(mapsTo(column,
                     "Gel> -Volt.Comp. +200 +-3 -16.00 -14.20 -14.20 -13.80 -13.20 -100 +Auto -120 -0 -0 -5 "
                     "-10.60 -12.60 -12.00 -11.10 -30 -15.50|"
                     "Flooded> -Volt.Comp. +200 +-3 -16.00 -14.80 -14.60 -13.80 -13.20 -100 +Auto -120 -120 -30 -5 "
                     "-10.60 -12.60 -12.00 -11.10 -30 -15.50|"
                     "Sealed> -Volt.Comp. +200 +-3 -16.00 -14.60 -14.40 -13.80 -13.20 -100 +Auto -120 -120 -30 -5 "
                     "-10.60 -12.60 -12.00 -11.10 -30 -15.50|"
                     "LI> -Volt.Comp. +200 -0 -16.40 -14.40 +14.40 -14.40 -13.20 -100 +Auto -120 -0 -0 -5 "
                     "-10.60 +12.60 -12.10 +11.10 -30 -15.50|"
                     "User> -Volt.Comp. +200 +-3 +16.00 +14.60 +14.40 +13.80 +13.20 -100 +Auto +120 +120 +30 +5 "
                     "+10.60 +12.60 +12.00 +11.10 -30 +15.50"));

  // Overwriting and greying on a change of type are checked through the screen; choosing the
  // entry already chosen runs the rule again.
  ParameterBoxes b;
  selectEntry(b, C::Combo2, "Gel");
  b.setText(C::LTextBox12, "15.00");
  EXPECT_EQ((selectEntry(b, C::Combo2, "Gel"), b.text(C::LTextBox12)), "16.00");
}

// "Type/Box=typed" ("Type+SOC/..." with SOC chosen) and the cursor leaves the box, enabled
// whatever the type: what stands in the box then. A numeric prefix passes the voltage limits;
// a text that is no number is not formatted; the discharge limit's low limit is 0, so an empty
// box stays empty; outside "User" the full-charge level always snaps back, the discharge limit
// does not.
TEST(FieldLimits, VoltagesWholeNumbersAndTheCoefficientByTheirRules) {
  const auto leaving = [](const std::string& typed) {
    const std::size_t slash = typed.find('/'), eq = typed.find('=');
    ParameterBoxes b;
    selectEntry(b, C::Combo2, typed.substr(0, std::min(slash, typed.find('+'))));
    if (typed.find("+SOC") < slash) selectEntry(b, C::Combo3, "SOC");
    const Control box = controlNamed(typed.substr(slash + 1, eq - slash - 1)).value();
    b.setEnabled(box, true);
    b.setText(C::LTextBox4, "20.00");
    return leave(b, box, typed.substr(eq + 1).c_str());
  };
  for (const char* box : {"LTextBox12", "TextLimit", "LTextBox16", "LTextBox18", "LTextBox20", "LTextBox22",
                          "LTextBox34", "LTextBox36", "LTextBox38", "LTextBox40"}) {
    for (const char* c : {"18>17.00", "6.9>7.00", "7>7.00", "17>17.00", ">7.00", "13.456>13.46", "13V>13V"})
      EXPECT_TRUE(mapsTo(leaving, std::string("User/") + box + "=" + c));
  }
  EXPECT_TRUE(mapsTo(leaving,
                     "User/LTextBox8=>100|User/LTextBox8=5000>3000|User/LTextBox8=150.5>150.5|User/LTextBox29=5>10|"
                     "User/LTextBox29=601>600|User/LTextBox32=300>255|User/LTextBox32=>|User/LTextBox44=90>80|"
                     "User/LTextBox44=-1>0|User/LTextBox45=0>1|User/LTextBox45=31>30|User/LTextBox28=700>600|"
                     "User/LTextBox24=150>100|User/LTextBox24=90>90|Gel/LTextBox28=700>120|Gel/LTextBox28=0>120|"
                     "Gel/LTextBox16=14.2>15.20|Gel/LTextBox16=3>15.20|Sealed+SOC/LTextBox24=90>100|"
                     "Sealed+SOC/LTextBox44=90>80|Sealed+SOC/LTextBox44=50>50|User/SetChargeCurr=25>20.00|"
                     "User/SetChargeCurr=-3>-3.00|User/SetChargeCurr=>"));

  // Each change of text runs the rule; the leaving of the box runs it again, with nothing left
  // to change.
  const auto typed = [](const std::string& text) {
    ParameterBoxes b;
    assignText(b, C::LTextBox10, text);
    const std::string shown = b.text(C::LTextBox10);
    lostFocus(b, C::LTextBox10);
    return shown == b.text(C::LTextBox10) ? shown : shown + " then " + b.text(C::LTextBox10);
  };
  EXPECT_TRUE(mapsTo(typed, "3>-3|-9>-5|-0>0|0>0|-3.>-3|-3.6>-4|-2.5>-2|0.4>0|->-|>|abc>abc|1e5>-5|-5>-5|-5.4>-5"));
}

// The lithium couplings, step by step: the boost voltage carries its followers (clamped first,
// then carried: no follower leaves its own 7..17), the over-discharge voltage tests the old
// limit (9.00 is not above 9.0: the limit takes the voltage itself, and the next time it is
// above again); a coupling ends at a text that is no number; other types carry nothing. A row
// with a type starts from fresh boxes of that type; `set` is put in without leaving a box.
TEST(LithiumCouplings, TheBoostAndOverDischargeVoltagesCarryTheirFollowers) {
  const char* steps =
      "LI;;LTextBox18=14.0;LTextBox18=14.00 LTextBox16=14.00 LTextBox20=14.00 LTextBox12=16.00 TextLimit=14.00 "
      "LTextBox22=12.80|;;LTextBox18=8;LTextBox22=8.00 LTextBox12=10.00|;;LTextBox18=20;LTextBox12=17.00 "
      "LTextBox22=15.80|"
      "LI;;LTextBox36=11.5;LTextBox36=11.50 LTextBox34=11.00 LTextBox40=12.50|"
      ";LTextBox34=9.00;LTextBox36=11.5;LTextBox34=11.50|;;LTextBox36=11.50;LTextBox34=11.00|"
      ";;LTextBox36=17;LTextBox40=17.00|;;LTextBox36=7;LTextBox34=7.00|"
      "LI;LTextBox34= LTextBox40=12.10;LTextBox36=12;LTextBox36=12.00 LTextBox34= LTextBox40=12.10|"
      ";;LTextBox18=14x;LTextBox16=14x LTextBox12=16.40|User;;LTextBox18=14.0;LTextBox16=14.60|"
      ";;LTextBox36=11.5;LTextBox34=10.60";
  ParameterBoxes b;
  for (const std::string& step : split(steps, '|')) {
    SCOPED_TRACE(step);
    const std::vector<std::string> f = split(step, ';');
    if (!f[0].empty()) {
      b = ParameterBoxes{};
      selectEntry(b, C::Combo2, f[0]);
    }
    setTexts(b, f[1]);
    const std::size_t eq = f[2].find('=');
    leave(b, controlNamed(f[2].substr(0, eq)).value(), f[2].substr(eq + 1).c_str());
    EXPECT_TRUE(hasTexts(b, f[3]));
  }
}

// ---- The parameter file -----------------------------------------------------------------------

const QDateTime kNow(QDate(2024, 5, 1), QTime(8, 30, 0));

struct ParameterFile : ::testing::Test {
  QString name(const char* base) const { return dir_.filePath(QString::fromUtf8(base)); }
  QTemporaryDir dir_;
};

// A screen with a value of its own in every saved box: a user battery, 24 V, SOC.
ParameterBoxes editedScreen() {
  ParameterBoxes b;
  b.setText(C::LTextBox4, "30.00");
  selectEntry(b, C::Combo2, "User");
  selectEntry(b, C::Combo3, "SOC");
  selectEntry(b, C::Combo4, "24V");
  setTexts(b,
           "LTextBox12=16.50 LTextBox16=14.70 LTextBox18=14.50 LTextBox20=13.70 LTextBox22=13.10 LTextBox38=12.50 "
           "LTextBox40=11.90 LTextBox36=11.00 LTextBox34=10.50 SetChargeCurr=25.00 LTextBox32=28 LTextBox28=90 "
           "LTextBox29=100 LTextBox10=-4 LTextBox8=350 LTextBox45=8 LTextBox24=95 LTextBox44=35 TextLimit=16.00");
  return b;
}

TEST_F(ParameterFile, ExportWritesTheKeysInOrderInGbkToTheNameWithTxtOnceAndImportsStopOrGoOn) {
  const ExportResult result = exportParameters(editedScreen(), name("station"), kNow);
  EXPECT_TRUE(result.written);
  EXPECT_EQ(result.path, name("station.txt"));
  QFile file(result.path);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(platform::fromGbk(file.readAll()),
            "[配置]\r\n电池类型=User\r\n超压电压(V)=16.50\r\n均衡充电电压(V)=14.70\r\n提升充电电压(V)=14.50\r\n"
            "浮充充电电压(V)=13.70\r\n提升充电返回电压(V)=13.10\r\n过放返回电压(V)=12.50\r\n低压警告电压(V)=11.90\r\n"
            "过放电压(V)=11.00\r\n放电限制电压(V)=10.50\r\n充电电流设置(A)=25.00\r\n系统电压=24V\r\n充电模式=SOC\r\n"
            "均衡充电间隔(天)=28\r\n均衡充电时间(分钟)=90\r\n提升充电时间(分钟)=100\r\n温度补偿系数(mV/℃/2V)=-4\r\n"
            "蓄电池容量(Ah)=350\r\n过放延时时间(秒)=8\r\n蓄电池充满电量(%)=95\r\n蓄电池放电限制电量(%)=35\r\n"
            "充电限制电压(V)=16.00\r\n保存日期=2024-05-01    08:30:00\r\n");

  // The save dialog's name as typed, with and without the suffix (a file that cannot be
  // written is told by the screen's test).
  const auto written = [&](const std::string& typed) {
    const ExportResult r = exportParameters(editedScreen(), name(typed.c_str()), kNow);
    return r.written && QFile::exists(r.path) ? QDir(dir_.path()).relativeFilePath(r.path).toStdString() : "-";
  };
  EXPECT_TRUE(mapsTo(written, "a.txt>a.txt|b.TXT>b.TXT|c>c.txt|d.b>d.b.txt|e.txt.bak>e.txt.bak.txt"));
  EXPECT_EQ(QDir(dir_.path()).entryList(QDir::Files).size(), 6);  // and station.txt

  // "key=value;key=value" as a file imported over the edited screen: the outcome, then the
  // type, system voltage and mode lists, the over-voltage, boost and limit voltages, the
  // capacity and the current and the temperature coefficient (its change rule runs); "(names
  // it)" where a failure's line names the system voltage of the file. An unknown type, one in
  // other case, or none stops it and changes nothing; a key the file lacks empties its box, but
  // the charge limit (a key older files lack) is the type's; lithium from a file carries no
  // coupling; a system voltage the list lacks stops it after the ten values and before the
  // lists; any other unknown list text leaves its list alone and goes on.
  const auto imported = [&](const std::string& content) {
    QString text = QString::fromStdString(content).replace(';', QStringLiteral("\r\n"));
    ParameterBoxes b = editedScreen();
    QFile file(name("in.txt"));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(platform::toGbk("[配置]\r\n" + text + "\r\n"));
    file.close();
    const ImportResult r = importParameters(b, name("in.txt"));
    std::string out = r.outcome == Outcome::Imported  ? "Imported"
                      : r.outcome == Outcome::Stopped ? "Stopped"
                                                      : "Failed";
    const std::size_t volts = content.find("系统电压=");
    if (volts != std::string::npos && r.logLine.find(content.substr(volts + 13, 3)) != std::string::npos)
      out += "(names it)";
    for (Control c : {C::Combo2, C::Combo4, C::Combo3, C::LTextBox12, C::LTextBox18, C::TextLimit, C::LTextBox8,
                      C::SetChargeCurr, C::LTextBox10})
      out += " " + b.text(c);
    return out;
  };
  EXPECT_TRUE(
      mapsTo(imported,
             "电池类型=Lithium;超压电压(V)=12>Stopped User 24V SOC 16.50 14.50 16.00 350 25.00 -4|"
             "电池类型=gel>Stopped User 24V SOC 16.50 14.50 16.00 350 25.00 -4|"
             "超压电压(V)=12>Stopped User 24V SOC 16.50 14.50 16.00 350 25.00 -4|"
             "电池类型=User;超压电压(V)=16.50;温度补偿系数(mV/℃/2V)=3>Imported User Auto Volt.Comp. 16.50  15.50   -3|"
             "电池类型=LI;提升充电电压(V)=14.00;超压电压(V)=15.00>Imported LI Auto Volt.Comp. 15.00 14.00 15.50   |"
             "电池类型=Gel;超压电压(V)=15.00;充电电流设置(A)=9.00;系统电压=60V;充电模式=SOC;蓄电池容量(Ah)=500>"
             "Failed(names it) Gel Auto Volt.Comp. 15.00  15.50 200 9.00 -3|"
             "电池类型=Gel;超压电压(V)=15.00;系统电压=96V;充电模式=SOC>Failed(names it) Gel Auto Volt.Comp. 15.00  "
             "15.50 200  -3|"
             "电池类型=LI;系统电压=110V;充电模式=soc;蓄电池容量(Ah)=500>Imported LI Auto Volt.Comp.   15.50 500  "));
  // A missing file, a cancelled dialog: nothing changes.
  ParameterBoxes b = editedScreen();
  EXPECT_EQ(importParameters(b, name("missing.txt")).outcome, Outcome::Stopped);
  EXPECT_EQ(importParameters(b, QString()).outcome, Outcome::Stopped);
  EXPECT_EQ(b, editedScreen());
}

// ---- Load configuration ----------------------------------------------------------------------

// A load block reply as verifyFrame hands it on, for "mode/delay/volts": the values in the low
// bytes; the high bytes carry junk that must be ignored.
Bytes blockReply(const std::string& values) {
  const std::vector<std::string> v = split(values, '/');
  const auto low = [&](int i) { return static_cast<std::uint8_t>(std::stoi(v[i])); };
  return Bytes{0x01, 0x03, 0x06, 0xAA, low(0), 0xBB, low(1), 0xCC, low(2)};
}

// What a reply shows: the option's caption ("kept" where the one selected before stays), then
// box 2, box 3, their tags, box 5, box 4 and the two lists; "back" where "设置" in the option
// shown sends the values read, written back unchanged.
TEST(LoadBlock, WhatAReplyShowsWhatAWriteSendsAndTheAcknowledgement) {
  const auto view = [](const std::string& values) {
    const Bytes reply = blockReply(values);
    const auto v = showLoadBlock(reply);
    if (!v) return std::string("-");
    std::string out(v->keepOption ? "kept" : loadOptionCaption(v->option));
    for (const std::string& text : {v->lTextBox2, v->lTextBox3, v->lTextBox2Tag, v->lTextBox3Tag, v->lTextBox5,
                                    v->lTextBox4, v->combo2, v->combo3})
      out += "," + text;
    const LoadWrite w = buildLoadWrite({"1", v->option, v->combo2, v->lTextBox2Tag, v->lTextBox3Tag});
    const Bytes back{1, 0x10, 0xE0, 0x1D, 0, 3, 6, 0, reply[4], 0, reply[6], 0, reply[8]};
    return out + (w.frame == appendCrc(back) ? " back" : "");
  };
  // LTextBox4: the hidden light-off voltage, one less. From 18 up no button stands for the
  // mode; the tags still take the device's values.
  EXPECT_TRUE(
      mapsTo(view,
             "0/30/6>光控开/关,6,30,6,30,1,5,, back|1/7/8>光时控,,,8,7,,,1,0 back|14/7/8>光时控,,,8,7,,,14,0 back|"
             "15/7/8>手动模式,,,8,7,,,, back|16/7/8>调试模式,,,8,7,,,, back|17/7/8>常开模式,,,8,7,,,, back|"
             "18/1/9>kept,,,9,1,,,,|255/1/9>kept,,,9,1,,,,"));

  // "address/option/hours/volts tag/delay tag" ("-" for no option): the address and the six
  // bytes sent, "read first" for the message and no frame, "log" for a line and no frame. Before
  // a read the voltage tag is empty; a value that does not fit a byte is logged; the hours are
  // read only with Option5 selected; values round half to even; letters are 0; Option5 with the
  // hours emptied sends mode 0, as does no option at all; with no station the tags go out to 0.
  const auto write = [](const std::string& s) {
    const std::vector<std::string> f = split(s, '/');
    const LoadOption options[] = {LoadOption::None, LoadOption::Option3, LoadOption::Option4, LoadOption::Option5};
    const LoadWrite w = buildLoadWrite({f[0], options[std::string("-345").find(f[1])], f[2], f[3], f[4]});
    if (w.frame)
      return hexText(Bytes(w.frame->begin(), w.frame->begin() + 1)) + " " +
             hexText(Bytes(w.frame->begin() + 7, w.frame->begin() + 13));
    if (!w.failureLog.empty()) return std::string(w.message.empty() ? "log" : "both");
    return std::string(w.message == kLoadReadFirstText ? "read first" : "nothing");
  };
  EXPECT_TRUE(mapsTo(write,
                     "1/4///10>read first|1/4//0/10>read first|1/4//-3/10>read first|1/4//abc/10>read first|"
                     "1/3//256/10>log|1/3//5/300>log|1/3//5/-1>log|1/5/300/5/10>log|1/5/-2/5/10>log|256/3//5/10>log|"
                     "1/4/300/5/10>01 000F000A0005|1/5/2.5/4.5/abc>01 000200000004|1/5//5/10>01 0000000A0005|"
                     "1/-/5/5/10>01 0000000A0005|/-//5/10>00 0000000A0005|2.5/3//5/10>02 0000000A0005"));
  EXPECT_TRUE(mapsTo([](const std::string& a) { return hexText(loadBlockReadRequest(a).value_or(Bytes{})); },
                     "1>0103E01D0003A20D|256>|-1>"));

  // Not: an exception reply, address 0, too short.
  const auto afterWrite = [](const std::string& r) { return loadReplyMessage(kLoadPendingWrite, hexBytes(r)); };
  EXPECT_TRUE(mapsTo(afterWrite, "01 10 E0 1D 00 03>设置参数成功|01 90 03>|00 10 E0 1D 00 03>|01>"));
  EXPECT_EQ(loadReplyMessage(kLoadPendingRead, hexBytes("01 10 E0 1D 00 03")), "");
}

// ---- Device ID -------------------------------------------------------------------------------

TEST(DeviceId, TheNewAddressWritten) {
  // The frame itself is checked on the wire by the screen's test. No range test of its own: 0 and 242 to 255 go out as
  // typed; letters give 0; what is no byte sends nothing ("-") and leaves a line.
  const auto sent = [](const std::string& typed) {
    const auto w = addressWrite(1, typed);
    return w.frame ? std::to_string((*w.frame)[5]) : w.failureLog.empty() ? "" : "-";
  };
  EXPECT_TRUE(mapsTo(sent, "abc>0|0>0|250>250|255>255|2.5>2|-0.4>0|256>-|-1>-|1e10>-"));
}

// ---- Factory operation -----------------------------------------------------------------------

// The five frames for address 1 and their messages are checked on the wire by the screen's
// test; here the address box's other texts and the replies the screen never gets.
TEST(Factory, TheAddressBoxAndOnlyTheRightReplyToTheCommandSpeaks) {
  // An empty address box gives address 0; a fraction rounds half to even; no byte, no frame
  // (256 would be "100 78 ...", a frame of another shape).
  const auto frame = [](const std::string& box) {
    return hexText(factoryFrame(FactoryCommand::Command1, box).value_or(Bytes{}));
  };
  EXPECT_TRUE(mapsTo(frame, ">00780000000161D1|2.5>0278000000016033|255>FF780000000175DE|256>|-1>"));

  // "pending/reply" gives "message/status line" ("-" where the status line is left as it is).
  const auto answer = [](const std::string& c) {
    const Bytes b = hexBytes(c.substr(2));
    const FactoryReply r = factoryReply(c[0] - '0', b, hexText(appendCrc(b)));
    return r.message + "/" + r.text1.value_or("-");
  };
  // Any other six bytes to 3 blank the status line, and the address does not count.
  EXPECT_TRUE(mapsTo(answer,
                     "3/01 06 E3 27 00 02>设置成功/ |3/01 78 00 00 00 01>设置成功/ |"
                     "3/09 06 E3 27 00 01>设置成功/当前RS485通讯口用于：并机|1/01 78 00 00 00 01>恢复出厂成功/-"));
  // By case: the wrong function for the command; the wrong text; an exception reply (three
  // bytes); five bytes; no command sets 4; address 0.
  EXPECT_TRUE(mapsTo(answer,
                     "1/01 79 00 00 00 01>/-|2/01 78 00 00 00 01>/-|5/01 06 DF 01 00 00>/-|3/01 86 02>/-|"
                     "3/01 06 E3 27 00>/-|4/01 06 E3 27 00 00>/-|3/00 06 E3 27 00 00>/-"));
}

}  // namespace
}  // namespace xl::configuration
