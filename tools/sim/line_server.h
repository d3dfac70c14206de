#pragma once
// One simulated line of the tool: a pseudo-terminal, the controllers hanging on it, the frame
// detection of the incoming bytes and the paced writing of the replies.

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/sim/controller.h"
#include "tools/sim/line_timing.h"
#include "tools/sim/pty_port.h"

namespace xl::sim {

class LineServer {
 public:
  // `log` receives one line per event, without a time stamp.
  using Log = std::function<void(const std::string&)>;

  LineServer(std::string name, int baud, const std::filesystem::path& link, Log log);

  void attach(std::shared_ptr<Controller> controller) { controllers_.push_back(std::move(controller)); }

  const std::string& name() const { return name_; }
  int baud() const { return baud_; }
  int fd() const { return pty_.fd(); }
  const PtyPort& pty() const { return pty_; }

  // Reads what has come in from the program.
  void readInput(Duration now);
  // Hands complete frames to the controllers and writes the reply bytes that are due.
  void service(Duration now);
  // When `service` has something to do next, if anything is pending.
  std::optional<Duration> nextDeadline() const;

  // The controller at `address` (its present address), or null.
  Controller* find(std::uint8_t address) const;
  const std::vector<std::shared_ptr<Controller>>& controllers() const { return controllers_; }

 private:
  std::string name_;
  int baud_;
  PtyPort pty_;
  Log log_;
  FrameAssembler frames_;
  ReplyPacer replies_;
  std::vector<std::shared_ptr<Controller>> controllers_;
};

// Hex digits of `bytes`, two a byte, separated by blanks.
std::string spacedHex(const Bytes& bytes);

}  // namespace xl::sim
