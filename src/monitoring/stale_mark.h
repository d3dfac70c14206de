#pragma once
// A screen's values shown as stale: when the scan's link health calls the station stale (or it
// never answered), the value boxes grey out and a label tells the age of the last good reply,
// "最后应答 N 秒前". Nothing is cleared; the next good reply, or the health turning fresh,
// brings the boxes back.

#include <QList>
#include <QString>

class QLabel;
class QWidget;

namespace xl::monitoring {

class StaleMark {
 public:
  // The label (hidden while fresh) and the boxes that grey out.
  void attach(QLabel* label, QList<QWidget*> boxes);
  // Asks the scan's link health about `station` (nothing to say for an empty name).
  void refresh(const QString& station);
  // A good reply of the station came: fresh at once.
  void fresh();
  bool stale() const { return stale_; }

 private:
  void show(bool stale, const QString& text);

  QLabel* label_ = nullptr;
  QList<QWidget*> boxes_;
  bool stale_ = false;
  bool applied_ = false;
};

}  // namespace xl::monitoring
