#include "tools/sim/pty_port.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace xl::sim {

namespace {

const std::pair<int, speed_t> kRates[] = {
    {1200, B1200},   {2400, B2400},     {4800, B4800},     {9600, B9600},     {19200, B19200},   {38400, B38400},
    {57600, B57600}, {115200, B115200}, {230400, B230400}, {460800, B460800}, {921600, B921600},
};

speed_t speedOf(int baud) {
  for (auto [rate, code] : kRates)
    if (rate == baud) return code;
  return B9600;
}

int baudOf(speed_t code) {
  for (auto [rate, c] : kRates)
    if (c == code) return rate;
  return 0;
}

[[noreturn]] void systemFailure(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

}  // namespace

PtyPort::PtyPort(int baud, std::filesystem::path link) : link_(std::move(link)) {
  master_ = posix_openpt(O_RDWR | O_NOCTTY);
  if (master_ < 0) systemFailure("posix_openpt");
  if (grantpt(master_) != 0 || unlockpt(master_) != 0) {
    ::close(master_);
    systemFailure("grantpt/unlockpt");
  }
  char name[128];
  if (ptsname_r(master_, name, sizeof name) != 0) {
    ::close(master_);
    systemFailure("ptsname");
  }
  slavePath_ = name;
  slave_ = ::open(name, O_RDWR | O_NOCTTY);
  if (slave_ < 0) {
    ::close(master_);
    systemFailure("open " + slavePath_);
  }

  termios tio{};
  tcgetattr(slave_, &tio);
  cfmakeraw(&tio);
  tio.c_cflag |= CLOCAL | CREAD;
  cfsetispeed(&tio, speedOf(baud));
  cfsetospeed(&tio, speedOf(baud));
  tcsetattr(slave_, TCSANOW, &tio);
  fcntl(master_, F_SETFL, fcntl(master_, F_GETFL) | O_NONBLOCK);

  std::error_code ec;
  std::filesystem::create_directories(link_.parent_path(), ec);
  if (std::filesystem::is_symlink(std::filesystem::symlink_status(link_))) std::filesystem::remove(link_, ec);
  std::filesystem::create_symlink(slavePath_, link_, ec);
  if (ec) {
    ::close(slave_);
    ::close(master_);
    throw std::runtime_error("cannot link " + link_.string() + " to " + slavePath_ + ": " + ec.message());
  }
}

PtyPort::~PtyPort() {
  std::error_code ec;
  if (std::filesystem::read_symlink(link_, ec) == slavePath_) std::filesystem::remove(link_, ec);
  if (slave_ >= 0) ::close(slave_);
  if (master_ >= 0) ::close(master_);
}

Bytes PtyPort::read() {
  Bytes out;
  std::uint8_t buf[512];
  for (;;) {
    const ssize_t n = ::read(master_, buf, sizeof buf);
    if (n > 0) {
      out.insert(out.end(), buf, buf + n);
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    break;  // EAGAIN: nothing more; EIO cannot come while the slave is held open
  }
  return out;
}

void PtyPort::write(const Bytes& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::write(master_, bytes.data() + done, bytes.size() - done);
    if (n > 0) {
      done += static_cast<std::size_t>(n);
    } else if (n < 0 && errno == EINTR) {
      continue;
    } else {
      break;  // the terminal's buffer is full: nobody reads, the rest is lost
    }
  }
}

int PtyPort::programBaud() const {
  termios tio{};
  if (tcgetattr(slave_, &tio) != 0) return 0;
  return baudOf(cfgetospeed(&tio));
}

}  // namespace xl::sim
