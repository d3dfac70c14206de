// The publisher's rules without a broker: topic escaping, the bounded queue and the settings of
// section MQTT.

#include <gtest/gtest.h>

#include <map>

#include "publish/mqtt_settings.h"
#include "publish/publish_queue.h"
#include "publish/topics.h"

namespace xl::publish {
namespace {

// ---- Topics ---------------------------------------------------------------------------------

TEST(Topics, ReservedCharactersAreEscapedChineseStaysReadableAndTheLayoutOfAConsole) {
  // "%" is the escape character itself. (That every level reads back as its name and that
  // object ids hold only what Home Assistant accepts, the publisher's fuzz target checks.)
  std::string levels;
  for (const std::string& name : std::vector<std::string>{"一号站", "A/B", "a+b#c", std::string("x\0y", 3), "100%", "",
                                                          "%2F", std::string("\0\0", 2), "_x", "站/1#%"})
    levels += escapeTopicLevel(name) + " ";
  EXPECT_EQ(levels, "一号站 A%2FB a%2Bb%23c x%00y 100%25 % %252F %00%00 _x 站%2F1%23%25 ");

  // The layout of one console's topics.
  Topics t{"xinglan", "site/1", "homeassistant"};
  EXPECT_EQ(t.status() + " " + t.state("二号/站") + " " + t.availability("S1") + " " +
                t.uniqueId("站", "battery_voltage") + " " + t.discoveryConfig("abc"),
            "xinglan/site%2F1/status xinglan/site%2F1/二号%2F站/state xinglan/site%2F1/S1/availability "
            "site_2f1__e7_ab_99_battery_5fvoltage homeassistant/sensor/abc/config");
  // Object ids stay apart for different names.
  EXPECT_NE(objectId("a_2f"), objectId("a/"));
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
        .arg(QString::number(s.enabled), QString::number(s.port), s.clientId, s.topicPrefix, s.discoveryPrefix);
  };
  EXPECT_EQ(text(), "0 1883 pc1 xinglan [homeassistant]");
  keys = {{"Enabled", "1"}, {"Port", "70000"}, {"Discovery Prefix", ""}, {"Client Id", "site7"}};
  EXPECT_EQ(text(), "1 1883 site7 xinglan []");
}

}  // namespace
}  // namespace xl::publish
