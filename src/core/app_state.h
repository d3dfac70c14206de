#pragma once
// The module-level state of the console. There are exactly four such variables; everything
// else lives in a screen. (`crcBytes`, the fourth, belongs to the frame codec.)

#include <QString>

namespace xl::core {

// Full path of the settings file MSCON.DLL beside the program. Set once by Main.
extern QString configPath;
// Login name of the session: "administrator" or "guest".
extern QString currentUser;
// "1" once the main window has loaded, empty before.
extern QString appStarted;

// The directory of the executable, or the one a test has set.
QString programDir();
void setProgramDir(const QString& dir);

}  // namespace xl::core
