#include "publish/publisher.h"

#include <mosquitto.h>

#include "core/message_log.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/station_store.h"
#include "publish/mqtt_link.h"

namespace xl::publish {

namespace {
Publisher* gCurrent = nullptr;
constexpr std::size_t kWindow = 100;  // messages handed to the client and not yet acknowledged

Bytes bytesOf(const QByteArray& a) { return Bytes(a.begin(), a.end()); }
std::string s(const QString& q) { return q.toStdString(); }
}  // namespace

Publisher* Publisher::current() { return gCurrent; }

Publisher::Publisher(std::size_t queueCapacity) : queue_(queueCapacity) {
  if (!gCurrent) gCurrent = this;
  portLookup_ = [](const QString& name) { return core::getStationPort(name); };
  stationNames_ = [] {
    QStringList names;
    const int count = core::readIniInt(core::keys::kPorts, core::keys::kPortCount);
    for (int i = 1; i <= count && i <= 255; ++i) {
      const QString portText = core::readIni(core::keys::kPorts, QString::number(i));
      if (portText.isEmpty()) continue;
      for (const auto& st : core::getStations(portText))
        if (!names.contains(st.StationName)) names << st.StationName;
    }
    return names;
  };
  now_ = [] { return QDateTime::currentDateTime(); };
  availabilityTimer_.setInterval(1000);
  availabilityTimer_.setOnTick([this] { checkAvailability(); });
}

Publisher::~Publisher() {
  if (retryTask_) platform::scheduler().cancel(retryTask_);
  link_.reset();
  if (gCurrent == this) gCurrent = nullptr;
}

Topics Publisher::topics() const {
  Topics t;
  t.prefix = s(settings_.topicPrefix);
  t.clientId = s(settings_.clientId);
  t.discoveryPrefix = s(settings_.discoveryPrefix);
  return t;
}

void Publisher::applyFromFile() { apply(readMqttSettings()); }

void Publisher::apply(const MqttSettings& settings) {
  const bool on = settings.enabled && !settings.host.trimmed().isEmpty();
  if (running_ && on && settings == settings_) return;
  if (running_ && connected_ && link_) {
    // Turned off or moved: the consumers see this console leave.
    link_->publish(topics().status(), "offline", 1, true);
  }
  // Another Client Id: what this console left retained under the old one goes.
  if (running_ && settings.clientId != settings_.clientId) clearRetainedOf(topics());
  dropLink();
  if (retryTask_) platform::scheduler().cancel(retryTask_);
  retryTask_ = 0;
  settings_ = settings;
  running_ = on;
  backoff_.reset();
  lastFailure_.clear();
  availabilityTimer_.setEnabled(on);
  if (!on) return;
  for (auto& [name, st] : stations_) {
    st.discoveryPublished = false;
    st.online.reset();
  }
  connectNow();
}

void Publisher::connectNow() {
  retryTask_ = 0;
  if (!running_) return;
  LinkOptions o;
  o.host = s(settings_.host.trimmed());
  o.port = settings_.port;
  o.clientId = s(settings_.clientId);
  o.username = s(settings_.username);
  o.password = s(settings_.password);
  o.caFile = s(settings_.caFile);
  o.willTopic = topics().status();
  o.willPayload = "offline";
  const std::uint64_t generation = ++generation_;
  link_ = std::make_unique<MqttLink>(std::move(o), this,
                                     [this, generation](const LinkEvent& e) { onLinkEvent(generation, e); });
}

void Publisher::dropLink() {
  link_.reset();
  ++generation_;  // events of the old link still queued are ignored
  if (connected_) queue_.resend();
  connected_ = false;
}

void Publisher::onLinkEvent(std::uint64_t generation, const LinkEvent& e) {
  if (generation != generation_) return;
  switch (e.kind) {
    case LinkEvent::Connected:
      connected_ = true;
      backoff_.reset();
      if (!lastFailure_.isEmpty()) core::appendLog(QStringLiteral("已连接MQTT服务器 %1").arg(settings_.host));
      lastFailure_.clear();
      // The status goes first, ahead of whatever waited in the queue.
      link_->publish(topics().status(), "online", 1, true);
      for (auto& [name, st] : stations_) {
        st.discoveryPublished = false;
        if (st.online) publishAvailability(name, st, *st.online);
      }
      announceSilentStations();
      {
        std::set<QString> names;
        for (const auto& [name, st] : stations_) names.insert(name);
        if (alarmSource_.stations)
          for (const QString& name : alarmSource_.stations()) names.insert(name);
        for (const QString& name : names)
          if (!forgotten_.contains(name)) publishAlarms(name);
      }
      pump();
      return;
    case LinkEvent::Acknowledged:
      queue_.acknowledge(e.code);
      pump();
      return;
    case LinkEvent::Refused:
      if (e.code == 4 || e.code == 5)
        failed(QStringLiteral("MQTT服务器拒绝登录：用户名或密码错误，稍后重试"));
      else
        failed(QStringLiteral("MQTT服务器拒绝连接，稍后重试"));
      break;
    case LinkEvent::ConnectFailed:
      if (e.code == MOSQ_ERR_TLS)
        failed(QStringLiteral("MQTT加密连接失败：请检查证书文件和服务器地址，稍后重试"));
      else if (lastFailure_.isEmpty())
        failed(QStringLiteral("无法连接MQTT服务器 %1:%2，稍后重试").arg(settings_.host).arg(settings_.port));
      break;
    case LinkEvent::Lost:
      if (lastFailure_.isEmpty()) failed(QStringLiteral("与MQTT服务器的连接已断开，正在重新连接"));
      break;
  }
  dropLink();
  scheduleReconnect();
}

// One log line for a failure, not again until a connection has succeeded; a refusal or a TLS
// failure after a plain "cannot connect" is still told.
void Publisher::failed(const QString& logLine) {
  if (logLine == lastFailure_) return;
  if (!lastFailure_.isEmpty() && logLine.startsWith(QStringLiteral("无法连接"))) return;
  lastFailure_ = logLine;
  core::appendLog(logLine);
}

void Publisher::scheduleReconnect() {
  if (!running_ || retryTask_) return;
  retryTask_ = platform::scheduler().post(backoff_.next(), [this] { connectNow(); });
}

void Publisher::enqueue(std::string topic, QByteArray payload, bool retain) {
  queue_.push({std::move(topic), payload.toStdString(), retain, 1});
}

void Publisher::publishAlarms(const QString& name) {
  if (alarmSource_.open) enqueue(topics().alarms(s(name)), alarmsJson(alarmSource_.open(name)));
}

void Publisher::alarmEvent(const QString& name, const QString& code, const QString& text, bool raised,
                           const QDateTime& at) {
  if (!running_ || forgotten_.contains(name)) return;
  enqueue(topics().alarm(s(name)), alarmEventJson(code, text, raised, at), false);
  publishAlarms(name);
  pump();
}

void Publisher::pump() {
  if (!connected_ || !link_) return;
  while (queue_.inFlight() < kWindow) {
    const Outgoing* m = queue_.nextWaiting();
    if (!m) return;
    const int mid = link_->publish(m->topic, m->payload, m->qos, m->retain);
    if (mid < 0) return;  // the client is going down; the loss event follows
    queue_.markSent(mid);
  }
}

Publisher::Station& Publisher::station(const QString& name, const QString& deviceId) {
  Station& st = stations_[name];
  if (st.deviceId != deviceId || st.port.isEmpty()) {
    st.deviceId = deviceId;
    st.port = portLookup_ ? portLookup_(name) : QString();
    st.discoveryPublished = false;
  }
  return st;
}

void Publisher::publishDiscovery(const QString& name, Station& st) {
  st.discoveryPublished = true;
  if (settings_.discoveryPrefix.isEmpty()) return;
  for (auto& m : discoveryConfigs(topics(), {name, st.deviceId, st.port}, st.info)) enqueue(std::move(m.topic), m.payload);
  for (auto& m : alarmDiscoveryConfigs(topics(), {name, st.deviceId, st.port}, alarmSource_.codes))
    enqueue(std::move(m.topic), m.payload);
}

void Publisher::publishAvailability(const QString& name, Station& st, bool online) {
  st.online = online;
  enqueue(topics().availability(s(name)), online ? "online" : "offline");
}

void Publisher::forgetStation(const QString& name) {
  forgotten_.insert(name);
  stations_.erase(name);
  if (!running_) return;
  const Topics t = topics();
  enqueue(t.state(s(name)), {});
  enqueue(t.availability(s(name)), {});
  if (!settings_.discoveryPrefix.isEmpty())
    for (const SensorInfo& sensor : sensors()) enqueue(t.discoveryConfig(t.uniqueId(s(name), sensor.key)), {});
  if (alarmSource_.open) enqueue(t.alarms(s(name)), {});
  if (!settings_.discoveryPrefix.isEmpty())
    for (const auto& [code, text] : alarmSource_.codes)
      enqueue(t.discoveryConfig(t.uniqueId(s(name), "alarm_" + code.toStdString()), "binary_sensor"), {});
  pump();
}

void Publisher::knowStation(const QString& name) { forgotten_.erase(name); }

void Publisher::deviceInfoReply(const QString& name, const QString& deviceId, const QByteArray& reply) {
  if (forgotten_.contains(name)) return;
  const auto info = link::decodeDeviceInfo(bytesOf(reply));
  if (!info) return;
  Station& st = station(name, deviceId);
  st.info = info;
  st.discoveryPublished = false;  // the device's model and versions are new
  if (running_ && st.online) {
    publishDiscovery(name, st);
    pump();
  }
}

void Publisher::realTimeReply(const QString& name, const QString& deviceId, const QByteArray& reply) {
  if (forgotten_.contains(name)) return;
  clock_.reply(s(name), platform::scheduler().now());
  if (!running_) return;
  if (reply.size() != static_cast<qsizetype>(link::kRealTimeLength)) return;
  Station& st = station(name, deviceId);
  const auto state = stateJson({name, st.deviceId, st.port}, bytesOf(reply), now_());
  if (!state) return;
  if (!st.discoveryPublished) publishDiscovery(name, st);
  if (st.online != true) publishAvailability(name, st, true);
  enqueue(topics().state(s(name)), *state);
  pump();
}

void Publisher::checkAvailability() {
  if (!running_) return;
  const auto now = platform::scheduler().now();
  for (auto& [name, st] : stations_) {
    if (st.online != true) continue;  // offline stays offline until the next reply
    const bool stale = staleRule_ ? staleRule_(name) : clock_.stale(s(name), now);
    if (stale) publishAvailability(name, st, false);
  }
  pump();
}

void Publisher::announceSilentStations() {
  if (!stationNames_) return;
  for (const QString& name : stationNames_()) {
    const auto it = stations_.find(name);
    if (it != stations_.end() && it->second.online) continue;  // told already on this connection
    enqueue(topics().availability(s(name)), "offline");
  }
}

void Publisher::clearRetainedOf(const Topics& old) {
  QStringList names = stationNames_ ? stationNames_() : QStringList();
  for (const auto& [name, st] : stations_)
    if (!names.contains(name)) names << name;
  // Through the queue, so that none is lost however many there are: they go out first on the
  // next connection (the broker keeps retained messages whoever clears them).
  const auto clear = [this](const std::string& topic) { enqueue(topic, {}); };
  for (const QString& name : names) {
    for (const auto& m : discoveryConfigs(old, {name, {}, {}}, std::nullopt)) clear(m.topic);
    clear(old.availability(s(name)));
    clear(old.state(s(name)));
  }
  clear(old.status());
}

}  // namespace xl::publish
