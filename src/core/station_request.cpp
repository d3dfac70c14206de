#include "core/station_request.h"

#include "core/message_log.h"
#include "core/station_store.h"
#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "platform/failure.h"

namespace xl::core {

void requestStation(link::SerialSession& session, const QString& name, const char* literal) {
  const std::int32_t id = toLong(val(getStationDeviceID(name).toStdString()));
  const std::string port = getStationPort(name).toStdString();
  session.sendRequest(port, requestFrame(id, literal));
}

std::optional<std::uint8_t> busAddress(const QString& deviceId) {
  std::int32_t id = 0;
  try {
    id = toLong(val(deviceId.toStdString()));
  } catch (const RuntimeFailure&) {
    return std::nullopt;
  }
  if (id < 1 || id > 255) return std::nullopt;
  return static_cast<std::uint8_t>(id);
}

namespace {
std::optional<StationTarget> lookUp(const QString& name, bool sayWhenUnknown) {
  if (name.isEmpty()) return std::nullopt;
  const std::optional<Station> station = findStation(name);
  if (!station) {
    if (sayWhenUnknown) appendLog(QStringLiteral("没有名为“%1”的站点，未发送任何数据").arg(name));
    return std::nullopt;
  }
  const auto address = busAddress(station->DeviceID);
  if (!address) {
    // The operator reads Chinese only, nothing of the conversion's internals.
    appendLog(name + QStringLiteral("：设备ID无效，请求未发送"));
    return std::nullopt;
  }
  return StationTarget{name, station->Port, *address};
}
}  // namespace

std::optional<StationTarget> stationForSend(const QString& name) { return lookUp(name, true); }

bool trySendToStation(link::SerialSession& session, const QString& name, const char* literal, bool sayWhenUnknown) {
  const auto target = lookUp(name, sayWhenUnknown);
  if (!target) return false;
  session.sendRequest(target->port.toStdString(), requestFrame(target->address, literal));
  return true;
}

}  // namespace xl::core
