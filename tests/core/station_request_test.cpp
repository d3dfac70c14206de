#include "core/station_request.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "core/message_log.h"
#include "core/station_store.h"
#include "link/frame_codec.h"
#include "platform/failure.h"
#include "platform/sim_bus.h"

namespace xl::core {
namespace {

TEST(StationRequest, AddressAndPortComeFromTheStoreByName) {
  QTemporaryDir dir;
  setStationStorePath(dir.path() + "/MSCONS.DLL");
  ASSERT_TRUE(createStore());
  const auto add = [](const char* name, const char* id) {
    Station s;
    s.StationName = name;
    s.Port = "COM3,9600";
    s.DeviceID = id;
    ASSERT_TRUE(insertStation(s));
  };
  add("Ten", "10");
  add("Huge", "99999999999");
  add("Words", "abc");

  platform::VirtualClock clock;
  platform::setScheduler(&clock);
  platform::SimBusDriver driver;
  platform::setPortDriver(&driver);
  platform::SimLine& line = driver.addLine("COM3", 9600);
  link::SerialSession session("Test.MSComm1", {}, [](Bytes&, const std::string&) {});
  QString log;
  setLogBox({[&] { return log; }, [&](const QString& t) { log = t; }});

  requestStation(session, "Ten", " 03 0100 0023");
  ASSERT_EQ(line.wire().size(), 1u);
  EXPECT_EQ(hexText(line.wire()[0].bytes), hexText(requestFrame(10, " 03 0100 0023")));
  // An address that is no number reads as 0 (lenient reading); an unknown station has no port.
  requestStation(session, "Words", " 03 0100 0023");
  EXPECT_EQ(line.wire().size(), 2u);
  EXPECT_EQ(line.wire()[1].bytes[0], 0x00);
  requestStation(session, "Nobody", " 03 0100 0023");
  EXPECT_EQ(line.wire().size(), 2u);
  // An address that does not fit raises for the handler that asks; the quiet form logs it.
  EXPECT_THROW(requestStation(session, "Huge", " 03 0100 0023"), RuntimeFailure);
  EXPECT_FALSE(trySendToStation(session, "Huge", " 03 0100 0023"));
  // One plain Chinese line for the operator, nothing of the internals.
  EXPECT_TRUE(log.endsWith(QStringLiteral("]Huge：设备ID无效，请求未发送"))) << log.toStdString();
  EXPECT_FALSE(log.contains("overflow", Qt::CaseInsensitive));
  EXPECT_EQ(line.wire().size(), 2u);

  setLogBox({});
  setStationStorePath({});
}

}  // namespace
}  // namespace xl::core
