// The rules of the load configuration, device ID and factory operation screens: the frames,
// what a reply shows, the writes from a screen's state and the verdict on each reply. The
// frames the screens send for address 1 are checked on the wire by the screens' test.

#include <gtest/gtest.h>

#include "configuration/device_id.h"
#include "configuration/factory_commands.h"
#include "configuration/load_block.h"
#include "core/text_cases.h"
#include "link/frame_codec.h"
#include "support/hex_bytes.h"

namespace xl::configuration {
namespace {

using xl::testing::hexBytes;
using xl::testing::mapsTo;

// ---- Load configuration ----------------------------------------------------------------------

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

  struct Case {
    std::uint8_t mode;
    LoadOption option;
    const char* caption;
  };
  const Case cases[] = {{1, LoadOption::Option5, "光时控"},
                        {14, LoadOption::Option5, "光时控"},
                        {15, LoadOption::Option4, "手动模式"},
                        {16, LoadOption::Option6, "调试模式"},
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

TEST(LoadBlockWrite, TheHiddenLightOffVoltage) { EXPECT_TRUE(mapsTo(lightOffVoltageText, "5>4|4>3|3>|>|10.5>9.5")); }

TEST(LoadBlockReplies, OnlyAWriteAcknowledgementGetsTheMessage) {
  // The length is not tested. Not: an exception reply, a read reply, address 0, too short.
  const auto afterWrite = [](const std::string& r) { return loadReplyMessage(kLoadPendingWrite, hexBytes(r)); };
  EXPECT_TRUE(mapsTo(afterWrite,
                     "01 10 E0 1D 00 03>设置参数成功|01 10>设置参数成功|01 90 03>|01 03 06 00 05 00 0A 00 05>|"
                     "00 10 E0 1D 00 03>|01>|>"));
  EXPECT_EQ(loadReplyMessage(kLoadPendingRead, hexBytes("01 10 E0 1D 00 03")), "");
}

// ---- Device ID -------------------------------------------------------------------------------

// The frames and their pace are checked on the wire by the screen's test; here a pass that
// ran out or was stopped starts from 1 again.
TEST(AddressPoll, ANewPassStartsFromOne) {
  AddressScan scan;
  EXPECT_FALSE(scan.tick());  // no pass yet
  scan.start();
  int polled = 0;
  while (scan.tick()) ++polled;
  EXPECT_EQ(polled, 241);
  scan.start();
  EXPECT_EQ(scan.tick()->address, 1);
  scan.stop();
  EXPECT_FALSE(scan.tick());
}

TEST(AddressPoll, TheAddressComesFromTheReply) {
  const Bytes good = hexBytes("F1 03 02 30 14");
  const std::string text = hexText(appendCrc(good));
  EXPECT_EQ(foundAddress(good, text), 241);
  // Neither function nor length counts: an exception reply of address 7 ends the search.
  EXPECT_EQ(foundAddress(hexBytes("07 83 02"), "078302F0F1"), 7);
  // No reply text, a CRC mismatch, address 0, no bytes.
  EXPECT_FALSE(foundAddress(good, "") || foundAddress(Bytes{0}, text) ||
               foundAddress(hexBytes("00 03 02 30 14"), text) || foundAddress(Bytes{}, text));
}

TEST(AddressWrite, NewAddressAndItsRefusals) {
  EXPECT_EQ(*addressWrite(1, "5").frame, hexBytes("01 06 00 1A 00 05 68 0E"));
  // Before any find the target is 0.
  EXPECT_EQ(*addressWrite(0, "5").frame, appendCrc(hexBytes("00 06 00 1A 00 05")));
  // No range test of its own: 0 and 242 to 255 go out as typed; letters give 0; what is no
  // byte sends nothing ("-") and leaves a line.
  const auto sent = [](const std::string& typed) {
    const auto w = addressWrite(1, typed);
    return w.frame ? std::to_string((*w.frame)[5]) : w.failureLog.empty() ? "" : "-";
  };
  EXPECT_TRUE(mapsTo(sent, "abc>0|0>0|250>250|255>255|2.5>2|-0.4>0|256>-|-1>-|1e10>-"));

  EXPECT_EQ(addressWriteMessage(hexBytes("01 06 00 1A 00 05"), "0106001A0005680E"), kAddressWrittenText);
  EXPECT_EQ(addressWriteMessage(hexBytes("01 86 03"), "018603"), kAddressWrittenText);  // content is not compared
  EXPECT_EQ(addressWriteMessage(Bytes{0}, "0106001A0005680F"), "");
  EXPECT_EQ(addressWriteMessage(hexBytes("01 06 00 1A 00 05"), ""), "");
}

// ---- Factory operation -----------------------------------------------------------------------

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

// "pending/reply" gives "message/status line" ("-" where the status line is left as it is).
TEST(FactoryReplies, OnlyTheRightReplyToTheCommandSpeaks) {
  const auto answer = [](const std::string& c) {
    const Bytes b = hexBytes(c.substr(2));
    const FactoryReply r = factoryReply(c[0] - '0', b, hexText(appendCrc(b)));
    return r.message + "/" + r.text1.value_or("-");
  };
  // Any other six bytes to 3 blank the status line, and the address does not count.
  EXPECT_TRUE(mapsTo(answer,
                     "3/01 06 E3 27 00 02>设置成功/ |3/01 78 00 00 00 01>设置成功/ |"
                     "3/09 06 E3 27 00 01>设置成功/当前RS485通讯口用于：并机|1/01 78 00 00 00 01>恢复出厂成功/-"));
  // By case: the wrong function for the command; the wrong text; exception replies (three
  // bytes); five and seven bytes; no command sets 4 or 0; address 0.
  EXPECT_TRUE(mapsTo(answer,
                     "1/01 79 00 00 00 01>/-|2/01 78 00 00 00 01>/-|5/01 06 DF 01 00 00>/-|"
                     "5/01 06 E3 27 00 01>/-|1/01 F8 01>/-|2/01 F9 01>/-|3/01 86 02>/-|5/01 86 02>/-|"
                     "3/01 06 E3 27 00>/-|3/01 06 E3 27 00 00 00>/-|4/01 06 E3 27 00 00>/-|"
                     "0/01 78 00 00 00 01>/-|3/00 06 E3 27 00 00>/-"));
  EXPECT_EQ(factoryReply(3, Bytes{}, "").message, "");
  EXPECT_TRUE(mapsTo(replyDigits, "0106E3270000AAAA>06E3270000|0106>06|01>|>"));
}

}  // namespace
}  // namespace xl::configuration
