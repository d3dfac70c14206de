// On the virtual clock: the event queue and timers; serial controls, their properties, where a
// port name leads, and the simulated line's timing.

#include "platform/sim_bus.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <filesystem>
#include <functional>

#include "platform/failure.h"
#include "platform/port_names.h"
#include "platform/timer.h"
#include "support/scripted_device.h"

namespace xl::platform {
namespace {

using std::chrono::microseconds;

class SchedulerTest : public ::testing::Test {
 protected:
  void SetUp() override { setScheduler(&clock); }
  // A task that logs its name and the time it ran at.
  std::function<void()> mark(const std::string& name) {
    return [this, name] { log += name + "@" + std::to_string(toMs(clock.now())) + " "; };
  }
  VirtualClock clock;
  std::string log;
};

TEST_F(SchedulerTest, TasksRunInTimeOrderAWindowDefersTheRestAndFailuresEndOnlyThemselves) {
  clock.post(ms(30), mark("c"));
  clock.post(ms(10), mark("a"));
  clock.cancel(clock.post(ms(20), mark("dropped")));
  clock.post(ms(10), [&] { mark("b")(), clock.post(ms(0), mark("b0")); });
  clock.advance(ms(25));
  EXPECT_EQ(log, "a@10 b@10 b0@10 ");
  clock.advance(ms(10));
  EXPECT_EQ(log + std::to_string(clock.pending()), "a@10 b@10 b0@10 c@30 0");

  // A receive window holds everything due inside it until its handler has run, in order.
  log.clear();
  clock.post(ms(5), [&] { mark("open")(), clock.holdFor(ms(100), mark("handler")); });
  clock.post(ms(50), mark("x"));
  clock.post(ms(20), mark("w"));
  clock.post(ms(104), mark("y"));
  clock.post(ms(106), mark("z"));
  clock.advance(ms(200));
  EXPECT_EQ(log, "open@40 handler@140 w@140 x@140 y@140 z@141 ");
  EXPECT_FALSE(clock.holding());

  // A failing task or receive handler ends only itself.
  log.clear();
  clock.post(ms(1), [] { throw std::runtime_error("a handler fails"); });
  clock.post(ms(2), mark("after"));
  clock.post(ms(3), [&] { clock.holdFor(ms(100), [] { throw std::runtime_error("the receive handler fails"); }); });
  clock.post(ms(50), mark("deferred"));
  EXPECT_NO_THROW(clock.advance(ms(200)));
  EXPECT_EQ(log, "after@237 deferred@338 ");
  EXPECT_FALSE(clock.holding());
}

TEST_F(SchedulerTest, TimerTicksOnItsGridRestartsWhenResetAndMayStopItself) {
  Timer t(1000, mark("t"));
  clock.advance(ms(5000));  // not enabled
  t.setEnabled(true);
  clock.advance(ms(3500));
  // Setting the interval restarts the count from now.
  t.setInterval(300);
  clock.advance(ms(700));
  // Enabling an enabled timer changes nothing; disabling stops it; an interval of 0 never ticks.
  t.setEnabled(true);
  clock.advance(ms(300));
  t.setEnabled(false);
  clock.advance(ms(2000));
  t.setInterval(0);
  t.setEnabled(true);
  clock.advance(ms(2000));
  EXPECT_EQ(log, "t@6000 t@7000 t@8000 t@8800 t@9100 t@9400 ");

  // A handler that stops its timer, one that restarts its own with another interval, a timer
  // destroyed while enabled.
  log.clear();
  int count = 0;
  Timer s(100);
  s.setOnTick([&] { s.setEnabled(++count != 2); });
  s.setEnabled(true);
  Timer r(100);
  r.setOnTick([&] {
    mark("r")();
    r.setEnabled(false);
    r.setInterval(250);
    r.setEnabled(true);
  });
  r.setEnabled(true);
  {
    Timer gone(10, mark("gone"));
    gone.setEnabled(true);
  }
  clock.advance(ms(700));
  EXPECT_EQ(log + std::to_string(count), "r@13600 r@13850 r@14100 2");
}

// The code of the failure `set` throws, "-" when it throws nothing.
template <typename Set>
std::string failureOf(Set set) {
  try {
    set();
    return "-";
  } catch (const RuntimeFailure& f) {
    return std::to_string(int(f.kind()));
  }
}

TEST(SerialControl, RefusesBadPropertyValuesAndDataWhileClosed) {
  SerialControl c("Test.MSComm1");
  std::string seen;
  for (int port : {0, -1, 256, 1, 255}) seen += failureOf([&] { c.setCommPort(port); }) + " ";
  for (const char* settings : {"9600,N,8,1", "115200,n,8,1", "", ",N,8,1", "abc,N,8,1", "9600", "9600,N,9,1",
                               "9600,X,8,1", "9600,N,8,3", "1,N,8,1", "4800,E,7,2"})
    seen += failureOf([&] { c.setSettings(settings); }) + " ";
  // A closed control refuses buffer and data operations; closing it again is no mistake.
  for (const auto& use :
       std::initializer_list<std::function<void()>>{[&] { c.setInBufferCount(0); }, [&] { c.output(Bytes{1}); },
                                                    [&] { c.input(); }, [&] { c.setPortOpen(false); }})
    seen += failureOf(use) + " ";
  EXPECT_EQ(seen + c.settings(),
            "8002 8002 8002 - - - - 380 380 380 380 380 380 380 380 - 8012 8012 8012 - 4800,E,7,2");
}

TEST(PortNames, LinkInProgramDirectoryWinsOverStandardDevice) {
  QTemporaryDir dir;
  const std::string root = dir.path().toStdString();
  EXPECT_EQ(resolvePortPath(root, "COM1") + " " + resolvePortPath(root, "COM3"), "/dev/ttyS0 /dev/ttyS2");
  std::filesystem::create_directories(root + "/ports");
  std::filesystem::create_symlink("/dev/null", root + "/ports/COM3");
  // Names that are no COM port stay in the ports folder, where nothing is found.
  EXPECT_EQ(resolvePortPath(root, "COM3") + " " + resolvePortPath(root, "COM4") + " " + resolvePortPath(root, "COM") +
                " " + resolvePortPath(root, "COM0"),
            root + "/ports/COM3 /dev/ttyS3 " + root + "/ports/COM " + root + "/ports/COM0");
}

class SimBusTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setScheduler(&clock);
    setPortDriver(&driver);
    line = &driver.addLine("COM3", 9600);
    device = std::make_shared<testing::ScriptedDevice>();
    line->attach(device);
    control.onComm = [&](CommEvent) { events += " " + std::to_string(clock.now() / microseconds(1)); };
    control.setCommPort(3);
    control.setRThreshold(1);
    control.setPortOpen(true);
  }
  // Sends one byte with `reply` set up as the device's answer, and lets `span` pass.
  void ask(std::vector<SimReplyPart> reply, Duration span) {
    device->reply = std::move(reply);
    control.output(Bytes{0x01});
    clock.advance(span);
  }
  // The frames on the wire: who sent each, its size, and when it started and ended, in µs.
  std::string wire() const {
    std::string s;
    for (const WireFrame& f : line->wire())
      s += std::string(f.fromMaster ? "M" : "S") + std::to_string(f.bytes.size()) + " " +
           std::to_string(f.start / microseconds(1)) + "-" + std::to_string(f.end / microseconds(1)) + ";";
    return s;
  }
  VirtualClock clock;
  SimBusDriver driver;
  SimLine* line = nullptr;
  std::shared_ptr<testing::ScriptedDevice> device;
  SerialControl control{"Test.MSComm1"};
  std::string events;
};

TEST_F(SimBusTest, BytesTravelAtTenBitsEachAndASecondPartRaisesAnEventAfterARead) {
  device->reply = {{ms(2), Bytes(75, 0x55)}};
  control.output(Bytes(8, 0x01));
  // The request is with the device after 8 byte times; the first reply byte is complete one
  // byte time after the latency.
  clock.advance(microseconds(8333 + 2000 + 1041 - 1));
  EXPECT_EQ(std::to_string(control.inBufferCount()) + events, "0");
  clock.advance(microseconds(1));
  EXPECT_EQ(std::to_string(control.inBufferCount()) + events, "1 11374");
  // Half way through, half the bytes are in; the event is not raised again while unread.
  clock.advance(microseconds(37 * 1042));
  EXPECT_NEAR(control.inBufferCount(), 38, 1);
  clock.advance(ms(50));
  EXPECT_EQ(std::to_string(control.input().size()) + events, "75 11374");
  EXPECT_EQ(wire(), "M8 0-8333;S75 10333-88458;");

  // A reply in two parts: the second raises an event after the first was read; the gap is on
  // the wire.
  line->clearWire();
  events.clear();
  ask({{ms(1), Bytes(10, 1)}, {ms(150), Bytes(10, 2)}}, ms(100));
  EXPECT_EQ(control.input(), Bytes(10, 1));
  clock.advance(ms(200));
  EXPECT_EQ(control.input(), Bytes(10, 2));
  EXPECT_EQ(events + " | " + wire(), " 103010 263426 | M1 99928-100969;S10 101969-112385;S10 262385-272801;");
}

TEST_F(SimBusTest, BytesArrivingWhileClosedAreLost) {
  ask({{ms(1), Bytes(20, 7)}}, ms(5));
  control.setPortOpen(false);
  clock.advance(ms(5));
  control.setPortOpen(true);
  clock.advance(ms(100));
  // Only bytes that arrived after the reopening are in the buffer.
  const auto got = control.input().size();
  EXPECT_TRUE(got > 0u && got < 20u) << got;
  // Dropping the input buffer loses what has come, not what is still on its way.
  ask({{ms(1), Bytes(40, 9)}}, ms(20));
  control.setInBufferCount(0);
  clock.advance(ms(100));
  const auto rest = control.input().size();
  EXPECT_TRUE(rest > 0u && rest < 40u) << rest;
}

TEST_F(SimBusTest, OpeningIsExclusiveAcrossControls) {
  SerialControl other("Other.MSComm1");
  other.setCommPort(3);
  // Taken by the fixture's control; opened twice; the port changed while open.
  std::string seen = failureOf([&] { other.setPortOpen(true); });
  seen += std::to_string(other.portOpen()) + " " + failureOf([&] { control.setPortOpen(true); }) + " " +
          failureOf([&] { control.setCommPort(4); });
  control.setPortOpen(false);
  seen += " " + failureOf([&] { other.setPortOpen(true); });
  seen += std::to_string(portHeld("COM3"));
  // A control that goes away gives its port back; a port with no line does not open.
  {
    SerialControl temp("Temp.MSComm1");
    temp.setCommPort(4);
    seen += " " + failureOf([&] { temp.setPortOpen(true); });
  }
  other.setPortOpen(false);
  {
    SerialControl temp("Temp.MSComm1");
    temp.setCommPort(3);
    temp.setPortOpen(true);
  }
  EXPECT_EQ(seen + std::to_string(portHeld("COM3")), "80050 8005 8005 -1 80100");
}

}  // namespace
}  // namespace xl::platform
