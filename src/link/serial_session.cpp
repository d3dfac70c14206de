#include "link/serial_session.h"

#include <exception>

#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "platform/failure.h"

namespace xl::link {

namespace {
platform::SerialControl* gScanControl = nullptr;
}

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

void SerialSession::setScanControl(platform::SerialControl* control) { gScanControl = control; }
platform::SerialControl* SerialSession::scanControl() { return gScanControl; }

void SerialSession::sendRequest(const std::string& portText, const Bytes& frame) {
  if (options_.leaveOnEmptyPortText && portText.empty()) return;
  try {
    const int port = getCommPort(portText);
    if (gScanControl && gScanControl->portOpen()) gScanControl->setPortOpen(false);
    if (control_.portOpen()) control_.setPortOpen(false);
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
    if (options_.remembersPort) portNumber_ = port;
  } catch (const std::exception&) {
    // A port that cannot be opened or a bad port text ends the send silently.
  }
}

void SerialSession::onComm() {
  // The whole reply must arrive within the window that its first byte opens.
  platform::scheduler().holdFor(platform::ms(kReceiveWindowMs), [this] { finishReceive(); });
}

void SerialSession::finishReceive() {
  try {
    const std::string text = hexText(control_.input());
    if (options_.showReplyText && (!options_.showOnlyNonEmptyText || !text.empty())) options_.showReplyText(text);
    std::optional<Bytes> data = verifyFrame(text);
    if (!data || data->empty()) fail(Failure::Bounds, "no reply to read");
    if ((*data)[0] != 0) onReply_(*data, text);
  } catch (const std::exception&) {
    // Unreadable replies and failures of a reply handler end here, like every other failure.
  }
  try {
    control_.setOutBufferCount(0);
    control_.setInBufferCount(0);
  } catch (const std::exception&) {
  }
  if (control_.portOpen()) control_.setPortOpen(false);
}

}  // namespace xl::link
