// Prepares a console's program directory for the demo: one port COM3 at 9600 baud in the port
// list and three stations on it (addresses 1 to 3), each only when it is not there yet.
//
// Usage: xinglan-seed-demo PROGRAM_DIR

#include <QCoreApplication>
#include <QDir>
#include <cstdio>

#include "core/app_state.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/startup.h"
#include "core/station_store.h"

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  if (argc != 2) {
    std::fprintf(stderr, "usage: xinglan-seed-demo PROGRAM_DIR\n");
    return 2;
  }
  const QString dir = QDir(QString::fromLocal8Bit(argv[1])).absolutePath();
  xl::core::setProgramDir(dir);
  xl::core::configPath = xl::core::pathBeside(dir, QStringLiteral("MSCON.DLL"));
  const QString port = QStringLiteral("COM3,9600");

  if (xl::core::readIniInt(xl::core::keys::kPorts, xl::core::keys::kPortCount) == 0) {
    xl::core::writeIni(xl::core::keys::kPorts, xl::core::keys::kPortCount, QStringLiteral("1"));
    xl::core::writeIni(xl::core::keys::kPorts, QString::number(1), port);
  }

  if (!xl::core::checkDatabase()) xl::core::createStore();
  const QString names[] = {QStringLiteral("东山一号站"), QStringLiteral("东山二号站"), QStringLiteral("西岭三号站")};
  for (int i = 0; i < 3; ++i) {
    if (xl::core::findStation(names[i])) continue;
    xl::core::Station s;
    s.StationName = names[i];
    s.Port = port;
    s.DeviceID = QString::number(i + 1);
    s.ArraysType = QStringLiteral("c-Si");
    s.PeakPower = QStringLiteral("400");
    s.Voc = QStringLiteral("44");
    s.Vmp = QStringLiteral("36");
    s.BatteryType = QStringLiteral("Gel");
    s.Capacity = QStringLiteral("200");
    s.Voltage = QStringLiteral("24");
    s.LoadType = QStringLiteral("DC");
    s.Power = QStringLiteral("60");
    s.Remarks = QStringLiteral("演示站点");
    if (!xl::core::insertStation(s)) {
      std::fprintf(stderr, "could not add a demo station to %s\n", qPrintable(dir));
      return 1;
    }
  }
  return 0;
}
