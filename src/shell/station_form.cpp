#include "shell/station_form.h"

#include "monitoring/recorder_settings.h"
#include "shell/port_list.h"

namespace xl::shell {

QString missingStationField(StationAction action, const core::Station& s) {
  if (s.StationName.isEmpty())
    return action == StationAction::Add ? QStringLiteral("必须填写站点名称") : QStringLiteral("必须填写站点名");
  if (s.DeviceID.isEmpty()) return QStringLiteral("必须填写设备ID");
  if (s.Port.isEmpty()) return QStringLiteral("必须填写端口");
  return {};
}

QString recorderKeyRefusal(const QString& name) {
  if (!monitoring::isRecorderKeyName(name)) return {};
  return QStringLiteral("站点名称不能与设置项同名：") + name;
}

QString sameDeviceRefusal(const core::Station& other) {
  return QStringLiteral("%1 上已有设备ID为 %2 的站点：%3")
      .arg(portOfEntry(other.Port), other.DeviceID, other.StationName);
}

QString stationAddedLine(const QString& name) { return QStringLiteral("添加 ") + name + QStringLiteral(" 站点成功"); }
QString stationUpdatedLine(const QString& name) { return QStringLiteral("修改站点 ") + name + QStringLiteral(" 成功"); }
QString stationDeletedLine(const QString& name) { return QStringLiteral("删除站点 ") + name + QStringLiteral(" 成功"); }

QString emptySiteHint(int ports, int stations) {
  if (ports <= 0)
    return QStringLiteral("还没有通讯端口和站点：请先用“通讯设置”菜单的“端口配置”添加端口，再用“添加站点”添加站点");
  if (stations <= 0) return QStringLiteral("还没有站点：请用“通讯设置”菜单的“添加站点”添加站点");
  return {};
}

}  // namespace xl::shell
