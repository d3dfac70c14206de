#pragma once
// A whole console whose modal dialogs are driven by the test: each modal form that is shown
// is handed to the next driver in `drivers` (none left: it is closed at once), and its object
// name is recorded in `modals`.

#include <QAction>
#include <QFile>
#include <QLabel>
#include <QListWidget>
#include <QTest>
#include <QTreeWidget>

#include "support/console_fixture.h"
#include "ui/form.h"
#include "ui/modal.h"

namespace xl::testing {

// Types `text` into `w` key by key, as the operator does; any character, not only ASCII.
inline void typeText(QWidget* w, const QString& text) {
  for (QChar c : text) {
    QTest::sendKeyEvent(QTest::Press, w, Qt::Key_unknown, QString(c), Qt::NoModifier);
    QTest::sendKeyEvent(QTest::Release, w, Qt::Key_unknown, QString(c), Qt::NoModifier);
  }
}

// Replaces what a box holds by `text`: all of it selected and deleted, then typed key by key.
inline void retype(QLineEdit* box, const QString& text) {
  box->selectAll();
  QTest::keyClick(box, Qt::Key_Delete);
  typeText(box, text);
}

// Types `text` over whatever an editable list box holds, selected first, key by key.
inline void typeOver(QComboBox* box, const QString& text) {
  box->lineEdit()->selectAll();
  typeText(box->lineEdit(), text);
}

// Chooses entry `i` of a list as a click on it does: the entry, then the activation.
inline void activate(QComboBox* box, int i) {
  box->setCurrentIndex(i);
  emit box->activated(i);
}

// The entries of a list box, in order.
inline QStringList itemsOf(const QComboBox* box) {
  QStringList l;
  for (int i = 0; i < box->count(); ++i) l << box->itemText(i);
  return l;
}

// A choice from a list that takes no typing: Home, then Down to the entry.
inline void choose(QComboBox* list, const QString& text) {
  const int i = list->findText(text);
  ASSERT_GE(i, 0) << text.toStdString();
  QTest::keyClick(list, Qt::Key_Home);
  for (int k = 0; k < i; ++k) QTest::keyClick(list, Qt::Key_Down);
  ASSERT_EQ(list->currentIndex(), i);
}

// A click on row `row` of a list.
inline void clickRow(QListWidget* list, int row) {
  QListWidgetItem* item = list->item(row);
  list->scrollToItem(item);
  QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
}

// The caption of a box: the text of the label whose buddy it is.
inline QString labelText(const QWidget* box) {
  QLabel* label = ui::labelFor(box);
  return label ? label->text() : QStringLiteral("<no label>");
}

class ShellFixture : public ConsoleFixture {
 protected:
  using Driver = std::function<void(ui::DialogForm&)>;

  void SetUp() override {
    ConsoleFixture::SetUp();
    ui::setModalRunner([this](ui::DialogForm& form) {
      modals << form.objectName();
      if (drivers.empty()) return;
      Driver d = std::move(drivers.front());
      drivers.pop_front();
      d(form);
    });
  }
  void TearDown() override {
    ui::setModalRunner({});
    ConsoleFixture::TearDown();
  }

  QByteArray settingsBytes() {
    QFile f(dir.path() + "/MSCON.DLL");
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
  }
  void writeSettings(const QByteArray& bytes) {
    QFile f(dir.path() + "/MSCON.DLL");
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(bytes);
  }
  // The texts of the message boxes shown so far.
  QStringList messages() const {
    QStringList m;
    for (const auto& s : dialogs.shown) m << s.text;
    return m;
  }
  void click(const QObject& form, const char* name) { QTest::mouseClick(button(form, name), Qt::LeftButton); }
  // The station tree in one text: each port entry with the station nodes loaded under it.
  QString treeText() {
    QTreeWidgetItem* root = mdi().TreeView1()->topLevelItem(0);
    QString s = root->text(0) + ":";
    for (int i = 0; i < root->childCount(); ++i) {
      s += " " + root->child(i)->text(0) + " [";
      for (int j = 0; j < root->child(i)->childCount(); ++j) s += root->child(i)->child(j)->text(0) + ";";
      s += "]";
    }
    return s;
  }

  std::deque<Driver> drivers;
  QStringList modals;
};

}  // namespace xl::testing

namespace xl::shell {
using platform::ms;
using testing::button;
using testing::combo;
using testing::control;
using testing::edit;
using testing::itemsOf;
}  // namespace xl::shell
