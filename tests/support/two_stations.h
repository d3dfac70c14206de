#pragma once
// The whole console with two stations on COM3 at 9600 baud, at addresses 1 and 2, each answered
// by a simulated controller whose values stay as the test sets them. A test that names its
// stations otherwise sets firstName or secondName in its constructor.

#include "support/console_fixture.h"
#include "tools/sim/bus.h"

namespace xl::testing {

class TwoStationFixture : public ConsoleFixture {
 protected:
  void SetUp() override {
    ConsoleFixture::SetUp();
    setPorts({"COM3,9600"});
    addStation(firstName, "COM3,9600", "1");
    addStation(secondName, "COM3,9600", "2");
    sim::StationOptions frozen;
    frozen.live = false;
    frozen.address = 1;
    station1 = &bus.add("COM3", 9600, frozen);
    frozen.address = 2;
    station2 = &bus.add("COM3", 9600, frozen);
    line = driver.line("COM3");
  }

  QString firstName = QStringLiteral("一号站");
  QString secondName = QStringLiteral("二号站");
  sim::Bus bus{driver};
  sim::Controller* station1 = nullptr;
  sim::Controller* station2 = nullptr;
  platform::SimLine* line = nullptr;
};

}  // namespace xl::testing
