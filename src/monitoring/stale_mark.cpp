#include "monitoring/stale_mark.h"

#include <QLabel>
#include <QWidget>

#include "monitoring/frm_global_monitoring.h"

namespace xl::monitoring {

void StaleMark::attach(QLabel* label, QList<QWidget*> boxes) {
  label_ = label;
  boxes_ = std::move(boxes);
  show(false, {});
}

void StaleMark::refresh(const QString& station) {
  if (station.isEmpty() || !FrmGlobalMonitoring::exists()) return show(false, {});
  const HealthTexts h = FrmGlobalMonitoring::instance().stationHealth(station);
  if (h.state == Freshness::Stale && h.ageUs)
    return show(true, QStringLiteral("最后应答 %1 秒前").arg(*h.ageUs / 1'000'000));
  if (h.state == Freshness::NeverAnswered) return show(true, QStringLiteral("无应答"));
  show(false, {});
}

void StaleMark::fresh() { show(false, {}); }

void StaleMark::show(bool stale, const QString& text) {
  if (stale != stale_ || !applied_) {
    for (QWidget* w : boxes_) w->setEnabled(!stale);
    if (label_) label_->setHidden(!stale);
    applied_ = true;
  }
  stale_ = stale;
  if (label_ && label_->text() != text) label_->setText(text);
}

}  // namespace xl::monitoring
