// Fuzzes the rules of the history, load, device ID and factory screens with arbitrary bytes.
//
// The input is a reply (and, split at newlines, the texts of the boxes). No input may raise
// anything; every decoder takes a reply only at its own length; a frame that a rule makes always verifies back
// to its payload and has its fixed length; nothing is made from a refused value.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "configuration/device_id.h"
#include "configuration/factory_commands.h"
#include "configuration/load_block.h"
#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "monitoring/history_record.h"

namespace {

void check(bool ok) {
  if (!ok) __builtin_trap();
}

// A frame with its CRC verifies back to everything before the CRC.
void checkFrame(const xl::Bytes& frame, std::size_t length) {
  check(frame.size() == length);
  const auto back = xl::verifyFrame(xl::hexText(frame));
  check(back && back->size() + 2 == frame.size() && std::equal(back->begin(), back->end(), frame.begin()));
}

std::vector<std::string> fieldsOf(std::string_view text) {
  std::vector<std::string> out(1);
  for (char c : text) {
    if (c == '\n')
      out.emplace_back();
    else
      out.back() += c;
  }
  while (out.size() < 6) out.emplace_back();
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace xl;
  using namespace xl::configuration;
  using namespace xl::monitoring;
  if (size < 2) return 0;
  const int selector = data[0];
  const Bytes reply(data + 1, data + size);
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  const std::vector<std::string> fields = fieldsOf(text);

  // The receive routine's view of the same bytes as a raw reply.
  const std::string replyText = hexText(reply);
  const auto verified = verifyFrame(replyText);
  const Bytes handed = verified && !verified->empty() && (*verified)[0] != 0 ? *verified : Bytes{};

  // ---- History ----
  check(historyValueTexts(reply).has_value() == (reply.size() == kHistoryReplyLength));
  HistoryReading reading;
  reading.start(selector);
  for (int i = 0; i < (selector & 7); ++i) {
    const bool wasReading = reading.reading();
    const HistoryTick t = reading.tick(fields[0], fields[1]);
    if (t.frame) checkFrame(*t.frame, 8);
    // A tick of a reading sends or ends it; a tick after the end does nothing.
    check(wasReading ? (t.frame.has_value() || t.finished) : (!t.frame && !t.finished));
  }
  for (const Bytes* r : {&reply, &handed}) {
    const int rows = static_cast<int>(r->size() % 300);
    if (const auto row = reading.showHistoryDay(*r, rows)) {
      check(r->size() == kHistoryReplyLength && row->row >= 1 && row->row < rows);
      check(row->cells().size() == kHistoryColumns);
    }
  }
  const std::string clamped = clampDayCountText(fields[2]);
  check(val(clamped) >= 1 && val(clamped) <= kHistoryDayLimit);
  const HistoryStart start = HistoryReading::dayCount(fields[2]);
  check(int(start.days.has_value()) + int(!start.message.empty()) + int(!start.failureLog.empty()) == 1);
  if (start.days) check(*start.days >= 0 && *start.days <= kHistoryLastDay);
  GridRows grid{fields, {"-1", fields[3], fields[4], fields[5]}, {fields[5], fields[0]}};
  for (short type : {kLineChart, kBarChart})
    if (const auto c = chartRequest(grid, fields[1], type)) check(!c->values.empty() && c->chartType == type);
  const std::string line = exportLine(fields);
  std::size_t commas = 0;
  for (char c : line) commas += c == ',';
  std::size_t commasInFirst = 0;
  for (char c : fields[1]) commasInFirst += c == ',';
  check(commas == kHistoryColumns - 2 + commasInFirst);

  // ---- Load block ----
  if (const auto v = showLoadBlock(reply)) {
    check(reply.size() == kLoadBlockReplyLength);
    check(v->lTextBox2Tag == std::to_string(reply[8]) && v->lTextBox3Tag == std::to_string(reply[6]));
    check(v->keepOption == (v->option == LoadOption::None));
  } else {
    check(reply.size() != kLoadBlockReplyLength);
  }
  const auto option = static_cast<LoadOption>(selector % 6);
  const LoadWrite w = buildLoadWrite({fields[0], option, fields[1], fields[2], fields[3]});
  check(int(w.frame.has_value()) + int(!w.message.empty()) + int(!w.failureLog.empty()) == 1);
  if (w.frame) checkFrame(*w.frame, kLoadBlockWriteLength + 2);
  const std::string verdict = loadReplyMessage(selector & 3, handed);
  check(verdict.empty() || (handed.size() >= 2 && handed[1] == 0x10));
  if (const auto read = loadBlockReadRequest(fields[4])) checkFrame(*read, 8);

  // ---- Device ID ----
  const auto found = foundAddress(handed, replyText);
  check(!found || *found == handed[0]);
  const AddressWrite aw = addressWrite(data[0], fields[0]);
  check(aw.frame.has_value() != !aw.failureLog.empty());
  if (aw.frame) checkFrame(*aw.frame, 8);
  addressWriteMessage(handed, replyText);

  // ---- Factory commands ----
  for (int pending = 0; pending <= 6; ++pending) {
    for (std::string_view t : {std::string_view(replyText), std::string_view(text)}) {
      const FactoryReply r = factoryReply(pending, handed, t);
      check(r.message.empty() || handed.size() == kFactoryReplyLength);
      check(!r.text1 || pending == 3);
    }
  }
  if (const auto frame = factoryFrame(static_cast<FactoryCommand>(selector % 5), fields[5])) checkFrame(*frame, 8);
  return 0;
}
