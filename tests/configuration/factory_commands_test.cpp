// The factory operation screen's rules: the five frames, the reply dispatch and the status line.

#include "configuration/factory_commands.h"

#include <gtest/gtest.h>

#include "link/frame_codec.h"
#include "support/hex_bytes.h"

namespace xl::configuration {
namespace {

using xl::testing::hexBytes;

constexpr FactoryCommand kAll[] = {FactoryCommand::Command1, FactoryCommand::Command2, FactoryCommand::Command3,
                                   FactoryCommand::Command4, FactoryCommand::Command5};

// A verified reply and the text the receive routine made of it.
FactoryReply answer(int pendingRead, const char* payload) {
  const Bytes b = hexBytes(payload);
  return factoryReply(pendingRead, b, hexText(appendCrc(b)));
}

TEST(FactoryFrames, TheFiveCommandsForAddressOne) {
  const char* frames[] = {"01 78 00 00 00 01 60 00", "01 79 00 00 00 01 5D C0", "01 06 E3 27 00 00 0E 45",
                          "01 06 E3 27 00 01 CF 85", "01 06 DF 01 00 01 22 1E"};
  const int pending[] = {1, 2, 3, 3, 5};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(factoryFrame(kAll[i], "1"), hexBytes(frames[i])) << i;
    EXPECT_EQ(factoryPendingRead(kAll[i]), pending[i]) << i;
  }
  EXPECT_EQ(factoryCaption(FactoryCommand::Command1), "恢复出厂设置");
  EXPECT_EQ(factoryToolTip(FactoryCommand::Command1), "恢复设置参数到默认，同时清除历史数据");
  EXPECT_EQ(factoryToolTip(FactoryCommand::Command2), "仅清除历史数据");
  EXPECT_EQ(factoryCaption(FactoryCommand::Command5), "系统重启");

  // An empty address box gives address 0; a fraction rounds half to even; no byte, no frame.
  EXPECT_EQ(factoryFrame(FactoryCommand::Command1, ""), hexBytes("00 78 00 00 00 01 61 D1"));
  EXPECT_EQ((*factoryFrame(FactoryCommand::Command1, "2.5"))[0], 2);
  EXPECT_EQ((*factoryFrame(FactoryCommand::Command1, "255"))[0], 255);
  EXPECT_FALSE(factoryFrame(FactoryCommand::Command1, "256"));  // would be "100 78 ...", a frame of another shape
  EXPECT_FALSE(factoryFrame(FactoryCommand::Command5, "-1"));
}

TEST(FactoryReplies, FourMessagesAndTheStatusLine) {
  EXPECT_EQ(answer(1, "01 78 00 00 00 01").message, "恢复出厂成功");
  EXPECT_EQ(answer(2, "01 79 00 00 00 01").message, "清除数据成功");
  EXPECT_EQ(answer(5, "01 06 DF 01 00 01").message, "系统复位成功");
  EXPECT_FALSE(answer(1, "01 78 00 00 00 01").text1);

  const FactoryReply comm = answer(3, "01 06 E3 27 00 00");
  EXPECT_EQ(comm.message, "设置成功");
  EXPECT_EQ(comm.text1, kCommunicationUseText);
  EXPECT_EQ(answer(3, "01 06 E3 27 00 01").text1, kParallelUseText);
  // Any other six bytes: the blank status line and the same message.
  const FactoryReply other = answer(3, "01 06 E3 27 00 02");
  EXPECT_EQ(other.message, "设置成功");
  EXPECT_EQ(other.text1, kUnknownUseText);
  EXPECT_EQ(answer(3, "01 78 00 00 00 01").message, "设置成功");
  // The digits from the third on: the address does not count.
  EXPECT_EQ(answer(3, "09 06 E3 27 00 01").text1, kParallelUseText);
}

TEST(FactoryReplies, WrongRepliesDoNothing) {
  const struct {
    int pending;
    const char* payload;
  } silent[] = {
      {1, "01 79 00 00 00 01"},  // the wrong function for the command
      {2, "01 78 00 00 00 01"},
      {5, "01 06 DF 01 00 00"},  // the wrong text
      {5, "01 06 E3 27 00 01"},
      {1, "01 F8 01"},           // exception replies: three bytes
      {2, "01 F9 01"},
      {3, "01 86 02"},
      {5, "01 86 02"},
      {3, "01 06 E3 27 00"},     // five and seven bytes
      {3, "01 06 E3 27 00 00 00"},
      {4, "01 06 E3 27 00 00"},  // no command sets 4
      {0, "01 78 00 00 00 01"},
      {3, "00 06 E3 27 00 00"},  // address 0
  };
  for (const auto& s : silent) {
    const FactoryReply r = answer(s.pending, s.payload);
    EXPECT_EQ(r.message, "") << s.pending << " " << s.payload;
    EXPECT_FALSE(r.text1) << s.pending << " " << s.payload;
  }
  EXPECT_EQ(factoryReply(3, Bytes{}, "").message, "");

  EXPECT_EQ(replyDigits("0106E3270000AAAA"), "06E3270000");
  EXPECT_EQ(replyDigits("0106"), "06");
  EXPECT_EQ(replyDigits("01"), "");
  EXPECT_EQ(replyDigits(""), "");
}

}  // namespace
}  // namespace xl::configuration
