#include "platform/gateway_port.h"

#include <QByteArray>
#include <QString>
#include <QTcpSocket>

#include "platform/failure.h"

namespace xl::platform {

class GatewayChannel;

// The connection to one gateway, kept across openings of its port.
class GatewayLink {
 public:
  GatewayLink(GatewayAddress address, Duration timeout) : address_(std::move(address)), timeout_(timeout) {
    QObject::connect(&socket_, &QTcpSocket::connected, [this] { connected(); });
    QObject::connect(&socket_, &QTcpSocket::disconnected, [this] { dropped(); });
    QObject::connect(&socket_, &QTcpSocket::errorOccurred, [this](QAbstractSocket::SocketError) {
      if (connecting_) attemptFailed();
    });
    QObject::connect(&socket_, &QTcpSocket::readyRead, [this] { received(); });
  }
  ~GatewayLink() {
    cancelTimeout();
    socket_.disconnect();
    socket_.abort();
  }

  const GatewayAddress& address() const { return address_; }
  // An attempt to connect is under way.
  bool connecting() const { return connecting_; }

  void connect() {
    if (connecting_ || socket_.state() == QAbstractSocket::ConnectedState) return;
    connecting_ = true;
    socket_.abort();
    socket_.connectToHost(QString::fromStdString(address_.host), address_.port);
    timeoutScheduler_ = &scheduler();
    timeoutTask_ = timeoutScheduler_->post(timeout_, [this] {
      timeoutTask_ = 0;
      if (connecting_) attemptFailed();
    });
  }

  void send(const Bytes& bytes) {
    const QByteArray data(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
    if (socket_.state() == QAbstractSocket::ConnectedState) {
      socket_.write(data);
    } else {
      waiting_ += data;
      connect();
    }
  }
  void dropWaiting() { waiting_.clear(); }
  std::size_t bytesToWrite() const { return static_cast<std::size_t>(waiting_.size() + socket_.bytesToWrite()); }
  // A closing channel: what was written goes on towards the gateway now.
  void flush() {
    if (socket_.state() == QAbstractSocket::ConnectedState) socket_.flush();
  }

  void attach(GatewayChannel* channel) { channel_ = channel; }
  void detach(GatewayChannel* channel) {
    if (channel_ == channel) channel_ = nullptr;
  }

 private:
  void connected();
  void dropped();
  void received();
  void attemptFailed() {
    connecting_ = false;
    waiting_.clear();
    cancelTimeout();
    socket_.abort();
  }
  void cancelTimeout() {
    if (timeoutTask_ != 0) timeoutScheduler_->cancel(timeoutTask_);
    timeoutTask_ = 0;
  }

  GatewayAddress address_;
  Duration timeout_;
  QTcpSocket socket_;
  QByteArray waiting_;  // written before the connection stood
  bool connecting_ = false;
  bool established_ = false;  // connected, and not yet told of its end
  TaskId timeoutTask_ = 0;
  Scheduler* timeoutScheduler_ = nullptr;  // the queue the timeout waits on
  GatewayChannel* channel_ = nullptr;
};

// One opening of a gateway port.
class GatewayChannel : public PortChannel {
 public:
  explicit GatewayChannel(GatewayLink& link) : link_(link) { link_.attach(this); }
  ~GatewayChannel() override {
    *alive_ = false;
    link_.detach(this);
    link_.flush();
  }

  void write(const Bytes& bytes) override { link_.send(bytes); }
  Bytes readAll() override {
    Bytes out;
    out.swap(input_);
    armed_ = true;
    return out;
  }
  std::size_t bytesAvailable() override { return input_.size(); }
  void clearInput() override {
    input_.clear();
    armed_ = true;
  }
  void clearOutput() override { link_.dropWaiting(); }
  std::size_t bytesToWrite() override { return link_.bytesToWrite(); }

  void received(const QByteArray& data) {
    input_.insert(input_.end(), data.begin(), data.end());
    if (!armed_ || data.isEmpty()) return;
    armed_ = false;
    raise(CommEvent::Receive);
  }
  // Events go through the scheduler, so they wait behind an open receive window like ticks.
  void raise(CommEvent e) {
    scheduler().post(Duration::zero(), [alive = alive_, this, e] {
      if (*alive && onEvent) onEvent(e);
    });
  }

 private:
  GatewayLink& link_;
  Bytes input_;
  bool armed_ = true;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

void GatewayLink::connected() {
  connecting_ = false;
  established_ = true;
  cancelTimeout();
  // Small frames go out at once, not gathered.
  socket_.setSocketOption(QAbstractSocket::LowDelayOption, 1);
  if (!waiting_.isEmpty()) socket_.write(waiting_);
  waiting_.clear();
}

void GatewayLink::dropped() {
  if (!established_) return;  // a failed attempt, told by errorOccurred
  established_ = false;
  if (channel_) channel_->raise(CommEvent::LineError);
}

void GatewayLink::received() {
  const QByteArray data = socket_.readAll();
  if (channel_) channel_->received(data);
}

GatewayDriver::GatewayDriver(PortDriver& serial, std::function<std::string(const std::string&)> gatewayOf,
                             Duration connectTimeout)
    : serial_(serial), gatewayOf_(std::move(gatewayOf)), connectTimeout_(connectTimeout) {}

GatewayDriver::~GatewayDriver() = default;

std::unique_ptr<PortChannel> GatewayDriver::open(const std::string& name, const LineSettings& settings) {
  const std::string value = gatewayOf_ ? gatewayOf_(name) : std::string();
  if (value.empty()) {
    links_.erase(name);
    return serial_.open(name, settings);
  }
  const auto address = parseGatewayAddress(value);
  if (!address) fail(Failure::PortUnavailable, name + ": no gateway address in '" + value + "'");
  auto& link = links_[name];
  // A changed address is a new gateway. The exclusive opening of ports guarantees that no
  // channel of this name is open now.
  if (!link || link->address() != *address) link = std::make_unique<GatewayLink>(*address, connectTimeout_);
  if (link->connecting()) fail(Failure::PortUnavailable, name + ": connecting to " + gatewayShown(*address));
  return std::make_unique<GatewayChannel>(*link);
}

}  // namespace xl::platform
