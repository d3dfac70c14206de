// The three configuration screens in the whole console, against simulated controllers and in
// virtual time: the load block read and written back, the address pass with the scan paused
// and given back at each of its ends, the address write, and the factory commands with their
// messages. Frames are checked on the wire; buttons are pressed with real mouse input.

#include "config_screen_fixture.h"
#include "configuration/frm_device_id_setting.h"
#include "configuration/frm_factory_operation.h"
#include "configuration/frm_general_g_load_configuration.h"

namespace xl {
namespace {

using configuration::FrmDeviceIDSetting;
using configuration::FrmFactoryOperation;
using configuration::FrmGeneralGLoadConfiguration;

const QString kStation1 = QStringLiteral("一号站");
const QString kStation2 = QStringLiteral("二号站");

// A frame as printed, with its CRC.
std::string withCrc(std::string_view printed) { return hexText(appendCrc(testing::hexBytes(printed))); }
std::string exact(std::string_view printed) { return hexText(testing::hexBytes(printed)); }

class ConfigScreensTest : public testing::ConfigScreenFixture {
 protected:
  // The screen from its menu item.
  void openFrom(const char* action, QWidget& screen) {
    mdi().action(action)->trigger();
    ASSERT_TRUE(screen.isVisible());
  }
};

// --- Load configuration ---------------------------------------------------------------------

class LoadConfigurationTest : public ConfigScreensTest {
 protected:
  FrmGeneralGLoadConfiguration& screen() { return FrmGeneralGLoadConfiguration::instance(); }
  QWidget* box(const char* name) { return control<QWidget>(screen(), name); }
  void run(std::string_view steps) { ConfigScreenFixture::run(screen(), steps); }
};

// The block is read in mode 5 and written back as read; "设置" writes only the block this
// screen read, to the station it was read from (not to another station, not after a
// reopening, not to a typed name of no station or to address 0); the light control edits
// reach the tags and only offered values go out; a refused reply leaves the screen alone.
TEST_F(LoadConfigurationTest, ReadWriteBackRefuseAndEdit) {
  addStation(kStation1, "COM3,9600", "1");
  addStation(kStation2, "COM3,9600", "2");
  sim::Controller& station1 = controllerAt(1, 5);
  station1.state().setParam(sim::param::kLoadDelay, 10);
  station1.state().setParam(sim::param::kLightOnVoltage, 5);
  sim::Controller& station2 = controllerAt(2);
  const auto modeOf2 = station2.state().param(sim::param::kLoadMode);
  startAndDiscover();
  openFrom("GeneralGLoadConfiguration", screen());
  EXPECT_EQ(screen().windowModality(), Qt::ApplicationModal);
  ASSERT_TRUE(combo(screen())->count() == 2 && combo(screen())->currentText().isEmpty());

  // No station, then no read yet (the voltage tag is empty): refused, nothing sent. A station
  // choice shows its address and sends nothing.
  since();
  run("press Command1|pick Combo1 一号站");
  EXPECT_TRUE(shows(screen(), "LTextBox1=1"));
  run("press Command2");
  EXPECT_EQ(screen().pendingRead, 2);
  EXPECT_EQ(since(), " / 选择一个可用的站点名 | 请先读取数据");

  // Combo3 is kept up, never seen.
  run("press Command1");
  EXPECT_EQ(since(), withCrc("01 03 E0 1D 00 03") + " / ");
  EXPECT_TRUE(shows(screen(), "Option5=1 Combo2=5 LTextBox2= LTextBox3= Combo3=0 LTextBox2@Tag=5 LTextBox3@Tag=10"));
  EXPECT_FALSE(box("Combo3")->isVisible());
  // Typing a voltage while Option5 is selected changes nothing that a write sends.
  run("type LTextBox2 8");
  EXPECT_TRUE(shows(screen(), "LTextBox4=7 LTextBox2@Tag=5 LTextBox3@Tag=10"));
  run("press Command2");
  EXPECT_EQ(since(), withCrc("01 10 E0 1D 00 03 06 00 05 00 0A 00 05") + " / 设置参数成功");
  EXPECT_EQ(station1.state().param(sim::param::kLoadMode), 5);

  // Another station, a name of no station (the address box empties), a reopening (the menu
  // empties the screen: nothing chosen, no read), the first station again unread.
  run("pick Combo1 二号站|press Command2|type Combo1 x|press Command2");
  screen().close();
  openFrom("GeneralGLoadConfiguration", screen());
  run("press Command2|pick Combo1 一号站|press Command2");
  EXPECT_EQ(since(), " / 请先读取数据 | 请先选择站点 | 请先选择站点 | 请先读取数据");
  EXPECT_EQ(station2.state().param(sim::param::kLoadMode), modeOf2);

  // Manual mode read; back to light control the boxes bring up the device's values, and edits
  // reach the tags.
  station1.state().setParam(sim::param::kLoadMode, 15);
  run("press Command1");
  EXPECT_EQ(since(), withCrc("01 03 E0 1D 00 03") + " / ");
  EXPECT_TRUE(shows(screen(), "Option4=1 Combo2="));
  run("click Option3");
  EXPECT_TRUE(shows(screen(), "LTextBox2=5 LTextBox3=10 LTextBox4=4 LTextBox5=1"));
  run("type LTextBox2 3");
  EXPECT_TRUE(shows(screen(), "LTextBox4= LTextBox2@Tag=3 LTextBox3@Tag=10"));

  // A value outside the screen's lists is refused with a message and nothing goes out
  // ("option box typed message", the box set right again after it).
  for (const std::string& row :
       split("Option3 LTextBox2 3 光控开电压应为4到10V|Option3 LTextBox2 300 光控开电压应为4到10V|"
             "Option3 LTextBox3 61 延时应为1到60分钟|Option5 Combo2 15 工作时间应为1到14小时|"
             "Option5 Combo2 0 工作时间应为1到14小时",
             '|')) {
    const std::vector<std::string> f = split(row, ' ');
    run("click Option3|click " + f[0] + "|type " + f[1] + " " + f[2] + "|press Command2");
    EXPECT_EQ(since(), " / " + f[3] + "，未发送") << row;
    run("type " + f[1] + (f[1] == "LTextBox3" ? " 10" : " 5"));
  }
  EXPECT_EQ(station1.state().param(sim::param::kLoadMode), 15);
  run("click Option3|type LTextBox2 8|type LTextBox3 30|press Command2");
  EXPECT_EQ(since(), withCrc("01 10 E0 1D 00 03 06 00 00 00 1E 00 08") + " / 设置参数成功");
  EXPECT_EQ(station1.state().param(sim::param::kLoadMode), 0);

  // An exception reply to the read changes nothing, and to the write shows nothing.
  station1.setFaults({.exception = sim::Exception::IllegalFunction});
  station1.state().setParam(sim::param::kLoadMode, 16);
  run("press Command1|press Command2");
  EXPECT_EQ(since(), withCrc("01 03 E0 1D 00 03") + ", " + withCrc("01 10 E0 1D 00 03 06 00 00 00 1E 00 08") + " / ");
  EXPECT_TRUE(shows(screen(), "Option3=1 LTextBox2=8 LTextBox3=30"));
}

// --- Factory operation ----------------------------------------------------------------------

// Each command its frame and its message, 是 asked first where a command cannot be undone;
// nothing goes to address 0, to a station the box does not name, or after 否. The replies that
// say nothing are the reply rule's cases.
TEST_F(ConfigScreensTest, FactoryOperation) {
  addStation(kStation1, "COM3,9600", "1");
  addStation(kStation2, "COM3,9600", "2");
  sim::Controller& station1 = controllerAt(1);
  controllerAt(2);
  FrmFactoryOperation& screen = FrmFactoryOperation::instance();
  startAndDiscover();
  openFrom("FactoryOperation", screen);
  EXPECT_EQ(screen.windowModality(), Qt::ApplicationModal);
  const auto text1 = [&] { return edit(screen, "Text1")->text(); };
  const QString question = QStringLiteral("确定对 %1（设备ID 1）执行 %2?").arg(kStation1);

  // No station chosen; then chosen, and the screen closed and reopened (its address box empty).
  since();
  for (int round = 0; round < 2; ++round) {
    run(screen, "click Command1|click Command2|click Command3|click Command4|press Command5");
    EXPECT_EQ(since(), " / " + QStringList(5, QStringLiteral("请先选择站点")).join(" | ").toStdString()) << round;
    pick(combo(screen), kStation1);
    screen.close();
    openFrom("FactoryOperation", screen);
    ASSERT_TRUE(edit(screen, "LTextBox1")->text().isEmpty());
  }
  EXPECT_EQ(screen.pendingRead, 0);
  // 否 sends nothing.
  pick(combo(screen), kStation1);
  EXPECT_EQ(edit(screen, "LTextBox1")->text() + text1(), "1 ");
  dialogs.answers = {platform::kNo, platform::kNo, platform::kNo};
  run(screen, "click Command1|click Command2|press Command5");
  EXPECT_EQ(since(),
            " / 确定对 一号站（设备ID 1）执行 恢复出厂设置? | 确定对 一号站（设备ID 1）执行 清除历史数据? | "
            "确定对 一号站（设备ID 1）执行 系统重启?");

  // Each command its frame and its message; restoring, clearing and restarting ask first, and
  // 是 sends.
  station1.setRestartSilence(std::chrono::seconds(3));
  const std::string commands =
      "Command1;01 78 00 00 00 01 60 00;恢复出厂成功; |Command2;01 79 00 00 00 01 5D C0;清除数据成功; |"
      "Command4;01 06 E3 27 00 01 CF 85;设置成功;当前RS485通讯口用于：并机|"
      "Command3;01 06 E3 27 00 00 0E 45;设置成功;当前RS485通讯口用于：通讯|"
      "Command5;01 06 DF 01 00 01 22 1E;系统复位成功;当前RS485通讯口用于：通讯";
  for (const std::string& row : split(commands, '|')) {
    SCOPED_TRACE(row);
    const std::vector<std::string> f = split(row, ';');
    const QString caption = button(screen, f[0].c_str())->text();
    const bool asks = caption == "恢复出厂设置" || caption == "清除历史数据" || caption == "系统重启";
    if (asks) dialogs.answers = {platform::kYes};
    run(screen, "press " + f[0]);
    EXPECT_EQ(since(), exact(f[1]) + " / " + (asks ? question.arg(caption).toStdString() + " | " : "") + f[2]);
    EXPECT_EQ(text1().toStdString(), f[3]);
  }
  // A station choice blanks the status line.
  pick(combo(screen), kStation1);
  EXPECT_EQ(text1(), " ");

  // A typed name: the other station's address and port, looked up now; a name of no station
  // sends nothing and says so in one line.
  run(screen, "type Combo1 二号站");
  ASSERT_TRUE(shows(screen, "LTextBox1=1"));  // typing does not refill the box
  run(screen, "press Command3");
  EXPECT_EQ(since(), withCrc("02 06 E3 27 00 00") + " / 设置成功");
  EXPECT_TRUE(shows(screen, "LTextBox1=2"));
  run(screen, "type Combo1 三号站|press Command3");
  EXPECT_EQ(since() + logLines().last().section(']', 1).toStdString(), " / 没有名为“三号站”的站点，未发送任何数据");
}

// --- Device ID setting ----------------------------------------------------------------------

class DeviceIdTest : public ConfigScreensTest {
 protected:
  FrmDeviceIDSetting& screen() { return FrmDeviceIDSetting::instance(); }
  QPushButton* command1() { return button(screen(), "Command1"); }

  void open() { openFrom("DeviceIDSetting", screen()); }
  // One port in the list, none chosen, the pass ready to start.
  void expectFresh() {
    EXPECT_EQ(combo(screen())->count(), 1);
    EXPECT_TRUE(combo(screen())->currentText().isEmpty() && command1()->isEnabled());
  }

  // Runs the scan until it rests: its load mode pass has sent its last frame and the turn
  // after it has handed over to the rest counter.
  void untilTheScanRests(const std::string& loadModeFrame) {
    for (int i = 0; i < 400; ++i) {
      const auto sent = testing::sentFrames(*line);
      if (!sent.empty() && sent.back().frame == loadModeFrame && nowMs() - sent.back().atMs >= 1500) return;
      clock.advance(ms(100));
    }
    FAIL() << "the scan never rested";
  }

  // Starts a pass on COM3 with a real click, while the scan rests.
  std::int64_t startPass() {
    pick(combo(screen()), "COM3,9600");
    return clickAndWait(command1(), 0);
  }

  static std::string poll(int address) {
    return hexText(configuration::addressPollFrame(static_cast<std::uint8_t>(address)));
  }
  static bool isPoll(const std::string& frame) { return frame.size() == 16 && frame.substr(2, 10) == "03000A0001"; }
  // From `fromMs` on no more polls, and the scan asks `address` again within its rest.
  void expectTheScanBack(std::int64_t fromMs, int address) {
    clock.advance(ms(15000));
    const std::string rt = hexText(requestFrame(address, " 03 0100 0023"));
    std::int64_t again = -1;
    for (const Sent& s : sentFrom(fromMs)) {
      EXPECT_FALSE(isPoll(s.frame)) << s;
      if (s.frame == rt && again < 0) again = s.atMs;
    }
    ASSERT_GT(again, 0);
    EXPECT_LE(again - fromMs, 13000);
  }
};

// The scan's station at 242 is never found: 241 polls and the scan given back; a pass ended by
// closing the screen gives the scan back too, and the next opening is a fresh screen; a
// controller at 241 is found at the last tick with the scan silent meanwhile.
TEST_F(DeviceIdTest, ThePassPollsTo241WithTheScanSilentAndGivesItBack) {
  addStation(kStation1, "COM3,9600", "242");
  controllerAt(242);
  startAndDiscover();
  const std::string scanRest = hexText(requestFrame(242, " 03 E0 1D 0001"));
  untilTheScanRests(scanRest);
  open();
  EXPECT_TRUE(shows(screen(), "Label1=读取ID时，采用地址轮询方式，请确认只有一台控制器连接在通讯总线上"));
  expectFresh();
  std::int64_t t = startPass();
  clock.advance(ms(241 * 300 + 50));
  auto sent = sentFrom(t);
  ASSERT_EQ(sent.size(), 241u);
  for (const Sent& s : sent) EXPECT_TRUE(isPoll(s.frame)) << s;
  EXPECT_EQ(sent.back().frame, poll(241));
  EXPECT_TRUE(edit(screen(), "LTextBox2")->text().isEmpty() && screen().foundAddress == 0);
  EXPECT_TRUE(command1()->isEnabled() && dialogs.shown.empty());
  expectTheScanBack(t + 241 * 300 + 1, 242);

  untilTheScanRests(scanRest);
  t = startPass();
  clock.advance(ms(20000));
  for (const Sent& s : sentFrom(t)) EXPECT_TRUE(isPoll(s.frame)) << s;
  screen().close();
  ASSERT_FALSE(screen().isVisible());
  expectTheScanBack(nowMs(), 242);
  open();
  expectFresh();

  controllerAt(241);
  untilTheScanRests(scanRest);
  t = startPass();
  EXPECT_FALSE(command1()->isEnabled() || scan().Timer2.enabled() || link::SerialSession::scanControl()->portOpen());
  // The greyed button, clicked, does not start the pass again.
  clock.advance(ms(3000));
  EXPECT_EQ(screen().scanAddress(), 10);
  clickAndWait(command1(), 300);
  EXPECT_EQ(screen().scanAddress(), 11);
  clock.advance(ms(241 * 300 - 3300 + 200));
  sent = sentFrom(t);
  ASSERT_EQ(sent.size(), 241u);
  EXPECT_EQ(sent.front().frame, exact("01 03 00 0A 00 01 A4 08"));
  for (std::size_t i = 0; i < sent.size(); ++i)
    EXPECT_EQ(sent[i], (Sent{t + 300 * static_cast<std::int64_t>(i + 1), poll(static_cast<int>(i + 1))})) << i;
  EXPECT_TRUE(edit(screen(), "LTextBox2")->text() == "241" && screen().foundAddress == 241);
  EXPECT_TRUE(command1()->isEnabled() && dialogs.shown.empty());
  expectTheScanBack(sent.back().atMs + 1, 242);
}

// With no port chosen the pass runs its length in silence; before any find the write would go
// to address 0, which every controller takes: refused. A reply with a bad CRC is passed over
// and the lowest sound address wins; the write goes to it, and again to it without a new pass.
TEST_F(DeviceIdTest, TheWriteGoesToTheAddressFoundAndBeforeAnyFindNowhere) {
  controllerAt(3).setFaults({.badCrc = true});
  sim::Controller& device = controllerAt(7);
  controllerAt(9);
  start();
  open();
  since();
  run(screen(), "press Command1", 241 * 300 - 100);
  EXPECT_TRUE(shows(screen(), "-Command1"));
  clock.advance(ms(200));
  EXPECT_TRUE(shows(screen(), "+Command1 LTextBox2="));
  EXPECT_EQ(std::to_string(screen().scanAddress()) + since(), "241 / ");

  addStation(kStation1, "COM3,9600", "7");
  run(screen(), "pick Combo1 COM3,9600|type LTextBox2 5|click Command2");
  EXPECT_FALSE(screen().Timer1.enabled());
  clock.advance(ms(600));
  EXPECT_EQ(since(), " / 请先读取设备ID");
  EXPECT_EQ(device.address(), 7);

  // The pass stops at the first sound reply; the write goes to it.
  startPass();
  clock.advance(ms(3000));
  EXPECT_TRUE(shows(screen(), "LTextBox2=7 +Command1"));
  EXPECT_EQ(since(), poll(1) + ", " + poll(2) + ", " + poll(3) + ", " + poll(4) + ", " + poll(5) + ", " + poll(6) +
                         ", " + poll(7) + " / ");
  run(screen(), "type LTextBox2 5|press Command2", 600);
  EXPECT_EQ(since(), withCrc("07 06 00 1A 00 05") + " / 设备ID设置成功");
  EXPECT_TRUE(device.address() == 5 && core::getStationDeviceID(kStation1) == "7");  // the store is edited apart

  // A second write without a new pass goes to the old address and finds nobody; an address
  // that is no byte sends nothing.
  run(screen(), "type LTextBox2 6|press Command2", 600);
  EXPECT_EQ(since(), withCrc("07 06 00 1A 00 06") + " / ");
  EXPECT_EQ(device.address(), 5);
  run(screen(), "type LTextBox2 256|press Command2", 600);
  EXPECT_EQ(since(), " / ");
  EXPECT_TRUE(logLines().last().contains(QStringLiteral("未发送任何数据")));
}

}  // namespace
}  // namespace xl
