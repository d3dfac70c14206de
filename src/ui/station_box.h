#pragma once
// The station box, Combo1, that six working screens share, and the station lists that the
// shell fills.
//
// The box is editable: the operator picks a station from the list (the click handler) or types
// a name (the change handler, at each keystroke); typed text never enters the list. Code sets
// the text with setTextAsCode, which runs the change handler only when the text differs (so
// two screens that mirror each other's box do not loop). Filling the list from outside never
// chooses a station and never changes the text that stands in the box.

#include <QComboBox>
#include <QGridLayout>
#include <functional>

namespace xl::ui {

class StationBox : public QComboBox {
  Q_OBJECT

 public:
  explicit StationBox(QWidget* parent);

  void onClick(std::function<void()> handler) { click_ = std::move(handler); }
  void onChange(std::function<void()> handler) { change_ = std::move(handler); }
  // The key code of each key pressed in the box while it is enabled. A key that the line edit
  // passes on to the box (an arrow) is told twice: the handler records, it does not count.
  void onKeyDown(std::function<void(int key)> handler);

  QString text() const { return currentText(); }
  // A box that takes no typing: only the stations of its list can stand in it.
  void makeDropDownList();
  // Writes the text as code does: when it differs, the change handler runs.
  void setTextAsCode(const QString& text);

  // Adds a station to the list; nothing is chosen and the text in the box stays as it is.
  void addStation(const QString& name);
  // Empties the list and the box.
  void clearStations();

 private:
  std::function<void()> click_;
  std::function<void()> change_;
};

// The station box of a screen with its caption "选择站点", at (row, column) of `grid` and the
// cell after it.
StationBox* addStationBox(QGridLayout* grid, QWidget* parent, int row = 0, int column = 0);

// The station lists of the working screens, in the order in which the shell fills them.
enum class StationList { RealTime, Daily, History, ControlParameter, LoadConfiguration, Factory, Count };

// A working screen hands its station box to the shell's list when it is made (and null when it
// goes). The shell then clears and fills every registered list.
void registerStationList(StationList which, StationBox* box);
void clearStationLists();
void addToStationLists(const QString& name);

}  // namespace xl::ui
