// Fuzzes the control parameter screen's rules: the reply decoder, the write over arbitrary box
// texts, the editing rules, and the import over arbitrary file content.
//
// Checked on every input:
// - nothing throws past the functions;
// - a parameter reply is taken exactly when it has 69 bytes, and then kept whole;
// - a write that is produced carries, at every index, what its box says: the strict or lenient
//   value of the text times its scale, rounded half to even, the list codes, the echoed bytes
//   of the last block and bit 2 alone of 0xE021; and its CRC verifies. A write that is refused
//   names a box whose text does not convert, and "设置" then sends nothing;
// - after any rule, a temperature coefficient that is a number is a whole number from -5 to 0;
// - an import that stops changes nothing.

#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include "configuration/parameter_block.h"
#include "configuration/parameter_file.h"
#include "configuration/parameter_rules.h"
#include "core/settings.h"
#include "link/frame_codec.h"
#include "link/vb_numbers.h"

using namespace xl;
using namespace xl::configuration;
using C = Control;

namespace {

void check(bool condition) {
  if (!condition) __builtin_trap();
}

// The register a box sends, computed apart from the builder; nullopt when it cannot be sent.
std::optional<long> expectedValue(const std::string& text, double scale, bool lenient, bool negate, long top) {
  double v = 0;
  if (lenient) {
    v = val(text);
  } else {
    try {
      v = toNumber(text);
    } catch (const RuntimeFailure&) {
      return std::nullopt;
    }
  }
  if (negate) v = -v;
  const double n = std::nearbyint(v * scale);
  if (!(n >= 0 && n <= top)) return std::nullopt;
  return static_cast<long>(n);
}

struct Field {
  Control control;
  std::size_t at;  // write index of the (high) byte
  double scale;
  bool lenient;
  bool negate;
  bool oneByte;
};

const Field kFields[] = {
    {C::SetChargeCurr, 7, 100, false, false, false}, {C::LTextBox8, 9, 1, false, false, false},
    {C::LTextBox12, 15, 10, false, false, false},    {C::TextLimit, 17, 10, false, false, false},
    {C::LTextBox16, 19, 10, true, false, false},     {C::LTextBox18, 21, 10, false, false, false},
    {C::LTextBox20, 23, 10, false, false, false},    {C::LTextBox22, 25, 10, false, false, false},
    {C::LTextBox38, 27, 10, false, false, false},    {C::LTextBox40, 29, 10, false, false, false},
    {C::LTextBox36, 31, 10, false, false, false},    {C::LTextBox34, 33, 10, false, false, false},
    {C::LTextBox24, 35, 1, true, false, true},       {C::LTextBox44, 36, 1, false, false, true},
    {C::LTextBox45, 37, 1, false, false, false},     {C::LTextBox28, 39, 1, false, false, false},
    {C::LTextBox29, 41, 1, false, false, false},     {C::LTextBox32, 43, 1, false, false, false},
    {C::LTextBox10, 45, 1, false, true, false},
};

std::uint8_t voltageCode(const std::string& name) {
  const std::pair<const char*, std::uint8_t> codes[] = {
      {"Auto", 255}, {"12V", 12}, {"24V", 24}, {"36V", 36}, {"48V", 48}};
  for (const auto& [n, code] : codes) {
    if (name == n) return code;
  }
  return 0;
}

void checkWrite(const ParameterBoxes& boxes, const ParameterBlockState& state, const Bytes& w) {
  check(w.size() == 73);
  const auto address = expectedValue(boxes.text(C::LTextBox1), 1, true, false, 255);
  check(address && *address != 0 && w[0] == *address);
  check(w[1] == 0x10 && w[2] == 0xE0 && w[3] == 0x01 && w[4] == 0x00 && w[5] == 0x21 && w[6] == 0x42);
  for (const Field& f : kFields) {
    const auto v = expectedValue(boxes.text(f.control), f.scale, f.lenient, f.negate, f.oneByte ? 255 : 65535);
    check(v.has_value());
    if (f.oneByte)
      check(w[f.at] == *v);
    else
      check(w[f.at] * 256 + w[f.at + 1] == *v);
  }
  const std::uint8_t volts = voltageCode(boxes.text(C::Combo4));
  check(w[11] == volts);
  check(w[14] == (boxes.listIndex(C::Combo2) >= 0 ? boxes.listIndex(C::Combo2) : volts));
  check(w[12] == state.lastBlock[8] && w[13] == state.lastBlock[9]);
  for (std::size_t i = 43; i <= 66; ++i) check(w[i + 4] == state.lastBlock[i]);
  check(w[71] == (boxes.text(C::Combo3) == "SOC" ? 4 : 0));
  check(w[72] == state.lastBlock[68]);
}

void checkCoefficient(const ParameterBoxes& boxes) {
  try {
    const double v = toNumber(boxes.text(C::LTextBox10));
    check(v >= -5 && v <= 0 && v == std::floor(v));
  } catch (const RuntimeFailure&) {
    // Not a number: the rule leaves such a text as it is.
  }
}

const std::string kWords[] = {"",    "0",    "-0",   "3",   "-3",  "-9",   "14.4",  "7",     "17",  "18",   "6.9",
                              "0.5", "2.5",  "100",  "150", "255", "256",  "65535", "65536", "-1",  "abc",  "12V",
                              "1e3", "&H10", " 12 ", "9",   "9.0", "11.5", "20.00", "LI",    "SOC", "Auto", "60V"};

std::string fuzzedBoxText(FuzzedDataProvider& in) {
  if (in.ConsumeBool()) return kWords[in.ConsumeIntegralInRange<std::size_t>(0, std::size(kWords) - 1)];
  return in.ConsumeRandomLengthString(12);
}

Control fuzzedControl(FuzzedDataProvider& in) {
  return allControls()[in.ConsumeIntegralInRange<std::size_t>(0, kControlCount - 1)];
}

// Runs rules in any order. `ruled` tells whether LTextBox10 has been through its rule since it
// was last set raw (as the screen sets it only from a widget that ran the rule).
void fuzzRules(FuzzedDataProvider& in, ParameterBoxes& boxes, bool& ruled) {
  const int steps = in.ConsumeIntegralInRange(0, 12);
  for (int i = 0; i < steps && in.remaining_bytes() > 0; ++i) {
    const Control c = fuzzedControl(in);
    switch (in.ConsumeIntegralInRange(0, 4)) {
      case 0:
        if (selectEntry(boxes, c, in.ConsumeIntegralInRange(-2, 6)) && c == C::Combo2 && boxes.listIndex(c) >= 0)
          ruled = true;
        break;
      case 1: {
        const std::string text = fuzzedBoxText(in);
        if (c == C::LTextBox10 && text != boxes.text(c)) ruled = true;
        assignText(boxes, c, text);
        break;
      }
      case 2:
        boxes.setEnabled(c, true);
        lostFocus(boxes, c);
        if (c == C::LTextBox10) ruled = true;
        break;
      case 3:
        boxes.setText(c, fuzzedBoxText(in));
        if (c == C::LTextBox10) ruled = false;
        break;
      default: {
        std::uint8_t blink = in.ConsumeIntegral<std::uint8_t>();
        timer1Tick(boxes, blink);
        check(blink <= 1);
        timer2Tick(boxes);
      }
    }
    if (ruled) checkCoefficient(boxes);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  const int mode = in.ConsumeIntegralInRange(0, 2);

  if (mode == 0) {
    // A reply of any length, onto a screen in any state.
    ParameterBoxes boxes;
    bool ruled = true;
    fuzzRules(in, boxes, ruled);
    ParameterBlockState state;
    const std::vector<std::uint8_t> rest = in.ConsumeRemainingBytes<std::uint8_t>();
    const Bytes reply(rest.begin(), rest.end());
    const std::string coefficientBefore = boxes.text(C::LTextBox10);
    const bool taken = showParameterBlock(boxes, state, reply);
    check(taken == (reply.size() == 69));
    check(state.dataRead == taken && state.blockOfStation == taken);
    if (taken) {
      check(std::equal(reply.begin(), reply.end(), state.lastBlock.begin()));
      check(boxes.listIndex(C::Combo2) >= 0 && boxes.listIndex(C::Combo3) >= 0);
      if (ruled || boxes.text(C::LTextBox10) != coefficientBefore) checkCoefficient(boxes);
      check(!boxes.text(C::LTextBox10).empty());
    }
    check(showRatedInfo(boxes, reply) == (reply.size() == 37));
    setResultMessage(reply);
    return 0;
  }

  if (mode == 1) {
    // Any box texts, any lists, any last block.
    ParameterBoxes boxes;
    ParameterBlockState state;
    for (Control c : allControls()) {
      if (isList(c))
        boxes.setListIndex(c, in.ConsumeIntegralInRange(-1, static_cast<int>(listEntries(c).size()) - 1));
      else
        boxes.setText(c, fuzzedBoxText(in));
    }
    state.dataRead = in.ConsumeBool();
    state.blockOfStation = in.ConsumeBool();
    for (auto& b : state.lastBlock) b = in.ConsumeIntegral<std::uint8_t>();
    bool ruled = false;
    fuzzRules(in, boxes, ruled);

    ParameterBoxes forBuild = boxes;
    const auto built = buildParameterWrite(forBuild, state);
    if (const auto* w = std::get_if<Bytes>(&built)) {
      checkWrite(forBuild, state, *w);
    } else {
      const WriteFailure& f = std::get<WriteFailure>(built);
      check(!f.logLine.empty());
      check(f.kind == Failure::TypeMismatch || f.kind == Failure::Overflow);
    }

    ParameterBoxes forCommand = boxes;
    const SetCommand cmd = command2Click(forCommand, state);
    if (cmd.action == SetCommand::Action::Send) {
      check(state.dataRead && state.blockOfStation && !boxes.text(C::SetChargeCurr).empty() && !forbiddenPair(boxes));
      check(cmd.frame.size() == 75);
      const auto back = verifyFrame(hexText(cmd.frame));
      check(back && back->size() == 73);
      checkWrite(forCommand, state, *back);
    } else {
      check(cmd.frame.empty() && !cmd.text.empty());
    }
    return 0;
  }

  // A parameter file of any content.
  ParameterBoxes boxes;
  bool ruled = true;
  fuzzRules(in, boxes, ruled);
  const ParameterBoxes before = boxes;
  const std::vector<std::uint8_t> rest = in.ConsumeRemainingBytes<std::uint8_t>();
  const core::IniDocument doc = core::IniDocument::parse(
      QByteArray(reinterpret_cast<const char*>(rest.data()), static_cast<qsizetype>(rest.size())));
  const QString section = QString::fromUtf8(kParameterSection.data(), static_cast<qsizetype>(kParameterSection.size()));
  const ImportResult r = readParameters(boxes, [&](std::string_view key) {
    return core::readIniValue(doc, section, QString::fromUtf8(key.data(), static_cast<qsizetype>(key.size())))
        .toStdString();
  });
  if (r.outcome == ImportResult::Outcome::Stopped) check(boxes == before);
  if (r.outcome == ImportResult::Outcome::Failed) check(!r.logLine.empty());
  if (r.outcome != ImportResult::Outcome::Stopped) check(boxes.listIndex(C::Combo2) >= 0);
  if (ruled || r.outcome != ImportResult::Outcome::Stopped) checkCoefficient(boxes);
  return 0;
}
