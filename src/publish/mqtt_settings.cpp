#include "publish/mqtt_settings.h"

#include <QFile>
#include <QSysInfo>
#include <cmath>

#include "core/app_state.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "link/vb_numbers.h"

namespace xl::publish {

namespace keys = core::keys;

MqttSettings mqttSettingsFrom(const std::function<QString(const char* key)>& read,
                              const std::function<bool(const char* key)>& present, const QString& hostName) {
  MqttSettings s;
  s.enabled = std::nearbyint(xl::val(read(keys::kMqttEnabled).toStdString())) == 1;
  s.host = read(keys::kMqttHost);
  bool ok = false;
  const int port = read(keys::kMqttPort).toInt(&ok);
  s.port = ok && port >= 1 && port <= 65535 ? port : 1883;
  s.clientId = read(keys::kMqttClientId);
  if (s.clientId.isEmpty()) s.clientId = hostName;
  s.topicPrefix = read(keys::kMqttTopicPrefix);
  if (s.topicPrefix.isEmpty()) s.topicPrefix = QStringLiteral("xinglan");
  s.username = read(keys::kMqttUsername);
  s.password = read(keys::kMqttPassword);
  s.caFile = read(keys::kMqttCaFile);
  s.discoveryPrefix = present(keys::kMqttDiscoveryPrefix) ? read(keys::kMqttDiscoveryPrefix) : QStringLiteral("homeassistant");
  return s;
}

MqttSettings readMqttSettings() {
  QFile f(core::configPath);
  const auto doc = core::IniDocument::parse(f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray());
  return mqttSettingsFrom([&](const char* key) { return core::readIniValue(doc, kSection, key); },
                          [&](const char* key) { return doc.value(kSection, key).has_value(); }, computerName());
}

void writeMqttSettings(const MqttSettings& s) {
  core::writeIni(kSection, keys::kMqttEnabled, s.enabled ? "1" : "0");
  core::writeIni(kSection, keys::kMqttHost, s.host);
  core::writeIni(kSection, keys::kMqttPort, QString::number(s.port));
  core::writeIni(kSection, keys::kMqttClientId, s.clientId);
  core::writeIni(kSection, keys::kMqttTopicPrefix, s.topicPrefix);
  core::writeIni(kSection, keys::kMqttUsername, s.username);
  core::writeIni(kSection, keys::kMqttPassword, s.password);
  core::writeIni(kSection, keys::kMqttCaFile, s.caFile);
  core::writeIni(kSection, keys::kMqttDiscoveryPrefix, s.discoveryPrefix);
}

QString computerName() {
  const QString n = QSysInfo::machineHostName();
  return n.isEmpty() ? QStringLiteral("console") : n;
}

}  // namespace xl::publish
