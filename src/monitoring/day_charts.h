#pragma once
// The three moving curves of the daily screen: voltage, current and power, each with a line
// for the solar array, the battery and the load.
//
// A curve is a window of a fixed number of points with the newest at the right; each update
// moves every line one place to the left, the oldest point falls out and the new value comes
// in at the right end. There is no time axis: the points are as far apart as the replies that
// brought them. The top of the value axis is kept by the caller and only grows (see jiashi).

#include <QChartView>
#include <QList>

#include "monitoring/chart_axis.h"

class QLineSeries;
class QValueAxis;

namespace xl::monitoring {

class DayChart : public QChartView {
  Q_OBJECT

 public:
  static constexpr int kColumns = 3;  // array, battery, load

  explicit DayChart(QWidget* parent = nullptr);

  // Starts the chart afresh: `points` zeros on each line, the axis from 0, legend on.
  void init(int points);
  // Moves each line one place to the left and puts the three new values at the right end.
  // `axisTop` is raised to jiashi of any value that needs more room and becomes the axis top.
  void update(double array, double battery, double load, double& axisTop);

  int points() const { return points_; }
  // The values of line `column` (0 array, 1 battery, 2 load), oldest first.
  QList<double> values(int column) const;
  double axisMaximum() const;
  double axisMinimum() const;
  QString lineName(int column) const;
  bool legendShown() const;

 private:
  int points_ = 0;
  QLineSeries* lines_[kColumns] = {};
  QValueAxis* axisX_ = nullptr;
  QValueAxis* axisY_ = nullptr;
};

}  // namespace xl::monitoring
