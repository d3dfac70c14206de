#include <gtest/gtest.h>

#include <optional>

#include "platform/failure.h"
#include "platform/serial_port.h"

namespace xl::platform {
namespace {

// The kind of failure `set` throws; none when it throws nothing.
template <typename Set>
std::optional<Failure> failureOf(Set set) {
  try {
    set();
    return std::nullopt;
  } catch (const RuntimeFailure& f) {
    return f.kind();
  }
}

TEST(SerialControl, RefusesBadPropertyValues) {
  SerialControl c("Test.MSComm1");
  for (int bad : {0, -1, 256}) EXPECT_EQ(failureOf([&] { c.setCommPort(bad); }), Failure::InvalidPort) << bad;
  EXPECT_NO_THROW(c.setCommPort(1));
  EXPECT_NO_THROW(c.setCommPort(255));
  for (const char* good : {"9600,N,8,1", "115200,n,8,1", "4800,E,7,2"}) EXPECT_NO_THROW(c.setSettings(good)) << good;
  for (const char* bad : {"", ",N,8,1", "abc,N,8,1", "9600", "9600,N,9,1", "9600,X,8,1", "9600,N,8,3", "1,N,8,1"})
    EXPECT_EQ(failureOf([&] { c.setSettings(bad); }), Failure::InvalidValue) << bad;
  EXPECT_EQ(c.settings(), "4800,E,7,2");
  // A closed control refuses buffer and data operations.
  EXPECT_THROW(c.setInBufferCount(0), RuntimeFailure);
  EXPECT_THROW(c.output(Bytes{1}), RuntimeFailure);
  EXPECT_THROW(c.input(), RuntimeFailure);
  EXPECT_NO_THROW(c.setPortOpen(false));
}

}  // namespace
}  // namespace xl::platform
