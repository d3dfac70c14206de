#include "platform/serial_port.h"

#include <map>
#include <stdexcept>
#include <vector>

#include "platform/failure.h"

namespace xl::platform {

namespace {

PortDriver* gDriver = nullptr;
PortTrace gTrace;

// Which control holds which port: the exclusive-open registry.
std::map<std::string, const SerialControl*>& registry() {
  static std::map<std::string, const SerialControl*> r;
  return r;
}

}  // namespace

PortChannel::~PortChannel() = default;
PortDriver::~PortDriver() = default;

PortDriver& portDriver() {
  if (!gDriver) throw std::logic_error("no port driver set");
  return *gDriver;
}
void setPortDriver(PortDriver* d) { gDriver = d; }
void setPortTrace(PortTrace trace) { gTrace = std::move(trace); }

std::string portName(int number) { return "COM" + std::to_string(number); }

bool portHeld(const std::string& name) { return registry().count(name) != 0; }

SerialControl::SerialControl(std::string name) : name_(std::move(name)) {}

SerialControl::~SerialControl() {
  if (channel_) {
    registry().erase(openName_);
    channel_.reset();
  }
}

void SerialControl::trace(const std::string& op, const std::string& value) const {
  if (gTrace) gTrace(name_, op, value);
}

void SerialControl::setCommPort(int port) {
  trace("CommPort", std::to_string(port));
  if (channel_) fail(Failure::PortAlreadyOpen, "port already open");
  if (port < 1 || port > 255) fail(Failure::InvalidPort, "invalid port number " + std::to_string(port));
  commPort_ = port;
}

namespace {

std::string trimmed(const std::string& s) {
  const auto b = s.find_first_not_of(" \t");
  if (b == std::string::npos) return {};
  return s.substr(b, s.find_last_not_of(" \t") - b + 1);
}

// "baud,parity,data,stop" with a baud rate of at least 50, parity N/E/O/M/S, 4 to 8 data
// bits and 1, 1.5 or 2 stop bits. Returns the baud rate, or 0 when the text is not such.
long parseSettings(const std::string& text) {
  std::vector<std::string> f;
  std::size_t start = 0;
  for (;;) {
    const auto comma = text.find(',', start);
    f.push_back(trimmed(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start)));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  if (f.size() != 4 || f[0].empty() || f[0].size() > 7) return 0;
  for (char c : f[0])
    if (c < '0' || c > '9') return 0;
  const long baud = std::stol(f[0]);
  const bool parity = f[1].size() == 1 && std::string("NnEeOoMmSs").find(f[1][0]) != std::string::npos;
  const bool data = f[2].size() == 1 && f[2][0] >= '4' && f[2][0] <= '8';
  const bool stop = f[3] == "1" || f[3] == "1.5" || f[3] == "2";
  return (baud >= 50 && parity && data && stop) ? baud : 0;
}

}  // namespace

void SerialControl::setSettings(const std::string& settings) {
  trace("Settings", settings);
  const long baud = parseSettings(settings);
  if (baud == 0) fail(Failure::InvalidValue, "invalid property value: '" + settings + "'");
  settings_ = settings;
  baud_ = static_cast<int>(baud);
}

void SerialControl::setInputMode(int mode) { trace("InputMode", std::to_string(mode)); }
void SerialControl::setInputLen(int len) { trace("InputLen", std::to_string(len)); }

void SerialControl::setInBufferSize(int size) {
  trace("InBufferSize", std::to_string(size));
  if (channel_) fail(Failure::PortAlreadyOpen, "port already open");
  inBufferSize_ = size;
}

void SerialControl::setOutBufferSize(int size) {
  trace("OutBufferSize", std::to_string(size));
  if (channel_) fail(Failure::PortAlreadyOpen, "port already open");
  outBufferSize_ = size;
}

void SerialControl::setPortOpen(bool open) {
  trace("PortOpen", open ? "True" : "False");
  if (!open) {
    if (channel_) {
      channel_.reset();
      registry().erase(openName_);
      openName_.clear();
    }
    return;
  }
  if (channel_) fail(Failure::PortAlreadyOpen, "port already open");
  const std::string name = portName(commPort_);
  if (portHeld(name)) fail(Failure::PortAlreadyOpen, name + " is held by another control");
  auto channel = portDriver().open(name, LineSettings{baud_, inBufferSize_, outBufferSize_});
  channel->onEvent = [this](CommEvent e) {
    if (e == CommEvent::Receive && rThreshold_ < 1) return;
    if (onComm) onComm(e);
  };
  channel_ = std::move(channel);
  openName_ = name;
  registry()[name] = this;
}

void SerialControl::setSThreshold(int n) { trace("SThreshold", std::to_string(n)); }
void SerialControl::setRThreshold(int n) {
  trace("RThreshold", std::to_string(n));
  rThreshold_ = n;
}

void SerialControl::setInBufferCount(int n) {
  trace("InBufferCount", std::to_string(n));
  if (!channel_) fail(Failure::PortNotOpen, "port not open");
  if (n == 0) channel_->clearInput();
}

void SerialControl::setOutBufferCount(int n) {
  trace("OutBufferCount", std::to_string(n));
  if (!channel_) fail(Failure::PortNotOpen, "port not open");
  if (n == 0) channel_->clearOutput();
}

int SerialControl::inBufferCount() const {
  if (!channel_) fail(Failure::PortNotOpen, "port not open");
  return static_cast<int>(channel_->bytesAvailable());
}

void SerialControl::output(const Bytes& bytes) {
  if (gTrace) {
    static const char* kDigits = "0123456789ABCDEF";
    std::string hex;
    for (std::uint8_t b : bytes) {
      if (!hex.empty()) hex += ' ';
      hex += kDigits[b >> 4];
      hex += kDigits[b & 0xF];
    }
    trace("Output", hex);
  }
  if (!channel_) fail(Failure::PortNotOpen, "port not open");
  channel_->write(bytes);
}

Bytes SerialControl::input() {
  trace("Input", "");
  if (!channel_) fail(Failure::PortNotOpen, "port not open");
  return channel_->readAll();
}

}  // namespace xl::platform
