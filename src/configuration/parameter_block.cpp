#include "configuration/parameter_block.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "configuration/parameter_rules.h"
#include "link/device_data_map.h"
#include "link/frame_codec.h"
#include "link/vb_numbers.h"

namespace xl::configuration {

namespace {

struct ControlInfo {
  Control control;
  std::string_view name;
  std::string_view caption;
};

constexpr ControlInfo kControls[] = {
    {Control::LTextBox1, "LTextBox1", "设备ID"},
    {Control::LTextBox2, "LTextBox2", "额定电压(V)"},
    {Control::LTextBox3, "LTextBox3", "额定负载电流(A)"},
    {Control::LTextBox4, "LTextBox4", "额定充电电流(A)"},
    {Control::SetCurrText2, "SetCurrText2", "设置充电电流(A)"},
    {Control::SetChargeCurr, "SetChargeCurr", "设置充电电流(A)"},
    {Control::LTextBox8, "LTextBox8", "蓄电池容量（AH）"},
    {Control::LTextBox10, "LTextBox10", "温度补偿系数（mV/℃/2V）"},
    {Control::LTextBox12, "LTextBox12", "超压电压（V）"},
    {Control::TextLimit, "TextLimit", "充电限制电压（V）"},
    {Control::LTextBox16, "LTextBox16", "均衡充电电压（V）"},
    {Control::LTextBox18, "LTextBox18", "提升充电电压（V）"},
    {Control::LTextBox20, "LTextBox20", "浮充充电电压（V）"},
    {Control::LTextBox22, "LTextBox22", "提升充电返回电压（V）"},
    {Control::LTextBox24, "LTextBox24", "蓄电池充满电量（%）"},
    {Control::LTextBox28, "LTextBox28", "均衡充电时间（分钟）"},
    {Control::LTextBox29, "LTextBox29", "提升充电时间（分钟）"},
    {Control::LTextBox32, "LTextBox32", "均衡充电时间间隔(天)"},
    {Control::LTextBox34, "LTextBox34", "放电限制电压（V）"},
    {Control::LTextBox36, "LTextBox36", "过放电压（V）"},
    {Control::LTextBox38, "LTextBox38", "过放返回电压（V）"},
    {Control::LTextBox40, "LTextBox40", "低压告警电压（V）"},
    {Control::LTextBox44, "LTextBox44", "蓄电池放电限制电量（%）"},
    {Control::LTextBox45, "LTextBox45", "过放延时时间（秒）"},
    {Control::Combo2, "Combo2", "电池类型"},
    {Control::Combo3, "Combo3", "充电模式"},
    {Control::Combo4, "Combo4", "蓄电池系统电压"},
};
static_assert(std::size(kControls) == kControlCount);

const ControlInfo& infoOf(Control c) { return kControls[static_cast<std::size_t>(c)]; }

const std::vector<std::string> kNoEntries;
const std::vector<std::string> kBatteryTypes{"User", "Flooded", "Sealed", "Gel", "LI"};
const std::vector<std::string> kChargeModes{"Volt.Comp.", "SOC"};
const std::vector<std::string> kSystemVoltages{"Auto", "12V", "24V", "36V", "48V"};

// The system voltage codes of register 0xE003's high byte. The list of Combo4 ends at "48V";
// the other names are known to the code table but cannot be chosen.
struct VoltageCode {
  std::uint8_t code;
  std::string_view name;
};
constexpr VoltageCode kVoltageCodes[] = {{255, "Auto"}, {12, "12V"}, {24, "24V"}, {36, "36V"},
                                         {48, "48V"},   {60, "60V"}, {72, "72V"}, {96, "96V"}};

std::uint8_t hi(const Bytes& r, std::size_t i) { return r[i]; }
double word(const Bytes& r, std::size_t i, std::int32_t divisor) { return regValue(r[i], r[i + 1], divisor); }

// Runs one step of a routine whose failing steps are skipped one by one.
void step(const std::function<void()>& fn) {
  try {
    fn();
  } catch (const RuntimeFailure&) {
    // This step is skipped; the next one runs.
  }
}

// ---- The write ----------------------------------------------------------------------------

// The failure of one box, told in the operator's words.
WriteFailure failureOf(Control c, const std::string& text, Failure kind) {
  const std::string caption(captionOf(c));
  std::string line;
  if (kind == Failure::TypeMismatch && text.find_first_not_of(" \t") == std::string::npos) {
    line = "参数未发送：“" + caption + "”为空";
  } else if (kind == Failure::TypeMismatch) {
    line = "参数未发送：“" + caption + "”的值“" + text + "”不是数字";
  } else {
    line = "参数未发送：“" + caption + "”的值“" + text + "”超出可设置的范围";
  }
  return {c, kind, std::move(line)};
}

struct BoxFailed {
  WriteFailure failure;
};

class WriteBuilder {
 public:
  explicit WriteBuilder(const ParameterBoxes& boxes) : boxes_(boxes) {}

  // A register from a box: text x scale, rounded half to even, as two bytes.
  void word(Control c, double scale, bool lenient = false) {
    const std::uint16_t n = registerValue(c, scale, lenient, false, 0xFFFF);
    out_.push_back(static_cast<std::uint8_t>(n / 256));
    out_.push_back(static_cast<std::uint8_t>(n % 256));
  }
  // The temperature coefficient: the text negated.
  void negatedWord(Control c) {
    const std::uint16_t n = registerValue(c, 1, false, true, 0xFFFF);
    out_.push_back(static_cast<std::uint8_t>(n / 256));
    out_.push_back(static_cast<std::uint8_t>(n % 256));
  }
  void byte(Control c, bool lenient = false) {
    out_.push_back(static_cast<std::uint8_t>(registerValue(c, 1, lenient, false, 0xFF)));
  }
  void raw(std::uint8_t b) { out_.push_back(b); }
  Bytes take() { return std::move(out_); }

 private:
  std::uint16_t registerValue(Control c, double scale, bool lenient, bool negate, double top) const {
    const std::string& text = boxes_.text(c);
    try {
      double v = lenient ? val(text) : toNumber(text);
      if (negate) v = -v;
      const double n = roundHalfEven(v * scale);
      if (!(n >= 0 && n <= top)) fail(Failure::Overflow, "overflow");
      return static_cast<std::uint16_t>(n);
    } catch (const RuntimeFailure& e) {
      throw BoxFailed{failureOf(c, text, e.kind())};
    }
  }

  const ParameterBoxes& boxes_;
  Bytes out_;
};

}  // namespace

// ---- Controls -----------------------------------------------------------------------------

const std::array<Control, kControlCount>& allControls() {
  static const std::array<Control, kControlCount> all = [] {
    std::array<Control, kControlCount> a{};
    for (std::size_t i = 0; i < kControlCount; ++i) a[i] = kControls[i].control;
    return a;
  }();
  return all;
}

std::string_view controlName(Control c) { return infoOf(c).name; }

std::optional<Control> controlNamed(std::string_view name) {
  for (const ControlInfo& info : kControls) {
    if (info.name == name) return info.control;
  }
  return std::nullopt;
}

std::string_view captionOf(Control c) { return infoOf(c).caption; }

bool isList(Control c) { return c == Control::Combo2 || c == Control::Combo3 || c == Control::Combo4; }

const std::vector<std::string>& listEntries(Control list) {
  switch (list) {
    case Control::Combo2: return kBatteryTypes;
    case Control::Combo3: return kChargeModes;
    case Control::Combo4: return kSystemVoltages;
    default: return kNoEntries;
  }
}

// ---- ParameterBoxes -----------------------------------------------------------------------

std::array<int, kControlCount> ParameterBoxes::initialIndexes() {
  std::array<int, kControlCount> a{};
  a.fill(-1);
  return a;
}

std::array<bool, kControlCount> ParameterBoxes::initialEnabled() {
  std::array<bool, kControlCount> a{};
  a.fill(true);
  return a;
}

const std::string& ParameterBoxes::text(Control c) const {
  static const std::string kEmpty;
  if (!isList(c)) return texts_[index(c)];
  const int i = listIndex_[index(c)];
  return i < 0 ? kEmpty : listEntries(c)[static_cast<std::size_t>(i)];
}

bool ParameterBoxes::setText(Control c, std::string text) {
  if (!isList(c)) {
    texts_[index(c)] = std::move(text);
    return true;
  }
  const auto& entries = listEntries(c);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (entries[i] == text) {
      listIndex_[index(c)] = static_cast<int>(i);
      return true;
    }
  }
  return false;
}

int ParameterBoxes::listIndex(Control list) const { return isList(list) ? listIndex_[index(list)] : -1; }

bool ParameterBoxes::setListIndex(Control list, int i) {
  if (!isList(list) || i < -1 || i >= static_cast<int>(listEntries(list).size())) return false;
  listIndex_[index(list)] = i;
  return true;
}

// ---- Reference column ---------------------------------------------------------------------

const std::vector<ReferenceEntry>& referenceColumn() {
  static const std::vector<ReferenceEntry> column{
      {Control::Combo2, "LTextBox5", "Sealed"},     {Control::Combo3, "LTextBox6", "Volt.Comp."},
      {Control::LTextBox8, "LTextBox7", "200"},     {Control::LTextBox10, "LTextBox9", "-3"},
      {Control::LTextBox12, "LTextBox11", "16.00"}, {Control::LTextBox16, "LTextBox15", "14.60"},
      {Control::LTextBox18, "LTextBox17", "14.40"}, {Control::LTextBox20, "LTextBox19", "13.80"},
      {Control::LTextBox22, "LTextBox21", "13.20"}, {Control::LTextBox24, "LTextBox23", "100"},
      {Control::Combo4, "LTextBox25", "Auto"},      {Control::LTextBox29, "LTextBox26", "120"},
      {Control::LTextBox28, "LTextBox27", "120"},   {Control::LTextBox32, "LTextBox31", "30"},
      {Control::LTextBox45, "LTextBox30", "5"},     {Control::LTextBox34, "LTextBox33", "10.60"},
      {Control::LTextBox38, "LTextBox37", "12.60"}, {Control::LTextBox40, "LTextBox39", "12.00"},
      {Control::LTextBox36, "LTextBox35", "11.10"}, {Control::LTextBox44, "LTextBox43", "30"},
      {Control::SetChargeCurr, "SetCurrText2", ""},
  };
  return column;
}

// ---- Routines -----------------------------------------------------------------------------

void clearAll(ParameterBoxes& boxes) {
  for (Control c : allControls()) {
    if (isList(c))
      boxes.setListIndex(c, -1);
    else
      boxes.setText(c, "");
  }
}

bool showRatedInfo(ParameterBoxes& boxes, const Bytes& reply) {
  const auto info = link::decodeDeviceInfo(reply);
  if (!info) return false;
  switch (info->maxSystemVoltage) {
    case 24: boxes.setText(Control::LTextBox2, "12/24(V)"); break;
    case 48: boxes.setText(Control::LTextBox2, "12/24/36/48(V)"); break;
    case 60: boxes.setText(Control::LTextBox2, "12/24/36/48/60(V)"); break;
    case 72: boxes.setText(Control::LTextBox2, "12/24/36/48/60/72(V)"); break;
    case 96: boxes.setText(Control::LTextBox2, "12/24/36/48/60/96(V)"); break;
    default: break;
  }
  boxes.setText(Control::LTextBox3,
                info->ratedLoadCurrent != 0 ? std::to_string(info->ratedLoadCurrent) : std::string(kNoLoadText));
  const std::string rated = link::fixedText(info->ratedChargeCurrent, 2);
  boxes.setText(Control::LTextBox4, rated);
  boxes.setText(Control::SetCurrText2, rated);
  return true;
}

bool showParameterBlock(ParameterBoxes& boxes, ParameterBlockState& state, const Bytes& r) {
  if (r.size() != state.lastBlock.size()) return false;
  // Values with one decimal of the device shown with two.
  auto volts = [&](Control c, std::size_t i) { assignText(boxes, c, link::fixedText(word(r, i, 10), 2)); };
  auto plain = [&](Control c, std::size_t i) { assignText(boxes, c, link::numberText(word(r, i, 1))); };

  step([&] {
    std::copy(r.begin(), r.end(), state.lastBlock.begin());
    state.blockOfStation = true;
  });
  step([&] {
    const double type = word(r, 9, 1);
    selectEntry(boxes, Control::Combo2, type <= 4 ? static_cast<int>(type) : 0);
  });
  step([&] {
    const std::string bits = byteToBits(r[67]);
    selectEntry(boxes, Control::Combo3, bits.at(5) == '1' ? 1 : 0);
  });
  step([&] { assignText(boxes, Control::SetChargeCurr, link::fixedText(word(r, 3, 100), 2)); });
  step([&] { plain(Control::LTextBox8, 5); });
  step([&] { assignText(boxes, Control::LTextBox10, "-" + link::numberText(word(r, 41, 1))); });
  step([&] {
    volts(Control::LTextBox12, 11);
    volts(Control::TextLimit, 13);
  });
  step([&] {
    if (r[15] == 0 && r[16] == 0)
      assignText(boxes, Control::LTextBox16, "");
    else
      volts(Control::LTextBox16, 15);
  });
  step([&] {
    volts(Control::LTextBox18, 17);
    volts(Control::LTextBox20, 19);
    volts(Control::LTextBox22, 21);
  });
  step([&] { assignText(boxes, Control::LTextBox24, std::to_string(hi(r, 31))); });
  step([&] {
    // 60, 72 and 96 volts, and any byte outside the table, name no entry of the list: the
    // choice fails and the list stays where the battery type put it ("Auto").
    for (const VoltageCode& v : kVoltageCodes) {
      if (v.code == r[7]) {
        selectEntry(boxes, Control::Combo4, v.name);
        return;
      }
    }
  });
  step([&] {
    plain(Control::LTextBox29, 37);
    plain(Control::LTextBox28, 35);
    plain(Control::LTextBox32, 39);
    plain(Control::LTextBox45, 33);
  });
  step([&] {
    volts(Control::LTextBox34, 29);
    volts(Control::LTextBox38, 23);
    volts(Control::LTextBox40, 25);
    volts(Control::LTextBox36, 27);
  });
  step([&] { assignText(boxes, Control::LTextBox44, std::to_string(hi(r, 32))); });
  state.dataRead = true;
  return true;
}

std::variant<Bytes, WriteFailure> buildParameterWrite(ParameterBoxes& boxes, const ParameterBlockState& state) {
  const auto& last = state.lastBlock;
  // The current is held at the rated one at the last moment as well.
  if (val(boxes.text(Control::LTextBox4)) < val(boxes.text(Control::SetChargeCurr)))
    boxes.setText(Control::SetChargeCurr, boxes.text(Control::LTextBox4));

  WriteBuilder w(boxes);
  try {
    // The address of the box, not of the station table; Val, as a byte.
    try {
      const std::uint8_t address = toByte(val(boxes.text(Control::LTextBox1)));
      if (address == 0) fail(Failure::Overflow, "broadcast address");
      w.raw(address);
    } catch (const RuntimeFailure& e) {
      throw BoxFailed{failureOf(Control::LTextBox1, boxes.text(Control::LTextBox1), e.kind())};
    }
    for (std::uint8_t b : {0x10, 0xE0, 0x01, 0x00, 0x21, 0x42}) w.raw(b);

    // The two lists share one code byte, which keeps its value when a text is not found.
    std::uint8_t code = 0;
    for (const VoltageCode& v : kVoltageCodes) {
      if (v.name == boxes.text(Control::Combo4)) code = v.code;
    }
    const std::uint8_t voltageCode = code;
    const int type = boxes.listIndex(Control::Combo2);
    if (type >= 0) code = static_cast<std::uint8_t>(type);
    const std::uint8_t typeCode = code;

    w.word(Control::SetChargeCurr, 100);                    // 0xE001
    w.word(Control::LTextBox8, 1);                          // 0xE002
    w.raw(voltageCode);                                     // 0xE003 high
    w.raw(last[8]);                                         // 0xE003 low, echoed
    w.raw(last[9]);                                         // 0xE004 high, echoed
    w.raw(typeCode);                                        // 0xE004 low
    w.word(Control::LTextBox12, 10);                        // 0xE005
    w.word(Control::TextLimit, 10);                         // 0xE006
    w.word(Control::LTextBox16, 10, true);                  // 0xE007, an empty box sends 0
    w.word(Control::LTextBox18, 10);                        // 0xE008
    w.word(Control::LTextBox20, 10);                        // 0xE009
    w.word(Control::LTextBox22, 10);                        // 0xE00A
    w.word(Control::LTextBox38, 10);                        // 0xE00B
    w.word(Control::LTextBox40, 10);                        // 0xE00C
    w.word(Control::LTextBox36, 10);                        // 0xE00D
    w.word(Control::LTextBox34, 10);                        // 0xE00E
    w.byte(Control::LTextBox24, true);                      // 0xE00F high, an empty box sends 0
    w.byte(Control::LTextBox44);                            // 0xE00F low
    w.word(Control::LTextBox45, 1);                         // 0xE010
    w.word(Control::LTextBox28, 1);                         // 0xE011
    w.word(Control::LTextBox29, 1);                         // 0xE012
    w.word(Control::LTextBox32, 1);                         // 0xE013
    w.negatedWord(Control::LTextBox10);                     // 0xE014
    for (std::size_t i = 43; i <= 66; ++i) w.raw(last[i]);  // 0xE015..0xE020, echoed
    w.raw(boxes.text(Control::Combo3) == "SOC" ? 4 : 0);    // 0xE021 high: bit 2 alone
    w.raw(last[68]);                                        // 0xE021 low, echoed
  } catch (BoxFailed& f) {
    return std::move(f.failure);
  }
  return w.take();
}

void stationChosen(ParameterBlockState& state) { state.blockOfStation = false; }

SetCommand command2Click(ParameterBoxes& boxes, const ParameterBlockState& state) {
  using Action = SetCommand::Action;
  if (!state.dataRead || !state.blockOfStation || boxes.text(Control::SetChargeCurr).empty())
    return {Action::ShowMessage, std::string(kReadFirstMessage), {}};
  if (forbiddenPair(boxes)) return {Action::ShowMessage, std::string(kLithiumAutoMessage), {}};
  auto built = buildParameterWrite(boxes, state);
  if (auto* failure = std::get_if<WriteFailure>(&built)) return {Action::LogFailure, std::move(failure->logLine), {}};
  return {Action::Send, {}, appendCrc(std::get<Bytes>(built))};
}

std::optional<std::string_view> setResultMessage(const Bytes& reply) {
  if (reply.size() != 6) return std::nullopt;
  return reply[1] != 16 ? kSetFailedMessage : kSetDoneMessage;
}

}  // namespace xl::configuration
