// The moving curves on their own: the window of thirty points and the top that only grows.

#include <gtest/gtest.h>

#include "monitoring/day_charts.h"
#include "support/console_fixture.h"

namespace xl::monitoring {
namespace {

TEST(DayChart, ScrollsOnePointPerUpdateAndTheTopOnlyGrows) {
  testing::testApp();
  DayChart chart;
  chart.init(30);
  EXPECT_EQ((QStringList{chart.lineName(0), chart.lineName(1), chart.lineName(2)}),
            (QStringList{"Array", "Battery", "Load"}));
  EXPECT_TRUE(chart.legendShown() && chart.axisMinimum() == 0);
  for (int c = 0; c < 3; ++c) EXPECT_EQ(chart.values(c), QList<double>(30, 0.0));

  // All zeros give a top of 1; 20 does not lower it.
  double top = 0;
  std::vector<double> tops;
  for (const auto& [a, b, l] : {std::tuple{0, 0, 0}, {30, 5, 1}, {20, 6, 2}})
    chart.update(a, b, l, top), tops.push_back(top);
  EXPECT_EQ(tops, (std::vector<double>{1, 34, 34}));
  EXPECT_EQ(chart.axisMaximum(), 34);
  QList<double> array = chart.values(0);
  ASSERT_EQ(array.size(), 30);
  EXPECT_EQ(array.mid(27), (QList<double>{0, 30, 20}));
  EXPECT_EQ(chart.values(1).mid(28), (QList<double>{5, 6}));
  EXPECT_EQ(chart.values(2).last(), 2);

  // Thirty more updates push the old values out at the left.
  for (int i = 1; i <= 30; ++i) chart.update(i, 0, 0, top);
  array = chart.values(0);
  EXPECT_TRUE(array.first() == 1 && array.last() == 30 && array.size() == 30);

  // A caller that resets its top to 0 gets a top from the new values alone.
  top = 0;
  chart.update(2, 9, 0.5, top);
  EXPECT_TRUE(top == 10 && chart.axisMaximum() == 10);
  EXPECT_EQ(chart.values(0).at(28), 30);  // the old points stay
}

}  // namespace
}  // namespace xl::monitoring
