#include "shell/frm_mdi.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCloseEvent>
#include <QPlainTextEdit>

#include "core/app_state.h"
#include "core/message_log.h"
#include "core/startup.h"
#include "support/scripted_dialogs.h"

namespace xl::shell {
namespace {

QApplication& app() {
  static int argc = 1;
  static char name[] = "test";
  static char* argv[] = {name, nullptr};
  static QApplication a(argc, argv);
  return a;
}

TEST(FrmMDI, LoadLogsTheStartInTheMessageWindow) {
  app();
  FrmMDI& mdi = FrmMDI::instance();
  EXPECT_EQ(&mdi, &FrmMDI::instance());
  EXPECT_EQ(mdi.windowTitle(), QStringLiteral("星澜站点监控软件"));
  ASSERT_EQ(mdi.findChild<QPlainTextEdit*>("Text1"), mdi.Text1());
  core::appendLog(QStringLiteral("刷新所有站点，请稍等..."), true);
  mdi.MDIForm_Load();
  const QStringList lines = mdi.Text1()->toPlainText().split('\n');
  ASSERT_EQ(lines.size(), 2);
  EXPECT_TRUE(lines[0].endsWith(QStringLiteral("]刷新所有站点，请稍等...")));
  EXPECT_TRUE(lines[1].endsWith(QStringLiteral("]星澜站点监控启动")));
  EXPECT_EQ(core::appStarted, "1");
  // The caret stands at the end, so the newest line is in view.
  EXPECT_EQ(mdi.Text1()->textCursor().position(), mdi.Text1()->toPlainText().size());
}

TEST(FrmMDI, CloseAsksAndOnlyYesEnds) {
  app();
  testing::ScriptedDialogs dialogs;
  platform::setDialogs(&dialogs);
  int ended = 0;
  core::setEndProcess([&] { ++ended; });
  dialogs.answers = {platform::kNo, platform::kYes};
  QCloseEvent no;
  QApplication::sendEvent(&FrmMDI::instance(), &no);
  EXPECT_FALSE(no.isAccepted());
  EXPECT_EQ(ended, 0);
  QCloseEvent yes;
  QApplication::sendEvent(&FrmMDI::instance(), &yes);
  EXPECT_EQ(ended, 1);
  ASSERT_EQ(dialogs.shown.size(), 2u);
  EXPECT_EQ(dialogs.shown[0].text, QStringLiteral("确定要退出?"));
  EXPECT_EQ(dialogs.shown[0].style, 68);
  platform::setDialogs(nullptr);
}

}  // namespace
}  // namespace xl::shell
