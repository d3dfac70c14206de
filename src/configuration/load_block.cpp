#include "configuration/load_block.h"

#include "link/device_data_map.h"
#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "platform/failure.h"

namespace xl::configuration {

namespace {

constexpr std::uint8_t kWriteMultiple = 0x10;

// The byte a box's text gives, or nullopt when Val of it does not fit 0..255.
std::optional<std::uint8_t> byteOf(std::string_view text) {
  try {
    return toByte(val(text));
  } catch (const RuntimeFailure&) {
    return std::nullopt;
  }
}

std::string refusal(std::string_view field) {
  return "设置失败：" + std::string(field) + "不是0到255之间的数，未发送任何数据";
}

}  // namespace

std::string_view loadOptionCaption(LoadOption option) {
  switch (option) {
    case LoadOption::Option3: return "光控开/关";
    case LoadOption::Option5: return "光时控";
    case LoadOption::Option4: return "手动模式";
    case LoadOption::Option6: return "调试模式";
    case LoadOption::Option7: return "常开模式";
    case LoadOption::None: break;
  }
  return {};
}

LoadOption loadOptionOf(std::uint8_t mode) {
  if (mode == 0) return LoadOption::Option3;
  if (mode <= 14) return LoadOption::Option5;
  if (mode == 15) return LoadOption::Option4;
  if (mode == 16) return LoadOption::Option6;
  if (mode == 17) return LoadOption::Option7;
  return LoadOption::None;
}

std::optional<Bytes> loadBlockReadRequest(std::string_view deviceIdText) {
  const auto address = byteOf(deviceIdText);
  if (!address) return std::nullopt;
  return requestFrame(*address, kLoadBlockReadLiteral);
}

std::string lightOffVoltageText(std::string_view lTextBox2Text) {
  const double v = val(lTextBox2Text);
  if (v <= 3) return {};
  return link::numberText(v - 1);
}

std::optional<LoadBlockView> showLoadBlock(const Bytes& reply) {
  if (reply.size() != kLoadBlockReplyLength) return std::nullopt;
  // Step 1 empties every box and both tags; the fields start empty.
  LoadBlockView v;
  v.mode = reply[4];
  const std::string voltage = std::to_string(reply[8]);
  const std::string delay = std::to_string(reply[6]);
  v.option = loadOptionOf(v.mode);
  v.keepOption = v.option == LoadOption::None;
  if (v.option == LoadOption::Option3) {
    v.lTextBox2 = voltage;
    v.lTextBox3 = delay;
    v.lTextBox5 = "1";
  } else if (v.option == LoadOption::Option5) {
    v.combo2 = std::to_string(v.mode);
    v.combo3 = "0";
    v.lTextBox8 = "0";
  }
  // Whatever the box shows, its change event keeps the hidden light-off voltage up.
  v.lTextBox4 = lightOffVoltageText(v.lTextBox2);
  // Step 7: the tags hold the device's values in every mode, so a write in another mode sends
  // them back unchanged.
  v.lTextBox2Tag = voltage;
  v.lTextBox3Tag = delay;
  return v;
}

LoadWrite buildLoadWrite(const LoadScreenState& state) {
  LoadWrite w;
  if (val(state.lTextBox2Tag) <= 0) {
    w.message = std::string(kLoadReadFirstText);
    return w;
  }
  const auto address = byteOf(state.deviceIdText);
  if (!address) {
    w.failureLog = refusal("设备ID");
    return w;
  }
  std::uint8_t mode = 0;
  switch (state.selected) {
    case LoadOption::Option7: mode = 17; break;
    case LoadOption::Option6: mode = 16; break;
    case LoadOption::Option4: mode = 15; break;
    case LoadOption::Option5: {
      const auto hours = byteOf(state.combo2Text);
      if (!hours) {
        w.failureLog = refusal("工作时间");
        return w;
      }
      mode = *hours;
      break;
    }
    case LoadOption::Option3:
    case LoadOption::None: mode = 0; break;
  }
  const auto delay = byteOf(state.lTextBox3Tag);
  if (!delay) {
    w.failureLog = refusal("延时");
    return w;
  }
  const auto voltage = byteOf(state.lTextBox2Tag);
  if (!voltage) {
    w.failureLog = refusal("光控开电压");
    return w;
  }
  w.frame = appendCrc(Bytes{*address, kWriteMultiple, 0xE0, 0x1D, 0x00, 0x03, 0x06, 0, mode, 0, *delay, 0, *voltage});
  return w;
}

std::string loadReplyMessage(int pendingRead, const Bytes& reply) {
  if (reply.size() < 2 || reply[0] == 0) return {};
  if (pendingRead == kLoadPendingWrite && reply[1] == kWriteMultiple) return std::string(kLoadWriteDoneText);
  return {};
}

}  // namespace xl::configuration
