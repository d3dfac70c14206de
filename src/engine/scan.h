#pragma once
// The scan: the polling engine of the whole program, with no widget.
//
// It first finds out which stations answer (discovery: up to three passes of the device
// information request, Timer4), then walks through those that do, one request a second: a
// real-time pass (Timer1), a load mode pass (Timer3), then a rest of the read interval
// (Timer2). With the fast scan on, each line has its own session and its requests follow one
// another as soon as the previous exchange has ended. Every exchange of every session is booked
// to its station's link health, whose status is checked once a second.
//
// The scan holds each station's row: name, address text, answer mark, last device information
// and real-time reply, load mode flag. Who shows them (the global monitor's grid), who keeps the
// reply for the recorder, who watches one station live and who publishes are told through the
// hooks below, in the order the console has always followed. Rows are numbered from 1, as the
// table's; row 0 is "before the first row".

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "link/serial_session.h"
#include "monitoring/line_scan.h"
#include "monitoring/link_health.h"
#include "platform/timer.h"

namespace xl::engine {

using monitoring::Freshness;
using monitoring::HealthTexts;
using monitoring::LinkHealth;

// What the scan hands the live screen for the station it watches.
class WatchedStation {
 public:
  virtual ~WatchedStation();
  // The station chosen on the live screen.
  virtual QString watchedName() const = 0;
  // True while monitoring runs there.
  virtual bool monitoringRuns() const = 0;
  virtual void readDatasA2(Bytes& reply) = 0;
  virtual void readDatasA3(Bytes& reply) = 0;
};

// A station as the listeners are told of it: its name, its address text and its port text
// ("COM3,9600", the store's as it is at that moment).
struct StationRef {
  QString name;
  QString deviceId;
  QString port;
};

// Who hears the scan: each device information reply of a discovery, each real-time reply (as
// received, fault words as sent) and each real-time request that went out and got no valid
// real-time reply (silence, a damaged or foreign frame, an exception or a reply of another
// length). Any member may be empty.
struct ScanListener {
  std::function<void(const StationRef&, const QByteArray& reply)> deviceInfo;
  std::function<void(const StationRef&, const QByteArray& reply)> realTime;
  std::function<void(const StationRef&)> realTimeMissed;
};

// Where the scan's rows are shown (the global monitor's grid). All optional.
struct ScanDisplay {
  // The hexadecimal text of each reply of the paced scan's session.
  std::function<void(const std::string& text)> replyText;
  // A device information reply stored at the row (the row has its answer mark now).
  std::function<void(int row, const QByteArray& reply)> deviceInfo;
  // A real-time reply stored at the row, as received.
  std::function<void(int row, const QByteArray& reply)> realTimeStored;
  // The same reply after the live screen has had it (its fault words exchanged for the station
  // it watches): the row's texts are made from this one. Not told for row 0.
  std::function<void(int row, const Bytes& reply)> realTimeShown;
  // The load mode flag of the row: true for manual.
  std::function<void(int row, bool manual)> loadMode;
  // The once-a-second check of the link health: every row's texts (index 0 unused).
  std::function<void(const std::vector<HealthTexts>& rows, std::int64_t nowUs)> healthChecked;
};

// The last real-time reply of a row, kept for the recorder at the same row number.
using ReplyStore = std::function<void(int row, const QByteArray& reply)>;
// The status line of the link health, told when its text changes: "在线站点 n/m    最旧读数 ...".
using HealthListener = std::function<void(const QString& status)>;

class Scan {
 public:
  Scan();
  ~Scan();
  Scan(const Scan&) = delete;
  Scan& operator=(const Scan&) = delete;

  // --- Who hears and shows the scan ------------------------------------------------------
  void setDisplay(ScanDisplay display) { display_ = std::move(display); }
  void setWatchedStation(WatchedStation* w) { watched_ = w; }
  void setReplyStore(ReplyStore store) { replyStore_ = std::move(store); }
  // Listeners are told in the order they were added; the id removes one.
  int addListener(ScanListener listener);
  void removeListener(int id);
  void setHealthListener(HealthListener listener);

  // --- The stations ------------------------------------------------------------------------
  struct Row {
    QString name;
    QString deviceId;
    bool answered = false;
    QByteArray deviceInfo;  // the last device information reply
    QByteArray realTime;    // the last real-time reply, as received
    std::optional<bool> manualLoad;
  };
  void clearStations();
  void appendStation(const QString& name, const QString& deviceId);
  // Rows 1..rowCount(); `row(0)` is the empty row before the first.
  int rowCount() const { return static_cast<int>(rows_.size()) - 1; }
  const Row& row(int r) const;
  // Whether the row's station answered a discovery. Raises Bounds outside 1..rowCount().
  bool answered(int row) const;
  // Sets the answer mark as a device information reply does (the shell's tests of the marks).
  void markAnswered(int row);

  // Starts a discovery from the first row; `whenDone` runs after its third pass.
  void startDiscovery(std::function<void()> whenDone);

  // The rest counter, the pause of the scan. A round that is under way is not stopped.
  void pauseRest();
  void resumeRest();
  // Seconds of rest between rounds; 0 stops the scan (the rest counter stays off).
  void setReadInterval(int seconds);
  int readInterval() const { return readInterval_; }
  // The fast scan, one session per line (settings key Scan / Per Line = 1, read when made).
  void setPerLine(bool on) { perLine_ = on; }
  bool perLine() const { return perLine_; }

  // Ends every round and discovery: timers off, every exchange under way given up, ports
  // closed. The end of the site agent.
  void stop();

  // --- Link health ----------------------------------------------------------------------------
  // Checks every row and the status line (the health timer does this every second).
  void refreshHealth();
  HealthTexts healthOf(int row) const;
  // The health of the station of that name (its first row); unknown for a name not listed.
  HealthTexts stationHealth(const QString& name) const;
  // Whether the station of that name (its first row) is stale or never answered.
  bool isStale(const QString& name) const;
  std::int64_t roundLengthUs() const;
  const LinkHealth& linkHealth() const { return health_; }
  // The port name ("COM3"), port text and address of a row's station, from the store as it is.
  struct RowKey {
    std::string port;
    QString portText;
    int address = -1;
  };
  RowKey rowKey(int row) const;
  // The status line as last told (empty before the first check); cleared, it is told again.
  const QString& healthStatus() const { return healthStatus_; }
  void forgetHealthStatus() { healthStatus_.clear(); }

  // --- Handlers ---------------------------------------------------------------------------------
  void Timer1_Timer();
  void Timer2_Timer();
  void Timer3_Timer();
  void Timer4_Timer();
  void readDatasA1(Bytes& reply);
  void readDatasA2(Bytes& reply);
  void readDatasA3(Bytes& reply);

  platform::Timer Timer1;       // real-time pass
  platform::Timer Timer2;       // rest counter
  platform::Timer Timer3;       // load mode pass
  platform::Timer Timer4;       // discovery
  platform::Timer healthTimer;  // the link health's check, once a second

  link::SerialSession& session() { return MSComm1; }

 private:
  void sendToRow(int row, const char* literal);
  bool nextAnsweringRow();
  // One tick of a data pass: the next answering station gets `literal`; past the last row the
  // pass ends and `nextPass` (if any) is turned on.
  void dataPassTick(const char* literal, platform::Timer& pass, platform::Timer* nextPass);
  bool isWatched(int row) const;
  void endDiscovery();
  StationRef refOf(int row) const;
  // A scan exchange has ended: a real-time request without a valid real-time reply is missed.
  void exchangeEnded(int row, const Bytes& request);

  void startFastDiscovery(int pass);
  void startFastRound();
  void fastRoundDone();
  monitoring::LineScan& lineScan();
  std::vector<monitoring::LineScan::Request> requestsFor(bool (Scan::*include)(int) const, const char* literal) const;
  bool isSilentRow(int row) const { return !answered(row); }
  bool isAnsweringRow(int row) const { return answered(row); }
  bool anyRow(int) const { return true; }
  void dispatchReply(int row, Bytes& reply);
  void roundBegins();

  std::vector<Row> rows_{1};
  ScanDisplay display_;
  WatchedStation* watched_ = nullptr;
  ReplyStore replyStore_;
  std::map<int, ScanListener> listeners_;
  int nextListenerId_ = 1;
  HealthListener healthListener_;

  link::SerialSession MSComm1;
  int readInterval_ = 0;  // seconds of rest between rounds
  int infoRow_ = 0;       // row of the discovery, 0 = before the first row
  int scanRow_ = 0;       // row of the data passes, 0 = before the first row
  int idleTicks_ = 0;     // seconds counted toward readInterval
  int infoPass_ = 0;      // finished discovery passes
  std::function<void()> discoveryDone_;
  int askedRow_ = 0;             // the row the paced session's last request went to
  bool realTimeAnswered_ = false;  // a valid real-time reply since the last exchange ended

  bool perLine_ = false;
  std::unique_ptr<monitoring::LineScan> lineScan_;
  bool fastRoundRuns_ = false;

  LinkHealth health_;
  int observerId_ = 0;
  std::int64_t lastRoundStartUs_ = -1;
  std::int64_t measuredRoundUs_ = 0;
  QString healthStatus_;
};

}  // namespace xl::engine
