#include "core/app_state.h"

#include <QCoreApplication>

namespace xl::core {

QString configPath;
QString currentUser;
QString appStarted;

namespace {
QString gProgramDir;
}

QString programDir() {
  if (!gProgramDir.isEmpty()) return gProgramDir;
  return QCoreApplication::applicationDirPath();
}

void setProgramDir(const QString& dir) { gProgramDir = dir; }

}  // namespace xl::core
