#pragma once
// The configuration screens in the whole console: one line COM3 at 9600 baud with simulated
// controllers on it that answer only what they are asked, and the operator's mouse.

#include <QComboBox>
#include <QTest>
#include <optional>

#include "support/console_fixture.h"
#include "support/wire_log.h"
#include "tools/sim/bus.h"

namespace xl::testing {

class ConfigScreenFixture : public ConsoleFixture {
 protected:
  void SetUp() override {
    ConsoleFixture::SetUp();
    setPorts({"COM3,9600"});
  }

  sim::Controller& controllerAt(int address, std::optional<std::uint16_t> loadMode = {}) {
    sim::StationOptions o;
    o.live = false;
    o.address = static_cast<std::uint8_t>(address);
    o.loadMode = loadMode;
    o.plant.historyDays = 0;
    sim::Controller& c = bus.add("COM3", 9600, o);
    line = driver.line("COM3");
    return c;
  }

  static void click(QWidget* w) { QTest::mouseClick(w, Qt::LeftButton); }
  // The operator picks an entry of a list.
  static void pick(QComboBox* box, const QString& text) {
    const int index = box->findText(text);
    ASSERT_GE(index, 0) << text.toStdString();
    box->setCurrentIndex(index);
    emit box->activated(index);
  }

  std::int64_t nowMs() const { return platform::toMs(clock.now()); }
  std::vector<Sent> sentFrom(std::int64_t fromMs) const { return sentFrames(*line, fromMs); }
  QStringList shownTexts() const {
    QStringList out;
    for (const auto& s : dialogs.shown) out << s.text;
    return out;
  }
  QString lastShown() const { return dialogs.shown.empty() ? QString() : dialogs.shown.back().text; }

  sim::Bus bus{driver};
  platform::SimLine* line = nullptr;
};

}  // namespace xl::testing
