// The broker publisher in the whole console, in virtual time against simulated controllers,
// with a real mosquitto broker on a loopback port and real subscribers: the state and its
// discovery, alarms, a broker that goes away, refused logins, renamed stations, the settings
// screen, and what a consumer such as Home Assistant is told of each station's availability,
// a killed console included. Wall-clock waits are bounded (a few seconds each); the console's
// own time is the virtual clock.

#include <QCheckBox>
#include <QJsonArray>
#include <QMenu>
#include <csignal>
#include <set>

#include "link/device_data_map.h"
#include "monitoring/alarm_wiring.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "publish/frm_mqtt_settings.h"
#include "publish/mqtt_settings.h"
#include "publish/payloads.h"
#include "publish/publisher.h"
#include "shell/frm_add_station.h"
#include "tests/e2e/e2e.h"
#include "tests/publish/broker.h"
#include "ui/modal.h"

namespace xl::testing {
namespace {

using monitoring::FrmGlobalMonitoring;

const QString kStation1 = QStringLiteral("一号站");
const std::string kBase = "xinglan/site1/";

// Values of some keys of a JSON object, a blank between.
std::string pick(const QJsonObject& o, std::initializer_list<const char*> keys) {
  QStringList out;
  for (const char* key : keys) out << o[key].toVariant().toString();
  return out.join(' ').toStdString();
}

// A real-time reply whose "Ah charged today" carries a sequence number.
QByteArray numberedReply(int n) {
  QByteArray r = QByteArray::fromHex("010346").leftJustified(73, '\0');
  r[37] = static_cast<char>(n >> 8);
  r[38] = static_cast<char>(n & 0xFF);
  return r;
}

// The two-station console with a publisher that the scan hands its replies to, as the program
// wires it, sending to a broker on a loopback port.
class AvailabilityTest : public WholeConsole {
 protected:
  void TearDown() override {
    FrmGlobalMonitoring::setReplyListener({});
    publisher.reset();
    WholeConsole::TearDown();
  }
  // The scan's replies to the publisher and, when given, to the alarms, as the program wires them.
  void makePublisher(engine::alarms::AlarmEngine* alarms = nullptr) {
    publisher = std::make_unique<publish::Publisher>();
    if (alarms) monitoring::wireAlarms(*alarms, *publisher, nullptr);
    FrmGlobalMonitoring::setReplyListener(
        {[this](const QString& n, const QString& id, const QByteArray& b) { publisher->deviceInfoReply(n, id, b); },
         [this, alarms](const QString& n, const QString& id, const QByteArray& b) {
           publisher->realTimeReply(n, id, b);
           if (alarms) alarms->realTimeReply(n, id, b);
         },
         [alarms](const QString& n, const QString& id) {
           if (alarms) alarms->realTimeMissed(n, id);
         }});
  }
  // Settings through the file, as the settings screen leaves them, then applied.
  void publishTo(int port, const QString& clientId = "site1", const QString& user = {}, const QString& password = {},
                 const QString& ca = {}) {
    publish::writeMqttSettings({true, "127.0.0.1", port, clientId, "xinglan", user, password, ca, "homeassistant"});
    publisher->applyFromFile();
  }
  std::unique_ptr<publish::Publisher> publisher;
};

class BrokerTest : public AvailabilityTest {
 protected:
  BrokerTest() { secondName = QStringLiteral("二号/站#1"); }  // a name with what topics forbid
  void SetUp() override {
    AvailabilityTest::SetUp();
    auto& r = station1->state().readings;
    r.batteryVoltage = 125;
    r.batteryTemperature = r.deviceTemperature = -5;
    r.today.chargeAh = 258;
    r.totalWhGenerated = 12345;
    r.loadOn = true;
    r.chargeState = 2;
    // Register 0x0121 is what the scan and the alarms read (over-discharge); 0x0122 another word.
    r.faultWord = sim::fault::kOverDischarge;
    r.alarmWord = sim::fault::kBatteryOverVoltage;
    makePublisher();
    publisher->setTimeSource(
        [this] { return QDateTime(QDate(2026, 5, 1), QTime(8, 0)).addMSecs(platform::toMs(clock.now())); });
  }
  // A broker, a subscriber that has subscribed to it, and the console publishing to it, its
  // replies also to `alarms` when given.
  void startWithBroker(engine::alarms::AlarmEngine* alarms = nullptr) {
    broker.emplace();
    sub.emplace(broker->port());
    ASSERT_TRUE(sub->subscribed());
    start();
    if (alarms) makePublisher(alarms);
    publishTo(broker->port());
  }
  monitoring::FrmRealTimeMonitoring& live() { return monitoring::FrmRealTimeMonitoring::instance(); }

  const std::string level2 = "二号%2F站%231";  // the second station's topic level
  std::optional<Broker> broker;
  std::optional<Subscriber> sub;
};

TEST_F(BrokerTest, StateMatchesTheRealTimeScreenDiscoveryIsCompleteAndRenamedOrDeletedStationsAreCleared) {
  startWithBroker();
  clock.advance(ms(8000));  // discovery: the stations answer
  live().setCombo1Text(kStation1);
  // Monitoring starts by itself; the scan then hands its replies to the screen and the broker.
  ASSERT_TRUE(runUntil([&] { return live().monitoringRuns() && sub->on(kBase + "一号站/state").size() >= 2; }));

  const QJsonObject o = jsonOf(sub->on(kBase + "一号站/state").back());
  // These keys as JSON text, faults and status texts picked; the rest of the values: the boxes.
  QJsonObject picked;
  for (const char* key : {"station", "address", "port", "device_temperature", "day_charge_ah", "total_energy_generated",
                          "load_on", "charge_state", "charge_state_text", "fault_word_0121", "fault_word_0122"})
    picked[key] = o[key];
  for (const char* key : {"battery_over_voltage", "battery_over_discharge"}) picked[key] = o["faults"][key];
  for (const char* key : {"battery", "load"}) picked[QStringLiteral("status.") + key] = o["status"][key];
  picked["time"] = o["time"].toString().left(14);  // to the hour
  EXPECT_EQ(QJsonDocument(picked).toJson(QJsonDocument::Compact).toStdString(),
            R"({"address":1,"battery_over_discharge":true,"battery_over_voltage":false,"charge_state":2,)"
            R"("charge_state_text":"MPPT充电","day_charge_ah":258,"device_temperature":-5,"fault_word_0121":1,)"
            R"("fault_word_0122":2,"load_on":true,"port":"COM3,9600","station":"一号站","status.battery":"过放",)"
            R"("status.load":"已打开","time":"2026-05-01T08:","total_energy_generated":12.345})");
  // Each box of the screen and its value of the state, "box key places"; without places a text,
  // of the state or of its "status" (the battery's: above, the screen reads the other word).
  QStringList shown, published;
  for (const QString& row : QStringLiteral("Text2 array_current 2|Text3 array_voltage 1|Text4 array_power 0|"
                                           "Text9 battery_voltage 1|Text13 battery_current 2|Text11 battery_soc 0|"
                                           "Text7 battery_temperature 1|Text18 device_temperature 1|"
                                           "Text16 load_voltage 1|Text17 load_current 2|Text15 load_power 0|"
                                           "Text6 array|Text19 device|Text14 load|Text5 charge_state_text")
                                .split('|')) {
    const QStringList f = row.split(' ');
    shown << edit(live(), f[0].toLatin1().constData())->text();
    const QJsonValue v = o.contains(f[1]) ? o[f[1]] : o["status"].toObject()[f[1]];
    published << (f.size() < 3 ? v.toString() : QString::fromStdString(link::fixedText(v.toDouble(), f[2].toInt())));
  }
  EXPECT_EQ(shown.join(' ').toStdString(), published.join(' ').toStdString());
  // Every value Home Assistant is told of is in the state.
  for (const auto& s : publish::sensors()) EXPECT_TRUE(o.contains(QString::fromLatin1(s.key))) << s.key;

  // The console's status online (the second station's escaped topics: below).
  EXPECT_EQ(sub->last(kBase + "status") + " " + sub->last(kBase + "一号站/availability"), "online online");

  // Discovery: one config per value and station, each under its own id, topic and object id;
  // class, unit and state class only where the value has them, never as null; the rest alike
  // for every value: available only while the console (its status, with its last will) and the
  // station both say "online"; the device from the information block, as the screen shows it.
  const auto alike = [&](const QString& name, const std::string& level) {
    return QStringLiteral(R"({"availability":[{"topic":"xinglan/site1/status"},{"topic":"xinglan/site1/%1/)"
                          R"(availability"}],"availability_mode":"all","device":{"hw_version":"%2","identifiers":)"
                          R"(["site1_%3_device"],"manufacturer":"星澜","model":"%4","name":"%5","serial_number":)"
                          R"("%6","sw_version":"%7"},"state_topic":"xinglan/site1/%1/state"})")
        .arg(QString::fromStdString(level), edit(live(), "LTextBox4")->text(),
             QString::fromStdString(publish::objectId(name.toStdString())), edit(live(), "LTextBox3")->text(), name,
             edit(live(), "LTextBox5")->text(), edit(live(), "SoftSw")->text())
        .toStdString();
  };
  std::set<QString> ids;
  int classified = 0;
  for (const auto& m : sub->messages()) {
    if (m.topic.rfind("homeassistant/sensor/", 0) != 0) continue;
    QJsonObject c = jsonOf(m.payload);
    const QString id = c.take("unique_id").toString();
    ids.insert(id);
    QStringList odd;
    if (m.topic != "homeassistant/sensor/" + id.toStdString() + "/config") odd << "topic";
    if (c.take("object_id").toString() != id) odd << "object_id";
    if (!c.take("value_template").toString().startsWith("{{ value_json.")) odd << "value_template";
    if (c.take("name").toString().isEmpty()) odd << "name";
    for (const char* key : {"device_class", "unit_of_measurement", "state_class"})
      if (const QJsonValue v = c.take(key); !v.isUndefined()) v.isString() ? void(++classified) : void(odd << key);
    const bool first = c["device"].toObject()["name"].toString() == kStation1;
    EXPECT_EQ(odd.join(' ').toStdString() + QJsonDocument(c).toJson(QJsonDocument::Compact).toStdString(),
              first ? alike(kStation1, "一号站") : alike(secondName, level2));
  }
  EXPECT_EQ(ids.size(), 2 * publish::sensors().size());
  EXPECT_GT(classified, 2 * 3 * 10);  // voltages, currents, powers, energies, temperatures
  EXPECT_TRUE(dialogs.shown.empty());

  // A renamed and a deleted station: their retained messages are cleared.
  publish::Topics t{"xinglan", "site1", "homeassistant"};
  const auto topicsOf = [&](const QString& name) {
    const std::string level = name == kStation1 ? "一号站" : level2;
    return std::vector<std::string>{kBase + level + "/state", kBase + level + "/availability",
                                    t.discoveryConfig(t.uniqueId(name.toStdString(), publish::sensors()[0].key))};
  };
  // Whether the last message of each topic of both stations is empty (cleared) or not.
  const auto all = [&](bool empty, const Subscriber& s) {
    for (const QString& name : {kStation1, secondName})
      for (const auto& topic : topicsOf(name))
        if (const auto on = s.on(topic); on.empty() || on.back().isEmpty() != empty) return false;
    return true;
  };
  ASSERT_TRUE(runUntil([&] { return all(false, *sub); }));

  // The editor renames one station and deletes the other, then the console refreshes.
  ui::setModalRunner([&](ui::DialogForm& f) {
    const auto click = [&](const char* name) { QTest::mouseClick(f.findChild<QPushButton*>(name), Qt::LeftButton); };
    if (f.findChild<QPushButton*>("Command3")->isEnabled()) {
      f.findChild<QLineEdit*>("StationNameSS")->setText(QStringLiteral("三号站"));
      click("Command3");
    } else {
      click("Command4");
    }
    if (f.isVisible()) click("Command2");
  });
  dialogs.answers = {platform::kOk, platform::kYes};  // the update's success, the delete's question
  for (const auto& [name, update] : {std::pair{kStation1, true}, std::pair{secondName, false}}) {
    auto& editor = shell::FrmAddStation::instance();
    editor.setModeButtons(false, update, !update);
    editor.setEnabled(true);
    editor.openStation(name);
  }
  ui::setModalRunner({});
  mdi().RefreshAllStations_Click();
  ASSERT_TRUE(runUntil([&] { return all(true, *sub); }));
  // The renamed station goes on under its new name; nothing comes back under the old ones, not
  // even a reply that the scan had on its way under the old name.
  publisher->realTimeReply(kStation1, "1", numberedReply(1));
  ASSERT_TRUE(runUntil([&] { return !sub->on(kBase + "三号站/state").empty(); }));
  runFor(20000);
  EXPECT_TRUE(all(true, *sub));

  // The broker keeps nothing of them: a new subscriber gets no retained message under the old names.
  Subscriber late(broker->port());
  ASSERT_TRUE(runUntil([&] { return !late.on(kBase + "三号站/state").empty(); }));
  for (const QString& name : {kStation1, secondName})
    for (const auto& topic : topicsOf(name)) EXPECT_TRUE(late.on(topic).empty()) << topic;
}

TEST_F(BrokerTest, AlarmsRetainedEventsAndBinarySensorsSurviveABrokerRestart) {
  engine::alarms::AlarmEngine alarms(dir.filePath("XLALARM.DB"));
  startWithBroker(&alarms);
  const std::string array2 = kBase + level2 + "/alarms", event2 = kBase + level2 + "/alarm";
  ASSERT_TRUE(runUntil([&] { return sub->on(kBase + "一号站/state").size() >= 1; }));
  station2->state().readings.faultWord = sim::fault::kOverDischarge;
  ASSERT_TRUE(runUntil([&] { return !sub->on(event2).empty() && sub->last(array2).contains("over_discharge"); }));
  EXPECT_EQ(pick(jsonOf(sub->on(event2).back()), {"code", "text", "state"}), "over_discharge 蓄电池过放 raised");
  // The open alarms, the time each began as T.
  EXPECT_EQ(sub->last(array2).replace(QRegularExpression("\"since\":\"[^\"]+\""), "\"since\":T"),
            R"([{"code":"over_discharge","since":T,"text":"蓄电池过放"}])");
  // One binary sensor per code, of class "problem", reading the array.
  publish::Topics t{"xinglan", "site1", "homeassistant"};
  const std::string config =
      t.discoveryConfig(t.uniqueId(secondName.toStdString(), "alarm_over_discharge"), "binary_sensor");
  ASSERT_EQ(config.rfind("homeassistant/binary_sensor/", 0), 0u);
  ASSERT_TRUE(runUntil([&] { return !sub->on(config).empty(); }));
  const QJsonObject c = jsonOf(sub->on(config).back());
  EXPECT_EQ(pick(c, {"device_class", "state_topic"}), "problem " + array2);
  EXPECT_TRUE(c["value_template"].toString().contains("'over_discharge'"));

  // The broker restarts having lost its store; a new subscriber finds the array again.
  broker->stop();
  ASSERT_TRUE(runUntil([&] { return !publisher->connected(); }));
  QFile::remove(broker->dataDir() + "/mosquitto.db");
  broker->start();
  Subscriber late(broker->port(), "xl-late");
  ASSERT_TRUE(runUntil([&] { return late.last(array2).contains("over_discharge"); }, 15000));

  // Cleared after two replies without it: the event and an empty array.
  station2->state().readings.faultWord = 0;
  ASSERT_TRUE(runUntil([&] { return late.last(array2) == "[]"; }, 15000));
  EXPECT_EQ(pick(jsonOf(late.on(event2).back()), {"state"}), "cleared");
  // Retained: the array; not retained: the events.
  Subscriber fresh(broker->port(), "xl-fresh");
  ASSERT_TRUE(runUntil([&] { return !fresh.on(array2).empty(); }));
  EXPECT_EQ(fresh.last(array2) + " " + fresh.last(event2), "[] (none)");
}

TEST_F(BrokerTest, BrokerKilledAndRestartedLosesNoQueuedReadingAndKeepsTheirOrder) {
  startWithBroker();
  ASSERT_TRUE(runUntil([&] { return publisher->connected(); }));
  const std::string topic = kBase + "直送站/state";
  int n = 0;
  const auto feed = [&](int count) {
    for (int i = 0; i < count; ++i, runFor(100))
      publisher->realTimeReply(QStringLiteral("直送站"), "1", numberedReply(n++));
  };
  feed(40);
  ASSERT_TRUE(runUntil([&] { return sub->on(topic).size() >= 40; }));
  broker->stop();
  ASSERT_TRUE(runUntil([&] { return !publisher->connected(); }));
  feed(60);  // the broker is away: these wait in the queue
  EXPECT_GE(publisher->queued(), 60u);
  broker->start();
  feed(20);
  // Every reading arrived, in order: one the broker took just before it went down may come
  // twice (at least once), none out of order or lost.
  const auto arrived = [&] {
    int next = 0;
    for (const QByteArray& p : sub->on(topic, true)) {
      const int v = jsonOf(p)["day_charge_ah"].toInt();
      if (v > next) return QStringLiteral("reading %1 lost or out of order").arg(next);
      next += v == next;
    }
    return QString::number(next);
  };
  EXPECT_TRUE(runUntil([&] { return arrived() == QString::number(n); }, 15000)) << arrived().toStdString();
  EXPECT_EQ(publisher->dropped(), 0u);
  EXPECT_EQ(logCount(QStringLiteral("与MQTT服务器的连接已断开")), 1);
}

// The settings screen refuses what it cannot keep; logins the broker refuses and a CA file that
// is none leave the console running with one line each; the screen's settings then connect.
TEST_F(BrokerTest, SettingsScreenRefusedLoginsAndABadCaFileLeaveTheConsoleRunningWithOneLogLine) {
  broker.emplace(std::vector<std::pair<QString, QString>>{{"site", "right"}});
  start();
  auto& screen = publish::FrmMqttSettings::instance();
  screen.Form_Load();
  EXPECT_EQ(edit(screen, "TextPort")->text() + " " + edit(screen, "TextDiscovery")->text(), "1883 homeassistant");
  control<QCheckBox>(screen, "Check1")->setChecked(true);
  edit(screen, "TextHost")->setText("127.0.0.1");
  // Refused, each with its message, and no key written: port 0, and texts the GBK settings
  // file cannot hold, or not as typed.
  // Each row: "box;text".
  for (const QString& row :
       QStringLiteral("TextPort;0|TextUser;Jörg|TextPrefix;站点-ö|TextPassword; pw1 ").split('|')) {
    QLineEdit* box = edit(screen, row.section(';', 0, 0).toLatin1().constData());
    const QString before = box->text();
    box->setText(row.section(';', 1));
    screen.Command1_Click();
    box->setText(before);
  }
  QStringList told;
  for (const auto& shown : dialogs.shown) told << shown.text;
  EXPECT_EQ(told.join('|') + " / host " + core::readIni("MQTT", "Host"),
            "端口必须是1到65535之间的整数|不能保存字符：ö|不能保存字符：ö|密码首尾不能有空格或引号 / host ");

  QFile bad(dir.path() + "/bad-ca.pem");
  ASSERT_TRUE(bad.open(QIODevice::WriteOnly) && bad.write("not a certificate\n") > 0);
  bad.close();
  // Several attempts with back-off each; the console goes on: the scan polls and fills its table.
  for (const auto& [password, ca, line] : {std::tuple{"wrong", QString(), QStringLiteral("用户名或密码错误")},
                                           {"right", bad.fileName(), QStringLiteral("MQTT加密连接失败")}}) {
    publishTo(broker->port(), "site1", "site", password, ca);
    runFor(40000);
    EXPECT_FALSE(publisher->connected());
    EXPECT_EQ(logCount(line), 1);
    EXPECT_TRUE(scan().answered(1) && scan().answered(2) && dialogs.shown.size() == 4u);
  }
  // The screen's settings: written to the file, taken by the publisher, which connects.
  edit(screen, "TextPort")->setText(QString::number(broker->port()));
  for (const QString& row :
       QStringLiteral("TextPrefix;站点-1|TextClientId;site9|TextUser;site|TextPassword;right").split('|'))
    edit(screen, row.section(';', 0, 0).toLatin1().constData())->setText(row.section(';', 1));
  screen.Command1_Click();
  EXPECT_EQ(core::readIni("MQTT", "Topic Prefix") + " " + core::readIni("MQTT", "Enabled") + " " +
                core::readIni("MQTT", "Port") + " " + publisher->settings().clientId,
            QStringLiteral("站点-1 1 %1 site9").arg(broker->port()));
  ASSERT_TRUE(runUntil([&] { return publisher->connected(); }));

  // A guest never opens the settings: the item sits in the administrator's menu "数据保存",
  // which the rights grey for anyone else (as the main window's tests show).
  EXPECT_TRUE(control<QMenu>(mdi(), "Maintenance")->actions().contains(mdi().action("MqttSettings")));
}

// A station is offline until its first reply of this run, then online; silent, offline again;
// answering, online. A Client Id changed clears what was retained under the old one.
TEST_F(AvailabilityTest, StationsAreOfflineUntilTheirFirstReplyOfThisRunAndAClientIdChangeClearsTheOldTopics) {
  Broker broker;
  const std::string one = kBase + "一号站/availability", two = kBase + "二号站/availability";
  // A previous run left station 2 "online" (retained), and a clean exit sends no will.
  {
    start();
    makePublisher();
    publishTo(broker.port());
    Subscriber sub(broker.port(), "xl-test-first");
    ASSERT_TRUE(runUntil([&] { return sub.last(two) == "online"; }));
    publisher.reset();
    ui::discardAll();
  }
  station2->setFaults({.silent = true});
  start();
  makePublisher();
  // Offline is the link health's stale, as the program wires it.
  publisher->setStaleRule([](const QString& name) { return FrmGlobalMonitoring::instance().isStale(name); });
  publishTo(broker.port());
  Subscriber sub(broker.port(), "xl-test-second");
  ASSERT_TRUE(sub.subscribed());
  ASSERT_TRUE(runUntil([&] { return sub.last(two) == "offline" && sub.last(one) == "online"; }));
  // Station 2 stays offline: never answered in this run.
  runFor(1500);
  EXPECT_EQ(sub.last(two), "offline");
  // Station 1 falls silent: offline; it answers again: online.
  for (const auto& [silent, shown] : {std::pair{true, "offline"}, {false, "online"}}) {
    station1->setFaults({.silent = silent});
    ASSERT_TRUE(runUntil([&] { return sub.last(one) == shown; }));
  }
  // Each change of this run once: offline (no reply yet), online, offline, online.
  const auto live = sub.on(one, true);
  EXPECT_EQ(std::vector<QByteArray>(live.end() - std::min<std::size_t>(live.size(), 3), live.end()),
            (std::vector<QByteArray>{"online", "offline", "online"}));

  // A discovery config of this run (its keys: the state and discovery scenario), to be cleared below.
  const publish::Topics t{"xinglan", "site1", "homeassistant"};
  const std::string configTopic = t.discoveryConfig(t.uniqueId("一号站", publish::sensors()[0].key));
  ASSERT_FALSE(sub.on(configTopic).empty());

  // Another Client Id: nothing stays retained under the old one.
  publishTo(broker.port(), "site2");
  ASSERT_TRUE(runUntil([&] { return sub.last("xinglan/site2/一号站/availability") == "online"; }));
  Subscriber fresh(broker.port(), "xl-test-fresh");
  ASSERT_TRUE(fresh.subscribed());
  runFor(500);
  for (const auto& m : fresh.messages()) EXPECT_TRUE(m.topic.rfind(kBase, 0) != 0 && m.topic != configTopic) << m.topic;
}

#ifdef XL_CONSOLE_PROGRAM
TEST_F(AvailabilityTest, KilledConsoleTakesItsStationsOfflineThroughItsLastWill) {
  Broker broker;
  Subscriber sub(broker.port(), "xl-test-kill");
  ASSERT_TRUE(sub.subscribed());
  // The console's own folder: its program, and settings that turn the publisher on.
  const QString program = dir.path() + "/xinglan";
  ASSERT_TRUE(QFile::copy(QStringLiteral(XL_CONSOLE_PROGRAM), program));
  for (const QString& key :
       QStringLiteral("Enabled=1|Host=127.0.0.1|Port=%1|Client Id=killed").arg(broker.port()).split('|'))
    core::writeIniFile("MQTT", key.section('=', 0, 0), key.section('=', 1), dir.path() + "/MSCON.DLL");
  qputenv("QT_QPA_PLATFORM", "offscreen");  // for the console started here (its output stays in `console`)
  QProcess console;
  console.start(program, {});
  ASSERT_TRUE(console.waitForStarted(5000));
  ASSERT_TRUE(runUntil([&] { return sub.last("xinglan/killed/status") == "online"; }, 15000));
  ::kill(static_cast<pid_t>(console.processId()), SIGKILL);
  console.waitForFinished(5000);
  EXPECT_TRUE(runUntil([&] { return sub.last("xinglan/killed/status") == "offline"; }, 10000));
}
#endif

}  // namespace
}  // namespace xl::testing
