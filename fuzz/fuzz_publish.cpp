// Fuzzes what the broker publisher builds from what it is given: station names (any bytes,
// read as UTF-8), real-time and information replies of any length, and a run of queue
// operations. The broker itself sends the console nothing to parse (no subscription; the
// client library reads CONNACK and PUBACK), so the inputs are the scan's replies and names.
//
// Input: one byte giving the length of the name, the name's bytes, then the reply. The same
// bytes also drive a small queue as a list of operations.
//
// Checks: a topic level never holds '+', '#', '/' or NUL and unescapes to the name; an object
// id holds only [A-Za-z0-9_-]; a state comes exactly for 73 bytes and is JSON whose "station"
// is the name; every discovery config is JSON; the queue never holds more than its capacity,
// never has more in flight than it holds, and counts every message as sent, waiting or dropped.

#include <QJsonDocument>
#include <QJsonObject>
#include <cstddef>
#include <cstdint>
#include <string>

#include "link/device_data_map.h"
#include "publish/payloads.h"
#include "publish/publish_queue.h"
#include "publish/topics.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace xl::publish;
  if (size == 0) return 0;
  const std::size_t nameLength = data[0] < size - 1 ? data[0] : size - 1;
  const std::string rawName(reinterpret_cast<const char*>(data + 1), nameLength);
  const xl::Bytes reply(data + 1 + nameLength, data + size);

  const std::string level = escapeTopicLevel(rawName);
  if (level.find_first_of(std::string("+#/\0", 4)) != std::string::npos) __builtin_trap();
  if (unescapeTopicLevel(level) != rawName) __builtin_trap();
  for (char c : objectId(rawName))
    if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-'))
      __builtin_trap();

  const QString name = QString::fromUtf8(rawName.data(), static_cast<qsizetype>(rawName.size()));
  const StationIdentity station{name, QString::fromLatin1(reinterpret_cast<const char*>(data), 1), "COM3,9600"};
  const auto state = stateJson(station, reply, QDateTime(QDate(2026, 1, 1), QTime(0, 0)));
  if (state.has_value() != (reply.size() == xl::link::kRealTimeLength)) __builtin_trap();
  if (state) {
    QJsonParseError err;
    const QJsonObject o = QJsonDocument::fromJson(*state, &err).object();
    if (err.error != QJsonParseError::NoError || o["station"].toString() != name) __builtin_trap();
  }
  Topics topics{"xinglan", rawName, "homeassistant"};
  for (const auto& m : discoveryConfigs(topics, station, xl::link::decodeDeviceInfo(reply))) {
    QJsonParseError err;
    QJsonDocument::fromJson(m.payload, &err);
    if (err.error != QJsonParseError::NoError) __builtin_trap();
  }

  // The queue under any order of push, hand-over, acknowledgement and loss.
  PublishQueue q(1 + data[0] % 16);
  std::uint64_t pushed = 0;
  int mid = 1;
  for (std::size_t i = 1; i < size; ++i) {
    switch (data[i] % 4) {
      case 0: q.push({"t", std::to_string(i)}), ++pushed; break;
      case 1:
        if (q.nextWaiting()) q.markSent(mid++);
        break;
      case 2: q.acknowledge(data[i] / 4 % (mid + 1)); break;
      case 3: q.resend(); break;
    }
    if (q.size() > q.capacity() || q.inFlight() > q.size() || q.size() + q.dropped() > pushed) __builtin_trap();
  }
  return 0;
}
