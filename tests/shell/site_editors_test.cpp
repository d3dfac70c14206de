// The station editor and the port list through their controls. The editor in its four modes,
// from the menu and from the tree's pop-up: the order of the checks and their messages, the
// store afterwards, the log lines, the full refresh after the dialog. The port list: the probe,
// the match, add, update, delete, the OK rule, the settings file afterwards, and the main
// window's refresh after OK only.
//
// Random sequences of what an operator does with the port list and the station editor, through
// their controls (clicks, keys, the answers of the question boxes), against a small model of
// the settings file (the port list, the recorder's marks) and of the station store. Every step
// is compared with the model; the first difference fails with the sequence's seed and steps.
// Invariants that follow: never two stations of one name, never an entry removed that was not
// chosen, marks follow their stations, a file that cannot be written changes neither.
//
// XL_MODEL_SEQUENCES sets the number of sequences (2000 unless set; 300 under the sanitizers,
// which look for memory faults rather than for more sequences), XL_MODEL_SEED the first seed.

#include <sqlite3.h>

#include <QRegularExpression>
#include <QStyledItemDelegate>
#include <map>
#include <random>

#include "platform/gbk.h"
#include "shell/frm_add_station.h"
#include "shell/frm_port_configuration.h"
#include "shell/login.h"
#include "shell/port_list.h"
#include "shell_fixture.h"

namespace xl::shell {
namespace {

class SiteEditorsTest : public testing::ShellFixture {
 protected:
  // Starts the console on two port entries and lets the stations load into the tree.
  void startAndLoad() {
    setPorts({"COM3,9600", "COM4,4800"});
    start();
    mdi().show();
    clock.advance(ms(300 * 3));
  }
  void type(QLineEdit* box, const QString& text) { testing::retype(box, text); }
  void type(QComboBox* box, const QString& text) { testing::typeOver(box, text); }
  // A left click on the station node of the tree, then the pop-up item `item`.
  void popup(const QString& station, const char* item) {
    QTreeWidget* tree = mdi().TreeView1();
    const auto found = tree->findItems(station, Qt::MatchExactly | Qt::MatchRecursive);
    ASSERT_EQ(found.size(), 1) << station.toStdString();
    tree->scrollToItem(found[0]);
    QCoreApplication::processEvents();
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(found[0]).center());
    mdi().action(item)->trigger();
  }
  // The station editor in one text: its title, the buttons that act (添加, 更新, 删除), which
  // of name, ID, port and remarks take input, then name, ID, the chosen port and the port list.
  QString editorText(const QObject& f) {
    QString s = static_cast<const QWidget&>(f).windowTitle() + " |";
    for (const char* b : {"Command1", "Command3", "Command4"})
      s += " " + (button(f, b)->isEnabled() ? button(f, b)->text() : "-");
    s += " | ";
    for (QWidget* w : std::initializer_list<QWidget*>{edit(f, "StationNameSS"), edit(f, "DeviceID"), combo(f, "Port"),
                                                      edit(f, "Remarks")})
      s += w->isEnabled() ? "+" : "-";
    return s + " " + edit(f, "StationNameSS")->text() + " " + edit(f, "DeviceID")->text() + " [" +
           combo(f, "Port")->currentText() + "] " + itemsOf(combo(f, "Port")).join(' ');
  }
  QListWidget* list(const QObject& f) { return control<QListWidget>(f, "List1"); }
  QLineEdit* address(const QObject& f) { return control<QLineEdit>(f, "GatewayAddress"); }
  // The port list dialog in one text: the ports found with the one in the box, the entries as
  // the list shows them, the add/update button with the entry it updates, the rate box, the
  // gateway address and whether OK can be pressed.
  QString describe(FrmPortConfiguration& f) {
    auto* delegate = static_cast<QStyledItemDelegate*>(list(f)->itemDelegate());
    QStringList shown;
    for (int i = 0; i < list(f)->count(); ++i) shown << delegate->displayText(list(f)->item(i)->text(), QLocale());
    return itemsOf(combo(f, "Combo1")).join(' ') + " [" + combo(f, "Combo1")->currentText() + "] | " +
           shown.join("; ") + " | " + button(f, "Command1")->text() + QString::number(f.editIndex) + " " +
           combo(f, "Combo2")->currentText() + " [" + address(f)->text() + "]" +
           (button(f, "Command3")->isEnabled() ? " OK" : "");
  }
  // Opens the port list from the main window, `drive` working its controls.
  void openPorts(std::function<void(FrmPortConfiguration&)> drive) {
    drivers.push_back([drive](ui::DialogForm& form) { drive(static_cast<FrmPortConfiguration&>(form)); });
    mdi().PortConfiguration_Click();
  }
};
using AddStationTest = SiteEditorsTest;
using PortConfigurationTest = SiteEditorsTest;

// The editor from the menu and from the tree's pop-up: every refusal of add and update, in the
// editor's order, none changing the store or the settings file; an add with its checks in order
// storing all thirteen fields; the preview where nothing but cancel acts;
// the guest's way in.
TEST_F(AddStationTest, RefusalsAnAddThePreviewAndTheGuest) {
  addStation("S1", "COM3,9600", "1");
  addStation("S2", "COM3,9600", "2");
  startAndLoad();
  const QByteArray settings = settingsBytes();
  const auto rows = core::getStations("COM3,9600");
  // Update or add, name, ID, the refusal.
  const std::tuple<bool, const char*, const char*, const char*> cases[] = {
      {false, "line count", "5", "站点名称不能与设置项同名：line count"},  // the settings' way: case and
      {false, " File Path", "5", "站点名称不能与设置项同名： File Path"},  // blanks around don't count
      {false, "S9", " 02", "COM3 上已有设备ID为 2 的站点：S2"},            // one bus address, other text
      {true, "", "1", "必须填写站点名"},
      {true, "Temporary", "1", "站点名称不能与设置项同名：Temporary"},
  };
  for (const auto& [update, name, id, message] : cases) {
    drivers.push_back([&](ui::DialogForm& f) {
      type(edit(f, "StationNameSS"), QString::fromUtf8(name));
      type(edit(f, "DeviceID"), id);
      testing::choose(combo(f, "Port"), "COM3,9600");
      click(f, update ? "Command3" : "Command1");
      EXPECT_TRUE(f.isVisible());
      click(f, "Command2");
    });
    update ? popup("S1", "EditStation1") : mdi().AddStation_Click();
    clock.advance(ms(900));
    EXPECT_EQ(messages().last(), QString::fromUtf8(message)) << name;
  }
  EXPECT_EQ(core::getStations("COM3,9600"), rows);
  EXPECT_EQ(settingsBytes(), settings);

  // An add: everything empty, only the name is asked for; then the ID, then the port.
  drivers.push_back([&](ui::DialogForm& f) {
    // Nothing chosen in the port list yet.
    EXPECT_EQ(editorText(f), "添加站点 | 添加 - - | ++++   [] COM3,9600 COM4,4800");
    click(f, "Command1");
    type(edit(f, "StationNameSS"), "O'Brien 站");
    click(f, "Command1");
    type(edit(f, "DeviceID"), "7");
    click(f, "Command1");
    for (const auto& [box, text] :
         {std::pair{"Port", "COM4,4800"}, {"ArraysType", "Thin-Film"}, {"BatteryType", "LI"}, {"LoadType", "AC+DC"}})
      testing::choose(combo(f, box), text);
    const QStringList typed = {"PeakPower", "250",     "Voc", "44.5",  "Vmp", "36",      "Capacity",
                               "100",       "Voltage", "24",  "Power", "60",  "Remarks", "屋顶, 东"};
    for (int i = 0; i < typed.size(); i += 2) type(edit(f, typed[i].toLatin1().constData()), typed[i + 1]);
    click(f, "Command1");
    // The dialog stays with its fields; a second add of the name is a duplicate.
    EXPECT_TRUE(f.isVisible());
    click(f, "Command1");
    click(f, "Command2");
  });
  mdi().action("AddStation")->trigger();
  EXPECT_EQ(messages().mid(5),
            (QStringList{"必须填写站点名称", "必须填写设备ID", "必须填写端口", "添加站点成功", "站点名称重复"}));
  const core::Station want{"O'Brien 站", "COM4,4800", "7",  "Thin-Film", "250", "44.5",    "36",
                           "LI",         "100",       "24", "AC+DC",     "60",  "屋顶, 东"};
  EXPECT_EQ(core::getStations("COM4,4800"), std::vector<core::Station>{want});
  // Cancel unloaded the dialog, and the full refresh rebuilt the tree and loads again.
  EXPECT_FALSE(FrmAddStation::exists());
  EXPECT_TRUE(logLines().last().endsWith(QStringLiteral("刷新所有站点，请稍等...")));
  clock.advance(ms(900));
  EXPECT_NE(mdi().node("COM4,4800,7"), nullptr);

  // The preview: the station shown, nothing but cancel acts, typing included.
  drivers.push_back([&](ui::DialogForm& f) {
    for (const char* b : {"Command1", "Command3", "Command4"}) click(f, b);
    for (const char* box : {"StationNameSS", "DeviceID", "Remarks"}) testing::typeText(edit(f, box), "x");
    EXPECT_EQ(editorText(f), "添加站点 | - - - | ---- S1 1 [COM3,9600] COM3,9600 COM4,4800");
    click(f, "Command2");
  });
  const int boxes = messages().size();
  popup("S1", "ViewStation");
  EXPECT_EQ(messages().size(), boxes);
  EXPECT_EQ(core::getStations("COM3,9600"), rows);
  clock.advance(ms(900));

  // The guest: the pop-up's items (enabled, as the login tests see) open the editor.
  mdi().LogOff_Click();
  drivers.push_back([&](ui::DialogForm& f) { EXPECT_TRUE(button(f, "Command1")->isEnabled()); });
  mdi().action("AddStation1")->trigger();
  clock.advance(ms(900));
  drivers.push_back([&](ui::DialogForm& f) { EXPECT_TRUE(button(f, "Command3")->isEnabled()); });
  popup("S1", "EditStation1");
  EXPECT_TRUE(drivers.empty());
}

// The probe closes the scan's port first, leaves out ports another control holds (COM4) and
// stops at port 100; each round sets the control up for receiving, then tries port number,
// open, close (ten steps where the open fails, as for ports 1 and 2). Then the match of the port
// box, and a gateway port: listed as present without a device, added with its address, its
// address changed and taken away again; the settings file holds exactly what the dialog showed.
TEST_F(PortConfigurationTest, ProbeMatchGatewaysAddDeleteOkTheFileAndTheRefresh) {
  for (const char* port : {"COM3", "COM4", "COM12", "COM101"}) driver.addLine(port, 9600);
  std::string ops;
  platform::setPortTrace([&](const std::string& control, const std::string& op, const std::string& value) {
    if (control == "FrmPortConfiguration.MSComm1") ops += op + "=" + value + " ";
  });
  platform::SerialControl holder("Holder");
  holder.setCommPort(4);
  holder.setPortOpen(true);
  writeSettings(
      "[Main]\r\nconfig=\r\n[COMS]\r\nListCount=2\r\n1=COM12,4800\r\n2=COM7,9600\r\n[Network Ports]\r\nCOM7=TCP://"
      "10.0.0.9:502\r\n");
  start();
  scan().setReadInterval(10);
  scan().Timer2.setEnabled(true);
  platform::SerialControl* scanPort = link::SerialSession::scanControl();
  ASSERT_NE(scanPort, nullptr);
  scanPort->setCommPort(3);
  scanPort->setPortOpen(true);
  openPorts([&](FrmPortConfiguration& f) {
    QComboBox* ports = combo(f, "Combo1");
    platform::setPortTrace({});
    const std::string setup =
        "InputMode=1 InputLen=0 InBufferSize=1024 OutBufferSize=512 SThreshold=0 RThreshold=1 "
        "InBufferCount=0 OutBufferCount=0 ";
    EXPECT_TRUE(ops.starts_with(setup + "CommPort=1 PortOpen=True " + setup + "CommPort=2 PortOpen=True " + setup +
                                "CommPort=3 PortOpen=True PortOpen=False " + setup))
        << ops;
    EXPECT_TRUE(!f.MSComm1.portOpen() && holder.portOpen() && !scanPort->portOpen());
    // The first port found in the box.
    EXPECT_EQ(describe(f), "COM3 COM7 COM12 [COM3] | COM12,4800; COM7,9600 → 10.0.0.9:502 | 添加0 9600 [] OK");
    // The scan has its rest counter back once the load is done.
    EXPECT_TRUE(scan().Timer2.enabled());
    // Choosing a listed port turns the button into an update of that entry.
    testing::activate(ports, 1);
    EXPECT_EQ(describe(f),
              "COM3 COM7 COM12 [COM7] | COM12,4800; COM7,9600 → 10.0.0.9:502 | 更新1 9600 [10.0.0.9:502] OK");
    // Typing matches as the port list's rules say ("M7" is inside "COM7,9600").
    type(ports, "m7");
    EXPECT_EQ(describe(f), "COM3 COM7 COM12 [m7] | COM12,4800; COM7,9600 → 10.0.0.9:502 | 更新1 9600 [] OK");
    // "COM1," is not in "COM12,4800": the comma makes the end exact. An empty box (a lone comma)
    // finds the first entry.
    type(ports, "COM1");
    EXPECT_EQ(describe(f), "COM3 COM7 COM12 [COM1] | COM12,4800; COM7,9600 → 10.0.0.9:502 | 添加1 9600 [] OK");
    ports->clearEditText();
    EXPECT_EQ(describe(f), "COM3 COM7 COM12 [] | COM12,4800; COM7,9600 → 10.0.0.9:502 | 更新0 9600 [] OK");
    // 更新 there changes no entry; a part of a name changes only the baud rate of its entry.
    click(f, "Command1");
    type(ports, "m7");
    type(combo(f, "Combo2"), "4800");
    click(f, "Command1");
    EXPECT_EQ(describe(f), "COM3 COM7 COM12 [m7] | COM12,4800; COM7,4800 → 10.0.0.9:502 | 更新1 4800 [] OK");
    // Refused with a message, nothing added: no port number, no address.
    for (const auto& [port, typed] :
         {std::pair{"COMX", "192.168.1.50:8899"}, {"COM5", "192.168.1.50"}, {"COM5", "h:0"}}) {
      type(ports, port);
      address(f)->setText(typed);
      click(f, "Command1");
    }
    EXPECT_EQ(messages().size(), 3);
    address(f)->setText("192.168.1.50:8899");
    click(f, "Command1");
    EXPECT_EQ(describe(f),
              "COM3 COM7 COM12 [COM5] | COM12,4800; COM7,4800 → 10.0.0.9:502; COM5,4800 → 192.168.1.50:8899 | 更新2 "
              "4800 [192.168.1.50:8899] OK");
    // The box shows the chosen port's gateway, and empties for a listed serial port.
    type(ports, "COM12");
    EXPECT_EQ(address(f)->text(), "");
    type(ports, "COM7");
    EXPECT_EQ(address(f)->text(), "10.0.0.9:502");
    address(f)->setText("tcp://[fe80::1]:4001");
    click(f, "Command1");
    EXPECT_EQ(describe(f),
              "COM3 COM7 COM12 [COM7] | COM12,4800; COM7,4800 → [fe80::1]:4001; COM5,4800 → 192.168.1.50:8899 | 更新1 "
              "4800 [[fe80::1]:4001] OK");
    click(f, "Command3");
  });
  EXPECT_EQ(modals, QStringList{"FrmPortConfiguration"});
  EXPECT_EQ(
      settingsBytes(),
      QByteArray("[Main]\r\nconfig=\r\n[COMS]\r\nListCount=3\r\n1=COM12,4800\r\n2=COM7,4800\r\n3=COM5,4800\r\n[Network "
                 "Ports]\r\nCOM7=tcp://[fe80::1]:4001\r\nCOM5=tcp://192.168.1.50:8899\r\n"));
  EXPECT_EQ(shell::gatewayOfPort("COM5"), "tcp://192.168.1.50:8899");
  // Again: COM7 back to a serial port, COM5 deleted from the list takes its address along.
  openPorts([&](FrmPortConfiguration& f) {
    type(combo(f, "Combo1"), "COM7");
    EXPECT_EQ(address(f)->text(), "[fe80::1]:4001");
    address(f)->clear();
    click(f, "Command1");
    list(f)->setCurrentRow(2);
    click(f, "Command2");
    click(f, "Command3");
  });
  const QByteArray before =
      "[Main]\r\nconfig=\r\n[COMS]\r\nListCount=2\r\n1=COM12,4800\r\n2=COM7,9600\r\n3=COM5,4800\r\n[Network Ports]\r\n";
  EXPECT_EQ(settingsBytes(), before);

  // With the list emptied OK turns grey within 300 ms and a click on it does nothing; cancel and
  // the close box touch nothing and refresh nothing.
  clock.advance(ms(20000));
  const QStringList linesBefore = logLines();
  openPorts([&](FrmPortConfiguration& f) {
    EXPECT_TRUE(button(f, "Command3")->isEnabled());
    for (int i = 0; i < 2; ++i) {
      testing::clickRow(list(f), 0);
      click(f, "Command2");
    }
    clock.advance(ms(300));
    EXPECT_FALSE(button(f, "Command3")->isEnabled());
    click(f, "Command3");
    EXPECT_TRUE(!f.accepted && f.isVisible());
    click(f, "Command4");
  });
  drivers.push_back([&](ui::DialogForm& form) { form.close(); });
  mdi().action("Port Configuration")->trigger();
  EXPECT_EQ(modals.size(), 4);
  EXPECT_EQ(settingsBytes(), before);
  EXPECT_EQ(logLines(), linesBefore);
  EXPECT_FALSE(FrmPortConfiguration::exists());

  // A port added as chosen from the list, an empty baud rate that adds nothing, the delete of an
  // entry that still has a station (Yes to the question). OK writes the list in place, byte for
  // byte (keys above the new count stay behind), and the full refresh rebuilds the tree from it,
  // loading from the first port again; the station's row stays.
  addStation("S12", "COM12,4800", "1");
  dialogs.answers = {platform::kYes};
  openPorts([&](FrmPortConfiguration& f) {
    testing::activate(combo(f, "Combo1"), 0);
    combo(f, "Combo2")->setCurrentText("19200");
    click(f, "Command1");
    type(combo(f, "Combo1"), "COM9");
    combo(f, "Combo2")->setCurrentText("");
    click(f, "Command1");
    testing::clickRow(list(f), 0);
    click(f, "Command2");
    EXPECT_EQ(describe(f), "COM3 COM12 [COM9] | COM7,9600; COM3,19200 | 添加2  [] OK");
    click(f, "Command3");
  });
  EXPECT_EQ(messages().last(), QStringLiteral("COM12 上还有 1 个站点，删除后这些站点将不再显示。确定删除?"));
  EXPECT_EQ(settingsBytes(), QByteArray("[Main]\r\nconfig=\r\n[COMS]\r\nListCount=2\r\n1=COM7,9600\r\n2=COM3,"
                                        "19200\r\n3=COM5,4800\r\n[Network Ports]\r\n"));
  EXPECT_EQ(logLines().mid(linesBefore.size()).join('|').section(']', 1) +
                QString(" port %1 %2").arg(mdi().portCursor).arg(mdi().Timer2.enabled()),
            QStringLiteral("刷新所有站点，请稍等... port 0 1"));
  clock.advance(ms(300 * 3));
  EXPECT_EQ(treeText(), "站点资源管理器: COM7,9600 [] COM3,19200 []");
  EXPECT_TRUE(core::findStation("S12"));
  holder.setPortOpen(false);
}

const QStringList kNames = {"东区", "南区", "西区", "abc", "ABC", "Line Count"};
const QStringList kIds = {"1", "2", "3"};
const QStringList kPortPool = {"COM3", "COM4", "COM5", "com3"};
const QStringList kBauds = {"9600", "4800"};
const QString kRecorder = QStringLiteral("Maintenance Record");

bool same(const QString& a, const QString& b) { return a.compare(b, Qt::CaseInsensitive) == 0; }

struct Row {
  QString name, port, id;
  bool operator==(const Row&) const = default;
};

// What the two files hold, as the operator's moves should leave them.
struct Model {
  QStringList ports;
  std::vector<Row> rows;
  std::map<QString, QString> marks;  // by the lower-case name: one key of the settings file

  const Row* named(const QString& name) const {
    const auto r = std::ranges::find_if(rows, [&](const Row& r) { return same(r.name, name); });
    return r == rows.end() ? nullptr : &*r;
  }
  int onPort(const QString& entry) const {
    return static_cast<int>(std::count_if(rows.begin(), rows.end(), [&](const Row& r) { return same(r.port, entry); }));
  }
  // The refusal of the station editor for `s`; `opened` is the station an update edits.
  QString refusal(const Row& s, const QString* opened) const {
    if (s.port.isEmpty()) return "必须填写端口";
    if (same(s.name, "Line Count")) return "站点名称不能与设置项同名：" + s.name;
    const auto other = [&](const Row& r) { return !opened || !same(r.name, *opened); };
    if (const Row* r = named(s.name); r && other(*r)) return "站点名称重复";
    for (const Row& r : rows)
      if (same(r.port, s.port) && r.id == s.id && other(r))
        return QStringLiteral("%1 上已有设备ID为 %2 的站点：%3").arg(r.port.section(',', 0, 0), r.id, r.name);
    return {};
  }
  // Whether renaming `from` to `to` changes a key of the settings file.
  bool marksChange(const QString& from, const QString& to) const {
    return !same(from, to) && (marks.contains(from.toLower()) || marks.contains(to.toLower()));
  }
};

class SiteListsModelTest : public SiteEditorsTest {
 protected:
  // ---- the files ----------------------------------------------------------------------

  void writeFiles(const Model& m) {
    QString ini = "[COMS]\r\nListCount=" + QString::number(m.ports.size()) + "\r\n";
    for (int i = 0; i < m.ports.size(); ++i) ini += QString::number(i + 1) + "=" + m.ports[i] + "\r\n";
    ini += "[" + kRecorder + "]\r\nRead Interval=10\r\nLine Count=32000\r\n";
    for (const Row& r : m.rows)
      if (m.marks.contains(r.name.toLower())) ini += r.name + "=" + m.marks.at(r.name.toLower()) + "\r\n";
    lock(1, false);
    writeSettings(platform::toGbk(ini));
    // The store in one transaction: thousands of sequences start from a state of their own.
    ASSERT_TRUE(core::checkDatabase() || core::createStore());
    QString statements = "begin; delete from Station;";
    for (const Row& r : m.rows)
      statements += QString("insert into Station values ('%1', '%2', '%3', '', '', '', '', '', '', '', '', '', '');")
                        .arg(r.name, r.port, r.id);
    sql(statements + "commit;");
  }
  // Runs `statements` on the station store.
  void sql(const QString& statements) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(core::stationStorePath().toUtf8().constData(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, statements.toUtf8().constData(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
  }

  // The difference between the files and the model; empty when there is none.
  QString difference(const Model& m) {
    const QByteArray bytes = settingsBytes();
    if (bytes.count('\n') != bytes.count("\r\n")) return "a line of the settings file ends without CR LF";
    if (platform::toGbk(platform::fromGbk(bytes)) != bytes) return "the settings file is no GBK text";
    QStringList ports;
    for (int i = 1; i <= core::readIniInt("COMS", "ListCount"); ++i) ports << core::readIni("COMS", QString::number(i));
    if (ports != m.ports) return "ports " + ports.join(' ') + " want " + m.ports.join(' ');
    for (const QString& name : kNames) {
      const QString want = m.marks.contains(name.toLower()) ? m.marks.at(name.toLower()) : QString();
      if (name != "Line Count" && core::readIni(kRecorder, name) != want)
        return "mark of " + name + ": " + core::readIni(kRecorder, name) + " want " + want;
    }
    if (core::readIni(kRecorder, "Line Count") != "32000") return "the recorder's Line Count changed";
    for (const char* port : {"COM3,9600", "COM4,9600", "COM5,9600", "COM3,4800", "COM4,4800", "COM5,4800"}) {
      std::vector<Row> stored, want;
      for (const core::Station& s : core::getStations(port)) stored.push_back({s.StationName, s.Port, s.DeviceID});
      for (const Row& r : m.rows)
        if (same(r.port, port)) want.push_back(r);
      if (stored != want) return "stations on " + QString(port) + " differ";
    }
    return {};
  }

  // 0: every change of the store fails (a trigger), 1: the settings file is read-only; else none.
  void lock(int which, bool locked) {
    if (which == 1)
      QFile::setPermissions(dir.path() + "/MSCON.DLL",
                            locked ? QFile::ReadOwner : QFile::ReadOwner | QFile::WriteOwner);
    if (which != 0) return;
    sql(locked ? "create trigger lock1 before insert on Station begin select raise(abort, 'locked'); end;"
                 "create trigger lock2 before delete on Station begin select raise(abort, 'locked'); end;"
               : "drop trigger lock1; drop trigger lock2;");
  }

  // ---- the operator's hands -----------------------------------------------------------

  // The box a button press should show (or none), checked as it happens.
  void expectBox(const QString& text, const QString& then = {}) {
    const QStringList shown = messages().mid(boxes_);
    boxes_ = static_cast<int>(dialogs.shown.size());
    ASSERT_EQ(shown, QStringList({text, then}).filter(QRegularExpression("."))) << trail_;
  }

  // ---- the moves -----------------------------------------------------------------------

  // The station editor (`what` 0: add, 1: update, 2: delete), then 取消. 添加 from the menu,
  // pressed once or twice on a new station; or, from the tree's pop-up on one station, one to
  // three presses of 更新 with the fields changed or not between them, or 删除 answered No first
  // now and then. A locked file makes a press of 更新 or 删除 fail with a line in the message
  // window, the dialog staying as it is.
  void editStation(Model& m, int what) {
    const bool add = what == 0, remove = what == 2;
    const Row fresh{pick(kNames), pick(m.ports), pick(kIds)};
    QString opened = add ? fresh.name : m.rows[rng_() % m.rows.size()].name;
    const int lock = add ? 2 : int(rng_() % 6);  // 0: the store cannot be written, 1: the settings
    const int presses = 1 + int(rng_() % (what == 1 ? 3 : 2));
    note(QStringList{"add", "update", "delete"}[what] + " " + opened + " x" + QString::number(presses) +
         QStringList{" (store locked)", " (settings locked)", ""}[std::min(lock, 2)]);
    this->lock(lock, true);
    drivers.push_back([&](ui::DialogForm& f) {
      for (int i = 0; i < presses; ++i) {
        Row s = add ? fresh : *m.named(opened);
        const bool no = remove && i + 1 < presses;  // a delete's first press answered No
        if (remove) dialogs.answers.push_back(no ? platform::kNo : platform::kYes);
        const Row other = add ? fresh : Row{pick(kNames), pick(portsInEditor_), pick(kIds)};
        const auto change = [&](unsigned odds) { return add ? i == 0 : what == 1 && rng_() % odds == 0; };
        if (change(2)) type(edit(f, "StationNameSS"), s.name = other.name);
        if (change(3)) type(edit(f, "DeviceID"), s.id = other.id);
        if (change(3)) testing::choose(combo(f, "Port"), s.port = other.port);
        // Fields not changed show the station as it stands (it was shown, or updated so).
        s = {edit(f, "StationNameSS")->text(), combo(f, "Port")->currentText(), edit(f, "DeviceID")->text()};
        note("  -> " + s.name + " " + s.port + " " + s.id);
        click(f, add ? "Command1" : remove ? "Command4" : "Command3");
        const QString refused = remove ? QString() : m.refusal(s, add ? nullptr : &opened);
        const bool marks = remove ? m.marks.contains(opened.toLower()) : m.marksChange(opened, s.name);
        const bool fails = !no && refused.isEmpty() && (lock == 0 || (lock == 1 && marks));
        const QString done = no || fails ? QString() : QStringList{"添加", "更新", "删除"}[what] + "站点成功";
        remove ? expectBox("确定要删除站点?", done) : expectBox(refused.isEmpty() ? done : refused);
        if (fails) {
          ASSERT_TRUE(logLines().last().endsWith((remove ? "删除站点失败：" : "更新站点失败：") +
                                                 QString(lock == 0 ? "站点库无法写入" : "设置文件无法写入") +
                                                 (remove ? "" : "，站点保持原样")))
              << logLines().last().toStdString() << trail_;
        }
        ASSERT_EQ(f.isVisible(), !done.startsWith("删除")) << trail_;
        if (done.isEmpty() || !refused.isEmpty()) continue;
        // An update moves the row to the end (a delete and an insert); the mark follows the name.
        if (!add) std::erase_if(m.rows, [&](const Row& r) { return same(r.name, opened); });
        auto mark = m.marks.extract(opened.toLower());
        if (remove) return;
        m.rows.push_back(s);
        m.marks.erase(s.name.toLower());
        if (mark) m.marks[s.name.toLower()] = mark.mapped();
        opened = s.name;
      }
      click(f, "Command2");
    });
    if (add) {
      mdi().AddStation_Click();
    } else {
      auto& editor = FrmAddStation::instance();
      editor.setModeButtons(false, !remove, remove);
      editor.setEnabled(true);
      editor.openStation(opened);
    }
    this->lock(lock, false);
  }

  // The port list: a few of 添加/更新, choosing an entry, 删除 (pressed twice now and then),
  // then 确定 or 取消.
  void editPorts(Model& m) {
    note("ports");
    drivers.push_back([&](ui::DialogForm& form) {
      auto& f = static_cast<FrmPortConfiguration&>(form);
      auto* list = testing::control<QListWidget>(f, "List1");
      QStringList shown = m.ports;
      int chosen = -1;
      const int steps = 1 + int(rng_() % 5);
      for (int i = 0; i < steps; ++i) {
        const int what = int(rng_() % 3);
        if (what == 0) {
          const QString port = pick(kPortPool), baud = pick(kBauds);
          note("  " + port + "," + baud + " " + button(f, "Command1")->text());
          testing::typeOver(combo(f, "Combo1"), port);
          testing::typeOver(combo(f, "Combo2"), baud);
          click(f, "Command1");
          const auto at = std::find_if(shown.begin(), shown.end(),
                                       [&](const QString& e) { return same(e.section(',', 0, 0), port); });
          // An update keeps the entry's own port name (the pool holds names in both cases).
          if (at != shown.end())
            *at = at->section(',', 0, 0) + "," + baud;
          else
            shown.push_back(port + "," + baud);
        } else if (what == 1 && !shown.isEmpty()) {
          chosen = int(rng_() % shown.size());
          note("  choose " + shown[chosen]);
          testing::clickRow(list, chosen);
        } else {
          for (int p = 0, presses = 1 + int(rng_() % 2); p < presses; ++p) {
            note("  删除");
            ASSERT_EQ(button(f, "Command2")->isEnabled(), chosen >= 0) << trail_;
            // The last entry of a port that still has stations asks first.
            const QString entry = chosen >= 0 ? shown[chosen] : QString();
            const bool asks = chosen >= 0 && m.onPort(entry) > 0 &&
                              std::ranges::count_if(shown, [&](const QString& e) { return same(e, entry); }) == 1;
            const bool yes = !asks || rng_() % 2;
            if (asks) dialogs.answers.push_back(yes ? platform::kYes : platform::kNo);
            click(f, "Command2");
            expectBox(asks ? QStringLiteral("%1 上还有 %2 个站点，删除后这些站点将不再显示。确定删除?")
                                 .arg(entry.section(',', 0, 0))
                                 .arg(m.onPort(entry))
                           : QString());
            if (chosen >= 0 && yes) shown.removeAt(std::exchange(chosen, -1));
          }
        }
        ASSERT_EQ(f.entries(), shown) << trail_;
      }
      clock.advance(platform::ms(300));  // OK follows the list within 300 ms
      if (rng_() % 4 && !shown.isEmpty()) {
        note("  确定");
        click(f, "Command3");
        m.ports = shown;
      } else {
        note("  取消");
        click(f, "Command4");
      }
    });
    mdi().PortConfiguration_Click();
  }

  // ---- the sequences -------------------------------------------------------------------

  QString pick(const QStringList& from) { return from[int(rng_() % from.size())]; }
  void note(const QString& step) { trail_ += "\n  " + step.toStdString(); }

  Model randomStart() {
    Model m;
    // A list written by hand may hold one entry twice, in another case.
    QStringList entries = {"COM3,9600", "COM4,9600", "COM5,4800", "com3,9600"};
    std::shuffle(entries.begin(), entries.end(), rng_);
    m.ports = entries.mid(0, 1 + int(rng_() % 4));
    const int stations = int(rng_() % 4);
    for (int i = 0; i < stations; ++i) {
      Row r{pick(kNames), pick(m.ports), pick(kIds)};
      if (!m.refusal(r, nullptr).isEmpty()) continue;
      m.rows.push_back(r);
      if (rng_() % 3) m.marks[r.name.toLower()] = rng_() % 2 ? "-1" : "0";
    }
    return m;
  }

  std::mt19937 rng_;
  std::string trail_;
  int boxes_ = 0;
  QStringList portsInEditor_;
};

TEST_F(SiteListsModelTest, RandomSequencesOfTheDialogsKeepTheFilesAsTheModelSays) {
#if defined(__SANITIZE_ADDRESS__)
  constexpr int kSequences = 300;
#else
  constexpr int kSequences = 2000;
#endif
  const int set = qEnvironmentVariableIntValue("XL_MODEL_SEQUENCES"), sequences = set > 0 ? set : kSequences;
  const unsigned firstSeed = unsigned(std::max(1, qEnvironmentVariableIntValue("XL_MODEL_SEED")));
  start();
  for (int n = 0; n < sequences; ++n) {
    const unsigned seed = firstSeed + unsigned(n);
    rng_.seed(seed);
    Model m = randomStart();
    writeFiles(m);
    dialogs.shown.clear();
    boxes_ = 0;
    trail_ = "\nseed " + std::to_string(seed) + ":";
    const int steps = 2 + int(rng_() % 5);
    for (int i = 0; i < steps; ++i) {
      portsInEditor_ = m.ports;  // the editor's port list is the settings' when it opens
      const int what = int(rng_() % 4);
      if ((what == 0 && !m.ports.isEmpty()) || ((what == 1 || what == 2) && !m.rows.empty()))
        editStation(m, what);
      else
        editPorts(m);
      if (HasFatalFailure()) return;
      ASSERT_TRUE(dialogs.answers.empty()) << "an answer was not asked for" << trail_;
      const QString diff = difference(m);
      ASSERT_TRUE(diff.isEmpty()) << diff.toStdString() << trail_;
    }
  }
}

}  // namespace
}  // namespace xl::shell
