// Fuzzes the station editor's fields and the port list's texts through the dialogs' own
// handlers, in a whole console on the offscreen platform (see dialog_fields.h).

#include <QApplication>
#include <cstdint>
#include <cstdlib>

#include "dialog_fields.h"

namespace {
xl::fuzzing::DialogConsole* console = nullptr;
}

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  // Never destroyed, like the console: at the process's exit Qt's thread storage is gone
  // before a static application's destructor would run, and that destructor would crash.
  new QApplication(*argc, *argv);
  console = new xl::fuzzing::DialogConsole();  // lives to the end of the process
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 4096) return 0;
  console->run(data, size);
  return 0;
}
