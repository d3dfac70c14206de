#pragma once
// The two-station console with a publisher, for the tests against a real broker.

#include <memory>

#include "monitoring/frm_global_monitoring.h"
#include "publish/mqtt_settings.h"
#include "publish/publisher.h"
#include "support/two_stations.h"
#include "tests/publish/broker.h"

namespace xl::testing {

// The last payload of a topic as text; "(none)" before the first.
inline QString lastOf(const std::vector<QByteArray>& v) {
  return v.empty() ? QStringLiteral("(none)") : QString::fromUtf8(v.back());
}

// The two-station console with a publisher that the scan hands its replies to, as the program
// wires it, sending to a broker on a loopback port.
class PublisherFixture : public TwoStationFixture {
 protected:
  void TearDown() override {
    monitoring::FrmGlobalMonitoring::setReplyListener({});
    publisher.reset();
    TwoStationFixture::TearDown();
  }
  void makePublisher() {
    publisher = std::make_unique<publish::Publisher>();
    monitoring::FrmGlobalMonitoring::setReplyListener(
        {[this](const QString& n, const QString& id, const QByteArray& b) { publisher->deviceInfoReply(n, id, b); },
         [this](const QString& n, const QString& id, const QByteArray& b) { publisher->realTimeReply(n, id, b); },
         {}});
  }
  // Offline is the link health's stale, as the program wires it.
  void useStaleRule() {
    publisher->setStaleRule([](const QString& name) { return monitoring::FrmGlobalMonitoring::instance().isStale(name); });
  }
  // Settings through the file, as the settings screen leaves them, then applied.
  void publishTo(int port, const QString& clientId = "site1", const QString& user = {}, const QString& password = {},
                 const QString& ca = {}) {
    publish::writeMqttSettings({.enabled = true, .host = "127.0.0.1", .port = port, .clientId = clientId,
                                .topicPrefix = "xinglan", .username = user, .password = password, .caFile = ca,
                                .discoveryPrefix = "homeassistant"});
    publisher->applyFromFile();
  }
  std::unique_ptr<publish::Publisher> publisher;
};

}  // namespace xl::testing
