#include "monitoring/frm_real_time_monitoring.h"

#include <QAbstractItemModel>
#include <QCloseEvent>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMdiSubWindow>
#include <QPainter>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "core/message_log.h"
#include "core/station_request.h"
#include "core/station_store.h"
#include "link/device_data_map.h"
#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "monitoring/day_charts.h"
#include "monitoring/station_controls.h"
#include "monitoring/frm_monitoring1.h"
#include "platform/dialogs.h"
#include "shell/frm_mdi.h"

namespace xl::monitoring {

namespace {

QString q(const std::string& s) { return QString::fromStdString(s); }
double number(const QLineEdit* box) { return val(box->text().toStdString()); }

// The fixed picture of a panel, drawn once: the solar array, the battery, the load (a lamp)
// or the controller.
class PanelPicture : public QWidget {
 public:
  enum Kind { Array, Battery, Load, Device };
  PanelPicture(Kind kind, QWidget* parent) : QWidget(parent), kind_(kind) { setFixedSize(56, 56); }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(40, 40, 40), 1.5));
    switch (kind_) {
      case Array: {
        // A tilted panel of cells on a stand, with the sun above.
        p.setBrush(QColor(255, 200, 0));
        p.drawEllipse(QPointF(44, 10), 6, 6);
        p.setBrush(QColor(30, 80, 160));
        const QPolygonF panel({QPointF(6, 44), QPointF(16, 20), QPointF(44, 20), QPointF(50, 44)});
        p.drawPolygon(panel);
        p.setPen(QPen(QColor(200, 220, 255), 1));
        for (int i = 1; i < 3; ++i) p.drawLine(QPointF(6 + 10 * i / 3.0 * 1.0, 44 - 8 * i), QPointF(50 - 2 * i, 44 - 8 * i));
        for (int i = 1; i < 4; ++i) p.drawLine(QPointF(16 + 7 * i, 20), QPointF(6 + 11 * i, 44));
        p.setPen(QPen(QColor(40, 40, 40), 2));
        p.drawLine(QPointF(28, 44), QPointF(28, 53));
        break;
      }
      case Battery: {
        p.setBrush(QColor(230, 230, 230));
        p.drawRoundedRect(QRectF(8, 14, 40, 34), 3, 3);
        p.setBrush(QColor(60, 60, 60));
        p.drawRect(QRectF(14, 9, 7, 5));
        p.drawRect(QRectF(35, 9, 7, 5));
        p.setBrush(QColor(60, 170, 70));
        p.drawRect(QRectF(12, 30, 32, 14));
        p.setPen(QPen(QColor(40, 40, 40), 2));
        p.drawLine(QPointF(15, 22), QPointF(21, 22));
        p.drawLine(QPointF(18, 19), QPointF(18, 25));
        p.drawLine(QPointF(35, 22), QPointF(41, 22));
        break;
      }
      case Load: {
        p.setBrush(QColor(255, 235, 120));
        p.drawEllipse(QPointF(28, 22), 14, 14);
        p.setBrush(QColor(150, 150, 150));
        p.drawRect(QRectF(21, 36, 14, 10));
        p.drawLine(QPointF(21, 40), QPointF(35, 40));
        p.drawLine(QPointF(21, 43), QPointF(35, 43));
        p.setPen(QPen(QColor(120, 90, 0), 1));
        p.drawLine(QPointF(24, 30), QPointF(28, 16));
        p.drawLine(QPointF(28, 16), QPointF(32, 30));
        break;
      }
      case Device: {
        p.setBrush(QColor(90, 110, 130));
        p.drawRoundedRect(QRectF(8, 8, 40, 42), 4, 4);
        p.setBrush(QColor(170, 220, 170));
        p.drawRect(QRectF(14, 14, 28, 12));
        p.setBrush(QColor(240, 80, 60));
        p.drawEllipse(QPointF(18, 38), 3, 3);
        p.setBrush(QColor(80, 220, 90));
        p.drawEllipse(QPointF(28, 38), 3, 3);
        p.setBrush(QColor(250, 200, 50));
        p.drawEllipse(QPointF(38, 38), 3, 3);
        break;
      }
    }
  }

 private:
  Kind kind_;
};

QLineEdit* box(QWidget* parent, const char* name) { return displayBox(parent, name, 90); }

// A titled panel: its picture on the left, the labelled boxes on the right.
QGroupBox* panel(QWidget* parent, const char* name, const QString& title, PanelPicture::Kind kind,
                 std::initializer_list<std::pair<QString, QLineEdit**>> rows, const char* boxNames[],
                 int columns = 1) {
  auto* frame = new QGroupBox(title, parent);
  frame->setObjectName(QString::fromLatin1(name));
  auto* layout = new QHBoxLayout(frame);
  layout->addWidget(new PanelPicture(kind, frame), 0, Qt::AlignTop);
  auto* grid = new QGridLayout;
  int i = 0;
  for (const auto& [label, target] : rows) {
    *target = box(frame, boxNames[i]);
    grid->addWidget(new QLabel(label, frame), i / columns, (i % columns) * 2);
    grid->addWidget(*target, i / columns, (i % columns) * 2 + 1);
    ++i;
  }
  layout->addLayout(grid, 1);
  return frame;
}

}  // namespace

FrmRealTimeMonitoring::FrmRealTimeMonitoring()
    : MSComm1("FrmRealTimeMonitoring.MSComm1",
              [] {
                link::SessionOptions o;
                o.leaveOnEmptyPortText = true;
                return o;
              }(),
              [this](Bytes& reply, const std::string&) {
                switch (pendingRead) {
                  case 1: readDatasA1(reply); break;
                  case 2: readDatasA2(reply); break;
                  case 3: readDatasA3(reply); break;
                  default: break;  // 4: the echo of a load command is dropped
                }
              }) {
  setObjectName("FrmRealTimeMonitoring");
  setWindowTitle(QStringLiteral("实时监控"));

  // Identity row.
  auto* identity = new QGridLayout;
  Combo1 = stationBox(this);
  LTextBox2 = box(this, "LTextBox2");
  LTextBox3 = box(this, "LTextBox3");
  LTextBox4 = box(this, "LTextBox4");
  SoftSw = box(this, "SoftSw");
  SoftSw->setVisible(false);
  LTextBox5 = box(this, "LTextBox5");
  Label34 = new QLabel(QStringLiteral("设备版本"), this);
  Label34->setObjectName("Label34");
  Text1 = box(this, "Text1");
  Text1->setText(QStringLiteral("01 03 000A 0011"));
  Text1->setVisible(false);
  identity->addWidget(new QLabel(QStringLiteral("选择站点"), this), 0, 0);
  identity->addWidget(Combo1, 0, 1);
  identity->addWidget(new QLabel(QStringLiteral("设备ID"), this), 0, 2);
  identity->addWidget(LTextBox2, 0, 3);
  identity->addWidget(new QLabel(QStringLiteral("设备型号"), this), 0, 4);
  identity->addWidget(LTextBox3, 0, 5);
  identity->addWidget(Label34, 1, 0);
  identity->addWidget(LTextBox4, 1, 1);
  identity->addWidget(SoftSw, 1, 1);
  identity->addWidget(new QLabel(QStringLiteral("设备SN码"), this), 1, 2);
  identity->addWidget(LTextBox5, 1, 3);

  static const char* arrayNames[] = {"Text2", "Text3", "Text4", "Text6"};
  static const char* batteryNames[] = {"Text9", "Text13", "Text11", "Text7", "Text5", "Text10"};
  static const char* loadNames[] = {"Text16", "Text17", "Text15", "Text14"};
  static const char* deviceNames[] = {"Text18", "Text19"};
  QGroupBox* arrayPanel = panel(this, "Frame1", QStringLiteral("太阳能电池板信息"), PanelPicture::Array,
                                {{QStringLiteral("电流(A)"), &Text2},
                                 {QStringLiteral("电压(V)"), &Text3},
                                 {QStringLiteral("功率(W)"), &Text4},
                                 {QStringLiteral("工作状态"), &Text6}},
                                arrayNames);
  QGroupBox* batteryPanel = panel(this, "Frame2", QStringLiteral("蓄电池信息"), PanelPicture::Battery,
                                  {{QStringLiteral("电压(V)"), &Text9},
                                   {QStringLiteral("电流(A)"), &Text13},
                                   {QStringLiteral("电量(%)"), &Text11},
                                   {QStringLiteral("温度(℃)"), &Text7},
                                   {QStringLiteral("充电状态"), &Text5},
                                   {QStringLiteral("蓄电池状态"), &Text10}},
                                  batteryNames, 2);
  QGroupBox* loadPanel = panel(this, "Frame3", QStringLiteral("负载信息"), PanelPicture::Load,
                               {{QStringLiteral("电压(V)"), &Text16},
                                {QStringLiteral("电流(A)"), &Text17},
                                {QStringLiteral("功率(W)"), &Text15},
                                {QStringLiteral("负载状态"), &Text14}},
                               loadNames);
  QGroupBox* devicePanel = panel(this, "Frame4", QStringLiteral("设备信息"), PanelPicture::Device,
                                 {{QStringLiteral("设备温度(℃)"), &Text18}, {QStringLiteral("设备状态"), &Text19}},
                                 deviceNames);

  // The manual load switch lives in the load panel.
  Picture9 = new QGroupBox(QStringLiteral("手动模式下"), loadPanel);
  Picture9->setObjectName("Picture9");
  Picture9->setToolTip(QStringLiteral("负载模式设置为手动模式才能通过此按钮控制负载开/关"));
  Option1 = new QRadioButton(QStringLiteral("打开负载"), Picture9);
  Option1->setObjectName("Option1");
  Option2 = new QRadioButton(QStringLiteral("关闭负载"), Picture9);
  Option2->setObjectName("Option2");
  auto* switchLayout = new QHBoxLayout(Picture9);
  switchLayout->addWidget(Option1);
  switchLayout->addWidget(Option2);
  static_cast<QHBoxLayout*>(loadPanel->layout())->addWidget(Picture9, 0, Qt::AlignBottom);

  Command2 = new QPushButton(QStringLiteral("开始监控"), this);
  Command2->setObjectName("Command2");
  Command2->setToolTip(
      QStringLiteral("点击后，监控软件界面数据自动更新；数据更新周期设置见：数据保存--监控--读取间隔（秒)"));
  Command9 = new QPushButton(QStringLiteral("停止监控"), this);
  Command9->setObjectName("Command9");

  auto* panels = new QGridLayout;
  panels->addWidget(arrayPanel, 0, 0);
  panels->addWidget(batteryPanel, 0, 1);
  panels->addWidget(loadPanel, 1, 0);
  panels->addWidget(devicePanel, 1, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(Command2);
  buttons->addWidget(Command9);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(identity);
  layout->addLayout(panels, 1);
  layout->addLayout(buttons);

  // Events of the controls.
  connect(Combo1, qOverload<int>(&QComboBox::activated), this, [this](int) { Combo1_Click(); });
  connect(Combo1->lineEdit(), &QLineEdit::textEdited, this, [this](const QString&) { Combo1_Change(); });
  // Filling the list does not choose a station: an empty box stays empty.
  connect(Combo1->model(), &QAbstractItemModel::rowsAboutToBeInserted, this,
          [this] { keepEmptyAfterInsert_ = Combo1->currentText().isEmpty(); });
  connect(Combo1->model(), &QAbstractItemModel::rowsInserted, this, [this] {
    if (keepEmptyAfterInsert_) Combo1->setCurrentIndex(-1);
  });
  Combo1->installEventFilter(this);
  Combo1->lineEdit()->installEventFilter(this);
  Label34->installEventFilter(this);
  Option1->installEventFilter(this);
  Option2->installEventFilter(this);
  connect(Command2, &QPushButton::clicked, this, [this] { Command2_Click(); });
  connect(Command9, &QPushButton::clicked, this, [this] { Command9_Click(); });
  // The identity boxes carry their values over to the daily screen.
  connect(LTextBox3, &QLineEdit::textChanged, this,
          [](const QString& t) { FrmMonitoring1::instance().LTextBox3->setText(t); });
  connect(LTextBox4, &QLineEdit::textChanged, this,
          [](const QString& t) { FrmMonitoring1::instance().LTextBox4->setText(t); });
  connect(LTextBox5, &QLineEdit::textChanged, this,
          [](const QString& t) { FrmMonitoring1::instance().LTextBox5->setText(t); });

  Timer1.setInterval(300);
  Timer2.setInterval(1000);
  Timer3.setInterval(3000);
  Timer4.setInterval(100);
  Timer5.setInterval(500);
  Timer6.setInterval(5000);
  Timer1.setOnTick([this] { Timer1_Timer(); });
  Timer5.setOnTick([this] { Timer5_Timer(); });
  Timer6.setOnTick([this] { Timer6_Timer(); });
  Timer2.setEnabled(true);
  Timer3.setEnabled(true);
  Timer5.setEnabled(true);

  FrmGlobalMonitoring::instance().setWatchedStation(this);
  shell::registerStationList(shell::StationList::RealTime, Combo1);
  // The screen lives as long as the main window.
  if (shell::FrmMDI::exists())
    connect(&shell::FrmMDI::instance(), &QObject::destroyed, [] { FrmRealTimeMonitoring::discard(); });
  Form_Load();
}

FrmRealTimeMonitoring::~FrmRealTimeMonitoring() {
  if (FrmGlobalMonitoring::exists()) FrmGlobalMonitoring::instance().setWatchedStation(nullptr);
}

void FrmRealTimeMonitoring::Form_Load() {
  if (shell::FrmMDI::exists()) setWindowIcon(shell::FrmMDI::instance().windowIcon());
  initCharts();
}

void FrmRealTimeMonitoring::closeEvent(QCloseEvent* event) {
  // Hidden, not unloaded: an unseen screen goes on receiving data and feeding the curves. Its
  // frame in the middle area goes with it; showChild brings both back.
  event->ignore();
  hide();
  if (auto* frame = qobject_cast<QMdiSubWindow*>(parentWidget())) frame->hide();
}

bool FrmRealTimeMonitoring::eventFilter(QObject* watched, QEvent* event) {
  if ((watched == Combo1 || watched == Combo1->lineEdit()) && event->type() == QEvent::KeyPress) {
    downKeyFlag = static_cast<QKeyEvent*>(event)->key() == Qt::Key_Down ? 1 : 0;
  } else if (watched == Label34) {
    if (event->type() == QEvent::MouseButtonPress) Label34_MouseDown();
    if (event->type() == QEvent::MouseButtonRelease) Label34_MouseUp();
  } else if (event->type() == QEvent::MouseButtonRelease) {
    if (watched == Option1) Option1_MouseUp();
    if (watched == Option2) Option2_MouseUp();
  }
  return QWidget::eventFilter(watched, event);
}

QString FrmRealTimeMonitoring::watchedName() const { return Combo1->currentText(); }
bool FrmRealTimeMonitoring::monitoringRuns() const { return !Command2->isEnabled(); }

void FrmRealTimeMonitoring::setCombo1Text(const QString& text) {
  if (Combo1->currentText() == text) return;
  Combo1->setEditText(text);
  Combo1_Change();
}

void FrmRealTimeMonitoring::sendToStation(const char* literal) {
  core::trySendToStation(MSComm1, Combo1->currentText(), literal);
}

// --- Choosing a station -------------------------------------------------------------------

void FrmRealTimeMonitoring::Combo1_Click() {
  // The daily screen follows; its own change event runs inside this statement.
  FrmMonitoring1::instance().setCombo1Text(Combo1->currentText());
  ClearAll();
  pendingRead = 1;
  LTextBox2->setText(core::getStationDeviceID(Combo1->currentText()));
  sendToStation(" 03 000A 0011");
  Timer1.setEnabled(true);
  Timer6.setEnabled(true);
  autoStartPending = 1;
}

void FrmRealTimeMonitoring::Combo1_Change() {
  Combo1_Click();
  Timer6.setEnabled(true);
  autoStartPending = 1;
}

void FrmRealTimeMonitoring::Timer1_Timer() {
  pendingRead = 2;
  sendToStation(" 03 0100 0023");
  Timer1.setEnabled(false);
}

// --- Replies ------------------------------------------------------------------------------

void FrmRealTimeMonitoring::readDatasA1(Bytes& reply) {
  const auto info = link::decodeDeviceInfo(reply);
  if (!info) return;
  LTextBox3->setText(q(info->model));
  LTextBox4->setText(q(info->deviceVersion));
  SoftSw->setText(q(info->softwareVersion));
  LTextBox5->setText(q(info->serialNumber));
  Timer1.setEnabled(true);
}

void FrmRealTimeMonitoring::readDatasA2(Bytes& reply) {
  if (reply.size() != link::kRealTimeLength) return;
  // This screen reads its fault word from the second fault register; the exchange is made in
  // the caller's array and stays there.
  link::exchangeFaultWords(reply);
  const auto block = link::decodeRealTime(reply, link::Reader::RealTime);
  if (!block) return;
  Text2->setText(q(block->panelCurrent.text));
  Text3->setText(q(block->panelVoltage.text));
  Text4->setText(q(block->panelPower.text));
  Text5->setText(q(block->chargeStateText));
  Text9->setText(q(block->batteryVoltage.text));
  Text18->setText(q(block->deviceTemperature.text));
  Text13->setText(q(block->batteryCurrent.text));
  Text11->setText(q(block->chargeLevel.text));
  Text16->setText(q(block->loadVoltage.text));
  Text17->setText(q(block->loadCurrent.text));
  Text15->setText(q(block->loadPower.text));
  (block->loadOn ? Option1 : Option2)->setChecked(true);
  Text14->setText(q(block->loadStateText));
  Text7->setText(q(block->batteryTemperature.text));
  if (block->statusFlags.size() == 32) {
    Text10->setText(q(block->status.battery));
    Text6->setText(q(block->status.panel));
    Text19->setText(q(block->status.device));
    Text14->setText(q(block->status.load));
  }
  auto& daily = FrmMonitoring1::instance();
  if (!daily.Command2->isEnabled()) {
    // The curves take the values as shown, with the rounding of the display format.
    updateVoltageChart(number(Text3), number(Text9), number(Text16));
    updateCurrentChart(number(Text2), number(Text13), number(Text17));
    updatePowerChart(number(Text4), number(Text9) * number(Text13), number(Text15));
  }
  daily.readDatasA2(reply);
}

void FrmRealTimeMonitoring::readDatasA3(Bytes& reply) {
  const auto manual = link::loadModeIsManual(reply);
  if (!manual) return;
  Picture9->setEnabled(*manual);
}

// --- Start and stop -----------------------------------------------------------------------

void FrmRealTimeMonitoring::logLine(const char* what) {
  core::appendLog(Combo1->currentText() + QString::fromUtf8(what));
}

void FrmRealTimeMonitoring::Command2_Click() {
  if (Combo1->currentText().isEmpty()) {
    platform::dialogs().msgBox(QStringLiteral("选择一个可用的站点名"));
    return;
  }
  Command2->setEnabled(false);
  Command9->setEnabled(true);
  Combo1->setEnabled(false);
  auto& daily = FrmMonitoring1::instance();
  daily.Command2->setEnabled(false);
  daily.Command9->setEnabled(true);
  daily.Combo1->setEnabled(false);
  daily.setCombo1Text(Combo1->currentText());
  // An empty identity box here takes the other screen's text; otherwise this one wins.
  for (auto [mine, theirs] : {std::pair{LTextBox3, daily.LTextBox3}, std::pair{LTextBox4, daily.LTextBox4},
                              std::pair{LTextBox5, daily.LTextBox5}}) {
    if (mine->text().isEmpty())
      mine->setText(theirs->text());
    else
      theirs->setText(mine->text());
  }
  logLine(" 开始监控");
}

void FrmRealTimeMonitoring::Command9_Click() {
  Timer4.setEnabled(false);
  Command2->setEnabled(true);
  Command9->setEnabled(false);
  Combo1->setEnabled(true);
  auto& daily = FrmMonitoring1::instance();
  daily.Command2->setEnabled(true);
  daily.Command9->setEnabled(false);
  daily.Combo1->setEnabled(true);
  logLine(" 停止监控");
}

void FrmRealTimeMonitoring::Timer6_Timer() {
  // No test whether monitoring already runs: a second start sets the buttons and logs again.
  if (autoStartPending != 1) return;
  autoStartPending = 0;
  Command2_Click();
}

// --- Manual load switch -------------------------------------------------------------------

void FrmRealTimeMonitoring::loadSwitch(const char* literal) {
  pendingRead = 4;
  if (!Timer5.enabled()) sendToStation(literal);
  Timer5.setEnabled(true);
}

void FrmRealTimeMonitoring::Option1_MouseUp() { loadSwitch(" 06 010A 0001"); }
void FrmRealTimeMonitoring::Option2_MouseUp() { loadSwitch(" 06 010A 0000"); }

void FrmRealTimeMonitoring::Timer5_Timer() {
  Option1->setEnabled(true);
  Option2->setEnabled(true);
  Timer5.setEnabled(false);
  if (MSComm1.control().portOpen()) MSComm1.control().setPortOpen(false);
}

// --- The hidden software version ----------------------------------------------------------

void FrmRealTimeMonitoring::Label34_MouseDown() {
  const bool software = downKeyFlag == 1;
  LTextBox4->setVisible(!software);
  SoftSw->setVisible(software);
}

void FrmRealTimeMonitoring::Label34_MouseUp() {
  SoftSw->setVisible(false);
  LTextBox4->setVisible(true);
}

void FrmRealTimeMonitoring::ClearAll() {
  for (QLineEdit* b : {LTextBox2, LTextBox3, LTextBox4, LTextBox5, SoftSw, Text1, Text2, Text3, Text4, Text5, Text6,
                       Text7, Text9, Text10, Text11, Text13, Text14, Text15, Text16, Text17, Text18, Text19})
    b->clear();
  voltageMax = 0;
  currentMax = 0;
  powerMax = 0;
}

// --- Curves -------------------------------------------------------------------------------

void FrmRealTimeMonitoring::initCharts() {
  chartPoints = 30;
  auto& daily = FrmMonitoring1::instance();
  for (DayChart* chart : {daily.MSChart1, daily.MSChart2, daily.MSChart3}) chart->init(chartPoints);
}

void FrmRealTimeMonitoring::updateVoltageChart(double array, double battery, double load) {
  FrmMonitoring1::instance().MSChart1->update(array, battery, load, voltageMax);
}

void FrmRealTimeMonitoring::updateCurrentChart(double array, double battery, double load) {
  FrmMonitoring1::instance().MSChart2->update(array, battery, load, currentMax);
}

void FrmRealTimeMonitoring::updatePowerChart(double array, double battery, double load) {
  FrmMonitoring1::instance().MSChart3->update(array, battery, load, powerMax);
}

}  // namespace xl::monitoring
