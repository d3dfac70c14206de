#include "monitoring/line_scan.h"

#include <utility>

namespace xl::monitoring {

LineScan::LineScan(ReplyFn onReply, EndedFn onEnded) : onReply_(std::move(onReply)), onEnded_(std::move(onEnded)) {}

LineScan::~LineScan() {
  stop();
  for (auto& [name, line] : lines_) link::SerialSession::removeLineScanControl(&line->session->control());
}

LineScan::Line& LineScan::lineFor(const std::string& portName) {
  auto& slot = lines_[portName];
  if (!slot) {
    slot = std::make_unique<Line>();
    Line* line = slot.get();
    link::SessionOptions options;
    options.quickReceive = true;
    options.keepOpen = true;
    line->session = std::make_unique<link::SerialSession>(
        "FrmGlobalMonitoring.Line." + portName, options,
        [this, line](Bytes& data, const std::string&) { onReply_(line->currentRow, data); });
    line->session->setOnExchangeEnded([this, line] {
      // After the reply handler: the next request of this line goes out at once.
      if (onEnded_) onEnded_(line->currentRow, line->session->endedRequest());
      if (line->busy) sendNext(*line);
    });
    link::SerialSession::addLineScanControl(&line->session->control());
  }
  return *slot;
}

void LineScan::run(std::vector<Request> requests, std::function<void()> whenDone) {
  stop();
  whenDone_ = std::move(whenDone);
  for (auto& r : requests) lineFor(link::portNameOf(r.portText)).queue.push_back(std::move(r));
  std::vector<Line*> started;
  for (auto& [name, line] : lines_)
    if (!line->queue.empty()) {
      line->busy = true;
      ++busyLines_;
      started.push_back(line.get());
    }
  if (started.empty()) {
    if (auto done = std::move(whenDone_)) done();
    return;
  }
  for (Line* line : started) sendNext(*line);
}

void LineScan::stop() {
  for (auto& [name, line] : lines_) {
    if (line->retry) platform::scheduler().cancel(line->retry);
    line->retry = 0;
    line->queue.clear();
    line->next = 0;
    line->busy = false;
    line->session->closePort();
  }
  busyLines_ = 0;
  whenDone_ = {};
}

void LineScan::sendNext(Line& line) {
  if (line.next >= line.queue.size()) {
    lineFinished(line);
    return;
  }
  const Request& r = line.queue[line.next++];
  line.currentRow = r.row;
  line.session->sendRequest(r.portText, r.frame);
  if (!line.session->control().portOpen()) {
    // Refused (the port is held elsewhere, or the port text is bad): counted as silence.
    Line* l = &line;
    line.retry = platform::scheduler().post(platform::ms(link::SerialSession::kSilenceLimitMs), [this, l] {
      l->retry = 0;
      if (l->busy) sendNext(*l);
    });
  }
}

void LineScan::lineFinished(Line& line) {
  line.session->closePort();
  line.busy = false;
  line.queue.clear();
  line.next = 0;
  if (--busyLines_ == 0)
    if (auto done = std::move(whenDone_)) done();
}

}  // namespace xl::monitoring
