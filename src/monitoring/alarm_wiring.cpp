#include "monitoring/alarm_wiring.h"

namespace xl::monitoring {

int wireAlarms(engine::alarms::AlarmEngine& alarms, publish::Publisher& publisher,
               engine::alarms::CommandRunner* command) {
  publish::Publisher::AlarmSource source;
  source.open = [&alarms](const QString& station) {
    std::vector<publish::AlarmItem> items;
    for (const auto& a : alarms.activeOf(station)) items.push_back({a.code, a.text, a.since});
    return items;
  };
  source.stations = [&alarms] {
    const auto names = alarms.alarmedStations();
    return QStringList(names.begin(), names.end());
  };
  for (const auto& c : engine::alarms::conditions())
    source.codes.emplace_back(QString::fromUtf8(c.code.data(), static_cast<qsizetype>(c.code.size())),
                              QString::fromUtf8(c.text.data(), static_cast<qsizetype>(c.text.size())));
  publisher.setAlarmSource(std::move(source));
  return alarms.addEventListener([&publisher, command](const engine::alarms::AlarmEvent& e) {
    if (command) command->enqueue(e);
    publisher.alarmEvent(e.station, e.code, e.text, e.raised, e.time);
  });
}

}  // namespace xl::monitoring
