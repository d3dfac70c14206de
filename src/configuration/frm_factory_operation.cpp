#include "configuration/frm_factory_operation.h"

#include <QCloseEvent>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/message_log.h"
#include "core/station_request.h"
#include "core/station_store.h"
#include "platform/dialogs.h"
#include "ui/form.h"
#include "ui/station_box.h"

namespace xl::configuration {

namespace {
using ui::q;
QString text(std::string_view s) { return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size())); }
}  // namespace

FrmFactoryOperation::FrmFactoryOperation()
    : ui::Screen("FrmFactoryOperation", QStringLiteral("系统设置")),
      MSComm1(
          "FrmFactoryOperation.MSComm1",
          [this] {
            link::SessionOptions o;
            o.remembersPort = false;
            // replyText takes the hex text of every reply, before its CRC is checked.
            o.showReplyText = [this](const std::string& t) { replyText = t; };
            return o;
          }(),
          [this](Bytes& reply, const std::string&) { onReply(reply); }) {
  auto* top = new QGridLayout;
  Combo1 = ui::addStationBox(top, this);
  LTextBox1 = ui::makeBox(this, {.name = "LTextBox1", .width = 60});
  ui::addCaptioned(top, this, 0, 2, QStringLiteral("设备ID"), LTextBox1);
  top->setColumnStretch(4, 1);

  Text1 = ui::makeBox(this, {.name = "Text1", .width = 260});
  Text1->setText(text(kUnknownUseText));

  QPushButton** buttons[] = {&Command1, &Command2, &Command3, &Command4, &Command5};
  const FactoryCommand commands[] = {FactoryCommand::Command1, FactoryCommand::Command2, FactoryCommand::Command3,
                                     FactoryCommand::Command4, FactoryCommand::Command5};
  auto* grid = new QGridLayout;
  for (int i = 0; i < 5; ++i) {
    auto* b = new QPushButton(text(factoryCaption(commands[i])), this);
    b->setObjectName(QStringLiteral("Command%1").arg(i + 1));
    b->setToolTip(text(factoryToolTip(commands[i])));
    b->setMinimumWidth(150);
    *buttons[i] = b;
    const FactoryCommand c = commands[i];
    connect(b, &QPushButton::clicked, this, [this, c] { send(c); });
  }
  // Restore and clear side by side, the port's use with its status line, the restart alone.
  grid->addWidget(Command1, 0, 0);
  grid->addWidget(Command2, 0, 1);
  grid->addWidget(Command3, 1, 0);
  grid->addWidget(Command4, 1, 1);
  grid->addWidget(Text1, 2, 0, 1, 2);
  grid->addWidget(Command5, 3, 0);

  auto* layout = new QVBoxLayout(this);
  layout->addLayout(top);
  layout->addLayout(grid);
  layout->addStretch();

  Combo1->onClick([this] { Combo1_Click(); });

  ui::registerStationList(ui::StationList::Factory, Combo1);
}

FrmFactoryOperation::~FrmFactoryOperation() { ui::registerStationList(ui::StationList::Factory, nullptr); }

void FrmFactoryOperation::Combo1_Click() {
  LTextBox1->setText(core::getStationDeviceID(Combo1->text()));
  Text1->setText(text(kUnknownUseText));
}

void FrmFactoryOperation::send(FactoryCommand command) {
  // Address and port come from the station that the box names now, never from a box filled by
  // an earlier choice; with no station chosen (the address box is empty after a reopening)
  // nothing goes out, since address 0 reaches every controller on the line.
  if (Combo1->text().isEmpty() || LTextBox1->text().trimmed().isEmpty()) {
    platform::dialogs().msgBox(QStringLiteral("请先选择站点"));
    return;
  }
  const auto station = core::stationForSend(Combo1->text());
  if (!station) return;
  LTextBox1->setText(QString::number(station->address));
  // Restoring, clearing the history and restarting cannot be undone: the operator confirms.
  if (command == FactoryCommand::Command1 || command == FactoryCommand::Command2 ||
      command == FactoryCommand::Command5) {
    const QString question = QStringLiteral("确定对 %1（设备ID %2）执行 %3?")
                                 .arg(station->name)
                                 .arg(station->address)
                                 .arg(text(factoryCaption(command)));
    if (platform::dialogs().msgBox(question, platform::kYesNo | platform::kQuestion) != platform::kYes) return;
  }
  pendingRead = factoryPendingRead(command);
  const auto frame = factoryFrame(command, std::to_string(station->address));
  if (!frame) {
    core::appendLog(text(kFactoryAddressRefusedLog));
    return;
  }
  MSComm1.sendRequest(station->port.toStdString(), *frame);
}

void FrmFactoryOperation::onReply(const Bytes& reply) {
  const FactoryReply r = factoryReply(pendingRead, reply, replyText);
  if (r.text1) Text1->setText(q(*r.text1));
  if (!r.message.empty()) platform::dialogs().msgBox(q(r.message));
}

void FrmFactoryOperation::closeEvent(QCloseEvent* event) {
  ui::Screen::closeEvent(event);
  LTextBox1->clear();
}

}  // namespace xl::configuration
