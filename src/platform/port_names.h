#pragma once
// Where a port name ("COM3") leads on this machine.
//
// On Windows the name is the port. Elsewhere it is the file `ports/COMn` in the program
// directory when that exists (a link to /dev/ttyUSB0, to a simulator's pseudo-terminal, to
// any device), else the n-th standard serial device /dev/ttyS{n-1}.

#include <string>

namespace xl::platform {

std::string resolvePortPath(const std::string& programDir, const std::string& portName);

}  // namespace xl::platform
