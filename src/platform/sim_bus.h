#pragma once
// A simulated RS-485 bus behind the serial-port interface, for tests and the in-process demo.
//
// A `SimLine` is one port with a baud rate and the devices hanging on it. What the master
// writes takes 10 bits a byte on the wire; when the whole frame has arrived, every device sees
// it and may answer. A reply's bytes arrive one by one at wire speed, so a 75-byte reply at
// 9600 baud takes 78 ms from first to last byte. A master that opens the port at another baud
// rate than the line's is not understood: the devices see noise and stay silent.
//
// Time is the scheduler's, so under a VirtualClock a test sees every byte at its exact time.

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/serial_port.h"

namespace xl::platform {

// One piece of a reply: `gap` of silence on the line, then `bytes` at wire speed.
// The first part's gap is the device's response latency after the request's last byte.
struct SimReplyPart {
  Duration gap{0};
  Bytes bytes;
};

class SimDevice {
 public:
  virtual ~SimDevice();
  // A whole frame from the master has arrived at `at`. The reply, if any, as parts.
  virtual std::vector<SimReplyPart> onFrame(const Bytes& frame, Duration at) = 0;
};

// What crossed the wire, for tests: who sent it, when its first and last byte were on the line.
struct WireFrame {
  bool fromMaster = true;
  Duration start{0};
  Duration end{0};
  Bytes bytes;
};

class SimChannel;

class SimLine {
 public:
  SimLine(std::string name, int baud) : name_(std::move(name)), baud_(baud) {}
  const std::string& name() const { return name_; }
  int baud() const { return baud_; }
  void attach(std::shared_ptr<SimDevice> device) { devices_.push_back(std::move(device)); }
  const std::vector<std::shared_ptr<SimDevice>>& devices() const { return devices_; }

  // Everything that crossed the wire so far, in order of start.
  const std::vector<WireFrame>& wire() const { return wire_; }
  void clearWire() { wire_.clear(); }

  // Whether a port of the program holds this line open now.
  bool isOpen() const { return open_ != nullptr; }

  // The time one byte takes on this line: 10 bits at the baud rate.
  Duration byteTime(std::size_t count) const;

 private:
  friend class SimChannel;
  friend class SimBusDriver;
  void masterWrite(const Bytes& bytes, int masterBaud);
  void deliver(Bytes frame, int masterBaud);
  void notifyChannel();

  std::string name_;
  int baud_;
  std::vector<std::shared_ptr<SimDevice>> devices_;
  std::vector<WireFrame> wire_;
  // Reply bytes on their way to the master, with their arrival times.
  std::deque<std::pair<Duration, std::uint8_t>> air_;
  Duration txFree_{0};  // when the master's transmitter is free again
  SimChannel* open_ = nullptr;
};

class SimBusDriver : public PortDriver {
 public:
  SimLine& addLine(const std::string& name, int baud);
  SimLine* line(const std::string& name);
  std::unique_ptr<PortChannel> open(const std::string& name, const LineSettings& settings) override;

 private:
  std::map<std::string, std::unique_ptr<SimLine>> lines_;
};

}  // namespace xl::platform
