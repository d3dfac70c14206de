#include "app/site_agent.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QSocketNotifier>
#include <QStringList>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "core/app_state.h"
#include "core/message_log.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/startup.h"
#include "core/station_store.h"
#include "engine/recorder.h"
#include "engine/scan.h"
#include "monitoring/alarm_wiring.h"
#include "platform/dialogs.h"
#include "platform/gateway_port.h"
#include "platform/port_names.h"
#include "platform/qt_scheduler.h"
#include "platform/qt_serial_port.h"
#include "publish/publisher.h"
#include "shell/port_list.h"
#include "shell/station_form.h"

namespace xl::app {

namespace {


void writeOut(std::FILE* to, const QString& line) {
  const QByteArray bytes = (line + "\n").toUtf8();
  std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), to);
  std::fflush(to);
}

// Nobody is there to answer: a message is a line of the log, a question is answered "No"
// (or cancel), and no file or folder is ever chosen.
class UnattendedDialogs : public platform::Dialogs {
 public:
  int msgBox(const QString& text, int style, const QString&) override {
    core::appendLog(text);
    switch (style & 0x7) {
      case platform::kYesNo:
      case platform::kYesNoCancel: return platform::kNo;
      case platform::kOkCancel: return platform::kCancel;
      default: return platform::kOk;
    }
  }
  QString openFileName(const QString&, const QString&) override { return {}; }
  QString saveFileName(const QString&, const QString&) override { return {}; }
  QString chooseFolder(const QString&) override { return {}; }
};

// SIGTERM and SIGINT write one byte into a pipe; the event loop reads it and ends the agent in
// order. Nothing else is done inside the signal handler.
int gSignalPipe[2] = {-1, -1};

extern "C" void onStopSignal(int) {
  const int saved = errno;
  const char byte = 1;
  [[maybe_unused]] const auto n = ::write(gSignalPipe[1], &byte, 1);
  errno = saved;
}

bool installStopSignals() {
  if (::pipe(gSignalPipe) != 0) return false;
  for (int fd : gSignalPipe) ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
  struct sigaction sa = {};
  sa.sa_handler = onStopSignal;
  sigemptyset(&sa.sa_mask);
  sa.sa_flags = SA_RESTART;
  ::sigaction(SIGTERM, &sa, nullptr);
  ::sigaction(SIGINT, &sa, nullptr);
  std::signal(SIGPIPE, SIG_IGN);  // a closed standard output does not end the agent
  return true;
}

// Why the settings file or the station store cannot be used; empty when both can.
QString unreadableFiles(const QString& settingsPath) {
  const QFileInfo settings(settingsPath);
  if (!settings.exists()) return QStringLiteral("找不到设置文件：%1").arg(settingsPath);
  QFile settingsFile(settingsPath);
  if (!settings.isFile() || !settingsFile.open(QIODevice::ReadOnly))
    return QStringLiteral("无法读取设置文件：%1").arg(settingsPath);
  const QString storePath = core::stationStorePath();
  const QFileInfo store(storePath);
  if (!store.exists()) return QStringLiteral("找不到站点库：%1").arg(storePath);
  QFile storeFile(storePath);
  if (!store.isFile() || !storeFile.open(QIODevice::ReadOnly) || !core::checkDatabase())
    return QStringLiteral("无法读取站点库：%1").arg(storePath);
  return {};
}

// The stations of every listed port, in the order the console's table has them: ports in the
// order of the settings (a port listed twice once), stations in the store's order; a second
// station with the address of one before it on the same port ends that port's list, as the
// console's station tree does.
std::vector<core::Station> siteStations(int& portCount) {
  std::vector<core::Station> out;
  QSet<QString> ports, keys;
  const QStringList portList = core::readPortList();
  portCount = static_cast<int>(portList.size());
  for (const QString& port : portList) {
    if (ports.contains(port)) continue;
    ports.insert(port);
    for (const core::Station& s : core::getStations(port)) {
      const QString key = port + "," + s.DeviceID;
      if (keys.contains(key)) break;
      keys.insert(key);
      out.push_back(s);
    }
  }
  return out;
}

}  // namespace

AgentOptions parseAgentOptions(int argc, char** argv) {
  AgentOptions o;
  for (int i = 1; i < argc; ++i) {
    const QString a = QString::fromLocal8Bit(argv[i]);
    if (a == QLatin1String("--headless")) {
      o.headless = true;
    } else if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
      o.help = true;
    } else if (a == QLatin1String("--dir")) {
      if (i + 1 >= argc) {
        o.error = QStringLiteral("--dir 后面要给出程序目录");
        continue;
      }
      o.dir = QString::fromLocal8Bit(argv[++i]);
    } else if (a.startsWith(QLatin1String("--dir="))) {
      o.dir = a.mid(6);
      if (o.dir.isEmpty()) o.error = QStringLiteral("--dir 后面要给出程序目录");
    } else if (o.error.isEmpty()) {
      o.error = QStringLiteral("不认识的选项：%1").arg(a);
    }
  }
  return o;
}

QString agentUsage() {
  return QStringLiteral(
      "用法: xinglan [--headless [--dir 目录]] [--help]\n"
      "\n"
      "不带选项时启动星澜站点监控软件的控制台窗口。\n"
      "\n"
      "  --headless    以站点代理方式运行，不需要显示器：读取程序目录中的设置文件 MSCON.DLL\n"
      "                和站点库 MSCONS.DLL，载入所有端口的站点，发现站点后按设置的读取间隔\n"
      "                轮询，按数据保存设置记录选中的站点，设置了 MQTT 时发布到服务器。\n"
      "                消息窗口的每一行带时间（YYYY-MM-DD HH:MM:SS）写到标准输出。\n"
      "                SIGTERM 或 SIGINT 结束运行：写完记录文件，告知服务器离线，退出码 0。\n"
      "                设置文件或站点库不存在或无法读取时，在标准错误输出一行，退出码 2。\n"
      "  --dir 目录    程序目录（设置文件、站点库、ports/ 所在的目录）；\n"
      "                默认与控制台相同：可执行文件所在的目录。\n"
      "  --help        显示本说明。\n");
}

int runAgent(int argc, char** argv, const AgentOptions& options) {
  QCoreApplication app(argc, argv);
  if (!options.dir.isEmpty()) core::setProgramDir(QDir(options.dir).absolutePath());
  core::configPath = core::pathBeside(core::programDir(), QStringLiteral("MSCON.DLL"));
  if (const QString why = unreadableFiles(core::configPath); !why.isEmpty()) {
    writeOut(stderr, why);
    return 2;
  }
  if (!installStopSignals()) {
    writeOut(stderr, QStringLiteral("无法安装停止信号"));
    return 2;
  }

  // Every line of the message window, stamped, on standard output.
  core::setLogEcho([](const QDateTime& when, const QString& text) { writeOut(stdout, core::logStamp(when) + " " + text); });

  platform::QtScheduler scheduler;
  platform::setScheduler(&scheduler);
  platform::QtPortDriver serial([](const std::string& name) {
    return platform::resolvePortPath(core::programDir().toStdString(), name);
  });
  platform::GatewayDriver driver(serial, shell::gatewayOfPort);
  platform::setPortDriver(&driver);
  UnattendedDialogs dialogs;
  platform::setDialogs(&dialogs);

  {
    engine::Scan scan;
    engine::Recorder recorder;
    publish::Publisher publisher;
    scan.setReplyStore([&recorder](int row, const QByteArray& reply) { recorder.storeReply(row, reply); });
    engine::ScanListener toBroker;
    toBroker.deviceInfo = [&publisher](const engine::StationRef& s, const QByteArray& r) {
      publisher.deviceInfoReply(s.name, s.deviceId, r);
    };
    toBroker.realTime = [&publisher](const engine::StationRef& s, const QByteArray& r) {
      publisher.realTimeReply(s.name, s.deviceId, r);
    };
    scan.addListener(std::move(toBroker));
    publisher.setStaleRule([&scan](const QString& name) { return scan.isStale(name); });
    // The alarms: each raising and clearing is a line of the log, so one line on standard
    // output, in the log file, on the broker and to the command.
    engine::alarms::AlarmEngine alarms;
    engine::alarms::CommandRunner alarmCommand([&alarms] { return alarms.settings().command; });
    monitoring::wireAlarms(alarms, publisher, &alarmCommand);
    engine::ScanListener toAlarms;
    toAlarms.realTime = [&alarms](const engine::StationRef& s, const QByteArray& r) {
      alarms.realTimeReply(s.name, s.deviceId, r);
    };
    toAlarms.realTimeMissed = [&alarms](const engine::StationRef& s) { alarms.realTimeMissed(s.name, s.deviceId); };
    scan.addListener(std::move(toAlarms));

    core::appendLog(QStringLiteral("星澜站点代理启动，程序目录 %1").arg(QDir::toNativeSeparators(core::programDir())));
    core::appendLog(QStringLiteral("刷新所有站点，请稍等..."));
    int portCount = 0;
    const std::vector<core::Station> stations = siteStations(portCount);
    if (const QString hint = shell::emptySiteHint(portCount, static_cast<int>(stations.size())); !hint.isEmpty())
      core::appendLog(hint);
    for (const core::Station& s : stations) {
      scan.appendStation(s.StationName, s.DeviceID);
      recorder.appendStation(s.StationName, s.DeviceID);
    }

    // The recorder's settings, and the pace of the scan they give, as the console applies them.
    recorder.configureFromSettings();
    scan.pauseRest();
    if (recorder.readIntervalValue() > 0) {
      scan.setReadInterval(recorder.readIntervalSeconds());
    } else {
      scan.setReadInterval(0);
      core::appendLog(QStringLiteral("读取间隔为 0：发现站点后不再轮询"));
    }
    scan.startDiscovery([&scan] {
      int answering = 0;
      for (int r = 1; r <= scan.rowCount(); ++r)
        if (scan.answered(r)) ++answering;
      core::appendLog(QStringLiteral("刷新所有站点成功"));
      core::appendLog(QStringLiteral("应答站点 %1/%2").arg(answering).arg(scan.rowCount()));
    });
    publisher.applyFromFile();

    // The end: the scan stops asking, the recorder writes what it holds, the broker hears that
    // this site goes offline, then the event loop ends.
    bool stopping = false;
    QSocketNotifier stopSignal(gSignalPipe[0], QSocketNotifier::Read);
    QObject::connect(&stopSignal, &QSocketNotifier::activated, &app, [&] {
      char buffer[16];
      while (::read(gSignalPipe[0], buffer, sizeof buffer) > 0) {
      }
      if (stopping) return;
      stopping = true;
      core::appendLog(QStringLiteral("星澜站点代理停止"));
      scan.stop();
      recorder.stop();
      publish::MqttSettings off = publisher.settings();
      off.enabled = false;
      publisher.apply(off);
      QCoreApplication::quit();
    });
    app.exec();
  }
  core::setLogEcho({});
  return 0;
}

}  // namespace xl::app
