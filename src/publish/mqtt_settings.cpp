#include "publish/mqtt_settings.h"

#include <QFile>
#include <QSysInfo>
#include <cmath>

#include "core/app_state.h"
#include "core/settings.h"
#include "link/vb_numbers.h"

namespace xl::publish {

MqttSettings mqttSettingsFrom(const std::function<QString(const char* key)>& read,
                              const std::function<bool(const char* key)>& present, const QString& hostName) {
  MqttSettings s;
  s.enabled = std::nearbyint(xl::val(read("Enabled").toStdString())) == 1;
  s.host = read("Host");
  bool ok = false;
  const int port = read("Port").toInt(&ok);
  s.port = ok && port >= 1 && port <= 65535 ? port : 1883;
  s.clientId = read("Client Id");
  if (s.clientId.isEmpty()) s.clientId = hostName;
  s.topicPrefix = read("Topic Prefix");
  if (s.topicPrefix.isEmpty()) s.topicPrefix = QStringLiteral("xinglan");
  s.username = read("Username");
  s.password = read("Password");
  s.caFile = read("TLS CA File");
  s.discoveryPrefix = present("Discovery Prefix") ? read("Discovery Prefix") : QStringLiteral("homeassistant");
  return s;
}

MqttSettings readMqttSettings() {
  QFile f(core::configPath);
  const auto doc = core::IniDocument::parse(f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray());
  return mqttSettingsFrom([&](const char* key) { return core::readIniValue(doc, kSection, key); },
                          [&](const char* key) { return doc.value(kSection, key).has_value(); }, computerName());
}

void writeMqttSettings(const MqttSettings& s) {
  core::writeIni(kSection, "Enabled", s.enabled ? "1" : "0");
  core::writeIni(kSection, "Host", s.host);
  core::writeIni(kSection, "Port", QString::number(s.port));
  core::writeIni(kSection, "Client Id", s.clientId);
  core::writeIni(kSection, "Topic Prefix", s.topicPrefix);
  core::writeIni(kSection, "Username", s.username);
  core::writeIni(kSection, "Password", s.password);
  core::writeIni(kSection, "TLS CA File", s.caFile);
  core::writeIni(kSection, "Discovery Prefix", s.discoveryPrefix);
}

QString computerName() {
  const QString n = QSysInfo::machineHostName();
  return n.isEmpty() ? QStringLiteral("console") : n;
}

}  // namespace xl::publish
