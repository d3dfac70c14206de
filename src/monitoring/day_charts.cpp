#include "monitoring/day_charts.h"

#include <QChart>
#include <QLegend>
#include <QLineSeries>
#include <QValueAxis>
#include <algorithm>
#include <cmath>

namespace xl::monitoring {

namespace {
const char* const kLineNames[DayChart::kColumns] = {"Array", "Battery", "Load"};

// Round steps (1, 2 or 5 times a power of ten) of about a quarter of the axis, from 0: the
// labels stay short ("10", "20", "0.2"), where a quarter of an axis top of 39 ("9.75",
// "29.25") is cut in a narrow chart.
double tickStep(double top) {
  if (top <= 0) return 1;
  const double raw = top / 4;
  const double power = std::pow(10.0, std::floor(std::log10(raw)));
  for (double m : {1.0, 2.0, 5.0})
    if (raw <= m * power) return m * power;
  return 10 * power;
}
}  // namespace

DayChart::DayChart(QWidget* parent) : QChartView(parent) {
  auto* chart = new QChart;
  axisX_ = new QValueAxis(chart);
  axisY_ = new QValueAxis(chart);
  chart->addAxis(axisX_, Qt::AlignBottom);
  chart->addAxis(axisY_, Qt::AlignLeft);
  // The horizontal axis only spaces the points; it carries no labels.
  axisX_->setLabelsVisible(false);
  axisX_->setTickCount(2);
  axisY_->setMinorTickCount(1);
  axisY_->setLabelFormat("%g");
  axisY_->setTickType(QValueAxis::TicksDynamic);
  axisY_->setTickAnchor(0);
  axisY_->setTickInterval(tickStep(1));
  for (int c = 0; c < kColumns; ++c) {
    lines_[c] = new QLineSeries(chart);
    lines_[c]->setName(QString::fromLatin1(kLineNames[c]));
    chart->addSeries(lines_[c]);
    lines_[c]->attachAxis(axisX_);
    lines_[c]->attachAxis(axisY_);
  }
  chart->setMargins(QMargins(2, 2, 2, 2));
  setChart(chart);
  setRenderHint(QPainter::Antialiasing);
  setMinimumHeight(120);
}

void DayChart::init(int points) {
  points_ = points;
  for (QLineSeries* line : lines_) {
    QList<QPointF> zeros;
    for (int i = 0; i < points; ++i) zeros.append(QPointF(i + 1, 0));
    line->replace(zeros);
  }
  axisX_->setRange(1, std::max(points, 2));
  axisY_->setRange(0, std::max(axisY_->max(), 1.0));
  axisY_->setTickInterval(tickStep(axisY_->max()));
  chart()->legend()->setVisible(true);
  chart()->legend()->setAlignment(Qt::AlignBottom);
}

void DayChart::update(double array, double battery, double load, double& axisTop) {
  const double news[kColumns] = {array, battery, load};
  for (double x : news)
    if (jiashi(x) > axisTop) axisTop = jiashi(x);
  axisY_->setMax(axisTop);
  axisY_->setTickInterval(tickStep(axisTop));
  for (int c = 0; c < kColumns; ++c) {
    QList<QPointF> points = lines_[c]->points();
    for (int i = 0; i + 1 < points.size(); ++i) points[i].setY(points[i + 1].y());
    if (!points.isEmpty()) points.last().setY(news[c]);
    lines_[c]->replace(points);
  }
}

QList<double> DayChart::values(int column) const {
  QList<double> out;
  for (const QPointF& p : lines_[column]->points()) out.append(p.y());
  return out;
}

double DayChart::axisMaximum() const { return axisY_->max(); }
double DayChart::axisMinimum() const { return axisY_->min(); }
QString DayChart::lineName(int column) const { return lines_[column]->name(); }
bool DayChart::legendShown() const { return chart()->legend()->isVisible(); }

}  // namespace xl::monitoring
