#include "publish/mqtt_link.h"

#include <mosquitto.h>

#include <QMetaObject>
#include <mutex>

namespace xl::publish {

struct MqttLink::Shared {
  LinkOptions options;
  std::mutex mutex;  // guards mosq
  mosquitto* mosq = nullptr;
  std::mutex postMutex;  // guards receiver and handler
  QPointer<QObject> receiver;
  Handler handler;
  std::atomic<bool> stop{false};
  std::atomic<bool> connecting{true};
  bool connected = false;  // thread only

  // Posts an event to the GUI thread, unless the link has been given up.
  void post(LinkEvent e) {
    std::lock_guard lock(postMutex);
    if (!receiver || !handler) return;
    Handler h = handler;
    QMetaObject::invokeMethod(
        receiver.data(), [h, e] { h(e); }, Qt::QueuedConnection);
  }
};

namespace {

void onConnect(mosquitto*, void* obj, int rc) {
  auto* s = static_cast<MqttLink::Shared*>(obj);
  if (rc == 0) {
    s->connected = true;
    s->post({LinkEvent::Connected, 0});
  } else {
    s->post({LinkEvent::Refused, rc});
  }
}

void onPublish(mosquitto*, void* obj, int mid) {
  static_cast<MqttLink::Shared*>(obj)->post({LinkEvent::Acknowledged, mid});
}

void serve(std::shared_ptr<MqttLink::Shared> s) {
  const LinkOptions& o = s->options;
  mosquitto* m = mosquitto_new(o.clientId.c_str(), true, s.get());
  if (!m) {
    s->post({LinkEvent::ConnectFailed, MOSQ_ERR_NOMEM});
    return;
  }
  {
    std::lock_guard lock(s->mutex);
    s->mosq = m;
  }
  mosquitto_threaded_set(m, true);
  mosquitto_connect_callback_set(m, onConnect);
  mosquitto_publish_callback_set(m, onPublish);
  mosquitto_max_inflight_messages_set(m, 100);
  int rc = MOSQ_ERR_SUCCESS;
  if (!o.username.empty()) rc = mosquitto_username_pw_set(m, o.username.c_str(), o.password.c_str());
  if (rc == MOSQ_ERR_SUCCESS && !o.caFile.empty()) {
    rc = mosquitto_tls_set(m, o.caFile.c_str(), nullptr, nullptr, nullptr, nullptr);
    if (rc != MOSQ_ERR_SUCCESS) rc = MOSQ_ERR_TLS;
  }
  if (rc == MOSQ_ERR_SUCCESS && !o.willTopic.empty())
    rc = mosquitto_will_set(m, o.willTopic.c_str(), static_cast<int>(o.willPayload.size()), o.willPayload.data(), 1,
                            true);
  if (rc == MOSQ_ERR_SUCCESS && !s->stop) rc = mosquitto_connect(m, o.host.c_str(), o.port, 30);
  s->connecting = false;
  if (rc != MOSQ_ERR_SUCCESS) {
    s->post({LinkEvent::ConnectFailed, rc});
  } else {
    while (!s->stop) {
      rc = mosquitto_loop(m, 100, 1);
      if (rc != MOSQ_ERR_SUCCESS) break;
    }
    if (s->stop) {
      // A clean end: DISCONNECT, so the broker does not send the last will.
      mosquitto_disconnect(m);
      for (int i = 0; i < 5 && mosquitto_loop(m, 20, 1) == MOSQ_ERR_SUCCESS; ++i) {}
    } else {
      s->post({s->connected ? LinkEvent::Lost : LinkEvent::ConnectFailed, rc});
    }
  }
  {
    std::lock_guard lock(s->mutex);
    s->mosq = nullptr;
  }
  mosquitto_destroy(m);
}

}  // namespace

void initMosquitto() {
  static std::once_flag once;
  std::call_once(once, [] { mosquitto_lib_init(); });
}

MqttLink::MqttLink(LinkOptions options, QObject* receiver, Handler handler) : shared_(std::make_shared<Shared>()) {
  initMosquitto();
  shared_->options = std::move(options);
  shared_->receiver = receiver;
  shared_->handler = std::move(handler);
  thread_ = std::thread(serve, shared_);
}

MqttLink::~MqttLink() {
  {
    std::lock_guard lock(shared_->postMutex);
    shared_->handler = nullptr;  // nothing more reaches the publisher
    shared_->receiver = nullptr;
  }
  shared_->stop = true;
  if (shared_->connecting)
    thread_.detach();  // a connect under way may take long; the thread frees the client itself
  else
    thread_.join();
}

int MqttLink::publish(const std::string& topic, const std::string& payload, int qos, bool retain) {
  std::lock_guard lock(shared_->mutex);
  if (!shared_->mosq) return -1;
  int mid = 0;
  const int rc = mosquitto_publish(shared_->mosq, &mid, topic.c_str(), static_cast<int>(payload.size()), payload.data(),
                                   qos, retain);
  return rc == MOSQ_ERR_SUCCESS ? mid : -1;
}

}  // namespace xl::publish
