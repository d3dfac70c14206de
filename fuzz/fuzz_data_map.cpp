// Fuzzes the decoders of the device data map with arbitrary replies.
//
// Every decoder must refuse a reply of the wrong length and decode any reply of the right
// length, for every reader, without failing; the fault-word exchange must keep the length and
// be undone by a second exchange.

#include <cstddef>
#include <cstdint>

#include "link/device_data_map.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace xl::link;
  xl::Bytes reply(data, data + size);

  const auto info = decodeDeviceInfo(reply);
  if (info.has_value() != (size == kDeviceInfoLength)) __builtin_trap();

  for (Reader reader : {Reader::RealTime, Reader::Scan, Reader::Recorder}) {
    const auto block = decodeRealTime(reply, reader);
    if (block.has_value() != (size == kRealTimeLength)) __builtin_trap();
    if (block && block->statusFlags.size() != 32) __builtin_trap();
    // The status groups take any flag text at all.
    const std::string_view flags(reinterpret_cast<const char*>(data), size);
    applyStatusGroups(flags, StatusTexts{"a", "b", "c", "d"}, reader);
  }

  const auto manual = loadModeIsManual(reply);
  if (manual.has_value() != (size == kLoadModeLength)) __builtin_trap();

  xl::Bytes swapped = reply;
  exchangeFaultWords(swapped);
  if (swapped.size() != reply.size()) __builtin_trap();
  exchangeFaultWords(swapped);
  if (swapped != reply) __builtin_trap();

  dayValueTexts(reply);
  return 0;
}
