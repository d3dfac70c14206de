#include "monitoring/frm_monitoring1.h"

#include <QAbstractItemModel>
#include <QCloseEvent>
#include <QComboBox>
#include <QDateTime>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/station_request.h"
#include "core/station_store.h"
#include "link/device_data_map.h"
#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "monitoring/day_charts.h"
#include "monitoring/station_controls.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "platform/dialogs.h"
#include "shell/frm_mdi.h"

namespace xl::monitoring {

namespace {

QString q(const std::string& s) { return QString::fromStdString(s); }

QLineEdit* box(QWidget* parent, const char* name) { return displayBox(parent, name, 80); }

// A caption box over a curve: a plain text line without a frame.
QLineEdit* caption(QWidget* parent, const char* name, const QString& text) {
  QLineEdit* e = box(parent, name);
  e->setText(text);
  e->setFrame(false);
  e->setAlignment(Qt::AlignCenter);
  return e;
}

}  // namespace

FrmMonitoring1::FrmMonitoring1()
    : MSComm1("FrmMonitoring1.MSComm1",
              [this] {
                link::SessionOptions o;
                o.showReplyText = [this](const std::string& text) { Text1->setText(q(text)); };
                return o;
              }(),
              [this](Bytes& reply, const std::string&) {
                if (pendingRead == 1) readDatasA1(reply);
                if (pendingRead == 2) readDatasA2(reply);
              }) {
  setObjectName("FrmMonitoring1");
  setWindowTitle(QStringLiteral("日常监控"));

  auto* identity = new QGridLayout;
  Combo1 = stationBox(this);
  LTextBox2 = box(this, "LTextBox2");
  LTextBox3 = box(this, "LTextBox3");
  LTextBox4 = box(this, "LTextBox4");
  LTextBox5 = box(this, "LTextBox5");
  Text1 = box(this, "Text1");
  Text1->setVisible(false);
  Text3 = box(this, "Text3");
  const std::pair<const char*, QWidget*> identityRow[] = {
      {"选择站点", Combo1}, {"设备ID", LTextBox2}, {"设备型号", LTextBox3}, {"设备版本", LTextBox4}, {"设备SN码", LTextBox5}};
  int col = 0;
  for (const auto& [label, w] : identityRow) {
    identity->addWidget(new QLabel(QString::fromUtf8(label), this), 0, col++);
    identity->addWidget(w, 0, col++);
  }

  // The day values, four to a row, and the clock.
  auto* dayFrame = new QGroupBox(this);
  dayFrame->setObjectName("Frame1");
  auto* days = new QGridLayout(dayFrame);
  const std::pair<const char*, QLineEdit**> dayBoxes[] = {
      {"蓄电池最低电压(V)", &Text23}, {"蓄电池最高电压(V)", &Text22}, {"最大充电电流(A)", &Text21},
      {"最大放电电流(A)", &Text20},   {"最大充电功率(W)", &Text24},   {"最大放电功率(W)", &Text25},
      {"充电安时数（Ah）", &Text26},  {"放电安时数（Ah）", &Text27},  {"发电量（kWh）", &Text8},
      {"用电量（kWh）", &Text12}};
  const char* dayNames[] = {"Text23", "Text22", "Text21", "Text20", "Text24",
                            "Text25", "Text26", "Text27", "Text8",  "Text12"};
  for (int i = 0; i < 10; ++i) {
    *dayBoxes[i].second = box(dayFrame, dayNames[i]);
    const int r = i / 4, c = (i % 4) * 2;
    days->addWidget(new QLabel(QString::fromUtf8(dayBoxes[i].first), dayFrame), r, c);
    days->addWidget(*dayBoxes[i].second, r, c + 1);
  }
  days->addWidget(new QLabel(QStringLiteral("当前时间"), dayFrame), 2, 4);
  days->addWidget(Text3, 2, 5, 1, 3);

  Text2 = caption(this, "Text2", QStringLiteral("电压实时曲线(V)"));
  Text4 = caption(this, "Text4", QStringLiteral("电流实时曲线(A)"));
  Text5 = caption(this, "Text5", QStringLiteral("功率实时曲线(W)"));
  MSChart1 = new DayChart(this);
  MSChart1->setObjectName("MSChart1");
  MSChart2 = new DayChart(this);
  MSChart2->setObjectName("MSChart2");
  MSChart3 = new DayChart(this);
  MSChart3->setObjectName("MSChart3");
  // The three curves side by side, each under its caption.
  auto* curves = new QGridLayout;
  curves->addWidget(Text2, 0, 0);
  curves->addWidget(MSChart1, 1, 0);
  curves->addWidget(Text4, 0, 1);
  curves->addWidget(MSChart2, 1, 1);
  curves->addWidget(Text5, 0, 2);
  curves->addWidget(MSChart3, 1, 2);
  curves->setRowStretch(1, 1);

  Command2 = new QPushButton(QStringLiteral("开始监控"), this);
  Command2->setObjectName("Command2");
  Command2->setToolTip(QStringLiteral("开始监控：自动更新页面数据"));
  Command9 = new QPushButton(QStringLiteral("停止监控"), this);
  Command9->setObjectName("Command9");
  identity->addWidget(Command2, 0, col++);
  identity->addWidget(Command9, 0, col++);

  auto* layout = new QVBoxLayout(this);
  layout->addLayout(identity);
  layout->addWidget(dayFrame);
  layout->addLayout(curves, 1);

  connect(Combo1, qOverload<int>(&QComboBox::activated), this, [this](int) { Combo1_Click(); });
  connect(Combo1->lineEdit(), &QLineEdit::textEdited, this, [this](const QString&) { Combo1_Change(); });
  connect(Combo1->model(), &QAbstractItemModel::rowsAboutToBeInserted, this,
          [this] { keepEmptyAfterInsert_ = Combo1->currentText().isEmpty(); });
  connect(Combo1->model(), &QAbstractItemModel::rowsInserted, this, [this] {
    if (keepEmptyAfterInsert_) Combo1->setCurrentIndex(-1);
  });
  connect(Command2, &QPushButton::clicked, this, [this] { Command2_Click(); });
  connect(Command9, &QPushButton::clicked, this, [this] { Command9_Click(); });

  Timer1.setInterval(900);
  Timer2.setInterval(1000);
  Timer3.setInterval(5000);
  Timer1.setOnTick([this] { Timer1_Timer(); });
  Timer2.setOnTick([this] { Timer2_Timer(); });
  Timer3.setOnTick([this] { Timer3_Timer(); });
  Timer2.setEnabled(true);
  Timer3.setEnabled(true);

  shell::registerStationList(shell::StationList::Daily, Combo1);
  if (shell::FrmMDI::exists()) {
    setWindowIcon(shell::FrmMDI::instance().windowIcon());
    // The screen lives as long as the main window.
    connect(&shell::FrmMDI::instance(), &QObject::destroyed, [] { FrmMonitoring1::discard(); });
  }
}

FrmMonitoring1::~FrmMonitoring1() = default;

void FrmMonitoring1::closeEvent(QCloseEvent* event) {
  // Hidden, not unloaded: an unseen screen goes on receiving data and feeding the curves. Its
  // frame in the middle area goes with it; showChild brings both back.
  event->ignore();
  hide();
  if (auto* frame = qobject_cast<QMdiSubWindow*>(parentWidget())) frame->hide();
}

void FrmMonitoring1::setCombo1Text(const QString& text) {
  if (Combo1->currentText() == text) return;
  Combo1->setEditText(text);
  Combo1_Change();
}

void FrmMonitoring1::Combo1_Click() {
  // Nothing is sent here at once: the real-time screen reads the identity.
  FrmRealTimeMonitoring::instance().setCombo1Text(Combo1->currentText());
  ClearAll();
  pendingRead = 1;
  LTextBox2->setText(core::getStationDeviceID(Combo1->currentText()));
  Timer1.setEnabled(true);
  Timer3.setEnabled(true);
  autoStartPending = 1;
}

void FrmMonitoring1::Combo1_Change() {
  Combo1_Click();
  Timer3.setEnabled(true);
  autoStartPending = 1;
}

void FrmMonitoring1::Timer1_Timer() {
  pendingRead = 2;
  core::trySendToStation(MSComm1, Combo1->currentText(), " 03 0100 0023");
  Timer1.setEnabled(false);
}

void FrmMonitoring1::Timer2_Timer() {
  Text3->setText(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
}

void FrmMonitoring1::Timer3_Timer() {
  if (autoStartPending != 1) return;
  autoStartPending = 0;
  Command2_Click();
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
  QLineEdit* const boxes[] = {Text23, Text22, Text21, Text20, Text24, Text25, Text26, Text27, Text8, Text12};
  const std::vector<std::string> texts = link::dayValueTexts(reply);
  for (std::size_t i = 0; i < texts.size() && i < std::size(boxes); ++i) boxes[i]->setText(q(texts[i]));
}

void FrmMonitoring1::Command2_Click() {
  if (Combo1->currentText().isEmpty()) {
    platform::dialogs().msgBox(QStringLiteral("选择一个可用的站点名"));
    return;
  }
  Command2->setEnabled(false);
  Command9->setEnabled(true);
  Combo1->setEnabled(false);
  auto& live = FrmRealTimeMonitoring::instance();
  live.setCombo1Text(Combo1->currentText());
  live.Command2Click();
}

void FrmMonitoring1::Command9_Click() {
  Command2->setEnabled(true);
  Command9->setEnabled(false);
  Combo1->setEnabled(true);
  FrmRealTimeMonitoring::instance().Command9Click();
}

void FrmMonitoring1::ClearAll() {
  // Text2, Text4 and Text5 are the captions of the curves: once emptied they stay empty.
  for (QLineEdit* b : {LTextBox2, LTextBox3, LTextBox4, LTextBox5, Text1, Text2, Text3, Text4, Text5, Text8, Text12,
                       Text20, Text21, Text22, Text23, Text24, Text25, Text26, Text27})
    b->clear();
}

}  // namespace xl::monitoring
