#pragma once
// What the publisher sends: the JSON of a station's real-time block and the Home Assistant
// discovery configs of its values. Qt Core only (JSON); no widgets, no network.
//
// The state holds the values of the real-time block: the numbers (as numbers, in the units of
// the screens), the charge state code and its text, the load state, the four status texts and
// the fault flags by name, all from the fault register that the scan's table, the recorder and
// the alarms decode (0x0121), and both raw fault words (0x0121, 0x0122) as numbers.

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "link/device_data_map.h"
#include "platform/bytes.h"
#include "publish/topics.h"

namespace xl::publish {

struct StationIdentity {
  QString name;
  QString deviceId;  // the address as the store holds it
  QString port;      // "COM3,9600"
};

// One published value: its key in the state JSON and what Home Assistant is told of it.
// A null device class, unit or state class is sent as JSON null (a text or a count).
struct SensorInfo {
  const char* key;
  const char* name;  // the entity's name, Chinese as the screens say it
  const char* deviceClass;
  const char* unit;
  const char* stateClass;
};
std::span<const SensorInfo> sensors();

// The fault flags by name and the 32-flag position each is read from (1 = leftmost).
struct FaultFlag {
  const char* key;
  int position;
};
std::span<const FaultFlag> faults();

// The state JSON of a real-time reply as the scan received it (73 bytes, fault words as
// sent); nullopt for any other length.
std::optional<QByteArray> stateJson(const StationIdentity& station, const Bytes& reply, const QDateTime& at);

struct Message {
  std::string topic;
  QByteArray payload;
};

// One retained config per value of `sensors()` for one station. `info` (the device
// information block) gives the device's model and versions when it is known.
std::vector<Message> discoveryConfigs(const Topics& topics, const StationIdentity& station,
                                      const std::optional<link::DeviceInfo>& info);

// ---- Alarms -------------------------------------------------------------------------------

struct AlarmItem {
  QString code;
  QString text;
  QDateTime since;
};
// The retained array of a station's open alarms: [{"code", "text", "since"}], "[]" when none.
QByteArray alarmsJson(const std::vector<AlarmItem>& open);
// One event: {"code", "text", "state": "raised" | "cleared", "time"}.
QByteArray alarmEventJson(const QString& code, const QString& text, bool raised, const QDateTime& at);

// One retained Home Assistant binary_sensor config (device class "problem") per alarm code of
// `codes` (code, text) for one station; each reads the station's retained array.
std::vector<Message> alarmDiscoveryConfigs(const Topics& topics, const StationIdentity& station,
                                           const std::vector<std::pair<QString, QString>>& codes);

}  // namespace xl::publish
