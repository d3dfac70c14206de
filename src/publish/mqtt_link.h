#pragma once
// One connection to the broker, made and served on a thread of its own (libmosquitto).
//
// The thread connects (name lookup, TCP, TLS and login all happen there, so the GUI thread
// never waits on the network), then serves the socket until the connection ends or stop() is
// called, and then frees the client. It never reconnects: the publisher makes a new link
// after its back-off. What happens on the thread reaches the GUI thread as LinkEvents posted
// to `receiver` (queued), so the publisher's state is touched by the GUI thread only.
//
// publish() and stop() are called from the GUI thread; libmosquitto's calls are thread-safe.

#include <QObject>
#include <QPointer>
#include <QString>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace xl::publish {

struct LinkEvent {
  enum Kind {
    Connected,      // the broker accepted the login
    Refused,        // the broker answered CONNACK with `code` != 0 (login refused, ...)
    ConnectFailed,  // no connection: `code` a libmosquitto error (MOSQ_ERR_TLS, MOSQ_ERR_ERRNO, ...)
    Lost,           // an established connection ended
    Acknowledged,   // the broker acknowledged message `code` (its mid)
  };
  Kind kind;
  int code = 0;
};

struct LinkOptions {
  std::string host;
  int port = 1883;
  std::string clientId;
  std::string username;  // no login when empty
  std::string password;
  std::string caFile;  // TLS when set
  std::string willTopic;
  std::string willPayload;
};

class MqttLink {
 public:
  using Handler = std::function<void(const LinkEvent&)>;
  // Starts the thread at once. `handler` runs on the thread of `receiver`.
  MqttLink(LinkOptions options, QObject* receiver, Handler handler);
  // Stops the connection (a clean DISCONNECT when connected) and waits for the thread, unless
  // it is still connecting: then it is left to end by itself.
  ~MqttLink();
  MqttLink(const MqttLink&) = delete;
  MqttLink& operator=(const MqttLink&) = delete;

  // Hands a message to the client; its message id, or -1 when the client refused it.
  int publish(const std::string& topic, const std::string& payload, int qos, bool retain);

  struct Shared;

 private:
  std::shared_ptr<Shared> shared_;
  std::thread thread_;
};

// libmosquitto's global set-up, once per process (thread-safe).
void initMosquitto();

}  // namespace xl::publish
