#include "core/message_log.h"

namespace xl::core {

namespace {
LogBox gBox;
LogEcho gEcho;
constexpr int kKeptCharacters = 1000;
}  // namespace

QString logStamp(const QDateTime& when) { return when.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")); }

QString appendLogText(const QString& boxText, const QString& text, const QDateTime& when, bool firstLine) {
  const QString line = "[" + logStamp(when) + "]" + text;
  if (firstLine && boxText.isEmpty()) return line;
  return boxText.right(kKeptCharacters) + "\r\n" + line;
}

void setLogBox(LogBox box) { gBox = std::move(box); }

void setLogEcho(LogEcho echo) { gEcho = std::move(echo); }

void appendLog(const QString& text, bool firstLine) {
  const QDateTime now = QDateTime::currentDateTime();
  if (gEcho) gEcho(now, text);
  if (!gBox.text || !gBox.setTextAndScroll) return;
  gBox.setTextAndScroll(appendLogText(gBox.text(), text, now, firstLine));
}

}  // namespace xl::core
