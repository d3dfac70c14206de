// The scan of a big site, in virtual time: 100 stations on 4 simulated lines at 9600 baud,
// once at the one-request-a-second pace and once with the fast scan (Scan / Per Line = 1).
// Reports the time from start-up to the last row filled, the oldest age a row's real-time
// reading reaches in steady state, and the console's CPU per second of (virtual) run time;
// each pace without and with the alarms (every tenth station with a fault bit set).
//
//   bench_scan [steady-seconds]     (run by hand; QT_QPA_PLATFORM=offscreen without a display)
//   bench_scan --seed DIR [fast]    writes the same site for the real console into DIR (settings,
//                                   store, and bus.conf for xinglan-sim): see scan_cpu.sh

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <map>
#include <optional>
#include <string>

#include "core/app_state.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/startup.h"
#include "core/station_store.h"
#include "engine/alarms/alarm_engine.h"
#include "monitoring/frm_global_monitoring.h"
#include "platform/dialogs.h"
#include "platform/flex_grid.h"
#include "platform/sim_bus.h"
#include "shell/frm_mdi.h"
#include "tools/sim/bus.h"
#include "ui/registry.h"

using namespace xl;

namespace {

class NoDialogs : public platform::Dialogs {
 public:
  int msgBox(const QString&, int, const QString&) override { return platform::kYes; }
  QString openFileName(const QString&, const QString&) override { return {}; }
  QString saveFileName(const QString&, const QString&) override { return {}; }
  QString chooseFolder(const QString&) override { return {}; }
};

double cpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

struct Result {
  double lastFilledS = -1;
  double oldestAgeS = 0;
  double cpuPercent = 0;
};

Result run(bool perLine, int steadySeconds, bool alarms) {
  constexpr int kLines = 4, kPerLine = 25;
  QTemporaryDir dir;
  core::setProgramDir(dir.path());
  core::setStationStorePath({});
  platform::VirtualClock clock;
  platform::SimBusDriver driver;
  NoDialogs dialogs;
  platform::setScheduler(&clock);
  platform::setPortDriver(&driver);
  platform::setDialogs(&dialogs);
  core::setEndProcess([] {});

  const QString ini = dir.path() + "/MSCON.DLL";
  core::writeIniFile(core::keys::kPorts, core::keys::kPortCount, QString::number(kLines), ini);
  if (perLine) core::writeIniFile(core::keys::kScan, core::keys::kPerLine, "1", ini);
  core::createStore();
  sim::Bus bus{driver};
  for (int l = 0; l < kLines; ++l) {
    const QString port = QStringLiteral("COM%1,9600").arg(l + 3);
    core::writeIniFile(core::keys::kPorts, QString::number(l + 1), port, ini);
    for (int a = 1; a <= kPerLine; ++a) {
      core::Station s;
      s.StationName = QStringLiteral("站%1-%2").arg(l + 3).arg(a);
      s.Port = port;
      s.DeviceID = QString::number(a);
      core::insertStation(s);
      sim::StationOptions o;
      o.live = false;
      o.address = static_cast<std::uint8_t>(a);
      sim::Controller& c = bus.add("COM" + std::to_string(l + 3), 9600, o);
      if (a % 10 == 0) c.state().readings.faultWord = sim::fault::kOverDischarge;
    }
  }

  // The alarms as the program wires them, made before the main window so that its status bar
  // and tree follow them too.
  std::optional<engine::alarms::AlarmEngine> engine;
  if (alarms) {
    engine.emplace(dir.path() + "/XLALARM.DB");
    monitoring::FrmGlobalMonitoring::setReplyListener(
        {{},
         [&](const QString& n, const QString& id, const QByteArray& r) { engine->realTimeReply(n, id, r); },
         [&](const QString& n, const QString& id) { engine->realTimeMissed(n, id); }});
  }
  core::Main([] { shell::FrmMDI::instance().MDIForm_Load(); });
  auto* table = monitoring::FrmGlobalMonitoring::instance().findChild<platform::FlexGrid*>("VsFList1");

  Result result;
  // Start-up to the last row filled with a real-time reading.
  while (platform::toMs(clock.now()) < 600'000) {
    clock.advance(platform::ms(100));
    bool all = table->rows() == kLines * kPerLine + 1;
    for (int r = 1; all && r < table->rows(); ++r) all = table->cellData(r, 0).toByteArray().size() == 73;
    if (all) {
      result.lastFilledS = static_cast<double>(platform::toMs(clock.now())) / 1000.0;
      break;
    }
  }
  // Settle, then run the steady window and time the console's work.
  clock.advance(platform::ms(300'000));
  const std::int64_t from = clock.now().count();
  const double cpu0 = cpuSeconds();
  clock.advance(platform::ms(steadySeconds * 1000LL));
  const double cpu = cpuSeconds() - cpu0;
  result.cpuPercent = 100.0 * cpu / steadySeconds;

  // The oldest age of a row: the longest time between two real-time replies of a station, or
  // from its last to the end, over the steady window.
  for (int l = 0; l < kLines; ++l) {
    std::map<int, std::int64_t> last;
    std::int64_t worst = 0;
    for (const auto& f : driver.line("COM" + std::to_string(l + 3))->wire()) {
      if (f.fromMaster || f.bytes.size() != 75) continue;
      const std::int64_t t = f.end.count();
      auto it = last.find(f.bytes[0]);
      if (it != last.end() && t >= from) worst = std::max(worst, t - std::max(it->second, from));
      last[f.bytes[0]] = t;
    }
    for (const auto& [a, t] : last) worst = std::max(worst, clock.now().count() - t);
    result.oldestAgeS = std::max(result.oldestAgeS, static_cast<double>(worst) / 1e6);
  }

  monitoring::FrmGlobalMonitoring::setReplyListener({});
  ui::discardAll();
  platform::setDialogs(nullptr);
  core::setProgramDir({});
  core::configPath.clear();
  core::appStarted.clear();
  return result;
}

}  // namespace

// The site for the real programs: settings and store in `dir`, the simulator's bus.conf.
int seed(const QString& dir, bool perLine) {
  core::setProgramDir(dir);
  core::setStationStorePath({});
  const QString ini = dir + "/MSCON.DLL";
  core::writeIniFile(core::keys::kPorts, core::keys::kPortCount, "4", ini);
  core::writeIniFile(core::keys::kScan, core::keys::kPerLine, perLine ? "1" : "0", ini);
  if (!core::checkDatabase()) core::createStore();
  QFile bus(dir + "/bus.conf");
  if (!bus.open(QIODevice::WriteOnly | QIODevice::Truncate)) return 1;
  for (int l = 0; l < 4; ++l) {
    const QString port = QStringLiteral("COM%1,9600").arg(l + 3);
    core::writeIniFile(core::keys::kPorts, QString::number(l + 1), port, ini);
    for (int a = 1; a <= 25; ++a) {
      core::Station s;
      s.StationName = QStringLiteral("站%1-%2").arg(l + 3).arg(a);
      s.Port = port;
      s.DeviceID = QString::number(a);
      core::insertStation(s);
      bus.write(QStringLiteral("[station]\nport = %1\naddress = %2\nhistory = 0\n\n").arg(port).arg(a).toUtf8());
    }
  }
  return 0;
}

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  if (argc >= 3 && std::string(argv[1]) == "--seed")
    return seed(QString::fromLocal8Bit(argv[2]), argc >= 4 && std::string(argv[3]) == "fast");
  const int steady = argc > 1 ? std::max(60, std::atoi(argv[1])) : 1200;
  std::printf("100 stations on 4 lines at 9600 baud, read interval 10 s, steady window %d s\n", steady);
  for (bool perLine : {false, true}) {
    for (bool alarms : {false, true}) {
      const Result r = run(perLine, steady, alarms);
      std::printf("%-22s alarms %-3s last row filled %7.1f s   oldest row %6.1f s   CPU %.3f %% of a core\n",
                  perLine ? "fast scan (per line)" : "one request a second", alarms ? "on" : "off", r.lastFilledS,
                  r.oldestAgeS, r.cpuPercent);
    }
  }
  return 0;
}
