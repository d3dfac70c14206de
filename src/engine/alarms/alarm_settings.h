#pragma once
// Section "Alarms" of the settings file: when a station counts as silent, the charge level
// that is too low, the program run for each event and how long the log keeps its rows.

#include <QString>
#include <optional>

#include "core/settings_keys.h"

namespace xl::engine::alarms {

inline constexpr const char* kAlarmsSection = core::keys::kAlarms;

struct AlarmSettings {
  int silentAfter = 3;         // "Silent After": real-time requests without a valid reply
  std::optional<int> lowSoc;   // "Low SOC": %, empty = off
  QString command;             // "Command": empty = none
  int keepDays = 365;          // "Keep Days"
  bool operator==(const AlarmSettings&) const = default;
};

// Reads the section. A value that is no whole number in its range reads as the default:
// Silent After 1..1000, Low SOC 1..100 (anything else is off), Keep Days 1..36500.
AlarmSettings readAlarmSettings();
// Writes the four keys in one write; false when the file kept its old contents.
bool writeAlarmSettings(const AlarmSettings& s);

}  // namespace xl::engine::alarms
