// The recorder's share of the processor: its screen with 100 marked stations, each holding a
// stored real-time reply, and a save cycle every second, run in virtual time. The processor time
// the recorder's timers take is divided by the simulated time they cover.
//
// A save cycle every second leaves the pass three rows (one row per 300 ms) before the next
// cycle starts it again at row 1; each of those rows flushes and so looks at the files of all
// 100 marked stations. A second run with a cycle every 31 s lets each pass reach all 100 rows.
//
//   bench_recorder_cpu [SIMULATED_SECONDS] [ROOT_PARENT]   (default 300 s, the temporary folder)

#include <QApplication>
#include <QDir>
#include <QTemporaryDir>
#include <cstdio>
#include <ctime>

#include "core/app_state.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/startup.h"
#include "monitoring/frm_maintenance_record.h"
#include "platform/scheduler.h"
#include "ui/registry.h"

using namespace xl;

namespace {

double cpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

QByteArray realTimeReply(int address) {
  QByteArray r(73, '\0');
  r[0] = static_cast<char>(address);
  r[1] = 3;
  r[2] = 70;
  r[4] = 90;    // SOC
  r[6] = 0x82;  // battery 13.0 V
  r[18] = static_cast<char>(0xC8);  // array 20.0 V
  r[68] = 2;    // MPPT
  return r;
}

struct Figures {
  double cpu = 0;
  double simulated = 0;
  long lines = 0;
};

bool run(const QString& parent, int stations, const QString& minutes, int seconds, Figures& out) {
  QTemporaryDir dir(parent + "/bench_recorder_cpu_XXXXXX");
  if (!dir.isValid()) return false;
  platform::VirtualClock clock;
  platform::setScheduler(&clock);
  core::setProgramDir(dir.path());
  core::configPath = core::pathBeside(dir.path(), QStringLiteral("MSCON.DLL"));
  const QString root = dir.path() + "/data";
  QDir().mkpath(root);
  const QString section = core::keys::kRecorder;
  core::writeIni(section, core::keys::kAutoSaving, QStringLiteral("1"));
  core::writeIni(section, core::keys::kFilePath, root);
  core::writeIni(section, core::keys::kSaveIntervalH, QStringLiteral("0"));
  core::writeIni(section, core::keys::kSaveIntervalM, minutes);

  auto& recorder = monitoring::FrmMaintenanceRecord::instance();
  auto* grid = recorder.findChild<platform::FlexGrid*>(QStringLiteral("VSFlexGrid1"));
  for (int i = 1; i <= stations; ++i) {
    const QString name = QStringLiteral("站点%1").arg(i, 3, 10, QChar(u'0'));
    core::writeIni(section, name, QStringLiteral("-1"));
    recorder.appendStation(name, QString::number(i));
    grid->setCellData(i, 0, realTimeReply(i));
  }
  clock.advance(std::chrono::milliseconds(1500));  // the settings are applied

  const double before = cpuSeconds();
  clock.advance(std::chrono::seconds(seconds));
  out.cpu = cpuSeconds() - before;
  out.simulated = seconds;
  out.lines = 0;
  for (const QFileInfo& folder : QDir(root).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot))
    for (const QFileInfo& file : QDir(folder.filePath()).entryInfoList({QStringLiteral("*.csv")}, QDir::Files)) {
      QFile f(file.filePath());
      if (f.open(QIODevice::ReadOnly)) out.lines += f.readAll().count('\n') - 1;
    }
  ui::discardAll();
  platform::setScheduler(nullptr);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  const int seconds = argc > 1 ? std::max(10, std::atoi(argv[1])) : 300;
  const QString parent = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QDir::tempPath();
  std::printf("%-34s %10s %10s %12s %10s\n", "run", "simulated", "cpu s", "share", "lines");
  // Half a minute is 30 s of save interval: a cycle every 31 s.
  const struct {
    const char* label;
    const char* minutes;
  } runs[] = {{"100 marked, a cycle every 1 s", "0"}, {"100 marked, a cycle every 31 s", "0.5"}};
  for (const auto& r : runs) {
    Figures f;
    if (!run(parent, 100, QString::fromLatin1(r.minutes), seconds, f)) return 1;
    std::printf("%-34s %9.0fs %10.3f %11.3f%% %10ld\n", r.label, f.simulated, f.cpu, 100.0 * f.cpu / f.simulated,
                f.lines);
  }
  return 0;
}
