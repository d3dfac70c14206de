// The rules of the load configuration, device ID and factory operation screens: the frames,
// what a reply shows, the writes from a screen's state and the verdict on each reply. The
// frames the screens send for address 1 are checked on the wire by the screens' test.

#include <gtest/gtest.h>

#include <cstdio>
#include <tuple>

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

// A load block reply as verifyFrame hands it on, for "mode/delay/volts": the values in the low
// bytes; the high bytes carry junk that must be ignored.
Bytes blockReply(const std::string& values) {
  unsigned mode = 0, delay = 0, volts = 0;
  std::sscanf(values.c_str(), "%u/%u/%u", &mode, &delay, &volts);
  Bytes reply{0x01, 0x03, 0x06, 0xAA, 0, 0xBB, 0, 0xCC, 0};
  std::tie(reply[4], reply[6], reply[8]) = std::tuple(mode, delay, volts);
  return reply;
}

// What a reply shows: the option's caption ("kept" where the one selected before stays), then
// box 2, box 3, their tags, box 5, box 4 and the two lists; "back" where "设置" in the option
// shown sends the values read, written back unchanged.
TEST(LoadBlockView, LightControlShowsItsValuesAndEveryOtherModeItsButton) {
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
  for (std::size_t n : {0u, 1u, 3u, 5u, 8u, 10u, 69u}) EXPECT_FALSE(showLoadBlock(Bytes(n, 1))) << n;
  EXPECT_FALSE(showLoadBlock(hexBytes("01 83 02")));  // the device's exception reply
}

// "address/option/hours/volts tag/delay tag" ("-" for no option): the address and the six
// bytes sent, "read first" for the message and no frame, "log" for a line and no frame. Before
// a read the voltage tag is empty; a value that does not fit a byte is logged; the hours are
// read only with Option5 selected; values round half to even; letters are 0; Option5 with the
// hours emptied sends mode 0, as does no option at all; with no station the tags go out to 0.
TEST(LoadBlockWrite, TheFrameAndItsRefusals) {
  const auto write = [](const std::string& s) {
    std::vector<std::string> f;
    for (std::size_t at = 0; at <= s.size();) {
      const std::size_t end = std::min(s.find('/', at), s.size());
      f.push_back(s.substr(at, end - at));
      at = end + 1;
    }
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
  // An empty address box gives address 0; a fraction rounds half to even; no byte, no frame
  // (256 would be "100 78 ...", a frame of another shape).
  const auto frame = [](const std::string& box) {
    return hexText(factoryFrame(FactoryCommand::Command1, box).value_or(Bytes{}));
  };
  EXPECT_TRUE(mapsTo(frame, ">00780000000161D1|2.5>0278000000016033|255>FF780000000175DE|256>|-1>"));
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
