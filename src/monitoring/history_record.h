#pragma once
// The rules of the history screen, apart from its widgets: the request for the record of one
// day, the countdown of a reading, the decoding of a record into a grid row, the day count
// box, the marked rows and the column a chart takes, and the lines of the CSV export.
//
// A controller keeps one record a day in its own memory: the record of the day k days ago is
// ten registers from 0xF000 + k. A reading of N days asks for days N, N-1, ... 0, one request
// a timer tick, without waiting for replies; each reply fills the grid row that the countdown
// points at when it arrives.
//
// The grid is passed as rows of cell texts, row 0 being the header row; a row shorter than
// the grid reads as empty cells. All texts are UTF-8; the file's code page is the screen's.
// Pure functions and values; no Qt.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bytes.h"

namespace xl::monitoring {

using GridRows = std::vector<std::vector<std::string>>;

inline constexpr std::uint16_t kHistoryFirstRegister = 0xF000;
inline constexpr std::uint8_t kHistoryRegisterCount = 10;
inline constexpr std::size_t kHistoryReplyLength = 23;  // address, 3, 20, twenty data bytes
inline constexpr int kHistoryDayLimit = 1825;           // five years of 365 days
inline constexpr int kHistoryLastDay = 0x0FFF;          // the last day a register can name
inline constexpr int kHistoryColumns = 12;
inline constexpr int kHistoryPaceMs = 150;  // Timer2

// Chart types of the chart window: Command6 draws lines, Command7 bars.
inline constexpr short kLineChart = 3;
inline constexpr short kBarChart = 1;

// The screen's texts.
inline constexpr std::string_view kChooseStationText = "选择一个可用的站点名";
inline constexpr std::string_view kChooseDaysText = "读取前先选择天数";
inline constexpr std::string_view kReadingLogText = "正在读取历史信息，请稍等...";
inline constexpr std::string_view kReadDoneLogText = "读历史信息成功";
// A reading after which some days gave no answer: the text, then the count, then "天无应答".
inline constexpr std::string_view kReadUnansweredLogText = "读历史信息完成：";
// Column 1 of a row whose day gave no answer.
inline constexpr std::string_view kNoAnswerLabel = "无应答";
inline constexpr std::string_view kExportEmptyText = "导出数据前先读取数据";
inline constexpr std::string_view kExportDoneText = "导出数据成功";
inline constexpr std::string_view kExportDoneLogText = "保存历史信息成功";
inline constexpr std::string_view kMarked = "-1";
inline constexpr std::string_view kUnmarked = "0";

// ---- Grid columns -------------------------------------------------------------------------

// The headers of the twelve columns: "选择", "天前", then the ten values in record order.
const std::array<std::string_view, kHistoryColumns>& historyHeaders();
// The items of Combo3: the headers of columns 2 to 11, in that order.
std::vector<std::string> historyItems();
// The column that an item of Combo3 names (2..11); nullopt for any other text.
std::optional<int> historyItemColumn(std::string_view item);

// ---- Requests -----------------------------------------------------------------------------

// The request for the record `day` days ago from the controller at `address`:
// address, 0x03, 0xF0 + high bits of day, low byte of day, 0x00, 0x0A, then the CRC.
// Raises xl::RuntimeFailure (Overflow) when 0xF000 + day is no register (day outside 0..4095).
Bytes historyRequest(std::uint8_t address, int day);

// The address as each tick reads it: Val of the station's DeviceID text as an unsigned byte,
// half to even. Raises xl::RuntimeFailure (Overflow) outside 0..255.
std::uint8_t historyAddress(std::string_view deviceIdText);

// ---- The day count box --------------------------------------------------------------------

// Combo2 when the cursor leaves it: a Val above 1825 becomes "1825", then a Val below 1
// becomes "1" (letters and an empty box read as 0); any other text stays as typed ("2.5").
std::string clampDayCountText(std::string_view combo2Text);

// ---- One reading --------------------------------------------------------------------------

// The ten values of a record as the grid shows them (columns 2 to 11): voltages "0.0",
// currents "0.00", powers and ampere-hours as plain numbers, energies "0.000". nullopt unless
// the reply has exactly 23 bytes. Every word is unsigned.
std::optional<std::array<std::string, 10>> historyValueTexts(const Bytes& reply);

// A filled grid row: its index, the day label of column 1, the mark of column 0, the values.
struct HistoryRow {
  int row = 0;
  std::string label;
  std::string mark{kMarked};
  std::array<std::string, 10> values;
  // The twelve cells in column order.
  std::vector<std::string> cells() const;
};

// The progress of a reading after one tick.
struct HistoryTick {
  std::optional<Bytes> frame;  // the request to send; none when the address does not convert
  bool finished = false;       // the reading is over: back to idle
  std::string progress;        // Text2 while the reading goes on ("10(4)")
  std::string failureLog;      // a line for the message window when the reading was stopped
};

// What Command5 makes of Combo2's text: the number of days, or the message box text, or a line
// for the message window. Exactly one is set.
struct HistoryStart {
  std::optional<int> days;
  std::string message;     // kChooseDaysText when Val is not above 0
  std::string failureLog;  // a count beyond the last register: no reading starts
};

// The countdown of the history screen: `historyDays` N and `historyDay` from N down to -1.
class HistoryReading {
 public:
  // Command5, steps 3 and 4: N = Val(Combo2) rounded half to even, or kChooseDaysText when
  // Val is not above 0. "2.5" reads 2 days and "0.5" 0 days, that is today only. A count
  // beyond the last register (above 4095) is refused with a line for the message window, so
  // that such a reading never starts; the box's own limit of 1825 is applied when it is left.
  static HistoryStart dayCount(std::string_view combo2Text);

  // Starts a reading of `days` (0..4095): both counters at N. Raises xl::RuntimeFailure
  // (Overflow) for any other count; dayCount never gives one.
  void start(int days);
  // Ends a reading before its last request (closing down); no further request goes out.
  void stop() { reading_ = false; }

  bool reading() const { return reading_; }
  int historyDays() const { return historyDays_; }
  int historyDay() const { return historyDay_; }
  // The grid's row count for the reading: the header row and N + 1 days.
  int gridRows() const { return historyDays_ + 2; }
  // Text2 at the start of a reading: N.
  std::string startText() const { return std::to_string(historyDays_); }

  // Timer2, one tick: the request for `historyDay` to the station whose DeviceID text is
  // `deviceIdText` (looked up anew at every tick), then the countdown goes down by one. While
  // days remain, `progress` is Combo2's text followed by the remaining count in brackets;
  // after the request for today the reading is finished. An address that does not convert
  // sends nothing and ends the reading with a line for the message window. A tick while no
  // reading runs does nothing.
  HistoryTick tick(std::string_view deviceIdText, std::string_view combo2Text);

  // showHistoryDay: the row that a 23-byte reply fills, computed when the reply comes:
  // row = historyDays - historyDay, label historyDay + 1, mark "-1". nullopt for any other
  // length, and for a row outside 1 .. gridRows - 1 of the grid as it stands (a late reply
  // after the grid was cut back). The label comes from the countdown, never from the reply.
  // With `request` (the history request the reply answers) the row is that of the day the
  // request names: row = historyDays - day + 1, label day, whatever the countdown stands at.
  std::optional<HistoryRow> showHistoryDay(const Bytes& reply, int gridRows, const Bytes& request = {}) const;
  // The day a history request names (its register less 0xF000); nullopt for another frame.
  static std::optional<int> dayOfRequest(const Bytes& request);
  // The grid row of the day a request names, for this reading.
  int rowOfDay(int day) const { return historyDays_ - day + 1; }

 private:
  int historyDays_ = 0;
  int historyDay_ = 0;
  bool reading_ = false;
};

// ---- Marks and charts ---------------------------------------------------------------------

// A row is marked when Val of its column 0 is -1; a blank row (a lost reply) is not.
bool isMarked(std::string_view mark);
// A click on a row: "-1" becomes "0", anything else "-1".
std::string toggledMark(std::string_view mark);

// What Command6 and Command7 hand to the chart window.
struct ChartRequest {
  std::vector<double> values;     // Val of the chosen column of every marked row, top to bottom
  std::vector<std::string> days;  // the "天前" text of the same rows: the chart's row labels
  short chartType = kLineChart;
  std::string title;  // the text of Combo3
  int axisTop = 0;    // the value axis runs from 0 to here
};

// nullopt, and no chart at all, when Combo3 is empty or names no column, or when no row from
// 1 on is marked. The header row is never taken.
std::optional<ChartRequest> chartRequest(const GridRows& grid, std::string_view combo3Text, short chartType);

// ---- Export -------------------------------------------------------------------------------

// The file the export writes: the dialog's name, with ".csv" added unless it already ends so (in
// any case), so the file written is the one the save dialog asked about.
std::string exportFileName(std::string_view dialogFileName);
// A cell as the file holds it: every "," replaced by the full-width "，".
std::string csvCell(std::string_view text);
// One line without its CR LF: column 1 as it is, then "," and each cell from column 2 to the
// last with its commas replaced. Column 0, the mark, is not written.
std::string exportLine(const std::vector<std::string>& row, int columns = kHistoryColumns);
// Every row from the header on, marked or not, each line ended by CR LF.
std::string exportText(const GridRows& grid, int columns = kHistoryColumns);

}  // namespace xl::monitoring
