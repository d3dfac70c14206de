#include "ui/translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTranslator>

namespace xl::ui {

bool installQtChinese(QCoreApplication& app) {
  auto* translator = new QTranslator(&app);
  if (!translator->load(QStringLiteral("qtbase_zh_CN"), QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
    delete translator;
    return false;
  }
  return QCoreApplication::installTranslator(translator);
}

}  // namespace xl::ui
