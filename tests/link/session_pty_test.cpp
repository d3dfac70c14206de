// A session on a real pseudo-terminal under the program's scheduler: what a reply handler
// writes just before the session closes the port must be read at the far end.

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <cerrno>

#include "link/frame_codec.h"
#include "link/serial_session.h"
#include "platform/qt_scheduler.h"
#include "platform/qt_serial_port.h"
#include "support/qt_app.h"

namespace xl::link {
namespace {

class PtyLine {
 public:
  PtyLine() {
    master_ = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (master_ >= 0 && ::grantpt(master_) == 0 && ::unlockpt(master_) == 0) slave_ = ::ptsname(master_);
    // The slave stays open on this side too, so that a close of the program's end does not
    // hang the line up and throw away what the master has not read yet.
    if (!slave_.empty()) keeper_ = ::open(slave_.c_str(), O_RDWR | O_NOCTTY);
  }
  ~PtyLine() {
    if (keeper_ >= 0) ::close(keeper_);
    if (master_ >= 0) ::close(master_);
  }
  const std::string& slavePath() const { return slave_; }
  void write(const Bytes& b) { ASSERT_EQ(::write(master_, b.data(), b.size()), static_cast<ssize_t>(b.size())); }
  // Whatever arrives within `ms` milliseconds, pumping the program's events meanwhile.
  Bytes read(int ms) {
    Bytes got;
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms) {
      QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
      pollfd p{master_, POLLIN, 0};
      if (::poll(&p, 1, 5) > 0 && (p.revents & POLLIN)) {
        std::uint8_t buf[256];
        const ssize_t n = ::read(master_, buf, sizeof buf);
        if (n > 0) got.insert(got.end(), buf, buf + n);
      }
    }
    return got;
  }

 private:
  int master_ = -1;
  int keeper_ = -1;
  std::string slave_;
};

TEST(SessionOnPty, RequestWrittenByAReplyHandlerLeavesBeforeTheClose) {
  testing::testApp();
  platform::QtScheduler scheduler;
  platform::setScheduler(&scheduler);
  PtyLine pty;
  ASSERT_FALSE(pty.slavePath().empty());
  platform::QtPortDriver driver([&](const std::string&) { return pty.slavePath(); });
  platform::setPortDriver(&driver);

  const Bytes first = requestFrame(1, " 03 000A 0011");
  const Bytes chained = requestFrame(1, " 03 E001 0021");
  int replies = 0;
  SerialSession* self = nullptr;
  // As the parameter screen does: the answer to the first request sends the block read at once,
  // and the session then drops its buffers and closes the port.
  SerialSession session("Pty.MSComm1", SessionOptions{}, [&](Bytes&, const std::string&) {
    ++replies;
    self->sendRequest("COM1,9600", chained);
  });
  self = &session;

  session.sendRequest("COM1,9600", first);
  EXPECT_EQ(pty.read(100), first);
  Bytes reply = {0x01, 0x03, 0x22};
  reply.resize(3 + 34, 0x11);
  pty.write(appendCrc(reply));
  EXPECT_EQ(pty.read(400), chained);
  EXPECT_EQ(replies, 1);
  EXPECT_FALSE(session.control().portOpen());
  platform::setScheduler(nullptr);
}

}  // namespace
}  // namespace xl::link
