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

// The program directory: the one a test has set, else `programDirFor` of this executable,
// worked out once a run.
QString programDir();
void setProgramDir(const QString& dir);

// The program directory of an executable in `exeDir`: that directory itself (a build tree, a
// copied folder), unless it is the installed binary directory `installedBinDir` or cannot be
// written; then `dataHome`/xinglan, made when missing (an installed console keeps its files
// in the user's data folder).
QString programDirFor(const QString& exeDir, const QString& installedBinDir, const QString& dataHome);

}  // namespace xl::core
