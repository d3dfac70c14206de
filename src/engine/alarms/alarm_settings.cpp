#include "engine/alarms/alarm_settings.h"

#include "core/app_state.h"
#include "core/settings.h"
#include "core/settings_keys.h"

namespace xl::engine::alarms {

namespace keys = core::keys;

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
  s.silentAfter = wholeNumber(value(keys::kSilentAfter), 1, 1000).value_or(3);
  s.lowSoc = wholeNumber(value(keys::kLowSoc), 1, 100);
  s.command = value(keys::kAlarmCommand);
  s.keepDays = wholeNumber(value(keys::kKeepDays), 1, 36500).value_or(365);
  return s;
}

bool writeAlarmSettings(const AlarmSettings& s) {
  auto doc = core::readIniDocument(core::configPath);
  if (!doc) return false;
  doc->set(kAlarmsSection, keys::kSilentAfter, QString::number(s.silentAfter));
  doc->set(kAlarmsSection, keys::kLowSoc, s.lowSoc ? QString::number(*s.lowSoc) : QString());
  doc->set(kAlarmsSection, keys::kAlarmCommand, s.command);
  doc->set(kAlarmsSection, keys::kKeepDays, QString::number(s.keepDays));
  return core::writeIniDocument(*doc, core::configPath);
}

}  // namespace xl::engine::alarms
