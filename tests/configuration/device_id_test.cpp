// The device ID screen's rules: the address pass, the find and the address write.

#include "configuration/device_id.h"

#include <gtest/gtest.h>

#include "link/frame_codec.h"
#include "support/hex_bytes.h"

namespace xl::configuration {
namespace {

using xl::testing::hexBytes;

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
  // No range test of its own: 0 and 242 to 255 go out as typed; letters give 0.
  for (const auto& [typed, sent] : {std::pair{"abc", 0}, {"0", 0}, {"250", 250}, {"255", 255}, {"2.5", 2}, {"-0.4", 0}})
    EXPECT_EQ((*addressWrite(1, typed).frame)[5], sent) << typed;
  for (const char* typed : {"256", "-1", "1e10"})
    EXPECT_TRUE(!addressWrite(1, typed).frame && !addressWrite(1, typed).failureLog.empty()) << typed;

  EXPECT_EQ(addressWriteMessage(hexBytes("01 06 00 1A 00 05"), "0106001A0005680E"), kAddressWrittenText);
  EXPECT_EQ(addressWriteMessage(hexBytes("01 86 03"), "018603"), kAddressWrittenText);  // content is not compared
  EXPECT_EQ(addressWriteMessage(Bytes{0}, "0106001A0005680F"), "");
  EXPECT_EQ(addressWriteMessage(hexBytes("01 06 00 1A 00 05"), ""), "");
}

}  // namespace
}  // namespace xl::configuration
