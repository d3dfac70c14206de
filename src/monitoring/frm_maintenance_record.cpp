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
#include "core/settings_keys.h"
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

// A whole number from Val of a text, held within 32 bits.
std::int32_t wholeNumber(double v) {
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
  FrmGlobalMonitoring::setReplyStore([this](int row, const QByteArray& reply) { engine_.storeReply(row, reply); });
  Form_Load();
}

FrmMaintenanceRecord::~FrmMaintenanceRecord() { FrmGlobalMonitoring::setReplyStore({}); }

void FrmMaintenanceRecord::clearStations() {
  platform::formatGrid(*VSFlexGrid1, false);
  engine_.clearStations();
}

void FrmMaintenanceRecord::appendStation(const QString& name, const QString& deviceId) {
  VSFlexGrid1->setRows(VSFlexGrid1->rows() + 1);
  const int r = VSFlexGrid1->rows() - 1;
  VSFlexGrid1->setTextMatrix(r, 1, name);
  VSFlexGrid1->setTextMatrix(r, 2, deviceId);
  engine_.appendStation(name, deviceId);  // unmarked until the configuration is applied
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
  Timer1.setEnabled(true);
}

void FrmMaintenanceRecord::Timer1_Timer() {
  // 1. The boxes from their keys, with the defaults.
  QStringList names;
  for (int r = 1; r < VSFlexGrid1->rows(); ++r) names << VSFlexGrid1->textMatrix(r, 1);
  engine::RecorderConfig config = engine::recorderConfigFromSettings(names, core::programDir());
  Combo1->setEditText(config.readInterval);
  PerLine->setChecked(core::readIniInt(core::keys::kScan, core::keys::kPerLine) == 1);
  Check1->setChecked(config.autoSaving);
  LTextBox2->setText(config.root);
  LTextBox1->setText(config.hours);
  LTextBox3->setText(config.minutes);
  LTextBox4->setText(config.lineCount);
  LTextBox5->setText(config.sizeLimit);

  // 2. The marks. A name that cannot be a key has nothing in the settings: its row keeps the
  // mark it was given in this run.
  for (int r = 1; r < VSFlexGrid1->rows(); ++r) {
    const QString name = VSFlexGrid1->textMatrix(r, 1);
    if (stationKeyProblem(name) != KeyProblem::None) config.marks.insert(name, runOnlyMarks_.value(name));
    VSFlexGrid1->setTextMatrix(r, 0, config.marks.value(name));
  }
  // What is applied is what the boxes show.
  config.readInterval = Combo1->currentText();
  config.autoSaving = Check1->isChecked();
  config.root = LTextBox2->text();
  config.hours = LTextBox1->text();
  config.minutes = LTextBox3->text();
  config.lineCount = LTextBox4->text();
  config.sizeLimit = LTextBox5->text();
  appliedPerLine_ = PerLine->isChecked();

  // 3.
  Timer1.setEnabled(false);

  // 4. The real-time screen's two idle timers take the value; nothing there reads it.
  const double readInterval = valOf(config.readInterval);
  if (FrmRealTimeMonitoring::exists()) {
    auto& live = FrmRealTimeMonitoring::instance();
    live.timer3Interval = readInterval >= 10 ? wholeNumber(readInterval) : 0;
    live.timer4Interval = wholeNumber(readInterval);
  }

  // 5, 6, 7. The save interval, automatic saving, the engine's Timer4.
  engine_.configure(config);

  // 8. The pace of the global monitor's polling. A value of 0 (or none) stops the scan, after
  // a discovery too.
  auto& scan = FrmGlobalMonitoring::instance();
  scan.pauseRest();
  if (readInterval > 0) {
    scan.setReadInterval(engine_.readIntervalSeconds());
    scan.resumeRest();
  } else {
    scan.setReadInterval(0);
  }

  // 9. The scroll bars follow the text.
  LTextBox1_Change();
  LTextBox3_Change();
}

// The folder dialog opens in the folder the path box names; a cancelled one gives no folder and
// the path stays as it was.
void FrmMaintenanceRecord::Command1_Click() {
  const QString folder = core::browseFolder(QStringLiteral("Select a folder."), LTextBox2->text());
  if (!folder.isEmpty()) LTextBox2->setText(folder);
}

void FrmMaintenanceRecord::showApplied() {
  const engine::RecorderConfig& applied = engine_.config();
  Combo1->setEditText(applied.readInterval);
  PerLine->setChecked(appliedPerLine_);
  Check1->setChecked(applied.autoSaving);
  LTextBox1->setText(applied.hours);
  LTextBox3->setText(applied.minutes);
  LTextBox2->setText(applied.root);
  LTextBox4->setText(applied.lineCount);
  LTextBox5->setText(applied.sizeLimit);
  for (int r = 1; r < VSFlexGrid1->rows(); ++r) VSFlexGrid1->setTextMatrix(r, 0, engine_.appliedMark(r));
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

  core::writeIni(kSection, core::keys::kReadInterval, Combo1->currentText());
  core::writeIni(kSection, core::keys::kAutoSaving, Check1->isChecked() ? QStringLiteral("1") : QStringLiteral("0"));
  core::writeIni(kSection, core::keys::kFilePath, LTextBox2->text());
  core::writeIni(kSection, core::keys::kSaveIntervalH, LTextBox1->text());
  core::writeIni(kSection, core::keys::kSaveIntervalM, LTextBox3->text());
  core::writeIni(kSection, core::keys::kLineCount, LTextBox4->text());
  core::writeIni(kSection, core::keys::kTemporary, LTextBox5->text());
  // The scan's pace: the key is read when the scan is made; the scan takes the change at its
  // next discovery or round.
  core::writeIni(core::keys::kScan, core::keys::kPerLine, PerLine->isChecked() ? QStringLiteral("1") : QStringLiteral("0"));
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
  if (const QString& root = engine_.config().root; !isUsableRoot(root))
    core::appendLog(QStringLiteral("数据保存：文件夹“%1”不存在或不能写入，数据将在该文件夹可用后写入。").arg(root));
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
  VScroll1->setValue(5 - wholeNumber(std::clamp(valOf(LTextBox1->text()), -1e6, 1e6)));
}

void FrmMaintenanceRecord::LTextBox3_Change() {
  const QSignalBlocker quiet(VScroll2);
  VScroll2->setValue(59 - wholeNumber(std::clamp(valOf(LTextBox3->text()), -1e6, 1e6)));
}

void FrmMaintenanceRecord::VSFlexGrid1_Click(int row) {
  if (row < 1 || row >= VSFlexGrid1->rows()) return;
  VSFlexGrid1->setTextMatrix(row, 0, isMarkedCell(VSFlexGrid1->textMatrix(row, 0)) ? QStringLiteral("0")
                                                                                     : QStringLiteral("-1"));
}

}  // namespace xl::monitoring
