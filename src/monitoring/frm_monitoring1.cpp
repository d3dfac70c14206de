#include "monitoring/frm_monitoring1.h"

#include <QDateTime>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/station_request.h"
#include "core/station_store.h"
#include "link/device_data_map.h"
#include "monitoring/day_charts.h"
#include "platform/dialogs.h"
#include "ui/form.h"
#include "ui/station_box.h"

namespace xl::monitoring {

DailyPartner::~DailyPartner() = default;

namespace {

using ui::Field;
using ui::q;

DailyPartner* gPartner = nullptr;

// The identity row beside the station box.
const Field kIdentity[] = {
    {.name = "LTextBox2", .caption = "设备ID", .width = 60},
    {.name = "LTextBox3", .caption = "设备型号", .width = 140},
    {.name = "LTextBox4", .caption = "设备版本", .width = 70},
    {.name = "LTextBox5", .caption = "设备SN码", .width = 90},
};

// The day values, three to a row, in the order of the reply.
const Field kDayValues[] = {
    {.name = "Text23", .caption = "蓄电池最低电压(V)", .width = 70},
    {.name = "Text22", .caption = "蓄电池最高电压(V)", .width = 70},
    {.name = "Text21", .caption = "最大充电电流(A)", .width = 70},
    {.name = "Text20", .caption = "最大放电电流(A)", .width = 70},
    {.name = "Text24", .caption = "最大充电功率(W)", .width = 70},
    {.name = "Text25", .caption = "最大放电功率(W)", .width = 70},
    {.name = "Text26", .caption = "充电安时数（Ah）", .width = 70},
    {.name = "Text27", .caption = "放电安时数（Ah）", .width = 70},
    {.name = "Text8", .caption = "发电量（kWh）", .width = 70},
    {.name = "Text12", .caption = "用电量（kWh）", .width = 70},
};

// A caption box over a curve: a plain text line without a frame.
QLineEdit* caption(QWidget* parent, const char* name, const QString& text) {
  QLineEdit* e = ui::makeBox(parent, {.name = name, .width = 80});
  e->setText(text);
  e->setFrame(false);
  e->setAlignment(Qt::AlignCenter);
  return e;
}

}  // namespace

void FrmMonitoring1::setPartner(DailyPartner* partner) { gPartner = partner; }

FrmMonitoring1::FrmMonitoring1()
    : ui::Screen("FrmMonitoring1", QStringLiteral("日常监控")),
      autoStart([this] { Command2_Click(); }),
      MSComm1("FrmMonitoring1.MSComm1",
              [this] {
                link::SessionOptions o;
                o.showReplyText = [this](const std::string& text) { Text1->setText(q(text)); };
                return o;
              }(),
              [this](Bytes& reply, const std::string&) {
                if (pendingRead == 1) readDatasA1(reply);
                if (pendingRead == 2) readDatasA2(reply);
              }) {
  // Identity row: the station box, the four boxes, start and stop.
  auto* identity = new QGridLayout;
  Combo1 = ui::addStationBox(identity, this);
  auto* identityBoxes = new QGridLayout;
  const auto ids = ui::addFields(identityBoxes, this, kIdentity, 4);
  LTextBox2 = ids[0];
  LTextBox3 = ids[1];
  LTextBox4 = ids[2];
  LTextBox5 = ids[3];
  identity->addLayout(identityBoxes, 0, 2);
  Text1 = ui::makeBox(this, {.name = "Text1"});
  Text1->setVisible(false);
  Command2 = new QPushButton(QStringLiteral("开始监控"), this);
  Command2->setObjectName("Command2");
  Command2->setToolTip(QStringLiteral("开始监控：自动更新页面数据"));
  Command9 = new QPushButton(QStringLiteral("停止监控"), this);
  Command9->setObjectName("Command9");
  Command9->setEnabled(false);  // stopped: start on, stop off
  identity->setColumnStretch(2, 1);

  // The day values and the clock.
  auto* dayFrame = new QGroupBox(this);
  Command2->setParent(dayFrame);
  Command9->setParent(dayFrame);
  dayFrame->setObjectName("Frame1");
  auto* days = new QGridLayout(dayFrame);
  dayBoxes_ = ui::addFields(days, dayFrame, kDayValues, 3);
  Text3 = ui::makeBox(dayFrame, {.name = "Text3", .width = 140});
  auto* clockLabel = new QLabel(QStringLiteral("当前时间"), dayFrame);
  clockLabel->setBuddy(Text3);
  days->addWidget(clockLabel, 3, 2);
  days->addWidget(Text3, 3, 3);
  // Start and stop sit at the end of the clock's row, so the identity row stays short.
  auto* startStop = new QHBoxLayout;
  startStop->addWidget(Command2);
  startStop->addWidget(Command9);
  staleLabel_ = new QLabel(dayFrame);
  staleLabel_->setObjectName("StaleLabel");
  staleLabel_->setStyleSheet(QStringLiteral("color: #b00000;"));
  startStop->addWidget(staleLabel_);
  days->addLayout(startStop, 3, 4, 1, 2);

  Text2 = caption(this, "Text2", QStringLiteral("电压实时曲线(V)"));
  Text4 = caption(this, "Text4", QStringLiteral("电流实时曲线(A)"));
  Text5 = caption(this, "Text5", QStringLiteral("功率实时曲线(W)"));
  auto* curves = new QGridLayout;
  QLineEdit* captions[] = {Text2, Text4, Text5};
  for (int i = 0; i < 3; ++i) {
    charts_[i] = new DayChart(this);
    charts_[i]->setObjectName(QStringLiteral("MSChart%1").arg(i + 1));
    charts_[i]->init(kChartPoints);
    curves->addWidget(captions[i], 0, i);
    curves->addWidget(charts_[i], 1, i);
  }
  curves->setRowStretch(1, 1);

  auto* layout = new QVBoxLayout(this);
  layout->addLayout(identity);
  layout->addWidget(dayFrame);
  layout->addLayout(curves, 1);

  Combo1->onClick([this] { Combo1_Click(); });
  Combo1->onChange([this] { Combo1_Change(); });
  connect(Command2, &QPushButton::clicked, this, [this] { Command2_Click(); });
  connect(Command9, &QPushButton::clicked, this, [this] { Command9_Click(); });

  Timer1.setInterval(900);
  Timer2.setInterval(1000);
  Timer1.setOnTick([this] { Timer1_Timer(); });
  Timer2.setOnTick([this] { Timer2_Timer(); });
  Timer2.setEnabled(true);
  QList<QWidget*> values;
  for (QLineEdit* b : dayBoxes_) values << b;
  staleMark_.attach(staleLabel_, values);
  autoStart.timer.setEnabled(true);

  ui::registerStationList(ui::StationList::Daily, Combo1);
}

FrmMonitoring1::~FrmMonitoring1() { ui::registerStationList(ui::StationList::Daily, nullptr); }

// --- Named operations ------------------------------------------------------------------------

void FrmMonitoring1::setCombo1Text(const QString& text) { Combo1->setTextAsCode(text); }

void FrmMonitoring1::showRunning(bool running) {
  Command2->setEnabled(!running);
  Command9->setEnabled(running);
  Combo1->setEnabled(!running);
}

bool FrmMonitoring1::monitoringRuns() const { return !Command2->isEnabled(); }

QLineEdit* FrmMonitoring1::identityBox(Identity which) const {
  switch (which) {
    case Identity::Model: return LTextBox3;
    case Identity::DeviceVersion: return LTextBox4;
    case Identity::SerialNumber: break;
  }
  return LTextBox5;
}

QString FrmMonitoring1::identityText(Identity which) const { return identityBox(which)->text(); }
void FrmMonitoring1::setIdentityText(Identity which, const QString& text) { identityBox(which)->setText(text); }

void FrmMonitoring1::updateCurve(int curve, double array, double battery, double load, double& axisTop) {
  charts_[curve]->update(array, battery, load, axisTop);
}

// --- Handlers ----------------------------------------------------------------------------------

void FrmMonitoring1::Combo1_Click() {
  // Nothing is sent here at once: the real-time screen reads the identity.
  if (gPartner) gPartner->setCombo1Text(Combo1->text());
  ClearAll();
  pendingRead = 1;
  LTextBox2->setText(core::getStationDeviceID(Combo1->text()));
  Timer1.setEnabled(true);
  autoStart.request();
}

void FrmMonitoring1::Combo1_Change() {
  Combo1_Click();
  autoStart.request();
}

void FrmMonitoring1::Timer1_Timer() {
  pendingRead = 2;
  core::trySendToStation(MSComm1, Combo1->text(), link::kRealTimeRequest);
  Timer1.setEnabled(false);
}

void FrmMonitoring1::Timer2_Timer() {
  Text3->setText(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
  // The clock ticks on; values of a stale station are shown greyed, with their age.
  staleMark_.refresh(Combo1->text());
}

void FrmMonitoring1::readDatasA1(Bytes& reply) {
  const auto info = link::decodeDeviceInfo(reply);
  if (!info) return;
  LTextBox3->setText(q(info->model));
  LTextBox4->setText(q(info->deviceVersion));
  LTextBox5->setText(q(info->serialNumber));
  Timer1.setEnabled(true);
}

void FrmMonitoring1::readDatasA2(Bytes& reply) {
  const std::vector<std::string> texts = link::dayValueTexts(reply);
  for (std::size_t i = 0; i < texts.size() && i < static_cast<std::size_t>(dayBoxes_.size()); ++i)
    dayBoxes_[static_cast<qsizetype>(i)]->setText(q(texts[i]));
  if (!texts.empty()) staleMark_.fresh();
}

void FrmMonitoring1::Command2_Click() {
  if (Combo1->text().isEmpty()) {
    platform::dialogs().msgBox(QStringLiteral("选择一个可用的站点名"));
    return;
  }
  showRunning(true);
  if (gPartner) {
    gPartner->setCombo1Text(Combo1->text());
    gPartner->Command2Click();
  }
}

void FrmMonitoring1::Command9_Click() {
  showRunning(false);
  if (gPartner) gPartner->Command9Click();
}

void FrmMonitoring1::ClearAll() {
  // Text2, Text4 and Text5 are the captions of the curves: once emptied they stay empty.
  for (QLineEdit* b : {LTextBox2, LTextBox3, LTextBox4, LTextBox5, Text1, Text2, Text3, Text4, Text5}) b->clear();
  for (QLineEdit* b : dayBoxes_) b->clear();
}

}  // namespace xl::monitoring
