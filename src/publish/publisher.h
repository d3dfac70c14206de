#pragma once
// The broker publisher: every station's readings, as the scan receives them, to an MQTT broker.
//
// It sends no request of its own. The scan hands it each device information block (at
// discovery) and each real-time block; it turns them into retained messages of the station's
// state, its availability and, once per station and connection, Home Assistant discovery
// configs, and queues them (PublishQueue: bounded, oldest dropped first) for the connection.
//
// The connection lives on its own thread (MqttLink); its events come back queued on the GUI
// thread, where all of the publisher's state lives. A lost or failed connection is tried again
// after a back-off (1 s, doubling, at most 60 s); meanwhile the queue keeps what it can hold
// and sends it in order when the broker is back. A refused login, a TLS failure or a broker
// that cannot be reached each give one plain Chinese line in the message window, once until
// a connection succeeds.
//
// Availability: a station is "online" from its first reply and turns "offline" when the
// stale rule says so (checked every second). The rule is a function given to the publisher;
// until one is given, the publisher's own ReplyClock decides (two rounds without a reply).
// At each connection every station of the site that has not answered in this run is published
// "offline", so no "online" of an earlier run outlives it. The discovery configs name two
// availability topics, the console's status (with its last will "offline") and the station's,
// and Home Assistant takes a station as available only when both say "online": a console that
// exits or is killed takes its stations offline with it. When the Client Id changes, every
// station's retained topics under the old one (discovery, availability, state) are cleared.

#include <QByteArray>
#include <QDateTime>
#include <QObject>
#include <QString>
#include <QStringList>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "link/device_data_map.h"
#include "platform/scheduler.h"
#include "platform/timer.h"
#include "publish/backoff.h"
#include "publish/mqtt_settings.h"
#include "publish/payloads.h"
#include "publish/publish_queue.h"
#include "publish/reply_clock.h"

namespace xl::publish {

class MqttLink;
struct LinkEvent;

class Publisher : public QObject {
 public:
  // Whether a station has turned stale (no answer for too long).
  using StaleRule = std::function<bool(const QString& station)>;
  // The port of a station by its name (the store's lookup unless replaced).
  using PortLookup = std::function<QString(const QString& station)>;

  explicit Publisher(std::size_t queueCapacity = PublishQueue::kDefaultCapacity);
  ~Publisher() override;

  // The publisher the settings screen applies its settings to (the program's one).
  static Publisher* current();

  // Takes new settings: off stops the connection, on (re)connects when anything changed.
  void apply(const MqttSettings& settings);
  // Reads section MQTT of the settings file and applies it.
  void applyFromFile();
  const MqttSettings& settings() const { return settings_; }

  // What the scan hands over (replies as received, fault words as sent).
  void deviceInfoReply(const QString& station, const QString& deviceId, const QByteArray& reply);
  void realTimeReply(const QString& station, const QString& deviceId, const QByteArray& reply);

  // A station renamed or deleted: the retained messages under its name (state, availability,
  // discovery configs) are cleared with empty retained messages, so Home Assistant drops its
  // entities, and replies still on their way under that name are not published until the name
  // is a station's again (knowStation).
  void forgetStation(const QString& name);
  // A name that is a station's again (added, or the new name of a rename).
  void knowStation(const QString& name);

  void setStaleRule(StaleRule rule) { staleRule_ = std::move(rule); }
  void setPortLookup(PortLookup lookup) { portLookup_ = std::move(lookup); }
  // The names of every station of the site (the store's stations of the listed ports unless
  // replaced).
  using StationNames = std::function<QStringList()>;
  void setStationNames(StationNames names) { stationNames_ = std::move(names); }
  void setTimeSource(std::function<QDateTime()> now) { now_ = std::move(now); }

  // Alarms: the open alarms of a station, the stations that have any, and every alarm code with
  // its text (one Home Assistant binary_sensor each). Without a source no alarm is published.
  struct AlarmSource {
    std::function<std::vector<AlarmItem>(const QString& station)> open;
    std::function<QStringList()> stations;
    std::vector<std::pair<QString, QString>> codes;
  };
  void setAlarmSource(AlarmSource source) { alarmSource_ = std::move(source); }
  // A raising or clearing: the event (not retained) and the station's array of open alarms
  // (retained). The arrays of every station are published again at each connection, so a
  // broker that was down ends with the present state.
  void alarmEvent(const QString& station, const QString& code, const QString& text, bool raised, const QDateTime& at);

  bool connected() const { return connected_; }
  std::size_t queued() const { return queue_.size(); }
  std::uint64_t dropped() const { return queue_.dropped(); }
  // Availability checks: the stale rule is asked for every known station.
  void checkAvailability();

 private:
  struct Station {
    QString deviceId;
    QString port;
    std::optional<link::DeviceInfo> info;
    std::optional<bool> online;     // as last published
    bool discoveryPublished = false;  // on this connection
  };

  Topics topics() const;
  void connectNow();
  void dropLink();
  void onLinkEvent(std::uint64_t generation, const LinkEvent& e);
  void failed(const QString& logLine);
  void scheduleReconnect();
  void enqueue(std::string topic, QByteArray payload, bool retain = true);
  void publishAlarms(const QString& name);
  void publishDiscovery(const QString& name, Station& st);
  void publishAvailability(const QString& name, Station& st, bool online);
  void pump();
  // Every station of the site not yet heard in this run: "offline" (at each connection).
  void announceSilentStations();
  // The retained topics of every station under `old` (another Client Id): empty payloads.
  void clearRetainedOf(const Topics& old);
  Station& station(const QString& name, const QString& deviceId);

  MqttSettings settings_;
  bool running_ = false;
  std::unique_ptr<MqttLink> link_;
  std::uint64_t generation_ = 0;
  bool connected_ = false;
  Backoff backoff_;
  platform::TaskId retryTask_ = 0;
  QString lastFailure_;  // the log line given since the last good connection
  PublishQueue queue_;
  std::map<QString, Station> stations_;
  std::set<QString> forgotten_;  // names of stations that are gone, until they are back
  ReplyClock clock_;
  StaleRule staleRule_;
  PortLookup portLookup_;
  StationNames stationNames_;
  std::function<QDateTime()> now_;
  AlarmSource alarmSource_;
  platform::Timer availabilityTimer_;
};

}  // namespace xl::publish
