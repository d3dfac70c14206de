// The publisher's rules without a broker: topic escaping, the state and discovery payloads,
// the bounded queue, the back-off, the reply clock and the settings of section MQTT.

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimeZone>
#include <map>
#include <set>

#include "publish/backoff.h"
#include "publish/mqtt_settings.h"
#include "publish/payloads.h"
#include "publish/publish_queue.h"
#include "publish/reply_clock.h"
#include "publish/topics.h"
#include "support/hex_bytes.h"

namespace xl::publish {
namespace {

using namespace std::chrono_literals;

// ---- Topics ---------------------------------------------------------------------------------

TEST(Topics, ReservedCharactersAreEscapedChineseStaysReadableAndTheLayoutOfAConsole) {
  // "%" is the escape character itself; every level reads back as its name.
  std::string levels;
  for (const std::string& name : std::vector<std::string>{"一号站", "A/B", "a+b#c", std::string("x\0y", 3), "100%", "",
                                                          "%2F", std::string("\0\0", 2), "_x", "站/1#%"}) {
    levels += escapeTopicLevel(name) + " ";
    EXPECT_EQ(unescapeTopicLevel(escapeTopicLevel(name)), name);
  }
  EXPECT_EQ(levels, "一号站 A%2FB a%2Bb%23c x%00y 100%25 % %252F %00%00 _x 站%2F1%23%25 ");

  // The layout of one console's topics.
  Topics t{"xinglan", "site/1", "homeassistant"};
  EXPECT_EQ(t.status() + " " + t.state("二号/站") + " " + t.availability("S1") + " " +
                t.uniqueId("站", "battery_voltage") + " " + t.discoveryConfig("abc"),
            "xinglan/site%2F1/status xinglan/site%2F1/二号%2F站/state xinglan/site%2F1/S1/availability "
            "site_2f1__e7_ab_99_battery_5fvoltage homeassistant/sensor/abc/config");
  // Object ids hold only what Home Assistant accepts, and stay apart for different names.
  for (const auto& id : {objectId("一号站"), objectId("a b/c"), objectId("")})
    EXPECT_EQ(id.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-"),
              std::string::npos)
        << id;
  EXPECT_NE(objectId("a_2f"), objectId("a/"));
}

// ---- Payloads -------------------------------------------------------------------------------

// SOC 80 %, 12.5 V, 3.33 A, device -5 °C, battery 25 °C; array 18.0 V, 2.50 A, 45 W (bytes 17 to
// 22); 258 Ah today (37, 38); 12.345 kWh generated in all (59 to 62); load on, MPPT (67, 68);
// 0x0121 over-discharge (what the scan shows), 0x0122 over-voltage (what the live screen shows).
Bytes realTimeReply() {
  return testing::hexBytes(
      "01 03 46 00 50 00 7D 01 4D 85 19 00 00 00 00 00 00 00 B4 00 FA 00 2D 00 00 00 00 00 00 "
      "00 00 00 00 00 00 00 00 01 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
      "00 00 00 00 30 39 00 00 00 00 80 02 00 01 00 02");
}

TEST(StateJson, NumbersTextsFaultsOfTheScansFaultWordOtherLengthsAndOddAddresses) {
  const QDateTime at(QDate(2026, 5, 1), QTime(8, 30, 0), QTimeZone(8 * 3600));
  const auto json = stateJson({"一号站", "1", "COM3,9600"}, realTimeReply(), at);
  ASSERT_TRUE(json);
  const QJsonObject o = QJsonDocument::fromJson(*json).object();
  // These keys, as JSON text (the rest of the live values: the broker test). The fault word of
  // register 0x0121, as the scan's table and the alarms read it: over-discharge, not the
  // over-voltage of 0x0122; both raw words as numbers.
  QJsonObject picked;
  for (const char* key :
       {"station", "address", "port", "time", "device_temperature", "day_charge_ah", "total_energy_generated",
        "load_on", "charge_state", "charge_state_text", "fault_word_0121", "fault_word_0122"})
    picked[key] = o[key];
  const QJsonObject f = o["faults"].toObject(), status = o["status"].toObject();
  for (const char* key : {"battery_over_voltage", "battery_over_discharge"}) picked[key] = f[key];
  for (const char* key : {"battery", "load"}) picked[QStringLiteral("status.") + key] = status[key];
  EXPECT_EQ(QJsonDocument(picked).toJson(QJsonDocument::Compact).toStdString(),
            R"({"address":1,"battery_over_discharge":true,"battery_over_voltage":false,"charge_state":2,)"
            R"("charge_state_text":"MPPT充电","day_charge_ah":258,"device_temperature":-5,"fault_word_0121":1,)"
            R"("fault_word_0122":2,"load_on":true,"port":"COM3,9600","station":"一号站","status.battery":"过放",)"
            R"("status.load":"已打开","time":"2026-05-01T08:30:00+08:00","total_energy_generated":12.345})");
  EXPECT_EQ(f.size(), static_cast<int>(faults().size()));
  // Every value Home Assistant is told of is in the state.
  for (const auto& s : sensors()) EXPECT_TRUE(o.contains(QString::fromLatin1(s.key))) << s.key;

  // Other lengths give no state; an address text that is no byte is published as it stands.
  const Bytes whole = realTimeReply();
  for (const Bytes& other : {Bytes(whole.begin(), whole.end() - 1), Bytes{}})
    EXPECT_FALSE(stateJson({"S", "1", ""}, other, at)) << other.size();
  const auto odd = stateJson({"S", "abc", ""}, whole, at);
  ASSERT_TRUE(odd);
  EXPECT_EQ(QJsonDocument::fromJson(*odd).object()["address"].toString(), "abc");
}

TEST(Discovery, OneConfigPerValueWithEveryKeyAndTheDevice) {
  Topics t{"xinglan", "site1", "homeassistant"};
  const link::DeviceInfo info{
      .model = "XL-MPPT4820", .softwareVersion = "V1.0.4", .deviceVersion = "V2.1.0", .serialNumber = "16050023"};
  const auto configs = discoveryConfigs(t, {"一号站", "1", "COM3,9600"}, info);
  ASSERT_EQ(configs.size(), sensors().size());
  std::set<std::string> uniqueIds;
  int classified = 0;
  for (const auto& m : configs) {
    QJsonObject c = QJsonDocument::fromJson(m.payload).object();
    EXPECT_EQ(m.topic, "homeassistant/sensor/" + c["unique_id"].toString().toStdString() + "/config");
    EXPECT_EQ(c["object_id"], c["unique_id"]);
    EXPECT_TRUE(c["value_template"].toString().startsWith("{{ value_json.")) << m.topic;
    EXPECT_FALSE(c["name"].toString().isEmpty()) << m.topic;
    uniqueIds.insert(c["unique_id"].toString().toStdString());
    // Class, unit and state class stand only where the value has them, never as null.
    for (const char* key : {"device_class", "unit_of_measurement", "state_class"})
      EXPECT_TRUE(!c.contains(key) || c[key].isString()) << m.topic << " " << key;
    classified += c.contains("device_class") && c.contains("unit_of_measurement") && c.contains("state_class");
    // What every config has alike: available only while the console (its status, with its
    // last will) and the station both say "online"; the device as the information block has it.
    for (const char* key :
         {"name", "unique_id", "object_id", "value_template", "device_class", "unit_of_measurement", "state_class"})
      c.remove(key);
    EXPECT_EQ(QJsonDocument(c).toJson(QJsonDocument::Compact).toStdString(),
              R"({"availability":[{"topic":"xinglan/site1/status"},{"topic":"xinglan/site1/一号站/availability"}],)"
              R"("availability_mode":"all","device":{"hw_version":"V2.1.0","identifiers":)"
              R"(["site1__e4_b8_80_e5_8f_b7_e7_ab_99_device"],"manufacturer":"星澜","model":"XL-MPPT4820",)"
              R"("name":"一号站","serial_number":"16050023","sw_version":"V1.0.4"},)"
              R"("state_topic":"xinglan/site1/一号站/state"})")
        << m.topic;
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

TEST(PublishQueue, InOrderUntilAcknowledgedResentInOrderAfterALossAndTheOldestDroppedWhenFull) {
  PublishQueue q(100);
  for (int i = 0; i < 5; ++i) q.push(msg(i));
  int mid = 1;
  EXPECT_EQ(drain(q, mid), (std::vector<std::string>{"0", "1", "2", "3", "4"}));
  EXPECT_EQ(q.inFlight(), 5u);
  // Out of order (2 still holds the front), twice, unknown.
  for (const auto& [mid, known] : {std::pair{1, true}, {3, true}, {3, false}, {99, false}})
    EXPECT_EQ(q.acknowledge(mid), known) << mid;
  EXPECT_EQ(q.size(), 4u);
  q.resend();  // lost: 1 (mid 2) and 3, 4 (mids 4, 5) again, 2 (mid 3) was acknowledged
  EXPECT_EQ(q.inFlight(), 0u);
  q.push(msg(5));
  EXPECT_EQ(drain(q, mid), (std::vector<std::string>{"1", "3", "4", "5"}));
  for (int m = 6; m < mid; ++m) EXPECT_TRUE(q.acknowledge(m));
  EXPECT_EQ(q.size() + q.dropped(), 0u);

  // A full queue drops the oldest, in flight or not, and counts it.
  PublishQueue full(3);
  for (int i = 0; i < 3; ++i) full.push(msg(i));
  full.nextWaiting();
  full.markSent(mid++);  // "0" in flight
  full.push(msg(3));     // drops "0" although in flight
  full.push(msg(4));     // drops "1"
  EXPECT_EQ(std::tuple(full.dropped(), full.inFlight()), std::tuple(2u, 0u));
  EXPECT_FALSE(full.acknowledge(mid - 1));  // the dropped message's late acknowledgement
  EXPECT_EQ(drain(full, mid), (std::vector<std::string>{"2", "3", "4"}));
  EXPECT_EQ(full.size(), 3u);
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
  EXPECT_TRUE(c.stale("A", 31s) && c.stale("B", 22s));
  c.reply("B", 22s);
  EXPECT_FALSE(c.stale("B", 22s));
}

// ---- Settings -------------------------------------------------------------------------------

TEST(MqttSettings, DefaultsAndTheEmptyDiscoveryPrefix) {
  std::map<std::string, QString> keys;
  const auto read = [&](const char* k) { return keys.count(k) ? keys[k] : QString(); };
  const auto present = [&](const char* k) { return keys.count(k) > 0; };
  // Enabled, port, Client Id, topic prefix, discovery prefix. A port out of range is the
  // default; a discovery prefix written empty on purpose turns discovery off.
  const auto text = [&] {
    const MqttSettings s = mqttSettingsFrom(read, present, "pc1");
    return QStringLiteral("%1 %2 %3 %4 [%5]")
        .arg(s.enabled)
        .arg(s.port)
        .arg(s.clientId, s.topicPrefix, s.discoveryPrefix);
  };
  EXPECT_EQ(text(), "0 1883 pc1 xinglan [homeassistant]");
  keys = {{"Enabled", "1"}, {"Port", "70000"}, {"Discovery Prefix", ""}, {"Client Id", "site7"}};
  EXPECT_EQ(text(), "1 1883 site7 xinglan []");
  keys = {{"Enabled", "abc"}, {"Port", "8883"}};
  EXPECT_EQ(text(), "0 8883 pc1 xinglan [homeassistant]");
}

}  // namespace
}  // namespace xl::publish
