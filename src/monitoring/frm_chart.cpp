#include "monitoring/frm_chart.h"

#include <QBarCategoryAxis>
#include <QBarSeries>
#include <QBarSet>
#include <QChart>
#include <QChartView>
#include <QLegend>
#include <QLineEdit>
#include <QLineSeries>
#include <QResizeEvent>
#include <QValueAxis>
#include <algorithm>
#include <span>

#include "monitoring/chart_axis.h"
#include "ui/screen.h"

namespace xl::monitoring {

namespace {

// The classic layout in pixels (15 twips a pixel): the title 60 twips from the top, the
// chart 8 pixels in from the left.
constexpr int kTitleTop = 60 / 15;
constexpr int kChartLeft = 8;

QValueAxis* valueAxisOf(const QChart* chart) {
  const auto axes = chart->axes(Qt::Vertical);
  return axes.isEmpty() ? nullptr : qobject_cast<QValueAxis*>(axes.first());
}

}  // namespace

FrmChart::FrmChart() : ui::ModalForm<FrmChart>("FrmChart", QStringLiteral("图标")) {
  setModal(true);
  setSizeGripEnabled(true);

  Text1 = new QLineEdit(this);
  Text1->setObjectName("Text1");
  Text1->setReadOnly(true);
  Text1->setFrame(false);
  Text1->setAlignment(Qt::AlignCenter);
  QFont big = Text1->font();
  big.setPointSizeF(big.pointSizeF() * 1.25);
  big.setBold(true);
  Text1->setFont(big);
  Text1->setFocusPolicy(Qt::NoFocus);

  MSChart1 = new QChartView(this);
  MSChart1->setObjectName("MSChart1");
  MSChart1->setRenderHint(QPainter::Antialiasing);
  MSChart1->setChart(new QChart);
  MSChart1->move(kChartLeft, kTitleTop + Text1->sizeHint().height() + 4);

  resize(760, 480);
}

FrmChart::~FrmChart() = default;

void FrmChart::showChart(const std::vector<double>& values, int count, short chartType, const QString& title) {
  const auto n = static_cast<std::size_t>(std::clamp<qsizetype>(count, 0, static_cast<qsizetype>(values.size())));
  const std::span<const double> shown(values.data(), n);
  Text1->setText(title);
  chartType_ = chartType;

  auto* chart = new QChart;
  chart->legend()->setVisible(false);
  chart->setMargins(QMargins(4, 4, 4, 4));
  auto* axisY = new QValueAxis(chart);
  // Automatic scaling off: the axis runs from 0 to the top that the values ask for.
  axisY->setRange(0, chartAxisTop(shown));
  axisY->setMinorTickCount(0);
  axisY->setLabelFormat("%g");
  chart->addAxis(axisY, Qt::AlignLeft);

  if (chartType == kBars) {
    auto* set = new QBarSet(QString());
    for (double v : shown) set->append(v);
    auto* bars = new QBarSeries(chart);
    bars->append(set);
    chart->addSeries(bars);
    // One category a row; the categories must differ, so they are numbers, never shown.
    auto* axisX = new QBarCategoryAxis(chart);
    QStringList rows;
    for (std::size_t i = 0; i < n; ++i) rows << QString::number(i + 1);
    axisX->append(rows);
    axisX->setLabelsVisible(false);
    chart->addAxis(axisX, Qt::AlignBottom);
    bars->attachAxis(axisX);
    bars->attachAxis(axisY);
  } else {
    auto* line = new QLineSeries(chart);
    QList<QPointF> points;
    for (std::size_t i = 0; i < n; ++i) points.append(QPointF(static_cast<double>(i + 1), shown[i]));
    line->replace(points);
    line->setPointsVisible(n < 100);  // a single row still shows as a point
    chart->addSeries(line);
    auto* axisX = new QValueAxis(chart);
    axisX->setRange(1, std::max<double>(static_cast<double>(n), 2));
    axisX->setLabelsVisible(false);
    axisX->setTickCount(2);
    chart->addAxis(axisX, Qt::AlignBottom);
    line->attachAxis(axisX);
    line->attachAxis(axisY);
  }

  QChart* old = MSChart1->chart();
  MSChart1->setChart(chart);
  delete old;
  Form_Resize();

  ui::showModal(*this);
}

void FrmChart::resizeEvent(QResizeEvent* event) {
  QDialog::resizeEvent(event);
  Form_Resize();
}

void FrmChart::Form_Resize() {
  // The title takes the full width at its place; the chart keeps its left and top and takes
  // the rest less the same margins. A window too small for a positive size leaves it as it is.
  Text1->setGeometry(0, kTitleTop, width(), Text1->sizeHint().height());
  const QPoint at = MSChart1->pos();
  const int w = width() - 2 * at.x(), h = height() - 2 * at.y();
  if (w > 0 && h > 0) MSChart1->resize(w, h);
}

QList<double> FrmChart::values() const {
  QList<double> out;
  const auto series = MSChart1->chart()->series();
  if (series.isEmpty()) return out;
  if (auto* line = qobject_cast<QLineSeries*>(series.first())) {
    for (const QPointF& p : line->points()) out.append(p.y());
  } else if (auto* bars = qobject_cast<QBarSeries*>(series.first())) {
    if (!bars->barSets().isEmpty()) {
      const QBarSet* set = bars->barSets().first();
      for (int i = 0; i < set->count(); ++i) out.append(set->at(i));
    }
  }
  return out;
}

double FrmChart::axisMinimum() const {
  const QValueAxis* a = valueAxisOf(MSChart1->chart());
  return a ? a->min() : 0;
}

double FrmChart::axisMaximum() const {
  const QValueAxis* a = valueAxisOf(MSChart1->chart());
  return a ? a->max() : 0;
}

bool FrmChart::legendShown() const { return MSChart1->chart()->legend()->isVisible(); }

bool FrmChart::rowLabelsShown() const {
  for (QAbstractAxis* a : MSChart1->chart()->axes(Qt::Horizontal))
    if (a->labelsVisible()) return true;
  return false;
}

QString FrmChart::title() const { return Text1->text(); }

}  // namespace xl::monitoring
