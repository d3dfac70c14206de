// The fast scan's engine on two simulated lines: the lines run side by side, each sends its
// next request as soon as the previous exchange ended, a refused or silent request costs the
// silence limit, and a foreground screen takes a line from it as it takes it from the scan.

#include "monitoring/line_scan.h"

#include <gtest/gtest.h>

#include "link/frame_codec.h"
#include "platform/sim_bus.h"
#include "support/scripted_device.h"
#include "support/wire_log.h"

namespace xl::monitoring {
namespace {

using platform::ms;

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
  EXPECT_TRUE(scan.running());
  clock.advance(ms(5000));
  EXPECT_EQ(done, 1);
  EXPECT_FALSE(scan.running());
  EXPECT_EQ(scan.lineCount(), 2u);
  platform::setPortTrace({});
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
  EXPECT_EQ(timeline(*com3) + "| " + timeline(*com4), "0:01 21:02 42:09 342:04 | 0:03 21:08 135:05 ");
  EXPECT_EQ(testing::sentFrames(*com3).back().frame, hexText(requestFrame(4, " 03 E0 1D 0001")));
  EXPECT_EQ(booked(), "1@21 3@21 2@42 6@135 7@156 5@363 ");
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
  EXPECT_EQ(done, 0);
  clock.advance(ms(1));
  EXPECT_EQ(done, 1);
  EXPECT_TRUE(testing::sentFrames(*com4).empty());
  foreground.setPortOpen(false);

  // A screen's send on COM3 while the scan's COM3 request is out waits for its reply, then
  // takes the line (closing the scan's COM3 control, not the COM4 one); the scan's next COM3
  // request waits in turn for the screen's reply.
  scan.run({request(1, "COM3,9600", 1), request(2, "COM3,9600", 2), request(3, "COM4,9600", 3)}, [&] { ++done; });
  link::SerialSession screen("Screen.MSComm1", link::SessionOptions{}, [](Bytes&, const std::string&) {});
  clock.advance(ms(1));
  screen.sendRequest("COM3,9600", requestFrame(7, " 03 E0 1D 0001"));
  clock.advance(ms(2000));
  EXPECT_EQ(done, 2);
  EXPECT_EQ(booked(), "1@621 3@621 2@756 ");
  // Row 1's reply read, then the screen's; the scan's next waits for the end of its window.
  EXPECT_EQ(timeline(*com3), "600:01 621:07 735:02 ");
  EXPECT_EQ(testing::sentFrames(*com3)[1].frame, hexText(requestFrame(7, " 03 E0 1D 0001")));
}

}  // namespace
}  // namespace xl::monitoring
