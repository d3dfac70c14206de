#include "configuration/frm_device_id_setting.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/message_log.h"
#include "core/settings.h"
#include "monitoring/frm_global_monitoring.h"
#include "platform/dialogs.h"
#include "ui/form.h"

namespace xl::configuration {

namespace {

using ui::q;
QString text(std::string_view s) { return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size())); }

link::SessionOptions sessionOptions() {
  link::SessionOptions o;
  o.remembersPort = false;
  return o;
}

// The background scan: paused while a pass runs, given back at each end of it.
monitoring::FrmGlobalMonitoring& backgroundScan() { return monitoring::FrmGlobalMonitoring::instance(); }

void closeScanPort() {
  platform::SerialControl* scan = link::SerialSession::scanControl();
  if (scan && scan->portOpen()) scan->setPortOpen(false);
}

}  // namespace

FrmDeviceIDSetting::FrmDeviceIDSetting()
    : ui::Screen("FrmDeviceIDSetting", QStringLiteral("设备ID设置"), HideOnClose::No),
      MSComm2("FrmDeviceIDSetting.MSComm2", sessionOptions(),
              [this](Bytes& reply, const std::string& t) { MSComm2_Reply(reply, t); }),
      MSComm3("FrmDeviceIDSetting.MSComm3", sessionOptions(),
              [this](Bytes& reply, const std::string& t) { MSComm3_Reply(reply, t); }) {
  Frame1 = new QGroupBox(QStringLiteral("警告"), this);
  Frame1->setObjectName("Frame1");
  Label1 = new QLabel(text(kAddressWarningText), Frame1);
  Label1->setObjectName("Label1");
  Label1->setWordWrap(true);
  Label1->setMinimumWidth(320);
  (new QVBoxLayout(Frame1))->addWidget(Label1);

  auto* fields = new QGridLayout;
  Combo1 = new QComboBox(this);
  Combo1->setObjectName("Combo1");
  Combo1->setMinimumWidth(140);
  ui::addCaptioned(fields, this, 0, 0, QStringLiteral("端口"), Combo1);
  LTextBox2 = ui::makeBox(this, {.name = "LTextBox2", .readOnly = false, .width = 80});
  ui::addCaptioned(fields, this, 1, 0, QStringLiteral("当前设备ID"), LTextBox2);
  fields->setColumnStretch(2, 1);

  Command1 = new QPushButton(QStringLiteral("读取设备ID"), this);
  Command1->setObjectName("Command1");
  Command2 = new QPushButton(QStringLiteral("设置设备ID"), this);
  Command2->setObjectName("Command2");
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(Command1);
  buttons->addWidget(Command2);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(Frame1);
  layout->addLayout(fields);
  layout->addLayout(buttons);
  layout->addStretch();

  connect(Command1, &QPushButton::clicked, this, [this] { Command1_Click(); });
  connect(Command2, &QPushButton::clicked, this, [this] { Command2_Click(); });

  Timer1.setInterval(kWriteWaitMs);
  Timer1.setOnTick([this] { Timer1_Timer(); });
  Timer2.setInterval(kPollPaceMs);
  Timer2.setOnTick([this] { Timer2_Timer(); });
  lastPollWait.setInterval(kPollPaceMs);
  lastPollWait.setOnTick([this] { lastPollWait_Timer(); });
  Form_Load();
}

FrmDeviceIDSetting::~FrmDeviceIDSetting() = default;

void FrmDeviceIDSetting::Form_Load() {
  // A fresh screen: the ports of the settings, none chosen, nothing found.
  Combo1->clear();
  Combo1->addItems(core::readPortList());
  Combo1->setCurrentIndex(-1);
  LTextBox2->clear();
  Command1->setEnabled(true);
  foundAddress = 0;
  scan_.stop();
  loaded_ = true;
}

void FrmDeviceIDSetting::Form_Unload() {
  // Closing ends a pass and a write, and gives the line back to the scan.
  Timer2.setEnabled(false);
  Timer1.setEnabled(false);
  lastPollWait.setEnabled(false);
  scan_.stop();
  for (link::SerialSession* s : {&MSComm2, &MSComm3})
    if (s->control().portOpen()) s->control().setPortOpen(false);
  backgroundScan().resumeRest();
  loaded_ = false;
}

void FrmDeviceIDSetting::showEvent(QShowEvent* event) {
  if (!loaded_) Form_Load();
  ui::Screen::showEvent(event);
}

void FrmDeviceIDSetting::closeEvent(QCloseEvent* event) {
  Form_Unload();
  ui::Screen::closeEvent(event);
}

// --- The pass over the addresses ------------------------------------------------------------

void FrmDeviceIDSetting::Command1_Click() {
  scan_.start();
  lastPollWait.setEnabled(false);
  Timer2.setEnabled(true);
  Command1->setEnabled(false);
  LTextBox2->clear();
  backgroundScan().pauseRest();
  closeScanPort();
}

void FrmDeviceIDSetting::Timer2_Timer() {
  const auto tick = scan_.tick();
  if (!tick) {
    Timer2.setEnabled(false);
    return;
  }
  MSComm2.sendRequest(Combo1->currentText().toStdString(), tick->frame);
  if (tick->lastOfPass) {
    endPass();
    lastPollWait.setEnabled(true);
  }
}

void FrmDeviceIDSetting::lastPollWait_Timer() {
  // Without a reply the polling port would stay open, and the scan could not use the line.
  lastPollWait.setEnabled(false);
  if (MSComm2.control().portOpen()) MSComm2.control().setPortOpen(false);
}

void FrmDeviceIDSetting::endPass() {
  Timer2.setEnabled(false);
  Command1->setEnabled(true);
  backgroundScan().resumeRest();
}

void FrmDeviceIDSetting::MSComm2_Reply(const Bytes& reply, const std::string& t) {
  const auto address = configuration::foundAddress(reply, t);
  if (!address) return;
  LTextBox2->setText(QString::number(*address));
  foundAddress = *address;
  scan_.stop();
  endPass();
}

// --- The write of the new address -----------------------------------------------------------

void FrmDeviceIDSetting::Command2_Click() {
  // Before a search has found a controller the target would be address 0, which every
  // controller on the line takes: nothing goes out.
  if (foundAddress == 0) {
    platform::dialogs().msgBox(QStringLiteral("请先读取设备ID"));
    return;
  }
  const AddressWrite write = addressWrite(static_cast<std::uint8_t>(foundAddress), LTextBox2->text().toStdString());
  if (!write.frame) {
    core::appendLog(q(write.failureLog));
    return;
  }
  closeScanPort();
  MSComm3.sendRequest(Combo1->currentText().toStdString(), *write.frame);
  Timer1.setEnabled(true);
}

void FrmDeviceIDSetting::MSComm3_Reply(const Bytes& reply, const std::string& t) {
  const std::string message = addressWriteMessage(reply, t);
  if (!message.empty()) platform::dialogs().msgBox(q(message));
}

void FrmDeviceIDSetting::Timer1_Timer() {
  if (MSComm3.control().portOpen()) MSComm3.control().setPortOpen(false);
  Timer1.setEnabled(false);
}

}  // namespace xl::configuration
