#include "ui/input.h"

#include <QKeyEvent>
#include <QWidget>

namespace xl::ui {

namespace {

class EnabledOnly : public QObject {
 public:
  EnabledOnly(QWidget* widget, QEvent::Type type, std::function<void(QEvent*)> handler)
      : QObject(widget), type_(type), handler_(std::move(handler)) {}

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == type_ && static_cast<QWidget*>(watched)->isEnabled()) handler_(event);
    return false;
  }

 private:
  QEvent::Type type_;
  std::function<void(QEvent*)> handler_;
};

}  // namespace

void onEvent(QWidget* widget, QEvent::Type type, std::function<void(QEvent*)> handler) {
  widget->installEventFilter(new EnabledOnly(widget, type, std::move(handler)));
}

void onKeyDown(QWidget* widget, std::function<void(int key)> handler) {
  onEvent(widget, QEvent::KeyPress,
          [handler = std::move(handler)](QEvent* e) { handler(static_cast<QKeyEvent*>(e)->key()); });
}

}  // namespace xl::ui
