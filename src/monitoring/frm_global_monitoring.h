#pragma once
// FrmGlobalMonitoring: the table of all stations, the view of the scan (engine::Scan).
//
// The screen owns the console's scan and shows its rows: each reply it stores, the answer
// marks, the load mode flags and the link health's columns. Its named operations forward to the
// scan, so the other screens keep asking the screen; the timers and handlers are the scan's.

#include <QByteArray>
#include <QHash>
#include <QList>
#include <functional>
#include <memory>

#include "engine/scan.h"
#include "monitoring/link_health.h"
#include "platform/flex_grid.h"
#include "platform/timer.h"
#include "ui/registry.h"
#include "ui/screen.h"

class QLineEdit;

namespace xl::monitoring {

// What the scan hands the real-time screen for the station it watches. The real-time screen
// registers itself here when it exists.
using WatchedStation = engine::WatchedStation;

// Where the scan leaves each station's last real-time reply: the recorder's grid, at the same
// row. The recorder registers itself here when it exists.
using ReplyStore = engine::ReplyStore;

// Who else hears the scan's good replies (the broker publisher): each device information block
// of a discovery and each real-time block, as received (fault words as sent), with the
// station's name and address text; and each real-time request that got no valid reply.
// Registered by whoever wires the program; no screen.
struct ReplyListener {
  using Reply = std::function<void(const QString& station, const QString& deviceId, const QByteArray& reply)>;
  using Missed = std::function<void(const QString& station, const QString& deviceId)>;
  Reply deviceInfo;
  Reply realTime;
  Missed realTimeMissed;
};

// Told when the status line of the link health changes (checked once a second): "在线站点 n/m
// 最旧读数 ...". The main window registers itself here.
using HealthListener = engine::HealthListener;

class FrmGlobalMonitoring : public ui::Screen, public ui::Singleton<FrmGlobalMonitoring> {
  Q_OBJECT
  friend class ui::Singleton<FrmGlobalMonitoring>;
  // First of all members: the timers below are the scan's own.
  engine::Scan engine_;

 public:
  // --- Named operations: what other screens may ask of the scan ----------------------------

  // The screens it feeds register themselves (static: no screen is created by this).
  static void setWatchedStation(WatchedStation* w);
  static void setReplyStore(ReplyStore store);
  static void setReplyListener(ReplyListener listener);

  // The stations of the table, loaded by the shell port by port.
  struct StationRow {
    QString name;
    QString deviceId;
    bool answered = false;
  };
  void clearStations();
  void appendStation(const QString& name, const QString& deviceId);
  QList<StationRow> stations() const;
  bool answered(int row) const;

  // Starts a discovery from the first row; `whenDone` runs after its third pass (the shell
  // marks its tree and fills the station lists). A failure in it ends the discovery as any
  // failure of the discovery does.
  void startDiscovery(std::function<void()> whenDone);

  // The rest counter, the pause of the scan: a screen that needs the line for long pauses it
  // and resumes it when done. A round that is under way is not stopped.
  void pauseRest();
  void resumeRest();

  // Seconds of rest between rounds. 0 stops the scan: the rest counter stays off, after a
  // discovery too, until another interval is set.
  void setReadInterval(int seconds);
  int readInterval() const { return engine_.readInterval(); }

  // The fast scan (settings key Scan / Per Line = 1, read when the scan is made): one session
  // per line, the lines side by side, the next request of a line as soon as the previous
  // exchange ended. Off, the scan keeps its one-request-a-second pace. A change takes effect
  // at the next discovery or round; a round under way finishes as it began. The recorder's
  // check box writes the key and calls this.
  void setPerLine(bool on);
  bool perLine() const { return engine_.perLine(); }

  // --- Link health (from the exchanges the sessions report; no request of its own) ----------
  static void setHealthListener(HealthListener listener);
  // Recomputes the health columns and the status line (the timer does this every second); only
  // cells and a status whose text changed are set.
  void refreshHealth();
  // The tree's tooltip of a station by its tree key ("COM3,9600,1": port and device ID), made
  // when the tooltip is about to show: "最后应答 ..., 距今 ..., 应答率 ..." or "无应答"; empty
  // while nothing is known or no row has that key.
  QString healthTooltip(const QString& treeKey) const;
  // The texts of the three health columns of a row, and its state.
  HealthTexts healthOf(int row) const;
  // The length of a round that the staleness is measured against (microseconds).
  std::int64_t roundLengthUs() const;
  const LinkHealth& linkHealth() const { return engine_.linkHealth(); }
  // Whether the station of that name (its first row) is stale or never answered: what the
  // broker publisher calls offline.
  bool isStale(const QString& name) const;
  // The health of the station of that name (its first row): fresh, stale or never answered,
  // and the age of its last good reply. Unknown for a name not in the table.
  HealthTexts stationHealth(const QString& name) const;

  // --- Handlers, public for tests ---------------------------------------------------------
  void Timer1_Timer();
  void Timer2_Timer();
  void Timer3_Timer();
  void Timer4_Timer();
  void readDatasA1(Bytes& reply);
  void readDatasA2(Bytes& reply);
  void readDatasA3(Bytes& reply);

  // Column of the hidden answer mark, found by its key.
  static constexpr const char* kAnswerKey = "wwwwww";
  // Keys of the health columns after it.
  static constexpr const char* kLastReplyKey = "Last Reply";
  static constexpr const char* kReplyAgeKey = "Reply Age";
  static constexpr const char* kAnswerShareKey = "Answer Share";

  // The scan's timers, under the names the screens and tests know.
  platform::Timer& Timer1;       // real-time pass
  platform::Timer& Timer2;       // rest counter
  platform::Timer& Timer3;       // load mode pass
  platform::Timer& Timer4;       // discovery
  platform::Timer& healthTimer;  // refresh of the health columns, once a second

  // The scan this screen shows.
  engine::Scan& scanEngine() { return engine_; }

 private:
  FrmGlobalMonitoring();
  ~FrmGlobalMonitoring() override;
  void Form_Load();
  int answerColumn() const { return VsFList1->colIndex(kAnswerKey); }
  // The row's texts from a real-time reply.
  void showRealTime(int row, const Bytes& reply);
  // The health columns and colours of every row.
  void showHealth(const std::vector<HealthTexts>& rows, std::int64_t nowUs);
  // The wall clock time of a row's last good reply, "HH:mm:ss": made once per reply.
  QString lastReplyText(int row, const HealthTexts& t, std::int64_t now) const;

  platform::FlexGrid* VsFList1;
  QLineEdit* Text1;  // the hexadecimal text of the last reply; not shown
  int listenerId_ = 0;

  // Per row: the last good reply that the clock text was made for, and the text.
  struct LastReplyClock {
    std::int64_t ageBaseUs = -1;
    QString text;
  };
  mutable std::vector<LastReplyClock> lastReplyClock_;
};

}  // namespace xl::monitoring
