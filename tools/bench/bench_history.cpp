// How responsive the console stays during a history reading of five years (1825 days, 1826
// requests at 150 ms, about 4.6 minutes).
//
// The whole console runs on the program's scheduler against a simulated controller on an
// in-process line at wire speed. While the reading goes on, a 5 ms heartbeat timer asks the
// grid to repaint; the bench reports the longest gap between two heartbeats served (how long
// the GUI thread was busy with anything else) and between two paints of the grid.
//
//   bench_history [DAYS]   (default 1825; run with QT_QPA_PLATFORM=offscreen or on a display)

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QEvent>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdio>

#include "core/app_state.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/startup.h"
#include "core/station_store.h"
#include "monitoring/frm_hlstory_monitoring.h"
#include "platform/dialogs.h"
#include "platform/flex_grid.h"
#include "platform/qt_scheduler.h"
#include "platform/sim_bus.h"
#include "shell/frm_mdi.h"
#include "tools/sim/bus.h"
#include "ui/registry.h"

using namespace xl;

namespace {

// The longest interval between two calls of note().
struct Gap {
  QElapsedTimer clock;
  qint64 last = -1;
  qint64 longest = 0;
  long count = 0;
  void note() {
    const qint64 now = clock.nsecsElapsed();
    if (last >= 0 && now - last > longest) longest = now - last;
    last = now;
    ++count;
  }
};

class PaintWatch : public QObject {
 public:
  explicit PaintWatch(Gap& gap) : gap_(gap) {}
  bool eventFilter(QObject*, QEvent* e) override {
    if (e->type() == QEvent::Paint) gap_.note();
    return false;
  }

 private:
  Gap& gap_;
};

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  const int days = argc > 1 ? std::atoi(argv[1]) : 1825;
  QTemporaryDir dir;
  if (!dir.isValid()) return 1;
  core::setProgramDir(dir.path());

  platform::QtScheduler scheduler;
  platform::setScheduler(&scheduler);
  platform::SimBusDriver driver;
  platform::setPortDriver(&driver);
  sim::Bus bus(driver);
  bus.add("COM3", 1);
  platform::QtDialogs dialogs;
  platform::setDialogs(&dialogs);

  const QString ini = dir.path() + "/MSCON.DLL";
  core::writeIniFile(core::keys::kPorts, core::keys::kPortCount, "1", ini);
  core::writeIniFile(core::keys::kPorts, QString::number(1), "COM3,9600", ini);
  core::createStore();
  core::Station s;
  s.StationName = QStringLiteral("一号站");
  s.Port = "COM3,9600";
  s.DeviceID = "1";
  core::insertStation(s);

  core::Main([] {
    auto& mdi = shell::FrmMDI::instance();
    mdi.show();
    mdi.MDIForm_Load();
  });

  Gap beats, paints;
  beats.clock.start();
  paints.clock.start();
  bool measuring = false;
  QTimer heartbeat;
  heartbeat.setTimerType(Qt::PreciseTimer);
  heartbeat.setInterval(5);

  auto& history = monitoring::FrmHlstoryMonitoring::instance();
  auto* grid = history.findChild<platform::FlexGrid*>("VsFList1");
  PaintWatch watch(paints);
  grid->viewport()->installEventFilter(&watch);
  QObject::connect(&heartbeat, &QTimer::timeout, [&] {
    if (!measuring) return;
    beats.note();
    grid->viewport()->update();
  });

  QElapsedTimer run;
  // After the discovery: the station, then the reading.
  QTimer::singleShot(9000, [&] {
    shell::FrmMDI::instance().action("HlstoryMonitoring")->trigger();
    auto* station = history.findChild<QComboBox*>("Combo1");
    if (station->count() == 0) {
      std::printf("no station answered the discovery\n");
      app.exit(1);
      return;
    }
    station->setCurrentIndex(0);
    emit station->activated(0);
  });
  QTimer::singleShot(10000, [&] {
    history.findChild<QComboBox*>("Combo2")->setEditText(QString::number(days));
    measuring = true;
    beats.last = paints.last = -1;
    run.start();
    heartbeat.start();
    history.findChild<QPushButton*>("Command5")->click();
    std::printf("reading %d days from %s\n", days, qPrintable(history.findChild<QComboBox*>("Combo1")->currentText()));
  });
  QTimer done;
  done.setInterval(50);
  QObject::connect(&done, &QTimer::timeout, [&] {
    if (!measuring || history.Timer2.enabled()) return;
    measuring = false;
    int filled = 0;
    for (int r = 1; r < grid->rows(); ++r) filled += grid->textMatrix(r, 0) == "-1";
    std::printf("days %d: %.1f s, grid %d rows, %d filled\n", days, run.elapsed() / 1000.0, grid->rows(), filled);
    std::printf("longest gap between heartbeats (5 ms): %.1f ms over %ld beats\n", beats.longest / 1e6, beats.count);
    std::printf("longest gap between paints of the grid: %.1f ms over %ld paints\n", paints.longest / 1e6,
                paints.count);
    // exit, not quit: quit would close the main window, which asks before it ends.
    QCoreApplication::exit(0);
  });
  done.start();
  const int status = app.exec();
  ui::discardAll();
  return status;
}
