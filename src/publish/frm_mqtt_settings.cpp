#include "publish/frm_mqtt_settings.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/message_log.h"
#include "core/settings.h"
#include "platform/dialogs.h"
#include "publish/mqtt_settings.h"
#include "publish/publisher.h"
#include "ui/form.h"

namespace xl::publish {

namespace {
const ui::Field kFields[] = {
    {.name = "TextHost", .caption = "服务器地址", .readOnly = false, .width = 220},
    {.name = "TextPort", .caption = "端口", .readOnly = false, .width = 80},
    {.name = "TextClientId", .caption = "客户端标识", .readOnly = false, .width = 220},
    {.name = "TextPrefix", .caption = "主题前缀", .readOnly = false, .width = 220},
    {.name = "TextUser", .caption = "用户名", .readOnly = false, .width = 220},
    {.name = "TextPassword", .caption = "密码", .readOnly = false, .width = 220},
    {.name = "TextCaFile", .caption = "TLS CA证书文件", .readOnly = false, .width = 220},
    {.name = "TextDiscovery", .caption = "自动发现前缀", .readOnly = false, .width = 220},
};
}  // namespace

bool validPortText(const QString& text, int* port) {
  bool ok = false;
  const int p = text.trimmed().toInt(&ok);
  if (!ok || p < 1 || p > 65535) return false;
  if (port) *port = p;
  return true;
}

FrmMqttSettings::FrmMqttSettings() : ui::Screen("FrmMqttSettings", QStringLiteral("MQTT发布设置")) {
  Check1 = new QCheckBox(QStringLiteral("发布到MQTT服务器"), this);
  Check1->setObjectName("Check1");
  auto* grid = new QGridLayout;
  const auto boxes = ui::addFields(grid, this, kFields, 1);
  TextHost = boxes[0];
  TextPort = boxes[1];
  TextClientId = boxes[2];
  TextPrefix = boxes[3];
  TextUser = boxes[4];
  TextPassword = boxes[5];
  TextCaFile = boxes[6];
  TextDiscovery = boxes[7];
  TextPassword->setEchoMode(QLineEdit::Password);

  QHBoxLayout* buttons = ui::okCancelRow(this, Command1, "Command1", Command2, "Command2");

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(Check1);
  layout->addLayout(grid);
  layout->addLayout(buttons);
  layout->addStretch();

  connect(Command1, &QPushButton::clicked, this, [this] { Command1_Click(); });
  connect(Command2, &QPushButton::clicked, this, [this] { Command2_Click(); });
}

void FrmMqttSettings::showEvent(QShowEvent* event) {
  Form_Load();
  ui::Screen::showEvent(event);
}

void FrmMqttSettings::Form_Load() {
  const MqttSettings s = readMqttSettings();
  Check1->setChecked(s.enabled);
  TextHost->setText(s.host);
  TextPort->setText(QString::number(s.port));
  TextClientId->setText(s.clientId);
  TextPrefix->setText(s.topicPrefix);
  TextUser->setText(s.username);
  TextPassword->setText(s.password);
  TextCaFile->setText(s.caFile);
  TextDiscovery->setText(s.discoveryPrefix);
}

void FrmMqttSettings::Command1_Click() {
  MqttSettings s;
  if (!validPortText(TextPort->text(), &s.port)) {
    platform::dialogs().msgBox(QStringLiteral("端口必须是1到65535之间的整数"), platform::kExclamation);
    return;
  }
  s.enabled = Check1->isChecked();
  s.host = TextHost->text().trimmed();
  if (s.enabled && s.host.isEmpty()) {
    platform::dialogs().msgBox(QStringLiteral("请填写服务器地址"), platform::kExclamation);
    return;
  }
  s.clientId = TextClientId->text().trimmed();
  s.topicPrefix = TextPrefix->text().trimmed();
  s.username = TextUser->text();
  s.password = TextPassword->text();
  s.caFile = TextCaFile->text().trimmed();
  s.discoveryPrefix = TextDiscovery->text().trimmed();
  // Every text as it will be read back from the GBK settings file, or nothing is saved.
  const std::pair<const char*, const QString*> texts[] = {{"服务器地址", &s.host},
                                                          {"客户端标识", &s.clientId},
                                                          {"主题前缀", &s.topicPrefix},
                                                          {"用户名", &s.username},
                                                          {"密码", &s.password},
                                                          {"TLS CA证书文件", &s.caFile},
                                                          {"自动发现前缀", &s.discoveryPrefix}};
  for (const auto& [caption, text] : texts) {
    if (const QString refusal = core::settingsValueRefusal(QString::fromUtf8(caption), *text); !refusal.isEmpty()) {
      platform::dialogs().msgBox(refusal, platform::kExclamation);
      return;
    }
  }
  writeMqttSettings(s);
  if (Publisher* p = Publisher::current()) p->applyFromFile();
  core::appendLog(s.enabled ? QStringLiteral("MQTT发布已开启") : QStringLiteral("MQTT发布已关闭"));
  hide();
}

void FrmMqttSettings::Command2_Click() { hide(); }

}  // namespace xl::publish
