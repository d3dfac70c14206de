#include "platform/dialogs.h"

#include <stdexcept>

namespace xl::platform {

namespace {
Dialogs* gDialogs = nullptr;
}

Dialogs::~Dialogs() {
  if (gDialogs == this) gDialogs = nullptr;
}

Dialogs& dialogs() {
  if (!gDialogs) throw std::logic_error("no dialogs set");
  return *gDialogs;
}
void setDialogs(Dialogs* d) { gDialogs = d; }

}  // namespace xl::platform
