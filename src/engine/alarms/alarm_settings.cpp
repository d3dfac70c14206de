#include "engine/alarms/alarm_settings.h"

#include "core/app_state.h"
#include "core/settings.h"

namespace xl::engine::alarms {
namespace {

std::optional<int> wholeNumber(const QString& text, int low, int high) {
  bool ok = false;
  const int v = text.trimmed().toInt(&ok);
  if (!ok || v < low || v > high) return std::nullopt;
  return v;
}

}  // namespace

AlarmSettings readAlarmSettings() {
  AlarmSettings s;
  const auto doc = core::readIniDocument(core::configPath);
  if (!doc) return s;
  const auto value = [&](const char* key) { return core::readIniValue(*doc, kAlarmsSection, key); };
  s.silentAfter = wholeNumber(value("Silent After"), 1, 1000).value_or(3);
  s.lowSoc = wholeNumber(value("Low SOC"), 1, 100);
  s.command = value("Command");
  s.keepDays = wholeNumber(value("Keep Days"), 1, 36500).value_or(365);
  return s;
}

bool writeAlarmSettings(const AlarmSettings& s) {
  auto doc = core::readIniDocument(core::configPath);
  if (!doc) return false;
  doc->set(kAlarmsSection, "Silent After", QString::number(s.silentAfter));
  doc->set(kAlarmsSection, "Low SOC", s.lowSoc ? QString::number(*s.lowSoc) : QString());
  doc->set(kAlarmsSection, "Command", s.command);
  doc->set(kAlarmsSection, "Keep Days", QString::number(s.keepDays));
  return core::writeIniDocument(*doc, core::configPath);
}

}  // namespace xl::engine::alarms
