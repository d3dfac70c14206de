#pragma once
// FrmMDI: the main window. Station pane on the left, child screens in the middle, the message
// window (Text1, the program's log) below.

#include <QMainWindow>

class QMdiArea;
class QPlainTextEdit;
class QDockWidget;
class QTreeWidget;

namespace xl::shell {

class FrmMDI : public QMainWindow {
  Q_OBJECT
 public:
  // The one main window, created at first touch.
  static FrmMDI& instance();
  static bool exists();

  QMdiArea* mdiArea() const { return mdiArea_; }
  QPlainTextEdit* Text1() const { return text1_; }

  void MDIForm_Load();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  FrmMDI();
  ~FrmMDI() override;

  QMdiArea* mdiArea_;
  QPlainTextEdit* text1_;
  QDockWidget* stationPane_;
  QDockWidget* messagePane_;
  QTreeWidget* treeView1_;
};

}  // namespace xl::shell
