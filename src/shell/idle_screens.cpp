#include "shell/idle_screens.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "platform/dialogs.h"
#include "shell/frm_mdi.h"
#include "ui/screen.h"

#ifndef XL_VERSION
#define XL_VERSION "0"
#endif

namespace xl::shell {

FrmAbout::FrmAbout() : ui::ModalForm<FrmAbout>("FrmAbout", QStringLiteral("关于")) {
  auto* top = new QHBoxLayout(this);
  auto* icon = new QLabel(this);
  icon->setObjectName("Image1");
  icon->setPixmap(ui::mainIcon().pixmap(64, 64));
  icon->setAlignment(Qt::AlignTop);
  top->addWidget(icon);
  auto* text = new QVBoxLayout;
  auto* name = new QLabel(QStringLiteral("星澜站点监控软件"), this);
  name->setObjectName("Label1");
  QFont big = name->font();
  big.setPointSizeF(big.pointSizeF() * 1.4);
  // Larger, not bold: a bold face of the Chinese font would be loaded for these few words.
  name->setFont(big);
  auto* version = new QLabel(QStringLiteral("版本 ") + QStringLiteral(XL_VERSION), this);
  version->setObjectName("Label2");
  auto* purpose =
      new QLabel(QStringLiteral("通过RS-485总线监控太阳能充电控制器：实时监控、历史数据、参数设置与数据保存。"), this);
  purpose->setObjectName("Label3");
  purpose->setWordWrap(true);
  purpose->setMinimumWidth(320);
  auto* ok = new QPushButton(QStringLiteral("确定"), this);
  ok->setObjectName("Command1");
  connect(ok, &QPushButton::clicked, this, [this] { unload(); });
  text->addWidget(name);
  text->addWidget(version);
  text->addWidget(purpose);
  text->addStretch();
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(ok);
  text->addLayout(buttons);
  top->addLayout(text);
}

QString clockText(const QDateTime& when) { return when.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")); }

FrmRealTimeClock::FrmRealTimeClock() : ui::ModalForm<FrmRealTimeClock>("FrmRealTimeClock", QStringLiteral("实时时钟")) {
  auto* top = new QHBoxLayout(this);
  LTextBox2 = new QLineEdit(this);
  LTextBox2->setObjectName("LTextBox2");
  LTextBox2->setReadOnly(true);
  LTextBox2->setMinimumWidth(180);
  top->addWidget(LTextBox2);
  LTextBox2->setText(clockText(QDateTime::currentDateTime()));
}

FrmSystemConfiguration::FrmSystemConfiguration()
    : ui::ModalForm<FrmSystemConfiguration>("FrmSystemConfiguration", QStringLiteral("系统配置")) {}
FrmDeviceInformation::FrmDeviceInformation()
    : ui::ModalForm<FrmDeviceInformation>("FrmDeviceInformation", QStringLiteral("设备信息")) {}
FrmDeviceParameter::FrmDeviceParameter()
    : ui::ModalForm<FrmDeviceParameter>("FrmDeviceParameter", QStringLiteral("设备参数")) {}
FrmPrintSetup::FrmPrintSetup() : ui::ModalForm<FrmPrintSetup>("FrmPrintSetup", QStringLiteral("打印设置")) {}
FrmPrintPreview::FrmPrintPreview() : ui::ModalForm<FrmPrintPreview>("FrmPrintPreview", QStringLiteral("打印预览")) {}

// --- the main window's commands -----------------------------------------------------------

void FrmMDI::About_Click() { ui::showModal(FrmAbout::instance()); }
void FrmMDI::RealTimeClock_Click() { ui::showModal(FrmRealTimeClock::instance()); }
void FrmMDI::SystemConfiguration_Click() { ui::showModal(FrmSystemConfiguration::instance()); }
void FrmMDI::DeviceInformation_Click() { ui::showModal(FrmDeviceInformation::instance()); }
void FrmMDI::DeviceParameter_Click() { ui::showModal(FrmDeviceParameter::instance()); }
void FrmMDI::PrintSetup_Click() { ui::showModal(FrmPrintSetup::instance()); }
void FrmMDI::PrintPreview_Click() { ui::showModal(FrmPrintPreview::instance()); }
// The file dialogs of the data menu; their result is not used.
void FrmMDI::ExportData_Click() { platform::dialogs().saveFileName(QStringLiteral("导出数据"), {}); }
void FrmMDI::ImportData_Click() { platform::dialogs().openFileName(QStringLiteral("导入数据"), {}); }

}  // namespace xl::shell
