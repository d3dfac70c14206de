#include "tools/sim/controller.h"

#include "link/frame_codec.h"

namespace xl::sim {

namespace {

constexpr std::uint8_t kBroadcast = 0;
constexpr std::uint8_t kReadHolding = 0x03;
constexpr std::uint8_t kWriteSingle = 0x06;
constexpr std::uint8_t kWriteMultiple = 0x10;
constexpr std::uint8_t kFactoryReset = 0x78;
constexpr std::uint8_t kClearHistory = 0x79;

std::uint16_t word(const Bytes& p, std::size_t at) { return static_cast<std::uint16_t>(p[at] << 8 | p[at + 1]); }

// The frame's CRC matches its bytes. Frames longer than a Modbus frame can be are noise.
bool crcMatches(const Bytes& frame) {
  if (frame.size() < 4 || frame.size() > 256) return false;
  const Bytes payload(frame.begin(), frame.end() - 2);
  const Bytes expected = appendCrc(payload);
  return expected[expected.size() - 2] == frame[frame.size() - 2] && expected.back() == frame.back();
}

}  // namespace

Controller::Controller(const StationOptions& options)
    : model_(options.plant, options.clock),
      faults_(options.faults),
      latency_(options.latency),
      restartSilence_(options.restartSilence),
      live_(options.live) {
  state_.address = options.address;
  state_.identity = options.identity;
  state_.forced = options.forced;
  state_.params = factoryParams(options.identity.ratedChargeCurrent);
  state_.setParam(param::kCapacity, options.capacityAh);
  if (options.loadMode) state_.setParam(param::kLoadMode, *options.loadMode);
  state_.readings.loadOn = options.loadOn;
  model_.warmUp(state_);
}

void Controller::advanceTo(Duration at) {
  if (live_) model_.advanceTo(state_, at);
}

bool Controller::hears(const Bytes& frame, Duration at) const {
  if (frame.empty() || (frame[0] != kBroadcast && frame[0] != state_.address)) return false;
  return crcMatches(frame) && !restarting(at);
}

std::vector<SimReplyPart> Controller::onFrame(const Bytes& frame, Duration at) {
  if (faults_.silent) return {};
  if (faults_.exception != Exception::None) {
    if (!hears(frame, at) || frame[0] == kBroadcast) return {};
    return shapeReply(exceptionFrame(state_.address, frame[1], faults_.exception), faults_, latency_);
  }
  std::optional<Bytes> answer = handle(frame, at);
  if (!answer) return {};
  return shapeReply(std::move(*answer), faults_, latency_);
}

std::optional<Bytes> Controller::handle(const Bytes& frame, Duration at) {
  if (!hears(frame, at)) return std::nullopt;
  advanceTo(at);
  const Bytes payload(frame.begin(), frame.end() - 2);
  Bytes out;
  switch (payload[1]) {
    case kReadHolding: out = readHolding(payload); break;
    case kWriteSingle: out = writeSingle(payload, at); break;
    case kWriteMultiple: out = writeMultiple(payload); break;
    case kFactoryReset:
    case kClearHistory:
      if (payload.size() != 6) {
        out = exception(payload, Exception::IllegalValue);
        break;
      }
      if (payload[1] == kFactoryReset)
        restoreFactorySettings();
      else
        clearHistory();
      out = payload;  // the acknowledgement repeats the request
      break;
    default: out = exception(payload, Exception::IllegalFunction); break;
  }
  if (payload[0] == kBroadcast) return std::nullopt;
  return appendCrc(out);
}

Bytes Controller::exception(const Bytes& p, Exception code) const {
  return Bytes{p[0], static_cast<std::uint8_t>(p[1] | 0x80), static_cast<std::uint8_t>(code)};
}

Bytes Controller::readHolding(const Bytes& p) {
  if (p.size() != 6) return exception(p, Exception::IllegalValue);
  if (p[0] == kBroadcast) return {};
  const ReadResult r = readRegisters(state_, word(p, 2), word(p, 4));
  if (r.error != Exception::None) return exception(p, r.error);
  Bytes out{p[0], p[1], static_cast<std::uint8_t>(r.data.size())};
  out.insert(out.end(), r.data.begin(), r.data.end());
  return out;
}

Bytes Controller::writeSingle(const Bytes& p, Duration at) {
  if (p.size() != 6) return exception(p, Exception::IllegalValue);
  const std::uint16_t reg = word(p, 2), value = word(p, 4);
  const Exception e = checkWrite(reg, value, false);
  if (e != Exception::None) return exception(p, e);
  if (reg == reg::kAddress && p[0] == kBroadcast) return p;
  // The echo is made from the request, so a new address only counts from the next frame on.
  applyWrite(state_, reg, value);
  if (reg == reg::kRestart) silentUntil_ = at + restartSilence_;
  return p;
}

Bytes Controller::writeMultiple(const Bytes& p) {
  if (p.size() < 7) return exception(p, Exception::IllegalValue);
  const std::uint16_t start = word(p, 2), count = word(p, 4);
  if (count == 0 || count > 123 || p[6] != 2 * count || p.size() != 7u + 2u * count)
    return exception(p, Exception::IllegalValue);
  if (start + count > kParamFirst + kParamCount) return exception(p, Exception::IllegalAddress);
  for (std::uint16_t i = 0; i < count; ++i) {
    const Exception e = checkWrite(static_cast<std::uint16_t>(start + i), word(p, 7 + 2u * i), true);
    if (e != Exception::None) return exception(p, e);
  }
  for (std::uint16_t i = 0; i < count; ++i)
    applyWrite(state_, static_cast<std::uint16_t>(start + i), word(p, 7 + 2u * i));
  return Bytes(p.begin(), p.begin() + 6);
}

void Controller::restoreFactorySettings() {
  state_.params = factoryParams(state_.identity.ratedChargeCurrent);
  state_.rs485Use = 0;
  clearHistory();
}

void Controller::clearHistory() {
  state_.history.clear();
  model_.restartDay(state_);
}

}  // namespace xl::sim
