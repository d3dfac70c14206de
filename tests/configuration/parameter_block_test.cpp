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
  EXPECT_TRUE(hasTexts(b, "LTextBox2=12/24/36/48(V) LTextBox3=该设备无负载 LTextBox4=30.00 SetCurrText2=30.00"));
  ASSERT_TRUE(showRatedInfo(b, deviceInfoReply(96, 40, 15)));
  EXPECT_TRUE(hasTexts(b, "LTextBox2=12/24/36/48/60/96(V) LTextBox3=15"));
  // A voltage outside the five leaves the text as it was.
  ASSERT_TRUE(showRatedInfo(b, deviceInfoReply(12, 40, 15)));
  EXPECT_TRUE(hasTexts(b, "LTextBox2=12/24/36/48/60/96(V)"));

  Bytes shorter = deviceInfoReply(24, 10, 10);
  shorter.pop_back();
  EXPECT_FALSE(showRatedInfo(b, shorter));
  EXPECT_EQ(b.text(C::LTextBox4), "40.00");
}

TEST(ParameterRead, EachValueComesFromItsOwnRegister) {
  // Every shown register distinct, so that a value read from a neighbour shows.
  const Bytes block = parameterReply(
      "E002=0141 E005=00AB E006=0098 E007=0095 E008=0093 E009=0089 E00A=0083 E00B=007D E00C=0077 E00D=006D "
      "E00E=0068 E00F=5A28 E010=0007 E011=003D E012=003E E013=0011 E014=0004",
      1234);
  ReadScreen s = readScreen(block);
  EXPECT_TRUE(hasTexts(s.boxes,
                       "SetChargeCurr=12.34 LTextBox8=321 LTextBox12=17.10 TextLimit=15.20 LTextBox16=14.90 "
                       "LTextBox18=14.70 LTextBox20=13.70 LTextBox22=13.10 LTextBox38=12.50 LTextBox40=11.90 "
                       "LTextBox36=10.90 LTextBox34=10.40 LTextBox24=90 LTextBox44=40 LTextBox45=7 LTextBox28=61 "
                       "LTextBox29=62 LTextBox32=17 LTextBox10=-4"));

  // And the write gives back every register as it came.
  ParameterBoxes boxes = s.boxes;
  const Bytes w = writeOf(boxes, s.state);
  EXPECT_EQ(hexText(Bytes(w.begin() + 7, w.begin() + 71)), hexText(Bytes(block.begin() + 3, block.begin() + 67)));
}

TEST(ParameterRead, OtherLengthsChangeNothing) {
  ParameterBoxes b;
  ParameterBlockState state;
  const Bytes block = parameterReply();
  Bytes longer = block;
  longer.push_back(0);
  for (const Bytes& reply : {Bytes(block.begin(), block.end() - 1), longer, Bytes{}})
    EXPECT_FALSE(showParameterBlock(b, state, reply));
  EXPECT_EQ(b, ParameterBoxes{});
  EXPECT_FALSE(state.dataRead);
  EXPECT_EQ(state.lastBlock, (std::array<std::uint8_t, 69>{}));
}

// What a register shows, which boxes it opens or closes, and the word the write gives back at
// its write index (high byte first).
TEST(ParameterRead, EachCodedRegisterShowsAndGoesBack) {
  const struct {
    const char *registers, *texts;
    std::size_t at;
    int word;
  } rows[] = {
      // A type outside the table is "User" (which enables the fields); a non-zero high byte
      // makes any low byte unknown, and goes back.
      {"E004=0007", "Combo2=User +LTextBox12", 13, 0x0000},
      {"E004=5A02", "Combo2=User", 13, 0x5A00},
      // The five known types read as their names and go back as their codes.
      {"E004=0000 E003=0C00", "Combo2=User", 13, 0},
      {"E004=0001 E003=0C00", "Combo2=Flooded", 13, 1},
      {"E004=0002 E003=0C00", "Combo2=Sealed", 13, 2},
      {"E004=0003 E003=0C00", "Combo2=Gel", 13, 3},
      {"E004=0004 E003=0C00", "Combo2=LI", 13, 4},
      // System voltages the list lacks show "Auto" and write 255; the listed ones themselves.
      {"E003=3CA1 E004=0003", "Combo4=Auto", 11, 0xFFA1},
      {"E003=48A1 E004=0003", "Combo4=Auto", 11, 0xFFA1},
      {"E003=60A1 E004=0003", "Combo4=Auto", 11, 0xFFA1},
      {"E003=0DA1 E004=0003", "Combo4=Auto", 11, 0xFFA1},
      {"E003=00A1 E004=0003", "Combo4=Auto", 11, 0xFFA1},
      {"E003=FF00", "Combo4=Auto", 11, 0xFF00},
      {"E003=0C00", "Combo4=12V", 11, 0x0C00},
      {"E003=1800", "Combo4=24V", 11, 0x1800},
      {"E003=2400", "Combo4=36V", 11, 0x2400},
      {"E003=3000", "Combo4=48V", 11, 0x3000},
      // Only the register 0 empties the equalising box: 0.1 V shows.
      {"E007=0000", "LTextBox16=", 19, 0},
      {"E007=0001", "LTextBox16=0.10", 19, 1},
      // The charge mode is bit 2 of the high byte and goes back alone; SOC opens its fields
      // after the type's rule closed them.
      {"E021=FFE3", "Combo3=SOC +LTextBox24 +LTextBox44", 71, 0x04E3},
      {"E021=FBE3", "Combo3=Volt.Comp. -LTextBox24", 71, 0x00E3},
      // The temperature coefficient is shown negated through its rule.
      {"E014=0003", "LTextBox10=-3", 45, 3},
      {"E014=0000", "LTextBox10=0", 45, 0},
      {"E014=0005", "LTextBox10=-5", 45, 5},
      {"E014=0009", "LTextBox10=-5", 45, 5},
      {"E014=FFFF", "LTextBox10=-5", 45, 5},
      // A lithium block shows the device's values over the computed defaults.
      {"E004=0004 E005=00AA E00E=0064 E003=0C00",
       "Combo2=LI LTextBox12=17.00 LTextBox34=10.00 Combo4=12V +LTextBox18 -LTextBox12", 15, 170},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.registers);
    ReadScreen s = readScreen(parameterReply(row.registers));
    EXPECT_TRUE(hasTexts(s.boxes, row.texts));
    EXPECT_EQ(wordAt(writeOf(s.boxes, s.state), row.at), row.word);
  }
}

// ---- The write ----------------------------------------------------------------------------

TEST(ParameterWrite, TheExampleWriteByteForByte) {
  // A station read with other values (gel, 12 V, SOC) and distinct hidden bytes; then "恢复默认值"
  // puts the reference column on the screen and the write carries it with the hidden bytes.
  ReadScreen s = readScreen(parameterReply("E004=0003 E003=0CA1 E008=0096 E021=04E3"));
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
  const Control strict[] = {C::SetChargeCurr, C::LTextBox8,  C::LTextBox12, C::TextLimit,  C::LTextBox18, C::LTextBox20,
                            C::LTextBox22,    C::LTextBox38, C::LTextBox40, C::LTextBox36, C::LTextBox34, C::LTextBox44,
                            C::LTextBox45,    C::LTextBox28, C::LTextBox29, C::LTextBox32, C::LTextBox10};
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
  struct Case {
    Control c;
    const char* text;
    std::size_t at;
    int sent;
  };
  const Case cases[] = {{C::LTextBox8, "65535", 9, 65535},
                        {C::LTextBox8, "65536", 9, -1},
                        {C::LTextBox8, "-1", 9, -1},
                        {C::LTextBox8, "-0.4", 9, 0},
                        {C::LTextBox12, "6553.5", 15, 65535},
                        {C::LTextBox12, "6553.6", 15, -1},
                        {C::SetChargeCurr, "655.35", 7, 65535},
                        {C::LTextBox10, "3", 45, -1},
                        {C::LTextBox10, "-65535", 45, 65535},
                        {C::LTextBox44, "255", 36, 255},
                        {C::LTextBox44, "256", 36, -1},
                        {C::LTextBox24, "256", 35, -1},
                        {C::LTextBox24, "-1", 35, -1},
                        {C::LTextBox16, "-1", 19, -1},
                        {C::LTextBox16, "6553.5", 19, 65535},
                        {C::LTextBox8, "&H10", 9, 16},
                        {C::LTextBox8, "1e3", 9, 1000},
                        {C::LTextBox8, "150.5", 9, 150},
                        {C::LTextBox8, "151.5", 9, 152},
                        {C::LTextBox45, "2.5", 37, 2},
                        {C::LTextBox45, "3.5", 37, 4},
                        {C::LTextBox12, "14.25", 15, 142},
                        {C::LTextBox12, "14.35", 15, 144},
                        {C::SetChargeCurr, "0.125", 7, 12},
                        {C::SetChargeCurr, "0.375", 7, 38},
                        {C::LTextBox10, "-2.5", 45, 2}};
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
  struct Case {
    int voltage, type;
    std::uint8_t voltageCode, typeCode;
  };
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
  // The four bytes after the function are not compared.
  const std::pair<const char*, const char*> replies[] = {{"01 10 E0 01 00 21", "参数设置成功"},
                                                         {"01 10 00 00 00 00", "参数设置成功"},
                                                         {"01 90 E0 01 00 21", "错误参数设置"},
                                                         {"01 90 02", "-"},
                                                         {"01 90 02 00 00", "-"},
                                                         {"01 10 E0 01 00 21 00", "-"}};
  for (const auto& [reply, message] : replies)
    EXPECT_EQ(setResultMessage(hexBytes(reply)).value_or("-"), message) << reply;
}

}  // namespace
}  // namespace xl::configuration
