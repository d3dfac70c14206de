#pragma once
// Dialogs for tests: answers come from queues, and every message box shown is recorded.

#include <QString>
#include <QStringList>
#include <deque>

#include "platform/dialogs.h"

namespace xl::testing {

class ScriptedDialogs : public platform::Dialogs {
 public:
  struct Shown {
    QString text;
    int style;
  };
  std::vector<Shown> shown;
  std::deque<int> answers;        // message box answers; kOk when empty
  std::deque<QString> fileNames;  // open/save/folder answers; empty (cancel) when none left
  QString folderStart;            // where the last folder dialog was asked to open

  int msgBox(const QString& text, int style, const QString&) override {
    shown.push_back({text, style});
    if (answers.empty()) return platform::kOk;
    const int a = answers.front();
    answers.pop_front();
    return a;
  }
  QString openFileName(const QString&, const QString&) override { return next(); }
  QString saveFileName(const QString&, const QString&) override { return next(); }
  QString chooseFolder(const QString&) override { return next(); }
  QString chooseFolderIn(const QString&, const QString& startIn) override {
    folderStart = startIn;
    return next();
  }

 private:
  QString next() {
    if (fileNames.empty()) return {};
    QString f = fileNames.front();
    fileNames.pop_front();
    return f;
  }
};

}  // namespace xl::testing
