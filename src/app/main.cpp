// Xinglan Station Monitor: entry point.

#include <QApplication>
#include <cstdio>
#include <optional>

#include "app/site_agent.h"

#include "core/app_state.h"
#include "core/startup.h"
#include "monitoring/alarm_wiring.h"
#include "monitoring/frm_global_monitoring.h"
#include "platform/dialogs.h"
#include "platform/gateway_port.h"
#include "platform/port_names.h"
#include "platform/qt_scheduler.h"
#include "platform/qt_serial_port.h"
#include "shell/login.h"
#include "shell/port_list.h"
#include "publish/publisher.h"
#include "ui/registry.h"
#include "ui/translations.h"

int main(int argc, char** argv) {
  // `--headless` runs the site agent, which needs no display; `--help` says how.
  const xl::app::AgentOptions options = xl::app::parseAgentOptions(argc, argv);
  if (options.help) {
    std::fputs(xl::app::agentUsage().toUtf8().constData(), stdout);
    return 0;
  }
  if (options.headless) {
    if (!options.error.isEmpty()) {
      std::fprintf(stderr, "%s\n", options.error.toUtf8().constData());
      return 2;
    }
    return xl::app::runAgent(argc, argv, options);
  }

  QApplication app(argc, argv);
  // No application display name: Qt would append it to every window title, and the main
  // window's title with a maximised child would name the program twice.
  xl::ui::installQtChinese(app);

  xl::platform::QtScheduler scheduler;
  xl::platform::setScheduler(&scheduler);
  xl::platform::QtPortDriver serial([](const std::string& name) {
    return xl::platform::resolvePortPath(xl::core::programDir().toStdString(), name);
  });
  // A port that the settings map to a serial-to-Ethernet gateway goes over TCP.
  xl::platform::GatewayDriver driver(serial, xl::shell::gatewayOfPort);
  xl::platform::setPortDriver(&driver);
  xl::platform::QtDialogs dialogs(QStringLiteral("星澜站点监控软件"), [] { return xl::core::programDir(); });
  xl::platform::setDialogs(&dialogs);

  // The broker publisher and the alarms hear the scan's replies; the publisher is off unless
  // the settings turn it on. The alarms start once the settings file is known (at Main).
  xl::publish::Publisher publisher;
  std::optional<xl::engine::alarms::AlarmEngine> alarms;
  std::optional<xl::engine::alarms::CommandRunner> alarmCommand;
  xl::monitoring::FrmGlobalMonitoring::setReplyListener(
      {[&publisher](const QString& n, const QString& id, const QByteArray& r) { publisher.deviceInfoReply(n, id, r); },
       [&](const QString& n, const QString& id, const QByteArray& r) {
         publisher.realTimeReply(n, id, r);
         if (alarms) alarms->realTimeReply(n, id, r);
       },
       [&](const QString& n, const QString& id) {
         if (alarms) alarms->realTimeMissed(n, id);
       }});
  // A station is offline for the broker when the link health calls it stale.
  publisher.setStaleRule([](const QString& name) {
    return xl::monitoring::FrmGlobalMonitoring::exists() && xl::monitoring::FrmGlobalMonitoring::instance().isStale(name);
  });

  // The first window is the login; it shows the main window when a user has logged in.
  xl::core::Main([&] {
    alarms.emplace();
    alarmCommand.emplace([&alarms] { return alarms->settings().command; });
    xl::monitoring::wireAlarms(*alarms, publisher, &*alarmCommand);
    xl::shell::showFirstWindow();
    publisher.applyFromFile();
  });
  const int status = app.exec();
  xl::monitoring::FrmGlobalMonitoring::setReplyListener({});
  xl::ui::discardAll();
  return status;
}
