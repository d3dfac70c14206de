#include "shell/port_list.h"

#include <QFile>
#include <exception>

#include "core/app_state.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "link/serial_session.h"
#include "platform/gbk.h"
#include "platform/serial_port.h"

namespace xl::shell {

int findPortEntry(const QStringList& entries, const QString& port) {
  const QString needle = port + QLatin1Char(',');
  for (int i = 0; i < entries.size(); ++i)
    if (entries[i].contains(needle, Qt::CaseInsensitive)) return i;
  return -1;
}

QString portEntry(const QString& port, const QString& baud) {
  if (port.isEmpty() || baud.isEmpty()) return {};
  return port + QLatin1Char(',') + baud;
}

QString portOfEntry(const QString& entry) { return entry.section(QLatin1Char(','), 0, 0); }

QString removalQuestion(const QString& entry, int stations) {
  if (stations <= 0) return {};
  return QStringLiteral("%1 上还有 %2 个站点，删除后这些站点将不再显示。确定删除?").arg(portOfEntry(entry)).arg(stations);
}

namespace {

// One statement whose failure is ignored: the probe goes on with the next one.
template <class Fn>
void ignoreFailure(Fn&& fn) {
  try {
    fn();
  } catch (const std::exception&) {
  }
}

}  // namespace

std::vector<int> probePorts(platform::SerialControl& probe, int first, int last) {
  std::vector<int> found;
  for (int i = first; i <= last; ++i) {
    ignoreFailure([&] {
      if (probe.portOpen()) probe.setPortOpen(false);
    });
    // The receiving setup of the control. The two buffer counts can only be cleared on an
    // open port; on a closed one they fail and are passed over, as every step here may be.
    ignoreFailure([&] { probe.setInputMode(1); });
    ignoreFailure([&] { probe.setInputLen(0); });
    ignoreFailure([&] { probe.setInBufferSize(1024); });
    ignoreFailure([&] { probe.setOutBufferSize(512); });
    ignoreFailure([&] { probe.setSThreshold(0); });
    ignoreFailure([&] { probe.setRThreshold(1); });
    ignoreFailure([&] { probe.setInBufferCount(0); });
    ignoreFailure([&] { probe.setOutBufferCount(0); });
    bool exists = true;
    try {
      probe.setCommPort(i);
      probe.setPortOpen(true);
      probe.setPortOpen(false);
    } catch (const std::exception&) {
      exists = false;
    }
    if (exists) found.push_back(i);
  }
  ignoreFailure([&] {
    if (probe.portOpen()) probe.setPortOpen(false);
  });
  return found;
}

std::string gatewayOfPort(const std::string& name) {
  return core::readIni(core::keys::kNetworkPorts, QString::fromStdString(name)).toStdString();
}

std::map<int, QString> gatewayPorts() {
  QFile file(core::configPath);
  const core::IniDocument doc = core::IniDocument::parse(file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray());
  std::map<int, QString> found;
  for (int n = 1; n <= 255; ++n) {
    const QString value = core::readIniValue(doc, core::keys::kNetworkPorts, QString::fromStdString(platform::portName(n)));
    if (!value.isEmpty()) found[n] = value;
  }
  return found;
}

QString gatewayKey(const QString& port) {
  const int n = link::getCommPort(port.toStdString() + ",");
  return n >= 1 && n <= 255 ? QString::fromStdString(platform::portName(n)) : QString();
}

}  // namespace xl::shell
