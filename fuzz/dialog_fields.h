#pragma once
// Typed text of any kind through the handlers of the station editor and the port list, in a
// whole console (virtual clock, simulated bus, scripted message boxes). Shared by the libFuzzer
// target fuzz_dialogs and by a test that runs it on random and hand-picked inputs.
//
// The input is split at NUL bytes into texts (UTF-8, invalid sequences as they decode):
//   0..12  the thirteen fields of the station editor, in the order of the table
//   13, 14 the port box and the baud rate box of the port list
//   15..   the entries of the port list in the settings file before the dialog opens
// The first byte chooses the list entries, the row deleted, the answers and the order.
// Checked on every input: nothing crashes; a refused station never reaches the store; the
// port list written holds exactly the entries the dialog showed; the settings and the store
// read back what was written.

#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>

#include "core/app_state.h"
#include "core/settings.h"
#include "core/startup.h"
#include "core/station_store.h"
#include "platform/scheduler.h"
#include "platform/sim_bus.h"
#include "shell/frm_add_station.h"
#include "shell/frm_mdi.h"
#include "shell/frm_port_configuration.h"
#include "shell/station_form.h"
#include "support/scripted_dialogs.h"
#include "ui/modal.h"
#include "ui/registry.h"

namespace xl::fuzzing {

inline void check(bool condition) {
  if (!condition) __builtin_trap();
}

// The console the inputs run in, made once.
class DialogConsole {
 public:
  DialogConsole() {
    core::setProgramDir(dir_.path());
    core::setStationStorePath({});
    platform::setScheduler(&clock_);
    platform::setPortDriver(&driver_);
    platform::setDialogs(&dialogs_);
    core::setEndProcess([] {});
    driver_.addLine("COM3", 9600);
    core::currentUser = QStringLiteral("administrator");
    core::Main([] { shell::FrmMDI::instance().MDIForm_Load(); });
    ui::setModalRunner([this](ui::DialogForm& f) {
      if (drivers_.empty()) return;
      auto d = std::move(drivers_.front());
      drivers_.pop_front();
      d(f);
    });
  }

  ~DialogConsole() {
    ui::setModalRunner({});
    ui::discardAll();
    platform::setDialogs(nullptr);
    platform::setPortDriver(nullptr);
    platform::setScheduler(nullptr);
    core::setProgramDir({});
    core::configPath.clear();
    core::appStarted.clear();
    core::currentUser.clear();
  }

  void run(const std::uint8_t* data, std::size_t size) {
    const std::uint8_t mode = size ? data[0] : 0;
    QStringList texts;
    {
      const QByteArray all(reinterpret_cast<const char*>(data) + (size ? 1 : 0), size ? int(size - 1) : 0);
      for (const QByteArray& part : all.split('\0')) texts << QString::fromUtf8(part);
    }
    while (texts.size() < 15) texts << QString();
    const QStringList entries = texts.mid(15, 8);

    // The port list in the settings file, as a hand-edited file might hold it.
    core::writeIni("COMS", "ListCount", QString::number(entries.size()));
    for (int i = 0; i < entries.size(); ++i) core::writeIni("COMS", QString::number(i + 1), entries[i]);

    runStationEditor(mode, texts);
    runPortList(mode, texts);
    clock_.advance(platform::ms(5000));  // the refresh loads the ports and starts the scan
    dialogs_.shown.clear();
  }

 private:
  static QLineEdit* box(QObject& f, const char* name) { return f.findChild<QLineEdit*>(name); }
  static QComboBox* list(QObject& f, const char* name) { return f.findChild<QComboBox*>(name); }

  void fill(shell::FrmAddStation& f, std::uint8_t mode, const QStringList& t) {
    const char* boxes[] = {"StationNameSS", "DeviceID", nullptr,   nullptr, "PeakPower", "Voc",    "Vmp",
                           nullptr,         "Capacity", "Voltage", nullptr, "Power",     "Remarks"};
    for (int i = 0; i < 13; ++i)
      if (boxes[i]) box(f, boxes[i])->setText(t[i]);
    // The lists take a choice, not text: an index from the mode byte (or none).
    QComboBox* port = list(f, "Port");
    port->setCurrentIndex(port->count() ? int(mode % (port->count() + 1)) - 1 : -1);
    for (const char* name : {"ArraysType", "BatteryType", "LoadType"}) {
      QComboBox* l = list(f, name);
      l->setCurrentIndex(int(mode >> 4) % (l->count() + 1) - 1);
    }
  }

  void runStationEditor(std::uint8_t mode, const QStringList& t) {
    auto& mdi = shell::FrmMDI::instance();
    const std::size_t before = countStations();
    core::Station added;
    drivers_.push_back([&](ui::DialogForm& form) {
      auto& f = static_cast<shell::FrmAddStation&>(form);
      fill(f, mode, t);
      added = f.fields();
      f.Command1_Click();
      f.Command1_Click();  // the second is a duplicate or refused again
      f.Command2_Click();
    });
    mdi.AddStation_Click();
    // The store is empty between inputs, so only the fields themselves refuse the first add.
    const bool refused = !shell::missingStationField(shell::StationAction::Add, added).isEmpty() ||
                         !shell::recorderKeyRefusal(added.StationName).isEmpty();
    const std::size_t after = countStations();
    if (refused) check(after == before);
    if (!refused) check(after == before + 1);  // the store is empty between inputs
    if (!refused && after > before) {
      const auto stored = core::findStation(added.StationName);
      check(stored.has_value());
      // The first row of that name may be an older one; the newest row is this one.
      const auto rows = core::getStations(added.Port);
      check(!rows.empty() && rows.back() == added);
    }
    if (refused || after == before) return;

    // Update with the fields turned around, then delete (No first when the mode says so).
    dialogs_.answers = std::deque<int>{(mode & 1) ? platform::kNo : platform::kYes, platform::kYes};
    auto& editor = shell::FrmAddStation::instance();
    editor.setModeButtons(false, true, true);
    editor.setEnabled(true);
    drivers_.push_back([&](ui::DialogForm& form) {
      auto& f = static_cast<shell::FrmAddStation&>(form);
      QStringList rotated = t.mid(0, 13);
      if (mode & 2) std::rotate(rotated.begin(), rotated.begin() + 1, rotated.end());
      fill(f, std::uint8_t(mode + 1), rotated);
      f.Command3_Click();
      f.Command4_Click();
      if (f.isVisible()) f.Command4_Click();
    });
    editor.openStation(added.StationName);
    dialogs_.answers.clear();
    // Whatever was stored under the names used goes, so the store stays small.
    core::deleteStation(added.StationName);
    for (const QString& n : t.mid(0, 13)) core::deleteStation(n);
  }

  void runPortList(std::uint8_t mode, const QStringList& t) {
    QStringList shown;
    bool saved = false;
    drivers_.push_back([&](ui::DialogForm& form) {
      auto& f = static_cast<shell::FrmPortConfiguration&>(form);
      QComboBox* port = list(f, "Combo1");
      QComboBox* baud = list(f, "Combo2");
      auto* entries = f.findChild<QListWidget*>("List1");
      port->setEditText(t[13]);
      baud->setEditText(t[14]);
      f.Command1_Click();
      if (entries->count()) entries->setCurrentRow(int(mode) % entries->count());
      if (mode & 4) f.Command2_Click();
      port->setEditText(t[14]);
      baud->setEditText(t[13]);
      f.Command1_Click();
      clock_.advance(platform::ms(300));
      shown = f.entries();
      if (mode & 8) {
        f.findChild<QPushButton*>("Command3")->click();  // a grey OK does nothing
        saved = f.accepted;
      } else {
        f.Command4_Click();
      }
    });
    const QByteArray bytesBefore = settingsBytes();
    shell::FrmMDI::instance().PortConfiguration_Click();
    if (!saved) {
      check(settingsBytes() == bytesBefore);
      return;
    }
    // OK is grey with an empty list, so what was saved is the list that stood.
    check(!shown.isEmpty());
    check(core::readIniInt("COMS", "ListCount") == shown.size());
    for (int i = 0; i < shown.size(); ++i) check(core::readIni("COMS", QString::number(i + 1)).size() <= 499);
  }

  QByteArray settingsBytes() {
    QFile f(core::configPath);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
  }
  std::size_t countStations() {
    std::size_t n = 0;
    const int count = core::readIniInt("COMS", "ListCount");
    QStringList seen;
    for (int i = 1; i <= count; ++i) {
      const QString p = core::readIni("COMS", QString::number(i));
      if (seen.contains(p, Qt::CaseInsensitive)) continue;
      seen << p;
      n += core::getStations(p).size();
    }
    return n;
  }

  QTemporaryDir dir_;
  platform::VirtualClock clock_;
  platform::SimBusDriver driver_;
  testing::ScriptedDialogs dialogs_;
  std::deque<std::function<void(ui::DialogForm&)>> drivers_;
};

}  // namespace xl::fuzzing
