#include "shell/frm_add_station.h"

#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/app_state.h"
#include "core/message_log.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/station_request.h"
#include "engine/alarms/alarm_engine.h"
#include "monitoring/frm_maintenance_record.h"
#include "monitoring/recorder_settings.h"
#include "platform/dialogs.h"
#include "publish/publisher.h"
#include "shell/frm_mdi.h"
#include "shell/station_form.h"
#include "ui/form.h"

namespace xl::shell {

namespace {


// A caption with its box in one row of `grid`: the label is the box's buddy. A required field
// gets a red asterisk after its box.
template <class Box>
Box* addBox(QGridLayout* grid, QWidget* parent, int row, const char* name, const char* caption, bool required = false) {
  auto* box = new Box(parent);
  box->setObjectName(QString::fromLatin1(name));
  box->setMinimumWidth(150);
  ui::addCaptioned(grid, parent, row, 0, QString::fromUtf8(caption), box);
  if (required) {
    auto* star = new QLabel(QStringLiteral("*"), parent);
    star->setStyleSheet(QStringLiteral("color: red"));
    grid->addWidget(star, row, 2);
  }
  return box;
}

QComboBox* addList(QGridLayout* grid, QWidget* parent, int row, const char* name, const char* caption,
                   const QStringList& choices) {
  auto* list = addBox<QComboBox>(grid, parent, row, name, caption);
  list->addItems(choices);
  list->setCurrentIndex(-1);  // nothing chosen until the operator chooses
  return list;
}

// Shows `text` in a list of fixed choices. A text that is not among them is refused, as the
// list refuses it, and the list keeps what it shows.
void setListText(QComboBox* list, const QString& text) {
  const int i = list->findText(text, Qt::MatchFixedString | Qt::MatchCaseSensitive);
  if (i >= 0 || text.isEmpty()) list->setCurrentIndex(i);
}

}  // namespace

FrmAddStation::FrmAddStation() : ui::ModalForm<FrmAddStation>("FrmAddStation", QStringLiteral("添加站点")) {
  auto* top = new QVBoxLayout(this);

  auto* station = new QGroupBox(QStringLiteral("站点"), this);
  auto* g1 = new QGridLayout(station);
  StationNameSS = addBox<QLineEdit>(g1, station, 0, "StationNameSS", "设置站点名称", true);
  DeviceID = addBox<QLineEdit>(g1, station, 1, "DeviceID", "绑定的设备ID", true);
  Port = addBox<QComboBox>(g1, station, 2, "Port", "选择通讯端口", true);
  top->addWidget(station);

  auto* parts = new QHBoxLayout;
  auto* array = new QGroupBox(QStringLiteral("太阳能电池板"), this);
  auto* g2 = new QGridLayout(array);
  ArraysType = addList(g2, array, 0, "ArraysType", "类型", {"c-Si", "Thin-Film"});
  PeakPower = addBox<QLineEdit>(g2, array, 1, "PeakPower", "峰值功率(W)");
  Voc = addBox<QLineEdit>(g2, array, 2, "Voc", "开路电压(V)");
  Vmp = addBox<QLineEdit>(g2, array, 3, "Vmp", "峰值电压(V)");
  parts->addWidget(array);
  auto* battery = new QGroupBox(QStringLiteral("蓄电池"), this);
  auto* g3 = new QGridLayout(battery);
  BatteryType = addList(g3, battery, 0, "BatteryType", "类型", {"User", "Flooded", "Sealed", "Gel", "LI"});
  Capacity = addBox<QLineEdit>(g3, battery, 1, "Capacity", "容量(Ah)");
  Voltage = addBox<QLineEdit>(g3, battery, 2, "Voltage", "电压(V)");
  g3->setRowStretch(3, 1);
  parts->addWidget(battery);
  auto* load = new QGroupBox(QStringLiteral("负载"), this);
  auto* g4 = new QGridLayout(load);
  LoadType = addList(g4, load, 0, "LoadType", "类型", {"AC", "DC", "AC+DC"});
  Power = addBox<QLineEdit>(g4, load, 1, "Power", "功率(W)");
  g4->setRowStretch(2, 1);
  parts->addWidget(load);
  top->addLayout(parts);

  auto* g5 = new QGridLayout;
  Remarks = addBox<QLineEdit>(g5, this, 0, "Remarks", "备注");
  top->addLayout(g5);

  auto* note = new QLabel(QStringLiteral("注意：带*号的选项是必填的，其它的可以选填。"), this);
  note->setObjectName("Label1");
  top->addWidget(note);

  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  Command1 = new QPushButton(QStringLiteral("添加"), this);
  Command1->setObjectName("Command1");
  Command3 = new QPushButton(QStringLiteral("更新"), this);
  Command3->setObjectName("Command3");
  Command4 = new QPushButton(QStringLiteral("删除"), this);
  Command4->setObjectName("Command4");
  Command2 = new QPushButton(QStringLiteral("取消"), this);
  Command2->setObjectName("Command2");
  for (QPushButton* b : {Command1, Command3, Command4, Command2}) {
    b->setAutoDefault(false);
    buttons->addWidget(b);
  }
  top->addLayout(buttons);
  connect(Command1, &QPushButton::clicked, this, [this] { Command1_Click(); });
  connect(Command2, &QPushButton::clicked, this, [this] { Command2_Click(); });
  connect(Command3, &QPushButton::clicked, this, [this] { Command3_Click(); });
  connect(Command4, &QPushButton::clicked, this, [this] { Command4_Click(); });

  // The load only reads the settings file: it runs as the form is made, as at its first touch.
  ensureLoaded();
}

void FrmAddStation::Form_Load() {
  Port->addItems(core::readPortList());
  Port->setCurrentIndex(-1);
}

void FrmAddStation::setEnabled(bool flag) {
  for (QWidget* w : std::initializer_list<QWidget*>{StationNameSS, DeviceID, Port, ArraysType, PeakPower, Voc, Vmp,
                                                    BatteryType, Capacity, Voltage, LoadType, Power, Remarks})
    w->setEnabled(flag);
}

void FrmAddStation::setModeButtons(bool add, bool update, bool remove) {
  Command1->setEnabled(add);
  Command3->setEnabled(update);
  Command4->setEnabled(remove);
}

core::Station FrmAddStation::fields() const {
  core::Station s;
  s.StationName = StationNameSS->text();
  s.Port = Port->currentText();
  s.DeviceID = DeviceID->text();
  s.ArraysType = ArraysType->currentText();
  s.PeakPower = PeakPower->text();
  s.Voc = Voc->text();
  s.Vmp = Vmp->text();
  s.BatteryType = BatteryType->currentText();
  s.Capacity = Capacity->text();
  s.Voltage = Voltage->text();
  s.LoadType = LoadType->currentText();
  s.Power = Power->text();
  s.Remarks = Remarks->text();
  return s;
}

void FrmAddStation::showStation(const core::Station& s) {
  setListText(ArraysType, s.ArraysType);
  setListText(BatteryType, s.BatteryType);
  Capacity->setText(s.Capacity);
  DeviceID->setText(s.DeviceID);
  setListText(LoadType, s.LoadType);
  PeakPower->setText(s.PeakPower);
  setListText(Port, s.Port);
  Power->setText(s.Power);
  Remarks->setText(s.Remarks);
  StationNameSS->setText(s.StationName);
  Vmp->setText(s.Vmp);
  Voc->setText(s.Voc);
  Voltage->setText(s.Voltage);
}

void FrmAddStation::openStation(const QString& name) {
  openedName_ = name;
  if (const auto station = core::findStation(name)) showStation(*station);
  ui::showModal(*this);
}

QString FrmAddStation::refusal(StationAction action, const core::Station& s) const {
  if (QString missing = missingStationField(action, s); !missing.isEmpty()) return missing;
  if (QString reserved = recorderKeyRefusal(s.StationName); !reserved.isEmpty()) return reserved;
  // In an update the station itself is no other: it may keep its name (in another case too),
  // its port and its ID.
  const auto isOther = [&](const core::Station& o) {
    return action == StationAction::Add || !core::sameStationName(o.StationName, openedName_);
  };
  if (const auto named = core::findStation(s.StationName); named && isOther(*named)) return QStringLiteral("站点名称重复");
  // Two IDs that are one bus address ("1" and "01") are one station on the line.
  const auto address = core::busAddress(s.DeviceID);
  for (const core::Station& o : core::getStations(s.Port)) {
    const bool sameAddress = address ? core::busAddress(o.DeviceID) == address : o.DeviceID == s.DeviceID;
    if (sameAddress && isOther(o)) return sameDeviceRefusal(o);
  }
  return {};
}

bool FrmAddStation::changeTogether(const QString& failure, const std::function<bool(core::IniDocument&)>& mark,
                                   const std::function<bool()>& store) {
  // The settings first, since their old bytes can be put back exactly; then the store.
  const auto before = core::readIniDocument(core::configPath);
  if (!before) {
    core::appendLog(failure.arg(QStringLiteral("设置文件无法读取")));
    return false;
  }
  core::IniDocument after = *before;
  const bool marks = mark(after);
  if (marks && !core::writeIniDocument(after, core::configPath)) {
    core::appendLog(failure.arg(QStringLiteral("设置文件无法写入")));
    return false;
  }
  if (!store()) {
    if (marks) core::writeIniDocument(*before, core::configPath);
    core::appendLog(failure.arg(QStringLiteral("站点库无法写入")));
    return false;
  }
  return true;
}

void FrmAddStation::Command1_Click() {
  const core::Station s = fields();
  if (const QString refused = refusal(StationAction::Add, s); !refused.isEmpty()) {
    platform::dialogs().msgBox(refused);
    return;
  }
  if (!core::insertStation(s)) {
    core::appendLog(QStringLiteral("添加站点失败：站点库无法写入"));
    return;
  }
  if (auto* publisher = publish::Publisher::current()) publisher->knowStation(s.StationName);
  platform::dialogs().msgBox(QStringLiteral("添加站点成功"));
  core::appendLog(stationAddedLine(s.StationName));
}

void FrmAddStation::Command3_Click() {
  const core::Station s = fields();
  if (const QString refused = refusal(StationAction::Update, s); !refused.isEmpty()) {
    platform::dialogs().msgBox(refused);
    return;
  }
  const QString oldName = openedName_;
  bool markLost = false;
  const auto moveMark = [&](core::IniDocument& settings) {
    markLost = monitoring::isMarkedCell(core::readIniValue(settings, monitoring::kRecorderSection, oldName)) &&
               monitoring::stationKeyProblem(s.StationName) != monitoring::KeyProblem::None;
    return monitoring::FrmMaintenanceRecord::moveStationMark(settings, oldName, s.StationName);
  };
  if (!changeTogether(QStringLiteral("更新站点失败：%1，站点保持原样"), moveMark,
                      [&] { return core::updateStation(oldName, s); }))
    return;
  // From now on the dialog edits the station under its new name.
  openedName_ = s.StationName;
  if (oldName != s.StationName) {
    if (auto* publisher = publish::Publisher::current()) {
      publisher->forgetStation(oldName);
      publisher->knowStation(s.StationName);
    }
    if (auto* alarms = engine::alarms::AlarmEngine::current()) alarms->forgetStation(oldName);
  }
  if (markLost) {
    if (const auto line = monitoring::stationKeyLogLine(s.StationName)) core::appendLog(*line);
  }
  platform::dialogs().msgBox(QStringLiteral("更新站点成功"));
  core::appendLog(stationUpdatedLine(s.StationName));
}

void FrmAddStation::Command4_Click() {
  if (platform::dialogs().msgBox(QStringLiteral("确定要删除站点?"), platform::kYesNo) != platform::kYes) return;
  const auto removeMark = [&](core::IniDocument& settings) {
    return monitoring::FrmMaintenanceRecord::removeStationMark(settings, openedName_);
  };
  if (!changeTogether(QStringLiteral("删除站点失败：%1"), removeMark, [&] { return core::deleteStation(openedName_); }))
    return;
  if (auto* publisher = publish::Publisher::current()) publisher->forgetStation(openedName_);
  if (auto* alarms = engine::alarms::AlarmEngine::current()) alarms->forgetStation(openedName_);
  platform::dialogs().msgBox(QStringLiteral("删除站点成功"));
  core::appendLog(stationDeletedLine(openedName_));
  unload();
}

void FrmAddStation::Command2_Click() { unload(); }

}  // namespace xl::shell
