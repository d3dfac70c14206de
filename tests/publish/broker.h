#pragma once
// A real mosquitto broker for a test, on a free loopback port, and a subscriber of the
// library that records every message it gets; and the free port itself, for any TCP stand-in.
//
// The broker listens on 127.0.0.1 only, keeps its retained messages and sessions in a folder
// of the test (so a restart keeps the subscriber's session), and runs under `timeout`, so it
// ends by itself even if the test dies. stop() ends it with SIGTERM (it saves its store).

#include <mosquitto.h>
#include <pwd.h>
#include <unistd.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>
#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "tests/support/free_port.h"

namespace xl::testing {

class Broker {
 public:
  // `users`: "name:password" pairs; with any, anonymous logins are refused.
  explicit Broker(std::vector<std::pair<QString, QString>> users = {}) {
    port_ = freeTcpPort();
    // Run as whoever runs the test (as root, mosquitto would switch to its own user, which
    // cannot write the test's folder).
    const passwd* me = ::getpwuid(::geteuid());
    QString conf =
        QStringLiteral(
            "listener %1 127.0.0.1\npersistence true\npersistence_location %2/\nuser %3\n"
            "max_queued_messages 100000\nallow_anonymous %4\n")
            .arg(port_)
            .arg(dir_.path(), QString::fromLocal8Bit(me ? me->pw_name : "root"), users.empty() ? "true" : "false");
    if (!users.empty()) {
      const QString pw = dir_.path() + "/passwd";
      QFile(pw).open(QIODevice::WriteOnly);
      for (const auto& [u, p] : users) QProcess::execute("mosquitto_passwd", {"-b", pw, u, p});
      conf += "password_file " + pw + "\n";
    }
    if (QFile f(dir_.path() + "/mosquitto.conf"); f.open(QIODevice::WriteOnly)) f.write(conf.toUtf8());
    start();
  }
  ~Broker() { stop(); }

  // Where the broker keeps its persistent store (mosquitto.db).
  QString dataDir() const { return dir_.path(); }
  int port() const { return port_; }

  void start() {
    process_.setStandardOutputFile(QProcess::nullDevice());
    process_.setStandardErrorFile(QProcess::nullDevice());
    process_.start("timeout", {"-s", "TERM", "90", "mosquitto", "-c", dir_.path() + "/mosquitto.conf"});
    process_.waitForStarted(5000);
    for (int i = 0; i < 200; ++i, QThread::msleep(10)) {
      QTcpSocket s;
      s.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port_));
      if (s.waitForConnected(100)) break;
    }
  }
  void stop() {
    if (process_.state() == QProcess::NotRunning) return;
    process_.terminate();
    if (!process_.waitForFinished(5000)) process_.kill(), process_.waitForFinished(2000);
  }

 private:
  QTemporaryDir dir_;
  int port_ = 0;
  QProcess process_;
};

struct Received {
  std::string topic;
  QByteArray payload;
  bool retained = false;
};

// Subscribes to everything (QoS 1) and records what arrives, on libmosquitto's own thread.
// A fixed client id and a kept session: after a broker restart it gets what was published
// while it was away.
class Subscriber {
 public:
  Subscriber(int port, const std::string& id = "xl-test-subscriber") {
    mosquitto_lib_init();
    m_ = mosquitto_new(id.c_str(), false, this);
    // A kept session keeps the subscription; subscribing again would replay retained messages
    // in the middle of those the broker kept for us.
    mosquitto_connect_with_flags_callback_set(m_, [](mosquitto* m, void*, int rc, int flags) {
      if (rc == 0 && !(flags & 1)) mosquitto_subscribe(m, nullptr, "#", 1);
    });
    mosquitto_subscribe_callback_set(
        m_, [](mosquitto*, void* obj, int, int, const int*) { static_cast<Subscriber*>(obj)->subscribed_ = true; });
    mosquitto_message_callback_set(m_, [](mosquitto*, void* obj, const mosquitto_message* msg) {
      auto* s = static_cast<Subscriber*>(obj);
      std::lock_guard lock(s->mutex_);
      s->messages_.push_back(
          {msg->topic, QByteArray(static_cast<const char*>(msg->payload), msg->payloadlen), msg->retain});
    });
    mosquitto_reconnect_delay_set(m_, 1, 1, false);
    mosquitto_connect(m_, "127.0.0.1", port, 30);
    mosquitto_loop_start(m_);
    for (int i = 0; i < 300 && !subscribed_; ++i) QThread::msleep(10);
  }
  ~Subscriber() {
    mosquitto_disconnect(m_);
    mosquitto_loop_stop(m_, false);
    mosquitto_destroy(m_);
  }
  std::vector<Received> messages() const {
    std::lock_guard lock(mutex_);
    return messages_;
  }
  // Payloads of one topic, in order of arrival; `live` leaves out the retained copies a
  // subscription is given when it starts.
  std::vector<QByteArray> on(const std::string& topic, bool live = false) const {
    std::vector<QByteArray> out;
    for (const auto& m : messages())
      if (m.topic == topic && !(live && m.retained)) out.push_back(m.payload);
    return out;
  }
  // The last payload of a topic as text; "(none)" before the first.
  QString last(const std::string& topic) const {
    const auto v = on(topic);
    return v.empty() ? QStringLiteral("(none)") : QString::fromUtf8(v.back());
  }
  bool subscribed() const { return subscribed_; }

 private:
  mosquitto* m_ = nullptr;
  std::atomic<bool> subscribed_{false};
  mutable std::mutex mutex_;
  std::vector<Received> messages_;
};

inline QJsonObject jsonOf(const QByteArray& payload) { return QJsonDocument::fromJson(payload).object(); }

}  // namespace xl::testing
