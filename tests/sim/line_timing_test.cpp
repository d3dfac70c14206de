// Frame detection and reply pacing of the pseudo-terminal front end, on invented times.

#include <gtest/gtest.h>

#include "sim_test_util.h"
#include "tools/sim/line_timing.h"

namespace xl::sim {
namespace {

using platform::ms;
using std::chrono::microseconds;

TEST(FrameAssembler, AFrameEndsAfterThreeAndAHalfCharactersOfSilence) {
  FrameAssembler a(9600);
  EXPECT_EQ(a.silence(), microseconds(3645));
  EXPECT_FALSE(a.deadline());

  // Eight bytes written at once occupy the wire for 8.33 ms.
  a.push(testing::hex("01 03 00 0A 00 11 A5 C4"), ms(10));
  const auto end = ms(10) + microseconds(8333);
  ASSERT_TRUE(a.deadline());
  EXPECT_EQ(*a.deadline(), end + a.silence());
  EXPECT_FALSE(a.take(end + a.silence() - microseconds(1)));
  auto f = a.take(end + a.silence());
  ASSERT_TRUE(f);
  EXPECT_EQ(f->bytes, testing::hex("01 03 00 0A 00 11 A5 C4"));
  EXPECT_EQ(f->end, end);
  EXPECT_FALSE(a.take(ms(100)));
}

TEST(FrameAssembler, PiecesCloserThanTheSilenceMakeOneFrameFartherMakeTwo) {
  FrameAssembler a(9600);
  a.push(testing::hex("01 03 00"), ms(0));
  a.push(testing::hex("0A 00 11 A5 C4"), ms(5));  // within 3.125 + 3.6 ms of the first piece
  EXPECT_EQ(a.take(ms(50)).value_or(FrameAssembler::Frame{}).bytes.size(), 8u);

  a.push(testing::hex("01 03"), ms(100));
  auto first = a.take(ms(110));
  a.push(testing::hex("00 0A"), ms(110));
  auto second = a.take(ms(120));
  ASSERT_TRUE(first && second);
  EXPECT_EQ(std::tuple(first->bytes.size(), second->bytes.size()), std::tuple(2u, 2u));

  // At high rates the silence does not go below 1.75 ms.
  EXPECT_EQ(FrameAssembler(115200).silence(), microseconds(1750));
}

// The chunks handed out at one time: their byte counts, and where a part begins, "first" and the
// size of the whole part.
std::string shape(const std::vector<ReplyPacer::Chunk>& chunks) {
  std::string s;
  for (const auto& c : chunks)
    s += std::to_string(c.bytes.size()) + (c.first ? " first of " + std::to_string(c.part.size()) : "") + ";";
  return s;
}

TEST(ReplyPacer, BytesLeaveAtWireSpeedAfterTheirGaps) {
  ReplyPacer p(9600);
  // A reply of 10 bytes 5 ms after a request that ended at 20 ms, then 4 more after 150 ms.
  p.schedule({{ms(5), Bytes(10, 0xAA)}, {ms(150), Bytes(4, 0xBB)}}, ms(20));
  ASSERT_TRUE(p.next());
  EXPECT_EQ(*p.next(), ms(25) + microseconds(1041));
  EXPECT_TRUE(p.due(ms(26)).empty());

  EXPECT_EQ(shape(p.due(ms(25) + microseconds(5000))), "4 first of 10;");  // four whole bytes are on the wire

  const auto firstEnd = ms(25) + microseconds(10416);
  EXPECT_EQ(shape(p.due(firstEnd)), "6;");
  EXPECT_TRUE(p.due(firstEnd + ms(149)).empty());

  const auto chunks = p.due(firstEnd + ms(160));
  EXPECT_EQ(shape(chunks), "4 first of 4;");
  EXPECT_EQ(chunks.at(0).bytes, Bytes(4, 0xBB));
  EXPECT_TRUE(p.idle() && !p.next());
}

TEST(ReplyPacer, RepliesOfTwoDevicesDoNotOverlap) {
  ReplyPacer p(9600);
  p.schedule({{ms(5), Bytes(20, 1)}}, ms(0));
  p.schedule({{ms(5), Bytes(20, 2)}}, ms(0));
  Bytes out;
  int firsts = 0;
  for (int t = 0; t <= 60; ++t)
    for (const auto& c : p.due(ms(t))) {
      firsts += c.first;
      out.insert(out.end(), c.bytes.begin(), c.bytes.end());
    }
  EXPECT_EQ(firsts, 2);
  Bytes expected(20, 1);
  expected.insert(expected.end(), 20, 2);
  EXPECT_EQ(out, expected);
  // The second reply cannot be complete before both have taken their wire time.
  ReplyPacer q(9600);
  q.schedule({{ms(5), Bytes(20, 1)}}, ms(0));
  q.schedule({{ms(5), Bytes(20, 2)}}, ms(0));
  std::size_t sent = 0;
  for (const auto& c : q.due(ms(5) + microseconds(41665))) sent += c.bytes.size();
  EXPECT_EQ(sent, 39u);
}

}  // namespace
}  // namespace xl::sim
