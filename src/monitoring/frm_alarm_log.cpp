#include "monitoring/frm_alarm_log.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QFile>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QShowEvent>
#include <QVBoxLayout>
#include <set>

#include "core/app_state.h"
#include "core/message_log.h"
#include "core/settings.h"
#include "engine/alarms/alarm_engine.h"
#include "monitoring/recorder_line.h"
#include "platform/dialogs.h"
#include "ui/form.h"

namespace xl::monitoring {

namespace {

using engine::alarms::AlarmEngine;
using engine::alarms::AlarmRow;

const QString kAllStations = QStringLiteral("全部站点");
const char* const kActiveHeaders[] = {"站点", "设备ID", "告警", "发生时间", "确认人"};
const char* const kHistoryHeaders[] = {"站点", "设备ID", "告警", "发生时间", "解除时间", "确认人", "确认时间"};

template <std::size_t N>
void setUpGrid(platform::FlexGrid* g, const char* const (&headers)[N]) {
  g->setCols(static_cast<int>(N));
  g->setRows(1);
  platform::formatGrid(*g, false);
  for (std::size_t c = 0; c < N; ++c) g->setTextMatrix(0, static_cast<int>(c), QString::fromUtf8(headers[c]));
  g->setEditTriggers(QAbstractItemView::NoEditTriggers);
  g->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  g->horizontalHeader()->setStretchLastSection(true);
}

// The log of the engine, or the file beside the store when none runs (a console that shows an
// agent's log).
engine::alarms::AlarmLog alarmLog() {
  if (const AlarmEngine* e = AlarmEngine::current()) return e->log();
  return engine::alarms::AlarmLog(engine::alarms::AlarmLog::besideStationStore());
}

bool isAdministrator() { return core::currentUser == QStringLiteral("administrator"); }

}  // namespace

FrmAlarmLog::FrmAlarmLog() : ui::Screen("FrmAlarmLog", QStringLiteral("告警记录")) {
  ActiveGrid = new platform::FlexGrid(this);
  ActiveGrid->setObjectName("ActiveGrid");
  setUpGrid(ActiveGrid, kActiveHeaders);
  ActiveGrid->setSelectionMode(QAbstractItemView::ExtendedSelection);
  HistoryGrid = new platform::FlexGrid(this);
  HistoryGrid->setObjectName("HistoryGrid");
  setUpGrid(HistoryGrid, kHistoryHeaders);

  StationFilter = new QComboBox(this);
  StationFilter->setObjectName("StationFilter");
  StationFilter->addItem(kAllStations);
  StationFilter->setMinimumContentsLength(10);
  DateFilter = new QCheckBox(QStringLiteral("按日期"), this);
  DateFilter->setObjectName("DateFilter");
  FromDate = new QDateEdit(QDate::currentDate(), this);
  FromDate->setObjectName("FromDate");
  ToDate = new QDateEdit(QDate::currentDate(), this);
  ToDate->setObjectName("ToDate");
  for (QDateEdit* d : {FromDate, ToDate}) {
    d->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
    d->setCalendarPopup(true);
    d->setMinimumWidth(120);  // the whole date in sight beside the drop-down arrow
    d->setEnabled(false);
  }
  Acknowledge = new QPushButton(QStringLiteral("确认"), this);
  Acknowledge->setObjectName("Acknowledge");
  Acknowledge->setEnabled(false);
  Export = new QPushButton(QStringLiteral("导出"), this);
  Export->setObjectName("Export");

  auto* activeBox = new QGroupBox(QStringLiteral("当前告警"), this);
  activeBox->setObjectName("ActiveBox");
  auto* activeLayout = new QVBoxLayout(activeBox);
  activeLayout->addWidget(ActiveGrid);
  auto* ackBar = new QHBoxLayout;
  ackBar->addStretch();
  ackBar->addWidget(Acknowledge);
  activeLayout->addLayout(ackBar);

  auto* historyBox = new QGroupBox(QStringLiteral("历史告警"), this);
  historyBox->setObjectName("HistoryBox");
  auto* filters = new QGridLayout;
  ui::addCaptioned(filters, historyBox, 0, 0, QStringLiteral("站点"), StationFilter);
  filters->addWidget(DateFilter, 0, 2);
  ui::addCaptioned(filters, historyBox, 0, 3, QStringLiteral("从"), FromDate);
  ui::addCaptioned(filters, historyBox, 0, 5, QStringLiteral("到"), ToDate);
  filters->setColumnStretch(7, 1);
  filters->addWidget(Export, 0, 8);
  auto* historyLayout = new QVBoxLayout(historyBox);
  historyLayout->addLayout(filters);
  historyLayout->addWidget(HistoryGrid, 1);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(activeBox, 2);
  layout->addWidget(historyBox, 3);
  resize(900, 560);

  connect(Acknowledge, &QPushButton::clicked, this, [this] { Acknowledge_Click(); });
  connect(Export, &QPushButton::clicked, this, [this] { Export_Click(); });
  connect(ActiveGrid, &QTableWidget::itemSelectionChanged, this, [this] { updateButtons(); });
  connect(StationFilter, &QComboBox::currentIndexChanged, this, [this] { fillHistory(); });
  connect(DateFilter, &QCheckBox::toggled, this, [this](bool on) {
    FromDate->setEnabled(on);
    ToDate->setEnabled(on);
    fillHistory();
  });
  connect(FromDate, &QDateEdit::dateChanged, this, [this] { fillHistory(); });
  connect(ToDate, &QDateEdit::dateChanged, this, [this] { fillHistory(); });

  if (AlarmEngine* e = AlarmEngine::current()) listener_ = e->addChangeListener([this] { refresh(); });
  Timer1.setInterval(5000);
  Timer1.setOnTick([this] { refresh(); });
  refresh();
}

FrmAlarmLog::~FrmAlarmLog() {
  if (AlarmEngine* e = AlarmEngine::current()) e->removeListener(listener_);
}

void FrmAlarmLog::showEvent(QShowEvent* event) {
  ui::Screen::showEvent(event);
  refresh();
  Timer1.setEnabled(true);
}

void FrmAlarmLog::hideEvent(QHideEvent* event) {
  Timer1.setEnabled(false);
  ui::Screen::hideEvent(event);
}

void FrmAlarmLog::refresh() {
  fillActive();
  // The station list: every station of the log, the chosen one kept.
  const QString chosen = StationFilter->currentText();
  const QStringList names = alarmLog().stations();
  QStringList present;
  for (int i = 1; i < StationFilter->count(); ++i) present << StationFilter->itemText(i);
  if (present != names) {
    const QSignalBlocker quiet(StationFilter);
    StationFilter->clear();
    StationFilter->addItem(kAllStations);
    StationFilter->addItems(names);
    if (!names.contains(chosen) && chosen != kAllStations) StationFilter->addItem(chosen);
    StationFilter->setCurrentIndex(StationFilter->findText(chosen));
  }
  fillHistory();
}

void FrmAlarmLog::fillActive() {
  std::set<qint64> chosen;
  for (const QModelIndex& i : ActiveGrid->selectionModel()->selectedRows())
    chosen.insert(ActiveGrid->cellData(i.row(), 0).toLongLong());
  const auto rows = alarmLog().open();
  const QSignalBlocker quiet(ActiveGrid);
  ActiveGrid->clearSelection();
  ActiveGrid->setRows(static_cast<int>(rows.size()) + 1);
  int r = 1;
  for (const AlarmRow& a : rows) {
    const QString cells[] = {a.station, a.deviceId, a.text, a.raised, a.ackBy};
    for (int c = 0; c < 5; ++c) ActiveGrid->setTextMatrix(r, c, cells[c]);
    ActiveGrid->setCellData(r, 0, QVariant::fromValue<qint64>(a.id));
    if (chosen.contains(a.id)) ActiveGrid->selectRow(r);
    ++r;
  }
  updateButtons();
}

engine::alarms::HistoryFilter FrmAlarmLog::historyFilter() const {
  engine::alarms::HistoryFilter f;
  if (StationFilter->currentIndex() > 0) f.station = StationFilter->currentText();
  if (DateFilter->isChecked()) {
    f.from = FromDate->date();
    f.to = ToDate->date();
  }
  return f;
}

void FrmAlarmLog::fillHistory() {
  const auto rows = alarmLog().history(historyFilter());
  HistoryGrid->setRows(static_cast<int>(rows.size()) + 1);
  int r = 1;
  for (const AlarmRow& a : rows) {
    const QString cells[] = {a.station, a.deviceId, a.text, a.raised, a.cleared, a.ackBy, a.ackTime};
    for (int c = 0; c < 7; ++c) HistoryGrid->setTextMatrix(r, c, cells[c]);
    ++r;
  }
}

void FrmAlarmLog::updateButtons() {
  bool unacknowledged = false;
  for (const QModelIndex& i : ActiveGrid->selectionModel()->selectedRows())
    if (i.row() >= 1 && ActiveGrid->textMatrix(i.row(), 4).isEmpty()) unacknowledged = true;
  Acknowledge->setEnabled(isAdministrator() && unacknowledged);
  Acknowledge->setToolTip(isAdministrator() ? QString() : QStringLiteral("只有管理员可以确认告警"));
}

void FrmAlarmLog::Acknowledge_Click() {
  if (!isAdministrator()) return;
  std::vector<std::int64_t> ids;
  for (const QModelIndex& i : ActiveGrid->selectionModel()->selectedRows())
    if (i.row() >= 1) ids.push_back(ActiveGrid->cellData(i.row(), 0).toLongLong());
  if (ids.empty()) return;
  AlarmEngine* e = AlarmEngine::current();
  const int n = e ? e->acknowledge(ids, core::currentUser)
                  : alarmLog().acknowledge(ids, core::currentUser, QDateTime::currentDateTime());
  if (n > 0) core::appendLog(QStringLiteral("已确认告警 %1 条").arg(n));
  ActiveGrid->clearSelection();  // what was acknowledged is no longer a choice
  refresh();
}

void FrmAlarmLog::Export_Click() {
  const QString chosen = platform::dialogs().saveFileName(QStringLiteral("导出告警记录"), QStringLiteral("*.csv"));
  if (chosen.isEmpty()) return;
  const QString fileName = chosen.endsWith(QStringLiteral(".csv"), Qt::CaseInsensitive) ? chosen : chosen + ".csv";
  // The rows of the filter shown, with the columns the table leaves out (port, code).
  const auto rows = alarmLog().history(historyFilter());
  QByteArray bytes;
  for (const QString& line : engine::alarms::exportLines(rows)) bytes += lineBytes(line);
  QFile file(fileName);
  if (core::isReadOnlyFile(fileName) || !file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
      file.write(bytes) != bytes.size() || !file.flush()) {
    core::appendLog(QStringLiteral("导出告警记录失败：无法写入文件 ") + fileName);
    return;
  }
  core::appendLog(QStringLiteral("告警记录已导出：") + fileName);
}

// --- Settings -------------------------------------------------------------------------------

namespace {
const ui::Field kSettingsFields[] = {
    {.name = "TextSilentAfter", .caption = "连续无应答次数", .readOnly = false, .width = 80},
    {.name = "TextLowSoc", .caption = "电量低于(%)", .readOnly = false, .width = 80},
    {.name = "TextCommand", .caption = "告警命令", .readOnly = false, .width = 260},
    {.name = "TextKeepDays", .caption = "记录保留天数", .readOnly = false, .width = 80},
};

std::optional<int> numberIn(const QString& text, int low, int high) {
  bool ok = false;
  const int v = text.trimmed().toInt(&ok);
  if (!ok || v < low || v > high) return std::nullopt;
  return v;
}
}  // namespace

FrmAlarmSettings::FrmAlarmSettings() : ui::Screen("FrmAlarmSettings", QStringLiteral("告警设置")) {
  auto* grid = new QGridLayout;
  const auto boxes = ui::addFields(grid, this, kSettingsFields, 1);
  TextSilentAfter = boxes[0];
  TextLowSoc = boxes[1];
  TextCommand = boxes[2];
  TextKeepDays = boxes[3];
  TextLowSoc->setPlaceholderText(QStringLiteral("空 = 不报"));
  TextCommand->setPlaceholderText(QStringLiteral("空 = 不运行"));
  QHBoxLayout* buttons = ui::okCancelRow(this, Command1, "Command1", Command2, "Command2");
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(grid);
  layout->addLayout(buttons);
  layout->addStretch();
  connect(Command1, &QPushButton::clicked, this, [this] { Command1_Click(); });
  connect(Command2, &QPushButton::clicked, this, [this] { Command2_Click(); });
}

void FrmAlarmSettings::showEvent(QShowEvent* event) {
  Form_Load();
  ui::Screen::showEvent(event);
}

void FrmAlarmSettings::Form_Load() {
  const auto s = engine::alarms::readAlarmSettings();
  TextSilentAfter->setText(QString::number(s.silentAfter));
  TextLowSoc->setText(s.lowSoc ? QString::number(*s.lowSoc) : QString());
  TextCommand->setText(s.command);
  TextKeepDays->setText(QString::number(s.keepDays));
}

void FrmAlarmSettings::Command1_Click() {
  engine::alarms::AlarmSettings s;
  const auto refuse = [](const char* text) {
    platform::dialogs().msgBox(QString::fromUtf8(text), platform::kExclamation);
  };
  const auto silent = numberIn(TextSilentAfter->text(), 1, 1000);
  if (!silent) return refuse("连续无应答次数必须是1到1000之间的整数");
  s.silentAfter = *silent;
  if (!TextLowSoc->text().trimmed().isEmpty()) {
    s.lowSoc = numberIn(TextLowSoc->text(), 1, 100);
    if (!s.lowSoc) return refuse("电量必须是1到100之间的整数，或者留空");
  }
  const auto keep = numberIn(TextKeepDays->text(), 1, 36500);
  if (!keep) return refuse("记录保留天数必须是1到36500之间的整数");
  s.keepDays = *keep;
  s.command = TextCommand->text();
  if (const QString refusal = core::settingsValueRefusal(QStringLiteral("告警命令"), s.command); !refusal.isEmpty()) {
    platform::dialogs().msgBox(refusal, platform::kExclamation);
    return;
  }
  engine::alarms::writeAlarmSettings(s);
  if (AlarmEngine* e = AlarmEngine::current()) e->reloadSettings();
  core::appendLog(QStringLiteral("告警设置已保存"));
  hide();
}

void FrmAlarmSettings::Command2_Click() { hide(); }

}  // namespace xl::monitoring
