// The load configuration screen's rules: the read, what a reply shows, the write from the
// screen's state and the verdict on each reply.

#include "configuration/load_block.h"

#include <gtest/gtest.h>

#include "link/frame_codec.h"
#include "support/hex_bytes.h"

namespace xl::configuration {
namespace {

using xl::testing::hexBytes;

// A load block reply as verifyFrame hands it on: mode, delay and voltage in the low bytes; the
// high bytes carry junk that must be ignored.
Bytes blockReply(std::uint8_t mode, std::uint8_t delay, std::uint8_t volts) {
  return Bytes{0x01, 0x03, 0x06, 0xAA, mode, 0xBB, delay, 0xCC, volts};
}

// The state a screen is left in by a reply, as the operator then presses "设置" on it.
LoadScreenState stateAfter(const LoadBlockView& v, LoadOption selected, std::string deviceId = "1") {
  return LoadScreenState{std::move(deviceId), selected, v.combo2, v.lTextBox2Tag, v.lTextBox3Tag};
}

// Box 2, box 3, their tags, box 5, box 4 and the two lists.
std::vector<std::string> texts(const LoadBlockView& v) {
  return {v.lTextBox2, v.lTextBox3, v.lTextBox2Tag, v.lTextBox3Tag, v.lTextBox5, v.lTextBox4, v.combo2, v.combo3};
}

TEST(LoadBlockFrames, ReadRequestAndTheWriteExample) {
  EXPECT_EQ(loadBlockReadRequest("1"), hexBytes("01 03 E0 1D 00 03 A2 0D"));
  EXPECT_EQ((*loadBlockReadRequest("2.5"))[0], 2);
  EXPECT_FALSE(loadBlockReadRequest("256") || loadBlockReadRequest("-1"));

  // Address 1, mode 5, delay 10 minutes, 5 volts.
  const LoadWrite w = buildLoadWrite({"1", LoadOption::Option5, "5", "5", "10"});
  ASSERT_TRUE(w.frame);
  EXPECT_EQ(*w.frame, hexBytes("01 10 E0 1D 00 03 06 00 05 00 0A 00 05 0D 2D"));
  EXPECT_TRUE(w.message.empty() && w.failureLog.empty());
}

TEST(LoadBlockView, LightControlShowsItsValuesAndEveryOtherModeItsButton) {
  const auto light = showLoadBlock(blockReply(0, 30, 6));
  ASSERT_TRUE(light);
  EXPECT_EQ(light->option, LoadOption::Option3);
  // LTextBox4: the hidden light-off voltage, one less.
  EXPECT_EQ(texts(*light), (std::vector<std::string>{"6", "30", "6", "30", "1", "5", "", ""}));
  EXPECT_EQ(*buildLoadWrite(stateAfter(*light, light->option)).frame,
            appendCrc(hexBytes("01 10 E0 1D 00 03 06 00 00 00 1E 00 06")));

  struct Case { std::uint8_t mode; LoadOption option; const char* caption; };
  const Case cases[] = {{1, LoadOption::Option5, "光时控"}, {14, LoadOption::Option5, "光时控"},
                        {15, LoadOption::Option4, "手动模式"}, {16, LoadOption::Option6, "调试模式"},
                        {17, LoadOption::Option7, "常开模式"}};
  for (const Case& c : cases) {
    const auto v = showLoadBlock(blockReply(c.mode, 7, 8));
    ASSERT_TRUE(v);
    EXPECT_EQ(v->option, c.option) << int(c.mode);
    EXPECT_EQ(loadOptionCaption(v->option), c.caption) << int(c.mode);
    EXPECT_TRUE(v->lTextBox2 == "" && v->lTextBox2Tag == "8" && v->lTextBox3Tag == "7") << int(c.mode);
    // Written back in its own mode, each sends what it read.
    EXPECT_EQ(*buildLoadWrite(stateAfter(*v, v->option)).frame,
              appendCrc(Bytes{1, 0x10, 0xE0, 0x1D, 0, 3, 6, 0, c.mode, 0, 7, 0, 8}));
  }
  EXPECT_EQ(loadOptionCaption(LoadOption::Option3), "光控开/关");

  // From 18 up no button stands for the mode: the one selected before stays; the tags still
  // take the device's values.
  for (std::uint8_t mode : {18, 255}) {
    const auto v = showLoadBlock(blockReply(mode, 1, 9));
    ASSERT_TRUE(v);
    EXPECT_TRUE(v->option == LoadOption::None && v->keepOption && v->combo2 == "" && v->lTextBox2Tag == "9")
        << int(mode);
  }
}

TEST(LoadBlockView, OnlyANineByteReplyIsShown) {
  for (std::size_t n : {0u, 1u, 3u, 5u, 8u, 10u, 69u}) EXPECT_FALSE(showLoadBlock(Bytes(n, 1))) << n;
  EXPECT_FALSE(showLoadBlock(hexBytes("01 83 02")));  // the device's exception reply
}

TEST(LoadBlockWrite, RefusalsSendNothing) {
  // Before a read the voltage tag is empty: the message, no frame.
  for (const char* tag : {"", "0", "-3", "abc"}) {
    const LoadWrite w = buildLoadWrite({"1", LoadOption::Option4, "", tag, "10"});
    EXPECT_TRUE(!w.frame && w.message == kLoadReadFirstText && w.failureLog.empty()) << tag;
  }
  // A value that does not fit a byte: a line for the message window, no frame.
  // The voltage, the delay (above and below), the hours (above and below), the station's address.
  const LoadScreenState refused[] = {
      {"1", LoadOption::Option3, "", "256", "10"}, {"1", LoadOption::Option3, "", "5", "300"},
      {"1", LoadOption::Option3, "", "5", "-1"},   {"1", LoadOption::Option5, "300", "5", "10"},
      {"1", LoadOption::Option5, "-2", "5", "10"}, {"256", LoadOption::Option3, "", "5", "10"}};
  for (const LoadScreenState& s : refused) {
    const LoadWrite w = buildLoadWrite(s);
    EXPECT_TRUE(!w.frame && w.message.empty() && !w.failureLog.empty())
        << s.lTextBox2Tag << " " << s.lTextBox3Tag << " " << s.combo2Text;
  }
  // The hours are read only with Option5 selected; values round half to even; letters are 0.
  EXPECT_TRUE(buildLoadWrite({"1", LoadOption::Option4, "300", "5", "10"}).frame);
  EXPECT_EQ(*buildLoadWrite({"1", LoadOption::Option5, "2.5", "4.5", "abc"}).frame,
            appendCrc(hexBytes("01 10 E0 1D 00 03 06 00 02 00 00 00 04")));
  // Option5 with Combo2 emptied sends mode 0; so does a screen with no option at all.
  EXPECT_EQ((*buildLoadWrite({"1", LoadOption::Option5, "", "5", "10"}).frame)[8], 0);
  EXPECT_EQ((*buildLoadWrite({"1", LoadOption::None, "5", "5", "10"}).frame)[8], 0);
  // No station: the tags go out to address 0, as the steps say.
  EXPECT_EQ((*buildLoadWrite({"", LoadOption::None, "", "5", "10"}).frame)[0], 0);
}

TEST(LoadBlockWrite, TheHiddenLightOffVoltage) {
  for (const auto& [on, off] : {std::pair{"5", "4"}, {"4", "3"}, {"3", ""}, {"", ""}, {"10.5", "9.5"}})
    EXPECT_EQ(lightOffVoltageText(on), off) << on;
}

TEST(LoadBlockReplies, OnlyAWriteAcknowledgementGetsTheMessage) {
  EXPECT_EQ(loadReplyMessage(kLoadPendingWrite, hexBytes("01 10 E0 1D 00 03")), kLoadWriteDoneText);
  EXPECT_EQ(loadReplyMessage(kLoadPendingWrite, hexBytes("01 10")), kLoadWriteDoneText);  // length is not tested
  EXPECT_EQ(loadReplyMessage(kLoadPendingRead, hexBytes("01 10 E0 1D 00 03")), "");
  // An exception reply, a read reply, address 0, too short.
  for (const char* reply : {"01 90 03", "01 03 06 00 05 00 0A 00 05", "00 10 E0 1D 00 03", "01", ""})
    EXPECT_EQ(loadReplyMessage(kLoadPendingWrite, hexBytes(reply)), "") << reply;
}

}  // namespace
}  // namespace xl::configuration
