#pragma once
// The labelled boxes of a form, built from a table.
//
// A screen lists its boxes as data, one Field a box: the object name of the box (the control's
// name), the caption of its label, read-only or not, its width. addFields lays them out in a
// grid, `columns` boxes to a row, each caption a QLabel in the cell before its box and set as
// the box's buddy, and returns the boxes in the order of the table. So a form with thirty-three
// fields is a table of thirty-three lines, and a test finds every box by its name and every
// caption through labelFor().
//
// This builder was chosen over Qt Designer files: the boxes are plain data next to the code
// that moves text into them, the names stay those of the system, and layouts stay in one style.

#include <QList>
#include <span>

class QGridLayout;
class QHBoxLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QWidget;

namespace xl::ui {

struct Field {
  const char* name;                 // object name of the box
  const char* caption = nullptr;    // text of its label; none when null
  bool readOnly = true;             // a display box, or a box the operator types into
  int width = 90;                   // minimum width in pixels
  const char* labelName = nullptr;  // object name of the label, where the system names it
};

// A box of the form's kind, not yet laid out.
QLineEdit* makeBox(QWidget* parent, const Field& field);

// Builds the boxes of `fields` with their labels into `grid` (whose parent widget owns them),
// from row `firstRow`, `columns` boxes to a row. Returns the boxes in the order of `fields`.
QList<QLineEdit*> addFields(QGridLayout* grid, QWidget* parent, std::span<const Field> fields, int columns = 1,
                            int firstRow = 0);

// Any control with its caption: the label, set as the box's buddy, at (row, column) of `grid`
// and the box in the cell after it. Returns the label.
QLabel* addCaptioned(QGridLayout* grid, QWidget* parent, int row, int column, const QString& caption, QWidget* box);

// The label whose buddy is `box`, if any.
QLabel* labelFor(const QWidget* box);

// A settings dialog's "确定" and "取消" (named `okName` and `cancelName`), built in `ok` and
// `cancel`, right-aligned in the row returned.
QHBoxLayout* okCancelRow(QWidget* parent, QPushButton*& ok, const char* okName, QPushButton*& cancel,
                         const char* cancelName);

}  // namespace xl::ui
