#include "monitoring/frm_chart.h"

#include <QBarCategoryAxis>
#include <QBarSeries>
#include <QBarSet>
#include <QCategoryAxis>
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
  // Larger, not bold: a bold face of the Chinese font would be loaded for these few words.
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

void FrmChart::showChart(const std::vector<double>& values, int count, short chartType, const QString& title,
                         const QStringList& rowLabels) {
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

  // The x axis: row i (from 0) stands at i + 1, half a row of room at each end so that the
  // first and last points and bars are whole. Its labels are the rows' day numbers, every
  // step-th of them so that they never crowd (at most about one per 40 pixels of plot).
  auto* axisX = new QCategoryAxis(chart);
  axisX->setRange(0.5, static_cast<double>(n) + 0.5);
  axisX->setLabelsPosition(QCategoryAxis::AxisLabelsPositionOnValue);
  axisX->setGridLineVisible(false);
  const std::size_t step = std::max<std::size_t>(1, (n + 17) / 18);
  for (std::size_t i = 0; i < n; i += step) {
    const QString label =
        static_cast<qsizetype>(i) < rowLabels.size() ? rowLabels[static_cast<qsizetype>(i)] : QString::number(i + 1);
    // Category labels must differ; a repeated day number (an edited grid) gets a blank suffix.
    QString unique = label;
    while (axisX->categoriesLabels().contains(unique)) unique += QLatin1Char(' ');
    axisX->append(unique, static_cast<double>(i + 1));
  }
  chart->addAxis(axisX, Qt::AlignBottom);

  if (chartType == kBars) {
    auto* set = new QBarSet(QString());
    for (double v : shown) set->append(v);
    auto* bars = new QBarSeries(chart);
    bars->append(set);
    chart->addSeries(bars);
    // The bars place themselves by category (row i at i); that axis is hidden and runs half a
    // row beyond each end like the labelled one, so both agree.
    auto* rows = new QBarCategoryAxis(chart);
    QStringList names;
    for (std::size_t i = 0; i < n; ++i) names << QString::number(i + 1);
    rows->append(names);
    rows->setVisible(false);
    chart->addAxis(rows, Qt::AlignBottom);
    bars->attachAxis(rows);
    bars->attachAxis(axisY);
  } else {
    auto* line = new QLineSeries(chart);
    QList<QPointF> points;
    for (std::size_t i = 0; i < n; ++i) points.append(QPointF(static_cast<double>(i + 1), shown[i]));
    line->replace(points);
    line->setPointsVisible(n < 100);  // a single row still shows as a point
    chart->addSeries(line);
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
  // the rest, with the same margin at the right and the bottom as at the left (no empty strip
  // under it). A window too small for a positive size leaves it as it is.
  Text1->setGeometry(0, kTitleTop, width(), Text1->sizeHint().height());
  const QPoint at = MSChart1->pos();
  const int w = width() - 2 * at.x(), h = height() - at.y() - at.x();
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

QStringList FrmChart::rowLabels() const {
  for (QAbstractAxis* a : MSChart1->chart()->axes(Qt::Horizontal))
    if (auto* labelled = qobject_cast<QCategoryAxis*>(a);
        labelled && labelled->isVisible() && labelled->labelsVisible()) {
      QStringList out;
      for (const QString& l : labelled->categoriesLabels()) out << l.trimmed();
      return out;
    }
  return {};
}

QString FrmChart::title() const { return Text1->text(); }

}  // namespace xl::monitoring
