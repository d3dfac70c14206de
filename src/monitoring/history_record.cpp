#include "monitoring/history_record.h"

#include <cctype>

#include "link/device_data_map.h"
#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "monitoring/chart_axis.h"
#include "platform/failure.h"

namespace xl::monitoring {

namespace {

constexpr std::array<std::string_view, kHistoryColumns> kHeaders = {
    "选择",
    "天前",
    "蓄电池最低电压(V)",
    "蓄电池最高电压(V)",
    "最大充电电流(A)",
    "最大放电电流(A)",
    "最大充电功率(W)",
    "最大放电功率(W)",
    "充电安时数(Ah)",
    "放电安时数(Ah)",
    "发电量(KWh)",
    "放电量(KWh)",
};

// Decimals of each record word's grid text; -1 writes the plain number.
struct Word {
  std::int32_t divisor;
  int places;
};
constexpr Word kWords[10] = {
    {10, 1},    // lowest battery voltage, V
    {10, 1},    // highest battery voltage, V
    {100, 2},   // highest charge current, A
    {100, 2},   // highest discharge current, A
    {0, -1},    // highest charge power, W
    {0, -1},    // highest discharge power, W
    {0, -1},    // charge ampere-hours
    {0, -1},    // discharge ampere-hours
    {1000, 3},  // generated energy, kWh
    {1000, 3},  // consumed energy, kWh
};

const std::string& cellOf(const std::vector<std::string>& row, int column) {
  static const std::string kEmpty;
  return column >= 0 && static_cast<std::size_t>(column) < row.size() ? row[static_cast<std::size_t>(column)] : kEmpty;
}

}  // namespace

// ---- Grid columns -------------------------------------------------------------------------

const std::array<std::string_view, kHistoryColumns>& historyHeaders() { return kHeaders; }

std::vector<std::string> historyItems() { return {kHeaders.begin() + 2, kHeaders.end()}; }

std::optional<int> historyItemColumn(std::string_view item) {
  for (int c = 2; c < kHistoryColumns; ++c)
    if (kHeaders[static_cast<std::size_t>(c)] == item) return c;
  return std::nullopt;
}

// ---- Requests -----------------------------------------------------------------------------

Bytes historyRequest(std::uint8_t address, int day) {
  if (day < 0 || day > kHistoryLastDay)
    fail(Failure::Overflow, "overflow: day " + std::to_string(day) + " has no history register");
  const int reg = kHistoryFirstRegister + day;
  return appendCrc(Bytes{address, 0x03, static_cast<std::uint8_t>(reg / 256), static_cast<std::uint8_t>(reg % 256),
                         0x00, kHistoryRegisterCount});
}

std::uint8_t historyAddress(std::string_view deviceIdText) { return toByte(val(deviceIdText)); }

// ---- The day count box --------------------------------------------------------------------

std::string clampDayCountText(std::string_view combo2Text) {
  std::string text(combo2Text);
  if (val(text) > kHistoryDayLimit) text = std::to_string(kHistoryDayLimit);
  if (val(text) < 1) text = "1";
  return text;
}

// ---- One reading --------------------------------------------------------------------------

std::optional<std::array<std::string, 10>> historyValueTexts(const Bytes& reply) {
  if (reply.size() != kHistoryReplyLength) return std::nullopt;
  std::array<std::string, 10> out;
  for (std::size_t i = 0; i < 10; ++i) {
    const double v = regValue(reply[3 + 2 * i], reply[4 + 2 * i], kWords[i].divisor);
    out[i] = kWords[i].places < 0 ? link::numberText(v) : link::fixedText(v, kWords[i].places);
  }
  return out;
}

std::vector<std::string> HistoryRow::cells() const {
  std::vector<std::string> out{mark, label};
  out.insert(out.end(), values.begin(), values.end());
  return out;
}

HistoryStart HistoryReading::dayCount(std::string_view combo2Text) {
  HistoryStart s;
  const double v = val(combo2Text);
  if (!(v > 0)) {
    s.message = std::string(kChooseDaysText);
  } else if (roundHalfEven(v) > kHistoryLastDay) {
    s.failureLog = "读取天数超出范围（最多" + std::to_string(kHistoryLastDay) + "天），未读取历史数据";
  } else {
    s.days = static_cast<int>(roundHalfEven(v));
  }
  return s;
}

void HistoryReading::start(int days) {
  if (days < 0 || days > kHistoryLastDay)
    fail(Failure::Overflow, "overflow: a reading of " + std::to_string(days) + " days");
  historyDays_ = historyDay_ = days;
  reading_ = true;
}

HistoryTick HistoryReading::tick(std::string_view deviceIdText, std::string_view combo2Text) {
  HistoryTick t;
  if (!reading_) return t;
  try {
    t.frame = historyRequest(historyAddress(deviceIdText), historyDay_);
  } catch (const RuntimeFailure&) {
    reading_ = false;
    t.finished = true;
    t.failureLog = "站点设备ID不是0到255之间的数，历史数据读取已停止";
    return t;
  }
  --historyDay_;
  if (historyDay_ >= 0) {
    t.progress = std::string(combo2Text) + "(" + std::to_string(historyDay_) + ")";
  } else {
    reading_ = false;
    t.finished = true;
  }
  return t;
}

std::optional<int> HistoryReading::dayOfRequest(const Bytes& request) {
  if (request.size() < 6 || request[1] != 0x03 || (request[2] & 0xF0) != 0xF0) return std::nullopt;
  return ((request[2] & 0x0F) << 8) | request[3];
}

std::optional<HistoryRow> HistoryReading::showHistoryDay(const Bytes& reply, int gridRows, const Bytes& request) const {
  auto values = historyValueTexts(reply);
  if (!values) return std::nullopt;
  const std::optional<int> asked = dayOfRequest(request);
  const int day = asked ? *asked : historyDay_ + 1;
  const int row = rowOfDay(day);
  if (row < 1 || row >= gridRows) return std::nullopt;
  HistoryRow r;
  r.row = row;
  r.label = std::to_string(day);
  r.values = std::move(*values);
  return r;
}

// ---- Marks and charts ---------------------------------------------------------------------

bool isMarked(std::string_view mark) { return val(mark) == -1; }

std::string toggledMark(std::string_view mark) { return std::string(mark == kMarked ? kUnmarked : kMarked); }

std::optional<ChartRequest> chartRequest(const GridRows& grid, std::string_view combo3Text, short chartType) {
  if (combo3Text.empty()) return std::nullopt;
  const auto column = historyItemColumn(combo3Text);
  if (!column) return std::nullopt;
  ChartRequest c;
  for (std::size_t r = 1; r < grid.size(); ++r)
    if (isMarked(cellOf(grid[r], 0))) {
      c.values.push_back(val(cellOf(grid[r], *column)));
      c.days.emplace_back(cellOf(grid[r], 1));
    }
  if (c.values.empty()) return std::nullopt;
  c.chartType = chartType;
  c.title = std::string(combo3Text);
  c.axisTop = chartAxisTop(c.values);
  return c;
}

// ---- Export -------------------------------------------------------------------------------

std::string exportFileName(std::string_view dialogFileName) {
  const auto endsInCsv = [&] {
    if (dialogFileName.size() < 4) return false;
    std::string tail(dialogFileName.substr(dialogFileName.size() - 4));
    for (char& c : tail) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return tail == ".csv";
  };
  return endsInCsv() ? std::string(dialogFileName) : std::string(dialogFileName) + ".csv";
}

std::string csvCell(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char ch : text) {
    if (ch == ',')
      out += "，";
    else
      out += ch;
  }
  return out;
}

std::string exportLine(const std::vector<std::string>& row, int columns) {
  std::string line = cellOf(row, 1);
  for (int c = 2; c < columns; ++c) {
    line += ',';
    line += csvCell(cellOf(row, c));
  }
  return line;
}

std::string exportText(const GridRows& grid, int columns) {
  std::string text;
  for (const auto& row : grid) {
    text += exportLine(row, columns);
    text += "\r\n";
  }
  return text;
}

}  // namespace xl::monitoring
