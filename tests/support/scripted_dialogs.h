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
    return next<int>(answers, platform::kOk);
  }
  QString openFileName(const QString&, const QString&) override { return next(fileNames, QString()); }
  QString saveFileName(const QString&, const QString&) override { return next(fileNames, QString()); }
  QString chooseFolder(const QString&) override { return next(fileNames, QString()); }
  QString chooseFolderIn(const QString&, const QString& startIn) override {
    folderStart = startIn;
    return next(fileNames, QString());
  }

 private:
  // The next answer of `queue`, or `none` when it is empty.
  template <class T>
  static T next(std::deque<T>& queue, T none) {
    if (queue.empty()) return none;
    T front = queue.front();
    queue.pop_front();
    return front;
  }
};

}  // namespace xl::testing
