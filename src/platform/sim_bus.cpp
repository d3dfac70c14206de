#include "platform/sim_bus.h"

#include "platform/failure.h"

namespace xl::platform {

SimDevice::~SimDevice() = default;

// The master's end of an open simulated port.
class SimChannel : public PortChannel {
 public:
  SimChannel(SimLine& line, int baud) : line_(line), baud_(baud), openedAt_(scheduler().now()) {
    line_.open_ = this;
    scheduleNotify();
  }
  ~SimChannel() override {
    cancelNotify();
    line_.open_ = nullptr;
  }

  void write(const Bytes& bytes) override { line_.masterWrite(bytes, baud_); }

  Bytes readAll() override {
    pull();
    Bytes out;
    out.swap(buffer_);
    armed_ = true;
    scheduleNotify();
    return out;
  }
  std::size_t bytesAvailable() override {
    pull();
    return buffer_.size();
  }
  void clearInput() override {
    pull();
    buffer_.clear();
    armed_ = true;
    scheduleNotify();
  }
  void clearOutput() override {}
  std::size_t bytesToWrite() override { return 0; }

  // Something new is on the air: make sure the first byte to come raises the event.
  void scheduleNotify() {
    cancelNotify();
    if (!armed_) return;
    const Duration now = scheduler().now();
    for (const auto& [at, byte] : line_.air_) {
      (void)byte;
      if (at > openedAt_) {
        notifyTask_ = scheduler().post(at - now, [this] { arrived(); });
        return;
      }
    }
  }

 private:
  void cancelNotify() {
    if (notifyTask_) {
      try {
        scheduler().cancel(notifyTask_);
      } catch (...) {}
      notifyTask_ = 0;
    }
  }

  // Moves every byte that has arrived by now from the air into the input buffer. Bytes that
  // arrived before the port was opened are lost.
  void pull() {
    const Duration now = scheduler().now();
    while (!line_.air_.empty() && line_.air_.front().first <= now) {
      if (line_.air_.front().first > openedAt_) buffer_.push_back(line_.air_.front().second);
      line_.air_.pop_front();
    }
  }

  void arrived() {
    notifyTask_ = 0;
    pull();
    if (armed_ && !buffer_.empty()) {
      armed_ = false;
      if (onEvent) onEvent(CommEvent::Receive);
    } else {
      scheduleNotify();
    }
  }

  SimLine& line_;
  int baud_;
  Duration openedAt_;
  Bytes buffer_;
  bool armed_ = true;
  TaskId notifyTask_ = 0;
};

Duration SimLine::byteTime(std::size_t count) const {
  // 10 bits a byte; exact to the microsecond for the whole count.
  return Duration(static_cast<std::int64_t>(count) * 10'000'000 / baud_);
}

void SimLine::masterWrite(const Bytes& bytes, int masterBaud) {
  if (bytes.empty()) return;
  const Duration now = scheduler().now();
  const Duration start = std::max(now, txFree_);
  const Duration end = start + Duration(static_cast<std::int64_t>(bytes.size()) * 10'000'000 / masterBaud);
  txFree_ = end;
  wire_.push_back(WireFrame{true, start, end, bytes});
  scheduler().post(end - now, [this, frame = bytes, masterBaud] { deliver(frame, masterBaud); });
}

void SimLine::deliver(Bytes frame, int masterBaud) {
  // A frame sent at the wrong baud rate is noise to every device.
  if (masterBaud != baud_) return;
  const Duration now = scheduler().now();
  if (!open_)
    while (!air_.empty() && air_.front().first <= now) air_.pop_front();
  for (const auto& device : devices_) {
    Duration t = now;
    for (const SimReplyPart& part : device->onFrame(frame, now)) {
      t += part.gap;
      if (part.bytes.empty()) continue;
      // Bytes of a reply never overlap bytes already on their way.
      if (!air_.empty() && air_.back().first > t) t = air_.back().first;
      const Duration start = t;
      for (std::size_t k = 0; k < part.bytes.size(); ++k) air_.emplace_back(start + byteTime(k + 1), part.bytes[k]);
      t = start + byteTime(part.bytes.size());
      wire_.push_back(WireFrame{false, start, t, part.bytes});
    }
  }
  notifyChannel();
}

void SimLine::notifyChannel() {
  if (open_) open_->scheduleNotify();
}

SimLine& SimBusDriver::addLine(const std::string& name, int baud) {
  auto& slot = lines_[name];
  slot = std::make_unique<SimLine>(name, baud);
  return *slot;
}

SimLine* SimBusDriver::line(const std::string& name) {
  auto it = lines_.find(name);
  return it == lines_.end() ? nullptr : it->second.get();
}

std::unique_ptr<PortChannel> SimBusDriver::open(const std::string& name, const LineSettings& settings) {
  SimLine* l = line(name);
  if (!l) fail(Failure::PortUnavailable, name + " does not exist");
  if (l->open_) fail(Failure::PortAlreadyOpen, name + " is open");
  return std::make_unique<SimChannel>(*l, settings.baud);
}

}  // namespace xl::platform
