#include "shell/icons.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace xl::shell {

namespace {

constexpr int kSize = 32;
const QColor kInk(45, 70, 110);
const QColor kSun(240, 170, 30);
const QColor kGreen(40, 150, 80);
const QColor kGrey(150, 150, 150);
const QColor kRed(200, 50, 40);

template <typename Draw>
QIcon draw(Draw&& fn) {
  QPixmap pm(kSize, kSize);
  pm.fill(Qt::transparent);
  QPainter p(&pm);
  p.setRenderHint(QPainter::Antialiasing);
  fn(p);
  return QIcon(pm);
}

QPen pen(const QColor& c, double w = 2.5) { return QPen(c, w, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin); }

// A small solar panel: the symbol of a station.
void panel(QPainter& p, const QColor& frame) {
  p.setPen(pen(frame, 2));
  p.setBrush(frame.lighter(170));
  QPolygonF shape({QPointF(6, 12), QPointF(26, 12), QPointF(29, 26), QPointF(3, 26)});
  p.drawPolygon(shape);
  p.drawLine(QPointF(11, 12), QPointF(9.5, 26));
  p.drawLine(QPointF(16, 12), QPointF(16, 26));
  p.drawLine(QPointF(21, 12), QPointF(22.5, 26));
  p.drawLine(QPointF(4.5, 19), QPointF(27.5, 19));
  p.setPen(pen(kSun, 2));
  p.setBrush(kSun);
  p.drawEllipse(QPointF(25, 6), 3.5, 3.5);
}

}  // namespace

QIcon toolbarIcon(int index) {
  switch (index) {
    case 1:  // user switch: two heads
      return draw([](QPainter& p) {
        p.setPen(pen(kInk));
        p.setBrush(kInk.lighter(160));
        p.drawEllipse(QPointF(12, 10), 5, 5);
        p.drawChord(QRectF(3, 17, 18, 16), 0, 180 * 16);
        p.setBrush(kSun);
        p.drawEllipse(QPointF(23, 13), 4, 4);
        p.drawChord(QRectF(16, 19, 14, 12), 0, 180 * 16);
      });
    case 2:  // port: a plug
      return draw([](QPainter& p) {
        p.setPen(pen(kInk));
        p.setBrush(kInk.lighter(160));
        p.drawRoundedRect(QRectF(8, 10, 16, 12), 3, 3);
        p.drawLine(QPointF(12, 4), QPointF(12, 10));
        p.drawLine(QPointF(20, 4), QPointF(20, 10));
        p.drawLine(QPointF(16, 22), QPointF(16, 29));
      });
    case 3:  // real-time: a pulse
      return draw([](QPainter& p) {
        p.setPen(pen(kGreen));
        QPainterPath path(QPointF(2, 18));
        path.lineTo(9, 18);
        path.lineTo(13, 6);
        path.lineTo(18, 27);
        path.lineTo(22, 14);
        path.lineTo(30, 14);
        p.drawPath(path);
      });
    case 4:  // daily: a calendar page
      return draw([](QPainter& p) {
        p.setPen(pen(kInk));
        p.setBrush(Qt::white);
        p.drawRoundedRect(QRectF(5, 7, 22, 21), 2, 2);
        p.setBrush(kRed);
        p.drawRect(QRectF(5, 7, 22, 6));
        p.setPen(pen(kInk, 2));
        for (int r = 0; r < 2; ++r)
          for (int c = 0; c < 3; ++c) p.drawPoint(QPointF(10 + c * 6, 18 + r * 5));
      });
    case 5:  // global: a table
      return draw([](QPainter& p) {
        p.setPen(pen(kInk, 2));
        p.setBrush(Qt::white);
        p.drawRect(QRectF(4, 6, 24, 20));
        p.fillRect(QRectF(5, 7, 23, 5), kInk.lighter(170));
        p.drawLine(QPointF(4, 12), QPointF(28, 12));
        p.drawLine(QPointF(4, 19), QPointF(28, 19));
        p.drawLine(QPointF(13, 6), QPointF(13, 26));
      });
    case 6:  // history: a clock
      return draw([](QPainter& p) {
        p.setPen(pen(kInk));
        p.setBrush(Qt::white);
        p.drawEllipse(QPointF(16, 16), 12, 12);
        p.drawLine(QPointF(16, 16), QPointF(16, 8));
        p.drawLine(QPointF(16, 16), QPointF(22, 19));
      });
    case 7:  // data saving: a floppy disk
      return draw([](QPainter& p) {
        p.setPen(pen(kInk, 2));
        p.setBrush(kInk.lighter(150));
        p.drawRoundedRect(QRectF(5, 5, 22, 22), 2, 2);
        p.setBrush(Qt::white);
        p.drawRect(QRectF(10, 5, 12, 8));
        p.drawRect(QRectF(9, 17, 14, 10));
      });
    default: return QIcon();
  }
}

QIcon treeIcon(int index) {
  switch (index) {
    case 1:  // explorer and ports: a computer screen
      return draw([](QPainter& p) {
        p.setPen(pen(kInk, 2));
        p.setBrush(kInk.lighter(170));
        p.drawRoundedRect(QRectF(4, 5, 24, 17), 2, 2);
        p.drawLine(QPointF(16, 22), QPointF(16, 27));
        p.drawLine(QPointF(10, 27), QPointF(22, 27));
      });
    case 2: return draw([](QPainter& p) { panel(p, kGreen); });
    case 3:
      return draw([](QPainter& p) {
        panel(p, kGrey);
        p.setPen(pen(kRed, 3));
        p.drawLine(QPointF(4, 4), QPointF(14, 14));
        p.drawLine(QPointF(14, 4), QPointF(4, 14));
      });
    default: return QIcon();
  }
}

QIcon appIcon() {
  return draw([](QPainter& p) { panel(p, kInk); });
}

}  // namespace xl::shell
