#include "shell/frm_port_configuration.h"

#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/settings.h"
#include "core/station_store.h"
#include "platform/dialogs.h"
#include "link/serial_session.h"
#include "monitoring/frm_global_monitoring.h"
#include "shell/frm_mdi.h"
#include "shell/port_list.h"
#include "ui/form.h"

namespace xl::shell {

namespace {

const QString kPorts = QStringLiteral("COMS");

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
  addRow(grid, 0, QStringLiteral("端口"), Combo1);
  addRow(grid, 1, QStringLiteral("波特率"), Combo2);
  addRow(grid, 2, QStringLiteral("数据位"), displayOnly(settings, "Combo3", "8"));
  addRow(grid, 3, QStringLiteral("停止位"), displayOnly(settings, "Combo4", "1"));
  addRow(grid, 4, QStringLiteral("奇偶校验位"), displayOnly(settings, "Combo5", "None"));
  Command1 = new QPushButton(QStringLiteral("添加"), settings);
  Command1->setObjectName("Command1");
  Command2 = new QPushButton(QStringLiteral("删除"), settings);
  Command2->setObjectName("Command2");
  auto* edit = new QHBoxLayout;
  edit->addWidget(Command1);
  edit->addWidget(Command2);
  grid->addLayout(edit, 5, 0, 1, 2);
  grid->setRowStretch(6, 1);
  top->addWidget(settings);

  auto* right = new QVBoxLayout;
  auto* frame = new QGroupBox(QStringLiteral("通讯COM口列表"), this);
  frame->setObjectName("Frame2");
  auto* frameLayout = new QVBoxLayout(frame);
  List1 = new QListWidget(frame);
  List1->setObjectName("List1");
  List1->setToolTip(QStringLiteral(
      "选择->通讯COM口配置:端口COMx->点击添加->确定；先要把“站点资源管理器”属下的“站点”删除，才能删除“通讯COM口列表”里的设备。"));
  List1->setMinimumSize(180, 160);
  frameLayout->addWidget(List1);
  right->addWidget(frame);
  auto* buttons = new QHBoxLayout;
  Command3 = new QPushButton(QStringLiteral("确定"), this);
  Command3->setObjectName("Command3");
  Command4 = new QPushButton(QStringLiteral("取消"), this);
  Command4->setObjectName("Command4");
  buttons->addStretch();
  buttons->addWidget(Command3);
  buttons->addWidget(Command4);
  right->addLayout(buttons);
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
    } catch (const std::exception&) {
    }
  }
  const QSignalBlocker quiet(Combo1);
  Combo1->clear();
  Combo1->setEditText({});
  for (int port : probePorts(MSComm1)) Combo1->addItem(QString::fromStdString(platform::portName(port)));
  if (Combo1->count() > 0) Combo1->setEditText(Combo1->itemText(0));
  const int count = core::readIniInt(kPorts, QStringLiteral("ListCount"));
  for (int i = 1; i <= count; ++i) List1->addItem(core::readIni(kPorts, QString::number(i)));
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
}

void FrmPortConfiguration::Command1_Click() {
  if (Command1->text() != QStringLiteral("添加")) {
    // The entry found by the last change; an index off the list (the entry deleted since)
    // changes nothing.
    if (QListWidgetItem* item = List1->item(editIndex))
      item->setText(Combo1->currentText() + QLatin1Char(',') + Combo2->currentText());
  } else {
    const QString entry = portEntry(Combo1->currentText(), Combo2->currentText());
    if (!entry.isEmpty()) List1->addItem(entry);
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
  core::writeIni(kPorts, QStringLiteral("ListCount"), QString::number(list.size()));
  for (int i = 0; i < list.size(); ++i) core::writeIni(kPorts, QString::number(i + 1), list[i]);
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
