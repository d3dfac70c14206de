#pragma once
// Start-up: what the program does before its first window, in this order.

#include <QString>
#include <functional>

namespace xl::core {

// 1. Registers the grid control (nothing to register on this platform).
// 2. Tests the station store; when that fails, runs the installer: a missing store is created
//    with its empty table. Neither step blocks nor reports.
// 3. Sets configPath to MSCON.DLL in the program directory.
// 4. Shows the first window through `showFirstWindow` and returns.
void Main(const std::function<void()>& showFirstWindow);

// The path of `file` in `dir`, with a doubled separator repaired (a program in a drive root).
QString pathBeside(const QString& dir, const QString& file);

// Ends the process at once, with no clean-up. Tests replace it.
void endProcess();
void setEndProcess(std::function<void()> fn);

// The folder dialog: the chosen path, or an empty text. The prompt defaults to "Select a folder.".
// The folder dialog opens in `startIn` (the folder a box names) when it exists, else in the
// program directory.
QString browseFolder(const QString& prompt = QStringLiteral("Select a folder."), const QString& startIn = {});

}  // namespace xl::core
