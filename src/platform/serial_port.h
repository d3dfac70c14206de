#pragma once
// Serial ports: the control a screen owns, and the drivers behind it.
//
// `SerialControl` is the serial control of one screen: port number, line settings, buffer
// sizes, open state, thresholds, buffer counts, output, input and the receive event. Its
// property setters raise xl::RuntimeFailure where the control refuses a value or cannot open.
//
// Opening is exclusive across the whole program: a port that any control holds open cannot be
// opened by another control until it is closed (the monitors' cooperation rests on this).
//
// A `PortDriver` turns a port name ("COM3") into an open channel. The program uses the Qt
// serial driver; tests use the simulated bus (platform/sim_bus.h).

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/bytes.h"
#include "platform/scheduler.h"

namespace xl::platform {

// Why a receive event was raised.
enum class CommEvent { Receive, LineError };

// The driver's end of an open port.
class PortChannel {
 public:
  virtual ~PortChannel();
  virtual void write(const Bytes& bytes) = 0;
  // All bytes received so far, removed from the buffer.
  virtual Bytes readAll() = 0;
  virtual std::size_t bytesAvailable() = 0;
  virtual void clearInput() = 0;
  virtual void clearOutput() = 0;
  virtual std::size_t bytesToWrite() = 0;

  // Set by the control. The channel calls it through the scheduler when a byte arrives in an
  // empty input buffer, or on a line error.
  std::function<void(CommEvent)> onEvent;
};

struct LineSettings {
  int baud = 9600;
  int inBufferSize = 1024;
  int outBufferSize = 512;
};

class PortDriver {
 public:
  virtual ~PortDriver();
  // Opens `name` ("COM3"); raises PortUnavailable when it cannot.
  virtual std::unique_ptr<PortChannel> open(const std::string& name, const LineSettings& settings) = 0;
};

// The driver that controls open ports with. Set once at start (or by a test).
PortDriver& portDriver();
void setPortDriver(PortDriver* d);

// Observer of every property access of every control, for tests that check the exact order
// of a send. `op` is the property name as the control knows it ("PortOpen", "Output", ...).
using PortTrace = std::function<void(const std::string& control, const std::string& op, const std::string& value)>;
void setPortTrace(PortTrace trace);

class SerialControl {
 public:
  explicit SerialControl(std::string name);
  ~SerialControl();
  SerialControl(const SerialControl&) = delete;
  SerialControl& operator=(const SerialControl&) = delete;

  const std::string& name() const { return name_; }

  void setCommPort(int port);
  int commPort() const { return commPort_; }
  // "9600,N,8,1": the baud rate and the fixed line format.
  void setSettings(const std::string& settings);
  const std::string& settings() const { return settings_; }
  void setInputMode(int mode);
  void setInputLen(int len);
  void setInBufferSize(int size);
  void setOutBufferSize(int size);
  void setPortOpen(bool open);
  bool portOpen() const { return channel_ != nullptr; }
  void setSThreshold(int n);
  void setRThreshold(int n);
  void setInBufferCount(int n);
  void setOutBufferCount(int n);
  int inBufferCount() const;
  void output(const Bytes& bytes);
  Bytes input();

  // The receive event; raised at the first received byte (when RThreshold is 1 or more) and on
  // line errors.
  std::function<void(CommEvent)> onComm;

 private:
  void trace(const std::string& op, const std::string& value) const;

  std::string name_;
  int commPort_ = 1;
  std::string settings_ = "9600,N,8,1";
  int baud_ = 9600;
  int inBufferSize_ = 1024;
  int outBufferSize_ = 512;
  int rThreshold_ = 0;
  std::unique_ptr<PortChannel> channel_;
  std::string openName_;
};

// "COM" followed by the number: the name by which drivers and the exclusive registry know a port.
std::string portName(int number);

// Whether any control holds the port open.
bool portHeld(const std::string& name);

}  // namespace xl::platform
