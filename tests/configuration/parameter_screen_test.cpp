// The control parameter screen in the whole console, in virtual time against a simulated
// controller: the controls as the operator sees them, the station choice and the read, the
// write byte for byte on the wire, the editing rules on real focus changes and timer ticks,
// the parameter file, and operator input at random that must never send what the boxes do not
// state.

#include <QFile>
#include <random>

#include "config_screen_fixture.h"
#include "configuration/frm_control_parameter.h"
#include "configuration/parameter_block.h"
#include "link/vb_numbers.h"
#include "ui/form.h"

namespace xl {
namespace {

using configuration::Control;
using configuration::FrmControlParameter;

const QString kStation = QStringLiteral("一号站");

class ParameterScreenTest : public testing::ConfigScreenFixture {
 protected:
  void SetUp() override {
    ConfigScreenFixture::SetUp();
    addStation(kStation, "COM3,9600", "1");
    device = &controllerAt(1);
  }

  FrmControlParameter& screen() { return FrmControlParameter::instance(); }
  QLineEdit* box(const char* name) { return edit(screen(), name); }
  QComboBox* list(const char* name) { return combo(screen(), name); }

  // Start-up and discovery, then the menu item: the screen comes up modal and active.
  void startAndOpen() {
    startAndDiscover();
    mdi().action("ControlParameter")->trigger();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&screen()));
  }
  void chooseStation() {
    pick(list("Combo1"), kStation);
    clock.advance(ms(1000));
  }
  void read() { clickButton("Command1"); }
  void openAndRead() {
    startAndOpen();
    chooseStation();
    read();
  }
  void typeInto(const char* name, const QString& text) { type(box(name), text); }
  // The cursor moves on to another box with a click.
  void leaveTo(const char* name) { click(box(name)); }
  // A click and a second for the reply.
  void clickButton(const char* name) { clickAndWait(button(screen(), name), 1000); }
  void run(std::string_view steps) { ConfigScreenFixture::run(screen(), steps, 1000); }

  // Distinct values in every stretch the screen never shows.
  void setHiddenWords(std::uint8_t typeHigh = 0x3C) {
    auto& s = device->state();
    s.setParam(0xE003, 0xFF5A);
    s.setParam(0xE004, static_cast<std::uint16_t>(typeHigh << 8 | 2));
    for (std::uint16_t reg = 0xE015; reg <= 0xE020; ++reg)
      s.setParam(reg, static_cast<std::uint16_t>(0x1100 * (reg - 0xE014) + reg % 256));
    s.setParam(0xE01D, 9);       // a load mode the device takes
    s.setParam(0xE021, 0x00A7);  // voltage compensation, reserved low byte
  }

  sim::Controller* device = nullptr;
};

std::string requestHex(int id, std::string_view literal) {
  return hexText(requestFrame(id, std::string(literal).c_str()));
}
constexpr std::string_view kInfo = configuration::kDeviceInfoLiteral, kRead = configuration::kParameterReadLiteral;

// ---- The form -----------------------------------------------------------------------------

// The form as the operator sees it; the read, the write byte for byte on the wire, closing and
// reopening; a second station is never written with the block read before.
TEST_F(ParameterScreenTest, TheFormReadWriteReopenAndAnotherStation) {
  addStation(QStringLiteral("二号站"), "COM3,9600", "2");
  sim::Controller& second = controllerAt(2);
  second.state().setParam(0xE01D, 3);
  setHiddenWords();  // a type high byte of 0x3C reads as "User"
  startAndOpen();
  EXPECT_EQ(screen().windowModality(), Qt::ApplicationModal);
  // The station list takes no typing: only a station of the list can stand in it; the shell
  // filled it without choosing one. No other list takes typing either.
  for (const char* name : {"Combo1", "Combo2", "Combo3", "Combo4"}) EXPECT_FALSE(list(name)->isEditable()) << name;
  EXPECT_TRUE(list("Combo1")->count() == 2 && list("Combo1")->currentIndex() == -1);
  // Every control has its caption as buddy, but the reference box of SetChargeCurr's row.
  std::string uncaptioned;
  for (Control c : configuration::allControls()) {
    const std::string name(configuration::controlName(c));
    const QLabel* label = ui::labelFor(screen().findChild<QWidget*>(QString::fromStdString(name)));
    if (c != Control::SetCurrText2 && (!label || label->text().toStdString() != configuration::captionOf(c)))
      uncaptioned += name + " ";
  }
  EXPECT_EQ(uncaptioned, "");
  for (const auto& e : configuration::referenceColumn())
    EXPECT_TRUE(box(std::string(e.reference).c_str())->isReadOnly()) << e.reference;
  EXPECT_TRUE(box("Text1")->isHidden());

  since();
  clickButton("Command1");
  EXPECT_EQ(since(), " / 选择一个可用的站点名");

  // The station choice asks for the rated values and chains the block read; that request went
  // out while the port was closed after it: its answer is lost, and "读取" asks again.
  chooseStation();
  EXPECT_EQ(since(), requestHex(1, kInfo) + ", " + requestHex(1, kRead) + " / ");
  EXPECT_TRUE(shows(screen(),
                    "LTextBox1=1 LTextBox2=12/24/36/48(V) LTextBox3=20 LTextBox4=20.00 SetCurrText2=20.00 "
                    "SetChargeCurr="));
  EXPECT_FALSE(box("Text1")->text().isEmpty() || screen().blockState().dataRead);
  read();
  EXPECT_TRUE(shows(screen(),
                    "Combo2=User Combo3=Volt.Comp. Combo4=Auto SetChargeCurr=20.00 LTextBox10=-3 "
                    "LTextBox20=13.80"));
  EXPECT_TRUE(screen().blockState().dataRead);

  // "恢复默认值", whatever the type and mode were: the reference column, "Sealed", "Auto",
  // "Volt.Comp." (which closes the SOC fields), the rated 20.00 A; then the write.
  run("pick Combo3 SOC|press Command3");
  ASSERT_TRUE(
      shows(screen(), "Combo2=Sealed Combo3=Volt.Comp. SetChargeCurr=20.00 TextLimit=15.50 -LTextBox18 -LTextBox24"));
  clickButton("Command2");
  // The 24 echoed bytes of 0xE015..0xE020 as the device holds them (0xE01D: its load mode).
  const std::string body =
      "0110E00100214207D000C8FF5A3C0200A0009B00920090008A0084007E0078006F006A641E000500780078001E0003"
      "11152216331744185519661A771B881C0009AA1EBB1FCC2000A7";
  const std::string write = hexText(appendCrc(testing::hexBytes(body)));
  EXPECT_EQ(since(), requestHex(1, kRead) + ", " + write + " / 参数设置成功");
  EXPECT_TRUE(device->state().param(0xE004) == 0x3C02 && device->state().param(0xE021) == 0x00A7);

  // An exception or a bad CRC in reply to the write says nothing.
  device->setFaults({.exception = sim::Exception::IllegalValue});
  clickButton("Command2");
  device->setFaults({.badCrc = true});
  clickButton("Command2");
  EXPECT_EQ(since(), write + ", " + write + " / ");
  device->setFaults({});

  // Closing hides and keeps the state; the menu clears the values, the lists and the rated
  // boxes; the station, the reference column, the enabled states and the read block stay.
  screen().close();
  EXPECT_TRUE(screen().isHidden());
  mdi().action("ControlParameter")->trigger();
  EXPECT_FALSE(screen().isHidden());
  EXPECT_TRUE(shows(screen(),
                    "LTextBox1= LTextBox2= LTextBox4= LTextBox20= SetChargeCurr= SetCurrText2= "
                    "LTextBox19=13.80 -LTextBox12 Combo2= Combo1=一号站"));
  EXPECT_TRUE(screen().blockState().dataRead);
  // "恢复默认值" leaves SetChargeCurr empty without a rated current, and "设置" refuses.
  run("press Command3|press Command2");
  EXPECT_EQ(since(), " / 请先读数据");

  read();
  ASSERT_TRUE(screen().blockState().dataRead);
  // The second station: its rated values come, its chained block read is lost.
  pick(list("Combo1"), QStringLiteral("二号站"));
  clock.advance(ms(1000));
  ASSERT_TRUE(shows(screen(), "LTextBox1=2 LTextBox4=20.00"));
  // "恢复默认值" fills every box, SetChargeCurr included; the write still refuses, since the
  // hidden bytes it would echo are the first station's.
  clickButton("Command3");
  ASSERT_EQ(box("SetChargeCurr")->text(), "20.00");
  clickButton("Command2");
  EXPECT_EQ(since(),
            requestHex(1, kRead) + ", " + requestHex(2, kInfo) + ", " + requestHex(2, kRead) + " / 请先读数据");
  // Once its own block is read, the second station is written at its own address.
  run("press Command1|press Command3|press Command2");
  const std::string last = since();  // the read, then a write of 75 bytes
  EXPECT_EQ(last.substr(0, 22) + "|" + last.substr(168), requestHex(2, kRead) + ", 0210| / 参数设置成功");
  EXPECT_EQ(second.state().param(0xE01D), 3);
}

// ---- Rules on focus and timers, refusals ------------------------------------------------------

// Greyed boxes and lists take no input; a box that is no number logs one line and sends
// nothing. The rules themselves are the rule layer's; here only what runs them: the cursor
// leaving a box by click or Tab, each keystroke, a change of list entry. The timers are this
// screen's own: lithium on "Auto" blinks red every other second and starts afresh after a calm
// tick; the greying timer paints every control of its list that is disabled.
TEST_F(ParameterScreenTest, RefusalsEditingRulesAndTimers) {
  device->state().setParam(0xE021, 0x0400);  // charge by SOC
  openAndRead();
  ASSERT_FALSE(box("LTextBox12")->isEnabled() || list("Combo3")->isEnabled());
  since();
  QTest::mouseClick(box("LTextBox12"), Qt::LeftButton);
  QTest::keyClicks(box("LTextBox12"), "99");
  QTest::mouseClick(list("Combo3"), Qt::LeftButton);
  QTest::keyClick(list("Combo3"), Qt::Key_Down);
  clock.advance(ms(1000));
  EXPECT_TRUE(shows(screen(), "LTextBox12=16.00 Combo3=SOC"));
  EXPECT_EQ(since(), " / ");
  typeInto("LTextBox10", "abc");
  clickButton("Command2");  // the click moves the cursor: the box's own rule keeps the text
  EXPECT_EQ(since() + logLines().back().section(']', 1).toStdString(),
            " / 参数未发送：“温度补偿系数（mV/℃/2V）”的值“abc”不是数字");

  // SOC opens the charge level boxes under "Sealed"; a change of type closes them again.
  EXPECT_TRUE(shows(screen(), "+LTextBox24 +LTextBox44"));
  typeInto("LTextBox8", "5000");
  EXPECT_TRUE(shows(screen(), "LTextBox8=5000"));  // nothing while the cursor stays
  run("click SetChargeCurr|type LTextBox10 3");    // the temperature coefficient follows each keystroke
  EXPECT_TRUE(shows(screen(), "LTextBox8=3000 LTextBox10=-3"));
  typeInto("LTextBox45", "");  // a box the screen does not open takes no limit
  EXPECT_TRUE(shows(screen(), "LTextBox45=5"));
  run("pick Combo2 User|type LTextBox12 6.9");
  QTest::keyClick(box("LTextBox12"), Qt::Key_Tab);
  EXPECT_TRUE(shows(screen(), "-LTextBox24 -LTextBox44 LTextBox12=7.00"));
  // The lithium couplings follow the boost voltage when it is left.
  run("pick Combo4 12V|pick Combo2 LI|type LTextBox18 14.0|click LTextBox38");
  EXPECT_TRUE(shows(screen(), "LTextBox20=14.00 TextLimit=14.00"));

  // Lithium on "Auto" blinks and is refused; another voltage calms it.
  const QPalette system = QApplication::palette();
  pick(list("Combo4"), "Auto");
  std::vector<bool> redTicks;
  for (int i = 0; i < 4; ++i) {
    clock.advance(ms(1000));
    redTicks.push_back(list("Combo4")->palette().color(QPalette::Text) == QColor(255, 0, 0));
  }
  EXPECT_EQ(redTicks, std::vector<bool>({false, true, false, true}));
  clickButton("Command2");
  EXPECT_EQ(since(), " / 锂电池不支持自动识别!");
  pick(list("Combo4"), "12V");
  clock.advance(ms(1000));
  EXPECT_EQ(list("Combo4")->palette().color(QPalette::Text), system.color(QPalette::Active, QPalette::ButtonText));
  pick(list("Combo4"), "Auto");  // the blink starts afresh
  clock.advance(ms(1000));
  EXPECT_NE(list("Combo4")->palette().color(QPalette::Text), QColor(255, 0, 0));

  // "User" opens every voltage; "Gel" overwrites and greys within 200 ms.
  pick(list("Combo2"), "User");
  clock.advance(ms(200));
  EXPECT_EQ(box("LTextBox12")->palette().color(QPalette::Base), system.color(QPalette::Active, QPalette::Base));
  run("type LTextBox12 15|click LTextBox16|pick Combo2 Gel");
  EXPECT_TRUE(shows(screen(), "-LTextBox12=16.00"));
  clock.advance(ms(200));
  QStringList greyed;
  for (QWidget* w : screen().findChildren<QWidget*>())
    if (w->palette().color(QPalette::Active, QPalette::Base) == system.color(QPalette::Active, QPalette::Button))
      greyed << w->objectName();
  greyed.sort();
  EXPECT_EQ(greyed.join(' '),
            "Combo3 LTextBox12 LTextBox16 LTextBox18 LTextBox20 LTextBox22 LTextBox24 LTextBox28 LTextBox29 LTextBox32 "
            "LTextBox34 LTextBox36 LTextBox38 LTextBox40 LTextBox44 LTextBox45 TextLimit");
}

// ---- The file buttons -----------------------------------------------------------------------

TEST_F(ParameterScreenTest, ExportThenImportRestoresEverything) {
  openAndRead();
  since();
  run("pick Combo2 User|type TextLimit 16.2|type LTextBox20 13.6|click LTextBox8");
  const QString file = dir.path() + "/params", txt = file + ".txt";
  dialogs.fileNames.push_back(file);
  clickButton("Command4");
  EXPECT_EQ(since(), " / 导出数据成功");
  EXPECT_EQ(core::readIniFile(QStringLiteral("配置"), QStringLiteral("浮充充电电压(V)"), txt), "13.60");
  // The file, with `value` under `key` first, through "导入设置"; the file's name without its
  // ".txt" where nothing is changed.
  const auto importWith = [&](const char* key, const char* value) {
    if (key) core::writeIniFile(QStringLiteral("配置"), QString::fromUtf8(key), QString::fromUtf8(value), txt);
    dialogs.fileNames.push_back(key ? txt : file);
    clickButton("Command5");
  };

  std::map<QString, QString> saved;
  for (QLineEdit* e : screen().findChildren<QLineEdit*>()) saved[e->objectName()] = e->text();
  clickButton("Command3");  // "恢复默认值": the reference column
  EXPECT_EQ(box("LTextBox20")->text(), "13.80");
  importWith(nullptr, nullptr);
  EXPECT_EQ(since(), " / 导入数据成功");
  for (QLineEdit* e : screen().findChildren<QLineEdit*>())
    EXPECT_TRUE(e->objectName() == "Text1" || e->text() == saved[e->objectName()]) << e->objectName().toStdString();
  EXPECT_TRUE(shows(screen(), "TextLimit=16.20 Combo2=User -LTextBox24"));

  // A file's values meet the limits that typing them would: an over-voltage of 99 and a full
  // charge of 150 % come in as 17.00 and 100 (the charge level box is greyed, and clamped all
  // the same, since a write sends it).
  core::writeIniFile(QStringLiteral("配置"), QStringLiteral("超压电压(V)"), QStringLiteral("99"), txt);
  importWith("蓄电池充满电量(%)", "150");
  EXPECT_TRUE(shows(screen(), "LTextBox12=17.00 LTextBox24=100"));
  since();

  // A system voltage the list lacks stops the import with a line and no success message; a
  // cancelled dialog does nothing; a read-only file is told, never "导出数据成功".
  importWith("系统电压", "60V");
  EXPECT_TRUE(logLines().back().contains(QStringLiteral("导入设置未完成"))) << logLines().back().toStdString();
  run("press Command5|press Command4");
  ASSERT_TRUE(QFile::setPermissions(txt, QFileDevice::ReadOwner));
  dialogs.fileNames.push_back(txt);
  clickButton("Command4");
  EXPECT_EQ(since(), " / 导出数据失败：无法写入文件 " + txt.toStdString());
}

// ---- Operator input at random --------------------------------------------------------------

// What a write must carry, worked out from the boxes as they stand; nullopt when one of them
// cannot be written. `hidden` holds the device's reply bytes of the last read.
std::optional<Bytes> stated(FrmControlParameter& s, const Bytes& lastBlock) {
  Bytes out = {1, 0x10, 0xE0, 0x01, 0x00, 0x21, 0x42};
  bool ok = true;
  // A box as a number of `bytes` bytes; a box that is no number, or out of range, makes it unwritable.
  const auto put = [&](const char* name, double scale, int bytes = 2, bool lenient = false) {
    try {
      const std::string t = edit(s, name)->text().toStdString();
      const double n = roundHalfEven((lenient ? val(t) : toNumber(t)) * scale);
      ok = ok && n >= 0 && n <= (bytes == 2 ? 65535 : 255);
      const auto w = ok ? static_cast<std::uint16_t>(n) : 0;
      if (bytes == 2) out.push_back(static_cast<std::uint8_t>(w >> 8));
      out.push_back(static_cast<std::uint8_t>(w & 0xFF));
    } catch (const std::exception&) {
      ok = false;
    }
  };
  const std::map<QString, int> volts = {{"Auto", 255}, {"12V", 12}, {"24V", 24}, {"36V", 36}, {"48V", 48}};
  const std::map<QString, int> types = {{"User", 0}, {"Flooded", 1}, {"Sealed", 2}, {"Gel", 3}, {"LI", 4}};
  const QString v4 = combo(s, "Combo4")->currentText(), v2 = combo(s, "Combo2")->currentText();
  const int systemCode = volts.count(v4) ? volts.at(v4) : 0, shared = types.count(v2) ? types.at(v2) : systemCode;
  put("SetChargeCurr", 100), put("LTextBox8", 1);
  out.insert(out.end(),
             {static_cast<std::uint8_t>(systemCode), lastBlock[8], lastBlock[9], static_cast<std::uint8_t>(shared)});
  put("LTextBox12", 10), put("TextLimit", 10), put("LTextBox16", 10, 2, true);
  for (const char* name :
       {"LTextBox18", "LTextBox20", "LTextBox22", "LTextBox38", "LTextBox40", "LTextBox36", "LTextBox34"})
    put(name, 10);
  put("LTextBox24", 1, 1, true), put("LTextBox44", 1, 1);
  for (const char* name : {"LTextBox45", "LTextBox28", "LTextBox29", "LTextBox32"}) put(name, 1);
  put("LTextBox10", -1);
  for (std::size_t i = 43; i <= 66; ++i) out.push_back(lastBlock[i]);
  out.insert(out.end(), {static_cast<std::uint8_t>(combo(s, "Combo3")->currentText() == "SOC" ? 4 : 0), lastBlock[68]});
  return ok ? std::optional(appendCrc(out)) : std::nullopt;
}

// Three thousand steps of typing, leaving, choosing and "设置": an empty charge current asks
// for a read, lithium on "Auto" is refused, and otherwise the write carries exactly what the
// model works out (rounded half to even, the coefficient negated, the list codes), or a box is
// refused with one line and nothing goes out.
TEST_F(ParameterScreenTest, RandomTypingNeverSendsWhatTheBoxesDoNotState) {
  setHiddenWords(0);
  openAndRead();
  ASSERT_TRUE(screen().blockState().dataRead);
  const Bytes lastBlock(screen().blockState().lastBlock.begin(), screen().blockState().lastBlock.end());
  const std::vector<std::string> boxes = split(
      "SetChargeCurr LTextBox8 LTextBox10 LTextBox12 TextLimit LTextBox16 LTextBox18 LTextBox20 LTextBox22 "
      "LTextBox24 LTextBox28 LTextBox29 LTextBox32 LTextBox34 LTextBox36 LTextBox38 LTextBox40 LTextBox44 LTextBox45",
      ' ');
  const QStringList texts = QStringLiteral(
                                "|0|7|13.8|18|-3|3|abc|1e3|65535|99999|12,5| 12 |中文|-0|.5|&H10|1e308|-1e308|nan|"
                                "14.45|150.5|-|1.2.3|0.005|255|256")
                                .split('|');
  std::mt19937 rng(1234);
  const auto any = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
  int sent = 0, refused = 0;
  for (int round = 0; round < 3000; ++round) {
    const int what = any(10);
    if (what <= 1) {
      pick(list(what ? "Combo4" : "Combo2"), list(what ? "Combo4" : "Combo2")->itemText(any(5)));
    } else if (what == 2) {
      // "设置": the click moves the cursor first, so the box's rule has run when it is read.
      const QStringList logBefore = logLines();
      since();
      QTest::mouseClick(button(screen(), "Command2"), Qt::LeftButton);
      // The frame expected is worked out from the boxes as they stand after the click.
      const auto expected = stated(screen(), lastBlock);
      const bool forbidden = list("Combo2")->currentText() == "LI" && list("Combo4")->currentText() == "Auto";
      const bool noCurrent = box("SetChargeCurr")->text().isEmpty();
      clock.advance(ms(600));
      const std::string happened = since();
      if (noCurrent) {
        EXPECT_EQ(happened, " / 请先读数据") << "round " << round;
      } else if (forbidden) {
        EXPECT_EQ(happened, " / 锂电池不支持自动识别!") << "round " << round;
      } else if (expected) {
        EXPECT_EQ(happened.substr(0, happened.find(" / ")), hexText(*expected)) << "round " << round;
        ++sent;
      } else {
        // One new line in the message window (which keeps only its last 1000 characters), no box.
        EXPECT_EQ(happened, " / ") << "round " << round;
        EXPECT_TRUE(logLines() != logBefore && logLines().back().contains(QStringLiteral("参数未发送：")))
            << logLines().back().toStdString();
        ++refused;
      }
    } else {
      const char* name = boxes[any(static_cast<int>(boxes.size()))].c_str();
      QString text = texts[any(texts.size())];
      if (any(4) == 0) text = QString::number(any(3000) / (any(3) == 0 ? 7.0 : 1.0), 'f', any(4));
      typeInto(name, text);
      if (any(2)) leaveTo(boxes[any(static_cast<int>(boxes.size()))].c_str());
    }
  }
  EXPECT_TRUE(sent > 0 && refused > 0);  // the run must have tried both sides
}

}  // namespace
}  // namespace xl
