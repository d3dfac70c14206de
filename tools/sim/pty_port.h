#pragma once
// A pseudo-terminal that stands for one serial port of the simulator.
//
// The master side is the simulator's end of the line. The slave side is what a program opens as
// its serial port, through a symbolic link such as ports/COM3. The slave is set to raw mode at
// the line's baud rate, so bytes pass unaltered, and the simulator keeps its own descriptor of
// the slave open: the pseudo-terminal then survives a program that opens and closes the port
// again and again, and the master never sees a hang-up.

#include <filesystem>
#include <string>

#include "platform/bytes.h"

namespace xl::sim {

class PtyPort {
 public:
  // Opens the pseudo-terminal and links `link` to its slave (a stale link there is replaced).
  // Raises std::runtime_error when the system refuses.
  PtyPort(int baud, std::filesystem::path link);
  ~PtyPort();
  PtyPort(const PtyPort&) = delete;
  PtyPort& operator=(const PtyPort&) = delete;

  int fd() const { return master_; }
  const std::string& slavePath() const { return slavePath_; }
  const std::filesystem::path& link() const { return link_; }

  // All bytes that the program on the other end has written, without waiting.
  Bytes read();
  // Writes `bytes` towards the program; what the terminal cannot take is lost, as on a line
  // that nobody listens to.
  void write(const Bytes& bytes);
  // The baud rate the program on the other end has set, or 0 when it is not a standard rate.
  int programBaud() const;

 private:
  int master_ = -1;
  int slave_ = -1;
  std::string slavePath_;
  std::filesystem::path link_;
};

}  // namespace xl::sim
