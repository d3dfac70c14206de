#pragma once
// The publisher's settings: section "MQTT" of the settings file, read at each use.

#include <QString>
#include <functional>

#include "core/settings_keys.h"

namespace xl::publish {

struct MqttSettings {
  bool enabled = false;
  QString host;
  int port = 1883;
  QString clientId;      // default: the computer's name
  QString topicPrefix;   // default "xinglan"
  QString username;
  QString password;
  QString caFile;           // TLS when set
  QString discoveryPrefix;  // default "homeassistant"; empty turns discovery off

  bool operator==(const MqttSettings&) const = default;
};

inline constexpr const char* kSection = core::keys::kMqtt;

// The settings from a reader of keys of the section (readIni's semantics: absent = "").
// "Enabled" is on for Val 1 (rounded); a "Port" that is no number of 1..65535 is 1883.
// "Discovery Prefix" is "homeassistant" only when the key is absent: an empty value written on
// purpose turns discovery off. Client Id and Topic Prefix take their defaults when empty.
MqttSettings mqttSettingsFrom(const std::function<QString(const char* key)>& read,
                              const std::function<bool(const char* key)>& present, const QString& hostName);

// The settings file at configPath.
MqttSettings readMqttSettings();
void writeMqttSettings(const MqttSettings& s);

// The computer's name, the default client id.
QString computerName();

}  // namespace xl::publish
