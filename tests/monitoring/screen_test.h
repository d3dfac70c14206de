#pragma once
// Shared by the screen tests of this folder: the whole console with two stations in virtual
// time, the wire log, and helpers that turn what a screen shows into one text to compare.

#include <QCheckBox>
#include <QFile>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QTest>
#include <algorithm>
#include <array>
#include <tuple>

#include "support/hex_bytes.h"
#include "support/two_stations.h"
#include "support/wire_log.h"
#include "ui/form.h"

namespace xl::testing {

using platform::ms;

// The texts of the named line boxes of `screen`, joined by "|".
inline QString texts(const QObject& screen, std::initializer_list<const char*> names) {
  QStringList out;
  for (const char* n : names) out << edit(screen, n)->text();
  return out.join('|');
}

// The frames sent, "ms:hex" each with the time counted from `zeroMs`, those starting with `prefix`.
inline std::string framesText(const std::vector<Sent>& sent, std::string_view prefix = "", std::int64_t zeroMs = 0) {
  std::string out;
  for (const Sent& s : sent)
    if (s.frame.starts_with(prefix)) out += std::to_string(s.atMs - zeroMs) + ":" + s.frame + " ";
  return out;
}

// "+" for each enabled, "-" for each greyed widget.
inline QString enabled(std::initializer_list<const QWidget*> widgets) {
  QString out;
  for (const QWidget* w : widgets) out += w->isEnabled() ? '+' : '-';
  return out;
}

// A station list: its entries, whether it takes typing, and its text.
inline QString listState(const QComboBox* box) {
  return QStringLiteral("%1%2[%3]").arg(box->count()).arg(box->isEditable() ? " editable" : "").arg(box->currentText());
}

// The bytes of a file; none when it cannot be read.
inline QByteArray readFile(const QString& path) {
  QFile file(path);
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// One digit for each truth: "1" true, "0" false.
inline std::string flags(std::initializer_list<bool> values) {
  std::string out;
  for (bool b : values) out += b ? '1' : '0';
  return out;
}

// The live values of a simulated station in one row: SOC %, battery 0.1 V and 0.01 A, device
// and battery degrees, load 0.1 V, 0.01 A and W, panel 0.1 V, 0.01 A and W, and the charge
// state; the load is on.
inline void setReadings(sim::Readings& r, const std::array<int, 12>& v) {
  const auto word = [&](int i) { return static_cast<std::uint16_t>(v[static_cast<std::size_t>(i)]); };
  r.soc = static_cast<std::uint8_t>(v[0]);
  std::tie(r.batteryVoltage, r.batteryCurrent) = std::pair(word(1), word(2));
  std::tie(r.deviceTemperature, r.batteryTemperature) = std::pair(v[3], v[4]);
  std::tie(r.loadVoltage, r.loadCurrent, r.loadPower, r.panelVoltage, r.panelCurrent, r.panelPower) =
      std::tuple(word(5), word(6), word(7), word(8), word(9), word(10));
  r.chargeState = static_cast<std::uint8_t>(v[11]);
  r.loadOn = true;
}

class ScreenTest : public TwoStationFixture {
 protected:
  // Start-up and discovery; the station lists are filled at 5.6 s.
  void startAndDiscover() {
    start();
    clock.advance(ms(8000));
  }
  // The lines of the message window that end with `tail`.
  int logCount(const QString& tail) {
    return static_cast<int>(
        std::ranges::count_if(logLines(), [&](const QString& l) { return l.trimmed().endsWith(tail); }));
  }
  std::int64_t nowMs() const { return platform::toMs(clock.now()); }
  // The operator picks `name` from the station list of `screen`.
  static void choose(QWidget& screen, const QString& name) {
    const int index = combo(screen)->findText(name);
    ASSERT_GE(index, 0);
    combo(screen)->setCurrentIndex(index);
    emit combo(screen)->activated(index);
  }
  QStringList dialogTexts() const {
    QStringList out;
    for (const auto& d : dialogs.shown) out << d.text;
    return out;
  }
};

}  // namespace xl::testing
