#include "shell/frm_mdi.h"

#include <QCloseEvent>
#include <QDockWidget>
#include <QMdiArea>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTreeWidget>

#include "core/app_state.h"
#include "core/message_log.h"
#include "core/startup.h"
#include "platform/dialogs.h"

namespace xl::shell {

namespace {
FrmMDI* gInstance = nullptr;
}

FrmMDI& FrmMDI::instance() {
  if (!gInstance) gInstance = new FrmMDI();
  return *gInstance;
}

bool FrmMDI::exists() { return gInstance != nullptr; }

FrmMDI::FrmMDI() {
  setObjectName("FrmMDI");
  setWindowTitle(QStringLiteral("星澜站点监控软件"));
  resize(1100, 720);

  mdiArea_ = new QMdiArea(this);
  mdiArea_->setObjectName("MDIClient");
  setCentralWidget(mdiArea_);

  treeView1_ = new QTreeWidget();
  treeView1_->setObjectName("TreeView1");
  treeView1_->setHeaderHidden(true);
  stationPane_ = new QDockWidget(QStringLiteral("站点"), this);
  stationPane_->setObjectName("Picture1");
  stationPane_->setWidget(treeView1_);
  stationPane_->setFeatures(QDockWidget::NoDockWidgetFeatures);
  addDockWidget(Qt::LeftDockWidgetArea, stationPane_);

  text1_ = new QPlainTextEdit();
  text1_->setObjectName("Text1");
  text1_->setReadOnly(true);
  messagePane_ = new QDockWidget(QStringLiteral("信息"), this);
  messagePane_->setObjectName("Picture14");
  messagePane_->setWidget(text1_);
  messagePane_->setFeatures(QDockWidget::NoDockWidgetFeatures);
  addDockWidget(Qt::BottomDockWidgetArea, messagePane_);

  core::setLogBox(core::LogBox{
      [this] { return text1_->toPlainText().replace('\n', "\r\n"); },
      [this](const QString& text) {
        text1_->setPlainText(QString(text).replace("\r\n", "\n"));
        text1_->moveCursor(QTextCursor::End);
        text1_->verticalScrollBar()->setValue(text1_->verticalScrollBar()->maximum());
      }});
}

FrmMDI::~FrmMDI() {
  core::setLogBox({});
  if (gInstance == this) gInstance = nullptr;
}

void FrmMDI::MDIForm_Load() {
  core::appendLog(QStringLiteral("星澜站点监控启动"));
  core::appStarted = QStringLiteral("1");
}

void FrmMDI::closeEvent(QCloseEvent* event) {
  if (platform::dialogs().msgBox(QStringLiteral("确定要退出?"), platform::kYesNo | platform::kInformation) ==
      platform::kYes) {
    core::endProcess();
    return;
  }
  event->ignore();
}

}  // namespace xl::shell
