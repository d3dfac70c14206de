#include "shell/frm_mdi.h"

#include <QCloseEvent>
#include <QHelpEvent>
#include <QDockWidget>
#include <QGuiApplication>
#include <QScreen>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QLabel>
#include <QStatusBar>
#include <QToolBar>
#include <QTreeWidget>

#include "configuration/frm_device_id_setting.h"
#include "configuration/frm_factory_operation.h"
#include "configuration/frm_general_g_load_configuration.h"
#include "core/app_state.h"
#include "core/message_log.h"
#include "core/startup.h"
#include "configuration/frm_control_parameter.h"
#include "monitoring/frm_hlstory_monitoring.h"
#include "monitoring/frm_maintenance_record.h"
#include "publish/frm_mqtt_settings.h"
#include "monitoring/frm_exchange_log.h"
#include "monitoring/frm_alarm_log.h"
#include "engine/alarms/alarm_engine.h"
#include "monitoring/frm_global_monitoring.h"
#include "monitoring/frm_monitoring1.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "platform/dialogs.h"
#include "shell/icons.h"
#include "shell/login.h"
#include "ui/input.h"
#include "ui/screen.h"

namespace xl::shell {

namespace {

// Twips of the classic layout, at 15 twips a pixel.
constexpr int kStationPaneWidth = 3450 / 15;

}  // namespace

FrmMDI::FrmMDI() {
  setObjectName("FrmMDI");
  setWindowTitle(QStringLiteral("星澜站点监控软件"));
  setWindowIcon(appIcon());
  ui::setMainIcon(appIcon());
  // The classic size, within the screen (a 1024 x 768 screen shows the whole window).
  QSize size(1180, 760);
  if (const QScreen* screen = QGuiApplication::primaryScreen()) size = size.boundedTo(screen->availableSize());
  resize(size);

  mdiArea_ = new QMdiArea(this);
  mdiArea_->setObjectName("MDIClient");
  ui::onEvent(mdiArea_->viewport(), QEvent::Resize, [this](QEvent*) {
    for (QMdiSubWindow* sub : mdiArea_->subWindowList())
      if (sub->property("xlPlaceLater").toBool() && mdiArea_->isVisible()) {
        sub->setProperty("xlPlaceLater", QVariant());
        if (!sub->isMaximized()) placeChild(sub);
      }
  });
  setCentralWidget(mdiArea_);
  VsFList1 = new platform::FlexGrid(this);
  VsFList1->setObjectName("VsFList1");
  VsFList1->setCols(2);
  VsFList1->setVisible(false);

  buildPanes();
  buildMenus();
  buildToolbar();

  Timer2.setInterval(300);
  Timer2.setOnTick([this] { Timer2_Timer(); });

  // The link health of the scan: stations online of all and the oldest reading in the status
  // bar (set when its text changes), each station's line as the tooltip of its node, made when
  // the tooltip is about to show.
  healthStatus_ = new QLabel(this);
  healthStatus_->setObjectName("HealthStatus");
  statusBar()->addWidget(healthStatus_);
  monitoring::FrmGlobalMonitoring::setHealthListener([this](const QString& status) {
    if (healthStatus_->text() != status) healthStatus_->setText(status);
  });
  ui::onEvent(treeView1_->viewport(), QEvent::ToolTip, [this](QEvent* e) {
    QTreeWidgetItem* item = treeView1_->itemAt(static_cast<QHelpEvent*>(e)->pos());
    if (!item || !item->parent() || !monitoring::FrmGlobalMonitoring::exists()) return;
    QString tip = monitoring::FrmGlobalMonitoring::instance().healthTooltip(nodes_.key(item));
    if (const auto* engine = engine::alarms::AlarmEngine::current(); engine && item->parent()->parent()) {
      QStringList texts;
      for (const auto& a : engine->activeOf(item->text(0))) texts << a.text;
      if (!texts.isEmpty()) tip += (tip.isEmpty() ? "" : "\n") + QStringLiteral("告警：") + texts.join(QStringLiteral("、"));
    }
    if (item->toolTip(0) != tip) item->setToolTip(0, tip);
  });

  // Unacknowledged open alarms, in red, at the right of the status bar.
  alarmStatus_ = new QLabel(this);
  alarmStatus_->setObjectName("AlarmStatus");
  alarmStatus_->setStyleSheet(QStringLiteral("color: #c00000; font-weight: bold;"));
  statusBar()->addPermanentWidget(alarmStatus_);
  if (auto* engine = engine::alarms::AlarmEngine::current()) alarmListener_ = engine->addChangeListener([this] { refreshAlarms(); });
  refreshAlarms();
}

void FrmMDI::refreshAlarms() {
  const auto* engine = engine::alarms::AlarmEngine::current();
  const int n = engine ? engine->log().unacknowledged() : 0;
  const QString text = n > 0 ? QStringLiteral("未确认告警 %1").arg(n) : QString();
  if (alarmStatus_->text() != text) alarmStatus_->setText(text);
  for (QTreeWidgetItem* node : nodes_) markAlarms(node);
}

void FrmMDI::markAlarms(QTreeWidgetItem* node) {
  if (!node->parent() || !node->parent()->parent()) return;  // the root and the ports
  const auto* engine = engine::alarms::AlarmEngine::current();
  const bool alarmed = engine && !engine->activeOf(node->text(0)).empty();
  if (node->data(0, Qt::UserRole + 10).toBool() == alarmed) return;
  node->setData(0, Qt::UserRole + 10, alarmed);
  node->setForeground(0, alarmed ? QBrush(QColor(0xc0, 0, 0)) : QBrush());
}

FrmMDI::~FrmMDI() {
  if (auto* engine = engine::alarms::AlarmEngine::current()) engine->removeListener(alarmListener_);
  monitoring::FrmGlobalMonitoring::setHealthListener({});
  core::setLogBox({});
}

QAction* FrmMDI::action(const QString& name) const { return actions_.value(name); }

void FrmMDI::buildPanes() {
  treeView1_ = new QTreeWidget();
  treeView1_->setObjectName("TreeView1");
  treeView1_->setHeaderHidden(true);
  treeView1_->setToolTip(QStringLiteral("鼠标放在对应的站点上-->点击鼠标右键,可以预览、添加、编辑、删除站点"));
  treeView1_->setIconSize(QSize(20, 20));
  ui::onEvent(treeView1_->viewport(), QEvent::MouseButtonRelease,
              [this](QEvent* e) { treeMouseUp(static_cast<QMouseEvent*>(e)->button()); });
  connect(treeView1_, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item) {
    selected_.set = true;
    selected_.text = item->text(0);
    selected_.hasParent = item->parent() != nullptr;
    selected_.parentText = item->parent() ? item->parent()->text(0) : QString();
  });
  connect(treeView1_, &QTreeWidget::itemDoubleClicked, this, [this] { ViewStation_Click(); });
  picture1_ = new QDockWidget(QStringLiteral("站点资源管理器"), this);
  picture1_->setObjectName("Picture1");
  picture1_->setWidget(treeView1_);
  picture1_->setFeatures(QDockWidget::NoDockWidgetFeatures);
  addDockWidget(Qt::LeftDockWidgetArea, picture1_);

  text1_ = new QPlainTextEdit();
  text1_->setObjectName("Text1");
  text1_->setReadOnly(true);
  picture14_ = new QDockWidget(QStringLiteral("信息窗口"), this);
  picture14_->setObjectName("Picture14");
  picture14_->setWidget(text1_);
  picture14_->setFeatures(QDockWidget::NoDockWidgetFeatures);
  addDockWidget(Qt::BottomDockWidgetArea, picture14_);

  core::setLogBox(core::LogBox{
      [this] { return text1_->toPlainText().replace('\n', "\r\n"); },
      [this](const QString& text) {
        text1_->setPlainText(QString(text).replace("\r\n", "\n"));
        text1_->moveCursor(QTextCursor::End);
        text1_->verticalScrollBar()->setValue(text1_->verticalScrollBar()->maximum());
      }});
}

QAction* FrmMDI::addItem(QMenu* menu, const char* name, const QString& caption, void (FrmMDI::*handler)()) {
  QAction* a = menu->addAction(caption);
  a->setObjectName(name);
  actions_.insert(name, a);
  if (handler) connect(a, &QAction::triggered, this, [this, handler] { (this->*handler)(); });
  a->setProperty("command", handler != nullptr);  // an item with no command is dead
  return a;
}

void FrmMDI::buildMenus() {
  QMenuBar* bar = menuBar();

  QMenu* system = bar->addMenu(QStringLiteral("系统(&S)"));
  system->setObjectName("System");
  addItem(system, "LogOff", QStringLiteral("注销"), &FrmMDI::LogOff_Click);
  addItem(system, "UserSwitch", QStringLiteral("切换用户"), &FrmMDI::UserSwitch_Click);
  addItem(system, "ChangePassword", QStringLiteral("修改密码"), &FrmMDI::ChangePassword_Click);
  addItem(system, "PrintSetup", QStringLiteral("打印设置"), &FrmMDI::PrintSetup_Click)->setVisible(false);
  addItem(system, "PrintPreview", QStringLiteral("打印预览"), &FrmMDI::PrintPreview_Click)->setVisible(false);
  addItem(system, "Exit", QStringLiteral("退出"), &FrmMDI::Exit_Click);

  QMenu* view = bar->addMenu(QStringLiteral("视图(&V)"));
  view->setObjectName("View");
  const auto paneCheck = [this, view](const char* name, const QString& caption, const std::function<void(bool)>& show) {
    QAction* a = addItem(view, name, caption);
    a->setCheckable(true);
    a->setChecked(true);
    connect(a, &QAction::toggled, this, show);
  };
  paneCheck("ToolBar", QStringLiteral("工具栏"), [this](bool on) { toolbar1_->setVisible(on); });
  paneCheck("StationExplorer", QStringLiteral("站点查看"), [this](bool on) { picture1_->setVisible(on); });
  paneCheck("MessageWindow", QStringLiteral("信息窗口"), [this](bool on) { picture14_->setVisible(on); });
  addItem(view, "ExchangeLog", QStringLiteral("通讯记录"), &FrmMDI::ExchangeLog_Click);

  QMenu* comm = bar->addMenu(QStringLiteral("通讯设置(&C)"));
  comm->setObjectName("Communication");
  addItem(comm, "PortConfiguration", QStringLiteral("端口配置"), &FrmMDI::PortConfiguration_Click);
  addItem(comm, "AddStation", QStringLiteral("添加站点"), &FrmMDI::AddStation_Click);
  addItem(comm, "RefreshAllStations", QStringLiteral("刷新所有站点"), &FrmMDI::RefreshAllStations_Click);

  QMenu* parameter = bar->addMenu(QStringLiteral("参数(&P)"));
  parameter->setObjectName("Parameter");
  QMenu* device = parameter->addMenu(QStringLiteral("设备参数"));
  device->setObjectName("DrviceParameter");
  addItem(device, "RealTimeClock", QStringLiteral("实时时钟"), &FrmMDI::RealTimeClock_Click)->setEnabled(false);
  addItem(device, "DeviceParameter", QStringLiteral("设备参数"), &FrmMDI::DeviceParameter_Click)->setVisible(false);
  addItem(device, "DeviceIDSetting", QStringLiteral("设备ID设置"), &FrmMDI::DeviceIDSetting_Click);
  addItem(parameter, "ControlParameter", QStringLiteral("控制参数"), &FrmMDI::ControlParameter_Click);
  QMenu* load = parameter->addMenu(QStringLiteral("负载配置"));
  load->setObjectName("LoadConfiguration");
  addItem(load, "GeneralGLoadConfiguration", QStringLiteral("负载输出模式"), &FrmMDI::GeneralGLoadConfiguration_Click);
  addItem(parameter, "SystemConfiguration", QStringLiteral("系统配置"), &FrmMDI::SystemConfiguration_Click)->setVisible(false);
  addItem(parameter, "FactoryOperation", QStringLiteral("系统设置"), &FrmMDI::FactoryOperation_Click);
  addItem(parameter, "DeviceInformation", QStringLiteral("设备信息"), &FrmMDI::DeviceInformation_Click)->setVisible(false);

  QMenu* monitoring = bar->addMenu(QStringLiteral("监控(&M)"));
  monitoring->setObjectName("Monitoring");
  addItem(monitoring, "RealTimeMonitoring", QStringLiteral("实时监控"), &FrmMDI::RealTimeMonitoring_Click);
  addItem(monitoring, "Monitoring1", QStringLiteral("日常监控"), &FrmMDI::Monitoring1_Click);
  addItem(monitoring, "GlobalMonitoring", QStringLiteral("全局监控"), &FrmMDI::GlobalMonitoring_Click);
  addItem(monitoring, "HlstoryMonitoring", QStringLiteral("历史监控"), &FrmMDI::HlstoryMonitoring_Click);
  addItem(monitoring, "AlarmLog", QStringLiteral("告警记录"), &FrmMDI::AlarmLog_Click);

  QMenu* maintenance = bar->addMenu(QStringLiteral("数据保存"));
  maintenance->setObjectName("Maintenance");
  addItem(maintenance, "ExportData", QStringLiteral("导出数据"), &FrmMDI::ExportData_Click)->setVisible(false);
  addItem(maintenance, "ImportData", QStringLiteral("导入数据"), &FrmMDI::ImportData_Click)->setVisible(false);
  addItem(maintenance, "MaintenanceRecord", QStringLiteral("数据保存设置"), &FrmMDI::MaintenanceRecord_Click);
  addItem(maintenance, "MqttSettings", QStringLiteral("MQTT发布设置"), &FrmMDI::MqttSettings_Click);
  addItem(maintenance, "AlarmSettings", QStringLiteral("告警设置"), &FrmMDI::AlarmSettings_Click);

  QMenu* help = bar->addMenu(QStringLiteral("帮助(&H)"));
  help->setObjectName("Help");
  QAction* manual = addItem(help, "sysc", QStringLiteral("使用手册"));
  manual->setVisible(false);
  manual->setEnabled(false);
  addItem(help, "About", QStringLiteral("关于"), &FrmMDI::About_Click);

  // The pop-up of a station node; never part of the menu bar.
  editStation_ = new QMenu(QStringLiteral("编辑站点"), this);
  editStation_->setObjectName("EditStation");
  addItem(editStation_, "ViewStation", QStringLiteral("预览站点"), &FrmMDI::ViewStation_Click);
  addItem(editStation_, "AddStation1", QStringLiteral("添加站点"), &FrmMDI::AddStation_Click);
  addItem(editStation_, "EditStation1", QStringLiteral("编辑站点"), &FrmMDI::EditStation1_Click);
  addItem(editStation_, "DeleteStation", QStringLiteral("删除站点"), &FrmMDI::DeleteStation_Click);
}

void FrmMDI::buildToolbar() {
  toolbar1_ = addToolBar(QStringLiteral("工具栏"));
  toolbar1_->setObjectName("Toolbar1");
  toolbar1_->setMovable(false);
  toolbar1_->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
  toolbar1_->setIconSize(QSize(28, 28));
  // Each button runs the command of its menu item; the key names the button.
  const struct {
    const char* key;
    const char* caption;
    const char* item;
  } buttons[] = {
      {"User Switch", "用户切换", "UserSwitch"},
      {"Port Configuration", "端口配置", "PortConfiguration"},
      {"Real Time Monitoring", "实时监测", "RealTimeMonitoring"},
      {"Daily Monitoring", "日常监控", "Monitoring1"},
      {"Global Monitoring", "全局监控", "GlobalMonitoring"},
      {"History Monitoring", "历史监控", "HlstoryMonitoring"},
      {"Data Save Seting", "数据保存设置", "MaintenanceRecord"},
  };
  int image = 1;
  for (const auto& b : buttons) {
    QAction* button = toolbar1_->addAction(toolbarIcon(image++), QString::fromUtf8(b.caption));
    button->setObjectName(b.key);
    actions_.insert(b.key, button);
    QAction* item = actions_.value(b.item);
    connect(button, &QAction::triggered, item, &QAction::trigger);
  }
}

void FrmMDI::showChild(QWidget* screen) {
  QMdiSubWindow* sub = nullptr;
  for (QMdiSubWindow* w : mdiArea_->subWindowList())
    if (w->widget() == screen) sub = w;
  if (!sub) {
    sub = mdiArea_->addSubWindow(screen);
    sub->setWindowIcon(screen->windowIcon().isNull() ? appIcon() : screen->windowIcon());
    // A new child takes most of the middle area, so a table shows most of its columns; every
    // child gets the same size, so none shows its border beside another. Before the main
    // window is laid out the area has no size yet: the child is sized at the area's first
    // real size.
    if (mdiArea_->isVisible())
      placeChild(sub);
    else
      sub->setProperty("xlPlaceLater", true);
  }
  screen->show();
  sub->show();
  mdiArea_->setActiveSubWindow(sub);
  sub->raise();
}

void FrmMDI::placeChild(QMdiSubWindow* sub) {
  const QSize area = mdiArea_->viewport()->size();
  sub->resize(std::max(600, area.width() - 20), std::max(300, area.height() - 20));
  sub->move(0, 0);
}

void FrmMDI::MDIForm_Load() {
  core::appStarted = QStringLiteral("1");
  editStation_->menuAction()->setVisible(false);
  resizeDocks({picture1_}, {kStationPaneWidth}, Qt::Horizontal);
  refreshStations();
  Timer2.setEnabled(true);
  RealTimeMonitoring_Click();  // the real-time monitor is always open after start
  upUsers(core::currentUser);
  core::appendLog(QStringLiteral("星澜站点监控启动"));
  logEmptySiteHint();
}

void FrmMDI::RealTimeMonitoring_Click() { showChild(&monitoring::FrmRealTimeMonitoring::instance()); }

void FrmMDI::Monitoring1_Click() { showChild(&monitoring::FrmMonitoring1::instance()); }

void FrmMDI::GeneralGLoadConfiguration_Click() {
  auto& screen = configuration::FrmGeneralGLoadConfiguration::instance();
  screen.ClearAll();
  ui::showModal(&screen, this);
}

void FrmMDI::DeviceIDSetting_Click() { ui::showModal(&configuration::FrmDeviceIDSetting::instance(), this); }

void FrmMDI::FactoryOperation_Click() { ui::showModal(&configuration::FrmFactoryOperation::instance(), this); }

void FrmMDI::ControlParameter_Click() {
  auto& screen = configuration::FrmControlParameter::instance();
  screen.ClearAll();
  ui::showModal(&screen, this);
}

void FrmMDI::HlstoryMonitoring_Click() { showChild(&monitoring::FrmHlstoryMonitoring::instance()); }

// The recorder's settings are a modal window of their own; closing it only hides it.
void FrmMDI::MaintenanceRecord_Click() { ui::showModal(&monitoring::FrmMaintenanceRecord::instance(), this); }

void FrmMDI::MqttSettings_Click() { ui::showModal(&publish::FrmMqttSettings::instance(), this); }

void FrmMDI::AlarmLog_Click() { showChild(&monitoring::FrmAlarmLog::instance()); }
void FrmMDI::AlarmSettings_Click() { ui::showModal(&monitoring::FrmAlarmSettings::instance(), this); }
void FrmMDI::ExchangeLog_Click() { showChild(&monitoring::FrmExchangeLog::instance()); }

void FrmMDI::closeEvent(QCloseEvent* event) {
  if (platform::dialogs().msgBox(QStringLiteral("确定要退出?"), platform::kYesNo | platform::kInformation) ==
      platform::kYes) {
    core::endProcess();
    return;
  }
  event->ignore();
}

void FrmMDI::Exit_Click() {
  if (platform::dialogs().msgBox(QStringLiteral("确定退出?"), platform::kYesNo | platform::kInformation) ==
      platform::kYes)
    core::endProcess();
}

}  // namespace xl::shell
