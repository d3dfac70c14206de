#include "monitoring/frm_real_time_monitoring.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
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
#include "monitoring/frm_monitoring1.h"
#include "platform/dialogs.h"
#include "ui/form.h"
#include "ui/input.h"
#include "ui/station_box.h"

namespace xl::monitoring {

namespace {

using ui::Field;
using ui::q;

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

// A titled panel: its picture on the left, the labelled boxes on the right.
QGroupBox* panel(QWidget* parent, const char* name, const QString& title, PanelPicture::Kind kind,
                 std::span<const Field> fields, QList<QLineEdit*>& boxes, int columns = 1) {
  auto* frame = new QGroupBox(title, parent);
  frame->setObjectName(QString::fromLatin1(name));
  auto* layout = new QHBoxLayout(frame);
  layout->addWidget(new PanelPicture(kind, frame), 0, Qt::AlignTop);
  auto* grid = new QGridLayout;
  boxes = ui::addFields(grid, frame, fields, columns);
  layout->addLayout(grid, 1);
  return frame;
}

const Field kIdentity[] = {
    {.name = "LTextBox2", .caption = "设备ID", .width = 60},
    {.name = "LTextBox3", .caption = "设备型号", .width = 140},
    {.name = "LTextBox4", .caption = "设备版本", .width = 80, .labelName = "Label34"},
    {.name = "LTextBox5", .caption = "设备SN码", .width = 90},
};
const Field kArray[] = {
    {.name = "Text2", .caption = "电流(A)"},
    {.name = "Text3", .caption = "电压(V)"},
    {.name = "Text4", .caption = "功率(W)"},
    {.name = "Text6", .caption = "工作状态"},
};
const Field kBattery[] = {
    {.name = "Text9", .caption = "电压(V)"},    {.name = "Text13", .caption = "电流(A)"},
    {.name = "Text11", .caption = "电量(%)"},   {.name = "Text7", .caption = "温度(℃)"},
    {.name = "Text5", .caption = "充电状态"},   {.name = "Text10", .caption = "蓄电池状态"},
};
const Field kLoad[] = {
    {.name = "Text16", .caption = "电压(V)"},
    {.name = "Text17", .caption = "电流(A)"},
    {.name = "Text15", .caption = "功率(W)"},
    {.name = "Text14", .caption = "负载状态"},
};
const Field kDevice[] = {
    {.name = "Text18", .caption = "设备温度(℃)"},
    {.name = "Text19", .caption = "设备状态"},
};

}  // namespace

FrmRealTimeMonitoring::FrmRealTimeMonitoring()
    : ui::Screen("FrmRealTimeMonitoring", QStringLiteral("实时监控")),
      autoStart([this] { Command2_Click(); }),
      MSComm1("FrmRealTimeMonitoring.MSComm1",
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
  // Identity row: the station box and four boxes; the software version hides under the
  // device version.
  auto* identity = new QGridLayout;
  Combo1 = ui::addStationBox(identity, this);
  auto* identityBoxes = new QGridLayout;
  const auto ids = ui::addFields(identityBoxes, this, kIdentity, 2);
  identity->addLayout(identityBoxes, 0, 2);
  LTextBox2 = ids[0];
  LTextBox3 = ids[1];
  LTextBox4 = ids[2];
  LTextBox5 = ids[3];
  Label34 = ui::labelFor(LTextBox4);
  SoftSw = ui::makeBox(this, {.name = "SoftSw", .width = 80});
  SoftSw->setVisible(false);
  int row, column, rowSpan, columnSpan;
  identityBoxes->getItemPosition(identityBoxes->indexOf(LTextBox4), &row, &column, &rowSpan, &columnSpan);
  identityBoxes->addWidget(SoftSw, row, column);
  Text1 = ui::makeBox(this, {.name = "Text1"});
  Text1->setText(QStringLiteral("01 03 000A 0011"));
  Text1->setVisible(false);

  QList<QLineEdit*> b;
  QGroupBox* arrayPanel = panel(this, "Frame1", QStringLiteral("太阳能电池板信息"), PanelPicture::Array, kArray, b);
  Text2 = b[0], Text3 = b[1], Text4 = b[2], Text6 = b[3];
  QGroupBox* batteryPanel = panel(this, "Frame2", QStringLiteral("蓄电池信息"), PanelPicture::Battery, kBattery, b, 2);
  Text9 = b[0], Text13 = b[1], Text11 = b[2], Text7 = b[3], Text5 = b[4], Text10 = b[5];
  QGroupBox* loadPanel = panel(this, "Frame3", QStringLiteral("负载信息"), PanelPicture::Load, kLoad, b);
  Text16 = b[0], Text17 = b[1], Text15 = b[2], Text14 = b[3];
  QGroupBox* devicePanel = panel(this, "Frame4", QStringLiteral("设备信息"), PanelPicture::Device, kDevice, b);
  Text18 = b[0], Text19 = b[1];

  // The manual load switch lives in the load panel.
  Picture9 = new QGroupBox(QStringLiteral("手动模式下"), loadPanel);
  Picture9->setObjectName("Picture9");
  Picture9->setToolTip(QStringLiteral("负载模式设置为手动模式才能通过此按钮控制负载开/关"));
  Option1 = new QRadioButton(QStringLiteral("打开负载"), Picture9);
  Option1->setObjectName("Option1");
  Option2 = new QRadioButton(QStringLiteral("关闭负载"), Picture9);
  Option2->setObjectName("Option2");
  auto* switchLayout = new QVBoxLayout(Picture9);
  switchLayout->addWidget(Option1);
  switchLayout->addWidget(Option2);
  static_cast<QHBoxLayout*>(loadPanel->layout())->addWidget(Picture9, 0, Qt::AlignBottom);

  Command2 = new QPushButton(QStringLiteral("开始监控"), this);
  Command2->setObjectName("Command2");
  Command2->setToolTip(
      QStringLiteral("点击后，监控软件界面数据自动更新；数据更新周期设置见：数据保存--监控--读取间隔（秒)"));
  Command9 = new QPushButton(QStringLiteral("停止监控"), this);
  Command9->setObjectName("Command9");
  Command9->setEnabled(false);  // stopped: start on, stop off

  auto* panels = new QGridLayout;
  panels->addWidget(arrayPanel, 0, 0);
  panels->addWidget(batteryPanel, 0, 1);
  panels->addWidget(loadPanel, 1, 0);
  panels->addWidget(devicePanel, 1, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(Command2);
  buttons->addWidget(Command9);
  staleLabel_ = new QLabel(this);
  staleLabel_->setObjectName("StaleLabel");
  staleLabel_->setStyleSheet(QStringLiteral("color: #b00000;"));
  auto* top = new QHBoxLayout;
  top->addLayout(identity);
  top->addWidget(staleLabel_);
  top->addStretch();
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(top);
  layout->addLayout(panels, 1);
  layout->addLayout(buttons);

  // Events of the controls; a disabled control never acts.
  Combo1->onClick([this] { Combo1_Click(); });
  Combo1->onChange([this] { Combo1_Change(); });
  Combo1->onKeyDown([this](int key) { downKeyFlag = key == Qt::Key_Down ? 1 : 0; });
  ui::onMouseDown(Label34, [this] { Label34_MouseDown(); });
  ui::onMouseUp(Label34, [this] { Label34_MouseUp(); });
  ui::onMouseUp(Option1, [this] { Option1_MouseUp(); });
  ui::onMouseUp(Option2, [this] { Option2_MouseUp(); });
  connect(Command2, &QPushButton::clicked, this, [this] { Command2_Click(); });
  connect(Command9, &QPushButton::clicked, this, [this] { Command9_Click(); });
  // The identity boxes carry their values over to the daily screen.
  using Identity = FrmMonitoring1::Identity;
  for (auto [box, which] : {std::pair{LTextBox3, Identity::Model}, std::pair{LTextBox4, Identity::DeviceVersion},
                            std::pair{LTextBox5, Identity::SerialNumber}}) {
    connect(box, &QLineEdit::textChanged, this,
            [which = which](const QString& t) { FrmMonitoring1::instance().setIdentityText(which, t); });
  }

  Timer1.setInterval(300);
  Timer5.setInterval(500);
  Timer1.setOnTick([this] { Timer1_Timer(); });
  Timer5.setOnTick([this] { Timer5_Timer(); });
  Timer5.setEnabled(true);
  staleMark_.attach(staleLabel_, {Text2, Text3, Text4, Text6, Text9, Text13, Text11, Text7, Text5, Text10, Text16,
                                  Text17, Text15, Text14, Text18, Text19});
  staleTimer.setInterval(1000);
  staleTimer.setOnTick([this] { staleMark_.refresh(Combo1->text()); });
  staleTimer.setEnabled(true);
  MSComm1.setOnExchangeEnded([this] { loadSwitchEnded(); });

  FrmGlobalMonitoring::setWatchedStation(this);
  FrmMonitoring1::setPartner(this);
  ui::registerStationList(ui::StationList::RealTime, Combo1);
  Form_Load();
}

FrmRealTimeMonitoring::~FrmRealTimeMonitoring() {
  FrmGlobalMonitoring::setWatchedStation(nullptr);
  FrmMonitoring1::setPartner(nullptr);
  ui::registerStationList(ui::StationList::RealTime, nullptr);
}

void FrmRealTimeMonitoring::Form_Load() {
  // The icon is the main window's (ui::Screen).
  initCharts();
}

QString FrmRealTimeMonitoring::watchedName() const { return Combo1->text(); }
bool FrmRealTimeMonitoring::monitoringRuns() const { return !Command2->isEnabled(); }

void FrmRealTimeMonitoring::setCombo1Text(const QString& text) { Combo1->setTextAsCode(text); }

void FrmRealTimeMonitoring::sendToStation(const char* literal) {
  core::trySendToStation(MSComm1, Combo1->text(), literal);
}

// --- Choosing a station -------------------------------------------------------------------

void FrmRealTimeMonitoring::Combo1_Click() {
  // The daily screen follows; its own change event runs inside this statement.
  FrmMonitoring1::instance().setCombo1Text(Combo1->text());
  ClearAll();
  shownLoadOn_.reset();
  staleMark_.refresh(Combo1->text());
  pendingRead = 1;
  LTextBox2->setText(core::getStationDeviceID(Combo1->text()));
  sendToStation(link::kDeviceInfoRequest);
  Timer1.setEnabled(true);
  autoStart.request();
}

void FrmRealTimeMonitoring::Combo1_Change() {
  Combo1_Click();
  autoStart.request();
}

void FrmRealTimeMonitoring::Timer1_Timer() {
  pendingRead = 2;
  sendToStation(link::kRealTimeRequest);
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
  shownLoadOn_ = block->loadOn;
  staleMark_.fresh();
  Text14->setText(q(block->loadStateText));
  Text7->setText(q(block->batteryTemperature.text));
  if (block->statusFlags.size() == 32) {
    Text10->setText(q(block->status.battery));
    Text6->setText(q(block->status.panel));
    Text19->setText(q(block->status.device));
    Text14->setText(q(block->status.load));
  }
  auto& daily = FrmMonitoring1::instance();
  if (daily.monitoringRuns()) {
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
  // A start or stop without a station (the shell stops both monitors at a refresh) is no news.
  if (Combo1->text().isEmpty()) return;
  core::appendLog(Combo1->text() + QString::fromUtf8(what));
}

void FrmRealTimeMonitoring::Command2_Click() {
  if (Combo1->text().isEmpty()) {
    platform::dialogs().msgBox(QStringLiteral("选择一个可用的站点名"));
    return;
  }
  Command2->setEnabled(false);
  Command9->setEnabled(true);
  Combo1->setEnabled(false);
  auto& daily = FrmMonitoring1::instance();
  daily.showRunning(true);
  daily.setCombo1Text(Combo1->text());
  // An empty identity box here takes the other screen's text; otherwise this one wins.
  using Identity = FrmMonitoring1::Identity;
  for (auto [mine, which] : {std::pair{LTextBox3, Identity::Model}, std::pair{LTextBox4, Identity::DeviceVersion},
                             std::pair{LTextBox5, Identity::SerialNumber}}) {
    if (mine->text().isEmpty())
      mine->setText(daily.identityText(which));
    else
      daily.setIdentityText(which, mine->text());
  }
  logLine(" 开始监控");
}

void FrmRealTimeMonitoring::Command9_Click() {
  // Timer4 of the design (turned off here) has no work and is not built.
  Command2->setEnabled(true);
  Command9->setEnabled(false);
  Combo1->setEnabled(true);
  FrmMonitoring1::instance().showRunning(false);
  // Stopping lets go of the line at once: a request out or waiting is given up, the port closed.
  MSComm1.abandon();
  FrmMonitoring1::instance().releaseLine();
  logLine(" 停止监控");
}

// --- Manual load switch -------------------------------------------------------------------

void FrmRealTimeMonitoring::loadSwitch(const char* literal) {
  pendingRead = 4;
  if (!Timer5.enabled()) sendToStation(literal);
  Timer5.setEnabled(true);
}

// The load command's exchange ended without its echo (silence, or a reply that is not its
// answer): the switch goes back to what 负载状态 shows, and the operator is told.
void FrmRealTimeMonitoring::loadSwitchEnded() {
  const Bytes& request = MSComm1.endedRequest();
  if (request.size() < 4 || request[1] != 0x06 || request[2] != 0x01 || request[3] != 0x0A) return;
  if (MSComm1.endedAnswered()) return;
  if (shownLoadOn_) {
    (*shownLoadOn_ ? Option1 : Option2)->setChecked(true);
  } else {
    for (QRadioButton* o : {Option1, Option2}) {
      o->setAutoExclusive(false);
      o->setChecked(false);
      o->setAutoExclusive(true);
    }
  }
  core::appendLog(QStringLiteral("负载开关无应答：%1").arg(Combo1->text()));
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
  // The daily screen draws its three curves from this many zero points when it is made (a
  // constructor does not make another screen).
  chartPoints = FrmMonitoring1::kChartPoints;
}

void FrmRealTimeMonitoring::updateVoltageChart(double array, double battery, double load) {
  FrmMonitoring1::instance().updateCurve(0, array, battery, load, voltageMax);
}

void FrmRealTimeMonitoring::updateCurrentChart(double array, double battery, double load) {
  FrmMonitoring1::instance().updateCurve(1, array, battery, load, currentMax);
}

void FrmRealTimeMonitoring::updatePowerChart(double array, double battery, double load) {
  FrmMonitoring1::instance().updateCurve(2, array, battery, load, powerMax);
}

}  // namespace xl::monitoring
