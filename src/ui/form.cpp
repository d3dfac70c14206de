#include "ui/form.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace xl::ui {

QLineEdit* makeBox(QWidget* parent, const Field& field) {
  auto* box = new QLineEdit(parent);
  box->setObjectName(QString::fromLatin1(field.name));
  box->setReadOnly(field.readOnly);
  box->setMinimumWidth(field.width);
  return box;
}

QList<QLineEdit*> addFields(QGridLayout* grid, QWidget* parent, std::span<const Field> fields, int columns,
                            int firstRow) {
  QList<QLineEdit*> boxes;
  int i = 0;
  for (const Field& f : fields) {
    QLineEdit* box = makeBox(parent, f);
    const int row = firstRow + i / columns, column = (i % columns) * 2;
    if (f.caption) {
      auto* label = new QLabel(QString::fromUtf8(f.caption), parent);
      if (f.labelName) label->setObjectName(QString::fromLatin1(f.labelName));
      label->setBuddy(box);
      grid->addWidget(label, row, column);
    }
    grid->addWidget(box, row, column + 1);
    boxes.append(box);
    ++i;
  }
  return boxes;
}

QLabel* addCaptioned(QGridLayout* grid, QWidget* parent, int row, int column, const QString& caption, QWidget* box) {
  auto* label = new QLabel(caption, parent);
  label->setBuddy(box);
  grid->addWidget(label, row, column);
  grid->addWidget(box, row, column + 1);
  return label;
}

QLabel* labelFor(const QWidget* box) {
  // The caption stands beside the box or, for a box inside a holder, beside the holder.
  for (const QWidget* w = box ? box->parentWidget() : nullptr; w; w = w->isWindow() ? nullptr : w->parentWidget())
    for (QLabel* label : w->findChildren<QLabel*>())
      if (label->buddy() == box) return label;
  return nullptr;
}

QHBoxLayout* okCancelRow(QWidget* parent, QPushButton*& ok, const char* okName, QPushButton*& cancel,
                         const char* cancelName) {
  ok = new QPushButton(QStringLiteral("确定"), parent);
  ok->setObjectName(okName);
  cancel = new QPushButton(QStringLiteral("取消"), parent);
  cancel->setObjectName(cancelName);
  auto* row = new QHBoxLayout;
  row->addStretch();
  row->addWidget(ok);
  row->addWidget(cancel);
  return row;
}

}  // namespace xl::ui
