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

// The reply of the example to the request for 0xF003, as verifyFrame hands it on.
Bytes exampleReply() {
  return verifyFrame(hexText(hexBytes("01 03 14 00 7C 00 90 01 F4 00 C8 00 96 00 3C 00 0A 00 05 00 78 00 32 28 09")))
      .value();
}
// A tick as text: the frame in hex or "-", "end" when the reading is over, the progress, "log".
std::string describe(const HistoryTick& t) {
  return (t.frame ? hexText(*t.frame) : "-") + (t.finished ? " end " : " ") + t.progress +
         (t.failureLog.empty() ? "" : " log");
}

TEST(HistoryRequests, CountdownLimitsAndTheAddressReadAtEveryTick) {
  EXPECT_EQ(historyRequest(0x22, kHistoryLastDay), appendCrc(hexBytes("22 03 FF FF 00 0A")));
  for (int day : {kHistoryLastDay + 1, -1}) EXPECT_THROW(historyRequest(1, day), RuntimeFailure) << day;

  // The address is Val of the DeviceID text as a byte, read anew at every tick.
  EXPECT_EQ((std::vector{historyAddress("2.5"), historyAddress("255"), historyAddress("")}),
            (std::vector<std::uint8_t>{2, 255, 0}));
  HistoryReading r;
  r.start(3);
  EXPECT_EQ(describe(r.tick("7", "3")), "0703F003000A06AB 3(2)");
  EXPECT_EQ(describe(r.tick("256", "3")), "- end  log");  // the station was edited meanwhile
  EXPECT_FALSE(r.reading());
  EXPECT_EQ(r.historyDay(), 2);  // nothing was sent for day 2
  EXPECT_FALSE(r.tick("1", "3").frame);
}

TEST(HistoryRows, EachReplyLandsInTheRowOfItsDayAndOnlyTwentyThreeBytesCount) {
  HistoryReading reading;
  reading.start(3);
  reading.tick("1", "3");  // the request for 0xF003 has gone; historyDay is 2 now
  const auto landing = [&](const Bytes& reply, int gridRows) {
    const auto row = reading.showHistoryDay(reply, gridRows);
    return row ? std::to_string(row->row) + " " + row->label : std::string("none");
  };
  EXPECT_EQ(landing(exampleReply(), reading.gridRows()), "1 3");
  // A reply that comes after the next tick lands in the next row with the next label.
  reading.tick("1", "3");
  EXPECT_EQ(landing(exampleReply(), reading.gridRows()), "2 2");
  // The reply to the last request, after the reading has ended, goes to row N + 1, day 0; a
  // grid without that row (cut back by a refused start, or one short) takes no late reply.
  reading.tick("1", "3");
  reading.tick("1", "3");
  EXPECT_EQ(
      landing(exampleReply(), reading.gridRows()) + " " + landing(exampleReply(), 1) + " " + landing(exampleReply(), 4),
      "4 0 none none");
  // Any other length, or an exception reply of the device (three bytes after verifyFrame).
  for (std::size_t n : {0u, 1u, 3u, 5u, 22u, 24u, 37u})
    EXPECT_EQ(landing(Bytes(n, 0x01), 10) + (historyValueTexts(Bytes(n, 0x01)) ? " values" : ""), "none") << n;
  EXPECT_EQ(landing(hexBytes("01 83 02"), 10), "none");
  // Every word unsigned; bytes 0 to 2 are not looked at.
  EXPECT_EQ(*historyValueTexts(Bytes(23, 0xFF)),
            (std::array<std::string, 10>{"6553.5", "6553.5", "655.35", "655.35", "65535", "65535", "65535", "65535",
                                         "65.535", "65.535"}));
  Bytes reply = exampleReply();
  reply[0] = 9;
  reply[2] = 0;
  EXPECT_EQ((*historyValueTexts(reply))[0], "12.4");
}

TEST(HistoryDayCount, TheBoxClampsWhenLeftAndTheStartRoundsHalfToEven) {
  const std::pair<const char*, const char*> left[] = {
      {"3000", "1825"}, {"1825.5", "1825"}, {"1825", "1825"}, {"abc", "1"},   {"", "1"},
      {"0", "1"},       {"0.5", "1"},       {"-20", "1"},     {"2.5", "2.5"}, {"12 Tage", "12 Tage"}};
  for (const auto& [typed, shown] : left) EXPECT_EQ(clampDayCountText(typed), shown) << typed;
  // The days, or the message, or (beyond the last register, only when the box was not left,
  // so not clamped) a line for the message window and no reading.
  const std::pair<const char*, std::string> starts[] = {{"2.5", "2||"},       {"3.5", "4||"},      {"100", "100||"},
                                                        {"0.5", "0||"},       {"4095", "4095||"},  {"0", "-|choose|"},
                                                        {"abc", "-|choose|"}, {"-3", "-|choose|"}, {"", "-|choose|"},
                                                        {"4096", "-||log"},   {"1e300", "-||log"}};
  for (const auto& [typed, expected] : starts) {
    const HistoryStart s = HistoryReading::dayCount(typed);
    EXPECT_EQ((s.days ? std::to_string(*s.days) : "-") + "|" + (s.message == kChooseDaysText ? "choose" : s.message) +
                  "|" + (s.failureLog.empty() ? "" : "log"),
              expected)
        << typed;
  }
  EXPECT_THROW(HistoryReading().start(4096), RuntimeFailure);
}

TEST(HistoryCharts, MarksToggleAndTheAxisTop) {
  // Each mark toggled, and whether it counts as marked.
  std::string marks;
  for (const char* mark : {"-1", "0", "", "x"}) marks += toggledMark(mark) + (isMarked(mark) ? "+ " : " ");
  EXPECT_EQ(marks + (isMarked("-1.0") ? "+" : ""), "0+ -1 -1 -1 +");
  // A negative value lies below the axis; the top leaves at least ten per cent above the value.
  const std::pair<std::vector<double>, int> axisTops[] = {
      {{0, 0, 0}, 1}, {{100}, 111}, {{12.5, -40, 10}, 14}, {{-5}, 0}};
  for (const auto& [values, top] : axisTops) EXPECT_EQ(chartAxisTop(values), top) << values[0];
  const std::pair<double, int> tops[] = {{0, 1},   {10, 12}, {12.5, 14},          {30, 34},
                                         {0.9, 1}, {1, 2},   {1e300, 2147483647}, {std::nan(""), 0}};
  for (const auto& [value, top] : tops) EXPECT_EQ(jiashi(value), top) << value;
}

TEST(HistoryExport, LinesAndFileNames) {
  GridRows grid{{historyHeaders().begin(), historyHeaders().end()}};
  grid.push_back(std::vector<std::string>(12));  // a row whose reply never came
  EXPECT_TRUE(exportText(grid).ends_with("放电量(KWh)\r\n,,,,,,,,,,\r\n"));
  // A comma inside a cell goes out as the full-width comma; the mark column is never written.
  EXPECT_EQ(exportLine({"-1,x", "3", "1,5", "a,b,c"}), "3,1，5,a，b，c,,,,,,,,");  // eleven cells, ten commas
  EXPECT_EQ(csvCell(",,"), "，，");
  std::string names;
  for (const char* typed : {"C:\\data\\day", "day.csv", "DAY.CSV", "day.csv.txt"}) names += exportFileName(typed) + "|";
  EXPECT_EQ(names, "C:\\data\\day.csv|day.csv|DAY.CSV|day.csv.txt.csv|");
}

}  // namespace
}  // namespace xl::monitoring
