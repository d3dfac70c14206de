#include "monitoring/recorder_settings.h"

#include <cmath>
#include <cstdint>

#include "link/vb_numbers.h"
#include "platform/gbk.h"

namespace xl::monitoring {

namespace {

double valOf(const QString& text) { return val(text.toStdString()); }

QString orDefault(const QString& stored, const QString& fallback) {
  return stored.isEmpty() ? fallback : stored;
}

// The blanks the settings file trims around a key.
bool isBlank(QChar c) {
  return c == u' ' || c == u'\t' || c == u'\r' || c == u'\v' || c == u'\f';
}

}  // namespace

const QStringList& recorderKeyNames() {
  using namespace core::keys;
  static const QStringList names{kReadInterval, kAutoSaving, kFilePath, kSaveIntervalH,
                                 kSaveIntervalM, kLineCount,  kTemporary};
  return names;
}

bool isRecorderKeyName(const QString& name) {
  qsizetype begin = 0;
  qsizetype end = name.size();
  while (begin < end && isBlank(name[begin])) ++begin;
  while (end > begin && isBlank(name[end - 1])) --end;
  const QString key = name.mid(begin, end - begin);
  for (const QString& own : recorderKeyNames())
    if (key.compare(own, Qt::CaseInsensitive) == 0) return true;
  return false;
}

QString readIntervalOrDefault(const QString& stored) { return orDefault(stored, QStringLiteral("10")); }
QString lineCountOrDefault(const QString& stored) { return orDefault(stored, QStringLiteral("32000")); }
QString sizeLimitOrDefault(const QString& stored) { return orDefault(stored, QStringLiteral("30")); }
QString filePathOrDefault(const QString& stored, const QString& programFolder) {
  return orDefault(stored, programFolder);
}

SaveIntervalTexts saveIntervalOrDefault(const QString& storedHours, const QString& storedMinutes) {
  if (storedHours.isEmpty() && storedMinutes.isEmpty()) return {QStringLiteral("0"), QStringLiteral("1")};
  return {storedHours, storedMinutes};
}

int saveIntervalSeconds(const QString& hoursText, const QString& minutesText) {
  const double seconds = roundHalfEven(valOf(hoursText) * 3600 + valOf(minutesText) * 60);
  if (std::isnan(seconds)) return 0;
  if (seconds >= static_cast<double>(INT32_MAX)) return INT32_MAX;
  if (seconds <= static_cast<double>(INT32_MIN)) return INT32_MIN;
  return static_cast<int>(seconds);
}

QString boundedLineCount(const QString& text) {
  const double v = valOf(text);
  if (v < 1000) return QStringLiteral("1000");
  if (v > 60000) return QStringLiteral("60000");
  return text;
}

QString boundedSizeLimit(const QString& text) {
  const double v = valOf(text);
  if (v < 1) return QStringLiteral("1");
  if (v > 50) return QStringLiteral("50");
  return text;
}

QString boundedReadInterval(const QString& text) {
  return valOf(text) > 60 ? QStringLiteral("60") : text;
}

KeyProblem stationKeyProblem(const QString& stationName) {
  for (const QChar c : stationName) {
    if (c == u'\r' || c == u'\n' || c == u'\0') return KeyProblem::LineBreak;
  }
  qsizetype first = 0;
  while (first < stationName.size() && isBlank(stationName[first])) ++first;
  if (first == stationName.size()) return KeyProblem::Empty;
  if (stationName.contains(u'=')) return KeyProblem::EqualsSign;
  if (stationName[first] == u';') return KeyProblem::LeadingSemicolon;
  if (stationName[first] == u'[') return KeyProblem::LeadingBracket;
  if (platform::fromGbk(platform::toGbk(stationName)) != stationName) return KeyProblem::NotGbk;
  if (isRecorderKeyName(stationName)) return KeyProblem::RecorderKey;
  return KeyProblem::None;
}

std::optional<QString> stationKeyLogLine(const QString& stationName) {
  if (stationKeyProblem(stationName) == KeyProblem::None) return std::nullopt;
  return QStringLiteral("数据保存：站点名称“%1”不能作为配置项保存，该站点的保存选择在重新启动后不会保留。")
      .arg(stationName);
}

}  // namespace xl::monitoring
