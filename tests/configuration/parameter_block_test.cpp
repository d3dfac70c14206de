// The parameter block: what a reply shows in which box, the exact write, and the answers.

#include "configuration/parameter_block.h"

#include <gtest/gtest.h>

#include <map>

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

// What "Box=text" sends at its register's write index (the two levels: their byte), rounded
// half to even; "-" where it does not fit and is refused with a line that says so, "?" where
// the box is no number and the line names it.
TEST(ParameterWrite, ValuesAreRoundedHalfToEvenAndThoseThatDoNotFitOrAreNoNumberAreRefused) {
  const ReadScreen read = readScreen(parameterReply());
  const std::map<std::string, std::size_t> at = {{"SetChargeCurr", 7}, {"LTextBox8", 9},   {"LTextBox12", 15},
                                                 {"LTextBox16", 19},   {"LTextBox24", 35}, {"LTextBox44", 36},
                                                 {"LTextBox45", 37},   {"LTextBox10", 45}};
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
    return std::to_string(name == "LTextBox24" || name == "LTextBox44" ? w[at.at(name)] : wordAt(w, at.at(name)));
  };
  EXPECT_TRUE(mapsTo(sent,
                     "LTextBox8=65535>65535|LTextBox8=65536>-|LTextBox8=-1>-|LTextBox8=-0.4>0|LTextBox8=&H10>16|"
                     "LTextBox8=1e3>1000|LTextBox8=150.5>150|LTextBox8=151.5>152|LTextBox12=6553.5>65535|"
                     "LTextBox12=6553.6>-|LTextBox12=14.25>142|LTextBox12=14.35>144|SetChargeCurr=655.35>65535|"
                     "SetChargeCurr=0.125>12|SetChargeCurr=0.375>38|LTextBox10=3>-|LTextBox10=-65535>65535|"
                     "LTextBox10=-2.5>2|LTextBox44=255>255|LTextBox44=256>-|LTextBox24=256>-|LTextBox24=-1>-|"
                     "LTextBox16=-1>-|LTextBox16=6553.5>65535|LTextBox45=2.5>2|LTextBox45=3.5>4"));
  // The equalising voltage and the full-charge level are read leniently: empty or no number is
  // 0, a numeric prefix counts; every other box strictly.
  EXPECT_TRUE(mapsTo(sent, "LTextBox16=>0|LTextBox16=abc>0|LTextBox24=>0|LTextBox24=abc>0|LTextBox16=14.2V>142"));
  for (const char* box : {"SetChargeCurr", "LTextBox8", "LTextBox12", "TextLimit", "LTextBox18", "LTextBox20",
                          "LTextBox22", "LTextBox38", "LTextBox40", "LTextBox36", "LTextBox34", "LTextBox44",
                          "LTextBox45", "LTextBox28", "LTextBox29", "LTextBox32", "LTextBox10"}) {
    const std::string b(box);
    EXPECT_TRUE(mapsTo(sent, b + "=>?|" + b + "=abc>?|" + b + "=12V>?|" + b + "= >?"));
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

// What "设置" does: the action, and the message it shows or logs.
std::string outcome(ParameterBoxes& b, ParameterBlockState& state) {
  const SetCommand cmd = command2Click(b, state);
  const char* actions[] = {"show", "log", "send"};
  return actions[static_cast<int>(cmd.action)] + (" " + cmd.text) + (cmd.frame.empty() ? "" : " frame");
}

TEST(SetButton, RefusesBeforeAReadAndAfterAStationChange) {
  ParameterBoxes fresh;
  ParameterBlockState none;
  fresh.setText(C::SetChargeCurr, "10");
  EXPECT_EQ(outcome(fresh, none), "show 请先读数据");

  // A station change empties the screen; the old block is never sent.
  ReadScreen s = readScreen(parameterReply());
  clearAll(s.boxes);
  s.boxes.setText(C::LTextBox1, "2");
  EXPECT_EQ(outcome(s.boxes, s.state), "show 请先读数据");

  // A station chosen whose block did not come: its rated values did, "恢复默认值" fills the
  // current, and still the block of the station before is not written to it.
  s = readScreen(parameterReply());
  stationChosen(s.state);
  clearAll(s.boxes);
  s.boxes.setText(C::LTextBox1, "2");
  showRatedInfo(s.boxes, deviceInfoReply(48, 20, 20));
  restoreDefaults(s.boxes);
  ASSERT_EQ(s.boxes.text(C::SetChargeCurr), "20.00");
  EXPECT_EQ(outcome(s.boxes, s.state), "show 请先读数据");
  Bytes other = parameterReply();
  other[0] = 2;
  ASSERT_TRUE(showParameterBlock(s.boxes, s.state, other));
  EXPECT_EQ(outcome(s.boxes, s.state), "send  frame");
  s.boxes.setText(C::LTextBox12, "");
  EXPECT_EQ(outcome(s.boxes, s.state), "log 参数未发送：“超压电压（V）”为空");
}

TEST(SetResult, OnlyASixByteReplySpeaks) {
  // The four bytes after the function are not compared.
  const auto message = [](const std::string& reply) {
    return std::string(setResultMessage(hexBytes(reply)).value_or("-"));
  };
  EXPECT_TRUE(mapsTo(message,
                     "01 10 E0 01 00 21>参数设置成功|01 10 00 00 00 00>参数设置成功|01 90 E0 01 00 21>错误参数设置|"
                     "01 90 02>-|01 90 02 00 00>-|01 10 E0 01 00 21 00>-"));
}

}  // namespace
}  // namespace xl::configuration
