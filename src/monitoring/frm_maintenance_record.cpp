#include "monitoring/frm_maintenance_record.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QStyledItemDelegate>
#include <QValidator>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "core/app_state.h"
#include "core/message_log.h"
#include "core/settings.h"
#include "core/startup.h"
#include "platform/dialogs.h"
#include "link/vb_numbers.h"
#include "monitoring/frm_global_monitoring.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "monitoring/recorder_settings.h"

namespace xl::monitoring {

namespace {

const QString& kSection = kRecorderSection;

double valOf(const QString& text) { return val(text.toStdString()); }

// A whole number of seconds from Val of a text, held within 32 bits.
std::int32_t wholeSeconds(double v) {
  if (std::isnan(v)) return 0;
  return static_cast<std::int32_t>(roundHalfEven(std::clamp(v, -2147483648.0, 2147483647.0)));
}

// Column 0 of the station grid shows its mark as a check box; the cell keeps the text "-1" or
// "0" (or nothing) that the settings hold.
class MarkDelegate : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;
  void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
    QStyledItemDelegate::initStyleOption(option, index);
    option->features |= QStyleOptionViewItem::HasCheckIndicator;
    option->checkState = isMarkedCell(index.data().toString()) ? Qt::Checked : Qt::Unchecked;
    option->text.clear();
    option->displayAlignment = Qt::AlignCenter;
  }
};

// The size limit box takes at most two characters as typed; a value from the settings is
// shown as it stands (a validator, unlike a maximum length, leaves text set by code alone).
class TwoCharacters : public QValidator {
 public:
  using QValidator::QValidator;
  State validate(QString& input, int&) const override { return input.size() <= 2 ? Acceptable : Invalid; }
};

QLabel* captionFor(QWidget* box, const QString& text, QWidget* parent) {
  auto* label = new QLabel(text, parent);
  label->setBuddy(box);
  return label;
}

}  // namespace

FrmMaintenanceRecord::FrmMaintenanceRecord() : ui::Screen("FrmMaintenanceRecord", QStringLiteral("数据保存")) {
  Combo1 = new QComboBox(this);
  Combo1->setObjectName("Combo1");
  Combo1->setEditable(true);
  Combo1->addItems({"10", "20", "30", "40", "50", "60"});
  Combo1->setEditText(QString());
  Combo1->setMinimumWidth(90);

  Frame1 = new QGroupBox(this);
  Frame1->setObjectName("Frame1");
  Check1 = new QCheckBox(QStringLiteral("  自动保存"), Frame1);
  Check1->setObjectName("Check1");
  PerLine = new QCheckBox(QStringLiteral("逐线快速轮询"), this);
  PerLine->setObjectName("PerLine");
  PerLine->setToolTip(QStringLiteral("每条通讯线路各自轮询，上一问答结束即发下一请求；读取间隔仍为两轮之间的休息"));

  const auto makeBox = [](QWidget* parent, const char* name, int width) {
    auto* box = new QLineEdit(parent);
    box->setObjectName(QString::fromLatin1(name));
    box->setMinimumWidth(width);
    return box;
  };
  const auto makeBar = [](QWidget* parent, const char* name, int top) {
    auto* bar = new QScrollBar(Qt::Vertical, parent);
    bar->setObjectName(QString::fromLatin1(name));
    bar->setRange(0, top);
    bar->setValue(top);
    bar->setFixedHeight(26);
    return bar;
  };
  LTextBox1 = makeBox(Frame1, "LTextBox1", 50);
  LTextBox1->setMaximumWidth(70);
  VScroll1 = makeBar(Frame1, "VScroll1", 5);
  LTextBox3 = makeBox(Frame1, "LTextBox3", 50);
  LTextBox3->setMaximumWidth(70);
  VScroll2 = makeBar(Frame1, "VScroll2", 59);
  LTextBox2 = makeBox(Frame1, "LTextBox2", 260);
  Command1 = new QPushButton(QStringLiteral("浏览"), Frame1);
  Command1->setObjectName("Command1");
  LTextBox4 = makeBox(Frame1, "LTextBox4", 90);
  LTextBox5 = makeBox(Frame1, "LTextBox5", 50);
  LTextBox5->setMaximumWidth(60);
  LTextBox5->setValidator(new TwoCharacters(LTextBox5));

  VSFlexGrid1 = new platform::FlexGrid(this);
  VSFlexGrid1->setObjectName("VSFlexGrid1");
  VSFlexGrid1->setItemDelegateForColumn(0, new MarkDelegate(VSFlexGrid1));

  Command3 = new QPushButton(QStringLiteral("确定"), this);
  Command3->setObjectName("Command3");
  Command4 = new QPushButton(QStringLiteral("取消"), this);
  Command4->setObjectName("Command4");

  // Layout: the read interval, the group of automatic saving, the station grid, the buttons.
  auto* top = new QHBoxLayout();
  top->addWidget(captionFor(Combo1, QStringLiteral("读取间隔(秒)"), this));
  top->addWidget(Combo1);
  top->addSpacing(16);
  top->addWidget(PerLine);
  top->addStretch(1);

  auto* group = new QGridLayout(Frame1);
  group->addWidget(Check1, 0, 0, 1, 3);
  auto* interval = new QHBoxLayout();
  interval->setSpacing(2);
  interval->addWidget(LTextBox1);
  interval->addWidget(VScroll1);
  interval->addWidget(new QLabel(QStringLiteral(":"), Frame1));
  interval->addWidget(LTextBox3);
  interval->addWidget(VScroll2);
  interval->addStretch(1);
  group->addWidget(captionFor(LTextBox1, QStringLiteral("保存时间间隔(小时:分钟)"), Frame1), 1, 0);
  group->addLayout(interval, 1, 1, 1, 2);
  group->addWidget(captionFor(LTextBox2, QStringLiteral("文件保存路径："), Frame1), 2, 0);
  group->addWidget(LTextBox2, 2, 1);
  group->addWidget(Command1, 2, 2);
  group->addWidget(captionFor(LTextBox4, QStringLiteral("行计数"), Frame1), 3, 0);
  auto* limits = new QHBoxLayout();
  limits->addWidget(LTextBox4);
  limits->addSpacing(16);
  limits->addWidget(captionFor(LTextBox5, QStringLiteral("临时文件大小限制(MB)"), Frame1));
  limits->addWidget(LTextBox5);
  limits->addStretch(1);
  group->addLayout(limits, 3, 1, 1, 2);
  group->setColumnStretch(1, 1);

  auto* buttons = new QHBoxLayout();
  buttons->addStretch(1);
  buttons->addWidget(Command3);
  buttons->addWidget(Command4);

  auto* layout = new QVBoxLayout(this);
  layout->addLayout(top);
  layout->addWidget(Frame1);
  layout->addWidget(captionFor(VSFlexGrid1, QStringLiteral("保存站点："), this));
  layout->addWidget(VSFlexGrid1, 1);
  layout->addLayout(buttons);
  resize(560, 520);

  // Events. Code that sets a text runs its change handler, as the operator's typing does.
  connect(Combo1, &QComboBox::editTextChanged, this, [this] { Combo1_Change(); });
  connect(VScroll1, &QScrollBar::valueChanged, this, [this] { VScroll1_Change(); });
  connect(VScroll2, &QScrollBar::valueChanged, this, [this] { VScroll2_Change(); });
  connect(LTextBox1, &QLineEdit::textChanged, this, [this] { LTextBox1_Change(); });
  connect(LTextBox3, &QLineEdit::textChanged, this, [this] { LTextBox3_Change(); });
  connect(Command1, &QPushButton::clicked, this, [this] { Command1_Click(); });
  connect(Command3, &QPushButton::clicked, this, [this] { Command3_Click(); });
  connect(Command4, &QPushButton::clicked, this, [this] { Command4_Click(); });
  connect(VSFlexGrid1, &QTableWidget::cellClicked, this, [this](int tableRow, int) {
    VSFlexGrid1_Click(tableRow + VSFlexGrid1->fixedRows());
  });

  Timer1.setInterval(1000);
  Timer1.setOnTick([this] { Timer1_Timer(); });
  Timer2.setInterval(1000);
  Timer2.setOnTick([this] { Timer2_Timer(); });
  Timer3.setInterval(300);
  Timer3.setOnTick([this] { Timer3_Timer(); });
  Timer4.setInterval(60000);
  Timer4.setOnTick([] {});  // starts nothing: the scan keeps its own pace
  Timer4.setEnabled(true);
  FrmGlobalMonitoring::setReplyStore([this](int row, const QByteArray& reply) { storeReply(row, reply); });
  Form_Load();
}

FrmMaintenanceRecord::~FrmMaintenanceRecord() { FrmGlobalMonitoring::setReplyStore({}); }

void FrmMaintenanceRecord::storeReply(int row, const QByteArray& reply) {
  if (row >= VSFlexGrid1->fixedRows() && row < VSFlexGrid1->rows()) VSFlexGrid1->setCellData(row, 0, reply);
}

void FrmMaintenanceRecord::setTimeSource(std::function<QDateTime()> now) { now_ = std::move(now); }

QDateTime FrmMaintenanceRecord::now() const { return now_ ? now_() : QDateTime::currentDateTime(); }

void FrmMaintenanceRecord::clearStations() {
  platform::formatGrid(*VSFlexGrid1, false);
  appliedMarks_.clear();
}

QString FrmMaintenanceRecord::appliedMark(int row) const {
  const auto i = static_cast<std::size_t>(row - 1);
  return row >= 1 && i < appliedMarks_.size() ? appliedMarks_[i] : QString();
}

void FrmMaintenanceRecord::appendStation(const QString& name, const QString& deviceId) {
  VSFlexGrid1->setRows(VSFlexGrid1->rows() + 1);
  const int r = VSFlexGrid1->rows() - 1;
  VSFlexGrid1->setTextMatrix(r, 1, name);
  VSFlexGrid1->setTextMatrix(r, 2, deviceId);
  appliedMarks_.resize(static_cast<std::size_t>(r));  // unmarked until the configuration is applied
  Timer1.setEnabled(true);
}

void FrmMaintenanceRecord::Form_Load() {
  VSFlexGrid1->setCols(5);
  VSFlexGrid1->setRows(1);
  VSFlexGrid1->setTextMatrix(0, 0, QStringLiteral("选择"));
  VSFlexGrid1->setTextMatrix(0, 1, QStringLiteral("站点名称"));
  VSFlexGrid1->setTextMatrix(0, 2, QStringLiteral("设备ID"));
  VSFlexGrid1->setTextMatrix(0, 3, QStringLiteral("File Name"));
  VSFlexGrid1->setTextMatrix(0, 4, QStringLiteral("Line Count"));
  VSFlexGrid1->setColumnHidden(3, true);
  VSFlexGrid1->setColumnHidden(4, true);
  platform::formatGrid(*VSFlexGrid1, true);
  VSFlexGrid1->setColumnWidth(0, 50);
  VSFlexGrid1->setColumnWidth(1, 220);
  queue_.clear();
  Timer1.setEnabled(true);
}

double FrmMaintenanceRecord::readIntervalValue() const { return valOf(Combo1->currentText()); }

void FrmMaintenanceRecord::Timer1_Timer() {
  // 1. The boxes from their keys, with the defaults.
  Combo1->setEditText(readIntervalOrDefault(core::readIni(kSection, QStringLiteral("Read Interval"))));
  PerLine->setChecked(core::readIniInt(QStringLiteral("Scan"), QStringLiteral("Per Line")) == 1);
  const double autoSaving = roundHalfEven(valOf(core::readIni(kSection, QStringLiteral("Auto Saving"))));
  Check1->setChecked(autoSaving == 1);
  LTextBox2->setText(filePathOrDefault(core::readIni(kSection, QStringLiteral("File Path")), core::programDir()));
  const SaveIntervalTexts saving = saveIntervalOrDefault(core::readIni(kSection, QStringLiteral("Save Interval H")),
                                                         core::readIni(kSection, QStringLiteral("Save Interval M")));
  LTextBox1->setText(saving.hours);
  LTextBox3->setText(saving.minutes);
  LTextBox4->setText(lineCountOrDefault(core::readIni(kSection, QStringLiteral("Line Count"))));
  LTextBox5->setText(sizeLimitOrDefault(core::readIni(kSection, QStringLiteral("Temporary"))));

  // 2. The marks. A name that cannot be a key has nothing in the settings: its row keeps the
  // mark it was given in this run.
  appliedMarks_.assign(static_cast<std::size_t>(std::max(0, VSFlexGrid1->rows() - 1)), QString());
  for (int r = 1; r < VSFlexGrid1->rows(); ++r) {
    const QString name = VSFlexGrid1->textMatrix(r, 1);
    const QString mark = stationKeyProblem(name) == KeyProblem::None ? core::readIni(kSection, name)
                                                                     : runOnlyMarks_.value(name);
    VSFlexGrid1->setTextMatrix(r, 0, mark);
    appliedMarks_[static_cast<std::size_t>(r - 1)] = mark;
  }
  applied_ = boxesNow();

  // 3.
  Timer1.setEnabled(false);

  // 4. The real-time screen's two idle timers take the value; nothing there reads it.
  const double readInterval = readIntervalValue();
  if (FrmRealTimeMonitoring::exists()) {
    auto& live = FrmRealTimeMonitoring::instance();
    live.timer3Interval = readInterval >= 10 ? wholeSeconds(readInterval) : 0;
    live.timer4Interval = wholeSeconds(readInterval);
  }

  // 5, 6.
  saveInterval = saveIntervalSeconds(LTextBox1->text(), LTextBox3->text());
  Timer2.setEnabled(Check1->isChecked());

  // 7. Timer4 runs on the read interval, in seconds; at 0 or less it never ticks.
  const std::int32_t seconds = wholeSeconds(readInterval);
  Timer4.setInterval(seconds >= 1 ? std::int64_t{seconds} * 1000 : 0);
  Timer4.setEnabled(seconds >= 1);

  // 8. The pace of the global monitor's polling. A value of 0 (or none) stops the scan, after
  // a discovery too.
  auto& scan = FrmGlobalMonitoring::instance();
  scan.pauseRest();
  if (readInterval > 0) {
    scan.setReadInterval(seconds);
    scan.resumeRest();
  } else {
    scan.setReadInterval(0);
  }

  // 9. The scroll bars follow the text.
  LTextBox1_Change();
  LTextBox3_Change();
}

void FrmMaintenanceRecord::Timer2_Timer() {
  ++saveTicks;
  if (saveTicks <= saveInterval) return;
  saveTicks = 0;
  if (recordCounter < INT32_MAX) ++recordCounter;
  if (VSFlexGrid1->rows() >= 2) {
    passRow = 1;
    Timer3.setEnabled(true);
  }
}

void FrmMaintenanceRecord::Timer3_Timer() {
  const int last = VSFlexGrid1->rows() - 1;
  // The station list was cut back during the pass: the pass is over.
  if (passRow < 1 || passRow > last) {
    Timer3.setEnabled(false);
    return;
  }
  if (isMarkedCell(appliedMark(passRow))) {
    parseReading(VSFlexGrid1->cellData(passRow, 0));
    flushReadings();
  }
  if (passRow < VSFlexGrid1->rows() - 1) {
    ++passRow;
  } else {
    Timer3.setEnabled(false);
  }
}

void FrmMaintenanceRecord::parseReading(const QVariant& reply) {
  if (passRow < 1 || passRow >= VSFlexGrid1->rows()) return;
  const auto row = monitoring::parseReading(storedReplyOf(reply), VSFlexGrid1->textMatrix(passRow, 1),
                                            VSFlexGrid1->textMatrix(passRow, 2), now(), recordCounter);
  if (row) queue_.push_back(pendingRowOf(*row));
}

void FrmMaintenanceRecord::flushReadings() {
  std::vector<RecorderStation> stations;
  stations.reserve(static_cast<std::size_t>(VSFlexGrid1->rows()));
  for (int r = 1; r < VSFlexGrid1->rows(); ++r)
    stations.push_back({VSFlexGrid1->textMatrix(r, 1), isMarkedCell(appliedMark(r)), VSFlexGrid1->textMatrix(r, 3)});
  const RecorderLimits limits{valOf(applied_.sizeLimit), valOf(applied_.lineCount)};
  const FlushReport report = files_.flushReadings(applied_.root, stations, queue_, limits, recordCounter);
  if (report.rootMissing) return;
  for (int r = 1; r < VSFlexGrid1->rows(); ++r) {
    const QString& file = stations[static_cast<std::size_t>(r - 1)].file;
    if (VSFlexGrid1->textMatrix(r, 3) != file) VSFlexGrid1->setTextMatrix(r, 3, file);
  }
  dropped_ += report.dropped;
  for (const QString& line : report.log) core::appendLog(line);
}

// The folder dialog opens in the folder the path box names; a cancelled one gives no folder and
// the path stays as it was.
void FrmMaintenanceRecord::Command1_Click() {
  const QString folder = core::browseFolder(QStringLiteral("Select a folder."), LTextBox2->text());
  if (!folder.isEmpty()) LTextBox2->setText(folder);
}

FrmMaintenanceRecord::AppliedBoxes FrmMaintenanceRecord::boxesNow() const {
  return {Combo1->currentText(), LTextBox1->text(),    LTextBox3->text(),    LTextBox2->text(),
          LTextBox4->text(),     LTextBox5->text(),    PerLine->isChecked(), Check1->isChecked()};
}

void FrmMaintenanceRecord::showApplied() {
  Combo1->setEditText(applied_.readInterval);
  PerLine->setChecked(applied_.perLine);
  Check1->setChecked(applied_.autoSaving);
  LTextBox1->setText(applied_.hours);
  LTextBox3->setText(applied_.minutes);
  LTextBox2->setText(applied_.root);
  LTextBox4->setText(applied_.lineCount);
  LTextBox5->setText(applied_.sizeLimit);
  for (int r = 1; r < VSFlexGrid1->rows(); ++r) VSFlexGrid1->setTextMatrix(r, 0, appliedMark(r));
}

QString FrmMaintenanceRecord::typedTextRefusal() const {
  const std::pair<const char*, QString> typed[] = {
      {"读取间隔(秒)", Combo1->currentText()},  {"保存时间间隔", LTextBox1->text()},
      {"保存时间间隔", LTextBox3->text()},      {"文件保存路径", LTextBox2->text()},
      {"行计数", LTextBox4->text()},            {"临时文件大小限制(MB)", LTextBox5->text()},
  };
  for (const auto& [caption, text] : typed) {
    const QString refusal = core::settingsValueRefusal(QString::fromUtf8(caption), text);
    if (!refusal.isEmpty()) return refusal;
  }
  return {};
}

void FrmMaintenanceRecord::Command3_Click() {
  // A text the settings file could not give back as typed is refused; nothing is saved.
  if (const QString refusal = typedTextRefusal(); !refusal.isEmpty()) {
    platform::dialogs().msgBox(refusal, platform::kExclamation);
    return;
  }
  LTextBox4->setText(boundedLineCount(LTextBox4->text()));
  LTextBox5->setText(boundedSizeLimit(LTextBox5->text()));

  core::writeIni(kSection, QStringLiteral("Read Interval"), Combo1->currentText());
  core::writeIni(kSection, QStringLiteral("Auto Saving"), Check1->isChecked() ? QStringLiteral("1") : QStringLiteral("0"));
  core::writeIni(kSection, QStringLiteral("File Path"), LTextBox2->text());
  core::writeIni(kSection, QStringLiteral("Save Interval H"), LTextBox1->text());
  core::writeIni(kSection, QStringLiteral("Save Interval M"), LTextBox3->text());
  core::writeIni(kSection, QStringLiteral("Line Count"), LTextBox4->text());
  core::writeIni(kSection, QStringLiteral("Temporary"), LTextBox5->text());
  // The scan's pace: the key is read when the scan is made; the scan takes the change at its
  // next discovery or round.
  core::writeIni(QStringLiteral("Scan"), QStringLiteral("Per Line"), PerLine->isChecked() ? QStringLiteral("1") : QStringLiteral("0"));
  FrmGlobalMonitoring::instance().setPerLine(PerLine->isChecked());

  // A station whose name no settings line can hold as a key (one of the recorder's own keys
  // among them) keeps its mark for this run only; the first time it is marked, the message
  // window says so, instead of the mark being lost at the next start without a word.
  for (int r = 1; r < VSFlexGrid1->rows(); ++r) {
    const QString name = VSFlexGrid1->textMatrix(r, 1);
    const QString mark = VSFlexGrid1->textMatrix(r, 0);
    if (const auto line = stationKeyLogLine(name)) {
      runOnlyMarks_.insert(name, mark);
      if (isMarkedCell(mark) && !toldNames_.contains(name)) {
        toldNames_.insert(name);
        core::appendLog(*line);
      }
      continue;
    }
    core::writeIni(kSection, name, mark);
  }

  hideWithFrame();
  Timer1_Timer();
  // The settings are saved either way; the queue waits for the folder.
  if (!isUsableRoot(applied_.root))
    core::appendLog(QStringLiteral("数据保存：文件夹“%1”不存在或不能写入，数据将在该文件夹可用后写入。").arg(applied_.root));
}

void FrmMaintenanceRecord::Command4_Click() {
  showApplied();
  hideWithFrame();
}

void FrmMaintenanceRecord::closeEvent(QCloseEvent* event) {
  showApplied();
  ui::Screen::closeEvent(event);
}

bool FrmMaintenanceRecord::moveStationMark(core::IniDocument& settings, const QString& oldName, const QString& newName) {
  // Names that are one key (another case, blanks around) keep the key as it is.
  if (core::sameIniKey(oldName, newName) || isRecorderKeyName(oldName) || isRecorderKeyName(newName)) return false;
  const auto mark = settings.value(kSection, oldName);
  bool changed = settings.remove(kSection, oldName);
  changed = settings.remove(kSection, newName) || changed;
  if (mark) changed = settings.set(kSection, newName, *mark) || changed;
  return changed;
}

bool FrmMaintenanceRecord::removeStationMark(core::IniDocument& settings, const QString& name) {
  return !isRecorderKeyName(name) && settings.remove(kSection, name);
}

void FrmMaintenanceRecord::Combo1_Change() {
  const QString bounded = boundedReadInterval(Combo1->currentText());
  if (bounded != Combo1->currentText()) Combo1->setEditText(bounded);
}

// The bars run upward: the top is the most. A bar moved by the operator writes its box; a box
// moves its bar without writing itself back, so typed text is never rewritten while typing.
void FrmMaintenanceRecord::VScroll1_Change() {
  LTextBox1->setText(QString::number(5 - VScroll1->value()));
}

void FrmMaintenanceRecord::VScroll2_Change() {
  LTextBox3->setText(QString::number(59 - VScroll2->value()));
}

void FrmMaintenanceRecord::LTextBox1_Change() {
  const QSignalBlocker quiet(VScroll1);
  VScroll1->setValue(5 - wholeSeconds(std::clamp(valOf(LTextBox1->text()), -1e6, 1e6)));
}

void FrmMaintenanceRecord::LTextBox3_Change() {
  const QSignalBlocker quiet(VScroll2);
  VScroll2->setValue(59 - wholeSeconds(std::clamp(valOf(LTextBox3->text()), -1e6, 1e6)));
}

void FrmMaintenanceRecord::VSFlexGrid1_Click(int row) {
  if (row < 1 || row >= VSFlexGrid1->rows()) return;
  VSFlexGrid1->setTextMatrix(row, 0, isMarkedCell(VSFlexGrid1->textMatrix(row, 0)) ? QStringLiteral("0")
                                                                                     : QStringLiteral("-1"));
}

}  // namespace xl::monitoring
