#include "platform/qt_serial_port.h"

#include <QSerialPort>
#include <filesystem>
#include <memory>
#include <system_error>

#include "platform/failure.h"

namespace xl::platform {

namespace {

class QtChannel : public PortChannel {
 public:
  explicit QtChannel(std::unique_ptr<QSerialPort> port) : port_(std::move(port)) {
    QObject::connect(port_.get(), &QSerialPort::readyRead, [this] { dataArrived(); });
    QObject::connect(port_.get(), &QSerialPort::errorOccurred, [this](QSerialPort::SerialPortError e) {
      if (e != QSerialPort::NoError && e != QSerialPort::TimeoutError) raise(CommEvent::LineError);
    });
  }
  ~QtChannel() override {
    *alive_ = false;
    port_->close();
  }

  void write(const Bytes& bytes) override {
    port_->write(reinterpret_cast<const char*>(bytes.data()), static_cast<qint64>(bytes.size()));
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
  void clearOutput() override { port_->clear(QSerialPort::Output); }
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

  std::unique_ptr<QSerialPort> port_;
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
  if (!port->open(QIODevice::ReadWrite)) fail(Failure::PortUnavailable, name + ": " + port->errorString().toStdString());
  if (!port->setBaudRate(settings.baud) || !port->setDataBits(QSerialPort::Data8) ||
      !port->setParity(QSerialPort::NoParity) || !port->setStopBits(QSerialPort::OneStop) ||
      !port->setFlowControl(QSerialPort::NoFlowControl))
    fail(Failure::InvalidValue, name + ": line settings refused");
  return std::make_unique<QtChannel>(std::move(port));
}

}  // namespace xl::platform
