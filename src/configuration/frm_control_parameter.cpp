#include "configuration/frm_control_parameter.h"

#include <QApplication>
#include <QComboBox>
#include <QFocusEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <string>

#include "configuration/parameter_file.h"
#include "configuration/parameter_rules.h"
#include "core/message_log.h"
#include "core/station_request.h"
#include "core/station_store.h"
#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "platform/dialogs.h"
#include "platform/failure.h"
#include "ui/form.h"
#include "ui/input.h"
#include "ui/station_box.h"

namespace xl::configuration {

namespace {

using ui::Field;
using ui::q;

// One row of the parameter table: the caption, the reference box ("参考值") and the current box
// ("当前参数"), in the order in which the rows stand on the screen. The reference texts are those
// of referenceColumn(); TextLimit's reference is not restored and keeps its own text here.
struct Row {
  Control current;
  const char* reference;
};
constexpr Row kVoltageRows[] = {
    {Control::Combo2, "LTextBox5"},      {Control::LTextBox12, "LTextBox11"}, {Control::TextLimit, "Text2"},
    {Control::LTextBox16, "LTextBox15"}, {Control::LTextBox18, "LTextBox17"}, {Control::LTextBox20, "LTextBox19"},
    {Control::LTextBox22, "LTextBox21"}, {Control::LTextBox38, "LTextBox37"}, {Control::LTextBox40, "LTextBox39"},
    {Control::LTextBox36, "LTextBox35"}, {Control::LTextBox34, "LTextBox33"},
};
constexpr Row kOtherRows[] = {
    {Control::SetChargeCurr, "SetCurrText2"}, {Control::Combo4, "LTextBox25"},     {Control::Combo3, "LTextBox6"},
    {Control::LTextBox32, "LTextBox31"},      {Control::LTextBox28, "LTextBox27"}, {Control::LTextBox29, "LTextBox26"},
    {Control::LTextBox10, "LTextBox9"},       {Control::LTextBox8, "LTextBox7"},   {Control::LTextBox45, "LTextBox30"},
    {Control::LTextBox24, "LTextBox23"},      {Control::LTextBox44, "LTextBox43"},
};
constexpr const char* kTextLimitReference = "15.50";

// The rated values above the table, read-only.
constexpr Field kRated[] = {
    {.name = "LTextBox1", .caption = "设备ID", .width = 60},
    {.name = "LTextBox2", .caption = "额定电压(V)", .width = 150},
    {.name = "LTextBox3", .caption = "额定负载电流(A)", .width = 90},
    {.name = "LTextBox4", .caption = "额定充电电流(A)", .width = 90},
};
constexpr const char* kRatedVoltageStored = "12/24/36/48/60/96(V)";

QString referenceText(const Row& row) {
  if (row.current == Control::TextLimit) return QString::fromUtf8(kTextLimitReference);
  for (const ReferenceEntry& e : referenceColumn())
    if (e.current == row.current) return QString::fromUtf8(e.text.data(), static_cast<int>(e.text.size()));
  return {};
}

QString text(std::string_view s) { return QString::fromUtf8(s.data(), static_cast<int>(s.size())); }

}  // namespace

FrmControlParameter::FrmControlParameter()
    : ui::Screen("FrmControlParameter", QStringLiteral("控制参数")),
      MSComm1(
          "FrmControlParameter.MSComm1",
          [this] {
            link::SessionOptions o;
            // This copy shows every reply text in its hidden box.
            o.showReplyText = [this](const std::string& t) { Text1->setText(q(t)); };
            return o;
          }(),
          [this](Bytes& reply, const std::string&) { onReply(reply); }) {
  build();
  ui::registerStationList(ui::StationList::ControlParameter, Combo1);
  Form_Load();
}

FrmControlParameter::~FrmControlParameter() { ui::registerStationList(ui::StationList::ControlParameter, nullptr); }

void FrmControlParameter::build() {
  // --- The station and its rated values ---------------------------------------------------
  auto* top = new QGridLayout;
  Combo1 = ui::addStationBox(top, this);
  // Only a station of the list can be chosen here: a typed name could leave the block of one
  // controller on the screen under the name of another.
  Combo1->makeDropDownList();
  const auto rated = ui::addFields(top, this, kRated, 2, 1);
  widgets_.insert(static_cast<int>(Control::LTextBox1), rated[0]);
  widgets_.insert(static_cast<int>(Control::LTextBox2), rated[1]);
  widgets_.insert(static_cast<int>(Control::LTextBox3), rated[2]);
  widgets_.insert(static_cast<int>(Control::LTextBox4), rated[3]);
  rated[1]->setText(QString::fromUtf8(kRatedVoltageStored));
  Text1 = ui::makeBox(this, {.name = "Text1"});
  Text1->setVisible(false);

  // --- The parameter table: caption, "参考值", "当前参数" ---------------------------------
  const auto table = [this](const char* frameName, std::span<const Row> rows) {
    auto* frame = new QGroupBox(this);
    frame->setObjectName(QString::fromLatin1(frameName));
    auto* grid = new QGridLayout(frame);
    grid->setColumnStretch(1, 1);
    grid->setColumnStretch(2, 1);
    const char* headings[] = {"参考值", "当前参数"};
    for (int column = 1; column <= 2; ++column) {
      auto* h = new QLabel(QString::fromUtf8(headings[column - 1]), frame);
      h->setAlignment(Qt::AlignCenter);
      grid->addWidget(h, 0, column);
    }
    int at = 1;
    for (const Row& row : rows) {
      const Control c = row.current;
      const std::string_view name = controlName(c), caption = captionOf(c);
      QWidget* current = nullptr;
      if (isList(c)) {
        auto* list = new QComboBox(frame);
        list->setObjectName(text(name));
        for (const std::string& entry : listEntries(c)) list->addItem(q(entry));
        list->setCurrentIndex(-1);
        auto* label = new QLabel(text(caption), frame);
        label->setBuddy(list);
        grid->addWidget(label, at, 0);
        current = list;
      } else {
        // The current box with its caption as the kit builds it, then moved one column on so
        // that the reference box stands between them.
        const Field field{.name = name.data(), .caption = caption.data(), .readOnly = false, .width = 80};
        QLineEdit* box = ui::addFields(grid, frame, std::span(&field, 1), 1, at)[0];
        grid->removeWidget(box);
        current = box;
      }
      grid->addWidget(current, at, 2);
      widgets_.insert(static_cast<int>(c), current);
      // The reference box: SetCurrText2 is a control of its own (the rated charge current),
      // the others hold their fixed texts.
      QLineEdit* reference = ui::makeBox(frame, {.name = row.reference, .width = 80});
      if (c == Control::SetChargeCurr)
        widgets_.insert(static_cast<int>(Control::SetCurrText2), reference);
      else
        reference->setText(referenceText(row));
      reference->setFocusPolicy(Qt::NoFocus);
      grid->addWidget(reference, at, 1);
      ++at;
    }
    return frame;
  };
  QGroupBox* voltages = table("Frame1", kVoltageRows);
  QGroupBox* others = table("Frame2", kOtherRows);
  Combo2 = static_cast<QComboBox*>(widgetOf(Control::Combo2));
  Combo3 = static_cast<QComboBox*>(widgetOf(Control::Combo3));
  Combo4 = static_cast<QComboBox*>(widgetOf(Control::Combo4));
  Combo4->setToolTip(QStringLiteral("蓄电池系统电压设置：系统电压设置后，为安全考虑，需重启才生效！"));

  // --- Buttons -----------------------------------------------------------------------------
  const auto makeButton = [this](const char* name, const char* caption) {
    auto* b = new QPushButton(QString::fromUtf8(caption), this);
    b->setObjectName(QString::fromLatin1(name));
    return b;
  };
  Command1 = makeButton("Command1", "读取");
  Command2 = makeButton("Command2", "设置");
  Command3 = makeButton("Command3", "恢复默认值");
  Command4 = makeButton("Command4", "导出设置");
  Command5 = makeButton("Command5", "导入设置");
  auto* buttons = new QHBoxLayout;
  for (QPushButton* b : {Command3, Command4, Command5}) buttons->addWidget(b);
  buttons->addStretch();
  for (QPushButton* b : {Command1, Command2}) buttons->addWidget(b);

  auto* tables = new QHBoxLayout;
  tables->addWidget(voltages, 1);
  tables->addWidget(others, 1);
  auto* topRow = new QHBoxLayout;
  topRow->addLayout(top);
  topRow->addStretch();
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(topRow);
  layout->addLayout(tables, 1);
  layout->addLayout(buttons);

  // --- Events ------------------------------------------------------------------------------
  Combo1->onClick([this] { Combo1_Click(); });
  Combo1->onChange([this] { Combo1_Click(); });  // Combo1_Change calls the click
  for (QComboBox* list : {Combo2, Combo3, Combo4}) {
    const Control c = *controlNamed(list->objectName().toStdString());
    connect(list, qOverload<int>(&QComboBox::activated), this,
            [this, c](int index) { run([&](ParameterBoxes& b) { selectEntry(b, c, index); }); });
  }
  auto* coefficient = static_cast<QLineEdit*>(widgetOf(Control::LTextBox10));
  connect(coefficient, &QLineEdit::textEdited, this, [this] { run(lTextBox10Change); });
  for (Control c : allControls()) {
    auto* box = qobject_cast<QLineEdit*>(widgetOf(c));
    if (!box || box->isReadOnly()) continue;
    // The cursor leaving the box for another control; a window that merely loses activation
    // (a message box, another program) takes no value from it.
    ui::onEvent(box, QEvent::FocusOut, [this, c](QEvent* e) {
      const auto reason = static_cast<QFocusEvent*>(e)->reason();
      if (reason == Qt::ActiveWindowFocusReason || reason == Qt::PopupFocusReason) return;
      run([c](ParameterBoxes& b) { lostFocus(b, c); });
    });
  }
  connect(Command1, &QPushButton::clicked, this, [this] { Command1_Click(); });
  connect(Command2, &QPushButton::clicked, this, [this] { Command2_Click(); });
  connect(Command3, &QPushButton::clicked, this, [this] { Command3_Click(); });
  connect(Command4, &QPushButton::clicked, this, [this] { Command4_Click(); });
  connect(Command5, &QPushButton::clicked, this, [this] { Command5_Click(); });
  Timer1.setOnTick([this] { Timer1_Timer(); });
  Timer2.setOnTick([this] { Timer2_Timer(); });
}

void FrmControlParameter::Form_Load() {
  // The icon is the main window's (ui::Screen). The timers run from here to the end.
  Timer1.setInterval(1000);
  Timer2.setInterval(200);
  Timer1.setEnabled(true);
  Timer2.setEnabled(true);
}

// --- The boxes and the rule layer ---------------------------------------------------------

ParameterBoxes FrmControlParameter::boxes() const {
  ParameterBoxes b;
  for (Control c : allControls()) {
    QWidget* w = widgetOf(c);
    if (auto* list = qobject_cast<QComboBox*>(w))
      b.setListIndex(c, list->currentIndex());
    else
      b.setText(c, static_cast<QLineEdit*>(w)->text().toStdString());
    b.setEnabled(c, w->isEnabled());
  }
  return b;
}

void FrmControlParameter::put(const ParameterBoxes& b) {
  for (Control c : allControls()) {
    QWidget* w = widgetOf(c);
    const QSignalBlocker quiet(w);
    if (auto* list = qobject_cast<QComboBox*>(w)) {
      if (list->currentIndex() != b.listIndex(c)) list->setCurrentIndex(b.listIndex(c));
    } else {
      auto* box = static_cast<QLineEdit*>(w);
      const QString t = q(b.text(c));
      if (box->text() != t) box->setText(t);
    }
    if (w->isEnabled() != b.enabled(c)) w->setEnabled(b.enabled(c));
  }
}

void FrmControlParameter::ClearAll() { run(clearAll); }

// --- Station, read, write -----------------------------------------------------------------

void FrmControlParameter::Combo1_Click() {
  ClearAll();
  stationChosen(state_);
  pendingRead = kPendingRatedInfo;
  auto* id = static_cast<QLineEdit*>(widgetOf(Control::LTextBox1));
  try {
    id->setText(QString::number(toLong(val(core::getStationDeviceID(Combo1->text()).toStdString()))));
  } catch (const RuntimeFailure&) {
    // An address that is no number stays out of the box; the request below says so in the log.
  }
  core::trySendToStation(MSComm1, Combo1->text(), kDeviceInfoLiteral.data(), true);
}

void FrmControlParameter::Command1_Click() {
  if (Combo1->text().isEmpty()) {
    platform::dialogs().msgBox(text(kChooseStationMessage));
    return;
  }
  pendingRead = kPendingBlock;
  core::trySendToStation(MSComm1, Combo1->text(), kParameterReadLiteral.data(), true);
}

void FrmControlParameter::Command2_Click() {
  ParameterBoxes b = boxes();
  const SetCommand command = command2Click(b, state_);
  put(b);  // the rated-current cap may have changed SetChargeCurr
  switch (command.action) {
    case SetCommand::Action::ShowMessage: platform::dialogs().msgBox(q(command.text)); break;
    case SetCommand::Action::LogFailure: core::appendLog(q(command.text)); break;
    case SetCommand::Action::Send: {
      // The block goes to the station chosen now, address and port from its record; never to
      // address 0 (an empty address box), which every controller on the line would take.
      if (Combo1->text().isEmpty() || command.frame.empty() || command.frame[0] == 0) {
        platform::dialogs().msgBox(QStringLiteral("请先选择站点"));
        break;
      }
      const auto station = core::stationForSend(Combo1->text());
      if (!station) break;
      if (command.frame[0] != station->address) {
        platform::dialogs().msgBox(QStringLiteral("请先选择站点"));
        break;
      }
      pendingRead = kPendingSetResult;
      MSComm1.sendRequest(station->port.toStdString(), command.frame);
      break;
    }
  }
}

void FrmControlParameter::onReply(Bytes& reply) {
  switch (pendingRead) {
    case kPendingRatedInfo: {
      bool acted = false;
      run([&](ParameterBoxes& b) { acted = showRatedInfo(b, reply); });
      // The choice goes on to the block read; the session closes the port after this handler,
      // so the block's answer may be lost and "读取" asks again.
      if (acted) Command1_Click();
      break;
    }
    case kPendingBlock: run([&](ParameterBoxes& b) { showParameterBlock(b, state_, reply); }); break;
    case kPendingSetResult:
      if (const auto message = setResultMessage(reply)) platform::dialogs().msgBox(text(*message));
      break;
    default: break;
  }
}

// --- The reference column and the file ------------------------------------------------------

void FrmControlParameter::Command3_Click() { run(restoreDefaults); }

void FrmControlParameter::Command4_Click() {
  const QString name = platform::dialogs().saveFileName(QStringLiteral("导出设置"), QStringLiteral("*.txt"));
  const ExportResult result = exportParameters(boxes(), name, QDateTime::currentDateTime());
  if (result.path.isEmpty()) return;
  if (result.written)
    platform::dialogs().msgBox(text(kExportDoneMessage));
  else
    platform::dialogs().msgBox(text(kExportFailedMessage) + result.path, platform::kExclamation);
}

void FrmControlParameter::Command5_Click() {
  const QString name = platform::dialogs().openFileName(QStringLiteral("导入设置"), QStringLiteral("*.txt"));
  ImportResult result{ImportResult::Outcome::Stopped, {}};
  run([&](ParameterBoxes& b) {
    result = importParameters(b, name);
    // A file's values obey the limits and couplings that typing them would meet.
    if (result.outcome != ImportResult::Outcome::Stopped) applyTypingRules(b);
  });
  switch (result.outcome) {
    case ImportResult::Outcome::Imported: platform::dialogs().msgBox(text(kImportDoneMessage)); break;
    case ImportResult::Outcome::Failed: core::appendLog(q(result.logLine)); break;
    case ImportResult::Outcome::Stopped: break;
  }
}

// --- Timers -------------------------------------------------------------------------------

void FrmControlParameter::Timer1_Timer() {
  const Combo4Look look = timer1Tick(boxes(), blinkState);
  const QPalette system = QApplication::palette();
  QPalette p = Combo4->palette();
  QColor colour;
  switch (look.text) {
    case Combo4Look::TextColour::Red: colour = QColor(255, 0, 0); break;
    case Combo4Look::TextColour::WindowText: colour = system.color(QPalette::Active, QPalette::Text); break;
    case Combo4Look::TextColour::ButtonText: colour = system.color(QPalette::Active, QPalette::ButtonText); break;
  }
  p.setColor(QPalette::Text, colour);
  p.setColor(QPalette::ButtonText, colour);
  if (look.windowBackground) {
    p.setColor(QPalette::Base, system.color(QPalette::Active, QPalette::Base));
    p.setColor(QPalette::Button, system.color(QPalette::Active, QPalette::Button));
  }
  if (p != Combo4->palette()) Combo4->setPalette(p);
}

void FrmControlParameter::Timer2_Timer() {
  const QPalette system = QApplication::palette();
  for (const auto& [c, greyed] : timer2Tick(boxes())) {
    QWidget* w = widgetOf(c);
    QPalette p = w->palette();
    const QColor colour = system.color(QPalette::Active, greyed ? QPalette::Button : QPalette::Base);
    for (auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
      p.setColor(group, QPalette::Base, colour);
      if (qobject_cast<QComboBox*>(w)) p.setColor(group, QPalette::Button, colour);
    }
    if (p != w->palette()) w->setPalette(p);
  }
}

}  // namespace xl::configuration
