#pragma once
// One request and one reply on a station's line: the serial session of a talking screen.
//
// Each screen that talks to a controller owns one session (its own serial control). A port is
// open only from the request to the end of its reply:
//   sendRequest  closes the scan's control and its own, sets the port up from scratch, opens
//                it, drops both buffers and writes the frame; it returns at once.
//   receive      the first received byte opens a 100 ms receive window; at its end everything
//                that came is read, turned into hex text, checked by verifyFrame, handed to the
//                screen when byte 0 is not 0, and the port is closed.
// Failures are silent: a port that will not open, a bad port text, silence, a bad CRC or a
// short reply all end the exchange without a message, and the old values stay on the screen.
//
// A reply belongs to the request it answers: a frame from another address, or of another
// function (an exception reply, function | 0x80, is the asked station's answer), is not handed
// to the screen; the record calls it "地址不符" and the exchange ends there as a failure. A reply
// read while no request is out (a late one) is never handed to a screen either. Each request
// drops what is buffered before it is written, so a late reply never reaches the next exchange.
//
// Every exchange ends: when no byte has come within the silence limit the port is closed and the
// line is free (a fast line of the scan keeps its port, and sends its next request at once).
//
// One exchange at a time on a line: a request to a port on which an exchange is under way (any
// session's, this one's too) waits until that exchange has its reply read or its silence limit
// passed, then goes out; requests that wait go out in the order they were made. So no request
// ever cuts into a reply on the wire, and the scan and the screens take turns.
//
// The differences between the screens' copies are options of the session.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "link/exchange_log.h"
#include "platform/bytes.h"
#include "platform/scheduler.h"
#include "platform/serial_port.h"

namespace xl::link {

// The port number of a port text "COM3,9600": the text left of the first comma with every
// "COM" removed, read as an integer. 0 when that fails (no comma, no number).
int getCommPort(const std::string& portText);
// The baud rate of a port text: the text right of the first comma.
std::string getBaudRate(const std::string& portText);

struct SessionOptions {
  // The real-time screen leaves at once on an empty port text, before anything is closed.
  bool leaveOnEmptyPortText = false;
  // Most screens remember the port number of their last successful send.
  bool remembersPort = true;
  // Screens with a hidden reply box get every reply text here (before the CRC check).
  std::function<void(const std::string& text)> showReplyText;
  // ... and one of them only the texts that are not empty.
  bool showOnlyNonEmptyText = false;
  // The fast scan's lines: a reply is read as soon as the length its request asks for is in
  // (else at the end of the receive window), and the wait does not hold the program, so the
  // lines of a site are served side by side. Every screen's session keeps the fixed window.
  bool quickReceive = false;
  // ... and their port stays open between exchanges until the owner calls closePort (a
  // screen's send to the same port still closes it first, as it closes the scan's).
  bool keepOpen = false;
};

// Called with the verified reply (without CRC) when its byte 0 is not 0, and the reply text.
// The handler may change the bytes.
using ReplyHandler = std::function<void(Bytes& data, const std::string& text)>;

// Observers of the wire: every session reports each exchange that ended (a reply read, or no
// byte within the silence limit) to every observer registered here. With none registered a
// session keeps no record and posts nothing, so the dialogue of the line is untouched.
using ExchangeObserver = std::function<void(const Exchange&)>;
int addExchangeObserver(ExchangeObserver observer);  // returns an id for the removal
void removeExchangeObserver(int id);
bool exchangesObserved();

// The exchange under way on a line: from the request written to its reply read, or to the
// silence limit when no byte came.
struct LineExchange {
  int port = 0;             // port number
  int address = -1;         // the station address the request went to (its first byte)
  int function = -1;        // the request's function code (its second byte)
  std::int64_t sentUs = 0;  // when it was written
};

class SerialSession {
 public:
  SerialSession(std::string controlName, SessionOptions options, ReplyHandler onReply);
  SerialSession(const SerialSession&) = delete;
  SerialSession& operator=(const SerialSession&) = delete;

  // Sends now, or when the exchange under way on that line ends (see above). A request that
  // waits is kept as it is; the caller's state (pendingRead) is set already.
  void sendRequest(const std::string& portText, const Bytes& frame);

  // The exchange under way on port `port`, if any.
  static std::optional<LineExchange> exchangeOnLine(int port);
  // How many requests wait for a line (all lines together).
  static std::size_t waitingRequests();

  platform::SerialControl& control() { return control_; }
  // The port number of the last successful send (0 before any).
  int portNumber() const { return portNumber_; }

  // The background scan's control, which every send closes first.
  static void setScanControl(platform::SerialControl* control);
  static platform::SerialControl* scanControl();
  // The fast scan's line controls: a send closes the one that is open on the same port number
  // (the scan's control above is closed by every send, whatever its port).
  static void addLineScanControl(platform::SerialControl* control);
  static void removeLineScanControl(platform::SerialControl* control);

  // The fixed receive window.
  static constexpr std::int64_t kReceiveWindowMs = 100;
  // A request whose first reply byte has not come this long after it was written is unanswered:
  // the record says "无应答", the port is closed and the line is free for the next request.
  static constexpr std::int64_t kSilenceLimitMs = 300;

  ~SerialSession();

  // Told when an exchange of this session has ended, whatever its verdict, after the reply
  // handler ran (or when the silence limit passed). Used by the fast scan to send the next
  // request at once; a session without it costs nothing more.
  void setOnExchangeEnded(std::function<void()> fn) { onExchangeEnded_ = std::move(fn); }
  // The request of the exchange that ended last, and whether its reply was handed to the
  // screen (for the one told above).
  const Bytes& endedRequest() const { return endedRequest_; }
  // While the reply handler runs: the request (CRC included) that the reply answers.
  const Bytes& answeringRequest() const { return answering_; }
  // Nothing of this session under way or waiting for a line.
  bool idle() const;
  bool endedAnswered() const { return endedAnswered_; }
  // Closes the port now (a reply under way is dropped): the end of a fast line's run.
  void closePort();
  // Gives up what this session has under way: its waiting requests are dropped, an exchange
  // under way ends (unanswered, for the record), its line is free and its port closed.
  void abandon();

 private:
  void transmit(const std::string& portText, const Bytes& frame);
  void holdLine(int port, const Bytes& frame);
  static void releaseLine(int port, std::uint64_t id);
  static void serveWaiting(int port);
  void onComm();
  void finishReceive();
  void beginRecord(const std::string& portText, const Bytes& frame);
  void endRecord(Bytes reply);
  void silenceLimitPassed(std::uint64_t serial);
  void cancelReceive();
  void silenceOnLine();

  platform::SerialControl control_;
  SessionOptions options_;
  ReplyHandler onReply_;
  int portNumber_ = 0;

  // The exchange under way, while anyone watches the wire or the session wants to know.
  bool pending_ = false;
  Exchange record_;
  std::uint64_t serial_ = 0;
  platform::TaskId silenceTask_ = 0;
  // Quick receive: the length the request asks for, and the pending read.
  std::size_t expectLength_ = 0;
  platform::TaskId receiveTask_ = 0;
  std::function<void()> onExchangeEnded_;
  // The line this session's exchange holds (0 for none), and whether its reply has begun.
  int linePort_ = 0;
  std::uint64_t lineId_ = 0;
  // The request out (empty when none): a reply must match its address and function.
  Bytes asked_;
  Bytes answering_;
  Bytes endedRequest_;
  bool endedAnswered_ = false;
};

}  // namespace xl::link
