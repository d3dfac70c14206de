// The factory operation screen's rules: the five frames, the reply dispatch and the status line.

#include "configuration/factory_commands.h"

#include <gtest/gtest.h>

#include "link/frame_codec.h"
#include "support/hex_bytes.h"

namespace xl::configuration {
namespace {

using xl::testing::hexBytes;

// A verified reply and the text the receive routine made of it.
FactoryReply answer(int pendingRead, const char* payload) {
  const Bytes b = hexBytes(payload);
  return factoryReply(pendingRead, b, hexText(appendCrc(b)));
}

// The five frames for address 1 and their messages are checked on the wire by the screen's
// test; here the address box's other texts and the replies the screen never gets.
TEST(FactoryFrames, TheAddressBox) {
  // An empty address box gives address 0; a fraction rounds half to even; no byte, no frame.
  EXPECT_EQ(factoryFrame(FactoryCommand::Command1, ""), hexBytes("00 78 00 00 00 01 61 D1"));
  EXPECT_EQ((*factoryFrame(FactoryCommand::Command1, "2.5"))[0], 2);
  EXPECT_EQ((*factoryFrame(FactoryCommand::Command1, "255"))[0], 255);
  // 256 would be "100 78 ...", a frame of another shape.
  EXPECT_FALSE(factoryFrame(FactoryCommand::Command1, "256") || factoryFrame(FactoryCommand::Command5, "-1"));
}

TEST(FactoryReplies, AnyOtherSixBytesBlankTheStatusLineAndTheAddressDoesNotCount) {
  EXPECT_TRUE(answer(3, "01 06 E3 27 00 02").message == "设置成功" &&
              answer(3, "01 06 E3 27 00 02").text1 == kUnknownUseText);
  EXPECT_EQ(answer(3, "01 78 00 00 00 01").message, "设置成功");
  EXPECT_EQ(answer(3, "09 06 E3 27 00 01").text1, kParallelUseText);
  EXPECT_FALSE(answer(1, "01 78 00 00 00 01").text1);
}

TEST(FactoryReplies, WrongRepliesDoNothing) {
  // By row: the wrong function for the command; the wrong text; exception replies (three bytes);
  // five and seven bytes; no command sets 4 or 0; address 0.
  const struct { int pending; const char* payload; } silent[] = {
      {1, "01 79 00 00 00 01"}, {2, "01 78 00 00 00 01"}, {5, "01 06 DF 01 00 00"}, {5, "01 06 E3 27 00 01"},
      {1, "01 F8 01"}, {2, "01 F9 01"}, {3, "01 86 02"}, {5, "01 86 02"},
      {3, "01 06 E3 27 00"}, {3, "01 06 E3 27 00 00 00"}, {4, "01 06 E3 27 00 00"}, {0, "01 78 00 00 00 01"},
      {3, "00 06 E3 27 00 00"}};
  for (const auto& s : silent) {
    const FactoryReply r = answer(s.pending, s.payload);
    EXPECT_TRUE(r.message.empty() && !r.text1) << s.pending << " " << s.payload;
  }
  EXPECT_EQ(factoryReply(3, Bytes{}, "").message, "");
  for (const auto& [text, digits] : {std::pair{"0106E3270000AAAA", "06E3270000"}, {"0106", "06"}, {"01", ""}, {"", ""}})
    EXPECT_EQ(replyDigits(text), digits) << text;
}

}  // namespace
}  // namespace xl::configuration
