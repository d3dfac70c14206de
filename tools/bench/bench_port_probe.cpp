// The probe of the port dialog on this machine: ports 1 to 100 opened and closed through the
// real serial driver, as the dialog's load does it. Run by hand:
//   bench_port_probe [PROGRAM_DIR] [ROUNDS]
// PROGRAM_DIR is where ports/COMn links are looked for (default: a fresh empty folder, so every
// number goes to /dev/ttyS{n-1}). Prints the ports found and the time of each round.

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <chrono>
#include <cstdio>

#include "platform/port_names.h"
#include "platform/qt_scheduler.h"
#include "platform/qt_serial_port.h"
#include "shell/port_list.h"

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  QTemporaryDir empty;
  const std::string dir = argc > 1 ? argv[1] : empty.path().toStdString();
  const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;

  xl::platform::QtScheduler scheduler;
  xl::platform::setScheduler(&scheduler);
  xl::platform::QtPortDriver driver(
      [&dir](const std::string& name) { return xl::platform::resolvePortPath(dir, name); });
  xl::platform::setPortDriver(&driver);

  xl::platform::SerialControl probe("FrmPortConfiguration.MSComm1");
  for (int r = 0; r < rounds; ++r) {
    const auto t0 = std::chrono::steady_clock::now();
    const std::vector<int> found = xl::shell::probePorts(probe, 1, 100);
    const auto t1 = std::chrono::steady_clock::now();
    std::printf("round %d: %.2f ms, found:", r + 1, std::chrono::duration<double, std::milli>(t1 - t0).count());
    for (int p : found) std::printf(" COM%d", p);
    std::printf("\n");
  }
  return 0;
}
