#pragma once
// The fast scan's engine: one session per line, the lines polled side by side, the next
// request of a line written as soon as the previous exchange has ended (its receive window
// closed, or the silence limit passed). No Qt.
//
// A run takes a list of requests in order; the requests of each port keep their order and go
// out one after another on that port's own session, while the ports run at the same time.
// A request the port refuses (a foreground screen holds the line) counts as unanswered: the
// line goes on after the silence limit, as it would after a silent station.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "link/serial_session.h"
#include "platform/scheduler.h"

namespace xl::monitoring {

class LineScan {
 public:
  struct Request {
    int row = 0;
    std::string portText;  // "COM3,9600"
    Bytes frame;
  };
  // A verified reply of the request for `row` (byte 0 not 0).
  using ReplyFn = std::function<void(int row, Bytes& reply)>;

  // Told at the end of each exchange of a line (after its reply, if any, was handed over):
  // the row and the request.
  using EndedFn = std::function<void(int row, const Bytes& request)>;

  explicit LineScan(ReplyFn onReply, EndedFn onEnded = {});
  ~LineScan();
  LineScan(const LineScan&) = delete;
  LineScan& operator=(const LineScan&) = delete;

  // Starts a run; `whenDone` runs once every line has had all its requests. A run under way is
  // dropped first (its lines stop where they are; their done callback never runs).
  void run(std::vector<Request> requests, std::function<void()> whenDone);
  void stop();
  bool running() const { return busyLines_ > 0; }
  // The number of lines with a session of their own so far.
  std::size_t lineCount() const { return lines_.size(); }

 private:
  struct Line {
    std::unique_ptr<link::SerialSession> session;
    std::vector<Request> queue;
    std::size_t next = 0;
    int currentRow = 0;
    bool busy = false;
    platform::TaskId retry = 0;
  };
  Line& lineFor(const std::string& portName);
  void sendNext(Line& line);
  void lineFinished(Line& line);

  ReplyFn onReply_;
  EndedFn onEnded_;
  std::map<std::string, std::unique_ptr<Line>> lines_;
  int busyLines_ = 0;
  std::function<void()> whenDone_;
};

}  // namespace xl::monitoring
