// The station explorer of the main window: the tree of ports and stations, the loading of the
// stations port by port into the tables of the scan and the recorder, and the marking of the
// stations that answered the bus scan.

#include <QMdiArea>
#include <QMenu>
#include <QTreeWidget>

#include "configuration/frm_control_parameter.h"
#include "configuration/frm_factory_operation.h"
#include "configuration/frm_general_g_load_configuration.h"
#include "core/message_log.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/station_store.h"
#include "monitoring/frm_global_monitoring.h"
#include "monitoring/frm_hlstory_monitoring.h"
#include "monitoring/frm_maintenance_record.h"
#include "monitoring/frm_monitoring1.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "platform/failure.h"
#include "shell/frm_add_station.h"
#include "shell/frm_mdi.h"
#include "shell/icons.h"
#include "ui/modal.h"
#include "shell/station_form.h"
#include "ui/station_box.h"

namespace xl::shell {

namespace {

constexpr int kKeyRole = Qt::UserRole + 1;
constexpr int kImageRole = Qt::UserRole + 2;
const QString kRootKey = QStringLiteral("n1");

}  // namespace

QTreeWidgetItem* FrmMDI::addNode(QTreeWidgetItem* parent, const QString& key, const QString& text, int image) {
  if (nodes_.contains(key)) fail(Failure::InvalidValue, "the key of a tree node is not unique");
  auto* item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(treeView1_);
  item->setText(0, text);
  item->setData(0, kKeyRole, key);
  setNodeImage(item, image);
  nodes_.insert(key, item);
  item->setExpanded(true);
  markAlarms(item);
  return item;
}

void FrmMDI::setNodeImage(QTreeWidgetItem* node, int image) {
  node->setIcon(0, treeIcon(image));
  node->setData(0, kImageRole, image);
}

int FrmMDI::nodeImage(const QString& key) const {
  QTreeWidgetItem* n = nodes_.value(key);
  return n ? n->data(0, kImageRole).toInt() : 0;
}

void FrmMDI::refreshStations() {
  treeView1_->clear();
  nodes_.clear();
  // The working screens are created here; their lists and the two monitors are emptied.
  auto& live = monitoring::FrmRealTimeMonitoring::instance();
  auto& daily = monitoring::FrmMonitoring1::instance();
  auto& history = monitoring::FrmHlstoryMonitoring::instance();
  auto& scan = monitoring::FrmGlobalMonitoring::instance();
  auto& recorder = monitoring::FrmMaintenanceRecord::instance();
  configuration::FrmGeneralGLoadConfiguration::instance();
  configuration::FrmFactoryOperation::instance();
  configuration::FrmControlParameter::instance();
  ui::clearStationLists();
  live.ClearAll();
  daily.ClearAll();
  history.ClearAll();
  recorder.clearStations();
  scan.clearStations();
  VsFList1->setRows(1);

  const int count = core::readIniInt(core::keys::kPorts, core::keys::kPortCount);
  QTreeWidgetItem* root = addNode(nullptr, kRootKey, QStringLiteral("站点资源管理器"), 1);
  for (int i = 1; i <= count; ++i) {
    const QString port = core::readIni(core::keys::kPorts, QString::number(i));
    // A port listed twice gets one node; its stations are listed once.
    if (nodes_.contains(port)) continue;
    addNode(root, port, port, 1);
  }
  core::appendLog(QStringLiteral("刷新所有站点，请稍等..."), true);
}

void FrmMDI::fullRefresh() {
  refreshStations();
  restOfRefresh();
}

void FrmMDI::restOfRefresh() {
  portCursor = 0;
  Timer2.setEnabled(true);
  monitoring::FrmRealTimeMonitoring::instance().Command9Click();
  monitoring::FrmMonitoring1::instance().Command9Click();
}

void FrmMDI::RefreshAllStations_Click() { fullRefresh(); }

void FrmMDI::logEmptySiteHint() {
  const QStringList ports = core::readPortList();
  int stations = 0;
  for (const QString& port : ports) stations += static_cast<int>(core::getStations(port).size());
  if (const QString hint = emptySiteHint(static_cast<int>(ports.size()), stations); !hint.isEmpty()) core::appendLog(hint);
}

void FrmMDI::Timer2_Timer() {
  const int count = core::readIniInt(core::keys::kPorts, core::keys::kPortCount);
  ++portCursor;
  if (portCursor <= count) {
    loadStationsOfPort(core::readIni(core::keys::kPorts, QString::number(portCursor)));
    return;
  }
  Timer2.setEnabled(false);
  auto& scan = monitoring::FrmGlobalMonitoring::instance();
  scan.startDiscovery([this] { setStationEnabled(); });
  showChild(&scan);
}

void FrmMDI::loadStationsOfPort(const QString& port) { getStations(port); }

void FrmMDI::getStations(const QString& port) {
  auto appendRow = [](platform::FlexGrid& grid) {
    grid.setRows(grid.rows() + 1);
    return grid.rows() - 1;
  };
  try {
    auto& scan = monitoring::FrmGlobalMonitoring::instance();
    auto& recorder = monitoring::FrmMaintenanceRecord::instance();
    for (const core::Station& s : core::getStations(port)) {
      // A port that is no node, or a key that is taken, ends the listing of this port.
      QTreeWidgetItem* portNode = nodes_.value(port);
      if (!portNode) fail(Failure::InvalidValue, "the port is not in the tree");
      addNode(portNode, port + "," + s.DeviceID, s.StationName, 2);
      int r = appendRow(*VsFList1);
      VsFList1->setTextMatrix(r, 0, s.StationName);
      VsFList1->setTextMatrix(r, 1, s.DeviceID);
      scan.appendStation(s.StationName, s.DeviceID);
      recorder.appendStation(s.StationName, s.DeviceID);
    }
  } catch (const std::exception&) {
  }
}

void FrmMDI::setStationEnabled() {
  // Runs without a handler of its own: a station whose node is missing ends the scan's tick.
  for (const auto& station : monitoring::FrmGlobalMonitoring::instance().stations()) {
    const QString key = core::getStationPort(station.name) + "," + station.deviceId;
    QTreeWidgetItem* n = nodes_.value(key);
    if (!n) fail(Failure::InvalidValue, "no tree node for station " + station.name.toStdString());
    if (!station.answered) {
      setNodeImage(n, 3);
      continue;
    }
    setNodeImage(n, 2);
    ui::addToStationLists(station.name);
  }
  core::appendLog(QStringLiteral("刷新所有站点成功"));
}

// --- the tree's events and the pop-up ------------------------------------------------------

void FrmMDI::treeMouseUp(Qt::MouseButton button) {
  // Acts on the node of the last left click, wherever the right button was released.
  if (button != Qt::RightButton) return;
  if (selected_.set && selected_.hasParent && selected_.parentText.startsWith(QStringLiteral("COM")))
    editStation_->popup(QCursor::pos());
}

void FrmMDI::ViewStation_Click() { stationDialog(StationMode::View); }
void FrmMDI::EditStation1_Click() { stationDialog(StationMode::Update); }
void FrmMDI::DeleteStation_Click() { stationDialog(StationMode::Delete); }

void FrmMDI::stationDialog(StationMode mode) {
  if (!selected_.set || !selected_.hasParent || !selected_.parentText.startsWith(QStringLiteral("COM"))) return;
  auto& editor = FrmAddStation::instance();
  editor.setModeButtons(false, mode == StationMode::Update, mode == StationMode::Delete);
  editor.setEnabled(mode != StationMode::View);
  editor.openStation(selected_.text);
  // Looking at a station rescans the bus too.
  fullRefresh();
}

void FrmMDI::AddStation_Click() {
  auto& editor = FrmAddStation::instance();
  editor.setModeButtons(true, false, false);
  editor.setEnabled(true);
  ui::showModal(editor);
  fullRefresh();
}

void FrmMDI::GlobalMonitoring_Click() { showChild(&monitoring::FrmGlobalMonitoring::instance()); }

}  // namespace xl::shell
