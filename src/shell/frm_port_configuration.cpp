#include "shell/frm_port_configuration.h"

#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QVBoxLayout>
#include <algorithm>

#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/station_store.h"
#include "link/serial_session.h"
#include "monitoring/frm_global_monitoring.h"
#include "platform/dialogs.h"
#include "platform/gateway_address.h"
#include "shell/frm_mdi.h"
#include "shell/port_list.h"
#include "ui/form.h"

namespace xl::shell {

namespace {

// A caption with its box: a label set as the box's buddy.
void addRow(QGridLayout* grid, int row, const QString& caption, QWidget* box) {
  ui::addCaptioned(grid, box->parentWidget(), row, 0, caption, box);
}

QComboBox* displayOnly(QWidget* parent, const char* name, const QString& text) {
  auto* c = new QComboBox(parent);
  c->setObjectName(QString::fromLatin1(name));
  c->addItem(text);
  c->setEnabled(false);
  return c;
}

// "HOST:PORT" of a settings value, or the value itself when it is no gateway address.
QString shownGateway(const QString& value) {
  const auto address = platform::parseGatewayAddress(value.toStdString());
  return address ? QString::fromStdString(platform::gatewayShown(*address)) : value;
}

// The list shows a gateway port's entry with its address: "COM5,9600 → 192.168.1.50:8899".
// The item's text stays the entry itself.
class GatewayEntryDelegate : public QStyledItemDelegate {
 public:
  GatewayEntryDelegate(const std::map<QString, QString>& gateways, QObject* parent)
      : QStyledItemDelegate(parent), gateways_(gateways) {}
  QString displayText(const QVariant& value, const QLocale& locale) const override {
    const QString entry = value.toString();
    const auto it = gateways_.find(gatewayKey(entry.section(QLatin1Char(','), 0, 0)));
    if (it == gateways_.end()) return QStyledItemDelegate::displayText(value, locale);
    return entry + QStringLiteral(" → ") + shownGateway(it->second);
  }

 private:
  const std::map<QString, QString>& gateways_;
};

// The scan gives the line back: its rest counter runs again (when it has a read interval).
void resumeScan() {
  if (monitoring::FrmGlobalMonitoring::exists()) monitoring::FrmGlobalMonitoring::instance().resumeRest();
}

}  // namespace

FrmPortConfiguration::FrmPortConfiguration()
    : ui::ModalForm<FrmPortConfiguration>("FrmPortConfiguration", QStringLiteral("通讯端口配置")) {
  auto* top = new QHBoxLayout(this);

  auto* settings = new QGroupBox(QStringLiteral("通讯COM口配置"), this);
  settings->setObjectName("Frame1");
  auto* grid = new QGridLayout(settings);
  Combo1 = new QComboBox(settings);
  Combo1->setObjectName("Combo1");
  Combo1->setEditable(true);  // the list holds the ports found; any name can be typed
  Combo1->setInsertPolicy(QComboBox::NoInsert);
  Combo1->setMinimumWidth(110);
  Combo2 = new QComboBox(settings);
  Combo2->setObjectName("Combo2");
  Combo2->setEditable(true);
  Combo2->setInsertPolicy(QComboBox::NoInsert);
  Combo2->addItems({"4800", "9600", "14400", "19200", "38400", "57600", "115200"});
  Combo2->setCurrentText(QStringLiteral("9600"));
  GatewayAddress = new QLineEdit(settings);
  GatewayAddress->setObjectName("GatewayAddress");
  GatewayAddress->setPlaceholderText(QStringLiteral("串口留空"));
  GatewayAddress->setToolTip(
      QStringLiteral("串口服务器（透明传输 TCP 服务器模式）的地址，如 192.168.1.50:8899；本机串口留空"));
  addRow(grid, 0, QStringLiteral("端口"), Combo1);
  addRow(grid, 1, QStringLiteral("网关地址"), GatewayAddress);
  addRow(grid, 2, QStringLiteral("波特率"), Combo2);
  addRow(grid, 3, QStringLiteral("数据位"), displayOnly(settings, "Combo3", "8"));
  addRow(grid, 4, QStringLiteral("停止位"), displayOnly(settings, "Combo4", "1"));
  addRow(grid, 5, QStringLiteral("奇偶校验位"), displayOnly(settings, "Combo5", "None"));
  Command1 = new QPushButton(QStringLiteral("添加"), settings);
  Command1->setObjectName("Command1");
  Command2 = new QPushButton(QStringLiteral("删除"), settings);
  Command2->setObjectName("Command2");
  auto* edit = new QHBoxLayout;
  edit->addWidget(Command1);
  edit->addWidget(Command2);
  grid->addLayout(edit, 6, 0, 1, 2);
  grid->setRowStretch(7, 1);
  top->addWidget(settings);

  auto* right = new QVBoxLayout;
  auto* frame = new QGroupBox(QStringLiteral("通讯COM口列表"), this);
  frame->setObjectName("Frame2");
  auto* frameLayout = new QVBoxLayout(frame);
  List1 = new QListWidget(frame);
  List1->setObjectName("List1");
  List1->setToolTip(
      QStringLiteral("选择->通讯COM口配置:端口COMx->点击添加->"
                     "确定；先要把“站点资源管理器”属下的“站点”删除，才能删除“通讯COM口列表”里的设备。"));
  List1->setMinimumSize(180, 160);
  List1->setItemDelegate(new GatewayEntryDelegate(gateways_, List1));
  frameLayout->addWidget(List1);
  right->addWidget(frame);
  right->addLayout(ui::okCancelRow(this, Command3, "Command3", Command4, "Command4"));
  top->addLayout(right);

  for (QPushButton* b : {Command1, Command2, Command3, Command4}) b->setAutoDefault(false);
  connect(Command1, &QPushButton::clicked, this, [this] { Command1_Click(); });
  connect(Command2, &QPushButton::clicked, this, [this] { Command2_Click(); });
  connect(Command3, &QPushButton::clicked, this, [this] { Command3_Click(); });
  connect(Command4, &QPushButton::clicked, this, [this] { Command4_Click(); });
  // Delete acts on a chosen entry only, and is grey while none is chosen.
  Command2->setEnabled(false);
  connect(List1, &QListWidget::itemSelectionChanged, this,
          [this] { Command2->setEnabled(!List1->selectedItems().isEmpty()); });
  // Typing in the port box is its change, a choice from its list its click: one routine.
  connect(Combo1, &QComboBox::editTextChanged, this, [this] { Combo1_Change(); });
  connect(Combo1, &QComboBox::activated, this, [this] { Combo1_Change(); });

  Timer1.setInterval(300);
  Timer1.setOnTick([this] { Timer1_Timer(); });
  Timer1.setEnabled(true);
}

FrmPortConfiguration::~FrmPortConfiguration() {
  // Form_Unload: the scan gets the line back whichever way the dialog goes.
  resumeScan();
}

QStringList FrmPortConfiguration::entries() const {
  QStringList list;
  for (int i = 0; i < List1->count(); ++i) list << List1->item(i)->text();
  return list;
}

void FrmPortConfiguration::Form_Load() {
  // The scan is taken off the bus: its rest counter stops and its port is closed.
  monitoring::FrmGlobalMonitoring::instance().pauseRest();
  if (platform::SerialControl* scan = link::SerialSession::scanControl(); scan && scan->portOpen()) {
    try {
      scan->setPortOpen(false);
    } catch (const std::exception&) {}
  }
  const QSignalBlocker quiet(Combo1);
  Combo1->clear();
  Combo1->setEditText({});
  // The gateway ports count as present whatever their connection does now.
  const std::map<int, QString> mapped = gatewayPorts();
  for (const auto& [number, value] : mapped) savedGateways_[QString::fromStdString(platform::portName(number))] = value;
  gateways_ = savedGateways_;
  std::vector<int> present = probePorts(MSComm1);
  for (const auto& [number, value] : mapped)
    if (std::find(present.begin(), present.end(), number) == present.end()) present.push_back(number);
  std::sort(present.begin(), present.end());
  for (int port : present) Combo1->addItem(QString::fromStdString(platform::portName(port)));
  if (Combo1->count() > 0) Combo1->setEditText(Combo1->itemText(0));
  List1->addItems(core::readPortList());
  Combo1_Change();
  // OK stands as the timer will set it, so an empty list cannot be saved before its first tick.
  Timer1_Timer();
  resumeScan();
}

void FrmPortConfiguration::Combo1_Change() {
  const int found = findPortEntry(entries(), Combo1->currentText());
  if (found >= 0) {
    Command1->setText(QStringLiteral("更新"));
    editIndex = found;
  } else {
    Command1->setText(QStringLiteral("添加"));
  }
  showGateway();
}

void FrmPortConfiguration::showGateway() {
  const QString key = gatewayKey(Combo1->currentText());
  const auto it = gateways_.find(key);
  if (it != gateways_.end())
    GatewayAddress->setText(shownGateway(it->second));
  else if (findPortEntry(entries(), Combo1->currentText()) >= 0)
    GatewayAddress->clear();  // a listed serial port
}

bool FrmPortConfiguration::checkGateway(QString& key, QString& value) {
  key = gatewayKey(Combo1->currentText());
  const QString typed = GatewayAddress->text().trimmed();
  if (typed.isEmpty()) return true;
  const auto address = platform::parseTypedGatewayAddress(typed.toStdString());
  if (!address) {
    platform::dialogs().msgBox(QStringLiteral("网关地址应为“主机:端口”，如 192.168.1.50:8899"),
                               platform::kOkOnly | platform::kExclamation);
    return false;
  }
  if (key.isEmpty()) {
    platform::dialogs().msgBox(QStringLiteral("网关端口的名称应为 COM 加数字，如 COM5"),
                               platform::kOkOnly | platform::kExclamation);
    return false;
  }
  value = QString::fromStdString(platform::gatewayValue(*address));
  // An address that reads the same keeps the text the file has.
  const auto it = gateways_.find(key);
  if (it != gateways_.end() && platform::parseGatewayAddress(it->second.toStdString()) == address) value = it->second;
  return true;
}

void FrmPortConfiguration::saveGateways() {
  std::map<QString, QString> kept;
  for (const QString& entry : entries()) {
    const QString key = gatewayKey(entry.section(QLatin1Char(','), 0, 0));
    if (const auto it = gateways_.find(key); it != gateways_.end()) kept[key] = it->second;
  }
  for (const auto& [key, value] : savedGateways_)
    if (!kept.count(key)) core::removeIni(core::keys::kNetworkPorts, key);
  for (const auto& [key, value] : kept) {
    const auto saved = savedGateways_.find(key);
    if (saved == savedGateways_.end() || saved->second != value) core::writeIni(core::keys::kNetworkPorts, key, value);
  }
}

void FrmPortConfiguration::Command1_Click() {
  QString key, value;
  if (!checkGateway(key, value)) return;
  if (Command1->text() != QStringLiteral("添加")) {
    // The entry found by the last change takes the chosen baud rate and keeps its own port
    // name: the match is containment without regard to case, so an empty box (which finds the
    // first entry) or a part of a name ("3" finds "COM3,9600") must not rewrite the entry into
    // another port. An empty box or baud rate, or an index off the list (the entry deleted
    // since), changes nothing.
    QListWidgetItem* item = List1->item(editIndex);
    const QString entry = item && !Combo1->currentText().isEmpty()
                              ? portEntry(portOfEntry(item->text()), Combo2->currentText())
                              : QString();
    if (!entry.isEmpty()) item->setText(entry);
  } else {
    const QString entry = portEntry(Combo1->currentText(), Combo2->currentText());
    if (!entry.isEmpty()) List1->addItem(entry);
  }
  // The port is a gateway with an address, a serial port without one, once it is listed.
  if (!key.isEmpty() && findPortEntry(entries(), Combo1->currentText()) >= 0) {
    if (value.isEmpty())
      gateways_.erase(key);
    else
      gateways_[key] = value;
    List1->viewport()->update();
  }
  Combo1_Change();
}

void FrmPortConfiguration::Command2_Click() {
  const int row = List1->currentRow();
  if (row < 0 || !List1->item(row)->isSelected()) return;
  // An entry whose stations would drop out of the tree is removed only when the operator says
  // so; another entry of the same text keeps them in sight.
  const QString entry = List1->item(row)->text();
  QStringList others = entries();
  others.removeAt(row);
  if (!others.contains(entry, Qt::CaseInsensitive)) {
    const QString question = removalQuestion(entry, static_cast<int>(core::getStations(entry).size()));
    if (!question.isEmpty() && platform::dialogs().msgBox(question, platform::kYesNo) != platform::kYes) return;
  }
  delete List1->takeItem(row);
  // The list would choose the next entry; nothing is chosen until the operator chooses.
  List1->selectionModel()->clear();
  Combo1_Change();
}

void FrmPortConfiguration::Timer1_Timer() { Command3->setEnabled(List1->count() > 0); }

void FrmPortConfiguration::Command3_Click() {
  const QStringList list = entries();
  core::writeIni(core::keys::kPorts, core::keys::kPortCount, QString::number(list.size()));
  for (int i = 0; i < list.size(); ++i) core::writeIni(core::keys::kPorts, QString::number(i + 1), list[i]);
  saveGateways();
  accepted = true;
  hide();
  resumeScan();
}

void FrmPortConfiguration::Command4_Click() {
  resumeScan();
  unload();
}

// --- the main window's command ------------------------------------------------------------

void FrmMDI::PortConfiguration_Click() {
  auto& dialog = FrmPortConfiguration::instance();
  ui::showModal(dialog);
  // A cancelled dialog is gone; the next touch would make a fresh one that reads false.
  if (!FrmPortConfiguration::exists() || !FrmPortConfiguration::instance().accepted) return;
  refreshStations();
  FrmPortConfiguration::discard();
  restOfRefresh();
}

}  // namespace xl::shell
