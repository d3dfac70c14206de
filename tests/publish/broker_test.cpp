// The broker publisher in the whole console, in virtual time against simulated controllers,
// with a real mosquitto broker on a loopback port and a real subscriber. Wall-clock waits are
// bounded (a few seconds each); the console's own time is the virtual clock.

#include <gtest/gtest.h>

#include <QMenu>

#include <QCheckBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <algorithm>
#include <optional>
#include <set>

#include "link/device_data_map.h"
#include "monitoring/alarm_wiring.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "publish/frm_mqtt_settings.h"
#include "publish/payloads.h"
#include "publish/publisher.h"
#include "shell/frm_add_station.h"
#include "ui/modal.h"
#include "support/two_stations.h"
#include "tests/publish/publisher_fixture.h"
#include "tools/sim/bus.h"
#include "tools/sim/device_state.h"

namespace xl {
namespace {

using monitoring::FrmGlobalMonitoring;
using monitoring::FrmRealTimeMonitoring;
using platform::ms;
using testing::Broker;
using testing::Subscriber;
using testing::combo;
using testing::edit;
using testing::jsonOf;

const QString kStation1 = QStringLiteral("一号站");
const QString kStation2 = QStringLiteral("二号/站#1");  // a name with what topics forbid
const std::string kBase = "xinglan/site1/";
const std::string kLevel2 = "二号%2F站%231";

class BrokerTest : public testing::PublisherFixture {
 protected:
  BrokerTest() { secondName = kStation2; }
  void SetUp() override {
    PublisherFixture::SetUp();
    auto& r = station1->state().readings;
    r.soc = 80;
    r.batteryVoltage = 125;
    r.batteryCurrent = 333;
    r.deviceTemperature = 31;
    r.batteryTemperature = -5;
    r.loadVoltage = 124;
    r.loadCurrent = 150;
    r.loadPower = 18;
    r.panelVoltage = 180;
    r.panelCurrent = 250;
    r.panelPower = 45;
    r.chargeState = 2;
    r.loadOn = true;
    makePublisher();
    publisher->setTimeSource([this] { return QDateTime(QDate(2026, 5, 1), QTime(8, 0)).addMSecs(platform::toMs(clock.now())); });
  }

  // A broker, a subscriber that has subscribed to it, and the console publishing to it.
  void startWithBroker() {
    broker.emplace();
    sub.emplace(broker->port());
    ASSERT_TRUE(sub->subscribed());
    start();
    publishTo(broker->port());
  }

  int logCount(const QString& part) { return static_cast<int>(logLines().filter(part).size()); }
  static QString last(const std::vector<QByteArray>& v) { return v.empty() ? QString() : QString::fromUtf8(v.back()); }

  FrmRealTimeMonitoring& live() { return FrmRealTimeMonitoring::instance(); }

  std::optional<Broker> broker;
  std::optional<Subscriber> sub;
};

TEST_F(BrokerTest, StateMatchesTheRealTimeScreenAndDiscoveryConfigsAreComplete) {
  startWithBroker();
  clock.advance(ms(8000));  // discovery: the stations answer
  const int index = combo(live())->findText(kStation1);
  ASSERT_GE(index, 0);
  combo(live())->setCurrentIndex(index);
  emit combo(live())->activated(index);
  // Monitoring starts by itself; the scan then hands its replies to the screen and the broker.
  ASSERT_TRUE(runUntil([&] { return live().monitoringRuns() && sub->on(kBase + "一号站/state").size() >= 2; }));

  const QJsonObject o = jsonOf(sub->on(kBase + "一号站/state").back());
  const auto fixed = [&](const char* key, int places) { return QString::fromStdString(link::fixedText(o[key].toDouble(), places)); };
  EXPECT_EQ(QStringList({o["station"].toString(), QString::number(o["address"].toInt()), o["port"].toString()}),
            QStringList({kStation1, "1", "COM3,9600"}));
  EXPECT_TRUE(o["time"].toString().startsWith("2026-05-01T08:"));
  // Each box of the screen against its value of the state, with the box's decimal places.
  const std::tuple<const char*, const char*, int> boxes[] = {
      {"Text2", "array_current", 2}, {"Text3", "array_voltage", 1}, {"Text4", "array_power", 0},
      {"Text9", "battery_voltage", 1}, {"Text13", "battery_current", 2}, {"Text11", "battery_soc", 0},
      {"Text7", "battery_temperature", 1}, {"Text18", "device_temperature", 1}, {"Text16", "load_voltage", 1},
      {"Text17", "load_current", 2}, {"Text15", "load_power", 0}};
  for (const auto& [box, key, places] : boxes) EXPECT_EQ(edit(live(), box)->text(), fixed(key, places)) << key;
  EXPECT_EQ(edit(live(), "Text5")->text(), o["charge_state_text"].toString());
  const QJsonObject status = o["status"].toObject();
  for (const auto& [box, key] : {std::pair{"Text10", "battery"}, {"Text6", "array"}, {"Text19", "device"}, {"Text14", "load"}})
    EXPECT_EQ(edit(live(), box)->text(), status[key].toString()) << key;
  EXPECT_EQ(o["battery_voltage"].toDouble(), 12.5);  // the values are the simulator's, not zeros

  // The second station under its escaped name; the console's status online.
  EXPECT_FALSE(sub->on(kBase + kLevel2 + "/state").empty());
  EXPECT_EQ(last(sub->on(kBase + "status")), "online");
  EXPECT_EQ(last(sub->on(kBase + "一号站/availability")), "online");

  // Discovery: one config per value and station; the device from the information block, as
  // the screen shows it.
  int configs = 0;
  for (const auto& m : sub->messages()) {
    if (m.topic.rfind("homeassistant/sensor/", 0) != 0) continue;
    ++configs;
    // The keys of each config are the rule layer's (publish_rules_test); here the device.
    const QJsonObject c = jsonOf(m.payload);
    const QJsonObject d = c["device"].toObject();
    if (d["name"].toString() == kStation1) {
      EXPECT_EQ(d["model"].toString(), edit(live(), "LTextBox3")->text());
      EXPECT_EQ(d["hw_version"].toString(), edit(live(), "LTextBox4")->text());
      EXPECT_EQ(d["sw_version"].toString(), edit(live(), "SoftSw")->text());
    } else {
      EXPECT_EQ(c["state_topic"].toString().toStdString(), kBase + kLevel2 + "/state");
    }
  }
  EXPECT_GE(configs, 2 * static_cast<int>(publish::sensors().size()));
  EXPECT_TRUE(dialogs.shown.empty());
}

TEST_F(BrokerTest, AlarmsRetainedEventsAndBinarySensorsSurviveABrokerRestart) {
  Broker broker;
  Subscriber sub(broker.port());
  start();
  // Wired as the program wires it.
  engine::alarms::AlarmEngine alarms(dir.filePath("XLALARM.DB"));
  monitoring::wireAlarms(alarms, *publisher, nullptr);
  FrmGlobalMonitoring::setReplyListener(
      {[this](const QString& n, const QString& id, const QByteArray& b) { publisher->deviceInfoReply(n, id, b); },
       [&](const QString& n, const QString& id, const QByteArray& b) {
         publisher->realTimeReply(n, id, b);
         alarms.realTimeReply(n, id, b);
       },
       [&](const QString& n, const QString& id) { alarms.realTimeMissed(n, id); }});
  publishTo(broker.port());
  const std::string array2 = kBase + kLevel2 + "/alarms", event2 = kBase + kLevel2 + "/alarm";
  ASSERT_TRUE(runUntil([&] { return sub.on(kBase + "一号站/state").size() >= 1; }));
  station2->state().readings.faultWord = sim::fault::kOverDischarge;
  ASSERT_TRUE(runUntil([&] { return !sub.on(event2).empty(); }));
  ASSERT_TRUE(runUntil([&] { return last(sub.on(array2)).contains("over_discharge"); }));
  const QJsonObject raised = jsonOf(sub.on(event2).back());
  EXPECT_EQ(raised["code"].toString(), "over_discharge");
  EXPECT_EQ(raised["text"].toString(), QStringLiteral("蓄电池过放"));
  EXPECT_EQ(raised["state"].toString(), "raised");
  const QJsonArray open = QJsonDocument::fromJson(sub.on(array2).back()).array();
  ASSERT_EQ(open.size(), 1);
  EXPECT_EQ(open[0].toObject()["text"].toString(), QStringLiteral("蓄电池过放"));
  EXPECT_FALSE(open[0].toObject()["since"].toString().isEmpty());
  // One binary sensor per code, of class "problem", reading the array.
  publish::Topics t;
  t.clientId = "site1";
  const std::string config = t.discoveryConfig(t.uniqueId(kStation2.toStdString(), "alarm_over_discharge"), "binary_sensor");
  ASSERT_EQ(config.rfind("homeassistant/binary_sensor/", 0), 0u);
  ASSERT_TRUE(runUntil([&] { return !sub.on(config).empty(); }));
  const QJsonObject c = jsonOf(sub.on(config).back());
  EXPECT_EQ(c["device_class"].toString(), "problem");
  EXPECT_EQ(c["state_topic"].toString().toStdString(), array2);
  EXPECT_TRUE(c["value_template"].toString().contains("'over_discharge'"));

  // The broker restarts having lost its store; a new subscriber finds the array again.
  broker.stop();
  ASSERT_TRUE(runUntil([&] { return !publisher->connected(); }));
  QFile::remove(broker.dataDir() + "/mosquitto.db");
  broker.start();
  Subscriber late(broker.port(), "xl-late");
  ASSERT_TRUE(runUntil([&] { return last(late.on(array2)).contains("over_discharge"); }, 15000));

  // Cleared after two replies without it: the event and an empty array.
  station2->state().readings.faultWord = 0;
  ASSERT_TRUE(runUntil([&] { return last(late.on(array2)) == "[]"; }, 15000));
  EXPECT_EQ(jsonOf(late.on(event2).back())["state"].toString(), "cleared");
  // Retained: the array; not retained: the events.
  Subscriber fresh(broker.port(), "xl-fresh");
  ASSERT_TRUE(runUntil([&] { return !fresh.on(array2).empty(); }));
  EXPECT_EQ(last(fresh.on(array2)), "[]");
  EXPECT_TRUE(fresh.on(event2).empty());
}

// A real-time reply whose "Ah charged today" carries a sequence number.
QByteArray numberedReply(int n) {
  QByteArray r = QByteArray::fromHex("010346").leftJustified(73, '\0');
  r[37] = static_cast<char>(n >> 8);
  r[38] = static_cast<char>(n & 0xFF);
  return r;
}

TEST_F(BrokerTest, BrokerKilledAndRestartedLosesNoQueuedReadingAndKeepsTheirOrder) {
  startWithBroker();
  ASSERT_TRUE(runUntil([&] { return publisher->connected(); }));
  const std::string topic = kBase + "直送站/state";
  int n = 0;
  const auto feed = [&](int count) {
    for (int i = 0; i < count; ++i) {
      publisher->realTimeReply(QStringLiteral("直送站"), "1", numberedReply(n++));
      runFor(100);
    }
  };
  feed(40);
  ASSERT_TRUE(runUntil([&] { return sub->on(topic).size() >= 40; }));
  broker->stop();
  ASSERT_TRUE(runUntil([&] { return !publisher->connected(); }));
  feed(60);  // the broker is away: these wait in the queue
  EXPECT_GE(publisher->queued(), 60u);
  broker->start();
  feed(20);
  const auto distinct = [&] {
    std::set<int> seen;
    for (const QByteArray& p : sub->on(topic, true)) seen.insert(jsonOf(p)["day_charge_ah"].toInt());
    return static_cast<int>(seen.size());
  };
  EXPECT_TRUE(runUntil([&] { return distinct() == n; }, 15000));

  // Every reading arrived, in order; a reading the broker took just before it went down may
  // come twice (at least once), never out of order.
  int expected = 0;
  for (const QByteArray& p : sub->on(topic, true)) {
    const int v = jsonOf(p)["day_charge_ah"].toInt();
    if (v < expected) continue;  // a repeat
    ASSERT_EQ(v, expected) << "reading " << expected << " lost or out of order";
    ++expected;
  }
  EXPECT_EQ(expected, n);
  EXPECT_EQ(publisher->dropped(), 0u);
  EXPECT_EQ(logCount(QStringLiteral("与MQTT服务器的连接已断开")), 1);
}

TEST_F(BrokerTest, WrongCredentialsAndABadCaFileLeaveTheConsoleRunningWithOneLogLine) {
  broker.emplace(std::vector<std::pair<QString, QString>>{{"site", "right"}});
  start();
  publishTo(broker->port(), "site1", "site", "wrong");
  runFor(40000);  // several attempts with back-off
  EXPECT_FALSE(publisher->connected());
  EXPECT_EQ(logCount(QStringLiteral("用户名或密码错误")), 1);
  // The console goes on: the scan polls and fills its table.
  EXPECT_TRUE(!scan().stations().isEmpty() && scan().answered(1) && dialogs.shown.empty());

  publishTo(broker->port(), "site1", "site", "right");
  ASSERT_TRUE(runUntil([&] { return publisher->connected(); }));

  QFile bad(dir.path() + "/bad-ca.pem");
  ASSERT_TRUE(bad.open(QIODevice::WriteOnly));
  bad.write("not a certificate\n");
  bad.close();
  publishTo(broker->port(), "site1", "site", "right", bad.fileName());
  runFor(40000);
  EXPECT_FALSE(publisher->connected());
  EXPECT_EQ(logCount(QStringLiteral("MQTT加密连接失败")), 1);
  EXPECT_TRUE(dialogs.shown.empty() && scan().answered(2));
}

TEST_F(BrokerTest, ARenamedOrDeletedStationsRetainedMessagesAreCleared) {
  startWithBroker();
  publish::Topics t{"xinglan", "site1", "homeassistant"};
  const auto topicsOf = [&](const QString& name) {
    const std::string level = name == kStation1 ? "一号站" : kLevel2;
    return std::vector<std::string>{kBase + level + "/state", kBase + level + "/availability",
                                    t.discoveryConfig(t.uniqueId(name.toStdString(), publish::sensors()[0].key))};
  };
  const auto hasAll = [&](const std::vector<std::string>& topics, bool empty) {
    return std::all_of(topics.begin(), topics.end(), [&](const std::string& topic) {
      const auto on = sub->on(topic);
      return !on.empty() && on.back().isEmpty() == empty;
    });
  };
  ASSERT_TRUE(runUntil([&] { return hasAll(topicsOf(kStation1), false) && hasAll(topicsOf(kStation2), false); }));

  // The editor renames one station and deletes the other, then the console refreshes.
  ui::setModalRunner([&](ui::DialogForm& f) {
    if (auto* name = f.findChild<QLineEdit*>("StationNameSS"); f.findChild<QPushButton*>("Command3")->isEnabled()) {
      name->setText(QStringLiteral("三号站"));
      QTest::mouseClick(f.findChild<QPushButton*>("Command3"), Qt::LeftButton);
    } else {
      QTest::mouseClick(f.findChild<QPushButton*>("Command4"), Qt::LeftButton);
    }
    if (f.isVisible()) QTest::mouseClick(f.findChild<QPushButton*>("Command2"), Qt::LeftButton);
  });
  dialogs.answers = {platform::kOk, platform::kYes};  // the update's success, the delete's question
  for (const auto& [name, update] : {std::pair{kStation1, true}, std::pair{kStation2, false}}) {
    auto& editor = shell::FrmAddStation::instance();
    editor.setModeButtons(false, update, !update);
    editor.setEnabled(true);
    editor.openStation(name);
  }
  ui::setModalRunner({});
  mdi().RefreshAllStations_Click();
  ASSERT_TRUE(runUntil([&] { return hasAll(topicsOf(kStation1), true) && hasAll(topicsOf(kStation2), true); }));
  // The renamed station goes on under its new name; nothing comes back under the old ones, not
  // even a reply that the scan had on its way under the old name.
  publisher->realTimeReply(kStation1, "1", numberedReply(1));
  ASSERT_TRUE(runUntil([&] { return !sub->on(kBase + "三号站/state").empty(); }));
  runFor(20000);
  EXPECT_TRUE(hasAll(topicsOf(kStation1), true) && hasAll(topicsOf(kStation2), true));

  // The broker keeps nothing of them: a new subscriber gets no retained message under the old names.
  Subscriber late(broker->port());
  ASSERT_TRUE(runUntil([&] { return !late.on(kBase + "三号站/state").empty(); }));
  for (const QString& name : {kStation1, kStation2})
    for (const auto& topic : topicsOf(name)) EXPECT_TRUE(late.on(topic).empty()) << topic;
}

TEST_F(BrokerTest, SettingsScreenWritesTheFileAndThePublisherTakesIt) {
  broker.emplace();
  start();
  auto& screen = publish::FrmMqttSettings::instance();
  screen.Form_Load();
  EXPECT_EQ(edit(screen, "TextPort")->text(), "1883");
  EXPECT_EQ(edit(screen, "TextDiscovery")->text(), "homeassistant");
  testing::control<QCheckBox>(screen, "Check1")->setChecked(true);
  edit(screen, "TextHost")->setText("127.0.0.1");
  edit(screen, "TextPort")->setText("0");
  screen.Command1_Click();  // refused: no key written
  ASSERT_EQ(dialogs.shown.size(), 1u);
  EXPECT_TRUE(core::readIni("MQTT", "Host").isEmpty());
  edit(screen, "TextPort")->setText(QString::number(broker->port()));
  // Texts the GBK settings file cannot hold, or not as typed: named, and nothing saved.
  const std::pair<const char*, QString> refused[] = {
      {"TextUser", "Jörg"}, {"TextPrefix", "站点-ö"}, {"TextPassword", " pw1 "}};
  for (const auto& [box, text] : refused) {
    const QString before = edit(screen, box)->text();
    edit(screen, box)->setText(text);
    screen.Command1_Click();
    edit(screen, box)->setText(before);
  }
  ASSERT_EQ(dialogs.shown.size(), 4u);
  for (std::size_t i : {1u, 2u, 3u})
    EXPECT_EQ(dialogs.shown[i].text, i < 3 ? QStringLiteral("不能保存字符：ö") : QStringLiteral("密码首尾不能有空格或引号"));
  EXPECT_TRUE(core::readIni("MQTT", "Host").isEmpty());
  edit(screen, "TextPrefix")->setText("站点-1");
  edit(screen, "TextClientId")->setText("site9");
  screen.Command1_Click();
  EXPECT_EQ(QStringList({core::readIni("MQTT", "Topic Prefix"), core::readIni("MQTT", "Enabled"), core::readIni("MQTT", "Port")}),
            QStringList({QStringLiteral("站点-1"), "1", QString::number(broker->port())}));
  EXPECT_EQ(publisher->settings().clientId, "site9");
  ASSERT_TRUE(runUntil([&] { return publisher->connected(); }));

  // A guest never opens the settings: the item sits in the administrator's menu "数据保存",
  // which the rights grey for anyone else.
  core::currentUser = "guest";
  mdi().MDIForm_Load();
  auto* maintenance = mdi().findChild<QMenu*>("Maintenance");
  ASSERT_NE(maintenance, nullptr);
  EXPECT_TRUE(maintenance->actions().contains(mdi().action("MqttSettings")) && !maintenance->menuAction()->isEnabled());
  core::currentUser.clear();
}

}  // namespace
}  // namespace xl
