// Fuzzes the record of the wire: any request and reply bytes get exactly one verdict, a
// verdict "正常" only with a right CRC, and booking any exchange keeps the health's window
// bounded and its share between 0 and 100 %.

#include <cstddef>
#include <cstdint>
#include <string>

#include "link/exchange_log.h"
#include "link/frame_codec.h"
#include "monitoring/link_health.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  // The first byte splits the input into request and reply.
  const std::size_t cut = std::min<std::size_t>(data[0], size - 1);
  const xl::Bytes request(data + 1, data + 1 + cut);
  const xl::Bytes reply(data + 1 + cut, data + size);
  int code = -1;
  const auto verdict = xl::link::judgeReply(request, reply, &code);
  if (reply.empty() != (verdict == xl::link::Verdict::NoReply)) __builtin_trap();
  if (verdict == xl::link::Verdict::Ok || verdict == xl::link::Verdict::Exception ||
      verdict == xl::link::Verdict::LengthMismatch) {
    const auto checked = xl::verifyFrame(xl::hexText(reply));
    if (!checked || checked->size() + 2 != reply.size()) __builtin_trap();
  }
  if (verdict == xl::link::Verdict::Exception && (code < 0 || code > 255)) __builtin_trap();
  if (xl::link::verdictText(verdict, code).empty()) __builtin_trap();
  if (xl::link::spacedHex(reply).size() != (reply.empty() ? 0 : reply.size() * 3 - 1)) __builtin_trap();

  static xl::monitoring::LinkHealth health;
  xl::link::Exchange e;
  e.port = "COM3";
  e.address = request.empty() ? -1 : request[0];
  e.request = request;
  e.reply = reply;
  e.verdict = verdict;
  health.record(e);
  const int address = e.address >= 0 ? e.address : (reply.empty() ? -1 : reply[0]);
  if (const auto* h = health.find("COM3", address)) {
    if (h->recent.size() > xl::monitoring::LinkHealth::kWindow) __builtin_trap();
    const std::string share = xl::monitoring::shareText(h);
    if (!share.empty() && std::stoi(share) > 100) __builtin_trap();
  }
  return 0;
}
