#pragma once
// Operator input on a control, for the events that a control has no signal for (a mouse
// button going down or up, a key going down).
//
// An event filter sees the events of a disabled widget too; these helpers call their handler
// only while the widget is enabled, so a greyed control never acts. Use them instead of
// writing an event filter in a screen.

#include <QEvent>
#include <functional>

class QWidget;

namespace xl::ui {

// `handler` runs for each event of `type` that reaches `widget` while it is enabled; the event
// then goes on to the widget as usual.
void onEvent(QWidget* widget, QEvent::Type type, std::function<void(QEvent*)> handler);

inline void onMouseDown(QWidget* w, std::function<void()> h) {
  onEvent(w, QEvent::MouseButtonPress, [h = std::move(h)](QEvent*) { h(); });
}
inline void onMouseUp(QWidget* w, std::function<void()> h) {
  onEvent(w, QEvent::MouseButtonRelease, [h = std::move(h)](QEvent*) { h(); });
}
// The key code (Qt::Key) of each key pressed in `widget`.
void onKeyDown(QWidget* widget, std::function<void(int key)> handler);

}  // namespace xl::ui
