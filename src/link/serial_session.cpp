#include "link/serial_session.h"

#include <algorithm>
#include <deque>
#include <exception>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "platform/failure.h"

namespace xl::link {

namespace {
platform::SerialControl* gScanControl = nullptr;
std::vector<platform::SerialControl*>& lineScanControls() {
  static std::vector<platform::SerialControl*> controls;
  return controls;
}

struct Observers {
  std::vector<std::pair<int, ExchangeObserver>> list;
  int nextId = 1;
};
Observers& observers() {
  static Observers o;
  return o;
}

std::int64_t nowUs() { return platform::scheduler().now().count(); }

// The lines: the exchange under way on each port, and the requests that wait for a line.
struct LineEntry {
  SerialSession* owner = nullptr;
  LineExchange exchange;
  std::uint64_t id = 0;
  bool replyBegun = false;
};
struct WaitingRequest {
  SerialSession* session = nullptr;
  int port = 0;
  std::string portText;
  Bytes frame;
};
struct Lines {
  std::map<int, LineEntry> busy;
  std::deque<WaitingRequest> waiting;
  std::uint64_t nextId = 1;
};
Lines& lines() {
  static Lines l;
  return l;
}
// More waiting requests than this are dropped, as a request to a busy port always was: a
// screen's timer that outpaces a silent line cannot pile up requests without end.
constexpr std::size_t kMostWaiting = 64;
}  // namespace

int addExchangeObserver(ExchangeObserver observer) {
  auto& o = observers();
  const int id = o.nextId++;
  o.list.emplace_back(id, std::move(observer));
  return id;
}

void removeExchangeObserver(int id) {
  auto& l = observers().list;
  for (auto it = l.begin(); it != l.end(); ++it)
    if (it->first == id) {
      l.erase(it);
      return;
    }
}

bool exchangesObserved() { return !observers().list.empty(); }

int getCommPort(const std::string& portText) {
  const auto comma = portText.find(',');
  if (comma == std::string::npos) return 0;
  std::string number = portText.substr(0, comma);
  for (auto at = number.find("COM"); at != std::string::npos; at = number.find("COM")) number.erase(at, 3);
  try {
    const std::int32_t n = toLong(number);
    return (n >= -32768 && n <= 32767) ? n : 0;
  } catch (const RuntimeFailure&) {
    return 0;
  }
}

std::string getBaudRate(const std::string& portText) {
  const auto comma = portText.find(',');
  return comma == std::string::npos ? portText : portText.substr(comma + 1);
}

SerialSession::SerialSession(std::string controlName, SessionOptions options, ReplyHandler onReply)
    : control_(std::move(controlName)), options_(std::move(options)), onReply_(std::move(onReply)) {
  control_.onComm = [this](platform::CommEvent) { onComm(); };
}

SerialSession::~SerialSession() {
  if (silenceTask_) platform::scheduler().cancel(silenceTask_);
  cancelReceive();
  auto& l = lines();
  std::erase_if(l.waiting, [this](const WaitingRequest& w) { return w.session == this; });
  std::erase_if(l.busy, [this](const auto& entry) { return entry.second.owner == this; });
}

std::optional<LineExchange> SerialSession::exchangeOnLine(int port) {
  const auto& busy = lines().busy;
  const auto it = busy.find(port);
  if (it == busy.end()) return std::nullopt;
  return it->second.exchange;
}

std::size_t SerialSession::waitingRequests() { return lines().waiting.size(); }

void SerialSession::holdLine(int port, const Bytes& frame) {
  auto& l = lines();
  LineEntry e;
  e.owner = this;
  e.exchange.port = port;
  e.exchange.address = frame.size() > 0 ? frame[0] : -1;
  e.exchange.function = frame.size() > 1 ? frame[1] : -1;
  e.exchange.sentUs = nowUs();
  e.id = l.nextId++;
  // A request of this session still on another line (it was cut by this send) keeps that line
  // until its own limit below.
  linePort_ = port;
  lineId_ = e.id;
  l.busy[port] = e;
  const std::uint64_t id = e.id;
  // Silence: no byte within the limit ends the exchange. A reply that has begun ends it when
  // its window is read, and at the latest one window after the limit.
  platform::scheduler().post(platform::ms(kSilenceLimitMs), [port, id] {
    auto& busy = lines().busy;
    const auto it = busy.find(port);
    if (it == busy.end() || it->second.id != id) return;
    if (!it->second.replyBegun) {
      SerialSession* owner = it->second.owner;
      releaseLine(port, id);
      if (owner && owner->lineId_ == id) owner->silenceOnLine();
      serveWaiting(port);
      return;
    }
    platform::scheduler().post(platform::ms(kReceiveWindowMs), [port, id] {
      releaseLine(port, id);
      serveWaiting(port);
    });
  });
}

void SerialSession::silenceOnLine() {
  // No byte within the limit: the request is given up, and no screen keeps a port open with
  // nothing out. A fast line keeps its port: its next request follows at once.
  linePort_ = 0;
  asked_.clear();
  if (!options_.keepOpen) closePort();
  if (pending_) {
    endRecord({});
    if (onExchangeEnded_) onExchangeEnded_();
  }
}

bool SerialSession::idle() const {
  const auto& w = lines().waiting;
  return linePort_ == 0 && !pending_ &&
         std::none_of(w.begin(), w.end(), [this](const WaitingRequest& r) { return r.session == this; });
}

void SerialSession::abandon() {
  auto& l = lines();
  std::erase_if(l.waiting, [this](const WaitingRequest& w) { return w.session == this; });
  cancelReceive();
  const int line = linePort_;
  if (line) releaseLine(line, lineId_);
  linePort_ = 0;
  asked_.clear();
  try {
    if (control_.portOpen()) control_.setPortOpen(false);
  } catch (const std::exception&) {}
  if (pending_) endRecord({});
  if (line) serveWaiting(line);
}

void SerialSession::releaseLine(int port, std::uint64_t id) {
  auto& busy = lines().busy;
  const auto it = busy.find(port);
  if (it != busy.end() && it->second.id == id) busy.erase(it);
}

void SerialSession::serveWaiting(int port) {
  auto& l = lines();
  while (!l.busy.count(port)) {
    const auto it =
        std::find_if(l.waiting.begin(), l.waiting.end(), [port](const WaitingRequest& w) { return w.port == port; });
    if (it == l.waiting.end()) return;
    WaitingRequest w = std::move(*it);
    l.waiting.erase(it);
    w.session->transmit(w.portText, w.frame);
  }
}

void SerialSession::setScanControl(platform::SerialControl* control) { gScanControl = control; }
platform::SerialControl* SerialSession::scanControl() { return gScanControl; }

void SerialSession::addLineScanControl(platform::SerialControl* control) { lineScanControls().push_back(control); }

void SerialSession::removeLineScanControl(platform::SerialControl* control) {
  auto& l = lineScanControls();
  std::erase(l, control);
}

void SerialSession::sendRequest(const std::string& portText, const Bytes& frame) {
  if (options_.leaveOnEmptyPortText && portText.empty()) return;
  const int port = getCommPort(portText);
  auto& l = lines();
  const bool othersWait =
      std::any_of(l.waiting.begin(), l.waiting.end(), [port](const WaitingRequest& w) { return w.port == port; });
  if (port > 0 && (l.busy.count(port) || othersWait)) {
    if (l.waiting.size() < kMostWaiting) l.waiting.push_back({this, port, portText, frame});
    return;
  }
  transmit(portText, frame);
}

void SerialSession::transmit(const std::string& portText, const Bytes& frame) {
  if (options_.quickReceive) {
    // A read still pending belongs to the port about to be closed.
    cancelReceive();
    expectLength_ = expectedLength(frame);
  }
  try {
    const int port = getCommPort(portText);
    // The scan's control is closed by every send, unless its exchange is under way on another
    // line (on this line it has ended: the request waited for it).
    const bool scanBusyElsewhere = std::any_of(lines().busy.begin(), lines().busy.end(), [port](const auto& e) {
      return e.second.owner && &e.second.owner->control_ == gScanControl && e.first != port;
    });
    if (gScanControl && gScanControl->portOpen() && !scanBusyElsewhere) gScanControl->setPortOpen(false);
    for (platform::SerialControl* line : lineScanControls())
      if (line != &control_ && line->portOpen() && line->commPort() == port) line->setPortOpen(false);
    // A line of the fast scan stays open from one of its exchanges to the next, on the same
    // port at the same rate; it only drops what is buffered.
    const bool reuse = options_.keepOpen && control_.portOpen() && control_.commPort() == port &&
                       control_.settings() == getBaudRate(portText) + ",N,8,1";
    if (control_.portOpen() && !reuse) control_.setPortOpen(false);
    if (reuse) {
      control_.setInBufferCount(0);
      control_.setOutBufferCount(0);
    }
    if (!control_.portOpen()) {
      // Buffer sizes are set while the port is closed, thresholds and counts once it is open.
      control_.setCommPort(port);
      control_.setSettings(getBaudRate(portText) + ",N,8,1");
      control_.setInputMode(1);
      control_.setInputLen(0);
      control_.setInBufferSize(1024);
      control_.setOutBufferSize(512);
      control_.setPortOpen(true);
      control_.setSThreshold(0);
      control_.setRThreshold(1);
      control_.setInBufferCount(0);
      control_.setOutBufferCount(0);
    }
    control_.output(frame);
    asked_ = frame;
    holdLine(port, frame);
    if (options_.remembersPort) portNumber_ = port;
    if (exchangesObserved() || onExchangeEnded_) beginRecord(portText, frame);
  } catch (const std::exception&) {
    // A port that cannot be opened or a bad port text ends the send silently.
  }
}

void SerialSession::onComm() {
  if (linePort_) {
    auto& busy = lines().busy;
    const auto it = busy.find(linePort_);
    if (it != busy.end() && it->second.id == lineId_) it->second.replyBegun = true;
  }
  if (!options_.quickReceive) {
    // The whole reply must arrive within the window that its first byte opens.
    platform::scheduler().holdFor(platform::ms(kReceiveWindowMs), [this] { finishReceive(); });
    return;
  }
  if (receiveTask_) return;
  // The event comes with the first byte; the rest of an expected reply follows at 10 bits a
  // byte. Look then (a little after), and at the end of the window in any case.
  const platform::Duration window = platform::ms(kReceiveWindowMs);
  platform::Duration look = window;
  const std::int64_t baud = [this] {
    try {
      return static_cast<std::int64_t>(std::stol(control_.settings()));
    } catch (const std::exception&) {
      return std::int64_t{0};
    }
  }();
  if (expectLength_ > 0 && baud > 0)
    look = std::min(window, platform::Duration(static_cast<std::int64_t>(expectLength_ - 1) * 10'000'000 / baud + 500));
  const platform::Duration rest = window - look;
  receiveTask_ = platform::scheduler().post(look, [this, rest] {
    receiveTask_ = 0;
    bool complete = false;
    try {
      complete = control_.portOpen() && expectLength_ > 0 &&
                 static_cast<std::size_t>(control_.inBufferCount()) >= expectLength_;
    } catch (const std::exception&) {}
    if (complete || rest <= platform::Duration::zero()) {
      finishReceive();
      return;
    }
    receiveTask_ = platform::scheduler().post(rest, [this] {
      receiveTask_ = 0;
      finishReceive();
    });
  });
}

void SerialSession::closePort() {
  cancelReceive();
  try {
    if (control_.portOpen()) control_.setPortOpen(false);
  } catch (const std::exception&) {}
}

void SerialSession::cancelReceive() {
  if (receiveTask_) platform::scheduler().cancel(receiveTask_);
  receiveTask_ = 0;
}

void SerialSession::beginRecord(const std::string& portText, const Bytes& frame) {
  // The request before this one got no byte: its record ends here, unanswered.
  if (pending_) endRecord({});
  pending_ = true;
  record_ = Exchange{};
  record_.sentUs = nowUs();
  record_.port = portNameOf(portText);
  record_.address = frame.empty() ? -1 : frame[0];
  record_.request = frame;
  const std::uint64_t serial = ++serial_;
  silenceTask_ =
      platform::scheduler().post(platform::ms(kSilenceLimitMs), [this, serial] { silenceLimitPassed(serial); });
}

void SerialSession::silenceLimitPassed(std::uint64_t serial) {
  silenceTask_ = 0;
  // A first byte within the limit opened a receive window; its end writes the record.
  if (!pending_ || serial != serial_) return;
  endRecord({});
  if (onExchangeEnded_) onExchangeEnded_();
}

void SerialSession::endRecord(Bytes reply) {
  if (silenceTask_) {
    platform::scheduler().cancel(silenceTask_);
    silenceTask_ = 0;
  }
  Exchange e;
  if (pending_) {
    e = std::move(record_);
    pending_ = false;
  } else {
    // A reply that came after its request was given up: reported on its own.
    e.sentUs = nowUs();
    e.port = "COM" + std::to_string(control_.commPort());
    if (!reply.empty()) e.address = reply[0];
  }
  e.endedUs = nowUs();
  e.reply = std::move(reply);
  e.verdict = judgeReply(e.request, e.reply, &e.exceptionCode);
  if (!e.request.empty()) {
    endedRequest_ = e.request;
    endedAnswered_ = e.verdict == Verdict::Ok || e.verdict == Verdict::Exception;
  }
  if (exchangesObserved()) {
    const auto list = observers().list;  // an observer may remove itself
    for (const auto& [id, fn] : list) fn(e);
  }
}

void SerialSession::finishReceive() {
  Bytes raw;
  try {
    raw = control_.input();
  } catch (const std::exception&) {}
  const bool hadRequest = pending_;
  // The request this reply must answer (none for a late reply).
  const Bytes asked = std::move(asked_);
  asked_.clear();
  const bool recording = pending_ || (exchangesObserved() && !raw.empty());
  // The exchange has its reply: the line is free before the screen sees it, so that a request
  // the reply handler makes (the parameter screen's block read) goes out at once.
  const int line = linePort_;
  if (line) releaseLine(line, lineId_);
  linePort_ = 0;
  try {
    const std::string text = hexText(raw);
    if (options_.showReplyText && (!options_.showOnlyNonEmptyText || !text.empty())) options_.showReplyText(text);
    std::optional<Bytes> data = verifyFrame(text);
    if (!data || data->empty()) fail(Failure::Bounds, "no reply to read");
    // Only the answer of the station asked, to the request out, reaches the screen.
    if ((*data)[0] != 0 && asked.size() >= 2 && answersRequest(asked, *data)) {
      answering_ = asked;
      onReply_(*data, text);
    }
  } catch (const std::exception&) {
    // Unreadable replies and failures of a reply handler end here, like every other failure.
  }
  answering_.clear();
  try {
    control_.setOutBufferCount(0);
    control_.setInBufferCount(0);
  } catch (const std::exception&) {}
  if (control_.portOpen() && !options_.keepOpen) control_.setPortOpen(false);
  if (line) serveWaiting(line);
  if (recording) endRecord(std::move(raw));
  if (hadRequest && onExchangeEnded_) onExchangeEnded_();
}

}  // namespace xl::link
