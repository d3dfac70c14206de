// The history screen's rules: requests and countdown, the row of a reply, the day count box,
// marks and the chart's axis, and the export lines. The frames of a reading, the cells of a reply
// and the charts of marked rows are checked in the whole console by the screen's test.

#include "monitoring/history_record.h"

#include <gtest/gtest.h>

#include "link/frame_codec.h"
#include "monitoring/chart_axis.h"
#include "platform/failure.h"
#include "support/hex_bytes.h"

namespace xl::monitoring {
namespace {

using xl::testing::hexBytes;

// A tick as text: the frame in hex or "-", "end" when the reading is over, the progress, "log".
std::string describe(const HistoryTick& t) {
  return (t.frame ? hexText(*t.frame) : "-") + (t.finished ? " end " : " ") + t.progress +
         (t.failureLog.empty() ? "" : " log");
}

TEST(HistoryRequests, TheAddressIsReadAtEveryTickAndEachReplyLandsInTheRowOfItsDay) {
  for (int day : {kHistoryLastDay + 1, -1}) EXPECT_THROW(historyRequest(1, day), RuntimeFailure) << day;
  EXPECT_THROW(HistoryReading().start(4096), RuntimeFailure);
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
}

TEST(HistoryDayCount, TheBoxClampsWhenLeftAndTheStartRoundsHalfToEven) {
  const std::pair<const char*, const char*> left[] = {{"3000", "1825"}, {"1825.5", "1825"}, {"1825", "1825"},
                                                      {"abc", "1"},     {"", "1"},          {"0.5", "1"},
                                                      {"-20", "1"},     {"2.5", "2.5"},     {"12 Tage", "12 Tage"}};
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
}

TEST(HistoryCharts, MarksToggleTheAxisTopAndTheExportLines) {
  // Each mark toggled, and whether it counts as marked.
  std::string marks;
  for (const char* mark : {"-1", "0", "", "x"}) marks += toggledMark(mark) + (isMarked(mark) ? "+ " : " ");
  EXPECT_EQ(marks + (isMarked("-1.0") ? "+" : ""), "0+ -1 -1 -1 +");
  // A negative value lies below the axis; the top leaves at least ten per cent above the value.
  EXPECT_EQ(chartAxisTop(std::vector<double>{0, 0, 0}) * 100 + chartAxisTop(std::vector<double>{-5}), 100);
  std::string tops;
  for (double value : {0.0, 10.0, 30.0, 0.9, 1.0, 1e300, std::nan("")}) tops += std::to_string(jiashi(value)) + " ";
  EXPECT_EQ(tops, "1 12 34 1 2 2147483647 0 ");

  // A comma inside a cell goes out as the full-width comma; the mark column is never written.
  EXPECT_EQ(exportLine({"-1,x", "3", "1,5", "a,b,c"}), "3,1，5,a，b，c,,,,,,,,");  // eleven cells, ten commas
  std::string names;
  for (const char* typed : {"C:\\data\\day", "DAY.CSV", "day.csv.txt"}) names += exportFileName(typed) + "|";
  EXPECT_EQ(names, "C:\\data\\day.csv|DAY.CSV|day.csv.txt.csv|");
}

}  // namespace
}  // namespace xl::monitoring
