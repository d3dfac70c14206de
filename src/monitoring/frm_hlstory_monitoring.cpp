#include "monitoring/frm_hlstory_monitoring.h"

#include <algorithm>
#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QFocusEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

#include "core/message_log.h"
#include "core/settings.h"
#include "core/station_request.h"
#include "core/station_store.h"
#include "link/device_data_map.h"
#include "monitoring/frm_chart.h"
#include "platform/dialogs.h"
#include "platform/flex_grid.h"
#include "platform/gbk.h"
#include "ui/form.h"
#include "ui/input.h"
#include "ui/station_box.h"

namespace xl::monitoring {

namespace {

using ui::Field;
using ui::q;

const Field kIdentity[] = {
    {.name = "LTextBox1", .caption = "设备ID", .width = 50},
    {.name = "LTextBox6", .caption = "设备型号", .width = 110},
    {.name = "LTextBox7", .caption = "设备版本", .width = 70},
    {.name = "LTextBox8", .caption = "设备SN码", .width = 90},
};

QString qv(std::string_view s) { return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size())); }

// The selection column shows its mark as a check box: "-1" ticked, "0" not, a blank row
// (a lost reply) nothing at all. The cell's text stays the mark, as code reads it.
class MarkDelegate : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;
  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
    QStyleOptionViewItem plain = option;
    initStyleOption(&plain, index);
    const QString mark = plain.text;
    plain.text.clear();
    QWidget* view = const_cast<QWidget*>(option.widget);
    QStyle* style = view ? view->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &plain, painter, view);
    if (mark.isEmpty()) return;
    QStyleOptionButton box;
    box.state = QStyle::State_Enabled | (isMarked(mark.toStdString()) ? QStyle::State_On : QStyle::State_Off);
    const QSize size = style->subElementRect(QStyle::SE_CheckBoxIndicator, &box, view).size();
    box.rect = QRect(option.rect.center() - QPoint(size.width() / 2, size.height() / 2), size);
    style->drawPrimitive(QStyle::PE_IndicatorCheckBox, &box, painter, view);
  }
};

QPushButton* makeButton(QWidget* parent, const char* name, const QString& caption) {
  auto* b = new QPushButton(caption, parent);
  b->setObjectName(name);
  return b;
}

}  // namespace

FrmHlstoryMonitoring::FrmHlstoryMonitoring()
    : ui::Screen("FrmHlstoryMonitoring", QStringLiteral("历史监控")),
      MSComm1("FrmHlstoryMonitoring.MSComm1",
              [this] {
                link::SessionOptions o;
                o.showReplyText = [this](const std::string& text) { Text1->setText(q(text)); };
                return o;
              }(),
              [this](Bytes& reply, const std::string&) {
                if (pendingRead == 1) readDatasA1(reply);
                if (pendingRead == 2) showHistoryDay(reply);
              }) {
  // The station and its identity.
  auto* identity = new QGridLayout;
  Combo1 = ui::addStationBox(identity, this);
  auto* identityBoxes = new QGridLayout;
  const auto ids = ui::addFields(identityBoxes, this, kIdentity, 4);
  LTextBox1 = ids[0];
  LTextBox6 = ids[1];
  LTextBox7 = ids[2];
  LTextBox8 = ids[3];
  identity->addLayout(identityBoxes, 0, 2);
  identity->setColumnStretch(3, 1);

  // The reading: days, the countdown in their place, the button; the charts and the export.
  auto* commands = new QHBoxLayout;
  Combo2 = new QComboBox(this);
  Combo2->setObjectName("Combo2");
  Combo2->setEditable(true);
  Combo2->setInsertPolicy(QComboBox::NoInsert);
  for (int d = 1; d <= 100; ++d) Combo2->addItem(QString::number(d));
  Combo2->setCurrentIndex(-1);  // filling the list chooses nothing: the box starts empty
  Combo2->setMinimumWidth(80);
  auto* daysLabel = new QLabel(QStringLiteral("读取历史数据"), this);
  daysLabel->setObjectName("Label1");
  daysLabel->setBuddy(Combo2);
  Text2 = ui::makeBox(this, {.name = "Text2", .width = 80});
  Text2->setVisible(false);
  auto* agoLabel = new QLabel(QStringLiteral("天前"), this);
  agoLabel->setObjectName("Label2");
  Command5 = makeButton(this, "Command5", QStringLiteral("读取"));
  Combo3 = new QComboBox(this);
  Combo3->setObjectName("Combo3");
  Combo3->setMinimumWidth(150);
  auto* itemLabel = new QLabel(QStringLiteral("项目选择"), this);
  itemLabel->setObjectName("Label3");
  itemLabel->setBuddy(Combo3);
  Command6 = makeButton(this, "Command6", QStringLiteral("曲线"));
  Command7 = makeButton(this, "Command7", QStringLiteral("柱状图"));
  Command8 = makeButton(this, "Command8", QStringLiteral("导出到excel表格"));
  // The days box and the reading's progress box share one place of one size: while a reading
  // runs the progress box stands where the days box was, and nothing beside them moves.
  auto* daysSlot = new QWidget(this);
  daysSlot->setObjectName("DaysSlot");
  auto* slotLayout = new QGridLayout(daysSlot);
  slotLayout->setContentsMargins(0, 0, 0, 0);
  for (QWidget* w : {static_cast<QWidget*>(Combo2), static_cast<QWidget*>(Text2)}) {
    w->setMinimumWidth(0);
    w->setMaximumWidth(QWIDGETSIZE_MAX);
    w->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    slotLayout->addWidget(w, 0, 0);
  }
  // The days box's own size; the progress box (a few digits) fits in it.
  daysSlot->setFixedSize(Combo2->sizeHint().width(), std::max(Combo2->sizeHint().height(), Text2->sizeHint().height()));
  for (QWidget* w : std::initializer_list<QWidget*>{daysLabel, daysSlot, agoLabel, Command5}) commands->addWidget(w);
  commands->addSpacing(24);
  for (QWidget* w : std::initializer_list<QWidget*>{itemLabel, Combo3, Command6, Command7, Command8})
    commands->addWidget(w);
  commands->addStretch(1);

  // Left from the screen's making, never shown.
  Text1 = ui::makeBox(this, {.name = "Text1"});
  Text1->setVisible(false);
  Command1 = makeButton(this, "Command1", QStringLiteral("Command1"));
  Command1->setVisible(false);

  VsFList1 = new platform::FlexGrid(this);
  VsFList1->setObjectName("VsFList1");
  VsFList1->setCols(kHistoryColumns);
  for (int c = 0; c < kHistoryColumns; ++c) VsFList1->setTextMatrix(0, c, qv(historyHeaders()[static_cast<std::size_t>(c)]));
  VsFList1->setItemDelegateForColumn(0, new MarkDelegate(VsFList1));
  platform::formatGrid(*VsFList1, true);
  VsFList1->resizeColumnsToContents();
  for (int c = 2; c < kHistoryColumns; ++c) Combo3->addItem(VsFList1->textMatrix(0, c));
  Combo3->setCurrentIndex(-1);  // no item until the operator picks one

  auto* layout = new QVBoxLayout(this);
  layout->addLayout(identity);
  layout->addLayout(commands);
  layout->addWidget(VsFList1, 1);

  Combo1->onClick([this] { Combo1_Click(); });
  Combo1->onChange([this] { Combo1_Change(); });
  ui::onEvent(Combo2, QEvent::FocusOut, [this](QEvent* e) {
    // Opening the drop-down list is no leaving of the box.
    if (static_cast<QFocusEvent*>(e)->reason() != Qt::PopupFocusReason) Combo2_LostFocus();
  });
  connect(Command5, &QPushButton::clicked, this, [this] { Command5_Click(); });
  connect(Command6, &QPushButton::clicked, this, [this] { Command6_Click(); });
  connect(Command7, &QPushButton::clicked, this, [this] { Command7_Click(); });
  connect(Command8, &QPushButton::clicked, this, [this] { Command8_Click(); });
  connect(Command1, &QPushButton::clicked, this, [this] { Command1_Click(); });
  connect(VsFList1, &QTableWidget::cellClicked, this, [this](int row, int) { VsFList1_Click(row + 1); });

  Timer1.setInterval(300);
  Timer1.setOnTick([] {});
  Timer2.setInterval(kHistoryPaceMs);
  Timer2.setOnTick([this] { Timer2_Timer(); });
  MSComm1.setOnExchangeEnded([this] {
    if (concluding_ && MSComm1.idle()) concludeReading();
  });

  ui::registerStationList(ui::StationList::History, Combo1);
  resize(1000, 600);
}

FrmHlstoryMonitoring::~FrmHlstoryMonitoring() { ui::registerStationList(ui::StationList::History, nullptr); }

void FrmHlstoryMonitoring::ClearAll() {
  for (QLineEdit* b : {LTextBox1, LTextBox6, LTextBox7, LTextBox8}) b->clear();
}

// --- The station ---------------------------------------------------------------------------

void FrmHlstoryMonitoring::Combo1_Click() {
  ClearAll();
  pendingRead = 1;
  LTextBox1->setText(core::getStationDeviceID(Combo1->text()));
  core::trySendToStation(MSComm1, Combo1->text(), link::kDeviceInfoRequest);
}

void FrmHlstoryMonitoring::readDatasA1(Bytes& reply) {
  const auto info = link::decodeDeviceInfo(reply);
  if (!info) return;
  LTextBox6->setText(q(info->model));
  LTextBox7->setText(q(info->deviceVersion));
  LTextBox8->setText(q(info->serialNumber));
  Timer1.setEnabled(true);
}

// --- The reading ---------------------------------------------------------------------------

void FrmHlstoryMonitoring::Combo2_LostFocus() {
  const QString clamped = q(clampDayCountText(Combo2->currentText().toStdString()));
  if (clamped != Combo2->currentText()) Combo2->setEditText(clamped);
}

void FrmHlstoryMonitoring::Command5_Click() {
  if (Combo1->text().isEmpty()) {
    platform::dialogs().msgBox(qv(kChooseStationText));
    return;
  }
  pendingRead = 2;
  platform::formatGrid(*VsFList1, false);
  const HistoryStart start = HistoryReading::dayCount(Combo2->currentText().toStdString());
  if (!start.message.empty()) {
    platform::dialogs().msgBox(q(start.message));
    return;
  }
  if (!start.days) {
    core::appendLog(q(start.failureLog));
    return;
  }
  reading_.start(*start.days);
  answeredRows_.clear();
  concluding_ = false;
  Timer2.setEnabled(true);
  Command5->setEnabled(false);
  VsFList1->setRows(reading_.gridRows());
  core::appendLog(qv(kReadingLogText));
  Text2->setText(q(reading_.startText()));
  Text2->setVisible(true);
  Combo2->setVisible(false);
}

void FrmHlstoryMonitoring::Timer2_Timer() {
  if (!reading_.reading()) {
    Timer2.setEnabled(false);
    return;
  }
  // The station is looked up anew at every tick: a change of Combo1 meanwhile redirects the
  // rest of the reading.
  const QString name = Combo1->text();
  const HistoryTick t =
      reading_.tick(core::getStationDeviceID(name).toStdString(), Combo2->currentText().toStdString());
  if (t.frame) MSComm1.sendRequest(core::getStationPort(name).toStdString(), *t.frame);
  if (!t.failureLog.empty()) core::appendLog(q(t.failureLog));
  if (!t.finished) {
    Text2->setText(q(t.progress));
    return;
  }
  showIdle();
  // The last request has left; its reply, and those before it, may still come or not: the
  // verdict waits for the end of the reading's last exchange.
  if (!t.failureLog.empty()) return;
  concluding_ = true;
  if (MSComm1.idle()) concludeReading();
}

void FrmHlstoryMonitoring::concludeReading() {
  concluding_ = false;
  int unanswered = 0;
  const int rows = std::min(reading_.gridRows(), VsFList1->rows());
  for (int r = 1; r < rows; ++r) {
    if (answeredRows_.count(r)) continue;
    ++unanswered;
    VsFList1->setTextMatrix(r, 1, qv(kNoAnswerLabel));
  }
  if (unanswered == 0)
    core::appendLog(qv(kReadDoneLogText));
  else
    core::appendLog(qv(kReadUnansweredLogText) + QStringLiteral("%1 天无应答").arg(unanswered));
}

void FrmHlstoryMonitoring::showIdle() {
  Timer2.setEnabled(false);
  Command5->setEnabled(true);
  Text2->clear();
  Text2->setVisible(false);
  Combo2->setVisible(true);
}

void FrmHlstoryMonitoring::showHistoryDay(Bytes& reply) {
  const auto row = reading_.showHistoryDay(reply, VsFList1->rows(), MSComm1.answeringRequest());
  if (!row) return;
  answeredRows_.insert(row->row);
  const std::vector<std::string> cells = row->cells();
  for (int c = 0; c < kHistoryColumns; ++c) VsFList1->setTextMatrix(row->row, c, q(cells[static_cast<std::size_t>(c)]));
}

// --- Marks and charts ----------------------------------------------------------------------

void FrmHlstoryMonitoring::VsFList1_Click(int row) {
  if (row < 1 || row >= VsFList1->rows()) return;
  VsFList1->setTextMatrix(row, 0, q(toggledMark(VsFList1->textMatrix(row, 0).toStdString())));
}

GridRows FrmHlstoryMonitoring::gridRows() const {
  GridRows rows(static_cast<std::size_t>(VsFList1->rows()));
  for (int r = 0; r < VsFList1->rows(); ++r) {
    auto& cells = rows[static_cast<std::size_t>(r)];
    cells.reserve(kHistoryColumns);
    for (int c = 0; c < kHistoryColumns; ++c) cells.push_back(VsFList1->textMatrix(r, c).toStdString());
  }
  return rows;
}

void FrmHlstoryMonitoring::drawChart(short chartType) {
  const auto request = chartRequest(gridRows(), Combo3->currentText().toStdString(), chartType);
  if (!request) return;  // no item, or no marked row: no chart and no message
  QStringList days;
  for (const std::string& d : request->days) days << q(d);
  FrmChart::instance().showChart(request->values, static_cast<int>(request->values.size()), request->chartType,
                                 q(request->title), days);
}

// --- Export --------------------------------------------------------------------------------

void FrmHlstoryMonitoring::Command8_Click() {
  const QString chosen = platform::dialogs().saveFileName(QStringLiteral("导出到excel表格"), QStringLiteral("*.csv"));
  if (chosen.isEmpty()) return;
  const QString fileName = q(exportFileName(chosen.toStdString()));
  if (VsFList1->rows() < 2) {
    platform::dialogs().msgBox(qv(kExportEmptyText));
    return;
  }
  // An existing file is extended, not replaced.
  QFile file(fileName);
  const QByteArray bytes = platform::toGbk(q(exportText(gridRows())));
  if (core::isReadOnlyFile(fileName) || !file.open(QIODevice::WriteOnly | QIODevice::Append) || file.write(bytes) != bytes.size() || !file.flush()) {
    core::appendLog(QStringLiteral("导出数据失败：无法写入文件 ") + fileName);
    return;
  }
  file.close();
  platform::dialogs().msgBox(qv(kExportDoneText));
  core::appendLog(qv(kExportDoneLogText));
}

void FrmHlstoryMonitoring::Command1_Click() {
  VsFList1->setRows(100);
  for (int r = 1; r <= 10; ++r) VsFList1->setTextMatrix(r, 2, QString::number(r));
}

}  // namespace xl::monitoring
