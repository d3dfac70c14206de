#include "publish/payloads.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace xl::publish {

namespace {

const SensorInfo kSensors[] = {
    {"battery_soc", "蓄电池电量", "battery", "%", "measurement"},
    {"battery_voltage", "蓄电池电压", "voltage", "V", "measurement"},
    {"battery_current", "蓄电池电流", "current", "A", "measurement"},
    {"device_temperature", "设备温度", "temperature", "°C", "measurement"},
    {"battery_temperature", "蓄电池温度", "temperature", "°C", "measurement"},
    {"load_voltage", "负载电压", "voltage", "V", "measurement"},
    {"load_current", "负载电流", "current", "A", "measurement"},
    {"load_power", "负载功率", "power", "W", "measurement"},
    {"array_voltage", "太阳能板电压", "voltage", "V", "measurement"},
    {"array_current", "太阳能板电流", "current", "A", "measurement"},
    {"array_power", "太阳能板功率", "power", "W", "measurement"},
    {"day_min_battery_voltage", "当日最低电池电压", "voltage", "V", "measurement"},
    {"day_max_battery_voltage", "当日最高电池电压", "voltage", "V", "measurement"},
    {"day_max_charge_current", "当日最大充电电流", "current", "A", "measurement"},
    {"day_max_discharge_current", "当日最大放电电流", "current", "A", "measurement"},
    {"day_max_charge_power", "当日最大充电功率", "power", "W", "measurement"},
    {"day_max_discharge_power", "当日最大放电功率", "power", "W", "measurement"},
    {"day_charge_ah", "当日充电安时数", nullptr, "Ah", "total_increasing"},
    {"day_discharge_ah", "当日放电安时数", nullptr, "Ah", "total_increasing"},
    {"day_energy_generated", "当日发电量", "energy", "kWh", "total_increasing"},
    {"day_energy_used", "当日用电量", "energy", "kWh", "total_increasing"},
    {"days_in_operation", "运行天数", "duration", "d", "total_increasing"},
    {"over_discharge_count", "过放次数", nullptr, nullptr, "total_increasing"},
    {"full_charge_count", "充满次数", nullptr, nullptr, "total_increasing"},
    {"total_charge_ah", "充电安时数", nullptr, "Ah", "total_increasing"},
    {"total_discharge_ah", "放电安时数", nullptr, "Ah", "total_increasing"},
    {"total_energy_generated", "发电量", "energy", "kWh", "total_increasing"},
    {"total_energy_used", "用电量", "energy", "kWh", "total_increasing"},
    {"charge_state", "充电状态代码", nullptr, nullptr, nullptr},
    {"charge_state_text", "充电状态", nullptr, nullptr, nullptr},
};

// Positions of the fault flags in the 32 flags of bytes 67..70 (bit 0 of the fault word 0x0121
// is position 32).
const FaultFlag kFaults[] = {
    {"battery_over_discharge", 32},   {"battery_over_voltage", 31},   {"battery_under_voltage", 30},
    {"load_short_circuit", 29},       {"load_over_current", 28},      {"device_over_temperature", 27},
    {"battery_over_temperature", 26}, {"array_over_power", 25},       {"array_over_voltage", 23},
    {"array_reverse_polarity", 20},
};

QString u(const std::string& s) { return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size())); }


// The address as a number when the store's text is a whole number 0..255, else the text.
QJsonValue addressValue(const QString& deviceId) {
  bool ok = false;
  const int v = deviceId.trimmed().toInt(&ok);
  if (ok && v >= 0 && v <= 255) return v;
  return deviceId;
}

QString timeText(const QDateTime& at) {
  return at.toOffsetFromUtc(at.offsetFromUtc()).toString(Qt::ISODate);
}

// The device block every discovery config of a station carries, so Home Assistant groups them.
// Without the device information only the identity is sent: a config that leaves the model
// out does not take it away from the device.
QJsonObject deviceObject(const Topics& topics, const StationIdentity& station, const std::optional<link::DeviceInfo>& info) {
  QJsonObject device;
  device["identifiers"] = QJsonArray{u(topics.uniqueId(station.name.toStdString(), "device"))};
  device["name"] = station.name;
  device["manufacturer"] = QStringLiteral("星澜");
  if (info) {
    device["model"] = u(info->model);
    device["sw_version"] = u(info->softwareVersion);
    device["hw_version"] = u(info->deviceVersion);
    device["serial_number"] = u(info->serialNumber);
  }
  return device;
}

}  // namespace

std::span<const SensorInfo> sensors() { return kSensors; }
std::span<const FaultFlag> faults() { return kFaults; }

std::optional<QByteArray> stateJson(const StationIdentity& station, const Bytes& reply, const QDateTime& at) {
  // One fault word everywhere: the flags and texts come from register 0x0121, the word that
  // the scan's table, the recorder and the alarms decode. Both raw words go out as numbers.
  const auto b = link::decodeRealTime(reply, link::Reader::Scan);
  if (!b) return std::nullopt;

  QJsonObject o;
  o["station"] = station.name;
  o["address"] = addressValue(station.deviceId);
  o["port"] = station.port;
  o["time"] = timeText(at);
  o["battery_soc"] = b->chargeLevel.value;
  o["battery_voltage"] = b->batteryVoltage.value;
  o["battery_current"] = b->batteryCurrent.value;
  o["device_temperature"] = b->deviceTemperature.value;
  o["battery_temperature"] = b->batteryTemperature.value;
  o["load_voltage"] = b->loadVoltage.value;
  o["load_current"] = b->loadCurrent.value;
  o["load_power"] = b->loadPower.value;
  o["array_voltage"] = b->panelVoltage.value;
  o["array_current"] = b->panelCurrent.value;
  o["array_power"] = b->panelPower.value;
  o["day_min_battery_voltage"] = b->dayMinBatteryVoltage.value;
  o["day_max_battery_voltage"] = b->dayMaxBatteryVoltage.value;
  o["day_max_charge_current"] = b->dayMaxChargeCurrent.value;
  o["day_max_discharge_current"] = b->dayMaxDischargeCurrent.value;
  o["day_max_charge_power"] = b->dayMaxChargePower.value;
  o["day_max_discharge_power"] = b->dayMaxDischargePower.value;
  o["day_charge_ah"] = b->dayChargeAh.value;
  o["day_discharge_ah"] = b->dayDischargeAh.value;
  o["day_energy_generated"] = b->dayEnergyGenerated.value;
  o["day_energy_used"] = b->dayEnergyUsed.value;
  o["days_in_operation"] = b->daysInOperation.value;
  o["over_discharge_count"] = b->overDischargeCount.value;
  o["full_charge_count"] = b->fullChargeCount.value;
  o["total_charge_ah"] = b->totalChargeAh.value;
  o["total_discharge_ah"] = b->totalDischargeAh.value;
  o["total_energy_generated"] = b->totalEnergyGenerated.value;
  o["total_energy_used"] = b->totalEnergyUsed.value;
  o["load_on"] = b->loadOn;
  o["charge_state"] = static_cast<int>(b->chargeState);
  o["charge_state_text"] = u(b->chargeStateText);

  QJsonObject status;
  status["battery"] = u(b->status.battery);
  status["array"] = u(b->status.panel);
  status["device"] = u(b->status.device);
  status["load"] = u(b->status.load);
  o["status"] = status;

  QJsonObject flags;
  for (const auto& f : kFaults)
    flags[QString::fromLatin1(f.key)] =
        b->statusFlags.size() == 32 && b->statusFlags[static_cast<std::size_t>(f.position - 1)] == '1';
  o["faults"] = flags;
  o["fault_word_0121"] = (reply[69] << 8) | reply[70];
  o["fault_word_0122"] = (reply[71] << 8) | reply[72];
  return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

std::vector<Message> discoveryConfigs(const Topics& topics, const StationIdentity& station,
                                      const std::optional<link::DeviceInfo>& info) {
  const std::string name = station.name.toStdString();
  const QJsonObject device = deviceObject(topics, station, info);

  std::vector<Message> out;
  out.reserve(std::size(kSensors));
  const QString stateTopic = u(topics.state(name));
  const QString availabilityTopic = u(topics.availability(name));
  const QString statusTopic = u(topics.status());
  for (const auto& s : kSensors) {
    const std::string uid = topics.uniqueId(name, s.key);
    QJsonObject c;
    c["name"] = QString::fromUtf8(s.name);
    c["unique_id"] = u(uid);
    c["object_id"] = u(uid);
    c["state_topic"] = stateTopic;
    c["value_template"] = QStringLiteral("{{ value_json.%1 }}").arg(QString::fromLatin1(s.key));
    // A value without a class, unit or state class leaves the key out: Home Assistant then
    // treats it as a plain sensor, where a null would fail its validation.
    if (s.deviceClass) c["device_class"] = QString::fromLatin1(s.deviceClass);
    if (s.unit) c["unit_of_measurement"] = QString::fromUtf8(s.unit);
    if (s.stateClass) c["state_class"] = QString::fromLatin1(s.stateClass);
    // Available only while both say "online": the console (its last will says "offline")
    // and the station (offline until its first good reply of this run, and when stale).
    c["availability"] = QJsonArray{QJsonObject{{"topic", statusTopic}}, QJsonObject{{"topic", availabilityTopic}}};
    c["availability_mode"] = QStringLiteral("all");
    c["device"] = device;
    out.push_back({topics.discoveryConfig(uid), QJsonDocument(c).toJson(QJsonDocument::Compact)});
  }
  return out;
}

QByteArray alarmsJson(const std::vector<AlarmItem>& open) {
  QJsonArray a;
  for (const AlarmItem& i : open) a.append(QJsonObject{{"code", i.code}, {"text", i.text}, {"since", timeText(i.since)}});
  return QJsonDocument(a).toJson(QJsonDocument::Compact);
}

QByteArray alarmEventJson(const QString& code, const QString& text, bool raised, const QDateTime& at) {
  const QJsonObject o{{"code", code},
                      {"text", text},
                      {"state", raised ? QStringLiteral("raised") : QStringLiteral("cleared")},
                      {"time", timeText(at)}};
  return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

std::vector<Message> alarmDiscoveryConfigs(const Topics& topics, const StationIdentity& station,
                                           const std::vector<std::pair<QString, QString>>& codes) {
  const std::string name = station.name.toStdString();
  const QJsonObject device = deviceObject(topics, station, std::nullopt);
  std::vector<Message> out;
  for (const auto& [code, text] : codes) {
    const std::string uid = topics.uniqueId(name, "alarm_" + code.toStdString());
    QJsonObject c;
    c["name"] = text;
    c["unique_id"] = u(uid);
    c["object_id"] = u(uid);
    c["device_class"] = QStringLiteral("problem");
    c["state_topic"] = u(topics.alarms(name));
    c["value_template"] =
        QStringLiteral("{{ 'ON' if value_json | selectattr('code', 'equalto', '%1') | list | count > 0 else 'OFF' }}")
            .arg(code);
    c["availability"] = QJsonArray{QJsonObject{{"topic", u(topics.status())}}};
    c["device"] = device;
    out.push_back({topics.discoveryConfig(uid, "binary_sensor"), QJsonDocument(c).toJson(QJsonDocument::Compact)});
  }
  return out;
}

}  // namespace xl::publish
