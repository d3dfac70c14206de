#include "core/startup.h"

#include <cstdlib>

#include "core/app_state.h"
#include "core/station_store.h"
#include "platform/dialogs.h"

namespace xl::core {

namespace {

std::function<void()> gEndProcess = [] { std::_Exit(0); };

// Grid controls need no registration here; the step stays so the order of start-up reads as it is.
void registerGridControl() {}

// The store test, with the installer as its fallback: a missing store is made with its table.
void testStoreOrInstall() {
  if (!checkDatabase()) createStore();
}

}  // namespace

QString pathBeside(const QString& dir, const QString& file) {
  QString path = dir + "/" + file;
  path.replace("//", "/");
  return path;
}

void Main(const std::function<void()>& showFirstWindow) {
  registerGridControl();
  testStoreOrInstall();
  configPath = pathBeside(programDir(), QStringLiteral("MSCON.DLL"));
  showFirstWindow();
}

void endProcess() { gEndProcess(); }
void setEndProcess(std::function<void()> fn) { gEndProcess = std::move(fn); }

QString browseFolder(const QString& prompt, const QString& startIn) {
  // The path buffer of the folder dialog holds 511 characters.
  return platform::dialogs().chooseFolderIn(prompt, startIn).left(511);
}

}  // namespace xl::core
