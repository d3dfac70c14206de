#include "core/app_state.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace xl::core {

QString configPath;
QString currentUser;
QString appStarted;

namespace {
QString gProgramDir;
}

QString programDirFor(const QString& exeDir, const QString& installedBinDir, const QString& dataHome) {
  const QFileInfo exe(exeDir);
  const bool installed =
      !installedBinDir.isEmpty() && exe.canonicalFilePath() == QFileInfo(installedBinDir).canonicalFilePath();
  if (!installed && exe.isWritable()) return exeDir;
  const QString dir = QDir(dataHome).filePath(QStringLiteral("xinglan"));
  QDir().mkpath(dir);  // a folder that cannot be made shows later as a store that cannot be opened
  return dir;
}

QString programDir() {
  if (!gProgramDir.isEmpty()) return gProgramDir;
  // XL_INSTALL_BINDIR is where the install puts the executables (/usr/bin in the package).
  static const QString dir = programDirFor(QCoreApplication::applicationDirPath(), QStringLiteral(XL_INSTALL_BINDIR),
                                           QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
  return dir;
}

void setProgramDir(const QString& dir) { gProgramDir = dir; }

}  // namespace xl::core
