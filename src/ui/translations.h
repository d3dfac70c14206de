#pragma once
// Qt's own Chinese texts: the buttons of message boxes and standard dialogs read "是", "否",
// "确定", "取消" instead of their English defaults.

class QCoreApplication;

namespace xl::ui {

// Loads qtbase_zh_CN from Qt's translations folder and installs it; false when it is missing
// (the English defaults then stay).
bool installQtChinese(QCoreApplication& app);

}  // namespace xl::ui
