// The monitoring rules below the screens: the history screen's requests, rows, day count and
// export lines; the link health of a station booked from exchanges alone; and the fast
// scan's engine on two simulated lines. The frames of a reading, the cells of a reply and the
// charts of marked rows are checked in the whole console by the history screen's test.

#include <gtest/gtest.h>

#include "monitoring/chart_axis.h"
#include "monitoring/history_record.h"
#include "monitoring/line_scan.h"
#include "monitoring/link_health.h"
#include "platform/failure.h"
#include "support/hex_bytes.h"
#include "support/scripted_device.h"
#include "support/wire_log.h"

namespace xl::monitoring {
namespace {

using platform::ms;
using xl::testing::hexBytes;

// A tick as text: the frame in hex or "-", "end" when the reading is over, the progress, "log".
std::string describe(const HistoryTick& t) {
  return (t.frame ? hexText(*t.frame) : "-") + (t.finished ? " end " : " ") + t.progress +
         (t.failureLog.empty() ? "" : " log");
}

TEST(HistoryRules, RequestsRowsDayCountsAxisFloorAndExportLines) {
  // The address is Val of the DeviceID text as a byte, read anew at every tick.
  EXPECT_EQ((std::vector{historyAddress("2.5"), historyAddress("255"), historyAddress("")}),
            (std::vector<std::uint8_t>{2, 255, 0}));
  HistoryReading r;
  r.start(3);
  EXPECT_EQ(describe(r.tick("7", "3")), "0703F003000A06AB 3(2)");
  EXPECT_EQ(describe(r.tick("256", "3")), "- end  log");                             // the station was edited meanwhile
  EXPECT_EQ(std::to_string(r.historyDay()) + (r.reading() ? " reading" : ""), "2");  // nothing sent for day 2

  // The reply of the example, as verifyFrame hands it on.
  const Bytes example =
      verifyFrame(hexText(hexBytes("01 03 14 00 7C 00 90 01 F4 00 C8 00 96 00 3C 00 0A 00 05 00 78 00 32 28 09")))
          .value();
  HistoryReading reading;
  reading.start(3);
  std::string landed;
  const auto land = [&](const Bytes& reply, int gridRows) {
    const auto row = reading.showHistoryDay(reply, gridRows);
    landed += row ? std::to_string(row->row) + "@" + row->label + " " : std::string("none ");
  };
  // A reply that comes after the next tick lands in the next row with the next label; the reply
  // to the last request, after the reading has ended, goes to row N + 1, day 0; a grid without
  // that row (cut back by a refused start) takes no late reply; nor does another length or an
  // exception reply (three bytes after verifyFrame).
  for (int tick = 0; tick < 4; ++tick) {
    reading.tick("1", "3");
    if (tick != 2) land(example, reading.gridRows());
  }
  land(example, 4);
  for (std::size_t n : {1u, 22u, 24u}) land(Bytes(n, 0x01), 10);
  land(hexBytes("01 83 02"), 10);
  EXPECT_EQ(landed, "1@3 2@2 4@0 none none none none none ");
  EXPECT_FALSE(historyValueTexts(Bytes(22, 0x01)));
  // Every word unsigned; bytes 0 to 2 are not looked at.
  Bytes ones(23, 0xFF);
  std::tie(ones[0], ones[2]) = std::pair(0, 0);
  EXPECT_EQ(*historyValueTexts(ones), (std::array<std::string, 10>{"6553.5", "6553.5", "655.35", "655.35", "65535",
                                                                   "65535", "65535", "65535", "65.535", "65.535"}));

  // The day count box clamps when it is left.
  const std::pair<const char*, const char*> left[] = {{"3000", "1825"}, {"1825.5", "1825"}, {"abc", "1"},
                                                      {"0.5", "1"},     {"2.5", "2.5"},     {"12 Tage", "12 Tage"}};
  for (const auto& [typed, shown] : left) EXPECT_EQ(clampDayCountText(typed), shown) << typed;
  // The days, or the message, or (beyond the last register, only when the box was not left,
  // so not clamped) a line for the message window and no reading.
  std::string seen;
  for (const char* typed : {"2.5", "3.5", "4095", "0.5", "0", "abc", "", "4096", "1e300"}) {
    const HistoryStart s = HistoryReading::dayCount(typed);
    seen += (s.days ? std::to_string(*s.days) : "-") + (s.message == kChooseDaysText ? " choose" : s.message) +
            (s.failureLog.empty() ? "|" : " log|");
  }
  EXPECT_EQ(seen, "2|4|4095|0|- choose|- choose|- choose|- log|- log|");

  // A negative value lies below the axis.
  EXPECT_EQ(chartAxisTop(std::vector<double>{0, 0, 0}) * 100 + chartAxisTop(std::vector<double>{-5}), 100);

  // A comma inside a cell goes out as the full-width comma; the mark column is never written.
  EXPECT_EQ(exportLine({"-1,x", "3", "1,5", "a,b,c"}), "3,1，5,a，b，c,,,,,,,,");  // eleven cells, ten commas
  std::string names;
  for (const char* typed : {"C:\\data\\day", "DAY.CSV", "day.csv.txt"}) names += exportFileName(typed) + "|";
  EXPECT_EQ(names, "C:\\data\\day.csv|DAY.CSV|day.csv.txt.csv|");
}

// The link health of a station, booked from exchanges alone: last good reply, share answered
// over the window, stale after two rounds, never answered.

constexpr std::int64_t kSec = 1'000'000;
constexpr std::int64_t kRound = 17 * kSec;

link::Exchange exchange(int address, link::Verdict verdict, std::int64_t atUs, const char* port = "COM3") {
  link::Exchange e;
  e.port = port;
  e.address = address;
  e.request = requestFrame(address, " 03 0100 0023");
  e.verdict = verdict;
  e.sentUs = atUs - 100'000;
  e.endedUs = atUs;
  return e;
}

// What the health columns show of one station at `nowUs`: its state, age and share.
std::string shown(const LinkHealth& health, int address, std::int64_t nowUs, const char* port = "COM3") {
  const HealthTexts t = healthTexts(health.find(port, address), nowUs, kRound);
  const char* const states[] = {"unknown", "never", "fresh", "stale"};
  return std::string(states[static_cast<int>(t.state)]) + " " + t.age + " " + t.share;
}

// The share over a pattern of faults and the round's length are checked in the whole console;
// here the booking itself and the window.
TEST(LinkHealth, BooksEachExchangeToItsStationAndSharesTheGoodRepliesOfTheWindow) {
  LinkHealth health;
  health.record(exchange(1, link::Verdict::Ok, 2 * kSec));
  health.record(exchange(2, link::Verdict::NoReply, 3 * kSec));
  health.record(exchange(1, link::Verdict::Ok, 4 * kSec, "COM4"));  // another line, same address
  // Asked, never answered: "无应答"; a station never asked says nothing; a broadcast belongs to
  // nobody.
  health.record(exchange(0, link::Verdict::NoReply, 5 * kSec));
  EXPECT_EQ(shown(health, 1, 5 * kSec) + "|" + shown(health, 1, 5 * kSec, "COM4") + "|" + shown(health, 2, 5 * kSec) +
                "|" + shown(health, 3, 5 * kSec) + "|" + shown(health, 0, 5 * kSec),
            "fresh 3秒 100%|fresh 1秒 100%|never 无应答 0%|unknown  |unknown  ");
  // Faults do not refresh. The window keeps the last kWindow requests: twenty good ones push
  // every fault out.
  std::int64_t t = 5 * kSec;
  for (auto v : {link::Verdict::CrcError, link::Verdict::Exception, link::Verdict::LengthMismatch})
    health.record(exchange(1, v, t += kSec));
  EXPECT_EQ(shown(health, 1, t), "fresh 6秒 25%");
  for (std::size_t i = 0; i < LinkHealth::kWindow; ++i) health.record(exchange(1, link::Verdict::Ok, t += kSec));
  health.record(exchange(1, link::Verdict::NoReply, t += kSec));
  // A late reply (no request of its own) refreshes the time but is no request.
  link::Exchange late = exchange(1, link::Verdict::Ok, t += kSec);
  late.request.clear();
  late.address = -1;
  late.reply = {1, 3};
  health.record(late);
  EXPECT_EQ(shown(health, 1, t + kSec) + shareText(nullptr), "fresh 1秒 95%");
}

// The fast scan's engine on two simulated lines: the lines run side by side, each sends its
// next request as soon as the previous exchange ended, a refused or silent request costs the
// silence limit, and a foreground screen takes a line from it as it takes it from the scan.

class LineScanTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::setScheduler(&clock);
    platform::setPortDriver(&driver);
    com3 = &driver.addLine("COM3", 9600);
    com4 = &driver.addLine("COM4", 9600);
    for (auto* line : {com3, com4}) {
      auto device = std::make_shared<testing::ScriptedDevice>();
      // Address 9 is silent, 8 refuses, every other answers a load mode reply after 5 ms.
      device->answer = [](const Bytes& frame) -> std::vector<platform::SimReplyPart> {
        if (frame[0] == 9) return {};
        if (frame[0] == 8) return {{ms(5), appendCrc({8, 0x83, 0x02})}};
        return {{ms(5), appendCrc({frame[0], 0x03, 0x02, 0x00, 0x0F})}};
      };
      line->attach(device);
    }
  }

  static LineScan::Request request(int row, const char* port, int address) {
    return {row, port, requestFrame(address, " 03 E0 1D 0001")};
  }
  // What went out on a line, "ms:address" per request, and the replies booked, "row@ms".
  static std::string timeline(const platform::SimLine& line) {
    std::string out;
    for (const auto& s : testing::sentFrames(line)) out += std::to_string(s.atMs) + ":" + s.frame.substr(0, 2) + " ";
    return out;
  }
  std::string booked() const {
    std::string out;
    for (const auto& [row, atMs] : replies) out += std::to_string(row) + "@" + std::to_string(atMs) + " ";
    return out;
  }

  platform::VirtualClock clock;
  platform::SimBusDriver driver;
  platform::SimLine* com3 = nullptr;
  platform::SimLine* com4 = nullptr;
  std::vector<std::pair<int, std::int64_t>> replies;  // row, ms
  LineScan scan{[this](int row, Bytes&) { replies.emplace_back(row, platform::toMs(clock.now())); }};
};

TEST_F(LineScanTest, LinesRunSideBySideAndEachGoesOnWhenItsExchangeEnds) {
  std::string ports;
  platform::setPortTrace([&](const std::string& control, const std::string& op, const std::string& value) {
    if (op == "PortOpen") ports += control + "=" + value + " ";
  });
  int done = 0;
  scan.run(
      {request(1, "COM3,9600", 1), request(2, "COM3,9600", 2), request(3, "COM4,9600", 3), request(4, "COM3,9600", 9),
       request(5, "COM3,9600", 4), request(6, "COM4,9600", 8), request(7, "COM4,9600", 5)},
      [&] { ++done; });
  const bool ran = scan.running();
  clock.advance(ms(5000));
  platform::setPortTrace({});
  EXPECT_EQ(std::to_string(done) + (ran ? "+" : "") + (scan.running() ? "+" : "") + std::to_string(scan.lineCount()),
            "1+2");
  // Each line is opened once for its whole run (a silent station included) and closed at its
  // end.
  EXPECT_EQ(ports,
            "FrmGlobalMonitoring.Line.COM3=True FrmGlobalMonitoring.Line.COM4=True FrmGlobalMonitoring.Line.COM4=False "
            "FrmGlobalMonitoring.Line.COM3=False ");
  // Both lines start at once. 8 bytes out, 5 ms, the 7 bytes of the reply: read as soon as
  // they are in, and the next request goes at once. Address 9 is silent: the next request
  // waits for the silence limit only. A reply shorter than asked (an exception) is read at the
  // end of the 100 ms window that its first byte opened. Each reply is booked to its own row,
  // whatever the other line does.
  EXPECT_EQ(timeline(*com3) + "| " + timeline(*com4) + "| " + booked(),
            "0:01 21:02 42:09 342:04 | 0:03 21:08 135:05 | 1@21 3@21 2@42 6@135 7@156 5@363 ");
  EXPECT_EQ(testing::sentFrames(*com3).back().frame, hexText(requestFrame(4, " 03 E0 1D 0001")));
}

TEST_F(LineScanTest, ARefusedPortCountsAsSilenceAndAForegroundSendTakesTheLine) {
  // A foreground screen holds COM4: the scan's requests there are refused and it moves on.
  platform::SerialControl foreground("Screen.MSComm1");
  foreground.setCommPort(4);
  foreground.setSettings("9600,N,8,1");
  foreground.setPortOpen(true);
  int done = 0;
  scan.run({request(1, "COM4,9600", 1), request(2, "COM4,9600", 2)}, [&] { ++done; });
  clock.advance(ms(599));
  const int before = done;
  clock.advance(ms(1));
  EXPECT_EQ(std::to_string(before) + std::to_string(done) + timeline(*com4), "01");
  foreground.setPortOpen(false);

  // A screen's send on COM3 while the scan's COM3 request is out waits for its reply, then
  // takes the line (closing the scan's COM3 control, not the COM4 one); the scan's next COM3
  // request waits in turn for the screen's reply.
  scan.run({request(1, "COM3,9600", 1), request(2, "COM3,9600", 2), request(3, "COM4,9600", 3)}, [&] { ++done; });
  link::SerialSession screen("Screen.MSComm1", link::SessionOptions{}, [](Bytes&, const std::string&) {});
  clock.advance(ms(1));
  screen.sendRequest("COM3,9600", requestFrame(7, " 03 E0 1D 0001"));
  clock.advance(ms(2000));
  // Row 1's reply read, then the screen's; the scan's next waits for the end of its window.
  EXPECT_EQ(std::to_string(done) + " " + booked() + "| " + timeline(*com3),
            "2 1@621 3@621 2@756 | 600:01 621:07 735:02 ");
  EXPECT_EQ(testing::sentFrames(*com3)[1].frame, hexText(requestFrame(7, " 03 E0 1D 0001")));
}

}  // namespace
}  // namespace xl::monitoring
