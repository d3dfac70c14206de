#pragma once
// What every screen repeats: its name and caption, the main window's icon, hide on close, and
// the one conversion from the rule modules' std::string to the text of a box.

#include <QIcon>
#include <QString>
#include <QWidget>
#include <string>

namespace xl::ui {

// Text of the Qt-free rule modules (UTF-8) as a box shows it.
inline QString q(const std::string& s) { return QString::fromStdString(s); }

// The icon of the main window; the shell sets it once, every screen takes it when it is made.
void setMainIcon(const QIcon& icon);
QIcon mainIcon();

// A child screen of the main window. The object name is the form's name ("FrmGlobalMonitoring")
// and the caption the system's ("全局监控"); the screen takes the main window's icon.
//
// Closing a screen hides it, with its frame in the middle area (the QMdiSubWindow), and the
// screen lives on: an unseen monitor goes on receiving data. The shell's showChild brings both
// back. A screen that really closes (a dialog that is done) passes HideOnClose::No.
class Screen : public QWidget {
  Q_OBJECT

 public:
  enum class HideOnClose { Yes, No };
  Screen(const char* objectName, const QString& caption, HideOnClose hide = HideOnClose::Yes);

  // Hides the screen and its frame in the middle area.
  void hideWithFrame();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  HideOnClose hide_;
};

// Shows `screen` as a window of its own that holds the program's input until it is closed,
// centred over `over` when given. No nested event loop: timers and serial events run on.
void showModal(QWidget* screen, QWidget* over = nullptr);

}  // namespace xl::ui
