#include "platform/flex_grid.h"

#include <gtest/gtest.h>

#include <QApplication>

#include "support/qt_app.h"
#include <QHeaderView>

namespace xl::platform {
namespace {

QApplication& app() { return testing::testApp(); }

TEST(FlexGrid, ColumnTextClassification) {
  // Numbers: exact words, endings, beginnings and contained words.
  for (const char* number : {"序号", "密度", "电池数", "金额", "效率", "单价", "电量", "充电(%)", "发电KWh", "应收",
                             "本月合计", "累计发电", "最大值", "单位成本", "剩余容量", "工作小时", "投产量", "期初库存"})
    EXPECT_EQ(classifyColumnText(QString::fromUtf8(number)), 0) << number;
  for (const char* text : {"", "站点名称", "状态", "电压(V)", "备注", "数据", "kwh", "序号1"})
    EXPECT_EQ(classifyColumnText(QString::fromUtf8(text)), 2) << text;
}

TEST(FlexGrid, FormatGridColumnsByHeaderThenByLastRow) {
  app();
  FlexGrid grid;
  grid.setCols(5);
  grid.setRows(3);
  const char* headers[] = {"num value", " str x", "No. of days", "Voltage", "Name"};
  for (int c = 0; c < 5; ++c) grid.setTextMatrix(0, c, headers[c]);
  grid.setTextMatrix(2, 3, QStringLiteral("充电量"));  // the last row decides
  grid.setTextMatrix(1, 4, QStringLiteral("充电量"));  // not the last row: no effect
  grid.setTextMatrix(2, 4, QStringLiteral("站点"));
  formatGridColumns(grid);
  EXPECT_EQ((std::vector{grid.colAlignment(0), grid.colAlignment(1), grid.colAlignment(2)}), (std::vector{1, 1, 7}));
  for (const auto& [c, format] : {std::pair{0, "#,##0.000"}, {1, ""}, {2, ""}, {3, "#,##0.000"}, {4, ""}})
    EXPECT_EQ(grid.colFormat(c), format) << c;
  // The number format shows numbers grouped with three decimals and leaves other text.
  EXPECT_EQ(formatCell("1234.5", "#,##0.000") + " " + formatCell("abc", "#,##0.000") + " " + formatCell("1234.5", ""),
            "1,234.500 abc 1234.5");
  // The stored text stays as it was set.
  grid.setTextMatrix(1, 0, "1234.5");
  EXPECT_EQ(grid.textMatrix(1, 0), "1234.5");
}

TEST(FlexGrid, OutOfRangeCellsAndEmptyingTheBody) {
  app();
  FlexGrid grid;
  grid.setCols(3);
  grid.setRows(4);
  grid.setTextMatrix(0, 1, "Header");
  // Out-of-range writes are ignored, reads give empty text.
  grid.setTextMatrix(9, 9, "x");
  EXPECT_EQ(grid.textMatrix(9, 9), "");
  // formatGrid empties the body unless told to keep it, and keeps the header.
  grid.setTextMatrix(1, 0, "a");
  formatGrid(grid, true);
  EXPECT_EQ(grid.rows(), 4);
  formatGrid(grid, false);
  EXPECT_TRUE(grid.rows() == 1 && grid.textMatrix(0, 1) == "Header");
  EXPECT_EQ(grid.verticalHeader()->defaultSectionSize(), 20);
}

}  // namespace
}  // namespace xl::platform
