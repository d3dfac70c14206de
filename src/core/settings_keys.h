#pragma once
// Every section and key of the settings file (MSCON.DLL), declared once: its name, what an absent
// or empty value means, and what it holds. The code reads and writes the file through these
// names only; docs/SETTINGS.md is made from the table in settings_keys.cpp (`./dev settings-doc`),
// and `./dev test` fails when the two differ or when a settings call names a key by a literal.

#include <span>

namespace xl::core::keys {

// ---- Sections -----------------------------------------------------------------------------
inline constexpr const char* kMain = "Main";
inline constexpr const char* kPorts = "COMS";
inline constexpr const char* kNetworkPorts = "Network Ports";
inline constexpr const char* kScan = "Scan";
inline constexpr const char* kRecorder = "Maintenance Record";
inline constexpr const char* kMqtt = "MQTT";
inline constexpr const char* kAlarms = "Alarms";

// ---- Keys ---------------------------------------------------------------------------------
// Main
inline constexpr const char* kPassword = "config";
// COMS: the port list; entry n (1..ListCount) is a key named by its number.
inline constexpr const char* kPortCount = "ListCount";
// Scan
inline constexpr const char* kPerLine = "Per Line";
// Maintenance Record: the recorder's own keys; every other key of the section is a station's mark.
inline constexpr const char* kReadInterval = "Read Interval";
inline constexpr const char* kAutoSaving = "Auto Saving";
inline constexpr const char* kFilePath = "File Path";
inline constexpr const char* kSaveIntervalH = "Save Interval H";
inline constexpr const char* kSaveIntervalM = "Save Interval M";
inline constexpr const char* kLineCount = "Line Count";
inline constexpr const char* kTemporary = "Temporary";
// MQTT
inline constexpr const char* kMqttEnabled = "Enabled";
inline constexpr const char* kMqttHost = "Host";
inline constexpr const char* kMqttPort = "Port";
inline constexpr const char* kMqttClientId = "Client Id";
inline constexpr const char* kMqttTopicPrefix = "Topic Prefix";
inline constexpr const char* kMqttUsername = "Username";
inline constexpr const char* kMqttPassword = "Password";
inline constexpr const char* kMqttCaFile = "TLS CA File";
inline constexpr const char* kMqttDiscoveryPrefix = "Discovery Prefix";
// Alarms
inline constexpr const char* kSilentAfter = "Silent After";
inline constexpr const char* kLowSoc = "Low SOC";
inline constexpr const char* kAlarmCommand = "Command";
inline constexpr const char* kKeepDays = "Keep Days";

// A key named by its value rather than by a fixed text: the entries of the port list, a
// gateway's port name, a station's mark.
inline constexpr const char* kFamilyNumber = "<n>";
inline constexpr const char* kFamilyPort = "<COMn>";
inline constexpr const char* kFamilyStation = "<station>";

struct Setting {
  const char* section;
  const char* key;
  const char* fallback;  // what an absent or empty value means; empty: nothing
  const char* meaning;
};

// The declaration, in the order docs/SETTINGS.md lists it.
std::span<const Setting> allSettings();

}  // namespace xl::core::keys
