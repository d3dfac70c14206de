// The publisher's rules without a broker: topic escaping, the state and discovery payloads,
// the bounded queue, the back-off, the reply clock and the settings of section MQTT.

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimeZone>
#include <map>

#include "publish/backoff.h"
#include "publish/mqtt_settings.h"
#include "publish/payloads.h"
#include "publish/publish_queue.h"
#include "publish/reply_clock.h"
#include "publish/topics.h"

namespace xl::publish {
namespace {

using namespace std::chrono_literals;

// ---- Topics ---------------------------------------------------------------------------------

TEST(Topics, ReservedCharactersAreEscapedAndChineseStaysReadable) {
  EXPECT_EQ(escapeTopicLevel("一号站"), "一号站");
  EXPECT_EQ(escapeTopicLevel("A/B"), "A%2FB");
  EXPECT_EQ(escapeTopicLevel("a+b#c"), "a%2Bb%23c");
  EXPECT_EQ(escapeTopicLevel(std::string("x\0y", 3)), "x%00y");
  EXPECT_EQ(escapeTopicLevel("100%"), "100%25");  // the escape character itself
  EXPECT_EQ(escapeTopicLevel(""), "%");
  for (const std::string& name : std::vector<std::string>{"一号站", "A/B", "%2F", "+#/%", std::string("\0\0", 2), "_x", "_", "%", "", "站/1#%"}) {
    const std::string level = escapeTopicLevel(name);
    EXPECT_EQ(level.find_first_of(std::string("+#/\0", 4)), std::string::npos) << name;
    EXPECT_EQ(unescapeTopicLevel(level), name);
  }
  // Two different names never share a level.
  EXPECT_NE(escapeTopicLevel("A/B"), escapeTopicLevel("A%2FB"));
}

TEST(Topics, LayoutOfOneConsole) {
  Topics t{"xinglan", "site/1", "homeassistant"};
  EXPECT_EQ(t.status(), "xinglan/site%2F1/status");
  EXPECT_EQ(t.state("二号/站"), "xinglan/site%2F1/二号%2F站/state");
  EXPECT_EQ(t.availability("S1"), "xinglan/site%2F1/S1/availability");
  EXPECT_EQ(t.uniqueId("站", "battery_voltage"), "site_2f1__e7_ab_99_battery_5fvoltage");
  EXPECT_EQ(t.discoveryConfig("abc"), "homeassistant/sensor/abc/config");
  // Object ids hold only what Home Assistant accepts, and stay apart for different names.
  for (const auto& id : {objectId("一号站"), objectId("a b/c"), objectId("")})
    for (char c : id) EXPECT_TRUE(std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-') << id;
  EXPECT_NE(objectId("a_2f"), objectId("a/"));
}

// ---- Payloads -------------------------------------------------------------------------------

Bytes realTimeReply() {
  Bytes r(73, 0);
  r[0] = 1;
  r[1] = 3;
  r[2] = 70;
  r[4] = 80;                 // SOC
  r[5] = 0, r[6] = 125;      // 12.5 V
  r[7] = 0x01, r[8] = 0x4D;  // 3.33 A
  r[9] = 0x85;               // device -5 °C
  r[10] = 25;                // battery 25 °C
  r[17] = 0, r[18] = 180;    // array 18.0 V
  r[19] = 0, r[20] = 250;    // 2.50 A
  r[21] = 0, r[22] = 45;     // 45 W
  r[37] = 0x01, r[38] = 0x02;  // 258 Ah today
  r[59] = 0, r[60] = 0, r[61] = 0x30, r[62] = 0x39;  // 12345 -> 12.345 kWh
  r[67] = 0x80;              // load on
  r[68] = 2;                 // MPPT
  r[70] = 0x01;              // 0x0121: over-discharge (what the scan shows)
  r[72] = 0x02;              // 0x0122: over-voltage (what the real-time screen shows)
  return r;
}

TEST(StateJson, NumbersTextsAndFaultsOfTheScansFaultWord) {
  const QDateTime at(QDate(2026, 5, 1), QTime(8, 30, 0), QTimeZone(8 * 3600));
  const auto json = stateJson({"一号站", "1", "COM3,9600"}, realTimeReply(), at);
  ASSERT_TRUE(json);
  const QJsonObject o = QJsonDocument::fromJson(*json).object();
  EXPECT_EQ(o["station"].toString(), QStringLiteral("一号站"));
  EXPECT_EQ(o["address"].toInt(-1), 1);
  EXPECT_EQ(o["port"].toString(), "COM3,9600");
  EXPECT_EQ(o["time"].toString(), "2026-05-01T08:30:00+08:00");
  EXPECT_EQ(o["device_temperature"].toDouble(), -5);  // the rest of the live values: the broker test
  EXPECT_EQ(o["day_charge_ah"].toDouble(), 258);
  EXPECT_EQ(o["total_energy_generated"].toDouble(), 12.345);
  EXPECT_TRUE(o["load_on"].toBool());
  EXPECT_EQ(o["charge_state"].toInt(), 2);
  EXPECT_EQ(o["charge_state_text"].toString(), QStringLiteral("MPPT充电"));
  // The fault word of register 0x0121, as the scan's table and the alarms read it:
  // over-discharge, not the over-voltage of 0x0122; both raw words as numbers.
  const QJsonObject f = o["faults"].toObject();
  EXPECT_FALSE(f["battery_over_voltage"].toBool());
  EXPECT_TRUE(f["battery_over_discharge"].toBool());
  EXPECT_EQ(o["fault_word_0121"].toInt(), 0x0001);
  EXPECT_EQ(o["fault_word_0122"].toInt(), 0x0002);
  EXPECT_EQ(f.size(), static_cast<int>(faults().size()));
  EXPECT_EQ(o["status"].toObject()["battery"].toString(), QStringLiteral("过放"));
  EXPECT_EQ(o["status"].toObject()["load"].toString(), QStringLiteral("已打开"));
  // Every value Home Assistant is told of is in the state.
  for (const auto& s : sensors()) EXPECT_TRUE(o.contains(QString::fromLatin1(s.key))) << s.key;
}

TEST(StateJson, OtherLengthsAndOddAddressesAreHandled) {
  Bytes shortReply = realTimeReply();
  shortReply.pop_back();
  EXPECT_FALSE(stateJson({"S", "1", ""}, shortReply, QDateTime::currentDateTime()));
  EXPECT_FALSE(stateJson({"S", "1", ""}, Bytes{}, QDateTime::currentDateTime()));
  // An address text that is no byte is published as it stands.
  const auto json = stateJson({"S", "abc", ""}, realTimeReply(), QDateTime::currentDateTime());
  ASSERT_TRUE(json);
  EXPECT_EQ(QJsonDocument::fromJson(*json).object()["address"].toString(), "abc");
}

TEST(Discovery, OneConfigPerValueWithEveryKeyAndTheDevice) {
  Topics t{"xinglan", "site1", "homeassistant"};
  link::DeviceInfo info;
  info.model = "XL-MPPT4820";
  info.softwareVersion = "V1.0.4";
  info.deviceVersion = "V2.1.0";
  info.serialNumber = "16050023";
  const auto configs = discoveryConfigs(t, {"一号站", "1", "COM3,9600"}, info);
  ASSERT_EQ(configs.size(), sensors().size());
  std::map<std::string, int> uniqueIds;
  int classified = 0;
  for (const auto& m : configs) {
    QJsonParseError err;
    const QJsonObject c = QJsonDocument::fromJson(m.payload, &err).object();
    ASSERT_EQ(err.error, QJsonParseError::NoError) << m.topic;
    for (const char* key : {"name", "unique_id", "state_topic", "value_template", "availability", "device"})
      EXPECT_TRUE(c.contains(key)) << m.topic << " " << key;
    // Class, unit and state class stand only where the value has them, never as null.
    for (const char* key : {"device_class", "unit_of_measurement", "state_class"})
      if (c.contains(key)) {
        EXPECT_TRUE(c[key].isString()) << m.topic << " " << key;
      }
    classified += c.contains("device_class") && c.contains("unit_of_measurement") && c.contains("state_class");
    EXPECT_EQ(m.topic, "homeassistant/sensor/" + c["unique_id"].toString().toStdString() + "/config");
    EXPECT_EQ(c["state_topic"].toString(), QStringLiteral("xinglan/site1/一号站/state"));
    // Available only while the console (its status, with its last will) and the station both
    // say "online".
    const QJsonArray a = c["availability"].toArray();
    ASSERT_EQ(a.size(), 2) << m.topic;
    EXPECT_EQ(a[0].toObject()["topic"].toString(), QStringLiteral("xinglan/site1/status"));
    EXPECT_EQ(a[1].toObject()["topic"].toString(), QStringLiteral("xinglan/site1/一号站/availability"));
    EXPECT_EQ(c["availability_mode"].toString(), "all");
    EXPECT_FALSE(c.contains("availability_topic"));
    EXPECT_TRUE(c["value_template"].toString().startsWith("{{ value_json."));
    const QJsonObject d = c["device"].toObject();
    EXPECT_EQ(d["name"].toString(), QStringLiteral("一号站"));
    EXPECT_EQ(d["model"].toString(), "XL-MPPT4820");
    EXPECT_EQ(d["sw_version"].toString(), "V1.0.4");
    EXPECT_EQ(d["identifiers"].toArray().size(), 1);
    ++uniqueIds[c["unique_id"].toString().toStdString()];
  }
  EXPECT_EQ(uniqueIds.size(), configs.size());
  EXPECT_GT(classified, 10);  // voltages, currents, powers, energies, temperatures
  // Without the information block the device has no model yet.
  const auto bare = discoveryConfigs(t, {"S", "2", ""}, std::nullopt);
  EXPECT_FALSE(QJsonDocument::fromJson(bare[0].payload).object()["device"].toObject().contains("model"));
}

// ---- Queue ----------------------------------------------------------------------------------

Outgoing msg(int i) { return {"t", std::to_string(i), true, 1}; }

std::vector<std::string> drain(PublishQueue& q, int& nextMid) {
  std::vector<std::string> out;
  while (const Outgoing* m = q.nextWaiting()) {
    out.push_back(m->payload);
    q.markSent(nextMid++);
  }
  return out;
}

TEST(PublishQueue, InOrderUntilAcknowledgedAndResentInOrderAfterALoss) {
  PublishQueue q(100);
  for (int i = 0; i < 5; ++i) q.push(msg(i));
  int mid = 1;
  EXPECT_EQ(drain(q, mid), (std::vector<std::string>{"0", "1", "2", "3", "4"}));
  EXPECT_EQ(q.inFlight(), 5u);
  EXPECT_TRUE(q.acknowledge(1));
  EXPECT_TRUE(q.acknowledge(3));   // out of order: 2 still holds the front
  EXPECT_FALSE(q.acknowledge(3));  // twice
  EXPECT_FALSE(q.acknowledge(99));
  EXPECT_EQ(q.size(), 4u);
  q.resend();  // lost: 1 (mid 2) and 3, 4 (mids 4, 5) again, 2 (mid 3) was acknowledged
  EXPECT_EQ(q.inFlight(), 0u);
  q.push(msg(5));
  EXPECT_EQ(drain(q, mid), (std::vector<std::string>{"1", "3", "4", "5"}));
  for (int m = 6; m < mid; ++m) EXPECT_TRUE(q.acknowledge(m));
  EXPECT_EQ(q.size(), 0u);
  EXPECT_EQ(q.dropped(), 0u);
}

TEST(PublishQueue, FullQueueDropsTheOldestAndCountsIt) {
  PublishQueue q(3);
  for (int i = 0; i < 3; ++i) q.push(msg(i));
  int mid = 1;
  q.nextWaiting();
  q.markSent(mid++);  // "0" in flight
  q.push(msg(3));     // drops "0" although in flight
  q.push(msg(4));     // drops "1"
  EXPECT_EQ(q.dropped(), 2u);
  EXPECT_EQ(q.inFlight(), 0u);
  EXPECT_FALSE(q.acknowledge(1));  // the dropped message's late acknowledgement
  EXPECT_EQ(drain(q, mid), (std::vector<std::string>{"2", "3", "4"}));
  EXPECT_EQ(q.size(), 3u);
}

// ---- Back-off and the reply clock -----------------------------------------------------------

TEST(Backoff, DoublesFromOneSecondToAMinuteAndStartsOver) {
  Backoff b;
  std::vector<long> waits;
  for (int i = 0; i < 9; ++i) waits.push_back(static_cast<long>(b.next().count()));
  EXPECT_EQ(waits, (std::vector<long>{1000, 2000, 4000, 8000, 16000, 32000, 60000, 60000, 60000}));
  b.reset();
  EXPECT_EQ(b.next().count(), 1000);
}

TEST(ReplyClock, StaleAfterTwoRoundsWithoutAReply) {
  ReplyClock c(60s);
  EXPECT_TRUE(c.stale("A", 0s));  // never heard of
  c.reply("A", 0s);
  c.reply("B", 1s);
  EXPECT_FALSE(c.stale("A", 100s));  // no round measured yet: two minutes
  EXPECT_TRUE(c.stale("A", 121s));
  c.reply("A", 10s);  // a round is 10 s
  EXPECT_EQ(c.round(), std::optional<std::chrono::microseconds>(10s));
  EXPECT_FALSE(c.stale("A", 30s));
  EXPECT_TRUE(c.stale("A", 31s));
  EXPECT_TRUE(c.stale("B", 22s));
  c.reply("B", 22s);
  EXPECT_FALSE(c.stale("B", 22s));
}

// ---- Settings -------------------------------------------------------------------------------

TEST(MqttSettings, DefaultsAndTheEmptyDiscoveryPrefix) {
  std::map<std::string, QString> keys;
  const auto read = [&](const char* k) { return keys.count(k) ? keys[k] : QString(); };
  const auto present = [&](const char* k) { return keys.count(k) > 0; };
  MqttSettings s = mqttSettingsFrom(read, present, "pc1");
  EXPECT_FALSE(s.enabled);
  EXPECT_EQ(s.port, 1883);
  EXPECT_EQ(s.clientId, "pc1");
  EXPECT_EQ(s.topicPrefix, "xinglan");
  EXPECT_EQ(s.discoveryPrefix, "homeassistant");
  keys = {{"Enabled", "1"}, {"Port", "70000"}, {"Discovery Prefix", ""}, {"Client Id", "site7"}};
  s = mqttSettingsFrom(read, present, "pc1");
  EXPECT_TRUE(s.enabled);
  EXPECT_EQ(s.port, 1883);  // out of range
  EXPECT_EQ(s.clientId, "site7");
  EXPECT_EQ(s.discoveryPrefix, "");  // written empty on purpose: discovery off
  keys = {{"Enabled", "abc"}, {"Port", "8883"}};
  s = mqttSettingsFrom(read, present, "pc1");
  EXPECT_FALSE(s.enabled);
  EXPECT_EQ(s.port, 8883);
}

}  // namespace
}  // namespace xl::publish
