#include "ui/screen.h"

#include <QCloseEvent>
#include <QMdiSubWindow>

namespace xl::ui {

namespace {
QIcon& iconStore() {
  static QIcon icon;
  return icon;
}
}  // namespace

void setMainIcon(const QIcon& icon) { iconStore() = icon; }
QIcon mainIcon() { return iconStore(); }

Screen::Screen(const char* objectName, const QString& caption, HideOnClose hide) : hide_(hide) {
  setObjectName(QString::fromLatin1(objectName));
  setWindowTitle(caption);
  if (!mainIcon().isNull()) setWindowIcon(mainIcon());
}

void Screen::hideWithFrame() {
  hide();
  if (auto* frame = qobject_cast<QMdiSubWindow*>(parentWidget())) frame->hide();
}

void Screen::closeEvent(QCloseEvent* event) {
  if (hide_ == HideOnClose::No) {
    QWidget::closeEvent(event);
    return;
  }
  // The frame asks its screen first when its close box is clicked; both go out of sight.
  event->ignore();
  hideWithFrame();
}

void showModal(QWidget* screen, QWidget* over) {
  screen->setWindowFlag(Qt::Dialog, true);
  screen->setWindowModality(Qt::ApplicationModal);
  if (over) {
    const QPoint centre = over->geometry().center();
    screen->move(centre.x() - screen->width() / 2, centre.y() - screen->height() / 2);
  }
  screen->show();
  screen->raise();
  screen->activateWindow();
}

}  // namespace xl::ui
