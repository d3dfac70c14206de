// The parameter block: what a reply shows in which box, the exact write, and the answers.

#include "configuration/parameter_block.h"

#include <gtest/gtest.h>

#include "configuration/parameter_file.h"
#include "configuration/parameter_rules.h"
#include "parameter_test_util.h"

namespace xl::configuration {
namespace {

using namespace testing;
using C = Control;

TEST(ParameterBoxesValue, ListsHoldOnlyTheirEntries) {
  ParameterBoxes b;
  EXPECT_EQ(b.text(C::Combo4), "");
  EXPECT_FALSE(b.setText(C::Combo4, "60V"));  // a drop-down list cannot take a text it lacks
  EXPECT_EQ(b.listIndex(C::Combo4), -1);
  EXPECT_TRUE(b.setText(C::Combo4, "48V"));
  EXPECT_EQ(b.listIndex(C::Combo4), 4);
  EXPECT_FALSE(b.setListIndex(C::Combo4, 5) || b.setListIndex(C::Combo2, -2));
  EXPECT_EQ(b.text(C::Combo4), "48V");
}

TEST(RatedInfo, FillsTheRatedBoxesAndGoesOnToTheBlock) {
  ParameterBoxes b;
  ASSERT_TRUE(showRatedInfo(b, deviceInfoReply(48, 30, 0)));
  expectTexts(b, {{C::LTextBox2, "12/24/36/48(V)"}, {C::LTextBox3, "该设备无负载"}, {C::LTextBox4, "30.00"},
              {C::SetCurrText2, "30.00"}});

  ASSERT_TRUE(showRatedInfo(b, deviceInfoReply(96, 40, 15)));
  expectTexts(b, {{C::LTextBox2, "12/24/36/48/60/96(V)"}, {C::LTextBox3, "15"}});
  // A voltage outside the five leaves the text as it was.
  ASSERT_TRUE(showRatedInfo(b, deviceInfoReply(12, 40, 15)));
  EXPECT_EQ(b.text(C::LTextBox2), "12/24/36/48/60/96(V)");

  Bytes shorter = deviceInfoReply(24, 10, 10);
  shorter.pop_back();
  EXPECT_FALSE(showRatedInfo(b, shorter));
  EXPECT_EQ(b.text(C::LTextBox4), "40.00");
}

TEST(ParameterRead, EachValueComesFromItsOwnRegister) {
  // Every shown register distinct, so that a value read from a neighbour shows.
  const Bytes block = parameterReply({{0xE001, 1234}, {0xE002, 321},  {0xE005, 171}, {0xE006, 152}, {0xE007, 149},
                                      {0xE008, 147},  {0xE009, 137},  {0xE00A, 131}, {0xE00B, 125}, {0xE00C, 119},
                                      {0xE00D, 109},  {0xE00E, 104},  {0xE00F, 0x5A28}, {0xE010, 7}, {0xE011, 61},
                                      {0xE012, 62},   {0xE013, 17},   {0xE014, 4}},
                                     1234);
  ReadScreen s = readScreen(block);
  expectTexts(s.boxes,
              {{C::SetChargeCurr, "12.34"}, {C::LTextBox8, "321"}, {C::LTextBox12, "17.10"}, {C::TextLimit, "15.20"},
               {C::LTextBox16, "14.90"}, {C::LTextBox18, "14.70"}, {C::LTextBox20, "13.70"}, {C::LTextBox22, "13.10"},
               {C::LTextBox38, "12.50"}, {C::LTextBox40, "11.90"}, {C::LTextBox36, "10.90"}, {C::LTextBox34, "10.40"},
               {C::LTextBox24, "90"}, {C::LTextBox44, "40"}, {C::LTextBox45, "7"}, {C::LTextBox28, "61"},
               {C::LTextBox29, "62"}, {C::LTextBox32, "17"}, {C::LTextBox10, "-4"}});

  // And the write gives back every register as it came.
  ParameterBoxes boxes = s.boxes;
  const Bytes w = writeOf(boxes, s.state);
  for (std::size_t i = 3; i < 67; ++i) EXPECT_EQ(w[i + 4], block[i]) << "reply byte " << i;
}

TEST(ParameterRead, OtherLengthsChangeNothing) {
  ParameterBoxes b;
  ParameterBlockState state;
  Bytes block = parameterReply();
  for (Bytes reply : {Bytes(block.begin(), block.end() - 1),
                      [&] {
                        Bytes r = block;
                        r.push_back(0);
                        return r;
                      }(),
                      Bytes{}})
    EXPECT_FALSE(showParameterBlock(b, state, reply));
  EXPECT_EQ(b, ParameterBoxes{});
  EXPECT_FALSE(state.dataRead);
  EXPECT_EQ(state.lastBlock, (std::array<std::uint8_t, 69>{}));
}

TEST(ParameterRead, ATypeOutsideTheTableIsUserAndItsHighByteIsEchoed) {
  ReadScreen s = readScreen(parameterReply({{0xE004, 7}}));
  EXPECT_EQ(s.boxes.text(C::Combo2), "User");
  EXPECT_TRUE(s.boxes.enabled(C::LTextBox12));  // the "User" column enables the fields
  EXPECT_EQ(wordAt(writeOf(s.boxes, s.state), 13), 0x0000);

  // A high byte that is not 0 makes any low byte unknown: "User", and the high byte goes back.
  s = readScreen(parameterReply({{0xE004, 0x5A02}}));
  EXPECT_EQ(s.boxes.text(C::Combo2), "User");
  EXPECT_EQ(wordAt(writeOf(s.boxes, s.state), 13), 0x5A00);

  // The five known types read as their names and go back as their codes.
  for (std::uint16_t type = 0; type <= 4; ++type) {
    s = readScreen(parameterReply({{0xE004, type}, {0xE003, 0x0C00}}));
    EXPECT_EQ(s.boxes.listIndex(C::Combo2), type);
    EXPECT_EQ(writeOf(s.boxes, s.state)[14], type);
  }
}

TEST(ParameterRead, SystemVoltagesTheListLacksShowAutoAndWrite255) {
  for (std::uint8_t volts : {60, 72, 96, 13, 0}) {
    ReadScreen s = readScreen(parameterReply({{0xE003, static_cast<std::uint16_t>(volts << 8 | 0xA1)}, {0xE004, 3}}));
    EXPECT_EQ(s.boxes.text(C::Combo4), "Auto") << int(volts);
    EXPECT_EQ(wordAt(writeOf(s.boxes, s.state), 11), 0xFFA1) << int(volts);
  }
  const std::pair<std::uint8_t, const char*> listed[] = {{255, "Auto"}, {12, "12V"}, {24, "24V"}, {36, "36V"}, {48, "48V"}};
  for (const auto& [volts, name] : listed) {
    ReadScreen s = readScreen(parameterReply({{0xE003, static_cast<std::uint16_t>(volts << 8)}}));
    EXPECT_EQ(s.boxes.text(C::Combo4), name);
    EXPECT_EQ(writeOf(s.boxes, s.state)[11], volts);
  }
}

TEST(ParameterRead, ZeroEqualisingVoltageShowsAnEmptyBoxAndGoesBackAsZero) {
  ReadScreen s = readScreen(parameterReply({{0xE007, 0}}));
  EXPECT_EQ(s.boxes.text(C::LTextBox16), "");
  EXPECT_EQ(wordAt(writeOf(s.boxes, s.state), 19), 0);
  // Only the register 0 empties the box: 0.1 V shows.
  EXPECT_EQ(readScreen(parameterReply({{0xE007, 1}})).boxes.text(C::LTextBox16), "0.10");
}

TEST(ParameterRead, ChargeModeIsBitTwoOfTheHighByteAndGoesBackAlone) {
  ReadScreen s = readScreen(parameterReply({{0xE021, 0xFF00 | 0xE3}}));
  EXPECT_EQ(s.boxes.text(C::Combo3), "SOC");
  // The SOC fields open up after the type's rule closed them.
  EXPECT_TRUE(s.boxes.enabled(C::LTextBox24) && s.boxes.enabled(C::LTextBox44));
  EXPECT_EQ(wordAt(writeOf(s.boxes, s.state), 71), 0x04E3);

  s = readScreen(parameterReply({{0xE021, 0xFB00 | 0xE3}}));
  EXPECT_EQ(s.boxes.text(C::Combo3), "Volt.Comp.");
  EXPECT_FALSE(s.boxes.enabled(C::LTextBox24));
  EXPECT_EQ(writeOf(s.boxes, s.state)[71], 0x00);
}

TEST(ParameterRead, TemperatureCoefficientIsShownNegatedThroughItsRule) {
  const std::pair<std::uint16_t, const char*> cases[] = {{3, "-3"}, {0, "0"}, {5, "-5"}, {9, "-5"}, {65535, "-5"}};
  for (const auto& [reg, text] : cases)
    EXPECT_EQ(readScreen(parameterReply({{0xE014, reg}})).boxes.text(C::LTextBox10), text) << reg;
}

TEST(ParameterRead, ALithiumBlockShowsTheDeviceValuesOverTheComputedDefaults) {
  ReadScreen s = readScreen(parameterReply({{0xE004, 4}, {0xE005, 170}, {0xE00E, 100}, {0xE003, 0x0C00}}));
  expectTexts(s.boxes, {{C::Combo2, "LI"}, {C::LTextBox12, "17.00"}, {C::LTextBox34, "10.00"}, {C::Combo4, "12V"}});
  EXPECT_TRUE(s.boxes.enabled(C::LTextBox18) && !s.boxes.enabled(C::LTextBox12));
}

// ---- The write ----------------------------------------------------------------------------

TEST(ParameterWrite, TheExampleWriteByteForByte) {
  // A station read with other values (gel, 12 V, SOC) and distinct hidden bytes; then "恢复默认值"
  // puts the reference column on the screen and the write carries it with the hidden bytes.
  ReadScreen s = readScreen(parameterReply({{0xE004, 3}, {0xE003, 0x0CA1}, {0xE008, 150}, {0xE021, 0x04E3}}));
  restoreDefaults(s.boxes);
  ASSERT_EQ(s.boxes.text(C::SetChargeCurr), "20.00");
  const SetCommand cmd = command2Click(s.boxes, s.state);
  ASSERT_EQ(cmd.action, SetCommand::Action::Send) << cmd.text;
  const Bytes expected = hexBytes(
      "01 10 E0 01 00 21 42"
      " 07 D0 00 C8 FF A1 00 02 00 A0 00 9B 00 92 00 90 00 8A 00 84 00 7E 00 78 00 6F 00 6A 64 1E"
      " 00 05 00 78 00 78 00 1E 00 03"
      " C0 C1 C2 C3 C4 C5 C6 C7 C8 C9 CA CB CC CD CE CF D0 D1 D2 D3 D4 D5 D6 D7"
      " 00 E3 E0 8C");  // CRC-16/MODBUS computed bitwise apart from the codec
  EXPECT_EQ(cmd.frame, expected);
}

TEST(ParameterWrite, BoxesReadStrictlyRefuseEmptyAndNonNumericTexts) {
  const Control strict[] = {C::SetChargeCurr, C::LTextBox8,  C::LTextBox12, C::TextLimit,  C::LTextBox18,
                            C::LTextBox20,    C::LTextBox22, C::LTextBox38, C::LTextBox40, C::LTextBox36,
                            C::LTextBox34,    C::LTextBox44, C::LTextBox45, C::LTextBox28, C::LTextBox29,
                            C::LTextBox32,    C::LTextBox10};
  const ReadScreen read = readScreen(parameterReply());
  for (Control c : strict) {
    for (const char* text : {"", "abc", "12V", " "}) {
      ParameterBoxes b = read.boxes;
      b.setText(c, text);
      const auto built = buildParameterWrite(b, read.state);
      const auto* failure = std::get_if<WriteFailure>(&built);
      ASSERT_TRUE(failure) << controlName(c) << " '" << text << "'";
      EXPECT_TRUE(failure->control == c && failure->kind == Failure::TypeMismatch) << controlName(c);
      EXPECT_NE(failure->logLine.find(captionOf(c)), std::string::npos) << failure->logLine;
    }
  }
  // The equalising voltage and the full-charge level are read leniently: empty or no number is 0.
  for (Control c : {C::LTextBox16, C::LTextBox24}) {
    for (const char* text : {"", "abc"}) {
      ParameterBoxes b = read.boxes;
      b.setText(c, text);
      const Bytes w = writeOf(b, read.state);
      EXPECT_EQ(c == C::LTextBox16 ? wordAt(w, 19) : w[35], 0) << controlName(c);
    }
  }
  ParameterBoxes b = read.boxes;
  b.setText(C::LTextBox16, "14.2V");  // the numeric prefix counts
  EXPECT_EQ(wordAt(writeOf(b, read.state), 19), 142);
}

// What a box's value sends at its register's write index (LTextBox44: its byte, 36), rounded
// half to even; -1 where it does not fit and is refused.
TEST(ParameterWrite, ValuesAreRoundedHalfToEvenAndThoseThatDoNotFitAreRefused) {
  const ReadScreen read = readScreen(parameterReply());
  struct Case { Control c; const char* text; std::size_t at; int sent; };
  const Case cases[] = {
      {C::LTextBox8, "65535", 9, 65535}, {C::LTextBox8, "65536", 9, -1}, {C::LTextBox8, "-1", 9, -1},
      {C::LTextBox8, "-0.4", 9, 0}, {C::LTextBox12, "6553.5", 15, 65535}, {C::LTextBox12, "6553.6", 15, -1},
      {C::SetChargeCurr, "655.35", 7, 65535}, {C::LTextBox10, "3", 45, -1}, {C::LTextBox10, "-65535", 45, 65535},
      {C::LTextBox44, "255", 36, 255}, {C::LTextBox44, "256", 36, -1}, {C::LTextBox24, "256", 35, -1},
      {C::LTextBox24, "-1", 35, -1}, {C::LTextBox16, "-1", 19, -1}, {C::LTextBox16, "6553.5", 19, 65535},
      {C::LTextBox8, "&H10", 9, 16}, {C::LTextBox8, "1e3", 9, 1000}, {C::LTextBox8, "150.5", 9, 150},
      {C::LTextBox8, "151.5", 9, 152}, {C::LTextBox45, "2.5", 37, 2}, {C::LTextBox45, "3.5", 37, 4},
      {C::LTextBox12, "14.25", 15, 142}, {C::LTextBox12, "14.35", 15, 144}, {C::SetChargeCurr, "0.125", 7, 12},
      {C::SetChargeCurr, "0.375", 7, 38}, {C::LTextBox10, "-2.5", 45, 2}};
  for (const Case& k : cases) {
    SCOPED_TRACE(std::string(controlName(k.c)) + " " + k.text);
    ParameterBoxes b = read.boxes;
    b.setText(C::LTextBox4, "999");  // no cap in the way
    b.setText(k.c, k.text);
    const auto built = buildParameterWrite(b, read.state);
    if (k.sent < 0) {
      const auto* failure = std::get_if<WriteFailure>(&built);
      ASSERT_TRUE(failure);
      EXPECT_TRUE(failure->kind == Failure::Overflow && failure->logLine.find("超出") != std::string::npos);
    } else {
      ASSERT_TRUE(std::holds_alternative<Bytes>(built));
      const Bytes& w = std::get<Bytes>(built);
      EXPECT_EQ(k.c == C::LTextBox44 ? w[36] : wordAt(w, k.at), k.sent);
    }
  }
}

TEST(ParameterWrite, TheChargeCurrentIsCappedAtTheRatedOneAndTheBoxChanges) {
  ReadScreen s = readScreen(parameterReply());
  s.boxes.setText(C::SetChargeCurr, "25");
  EXPECT_EQ(wordAt(writeOf(s.boxes, s.state), 7), 2000);
  EXPECT_EQ(s.boxes.text(C::SetChargeCurr), "20.00");

  // Without a rated current any positive current empties the box, and the write fails on it;
  // the box stays changed.
  s.boxes.setText(C::LTextBox4, "");
  s.boxes.setText(C::SetChargeCurr, "5");
  const SetCommand cmd = command2Click(s.boxes, s.state);
  EXPECT_TRUE(cmd.action == SetCommand::Action::LogFailure && cmd.frame.empty());
  EXPECT_EQ(s.boxes.text(C::SetChargeCurr), "");
}

TEST(ParameterWrite, TheTwoListsShareOneCodeByte) {
  const ReadScreen read = readScreen(parameterReply());
  struct Case { int voltage, type; std::uint8_t voltageCode, typeCode; };
  const Case cases[] = {{-1, -1, 0, 0}, {0, -1, 255, 255}, {4, -1, 48, 48}, {-1, 3, 0, 3}, {2, 4, 24, 4}};
  for (const Case& k : cases) {
    ParameterBoxes b = read.boxes;
    b.setListIndex(C::Combo4, k.voltage);
    b.setListIndex(C::Combo2, k.type);
    const Bytes w = writeOf(b, read.state);
    EXPECT_EQ(std::pair(w[11], w[14]), std::pair(k.voltageCode, k.typeCode)) << k.voltage << " " << k.type;
  }
}

TEST(ParameterWrite, TheAddressIsTheBoxOnesAndMustFitAByte) {
  ReadScreen s = readScreen(parameterReply());
  s.boxes.setText(C::LTextBox1, "7");
  const Bytes w = writeOf(s.boxes, s.state);
  EXPECT_EQ(Bytes(w.begin(), w.begin() + 7), hexBytes("07 10 E0 01 00 21 42"));
  // An address that is no byte, or the broadcast address 0 that every controller of the line
  // would carry out, sends nothing.
  for (const char* address : {"256", "0", "", "abc", "-1"}) {
    s.boxes.setText(C::LTextBox1, address);
    const auto built = buildParameterWrite(s.boxes, s.state);
    ASSERT_TRUE(std::holds_alternative<WriteFailure>(built)) << address;
    EXPECT_EQ(std::get<WriteFailure>(built).control, C::LTextBox1);
  }
}

// What "设置" does, with the message it shows or logs.
void expectCommand(const SetCommand& cmd, SetCommand::Action action, const char* text) {
  EXPECT_EQ(cmd.action, action);
  EXPECT_EQ(cmd.text, text);
  EXPECT_TRUE(action == SetCommand::Action::Send || cmd.frame.empty());
}

TEST(SetButton, RefusesBeforeAReadAfterAStationChangeAndForLithiumOnAuto) {
  using A = SetCommand::Action;
  ParameterBoxes fresh;
  ParameterBlockState none;
  fresh.setText(C::SetChargeCurr, "10");
  expectCommand(command2Click(fresh, none), A::ShowMessage, "请先读数据");

  // A station change empties the screen; the old block is never sent.
  ReadScreen s = readScreen(parameterReply());
  clearAll(s.boxes);
  s.boxes.setText(C::LTextBox1, "2");
  expectCommand(command2Click(s.boxes, s.state), A::ShowMessage, "请先读数据");

  // A station chosen whose block did not come: its rated values did, "恢复默认值" fills the
  // current, and still the block of the station before is not written to it.
  s = readScreen(parameterReply());
  stationChosen(s.state);
  clearAll(s.boxes);
  s.boxes.setText(C::LTextBox1, "2");
  showRatedInfo(s.boxes, deviceInfoReply(48, 20, 20));
  restoreDefaults(s.boxes);
  ASSERT_EQ(s.boxes.text(C::SetChargeCurr), "20.00");
  expectCommand(command2Click(s.boxes, s.state), A::ShowMessage, "请先读数据");
  Bytes other = parameterReply();
  other[0] = 2;
  ASSERT_TRUE(showParameterBlock(s.boxes, s.state, other));
  EXPECT_EQ(command2Click(s.boxes, s.state).action, A::Send);

  s = readScreen(parameterReply());
  selectEntry(s.boxes, C::Combo2, "LI");
  expectCommand(command2Click(s.boxes, s.state), A::ShowMessage, "锂电池不支持自动识别!");
  selectEntry(s.boxes, C::Combo4, "12V");
  const SetCommand sent = command2Click(s.boxes, s.state);
  ASSERT_EQ(sent.action, A::Send);
  EXPECT_EQ(sent.frame.size(), 75u);
  EXPECT_TRUE(sent.frame[11] == 12 && sent.frame[14] == 4);
  EXPECT_TRUE(verifyFrame(hexText(sent.frame)).has_value());

  s.boxes.setText(C::LTextBox12, "");
  expectCommand(command2Click(s.boxes, s.state), A::LogFailure, "参数未发送：“超压电压（V）”为空");
}

TEST(SetResult, OnlyASixByteReplySpeaks) {
  EXPECT_EQ(setResultMessage(Bytes{1, 0x10, 0xE0, 0x01, 0x00, 0x21}), "参数设置成功");
  // The four other bytes are not compared.
  EXPECT_EQ(setResultMessage(Bytes{1, 0x10, 0, 0, 0, 0}), "参数设置成功");
  EXPECT_EQ(setResultMessage(Bytes{1, 0x90, 0xE0, 0x01, 0x00, 0x21}), "错误参数设置");
  EXPECT_FALSE(setResultMessage(Bytes{1, 0x90, 0x02}));
  EXPECT_FALSE(setResultMessage(Bytes{1, 0x90, 0x02, 0x00, 0x00}));
  EXPECT_FALSE(setResultMessage(Bytes{1, 0x10, 0xE0, 0x01, 0x00, 0x21, 0x00}));
}

}  // namespace
}  // namespace xl::configuration
