#include "core/startup.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include "core/app_state.h"
#include "core/station_store.h"
#include "support/scripted_dialogs.h"

namespace xl::core {
namespace {

TEST(Startup, MainPreparesTheStoreAndSettingsPathThenShowsTheFirstWindow) {
  QTemporaryDir dir;
  setProgramDir(dir.path());
  bool shown = false;
  Main([&] {
    // By the time the first window shows, the store exists and configPath is set.
    shown = true;
    EXPECT_TRUE(QFile::exists(dir.path() + "/MSCONS.DLL"));
    EXPECT_EQ(configPath, dir.path() + "/MSCON.DLL");
  });
  EXPECT_TRUE(shown);
  EXPECT_TRUE(checkDatabase());
  // The settings file is not made by start-up; it comes with the first write.
  EXPECT_FALSE(QFile::exists(configPath));
  // A second start finds the store and leaves it as it is.
  const auto before = QFileInfo(dir.path() + "/MSCONS.DLL").size();
  Main([] {});
  EXPECT_EQ(QFileInfo(dir.path() + "/MSCONS.DLL").size(), before);
  setProgramDir({});
}

TEST(Startup, DoubledSeparatorIsRepaired) {
  // A program in the root directory.
  EXPECT_EQ(pathBeside("/", "MSCON.DLL"), "/MSCON.DLL");
  EXPECT_EQ(pathBeside("/opt/xinglan", "MSCON.DLL"), "/opt/xinglan/MSCON.DLL");
}

TEST(Startup, InstalledOrReadOnlyProgramGetsItsDirectoryInTheDataFolder) {
  QTemporaryDir exe, data;
  const QString own = data.path() + "/xinglan";
  // A build tree keeps its files beside the executable.
  EXPECT_EQ(programDirFor(exe.path(), "/usr/bin", data.path()), exe.path());
  EXPECT_FALSE(QFileInfo::exists(own));
  // The installed binary directory (writable for root) and a directory that cannot be written.
  for (const QString& dir : {exe.path(), exe.path() + "/missing"}) {
    EXPECT_EQ(programDirFor(dir, exe.path(), data.path()), own) << dir.toStdString();
    EXPECT_TRUE(QFileInfo(own).isDir());
  }
  EXPECT_EQ(programDirFor(exe.path() + "/missing", "", data.path()), own);
}

TEST(Startup, BrokenStoreDoesNotStopTheStart) {
  QTemporaryDir dir;
  setProgramDir(dir.path());
  QFile junk(dir.path() + "/MSCONS.DLL");
  ASSERT_TRUE(junk.open(QIODevice::WriteOnly) && junk.write("this is not a database") > 0);
  junk.close();
  bool shown = false;
  Main([&] { shown = true; });
  EXPECT_TRUE(shown);
  setProgramDir({});
}

TEST(Startup, BrowseFolderGivesTheChoiceOrNothing) {
  testing::ScriptedDialogs dialogs;
  platform::setDialogs(&dialogs);
  dialogs.fileNames = {"/srv/records", "", QString(600, 'x')};
  EXPECT_EQ(browseFolder(), "/srv/records");
  EXPECT_EQ(browseFolder(QStringLiteral("选择文件夹")), "");  // cancelled
  EXPECT_EQ(browseFolder().size(), 511);                      // the path buffer's limit
  platform::setDialogs(nullptr);
}

}  // namespace
}  // namespace xl::core

#include <QMessageBox>
#include <QPushButton>

#include "support/qt_app.h"
#include "ui/translations.h"

namespace xl::ui {
namespace {

TEST(QtChinese, ButtonsOfMessageBoxesReadInChinese) {
  ASSERT_TRUE(installQtChinese(testing::testApp()));
  QMessageBox box;
  box.setStandardButtons(QMessageBox::Yes | QMessageBox::No | QMessageBox::Ok | QMessageBox::Cancel);
  for (const auto& [button, text] : {std::pair{QMessageBox::Yes, "是"}, {QMessageBox::No, "否"}, {QMessageBox::Ok, "确定"},
                                     {QMessageBox::Cancel, "取消"}})
    EXPECT_TRUE(box.button(button)->text().startsWith(QString::fromUtf8(text))) << text;
}

}  // namespace
}  // namespace xl::ui
