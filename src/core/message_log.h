#pragma once
// The message log: the one log of the console, the text box Text1 of the main window.
//
// Each line is "[date time]" and the text. Only the last 1000 characters are kept, in memory
// only, so the box never holds more than 1000 characters plus one line. The caret is put past
// the end, which scrolls to the newest line.

#include <QDateTime>
#include <QString>
#include <functional>

namespace xl::core {

// The stamp of a log line: "YYYY-MM-DD HH:MM:SS".
QString logStamp(const QDateTime& when);

// The box text after logging `text` at `when`: the last 1000 characters of `boxText`, a line
// break, the stamp in square brackets and the text. With `firstLine` and an empty box the line
// break is left out (the first writer of a run does this).
QString appendLogText(const QString& boxText, const QString& text, const QDateTime& when, bool firstLine = false);

// Where the log lives: the main window installs its box here.
struct LogBox {
  std::function<QString()> text;
  std::function<void(const QString& text)> setTextAndScroll;
};
void setLogBox(LogBox box);

// Who also hears every line, with its time (the site agent writes them to standard output).
using LogEcho = std::function<void(const QDateTime& when, const QString& text)>;
void setLogEcho(LogEcho echo);

// Logs `text` in the main window's box (nothing when the window has no box yet) and to the
// echo, if any.
void appendLog(const QString& text, bool firstLine = false);

}  // namespace xl::core
