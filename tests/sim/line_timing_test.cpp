// Frame detection and reply pacing of the pseudo-terminal front end, on invented times.

#include "tools/sim/line_timing.h"
#include "sim_test_util.h"

namespace xl::sim {
namespace {

using platform::ms;
using std::chrono::microseconds;

// A taken frame as text: its bytes and the time its last byte ended on the wire, in µs.
std::string frame(const std::optional<FrameAssembler::Frame>& f) {
  return f ? hexText(f->bytes) + "@" + std::to_string(f->end / microseconds(1)) : "none";
}

TEST(FrameAssembler, AFrameEndsAfterThreeAndAHalfCharactersOfSilence) {
  FrameAssembler a(9600);
  // At high rates the silence does not go below 1.75 ms.
  EXPECT_EQ(std::pair(a.silence(), FrameAssembler(115200).silence()),
            std::pair(microseconds(3645), microseconds(1750)));
  EXPECT_FALSE(a.deadline());

  // Eight bytes written at once occupy the wire for 8.33 ms.
  a.push(testing::hex("01 03 00 0A 00 11 A5 C4"), ms(10));
  const auto due = ms(10) + microseconds(8333) + a.silence();
  EXPECT_EQ(a.deadline(), due);
  EXPECT_EQ(frame(a.take(due - microseconds(1))), "none");
  EXPECT_EQ(frame(a.take(due)), "0103000A0011A5C4@18333");
  EXPECT_EQ(frame(a.take(ms(100))), "none");

  // Pieces closer than the silence make one frame, farther apart two.
  a.push(testing::hex("01 03 00"), ms(200));
  a.push(testing::hex("0A 00 11 A5 C4"), ms(205));  // within 3.125 + 3.6 ms of the first piece
  EXPECT_EQ(frame(a.take(ms(250))), "0103000A0011A5C4@210208");
  a.push(testing::hex("01 03"), ms(300));
  std::string two = frame(a.take(ms(310)));
  a.push(testing::hex("00 0A"), ms(310));
  EXPECT_EQ(two + " " + frame(a.take(ms(320))), "0103@302083 000A@312083");
}

// The chunks handed out at one time: their byte counts, and where a part begins, "first" and the
// size of the whole part.
std::string shape(const std::vector<ReplyPacer::Chunk>& chunks) {
  std::string s;
  for (const auto& c : chunks)
    s += std::to_string(c.bytes.size()) + (c.first ? " first of " + std::to_string(c.part.size()) : "") + ";";
  return s;
}

TEST(ReplyPacer, BytesLeaveAtWireSpeedAfterTheirGapsAndRepliesDoNotOverlap) {
  ReplyPacer p(9600);
  // A reply of 10 bytes 5 ms after a request that ended at 20 ms, then 4 more after 150 ms.
  p.schedule({{ms(5), Bytes(10, 0xAA)}, {ms(150), Bytes(4, 0xBB)}}, ms(20));
  EXPECT_EQ(p.next(), ms(25) + microseconds(1041));
  EXPECT_TRUE(p.due(ms(26)).empty());
  EXPECT_EQ(shape(p.due(ms(25) + microseconds(5000))), "4 first of 10;");  // four whole bytes are on the wire
  const auto firstEnd = ms(25) + microseconds(10416);
  EXPECT_EQ(shape(p.due(firstEnd)), "6;");
  EXPECT_TRUE(p.due(firstEnd + ms(149)).empty());
  const auto chunks = p.due(firstEnd + ms(160));
  EXPECT_EQ(shape(chunks), "4 first of 4;");
  EXPECT_EQ(chunks.at(0).bytes, Bytes(4, 0xBB));
  EXPECT_TRUE(p.idle() && !p.next());

  // Two devices' replies: the second cannot be complete before both have taken their wire time,
  // then it follows the first whole.
  p.schedule({{ms(5), Bytes(20, 1)}}, ms(1000));
  p.schedule({{ms(5), Bytes(20, 2)}}, ms(1000));
  Bytes out;
  std::string firsts;
  for (const auto t : {microseconds(1'046'665), microseconds(1'100'000)})
    for (const auto& c : p.due(t)) {
      firsts += shape({c});
      out.insert(out.end(), c.bytes.begin(), c.bytes.end());
    }
  EXPECT_EQ(firsts, "20 first of 20;19 first of 20;1;");
  Bytes expected(20, 1);
  expected.insert(expected.end(), 20, 2);
  EXPECT_EQ(out, expected);
}

}  // namespace
}  // namespace xl::sim
