// The console's processor time and memory with 100 stations published to a broker, with the
// publisher off and on.
//
// 1. The whole console in virtual time against 100 simulated controllers on one line (the scan
//    asks one a second, so a round of real-time and load mode passes takes about 200 s), for
//    SIMULATED seconds: processor time of the whole process (every thread, the client's
//    included) per simulated second, and resident memory at the end. Run once with the
//    publisher off and once with it on, each in a process of its own.
// 2. The publisher alone at full speed: N real-time replies of the 100 stations handed to it
//    as fast as it takes them, until the broker has acknowledged all; processor time per
//    published reading.
//
// A mosquitto broker is started on a free loopback port for the "on" runs.
//
//   bench_publish off|on [SIMULATED_SECONDS]   (default 1200)
//   bench_publish burst [READINGS]             (default 100000)

#include <sys/resource.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/app_state.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/startup.h"
#include "core/station_store.h"
#include "monitoring/frm_global_monitoring.h"
#include "platform/dialogs.h"
#include "platform/sim_bus.h"
#include "publish/publisher.h"
#include "shell/frm_mdi.h"
#include "tests/publish/broker.h"
#include "tools/sim/bus.h"
#include "ui/registry.h"

using namespace xl;

namespace {

double cpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

long residentKb() {
  QFile f("/proc/self/statm");
  if (!f.open(QIODevice::ReadOnly)) return -1;
  const QList<QByteArray> parts = f.readAll().split(' ');
  return parts.size() > 1 ? parts[1].toLong() * (sysconf(_SC_PAGESIZE) / 1024) : -1;
}

void publishTo(int port) {
  publish::MqttSettings s;
  s.enabled = true;
  s.host = "127.0.0.1";
  s.port = port;
  s.clientId = "bench";
  s.topicPrefix = "xinglan";
  s.discoveryPrefix = "homeassistant";
  publish::writeMqttSettings(s);
}

class QuietDialogs : public platform::Dialogs {
 public:
  int msgBox(const QString&, int, const QString&) override { return platform::kYes; }
  QString openFileName(const QString&, const QString&) override { return {}; }
  QString saveFileName(const QString&, const QString&) override { return {}; }
  QString chooseFolder(const QString&) override { return {}; }
};

int console(bool on, int seconds) {
  QTemporaryDir dir;
  core::setProgramDir(dir.path());
  platform::VirtualClock clock;
  platform::setScheduler(&clock);
  platform::SimBusDriver driver;
  platform::setPortDriver(&driver);
  QuietDialogs dialogs;
  platform::setDialogs(&dialogs);
  core::setEndProcess([] {});
  sim::Bus bus(driver);
  const QString ini = dir.path() + "/MSCON.DLL";
  core::writeIniFile(core::keys::kPorts, core::keys::kPortCount, "1", ini);
  core::writeIniFile(core::keys::kPorts, QString::number(1), "COM3,9600", ini);
  core::setStationStorePath({});
  core::Main([] {});  // configPath and the store
  if (!core::checkDatabase()) core::createStore();
  for (int i = 1; i <= 100; ++i) {
    core::Station st;
    st.StationName = QStringLiteral("站点%1").arg(i, 3, 10, QChar(u'0'));
    st.Port = "COM3,9600";
    st.DeviceID = QString::number(i);
    core::insertStation(st);
    sim::StationOptions o;
    o.address = i;
    bus.add("COM3", 9600, o);
  }
  std::unique_ptr<testing::Broker> broker;
  publish::Publisher publisher;
  publisher.setTimeSource([&clock] { return QDateTime(QDate(2026, 5, 1), QTime(0, 0)).addMSecs(platform::toMs(clock.now())); });
  monitoring::FrmGlobalMonitoring::setReplyListener(
      {[&](const QString& n, const QString& id, const QByteArray& r) { publisher.deviceInfoReply(n, id, r); },
       [&](const QString& n, const QString& id, const QByteArray& r) { publisher.realTimeReply(n, id, r); },
       {}});
  if (on) {
    broker = std::make_unique<testing::Broker>();
    publishTo(broker->port());
  }
  shell::FrmMDI::instance().MDIForm_Load();
  monitoring::FrmGlobalMonitoring::instance().setReadInterval(1);
  publisher.applyFromFile();

  const double before = cpuSeconds();
  QElapsedTimer wall;
  wall.start();
  // Virtual time in steps of 100 ms; Qt's events (the client's results) between the steps,
  // and a little real time so the client's thread can do its share as it would in the program.
  for (int step = 0; step < seconds * 10; ++step) {
    clock.advance(std::chrono::milliseconds(100));
    QCoreApplication::processEvents();
    if (on && step % 10 == 0) QThread::usleep(500);
  }
  for (int i = 0; on && i < 200 && publisher.queued() > 0; ++i) {
    QCoreApplication::processEvents();
    QThread::msleep(10);
  }
  const double cpu = cpuSeconds() - before;
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  std::printf("publisher %-3s  %5d simulated s  cpu %.3f s  (%.4f %% of one core at scan pace)  rss %ld kB  max rss %ld kB  queued %zu dropped %llu connected %d\n",
              on ? "on" : "off", seconds, cpu, 100.0 * cpu / seconds, residentKb(), u.ru_maxrss, publisher.queued(),
              static_cast<unsigned long long>(publisher.dropped()), publisher.connected() ? 1 : 0);
  monitoring::FrmGlobalMonitoring::setReplyListener({});
  ui::discardAll();
  return 0;
}

int burst(int readings) {
  QTemporaryDir dir;
  core::setProgramDir(dir.path());
  core::configPath = dir.path() + "/MSCON.DLL";
  platform::VirtualClock clock;
  platform::setScheduler(&clock);
  testing::Broker broker;
  publishTo(broker.port());
  publish::Publisher publisher;
  publisher.setPortLookup([](const QString&) { return QStringLiteral("COM3,9600"); });
  publisher.applyFromFile();
  for (int i = 0; i < 500 && !publisher.connected(); ++i) {
    QCoreApplication::processEvents();
    QThread::msleep(10);
  }
  if (!publisher.connected()) return 1;
  QByteArray reply(73, '\0');
  reply[1] = 3;
  reply[2] = 70;
  const double before = cpuSeconds();
  QElapsedTimer wall;
  wall.start();
  for (int i = 0; i < readings; ++i) {
    reply[38] = static_cast<char>(i);
    publisher.realTimeReply(QStringLiteral("站点%1").arg(i % 100), QString::number(i % 100 + 1), reply);
    if (i % 200 == 0) QCoreApplication::processEvents();
    while (publisher.queued() > 5000) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
  }
  while (publisher.queued() > 0) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
  const double cpu = cpuSeconds() - before;
  std::printf("burst: %d readings acknowledged in %.2f s wall, cpu %.2f s (%.1f us a reading, client thread included), rss %ld kB\n",
              readings, wall.elapsed() / 1000.0, cpu, 1e6 * cpu / readings, residentKb());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  const char* mode = argc > 1 ? argv[1] : "on";
  if (std::strcmp(mode, "burst") == 0) return burst(argc > 2 ? std::atoi(argv[2]) : 100000);
  return console(std::strcmp(mode, "on") == 0, argc > 2 ? std::atoi(argv[2]) : 1200);
}
