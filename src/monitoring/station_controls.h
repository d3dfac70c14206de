#pragma once
// Controls that the two monitors of one station build alike.

#include <QComboBox>
#include <QLineEdit>

namespace xl::monitoring {

// A read-only display box carrying the control's name.
inline QLineEdit* displayBox(QWidget* parent, const char* name, int minimumWidth) {
  auto* e = new QLineEdit(parent);
  e->setObjectName(QString::fromLatin1(name));
  e->setReadOnly(true);
  e->setMinimumWidth(minimumWidth);
  return e;
}

// The editable station box, Combo1: typing is allowed, typed text is never added to the list.
inline QComboBox* stationBox(QWidget* parent) {
  auto* c = new QComboBox(parent);
  c->setObjectName("Combo1");
  c->setEditable(true);
  c->setInsertPolicy(QComboBox::NoInsert);
  c->setMinimumWidth(140);
  return c;
}

}  // namespace xl::monitoring
