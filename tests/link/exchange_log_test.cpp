// The record of the wire: the verdict on each reply, the ring of exchanges, and what a session
// reports (and that it reports nothing and posts nothing while nobody watches).

#include "link/exchange_log.h"

#include <gtest/gtest.h>

#include <tuple>

#include "link/frame_codec.h"
#include "link/serial_session.h"
#include "platform/sim_bus.h"
#include "support/scripted_device.h"

namespace xl::link {
namespace {

using platform::ms;

Bytes realTimeReply(std::uint8_t address) {
  Bytes p = {address, 0x03, 0x46};
  for (int i = 0; i < 70; ++i) p.push_back(static_cast<std::uint8_t>(i));
  return appendCrc(p);
}

TEST(Verdict, EachReplyShapeGetsItsVerdict) {
  const Bytes rt = requestFrame(1, " 03 0100 0023"), lm = requestFrame(1, " 03 E0 1D 0001");
  int code = -1;
  EXPECT_EQ(judgeReply(rt, realTimeReply(1)), Verdict::Ok);
  // The answer of another station, or to another function, answers another request.
  EXPECT_EQ(judgeReply(rt, realTimeReply(2)), Verdict::AddressMismatch);
  EXPECT_EQ(judgeReply(rt, appendCrc({0x01, 0x04, 0x02, 0x00, 0x0F})), Verdict::AddressMismatch);
  EXPECT_EQ(judgeReply(rt, {}), Verdict::NoReply);
  Bytes spoiled = realTimeReply(1);
  spoiled.back() ^= 0xFF;
  EXPECT_EQ(judgeReply(rt, spoiled), Verdict::CrcError);
  // A reply cut by a gap: the first part alone has no right CRC.
  const Bytes whole = realTimeReply(1);
  EXPECT_EQ(judgeReply(rt, Bytes(whole.begin(), whole.begin() + 40)), Verdict::CrcError);
  EXPECT_EQ(judgeReply(rt, {0x01}), Verdict::CrcError);
  // More than a frame can hold (a line full of noise) is no frame either, and never a failure.
  EXPECT_EQ(judgeReply(rt, Bytes(600, 0x55)), Verdict::CrcError);
  Bytes longest(255, 0x11);
  longest[0] = 1, longest[1] = 0x78;
  EXPECT_EQ(judgeReply(appendCrc({1, 0x78}), appendCrc(longest)), Verdict::Ok);
  EXPECT_EQ(judgeReply(appendCrc({1, 0x78}), Bytes(258, 0x11)), Verdict::CrcError);
  // A right frame of the wrong length: the load mode reply to a real-time request.
  EXPECT_EQ(judgeReply(rt, appendCrc({0x01, 0x03, 0x02, 0x00, 0x0F})), Verdict::LengthMismatch);
  EXPECT_EQ(judgeReply(lm, appendCrc({0x01, 0x03, 0x02, 0x00, 0x0F})), Verdict::Ok);
  EXPECT_EQ(judgeReply(lm, appendCrc({0x01, 0x83, 0x02}), &code), Verdict::Exception);
  EXPECT_EQ(code, 2);
  // Writes are echoed in 8 bytes; functions of the factory have no fixed length.
  EXPECT_EQ(judgeReply(requestFrame(1, " 06 010A 0001"), requestFrame(1, " 06 010A 0001")), Verdict::Ok);
  EXPECT_EQ(judgeReply(requestFrame(1, " 06 010A 0001"), appendCrc({1, 6, 1, 0x0A, 0})), Verdict::LengthMismatch);
  EXPECT_EQ(judgeReply(appendCrc({1, 0x78}), appendCrc({1, 0x78, 0, 0, 0, 0})), Verdict::Ok);
  EXPECT_EQ(verdictText(Verdict::Exception, 2), "异常应答 02");
  for (const char* text : {"COM3,9600", "COM3"}) EXPECT_EQ(portNameOf(text), "COM3") << text;
}

TEST(ExchangeLogRing, KeepsTheNewestAndCountsAll) {
  ExchangeLog log(3);
  for (int i = 1; i <= 5; ++i) {
    Exchange e;
    e.address = i;
    log.push(e);
  }
  ASSERT_EQ(log.size(), 3u);
  EXPECT_EQ(std::tuple(log.at(0).address, log.at(2).address, log.total()), std::tuple(3, 5, 5u));
  log.clear();
  EXPECT_EQ(std::tuple(log.size(), log.total()), std::tuple(0u, 5u));
  EXPECT_EQ(ExchangeLog(0).capacity(), 1u);
}

class ObservedSessionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::setScheduler(&clock);
    platform::setPortDriver(&driver);
    line = &driver.addLine("COM3", 9600);
    device = std::make_shared<testing::ScriptedDevice>();
    line->attach(device);
  }
  void TearDown() override {
    if (observer) removeExchangeObserver(observer);
  }
  void watch() {
    observer = addExchangeObserver([this](const Exchange& e) { seen.push_back(e); });
  }

  platform::VirtualClock clock;
  platform::SimBusDriver driver;
  platform::SimLine* line = nullptr;
  std::shared_ptr<testing::ScriptedDevice> device;
  std::vector<Exchange> seen;
  int observer = 0;
  int replies = 0;
  SerialSession session{"Screen.MSComm1", SessionOptions{}, [this](Bytes&, const std::string&) { ++replies; }};
};

TEST_F(ObservedSessionTest, NobodyWatchingPostsNothing) {
  device->reply = {{ms(5), realTimeReply(1)}};
  session.sendRequest("COM3,9600", requestFrame(1, " 03 0100 0023"));
  // Only the wire's own tasks: no silence limit is posted for the record.
  const std::size_t tasks = clock.pending();
  clock.advance(ms(1000));
  EXPECT_EQ(replies, 1);
  SerialSession other{"Other.MSComm1", SessionOptions{}, [](Bytes&, const std::string&) {}};
  watch();
  other.sendRequest("COM3,9600", requestFrame(1, " 03 0100 0023"));
  EXPECT_EQ(clock.pending(), tasks + 1);
}

// Each exchange is reported once, and its owner told once, whether answered or silent.
TEST_F(ObservedSessionTest, ReportsGoodAndSilentExchanges) {
  watch();
  int ended = 0;
  session.setOnExchangeEnded([&] { ++ended; });
  device->reply = {{ms(5), realTimeReply(1)}};
  session.sendRequest("COM3,9600", requestFrame(1, " 03 0100 0023"));
  clock.advance(ms(1000));
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(std::tuple(seen[0].verdict, seen[0].port, seen[0].address), std::tuple(Verdict::Ok, "COM3", 1));
  EXPECT_EQ(seen[0].request, requestFrame(1, " 03 0100 0023"));
  EXPECT_EQ(seen[0].reply, realTimeReply(1));
  // The record ends when the receive window has closed: 8 bytes out, 5 ms, the first byte
  // back, then the 100 ms window.
  EXPECT_NEAR(static_cast<double>(seen[0].endedUs - seen[0].sentUs), 9 * 1041.7 + 5000 + 100000, 200);

  // Silence: unanswered at the limit, not at the next request.
  device->reply = {};
  const auto sent = clock.now().count();
  session.sendRequest("COM3,9600", requestFrame(1, " 03 0100 0023"));
  clock.advance(ms(299));
  EXPECT_EQ(seen.size(), 1u);
  clock.advance(ms(1));
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(std::tuple(seen[1].verdict, seen[1].endedUs - sent), std::tuple(Verdict::NoReply, 300000));
  // A refused send (a port text without its rate) is no exchange.
  session.sendRequest("COM3", requestFrame(3, " 03 0100 0023"));
  clock.advance(ms(1000));
  EXPECT_EQ(seen.size(), 2u);
  EXPECT_EQ(ended, 2);
}

}  // namespace
}  // namespace xl::link
