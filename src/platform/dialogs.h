#pragma once
// Modal dialogs and message boxes. The program shows real ones; tests install a scripted
// implementation that answers from a queue and records what was shown.

#include <QString>
#include <functional>

class QWidget;

namespace xl::platform {

// Message box styles and answers use the codes of the classic message-box call, so a caller's
// "68" (Yes and No buttons with the information icon) reads as it always has.
enum MsgStyle {
  kOkOnly = 0,
  kOkCancel = 1,
  kYesNoCancel = 3,
  kYesNo = 4,
  kCritical = 16,
  kQuestion = 32,
  kExclamation = 48,
  kInformation = 64
};
enum MsgAnswer { kOk = 1, kCancel = 2, kYes = 6, kNo = 7 };

class Dialogs {
 public:
  virtual ~Dialogs();
  virtual int msgBox(const QString& text, int style = kOkOnly, const QString& title = {}) = 0;
  // An existing file to open; empty when cancelled. `filter` as Qt file dialogs take it.
  virtual QString openFileName(const QString& title, const QString& filter) = 0;
  // A file to save to; empty when cancelled. A name typed without the suffix of a "*.ext" filter
  // comes back with it, and the question whether to replace an existing file names that file.
  virtual QString saveFileName(const QString& title, const QString& filter) = 0;
  // A folder; empty when none was chosen.
  virtual QString chooseFolder(const QString& prompt) = 0;
  // The same, opening in `startIn` (a box's folder) when that folder exists.
  virtual QString chooseFolderIn(const QString& prompt, const QString& startIn) {
    (void)startIn;
    return chooseFolder(prompt);
  }
};

Dialogs& dialogs();
void setDialogs(Dialogs* d);

// Real Qt dialogs, parented to the active window. A message box without a title of its own
// carries the program's title, and is wide enough to show it whole. File and folder dialogs
// open in the folder asked for when it exists, else in `homeFolder()` (the program directory),
// never in the working directory of whoever started the program; they are Qt's own dialogs,
// so their columns and buttons speak the language of Qt's installed translation.
class QtDialogs : public Dialogs {
 public:
  explicit QtDialogs(QString programTitle = {}, std::function<QString()> homeFolder = {})
      : programTitle_(std::move(programTitle)), homeFolder_(std::move(homeFolder)) {}
  int msgBox(const QString& text, int style, const QString& title) override;
  QString openFileName(const QString& title, const QString& filter) override;
  QString saveFileName(const QString& title, const QString& filter) override;
  QString chooseFolder(const QString& prompt) override;
  QString chooseFolderIn(const QString& prompt, const QString& startIn) override;

  // The folder a dialog opens in for `wanted` ("" when none is named).
  QString startFolder(const QString& wanted) const;

 private:
  QString programTitle_;
  std::function<QString()> homeFolder_;
};

}  // namespace xl::platform
