#include "ui/station_box.h"

#include <QLineEdit>
#include <QPointer>
#include <QSignalBlocker>
#include <array>

#include "ui/form.h"
#include "ui/input.h"

namespace xl::ui {

StationBox::StationBox(QWidget* parent) : QComboBox(parent) {
  setObjectName("Combo1");
  setEditable(true);
  setInsertPolicy(QComboBox::NoInsert);
  setMinimumWidth(140);
  connect(this, qOverload<int>(&QComboBox::activated), this, [this](int) {
    if (click_) click_();
  });
  connect(lineEdit(), &QLineEdit::textEdited, this, [this](const QString&) {
    if (change_) change_();
  });
}

void StationBox::makeDropDownList() {
  setEditable(false);
  setCurrentIndex(-1);
}

void StationBox::onKeyDown(std::function<void(int)> handler) {
  if (!lineEdit()) {
    ui::onKeyDown(this, std::move(handler));
    return;
  }
  // A key reaches the line edit first; a key it does not take (the arrows) goes on to the box.
  // Both are watched, so such a key is told twice; the handler must not mind (it records).
  ui::onKeyDown(lineEdit(), handler);
  ui::onKeyDown(this, std::move(handler));
}

void StationBox::setTextAsCode(const QString& text) {
  if (currentText() == text) return;
  if (lineEdit())
    setEditText(text);
  else
    setCurrentIndex(findText(text));
  if (change_) change_();
}

void StationBox::addStation(const QString& name) {
  const QString typed = currentText();
  const int index = currentIndex();
  const QSignalBlocker quiet(this);
  if (!lineEdit()) {
    addItem(name);
    if (currentIndex() != index) setCurrentIndex(index);
    return;
  }
  const int cursor = lineEdit()->cursorPosition();
  addItem(name);
  // A list that was empty makes its first item current; that is undone.
  if (currentIndex() != index || currentText() != typed) {
    setCurrentIndex(index);
    setEditText(typed);
    lineEdit()->setCursorPosition(cursor);
  }
}

void StationBox::clearStations() { clear(); }

namespace {
std::array<QPointer<StationBox>, static_cast<std::size_t>(StationList::Count)>& lists() {
  static std::array<QPointer<StationBox>, static_cast<std::size_t>(StationList::Count)> l;
  return l;
}
}  // namespace

StationBox* addStationBox(QGridLayout* grid, QWidget* parent, int row, int column) {
  auto* box = new StationBox(parent);
  addCaptioned(grid, parent, row, column, QStringLiteral("选择站点"), box);
  return box;
}

void registerStationList(StationList which, StationBox* box) { lists()[static_cast<std::size_t>(which)] = box; }

void clearStationLists() {
  for (auto& box : lists())
    if (box) box->clearStations();
}

void addToStationLists(const QString& name) {
  for (auto& box : lists())
    if (box) box->addStation(name);
}

}  // namespace xl::ui
