#pragma once
// FrmChart ("图标"): a small modal window that draws one series of numbers as a line chart or
// as bars, under a title. The history screen opens it for the values of one of its columns.
// It holds no data of its own and talks to no device.
//
// The value axis starts at 0 and ends at the first whole number above 110 percent of the
// largest value (jiashi); there is no legend and the axis of the rows carries no text.
// Resizing the window resizes the chart.

#include <QDialog>
#include <QList>
#include <QStringList>
#include <functional>
#include <vector>

#include "ui/modal.h"

class QChartView;
class QLineEdit;

namespace xl::monitoring {

class FrmChart : public ui::ModalForm<FrmChart> {
  Q_OBJECT
  friend class ui::Singleton<FrmChart>;

 public:
  // Chart types as the callers pass them: 3 two-dimensional lines, 1 two-dimensional bars.
  static constexpr short kLines = 3;
  static constexpr short kBars = 1;

  // Draws the first `count` values (oldest first, one row each) as `chartType` under `title`,
  // then shows the window modally (ui::showModal: timers and serial events go on meanwhile);
  // returns when it is closed, and the window is gone then. Any other chart type draws lines.
  // `rowLabels` (the history rows' day numbers) stand under the rows on the x axis, thinned
  // out so that they never overlap; without them the rows are numbered from 1.
  void showChart(const std::vector<double>& values, int count, short chartType, const QString& title,
                 const QStringList& rowLabels = {});

  // --- What is drawn, for tests ---------------------------------------------------------------
  short chartType() const { return chartType_; }
  QList<double> values() const;
  double axisMinimum() const;
  double axisMaximum() const;
  bool legendShown() const;
  // The labels on the x axis, left to right.
  QStringList rowLabels() const;
  QString title() const;
  QChartView* chartView() const { return MSChart1; }

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  FrmChart();
  ~FrmChart() override;
  void Form_Resize();

  QLineEdit* Text1;
  QChartView* MSChart1;
  short chartType_ = kLines;
};

}  // namespace xl::monitoring
