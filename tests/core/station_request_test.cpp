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
  for (const auto& [name, id] : {std::pair{"Ten", "10"}, {"Huge", "99999999999"}, {"Words", "abc"}}) {
    Station s;
    std::tie(s.StationName, s.Port, s.DeviceID) = std::tuple(QString(name), QString("COM3,9600"), QString(id));
    ASSERT_TRUE(insertStation(s));
  }

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
  clock.advance(platform::ms(400));  // the line is free again (silence)
  // The scan's form reads leniently: an address that is no number reads as 0.
  requestStation(session, "Words", " 03 0100 0023");
  ASSERT_EQ(line.wire().size(), 2u);
  EXPECT_EQ(line.wire()[1].bytes[0], 0x00);
  clock.advance(platform::ms(400));
  // A screen's form never sends to 0, to an address that does not fit or to a name that is no
  // station; each refusal is one plain Chinese line, nothing of the internals. A name that is
  // no station is passed over in silence unless the screen asks.
  EXPECT_THROW(requestStation(session, "Huge", " 03 0100 0023"), RuntimeFailure);
  const std::pair<const char*, const char*> refused[] = {
      {"Huge", "]Huge：设备ID无效，请求未发送"}, {"Words", "]Words：设备ID无效，请求未发送"},
      {"Nobody", "]没有名为“Nobody”的站点，未发送任何数据"}};
  for (const auto& [name, expected] : refused) {
    log.clear();
    EXPECT_FALSE(trySendToStation(session, name, " 03 0100 0023", true)) << name;
    EXPECT_TRUE(log.endsWith(QString::fromUtf8(expected))) << log.toStdString();
    EXPECT_FALSE(log.contains("overflow", Qt::CaseInsensitive));
  }
  log.clear();
  EXPECT_FALSE(trySendToStation(session, "Nobody", " 03 0100 0023") ||
               trySendToStation(session, "", " 03 0100 0023", true));
  EXPECT_TRUE(log.isEmpty() && line.wire().size() == 2u);
  EXPECT_TRUE(trySendToStation(session, "Ten", " 03 0100 0023") && line.wire().size() == 3u);

  setLogBox({});
  setStationStorePath({});
}

}  // namespace
}  // namespace xl::core
