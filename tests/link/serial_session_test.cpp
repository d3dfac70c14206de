// The serial session on a simulated line, and the record of the wire: the verdict on each reply,
// the ring of exchanges, and what a session reports (and that it reports nothing and posts
// nothing while nobody watches).

#include "link/serial_session.h"

#include <gtest/gtest.h>

#include <tuple>

#include "link/exchange_log.h"
#include "link/frame_codec.h"
#include "platform/timer.h"
#include "support/scripted_device.h"

namespace xl::link {
namespace {

using platform::Duration;
using platform::ms;
using std::chrono::microseconds;

const Bytes kRead1 = requestFrame(1, " 03 0100 0023");

Bytes realTimePayload(std::uint8_t address) {
  Bytes p = {address, 0x03, 0x46};
  for (int i = 0; i < 70; ++i) p.push_back(static_cast<std::uint8_t>(i));
  return p;
}
Bytes realTimeReply(std::uint8_t address) { return appendCrc(realTimePayload(address)); }

// A simulated line COM3 at 9600 baud with one scripted device, under a virtual clock.
class SessionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::setScheduler(&clock);
    platform::setPortDriver(&driver);
    line = &driver.addLine("COM3", 9600);
    device = std::make_shared<testing::ScriptedDevice>();
    line->attach(device);
    driver.addLine("COM4", 9600);
  }
  void TearDown() override {
    SerialSession::setScanControl(nullptr);
    platform::setPortTrace({});
    if (observer) removeExchangeObserver(observer);
  }
  void watch() {
    observer = addExchangeObserver([this](const Exchange& e) { seen.push_back(e); });
  }

  // A reply as the device would send it: payload plus CRC, after `latency`.
  void replyWith(const Bytes& payload, Duration latency = ms(5)) { device->reply = {{latency, appendCrc(payload)}}; }

  // Sends `frame` on `s` and lets `wait` milliseconds of the line pass.
  void exchange(SerialSession& s, const std::string& port, const Bytes& frame, int wait) {
    s.sendRequest(port, frame);
    clock.advance(ms(wait));
  }

  platform::VirtualClock clock;
  platform::SimBusDriver driver;
  platform::SimLine* line = nullptr;
  std::shared_ptr<testing::ScriptedDevice> device;

  std::vector<std::pair<Duration, Bytes>> replies;
  std::vector<Exchange> seen;
  int observer = 0;
  SerialSession session{"Screen.MSComm1", SessionOptions{},
                        [this](Bytes& data, const std::string&) { replies.emplace_back(clock.now(), data); }};
};

TEST_F(SessionTest, SendRequestClosesSetsUpOpensAndWritesInOrder) {
  // The scan holds COM3 open with a request out; the screen sends on COM4.
  SerialSession scan("FrmGlobalMonitoring.MSComm1", SessionOptions{}, [](Bytes&, const std::string&) {});
  SerialSession::setScanControl(&scan.control());
  scan.sendRequest("COM3,9600", kRead1);
  ASSERT_TRUE(scan.control().portOpen());

  // What is done to the controls: the screen's own by its property names alone; any other
  // control would show its name.
  std::string ops;
  platform::setPortTrace([&](const std::string& control, const std::string& op, const std::string& value) {
    ops += (control == "Screen.MSComm1" ? "" : control + ".") + op + "=" + value + " ";
  });
  // The scan's exchange on COM3 is under way: a send on COM4 leaves it alone.
  session.sendRequest("COM4,9600", requestFrame(2, " 03 0100 0023"));
  EXPECT_TRUE(scan.control().portOpen());
  EXPECT_TRUE(ops.starts_with("CommPort=4 ")) << ops;
  // At their silence limit both exchanges end and both ports close.
  clock.advance(ms(SerialSession::kSilenceLimitMs));
  EXPECT_FALSE(scan.control().portOpen() || session.control().portOpen());
  ops.clear();
  session.sendRequest("COM4,9600", requestFrame(2, " 03 0100 0023"));
  EXPECT_EQ(ops,
            "CommPort=4 Settings=9600,N,8,1 InputMode=1 InputLen=0 InBufferSize=1024 OutBufferSize=512 "
            "PortOpen=True SThreshold=0 RThreshold=1 InBufferCount=0 OutBufferCount=0 "
            "Output=02 03 01 00 00 23 05 DC ");
  EXPECT_FALSE(scan.control().portOpen());
  EXPECT_EQ(session.portNumber(), 4);

  // A second send on the same screen waits for the first exchange (here its silence limit),
  // then closes its own control first.
  ops.clear();
  session.sendRequest("COM4,9600", requestFrame(2, " 03 0100 0023"));
  EXPECT_TRUE(ops.empty());
  clock.advance(ms(SerialSession::kSilenceLimitMs));
  EXPECT_TRUE(ops.starts_with("PortOpen=False CommPort=4 ")) << ops;

  // An empty port text, the scan's port open with no exchange under way: the real-time screen
  // leaves at once; other screens fail later, after closing the scan's port.
  clock.advance(ms(SerialSession::kSilenceLimitMs));
  scan.control().setCommPort(3);
  scan.control().setSettings("9600,N,8,1");
  scan.control().setPortOpen(true);
  SessionOptions leaving;
  leaving.leaveOnEmptyPortText = true;
  SerialSession realTime("FrmRealTimeMonitoring.MSComm1", leaving, [](Bytes&, const std::string&) {});
  realTime.sendRequest("", kRead1);
  EXPECT_TRUE(scan.control().portOpen());
  session.sendRequest("", kRead1);
  EXPECT_FALSE(scan.control().portOpen());
}

TEST_F(SessionTest, BadRepliesAreDroppedThePortIsClosedAndTheTextShownFirst) {
  Bytes wrongCrc = appendCrc(realTimePayload(1));
  std::swap(wrongCrc[73], wrongCrc[74]);
  const Bytes full = appendCrc(realTimePayload(1));
  const Bytes head(full.begin(), full.begin() + 40), tail(full.begin() + 40, full.end());
  const std::pair<const char*, std::vector<platform::SimReplyPart>> cases[] = {
      {"CRC mismatch", {{ms(5), wrongCrc}}},
      {"split by 150 ms", {{ms(5), head}, {ms(150), tail}}},
      {"address 0", {{ms(5), appendCrc(Bytes{0x00, 0x03, 0x02, 0x00, 0x01})}}},
      {"too short to read", {{ms(5), Bytes{0x01, 0x03}}}},
      {"wrong baud rate", {{ms(5), appendCrc(realTimePayload(1))}}},
      {"after the silence limit", {{ms(400), appendCrc(realTimePayload(1))}}},
  };
  for (const auto& [name, reply] : cases) {
    replies.clear();
    device->received.clear();
    device->reply = reply;
    const bool wrongBaud = std::string_view(name) == "wrong baud rate";
    exchange(session, wrongBaud ? "COM3,19200" : "COM3,9600", kRead1, 1000);
    EXPECT_TRUE(replies.empty()) << name;
    EXPECT_FALSE(session.control().portOpen()) << name;
    EXPECT_EQ(device->received.empty(), wrongBaud) << name;  // at the wrong rate it hears noise only
  }
  // After the split reply, a good one is not mixed with the lost tail.
  replyWith(realTimePayload(2));
  exchange(session, "COM3,9600", requestFrame(2, " 03 0100 0023"), 400);
  // The answer of another station is never handed on (the whole console's truth tests); an
  // exception of the station asked is, as its three bytes.
  replyWith(Bytes{0x01, 0x83, 0x02});
  exchange(session, "COM3,9600", kRead1, 300);
  ASSERT_EQ(replies.size(), 2u);
  EXPECT_EQ(replies[0].second, realTimePayload(2));
  EXPECT_EQ(replies[1].second, (Bytes{0x01, 0x83, 0x02}));
  EXPECT_FALSE(session.control().portOpen());

  // The reply text goes to the hidden box before the check.
  std::vector<std::string> shown;
  SessionOptions boxedOptions;
  boxedOptions.showReplyText = [&](const std::string& t) { shown.push_back(t); };
  SerialSession boxed("Boxed.MSComm1", boxedOptions, [](Bytes&, const std::string&) {});
  device->reply = {{ms(5), wrongCrc}};
  exchange(boxed, "COM3,9600", requestFrame(1, " 03 E0 1D 0001"), 300);
  // A receive event with nothing to read shows an empty text, except on the screen that
  // skips empty texts; both close the port.
  SessionOptions skippingOptions = boxedOptions;
  skippingOptions.showOnlyNonEmptyText = true;
  SerialSession skipping("Skipping.MSComm1", skippingOptions, [](Bytes&, const std::string&) {});
  for (SerialSession* s : {&boxed, &skipping}) {
    device->reply = {};
    s->sendRequest("COM3,9600", requestFrame(1, " 03 E0 1D 0001"));
    s->control().onComm(platform::CommEvent::LineError);  // a line error, no data
    clock.advance(ms(200));
    EXPECT_FALSE(s->control().portOpen());
  }
  EXPECT_EQ(shown, (std::vector<std::string>{hexText(wrongCrc), ""}));
}

TEST_F(SessionTest, PortTextsAreTakenApartAndFailedSendsWriteNothing) {
  // "COM3" has no comma; "COM" is removed as written only.
  std::string got;
  for (const char* text : {"COM3,9600", "COM12,19200", "COMCOM5,9600", "COM3", "com3,9600", "COMx,9600", ""})
    got += std::to_string(getCommPort(text)) + " ";
  for (const char* text : {"COM3,9600", "COM3,9600,x", "COM3,"}) got += "/" + getBaudRate(text);
  EXPECT_EQ(got, "3 12 5 0 0 0 0 /9600/9600,x/");
  // A port held open by another control, bad port texts, a port that does not exist, a baud
  // rate the control refuses: nothing goes on the wire and nothing is reported.
  platform::SerialControl other("Other.MSComm1");
  other.setCommPort(3);
  other.setPortOpen(true);
  for (const char* portText : {"COM3,9600", "COM3", "COMx,9600", "", "COM3,abc", "COM9,9600", "COM0,9600", "COM4,"}) {
    exchange(session, portText, kRead1, 300);
    EXPECT_EQ(std::tuple(line->wire().size(), replies.size(), session.portNumber()), std::tuple(0u, 0u, 0)) << portText;
  }
  other.setPortOpen(false);
  replyWith(realTimePayload(1));
  exchange(session, "COM3,9600", kRead1, 300);
  EXPECT_EQ(replies.size(), 1u);
}

// A good reply is read at the end of the receive window and the port closes. A timer due every
// 30 ms keeps ticking, but none of its ticks is served inside the window: those that fall due
// there run right after the reply handler, merged into one.
TEST_F(SessionTest, GoodReplyIsReadAtTheEndOfTheWindowWhileTimerTicksWait) {
  std::vector<std::int64_t> ticks;
  platform::Timer timer(30, [&] { ticks.push_back(clock.now().count()); });
  timer.setEnabled(true);
  replyWith(realTimePayload(1));
  session.sendRequest("COM3,9600", kRead1);
  // The 8-byte request takes 8333 us; the device answers 5 ms later; its first byte is in
  // after one more byte time; the window then runs 100 ms.
  const Duration firstByte = microseconds(8333 + 5000 + 1041);
  clock.advance(firstByte + ms(99));
  EXPECT_EQ(std::tuple(replies.size(), session.control().portOpen()), std::tuple(0u, true));
  clock.advance(ms(150));
  // Read 100 ms after the first byte, the 73 bytes whole (the upper index a handler insists on is
  // 72); the 75 bytes of the reply took 78 ms on the wire.
  ASSERT_EQ(std::tuple(replies.size(), line->wire().size()), std::tuple(1u, 2u));
  EXPECT_EQ(std::tuple(replies[0].first, replies[0].second, session.control().portOpen(),
                       platform::toMs(line->wire()[1].end - line->wire()[1].start)),
            std::tuple(firstByte + ms(100), realTimePayload(1), false, 78));
  // The window runs from 14374 to 114374 us: the ticks due at 30, 60 and 90 ms run at its end as
  // one, and the grid of the timer is kept.
  std::string due;
  for (std::int64_t t : ticks) due += std::to_string(t) + " ";
  EXPECT_EQ(due, "114374 120000 150000 180000 210000 240000 ");
}

TEST(ExchangeRecord, EachReplyShapeGetsItsVerdictAndTheRingKeepsTheNewest) {
  const Bytes rt = requestFrame(1, " 03 0100 0023"), lm = requestFrame(1, " 03 E0 1D 0001");
  const Bytes on = requestFrame(1, " 06 010A 0001"), factory = appendCrc({1, 0x78}), whole = realTimeReply(1);
  // The verdict's text, the exception's code included.
  const auto v = [](const Bytes& request, const Bytes& reply) {
    int code = -1;
    const Verdict verdict = judgeReply(request, reply, &code);
    return verdictText(verdict, code) + "|";
  };
  // The answer of another station, or to another function, answers another request.
  EXPECT_EQ(v(rt, whole) + v(rt, realTimeReply(2)) + v(rt, appendCrc({0x01, 0x04, 0x02, 0x00, 0x0F})) + v(rt, {}),
            "正常|地址不符|地址不符|无应答|");
  // A spoiled CRC; a reply cut by a gap (the first part alone has no right CRC); one byte; more
  // than a frame can hold (a line full of noise) is no frame either, and never a failure.
  Bytes spoiled = whole, longest(255, 0x11);
  spoiled.back() ^= 0xFF;
  longest[0] = 1, longest[1] = 0x78;
  EXPECT_EQ(v(rt, spoiled) + v(rt, Bytes(whole.begin(), whole.begin() + 40)) + v(rt, {0x01}) + v(rt, Bytes(600, 0x55)) +
                v(factory, appendCrc(longest)) + v(factory, Bytes(258, 0x11)),
            "CRC错误|CRC错误|CRC错误|CRC错误|正常|CRC错误|");
  // A right frame of the wrong length: the load mode reply to a real-time request. Writes are
  // echoed in 8 bytes; functions of the factory have no fixed length.
  const Bytes loadMode = appendCrc({0x01, 0x03, 0x02, 0x00, 0x0F});
  EXPECT_EQ(v(rt, loadMode) + v(lm, loadMode) + v(lm, appendCrc({0x01, 0x83, 0x02})) + v(on, on) +
                v(on, appendCrc({1, 6, 1, 0x0A, 0})) + v(factory, appendCrc({1, 0x78, 0, 0, 0, 0})),
            "长度不符|正常|异常应答 02|正常|长度不符|正常|");

  // The ring of exchanges keeps the newest and counts all.
  ExchangeLog log(3);
  Exchange e;
  for (e.address = 1; e.address <= 5; ++e.address) log.push(e);
  EXPECT_EQ(std::tuple(log.size(), log.at(0).address, log.at(2).address, log.total()), std::tuple(3u, 3, 5, 5u));
  log.clear();
  EXPECT_EQ(std::tuple(log.size(), log.total()), std::tuple(0u, 5u));
}

// Each exchange is reported once, and its owner told once, whether answered or silent.
// While nobody watches, nothing is posted for the record: only the wire's own tasks.
TEST_F(SessionTest, ReportsGoodAndSilentExchanges) {
  device->reply = {{ms(5), realTimeReply(1)}};
  session.sendRequest("COM3,9600", requestFrame(1, " 03 0100 0023"));
  const std::size_t tasks = clock.pending();
  clock.advance(ms(1000));
  watch();
  int ended = 0;
  session.setOnExchangeEnded([&] { ++ended; });
  session.sendRequest("COM3,9600", requestFrame(1, " 03 0100 0023"));
  EXPECT_EQ(clock.pending(), tasks + 1);
  clock.advance(ms(1000));
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(std::tuple(seen[0].verdict, seen[0].port, seen[0].address, seen[0].request, seen[0].reply),
            std::tuple(Verdict::Ok, "COM3", 1, requestFrame(1, " 03 0100 0023"), realTimeReply(1)));
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
