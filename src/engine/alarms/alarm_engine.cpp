#include "engine/alarms/alarm_engine.h"

#include "core/message_log.h"
#include "core/station_store.h"
#include "link/device_data_map.h"
#include "platform/bytes.h"

namespace xl::engine::alarms {
namespace {

AlarmEngine* gCurrent = nullptr;

QString u(std::string_view s) { return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size())); }

}  // namespace

QString stateWord(bool raised) { return raised ? QStringLiteral("发生") : QStringLiteral("解除"); }

QString eventLine(const AlarmEvent& e) {
  return QStringList{logTime(e.time), e.station, e.deviceId, e.text, stateWord(e.raised)}.join(u' ');
}

AlarmEngine::AlarmEngine(QString logPath) : log_(std::move(logPath)), now_([] { return QDateTime::currentDateTime(); }) {
  gCurrent = this;
  reloadSettings();
  if (log_.ensure()) {
    restoreOpen();
    prune();
  } else {
    core::appendLog(QStringLiteral("告警记录文件无法打开：") + log_.path());
  }
  settingsTimer_.setInterval(60 * 1000);
  settingsTimer_.setOnTick([this] { reloadSettings(); });
  settingsTimer_.setEnabled(true);
  pruneTimer_.setInterval(24 * 3600 * 1000);
  pruneTimer_.setOnTick([this] { prune(); });
  pruneTimer_.setEnabled(true);
}

AlarmEngine::~AlarmEngine() {
  if (gCurrent == this) gCurrent = nullptr;
}

AlarmEngine* AlarmEngine::current() { return gCurrent; }

void AlarmEngine::reloadSettings() { settings_ = readAlarmSettings(); }

void AlarmEngine::prune() { log_.prune(settings_.keepDays, now_()); }

void AlarmEngine::restoreOpen() {
  for (const AlarmRow& r : log_.open()) {
    Station& st = stations_[r.station];
    st.deviceId = r.deviceId;
    st.conditions.restore(r.code.toStdString());
    st.open[r.code] = {r.id, r.code, r.text, QDateTime::fromString(r.raised, QStringLiteral("yyyy-MM-dd HH:mm:ss"))};
  }
}

void AlarmEngine::realTimeReply(const QString& station, const QString& deviceId, const QByteArray& reply) {
  if (reply.size() != static_cast<qsizetype>(xl::link::kRealTimeLength)) return;
  Station& st = stations_[station];
  st.deviceId = deviceId;
  const Bytes bytes(reply.begin(), reply.end());
  const auto changes = st.conditions.reply(bytes, settings_.lowSoc);
  if (!changes.empty()) apply(station, st, changes);
}

void AlarmEngine::realTimeMissed(const QString& station, const QString& deviceId) {
  Station& st = stations_[station];
  st.deviceId = deviceId;
  const auto changes = st.conditions.missed(settings_.silentAfter);
  if (!changes.empty()) apply(station, st, changes);
}

void AlarmEngine::apply(const QString& name, Station& st, const std::vector<Change>& changes) {
  const QDateTime now = now_();
  const QString port = core::getStationPort(name);
  for (const Change& c : changes) {
    AlarmEvent e{name, st.deviceId, port, u(c.code), u(textOf(c.code)), c.raised, now};
    if (c.raised) {
      const auto id = log_.raise({0, name, st.deviceId, port, e.code, e.text, logTime(now), {}, {}, {}});
      st.open[e.code] = {id.value_or(0), e.code, e.text, now};
    } else {
      const auto it = st.open.find(e.code);
      if (it != st.open.end()) {
        log_.clear(it->second.id, now);
        st.open.erase(it);
      }
    }
    // One line in the message window for each event; the agent prints the same on its output.
    core::appendLog(QStringLiteral("告警%1：%2 设备ID %3 %4").arg(stateWord(c.raised), name, st.deviceId, e.text));
    for (auto& [id, l] : std::map(eventListeners_)) l(e);
  }
  notifyChanged();
}

void AlarmEngine::forgetStation(const QString& station) {
  const auto it = stations_.find(station);
  if (it == stations_.end()) return;
  std::vector<Change> changes;
  for (const auto& [code, alarm] : it->second.open) changes.push_back({code.toStdString(), false});
  if (!changes.empty()) apply(station, it->second, changes);
  stations_.erase(station);
}

int AlarmEngine::acknowledge(const std::vector<std::int64_t>& ids, const QString& user) {
  const int n = log_.acknowledge(ids, user, now_());
  if (n > 0) notifyChanged();
  return n;
}

void AlarmEngine::notifyChanged() {
  for (auto& [id, l] : std::map(changeListeners_)) l();
}

int AlarmEngine::addEventListener(EventListener l) {
  eventListeners_[nextListener_] = std::move(l);
  return nextListener_++;
}

int AlarmEngine::addChangeListener(ChangeListener l) {
  changeListeners_[nextListener_] = std::move(l);
  return nextListener_++;
}

void AlarmEngine::removeListener(int id) {
  eventListeners_.erase(id);
  changeListeners_.erase(id);
}

std::vector<ActiveAlarm> AlarmEngine::activeOf(const QString& station) const {
  std::vector<ActiveAlarm> out;
  const auto it = stations_.find(station);
  if (it == stations_.end()) return out;
  for (const Condition& c : conditions())
    if (const auto a = it->second.open.find(u(c.code)); a != it->second.open.end()) out.push_back(a->second);
  return out;
}

std::vector<QString> AlarmEngine::alarmedStations() const {
  std::vector<QString> out;
  for (const auto& [name, st] : stations_)
    if (!st.open.empty()) out.push_back(name);
  return out;
}

}  // namespace xl::engine::alarms
