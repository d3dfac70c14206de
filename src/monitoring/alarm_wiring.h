#pragma once
// The alarms joined to the broker publisher and the command: each event goes to both, and the
// publisher reads the open alarms and the codes from the engine. The program does this once
// at start; the broker tests do it the same way.

#include "engine/alarms/alarm_engine.h"
#include "engine/alarms/command_runner.h"
#include "publish/publisher.h"

namespace xl::monitoring {

// Returns the id of the engine's event listener. `command` may be null (no command runner).
int wireAlarms(engine::alarms::AlarmEngine& alarms, publish::Publisher& publisher,
               engine::alarms::CommandRunner* command);

}  // namespace xl::monitoring
