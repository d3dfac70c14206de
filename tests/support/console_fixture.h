#pragma once
// A whole console in one test: a fresh program directory, a virtual clock, a simulated bus and
// scripted dialogs. start() runs the program's start-up and loads the main window; every
// screen is discarded again after each test, the newest first, through the screen registry.
//
// Controls are reached by their object names, as the operator's view names them:
// control<QRadioButton>(live(), "Option1"), edit(live(), "Text3"), grid(scan(), "VsFList1").

#include <gtest/gtest.h>

#include <QComboBox>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QThread>
#include <functional>
#include <stdexcept>
#include <string>

#include "core/app_state.h"
#include "core/settings.h"
#include "core/startup.h"
#include "core/station_store.h"
#include "link/serial_session.h"
#include "monitoring/frm_global_monitoring.h"
#include "monitoring/frm_maintenance_record.h"
#include "platform/sim_bus.h"
#include "shell/frm_mdi.h"
#include "support/qt_app.h"
#include "support/scripted_dialogs.h"
#include "ui/registry.h"

namespace xl::testing {

// The control of `screen` with the object name `name`; a missing control fails the test.
template <class W = QWidget>
W* control(const QObject& screen, const char* name) {
  W* w = screen.findChild<W*>(QString::fromLatin1(name));
  if (!w) throw std::runtime_error(std::string("no control ") + name + " on " + screen.objectName().toStdString());
  return w;
}
inline QLineEdit* edit(const QObject& s, const char* name) { return control<QLineEdit>(s, name); }
inline QComboBox* combo(const QObject& s, const char* name = "Combo1") { return control<QComboBox>(s, name); }
inline QPushButton* button(const QObject& s, const char* name) { return control<QPushButton>(s, name); }
inline platform::FlexGrid* grid(const QObject& s, const char* name) { return control<platform::FlexGrid>(s, name); }

class ConsoleFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    testApp();
    ASSERT_TRUE(dir.isValid());
    core::setProgramDir(dir.path());
    core::setStationStorePath({});
    platform::setScheduler(&clock);
    platform::setPortDriver(&driver);
    platform::setDialogs(&dialogs);
    core::setEndProcess([this] { ++ended; });
  }

  void TearDown() override {
    ui::discardAll();
    EXPECT_EQ(ui::screenCount(), 0);
    platform::setDialogs(nullptr);
    core::setProgramDir({});
    core::configPath.clear();
    core::appStarted.clear();
    core::currentUser.clear();
  }

  // The port list of the settings file.
  void setPorts(const QStringList& ports) {
    const QString ini = dir.path() + "/MSCON.DLL";
    core::writeIniFile("COMS", "ListCount", QString::number(ports.size()), ini);
    for (int i = 0; i < ports.size(); ++i) core::writeIniFile("COMS", QString::number(i + 1), ports[i], ini);
  }

  void addStation(const QString& name, const QString& port, const QString& id) {
    if (!core::checkDatabase()) core::createStore();
    core::Station s;
    s.StationName = name;
    s.Port = port;
    s.DeviceID = id;
    ASSERT_TRUE(core::insertStation(s));
  }

  // Start-up: the store test, configPath, the main window and its load, with the administrator
  // logged in (the default login).
  void start() {
    core::currentUser = QStringLiteral("administrator");
    core::Main([] {
      auto& mdi = shell::FrmMDI::instance();
      // The offscreen screen is 800 x 600, smaller than the window the operator sees.
      mdi.resize(1180, 760);
      mdi.MDIForm_Load();
    });
  }

  shell::FrmMDI& mdi() { return shell::FrmMDI::instance(); }
  monitoring::FrmGlobalMonitoring& scan() { return monitoring::FrmGlobalMonitoring::instance(); }
  monitoring::FrmMaintenanceRecord& recorder() { return monitoring::FrmMaintenanceRecord::instance(); }

  // Runs the console (virtual time, 100 ms a step) and Qt's events until `done`, for at most
  // `realMs` of wall-clock time: for tests that wait on a real peer such as a broker.
  bool runUntil(const std::function<bool()>& done, int realMs = 8000) {
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < realMs) {
      QCoreApplication::processEvents();
      if (done()) return true;
      clock.advance(platform::ms(100));
      QThread::msleep(1);
    }
    return done();
  }
  void runFor(int virtualMs) {
    for (int i = 0; i < virtualMs / 100; ++i) {
      QCoreApplication::processEvents();
      clock.advance(platform::ms(100));
      QThread::msleep(1);
    }
  }

  // The lines of the message window.
  QStringList logLines() { return mdi().Text1()->toPlainText().split('\n'); }

  QTemporaryDir dir;
  platform::VirtualClock clock;
  platform::SimBusDriver driver;
  ScriptedDialogs dialogs;
  int ended = 0;
};

}  // namespace xl::testing
