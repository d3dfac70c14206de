// The parameter screen's rules against the simulated controller: read, edit, write, read back.
// Every byte the screen does not show must come back as it was, apart from the seven bits of
// 0xE021's high byte that the write drops by design.

#include <gtest/gtest.h>

#include "configuration/parameter_block.h"
#include "configuration/parameter_rules.h"
#include "link/frame_codec.h"
#include "parameter_test_util.h"
#include "tools/sim/controller.h"

namespace xl::configuration {
namespace {

using C = Control;

sim::StationOptions frozen() {
  sim::StationOptions o;
  o.address = 1;
  o.live = false;
  o.plant.historyDays = 0;
  return o;
}

// One exchange as the screen's receive routine sees it: the reply verified, or empty.
Bytes ask(sim::Controller& device, const Bytes& frame) {
  const auto reply = device.handle(frame, platform::ms(0));
  if (!reply) return {};
  const auto verified = verifyFrame(hexText(*reply));
  return verified && verified->size() > 1 ? *verified : Bytes{};
}

Bytes readBlock(sim::Controller& device) { return ask(device, requestFrame(1, kParameterReadLiteral)); }

// A device whose hidden words all differ from the factory and from each other.
void setHiddenWords(sim::Controller& device) {
  auto& s = device.state();
  s.setParam(0xE003, 0xFF5A);  // automatic, reserved low byte 0x5A
  for (std::uint16_t reg = 0xE015; reg <= 0xE020; ++reg) s.setParam(reg, static_cast<std::uint16_t>(0x1100 * (reg - 0xE014) + reg % 256));
  s.setParam(0xE01D, 9);  // the load mode must stay one the device takes (0..17)
  s.setParam(0xE021, 0x00A7);  // voltage compensation, reserved low byte 0xA7
}

TEST(ParameterDevice, AWriteKeepsEveryHiddenByteAndTakesTheEditedValues) {
  sim::Controller device(frozen());
  setHiddenWords(device);
  ParameterBoxes boxes;
  ParameterBlockState state;
  boxes.setText(C::LTextBox1, "1");
  ASSERT_TRUE(showRatedInfo(boxes, ask(device, requestFrame(1, kDeviceInfoLiteral))));
  const Bytes before = readBlock(device);
  ASSERT_TRUE(showParameterBlock(boxes, state, before));

  // The operator edits two fields under the sealed type, as typed and left.
  boxes.setText(C::LTextBox8, "350");
  lostFocus(boxes, C::LTextBox8);
  boxes.setText(C::SetChargeCurr, "12.5");
  lostFocus(boxes, C::SetChargeCurr);
  const SetCommand cmd = command2Click(boxes, state);
  ASSERT_EQ(cmd.action, SetCommand::Action::Send) << cmd.text;
  EXPECT_EQ(setResultMessage(ask(device, cmd.frame)), "参数设置成功");

  const Bytes after = readBlock(device);
  ASSERT_EQ(after.size(), 69u);
  EXPECT_EQ(device.state().param(0xE001), 1250);
  EXPECT_EQ(device.state().param(0xE002), 350);
  Bytes expected = before;
  expected[3] = 0x04, expected[4] = 0xE2;  // 12.50 A
  expected[5] = 0x01, expected[6] = 0x5E;  // 350 Ah
  EXPECT_EQ(after, expected);

  // Read again and written unchanged, the block stays as it is, byte for byte.
  ASSERT_TRUE(showParameterBlock(boxes, state, after));
  EXPECT_EQ(setResultMessage(ask(device, command2Click(boxes, state).frame)), "参数设置成功");
  EXPECT_EQ(readBlock(device), after);
}

TEST(ParameterDevice, OnlyBitTwoOfTheModeByteSurvivesAndAnUnknownTypeKeepsItsHighByte) {
  sim::Controller device(frozen());
  setHiddenWords(device);
  device.state().setParam(0xE021, 0xFFA7);  // charge by SOC, and every other bit set
  device.state().setParam(0xE004, 0x5A02);  // a type the screen does not know
  ParameterBoxes boxes;
  ParameterBlockState state;
  boxes.setText(C::LTextBox1, "1");
  showRatedInfo(boxes, ask(device, requestFrame(1, kDeviceInfoLiteral)));
  ASSERT_TRUE(showParameterBlock(boxes, state, readBlock(device)));
  EXPECT_EQ(boxes.text(C::Combo2), "User");
  EXPECT_EQ(boxes.text(C::Combo3), "SOC");

  const SetCommand cmd = command2Click(boxes, state);
  ASSERT_EQ(cmd.action, SetCommand::Action::Send) << cmd.text;
  ASSERT_FALSE(ask(device, cmd.frame).empty());
  EXPECT_EQ(device.state().param(0xE021), 0x04A7);
  EXPECT_EQ(device.state().param(0xE004), 0x5A00);  // "User" is 0; the high byte went back
  EXPECT_EQ(device.state().param(0xE003), 0xFF5A);
}

TEST(ParameterDevice, AWritePutsBackTheLoadBlockOfTheLastRead) {
  sim::Controller device(frozen());
  ParameterBoxes boxes;
  ParameterBlockState state;
  boxes.setText(C::LTextBox1, "1");
  showRatedInfo(boxes, ask(device, requestFrame(1, kDeviceInfoLiteral)));
  ASSERT_TRUE(showParameterBlock(boxes, state, readBlock(device)));
  const std::uint16_t loadMode = device.state().param(0xE01D);

  // The load screen changes the mode in between; the parameter write undoes it.
  ASSERT_FALSE(ask(device, appendCrc(testing::hexBytes("01 10 E0 1D 00 03 06 00 05 00 0A 00 05"))).empty());
  ASSERT_EQ(device.state().param(0xE01D), 5);
  ASSERT_EQ(command2Click(boxes, state).action, SetCommand::Action::Send);
  ask(device, command2Click(boxes, state).frame);
  EXPECT_EQ(device.state().param(0xE01D), loadMode);
}

TEST(ParameterDevice, AnExceptionReplyToTheWriteSaysNothing) {
  sim::StationOptions o = frozen();
  o.faults.exception = sim::Exception::IllegalValue;
  sim::Controller device(o);
  ParameterBoxes boxes;
  ParameterBlockState state;
  showParameterBlock(boxes, state, testing::parameterReply());
  boxes.setText(C::LTextBox1, "1");
  boxes.setText(C::LTextBox4, "20.00");
  const SetCommand cmd = command2Click(boxes, state);
  ASSERT_EQ(cmd.action, SetCommand::Action::Send);
  const auto reply = device.onFrame(cmd.frame, platform::ms(0));
  ASSERT_FALSE(reply.empty());
  Bytes raw;
  for (const auto& part : reply) raw.insert(raw.end(), part.bytes.begin(), part.bytes.end());
  const auto verified = verifyFrame(hexText(raw));
  ASSERT_TRUE(verified);
  EXPECT_EQ((*verified)[1], 0x90);
  EXPECT_FALSE(setResultMessage(*verified));
}

}  // namespace
}  // namespace xl::configuration
