#pragma once
// A request to a station chosen by name, the way every talking screen composes it: the
// station's address and port from the store, the address as hex text before the command
// literal, the frame through the screen's own session.

#include <QString>

#include "link/serial_session.h"

namespace xl::core {

// Sends `literal` (" 03 0100 0023" and the like) to the station `name` on `session`. Raises
// xl::RuntimeFailure when the stored address is no number that fits (the caller's handler
// decides what that means); an unknown station has an empty port, which the session refuses.
void requestStation(link::SerialSession& session, const QString& name, const char* literal);

// The same for a handler that has nothing to do on a failure but stop: a conversion failure
// sends nothing and leaves one line in the message window. Returns whether a frame was built.
bool trySendToStation(link::SerialSession& session, const QString& name, const char* literal);

}  // namespace xl::core
