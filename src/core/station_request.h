#pragma once
// A request to a station chosen by name, the way every talking screen composes it: the
// station's address and port from the store, the address as hex text before the command
// literal, the frame through the screen's own session.

#include <QString>
#include <cstdint>
#include <optional>

#include "link/serial_session.h"

namespace xl::core {

// Sends `literal` (" 03 0100 0023" and the like) to the station `name` on `session`. Raises
// xl::RuntimeFailure when the stored address is no number that fits (the caller's handler
// decides what that means); an unknown station has an empty port, which the session refuses.
void requestStation(link::SerialSession& session, const QString& name, const char* literal);

// The station a screen's box names, looked up at the moment of sending, so that the address
// and the port come from one record. nullopt when nothing may go out; then one Chinese line is
// in the message window: the text names no station, or its address is not a bus address
// 1..255 (no request ever goes to address 0, which every controller on the line would take).
// An empty text is no choice at all and leaves no line.
// The bus address a stored device ID stands for, read as every request reads it (leniently, so
// "01" and " 1" are address 1); nullopt when it is no address 1..255.
std::optional<std::uint8_t> busAddress(const QString& deviceId);

struct StationTarget {
  QString name;
  QString port;
  std::uint8_t address = 0;
};
std::optional<StationTarget> stationForSend(const QString& name);

// A request for a screen's handler: the station looked up as above, the frame through the
// screen's own session. Returns whether it was handed to the session. The monitors send at
// each keystroke in their station box, so by default a text that names no station is passed
// over in silence there; `sayWhenUnknown` makes it a line in the message window.
bool trySendToStation(link::SerialSession& session, const QString& name, const char* literal,
                      bool sayWhenUnknown = false);

}  // namespace xl::core
