#include "platform/qt_serial_port.h"

#include <QElapsedTimer>
#include <QSerialPort>
#include <QThread>
#include <filesystem>
#include <memory>
#include <system_error>

#ifndef _WIN32
#include <sys/ioctl.h>
#include <termios.h>
#endif

#include "platform/failure.h"

namespace xl::platform {

namespace {

class QtChannel : public PortChannel {
 public:
  QtChannel(std::unique_ptr<QSerialPort> port, int baud) : port_(std::move(port)), baud_(baud > 0 ? baud : 9600) {
    QObject::connect(port_.get(), &QSerialPort::readyRead, [this] { dataArrived(); });
    QObject::connect(port_.get(), &QSerialPort::errorOccurred, [this](QSerialPort::SerialPortError e) {
      if (e != QSerialPort::NoError && e != QSerialPort::TimeoutError) raise(CommEvent::LineError);
    });
  }
  ~QtChannel() override {
    *alive_ = false;
    drain();
    port_->close();
  }

  // The bytes go to the device at once; Qt would otherwise keep them until the event loop runs,
  // and a close in the same handler would never let them out.
  void write(const Bytes& bytes) override {
    port_->write(reinterpret_cast<const char*>(bytes.data()), static_cast<qint64>(bytes.size()));
    port_->flush();
  }
  Bytes readAll() override {
    const QByteArray data = port_->readAll();
    armed_ = true;
    return Bytes(data.begin(), data.end());
  }
  std::size_t bytesAvailable() override { return static_cast<std::size_t>(port_->bytesAvailable()); }
  void clearInput() override {
    port_->clear(QSerialPort::Input);
    port_->readAll();
    armed_ = true;
  }
  // Dropping the output never drops a request that was written: it leaves first (see drain),
  // and only what is left after its wire time is cleared.
  void clearOutput() override {
    if (drain()) port_->clear(QSerialPort::Output);
  }
  std::size_t bytesToWrite() override { return static_cast<std::size_t>(port_->bytesToWrite()); }

 private:
  void dataArrived() {
    if (!armed_) return;
    armed_ = false;
    raise(CommEvent::Receive);
  }
  // Events go through the scheduler, so they wait behind an open receive window like ticks.
  void raise(CommEvent e) {
    scheduler().post(Duration::zero(), [alive = alive_, this, e] {
      if (*alive && onEvent) onEvent(e);
    });
  }

  // Waits until the bytes written have left: first Qt's buffer, then the driver's queue. The
  // wait is bounded by their wire time (10 bits a byte at the line's rate) and a margin, a few
  // milliseconds for a request. Returns whether anything is still queued after that.
  bool drain() {
    const qint64 queued = static_cast<qint64>(port_->bytesToWrite()) + driverQueue();
    if (queued == 0) return false;
    const qint64 limitMs = queued * 10 * 1000 / baud_ + 20;
    QElapsedTimer clock;
    clock.start();
    while (port_->bytesToWrite() > 0 && clock.elapsed() < limitMs)
      if (!port_->waitForBytesWritten(static_cast<int>(limitMs - clock.elapsed()))) break;
    while (driverQueue() > 0 && clock.elapsed() < limitMs) QThread::usleep(200);
    return port_->bytesToWrite() > 0 || driverQueue() > 0;
  }
  // Bytes the operating system still holds for the line.
  qint64 driverQueue() {
#ifndef _WIN32
    int n = 0;
    if (port_->isOpen() && ::ioctl(static_cast<int>(port_->handle()), TIOCOUTQ, &n) == 0) return n;
#endif
    return 0;
  }

  std::unique_ptr<QSerialPort> port_;
  int baud_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  bool armed_ = true;
};

}  // namespace

QtPortDriver::QtPortDriver(std::function<std::string(const std::string&)> resolve) : resolve_(std::move(resolve)) {}

std::unique_ptr<PortChannel> QtPortDriver::open(const std::string& name, const LineSettings& settings) {
  const std::string path = resolve_(name);
#ifndef _WIN32
  // A device that is not there fails at once: Qt would first make (and sync to disk) a lock
  // file for it, some milliseconds a number, which the port dialog's probe of 100 numbers
  // would pay a hundred times.
  std::error_code ec;
  if (!std::filesystem::exists(path, ec)) fail(Failure::PortUnavailable, name + ": no such device");
#endif
  auto port = std::make_unique<QSerialPort>();
  port->setPortName(QString::fromStdString(path));
  port->setReadBufferSize(settings.inBufferSize);
  if (!port->open(QIODevice::ReadWrite))
    fail(Failure::PortUnavailable, name + ": " + port->errorString().toStdString());
  if (!port->setBaudRate(settings.baud) || !port->setDataBits(QSerialPort::Data8) ||
      !port->setParity(QSerialPort::NoParity) || !port->setStopBits(QSerialPort::OneStop) ||
      !port->setFlowControl(QSerialPort::NoFlowControl))
    fail(Failure::InvalidValue, name + ": line settings refused");
  return std::make_unique<QtChannel>(std::move(port), settings.baud);
}

}  // namespace xl::platform
