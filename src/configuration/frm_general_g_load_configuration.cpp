#include "configuration/frm_general_g_load_configuration.h"

#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "configuration/load_block.h"
#include "core/message_log.h"
#include "core/station_request.h"
#include "core/station_store.h"
#include "link/vb_numbers.h"
#include "platform/dialogs.h"
#include "ui/form.h"
#include "ui/station_box.h"

namespace xl::configuration {

namespace {

using ui::q;

const char* const kTag = "Tag";

QString tagOf(const QWidget* w) { return w->property(kTag).toString(); }
void setTag(QWidget* w, const QString& value) { w->setProperty(kTag, value); }

// A list with free text, filled with the whole numbers from..to; nothing is chosen.
QComboBox* numberList(QWidget* parent, const char* name, int from, int to) {
  auto* box = new QComboBox(parent);
  box->setObjectName(QString::fromLatin1(name));
  box->setEditable(true);
  box->setInsertPolicy(QComboBox::NoInsert);
  for (int i = from; i <= to; ++i) box->addItem(QString::number(i));
  box->setCurrentIndex(-1);
  box->setMinimumWidth(80);
  return box;
}

QRadioButton* option(QWidget* parent, const char* name, LoadOption which) {
  auto* b = new QRadioButton(q(std::string(loadOptionCaption(which))), parent);
  b->setObjectName(QString::fromLatin1(name));
  return b;
}

// The text of a list box as code sets it: the entry when the list holds it, else free text.
void setListText(QComboBox* box, const QString& text) {
  const int index = text.isEmpty() ? -1 : box->findText(text);
  box->setCurrentIndex(index);
  if (index < 0) box->setEditText(text);
}

}  // namespace

FrmGeneralGLoadConfiguration::FrmGeneralGLoadConfiguration()
    : ui::Screen("FrmGeneralGLoadConfiguration", QStringLiteral("负载控制配置")),
      MSComm1(
          "FrmGeneralGLoadConfiguration.MSComm1",
          [] {
            link::SessionOptions o;
            o.remembersPort = false;
            return o;
          }(),
          [this](Bytes& reply, const std::string&) { onReply(reply); }) {
  // The station and its address.
  auto* top = new QGridLayout;
  Combo1 = ui::addStationBox(top, this);
  LTextBox1 = ui::makeBox(this, {.name = "LTextBox1", .width = 60});
  ui::addCaptioned(top, this, 0, 2, QStringLiteral("设备ID"), LTextBox1);
  top->setColumnStretch(4, 1);

  // The five modes, each with the boxes that belong to it.
  Frame1 = new QGroupBox(QStringLiteral("负载输出模式选择"), this);
  Frame1->setObjectName("Frame1");
  auto* modes = new QGridLayout(Frame1);
  Option3 = option(Frame1, "Option3", LoadOption::Option3);
  Option5 = option(Frame1, "Option5", LoadOption::Option5);
  Option4 = option(Frame1, "Option4", LoadOption::Option4);
  Option6 = option(Frame1, "Option6", LoadOption::Option6);
  Option7 = option(Frame1, "Option7", LoadOption::Option7);
  LTextBox2 = numberList(Frame1, "LTextBox2", 4, 10);
  LTextBox3 = numberList(Frame1, "LTextBox3", 1, 60);
  Combo2 = numberList(Frame1, "Combo2", 1, 14);
  modes->addWidget(Option3, 0, 0);
  ui::addCaptioned(modes, Frame1, 0, 1, QStringLiteral("光控开电压（V）"), LTextBox2);
  ui::addCaptioned(modes, Frame1, 1, 1, QStringLiteral("延时（分钟）"), LTextBox3);
  modes->addWidget(Option5, 2, 0);
  ui::addCaptioned(modes, Frame1, 2, 1, QStringLiteral("工作时间  (小时)"), Combo2);
  modes->addWidget(Option4, 3, 0);
  modes->addWidget(Option6, 4, 0);
  modes->addWidget(Option7, 5, 0);
  modes->setColumnStretch(3, 1);

  // Boxes that are kept up by the code but never seen, and never read by a write.
  LTextBox4 = ui::makeBox(Frame1, {.name = "LTextBox4"});
  LTextBox5 = ui::makeBox(Frame1, {.name = "LTextBox5"});
  Combo3 = numberList(Frame1, "Combo3", 1, 14);
  LTextBox8 = ui::makeBox(Frame1, {.name = "LTextBox8"});
  const struct {
    const char* text;
    QWidget* box;
    bool enabled;
  } hidden[] = {{"光控关电压（V）", LTextBox4, false},
                {"延时（分钟）", LTextBox5, true},
                {"工作时间2 （小时）", Combo3, false},
                {"晚上工作时间（小时）", LTextBox8, false}};
  int row = 6;
  for (const auto& h : hidden) {
    QLabel* label = ui::addCaptioned(modes, Frame1, row++, 1, QString::fromUtf8(h.text), h.box);
    label->setVisible(false);
    h.box->setVisible(false);
    h.box->setEnabled(h.enabled);
  }

  // A picture of start-up states that no code uses.
  Picture2 = new QGroupBox(this);
  Picture2->setObjectName("Picture2");
  auto* picture = new QVBoxLayout(Picture2);
  auto* on = new QRadioButton(QStringLiteral("ON By Default"), Picture2);
  on->setObjectName("Option1");
  auto* off = new QRadioButton(QStringLiteral("OFF By Default"), Picture2);
  off->setObjectName("Option2");
  picture->addWidget(new QLabel(QStringLiteral("Manual Mode"), Picture2));
  picture->addWidget(on);
  picture->addWidget(off);
  Picture2->setEnabled(false);
  Picture2->setVisible(false);

  Command1 = new QPushButton(QStringLiteral("读取"), this);
  Command1->setObjectName("Command1");
  Command2 = new QPushButton(QStringLiteral("设置"), this);
  Command2->setObjectName("Command2");
  // Below the form's lower edge: never seen, no handler. This screen has no import or export.
  Command3 = new QPushButton(QStringLiteral("Export Setting"), this);
  Command3->setObjectName("Command3");
  Command3->setVisible(false);
  Command4 = new QPushButton(QStringLiteral("Inport Setting"), this);
  Command4->setObjectName("Command4");
  Command4->setVisible(false);

  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(Command1);
  buttons->addWidget(Command2);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(top);
  layout->addWidget(Frame1);
  layout->addLayout(buttons);
  layout->addStretch();

  Combo1->onClick([this] { Combo1_Click(); });
  Combo1->onChange([this] { Combo1_Change(); });
  // A pick from a list is a click, typing a change; a click runs the change.
  connect(LTextBox2, qOverload<int>(&QComboBox::activated), this, [this](int) { LTextBox2_Click(); });
  connect(LTextBox2->lineEdit(), &QLineEdit::textEdited, this, [this](const QString&) { LTextBox2_Change(); });
  connect(LTextBox3, qOverload<int>(&QComboBox::activated), this, [this](int) { LTextBox3_Click(); });
  connect(LTextBox3->lineEdit(), &QLineEdit::textEdited, this, [this](const QString&) { LTextBox3_Change(); });
  connect(Option3, &QRadioButton::clicked, this, [this] { Option3_Click(); });
  connect(Command1, &QPushButton::clicked, this, [this] { Command1_Click(); });
  connect(Command2, &QPushButton::clicked, this, [this] { Command2_Click(); });

  ui::registerStationList(ui::StationList::LoadConfiguration, Combo1);
  Form_Load();
}

FrmGeneralGLoadConfiguration::~FrmGeneralGLoadConfiguration() {
  ui::registerStationList(ui::StationList::LoadConfiguration, nullptr);
}

void FrmGeneralGLoadConfiguration::Form_Load() {
  // The icon is the main window's (ui::Screen); nothing else happens at load.
}

void FrmGeneralGLoadConfiguration::ClearAll() {
  Combo1->setCurrentIndex(-1);
  Combo1->setEditText({});
  for (QComboBox* box : {LTextBox2, LTextBox3, Combo2, Combo3}) box->setCurrentIndex(-1);
  for (QLineEdit* box : {LTextBox1, LTextBox4, LTextBox5, LTextBox8}) box->clear();
  // Radio buttons of one frame exclude each other; to clear them all that rule is lifted.
  for (QRadioButton* b : {Option3, Option5, Option4, Option6, Option7}) {
    b->setAutoExclusive(false);
    b->setChecked(false);
    b->setAutoExclusive(true);
  }
  // The tags stay, but the screen no longer stands for a read: "设置" asks for one first.
  readFrom_.reset();
}

// --- The station --------------------------------------------------------------------------

void FrmGeneralGLoadConfiguration::Combo1_Click() { Combo1_Change(); }

void FrmGeneralGLoadConfiguration::Combo1_Change() {
  // Unlike the control parameter screen, a choice starts no read.
  LTextBox1->setText(core::getStationDeviceID(Combo1->text()));
}

// --- The boxes and the light-control option -----------------------------------------------

void FrmGeneralGLoadConfiguration::LTextBox2_Click() { LTextBox2_Change(); }

void FrmGeneralGLoadConfiguration::LTextBox2_Change() {
  LTextBox4->setText(q(lightOffVoltageText(LTextBox2->currentText().toStdString())));
  if (Option3->isChecked()) setTag(LTextBox2, LTextBox2->currentText());
}

void FrmGeneralGLoadConfiguration::LTextBox3_Click() { LTextBox3_Change(); }

void FrmGeneralGLoadConfiguration::LTextBox3_Change() {
  if (Option3->isChecked()) setTag(LTextBox3, LTextBox3->currentText());
}

void FrmGeneralGLoadConfiguration::Option3_Click() {
  // Back to light control: the boxes show the values in force.
  setListText(LTextBox2, tagOf(LTextBox2));
  LTextBox2_Change();
  setListText(LTextBox3, tagOf(LTextBox3));
  LTextBox5->setText(QStringLiteral("1"));
}

// --- Read ---------------------------------------------------------------------------------

void FrmGeneralGLoadConfiguration::Command1_Click() {
  if (Combo1->text().isEmpty()) {
    platform::dialogs().msgBox(q(std::string(kLoadChooseStationText)));
    return;
  }
  pendingRead = kLoadPendingRead;
  // Address and port from the station the box names now.
  const auto station = core::stationForSend(Combo1->text());
  if (!station) return;
  const auto frame = loadBlockReadRequest(std::to_string(station->address));
  if (!frame) {
    core::appendLog(q(std::string(kLoadAddressRefusedLog)));
    return;
  }
  asked_ = ReadFrom{station->port, station->address, {}, {}};
  MSComm1.sendRequest(station->port.toStdString(), *frame);
}

void FrmGeneralGLoadConfiguration::onReply(const Bytes& reply) {
  if (pendingRead == kLoadPendingRead) {
    showLoadBlock(reply);
    return;
  }
  const std::string message = loadReplyMessage(pendingRead, reply);
  if (!message.empty()) platform::dialogs().msgBox(q(message));
}

void FrmGeneralGLoadConfiguration::showLoadBlock(const Bytes& reply) {
  const auto view = configuration::showLoadBlock(reply);
  if (!view) return;
  // The block is the station's that the read went to, if the reply came from its address.
  readFrom_.reset();
  if (asked_ && !reply.empty() && reply[0] == asked_->address)
    readFrom_ = ReadFrom{asked_->port, asked_->address, view->lTextBox3Tag, view->lTextBox2Tag};
  switch (view->option) {
    case LoadOption::Option3: Option3->setChecked(true); break;
    case LoadOption::Option5: Option5->setChecked(true); break;
    case LoadOption::Option4: Option4->setChecked(true); break;
    case LoadOption::Option6: Option6->setChecked(true); break;
    case LoadOption::Option7: Option7->setChecked(true); break;
    case LoadOption::None: break;  // no button for the mode: the one selected stays
  }
  setListText(LTextBox2, q(view->lTextBox2));
  setListText(LTextBox3, q(view->lTextBox3));
  setListText(Combo2, q(view->combo2));
  setListText(Combo3, q(view->combo3));
  LTextBox4->setText(q(view->lTextBox4));
  LTextBox5->setText(q(view->lTextBox5));
  LTextBox8->setText(q(view->lTextBox8));
  setTag(LTextBox2, q(view->lTextBox2Tag));
  setTag(LTextBox3, q(view->lTextBox3Tag));
}

// --- Write --------------------------------------------------------------------------------

void FrmGeneralGLoadConfiguration::Command2_Click() {
  pendingRead = kLoadPendingWrite;  // also when the write is refused
  const auto refuse = [](const QString& message) { platform::dialogs().msgBox(message); };
  // Never to address 0 (every controller on the line would take it), never to a station other
  // than the one whose block this screen read.
  if (Combo1->text().isEmpty() || LTextBox1->text().trimmed().isEmpty()) return refuse(QStringLiteral("请先选择站点"));
  const auto station = core::stationForSend(Combo1->text());
  if (!station) return;
  if (!readFrom_ || readFrom_->port != station->port || readFrom_->address != station->address)
    return refuse(q(std::string(kLoadReadFirstText)));
  LoadScreenState state;
  state.deviceIdText = std::to_string(station->address);
  // The options are looked at from the last mode to the first; the first selected wins.
  const std::pair<QRadioButton*, LoadOption> order[] = {{Option7, LoadOption::Option7},
                                                        {Option6, LoadOption::Option6},
                                                        {Option4, LoadOption::Option4},
                                                        {Option5, LoadOption::Option5},
                                                        {Option3, LoadOption::Option3}};
  for (const auto& [button, which] : order)
    if (button->isChecked()) {
      state.selected = which;
      break;
    }
  state.combo2Text = Combo2->currentText().toStdString();
  state.lTextBox2Tag = tagOf(LTextBox2).toStdString();
  state.lTextBox3Tag = tagOf(LTextBox3).toStdString();
  // Only what the screen offers goes out: a mode of its buttons, the hours, delay and voltage
  // of its lists (a delay or voltage as it was read passes unchanged).
  const auto within = [](const std::string& text, int low, int high) {
    const double v = val(text);
    return v == static_cast<int>(v) && v >= low && v <= high;
  };
  if (state.selected == LoadOption::None) return refuse(QStringLiteral("请选择负载输出模式"));
  if (state.selected == LoadOption::Option5 && !within(state.combo2Text, 1, 14))
    return refuse(QStringLiteral("工作时间应为1到14小时，未发送"));
  if (state.lTextBox3Tag != readFrom_->delay && !within(state.lTextBox3Tag, 1, 60))
    return refuse(QStringLiteral("延时应为1到60分钟，未发送"));
  if (state.lTextBox2Tag != readFrom_->voltage && !within(state.lTextBox2Tag, 4, 10))
    return refuse(QStringLiteral("光控开电压应为4到10V，未发送"));
  const LoadWrite write = buildLoadWrite(state);
  if (!write.message.empty()) {
    platform::dialogs().msgBox(q(write.message));
    return;
  }
  if (!write.frame) {
    core::appendLog(q(write.failureLog));
    return;
  }
  MSComm1.sendRequest(station->port.toStdString(), *write.frame);
}

}  // namespace xl::configuration
