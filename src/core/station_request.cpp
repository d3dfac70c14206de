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

bool trySendToStation(link::SerialSession& session, const QString& name, const char* literal) {
  try {
    requestStation(session, name, literal);
    return true;
  } catch (const RuntimeFailure&) {
    // The operator reads Chinese only; the one failure here is an address that is no bus
    // address (the port's own failures are silent in the session).
    appendLog(name + QStringLiteral("：设备ID无效，请求未发送"));
    return false;
  }
}

}  // namespace xl::core
