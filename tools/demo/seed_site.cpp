// Writes a site directory for the agent (`xinglan --headless --dir DIR`) and the matching bus
// description for xinglan-sim, in the program's own formats: the settings file MSCON.DLL (port
// list, read interval, recorder, marked stations, fast scan, broker) and the station store
// MSCONS.DLL. Stations are named 站<port number>-<address>, LINES ports from COM3 up with
// PER_LINE stations each at addresses 1 up, all at 9600 baud.
//
// Usage: xinglan-seed-site DIR [options]   (--help lists them)
// An existing store keeps its stations; stations of the same name are not added twice.

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <cstdio>

#include "core/app_state.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/station_store.h"

namespace {

int fail(const QString& text) {
  std::fprintf(stderr, "xinglan-seed-site: %s\n", qPrintable(text));
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  QCommandLineParser cli;
  cli.setApplicationDescription(QStringLiteral("Writes a site directory for xinglan --headless and a bus for xinglan-sim."));
  cli.addHelpOption();
  cli.addPositionalArgument(QStringLiteral("DIR"), QStringLiteral("the site directory (made when missing)"));
  const QCommandLineOption lines(QStringLiteral("lines"), QStringLiteral("ports COM3, COM4, ... (default 1)"),
                                 QStringLiteral("N"), QStringLiteral("1"));
  const QCommandLineOption perLine(QStringLiteral("per-line"), QStringLiteral("stations on each port (default 3)"),
                                   QStringLiteral("N"), QStringLiteral("3"));
  const QCommandLineOption mark(QStringLiteral("mark"), QStringLiteral("a station the recorder saves (repeatable)"),
                                QStringLiteral("NAME"));
  const QCommandLineOption records(QStringLiteral("records"),
                                   QStringLiteral("the recorder's root folder as the agent sees it (default: the site directory)"),
                                   QStringLiteral("PATH"));
  const QCommandLineOption readInterval(QStringLiteral("read-interval"),
                                        QStringLiteral("seconds of rest between scan rounds (default 10)"),
                                        QStringLiteral("S"), QStringLiteral("10"));
  const QCommandLineOption saveMinutes(QStringLiteral("save-minutes"),
                                       QStringLiteral("minutes between save cycles; 0 saves every second (default 1)"),
                                       QStringLiteral("M"), QStringLiteral("1"));
  const QCommandLineOption fast(QStringLiteral("fast"), QStringLiteral("the fast scan: every line polled side by side"));
  const QCommandLineOption broker(QStringLiteral("broker"), QStringLiteral("publish to this MQTT broker"),
                                  QStringLiteral("HOST:PORT"));
  const QCommandLineOption clientId(QStringLiteral("client-id"), QStringLiteral("the publisher's client id"),
                                    QStringLiteral("ID"));
  const QCommandLineOption bus(QStringLiteral("bus"), QStringLiteral("write the simulator's bus description here"),
                               QStringLiteral("FILE"));
  cli.addOptions({lines, perLine, mark, records, readInterval, saveMinutes, fast, broker, clientId, bus});
  cli.process(app);
  if (cli.positionalArguments().size() != 1) return fail(QStringLiteral("one site directory expected"));

  bool ok1 = false, ok2 = false;
  const int lineCount = cli.value(lines).toInt(&ok1);
  const int stationsPerLine = cli.value(perLine).toInt(&ok2);
  if (!ok1 || !ok2 || lineCount < 1 || lineCount > 97 || stationsPerLine < 1 || stationsPerLine > 247)
    return fail(QStringLiteral("--lines takes 1 to 97, --per-line 1 to 247"));

  const QString dir = QDir(cli.positionalArguments().first()).absolutePath();
  if (!QDir().mkpath(dir)) return fail(QStringLiteral("cannot make ") + dir);
  xl::core::setProgramDir(dir);
  xl::core::setStationStorePath({});
  const QString ini = QDir(dir).filePath(QStringLiteral("MSCON.DLL"));
  bool written = true;
  const auto set = [&](const QString& section, const QString& key, const QString& value) {
    written = xl::core::writeIniFile(section, key, value, ini) && written;
  };

  set(xl::core::keys::kPorts, xl::core::keys::kPortCount, QString::number(lineCount));
  const QString recorder = xl::core::keys::kRecorder;
  set(recorder, xl::core::keys::kReadInterval, cli.value(readInterval));
  set(recorder, xl::core::keys::kAutoSaving, QStringLiteral("1"));
  set(recorder, xl::core::keys::kFilePath, cli.isSet(records) ? cli.value(records) : dir);
  set(recorder, xl::core::keys::kSaveIntervalH, QStringLiteral("0"));
  set(recorder, xl::core::keys::kSaveIntervalM, cli.value(saveMinutes));
  for (const QString& name : cli.values(mark)) set(recorder, name, QStringLiteral("-1"));
  set(xl::core::keys::kScan, xl::core::keys::kPerLine, cli.isSet(fast) ? QStringLiteral("1") : QStringLiteral("0"));
  if (cli.isSet(broker)) {
    const QString hostPort = cli.value(broker);
    const qsizetype colon = hostPort.lastIndexOf(u':');
    if (colon <= 0) return fail(QStringLiteral("--broker takes HOST:PORT"));
    set(xl::core::keys::kMqtt, xl::core::keys::kMqttEnabled, QStringLiteral("1"));
    set(xl::core::keys::kMqtt, xl::core::keys::kMqttHost, hostPort.left(colon));
    set(xl::core::keys::kMqtt, xl::core::keys::kMqttPort, hostPort.mid(colon + 1));
    if (cli.isSet(clientId)) set(xl::core::keys::kMqtt, xl::core::keys::kMqttClientId, cli.value(clientId));
  }

  if (!xl::core::checkDatabase() && !xl::core::createStore()) return fail(QStringLiteral("cannot make the station store"));
  QByteArray busText = "# Written by xinglan-seed-site: the stations of its site directory\n";
  for (int l = 0; l < lineCount; ++l) {
    const QString port = QStringLiteral("COM%1,9600").arg(l + 3);
    set(xl::core::keys::kPorts, QString::number(l + 1), port);
    for (int a = 1; a <= stationsPerLine; ++a) {
      xl::core::Station s;
      s.StationName = QStringLiteral("站%1-%2").arg(l + 3).arg(a);
      s.Port = port;
      s.DeviceID = QString::number(a);
      s.Remarks = QStringLiteral("模拟站点");
      if (!xl::core::findStation(s.StationName) && !xl::core::insertStation(s))
        return fail(QStringLiteral("cannot add a station to the store"));
      busText += QStringLiteral("\n[station]\nport = %1\naddress = %2\nhistory = 0\n").arg(port).arg(a).toUtf8();
    }
  }
  if (!written) return fail(QStringLiteral("cannot write ") + ini);

  if (cli.isSet(bus)) {
    QFile f(cli.value(bus));
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(busText) != busText.size())
      return fail(QStringLiteral("cannot write ") + cli.value(bus));
  }
  return 0;
}
