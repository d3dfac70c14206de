#include "configuration/parameter_rules.h"

#include <functional>

#include "link/device_data_map.h"
#include "link/vb_numbers.h"
#include "platform/failure.h"

namespace xl::configuration {

namespace {

using C = Control;

enum class Enable { On, Off, Keep };

// One cell of a battery type's column: a fixed text, or (for a lithium battery) the value of
// another box plus `delta`.
struct Cell {
  Control control;
  std::string_view text;
  Enable enable;
  bool computed = false;
  Control source = Control::LTextBox1;
  double delta = 0;
};

constexpr Cell fixed(Control c, std::string_view text, Enable e) { return {c, text, e}; }
constexpr Cell from(Control c, Control source, double delta, Enable e) { return {c, {}, e, true, source, delta}; }

constexpr auto On = Enable::On;
constexpr auto Off = Enable::Off;
constexpr auto Keep = Enable::Keep;

// The columns of the battery types, each in the order in which it is applied.
const std::vector<Cell> kGel{
    fixed(C::Combo3, "Volt.Comp.", Off), fixed(C::LTextBox8, "200", On),    fixed(C::LTextBox10, "-3", On),
    fixed(C::LTextBox12, "16", Off),     fixed(C::LTextBox16, "14.2", Off), fixed(C::LTextBox18, "14.2", Off),
    fixed(C::LTextBox20, "13.8", Off),   fixed(C::LTextBox22, "13.2", Off), fixed(C::LTextBox24, "100", Off),
    fixed(C::Combo4, "Auto", On),        fixed(C::LTextBox29, "120", Off),  fixed(C::LTextBox28, "0", Off),
    fixed(C::LTextBox32, "0", Off),      fixed(C::LTextBox45, "5", Off),    fixed(C::LTextBox34, "10.6", Off),
    fixed(C::LTextBox38, "12.6", Off),   fixed(C::LTextBox40, "12", Off),   fixed(C::LTextBox36, "11.1", Off),
    fixed(C::LTextBox44, "30", Off),     fixed(C::TextLimit, "15.5", Off),
};
const std::vector<Cell> kFlooded{
    fixed(C::Combo3, "Volt.Comp.", Off), fixed(C::LTextBox8, "200", On),    fixed(C::LTextBox10, "-3", On),
    fixed(C::LTextBox12, "16", Off),     fixed(C::LTextBox16, "14.8", Off), fixed(C::LTextBox18, "14.6", Off),
    fixed(C::LTextBox20, "13.8", Off),   fixed(C::LTextBox22, "13.2", Off), fixed(C::LTextBox24, "100", Off),
    fixed(C::Combo4, "Auto", On),        fixed(C::LTextBox29, "120", Off),  fixed(C::LTextBox28, "120", Off),
    fixed(C::LTextBox32, "30", Off),     fixed(C::LTextBox45, "5", Off),    fixed(C::LTextBox34, "10.6", Off),
    fixed(C::LTextBox38, "12.6", Off),   fixed(C::LTextBox40, "12", Off),   fixed(C::LTextBox36, "11.1", Off),
    fixed(C::LTextBox44, "30", Off),     fixed(C::TextLimit, "15.5", Off),
};
const std::vector<Cell> kSealed{
    fixed(C::Combo3, "Volt.Comp.", Off), fixed(C::LTextBox8, "200", On),    fixed(C::LTextBox10, "-3", On),
    fixed(C::LTextBox12, "16", Off),     fixed(C::LTextBox16, "14.6", Off), fixed(C::LTextBox18, "14.4", Off),
    fixed(C::LTextBox20, "13.8", Off),   fixed(C::LTextBox22, "13.2", Off), fixed(C::LTextBox24, "100", Off),
    fixed(C::Combo4, "Auto", On),        fixed(C::LTextBox29, "120", Off),  fixed(C::LTextBox28, "120", Off),
    fixed(C::LTextBox32, "30", Off),     fixed(C::LTextBox45, "5", Off),    fixed(C::LTextBox34, "10.6", Off),
    fixed(C::LTextBox38, "12.6", Off),   fixed(C::LTextBox40, "12", Off),   fixed(C::LTextBox36, "11.1", Off),
    fixed(C::LTextBox44, "30", Off),     fixed(C::TextLimit, "15.5", Off),
};
// Lithium: the over-voltage follows the boost voltage, the warning and the discharge limit the
// over-discharge voltage, each computed right after its sources are set.
const std::vector<Cell> kLithium{
    fixed(C::Combo3, "Volt.Comp.", Off),
    fixed(C::LTextBox8, "200", Keep),
    fixed(C::LTextBox10, "0", Off),
    fixed(C::LTextBox16, "14.4", Off),
    fixed(C::LTextBox18, "14.4", On),
    fixed(C::LTextBox20, "14.4", Off),
    from(C::LTextBox12, C::LTextBox18, 2, Off),
    fixed(C::LTextBox22, "13.2", Off),
    fixed(C::LTextBox24, "100", Off),
    fixed(C::Combo4, "Auto", On),
    fixed(C::LTextBox29, "120", Off),
    fixed(C::LTextBox28, "0", Off),
    fixed(C::LTextBox32, "0", Off),
    fixed(C::LTextBox45, "5", Off),
    fixed(C::LTextBox38, "12.6", On),
    fixed(C::LTextBox36, "11.1", On),
    from(C::LTextBox40, C::LTextBox36, 1, Off),
    from(C::LTextBox34, C::LTextBox36, -0.5, Off),
    fixed(C::LTextBox44, "30", Off),
    fixed(C::TextLimit, "15.5", Off),
};
const std::vector<Cell> kUser{
    fixed(C::Combo3, "Volt.Comp.", Off), fixed(C::LTextBox8, "200", On),   fixed(C::LTextBox10, "-3", On),
    fixed(C::LTextBox12, "16", On),      fixed(C::LTextBox16, "14.6", On), fixed(C::LTextBox18, "14.4", On),
    fixed(C::LTextBox20, "13.8", On),    fixed(C::LTextBox22, "13.2", On), fixed(C::LTextBox24, "100", Off),
    fixed(C::Combo4, "Auto", On),        fixed(C::LTextBox29, "120", On),  fixed(C::LTextBox28, "120", On),
    fixed(C::LTextBox32, "30", On),      fixed(C::LTextBox45, "5", On),    fixed(C::LTextBox34, "10.6", On),
    fixed(C::LTextBox38, "12.6", On),    fixed(C::LTextBox40, "12", On),   fixed(C::LTextBox36, "11.1", On),
    fixed(C::LTextBox44, "30", Off),     fixed(C::TextLimit, "15.5", On),
};

// The boxes that Combo2_Click puts through "0.00" after its column, in this order.
constexpr Control kVoltageBoxes[] = {C::TextLimit,  C::LTextBox12, C::LTextBox16, C::LTextBox18, C::LTextBox20,
                                     C::LTextBox22, C::LTextBox34, C::LTextBox38, C::LTextBox40, C::LTextBox36};

// The controls Timer2 greys, in its order.
constexpr Control kTimer2Controls[] = {C::LTextBox12, C::LTextBox16, C::LTextBox18, C::LTextBox20, C::LTextBox22,
                                       C::LTextBox38, C::LTextBox40, C::LTextBox36, C::LTextBox34, C::LTextBox32,
                                       C::LTextBox28, C::LTextBox29, C::LTextBox10, C::LTextBox8,  C::LTextBox45,
                                       C::LTextBox24, C::LTextBox44, C::Combo3,     C::TextLimit};

// A number put into a box by programme, as a box shows an assigned number.
std::string numberBoxText(double value) { return link::numberText(value); }

void applyCell(ParameterBoxes& boxes, const Cell& cell) {
  if (cell.computed) {
    assignText(boxes, cell.control, numberBoxText(toNumber(boxes.text(cell.source)) + cell.delta));
  } else if (isList(cell.control)) {
    selectEntry(boxes, cell.control, cell.text);
  } else {
    assignText(boxes, cell.control, std::string(cell.text));
  }
  if (cell.enable != Enable::Keep) boxes.setEnabled(cell.control, cell.enable == Enable::On);
}

const std::vector<Cell>* columnOf(const std::string& type) {
  if (type == "Gel") return &kGel;
  if (type == "Flooded") return &kFlooded;
  if (type == "Sealed") return &kSealed;
  if (type == "LI") return &kLithium;
  if (type == "User") return &kUser;
  return nullptr;
}

void format(ParameterBoxes& boxes, Control c, int places) { boxes.setText(c, formatBoxText(boxes.text(c), places)); }

// The limit test of a LostFocus rule: low first, then high, each by the bare whole number.
void clamp(ParameterBoxes& boxes, Control c, int low, int high) {
  if (val(boxes.text(c)) < low) assignText(boxes, c, std::to_string(low));
  if (val(boxes.text(c)) > high) assignText(boxes, c, std::to_string(high));
}

void voltageLimits(ParameterBoxes& boxes, Control c) {
  clamp(boxes, c, 7, 17);
  format(boxes, c, 2);
}

// Under "LI" the boost voltage carries equalising, float and the limit with it, the
// over-voltage 2 above and the boost return 1.2 below (or equal at 9 V and less).
void boostCouplings(ParameterBoxes& boxes) {
  const std::string boost = boxes.text(C::LTextBox18);
  assignText(boxes, C::LTextBox16, boost);
  assignText(boxes, C::LTextBox20, boost);
  assignText(boxes, C::LTextBox12, numberBoxText(toNumber(boxes.text(C::LTextBox18)) + 2));
  voltageLimits(boxes, C::LTextBox12);
  assignText(boxes, C::TextLimit, boxes.text(C::LTextBox18));
  voltageLimits(boxes, C::TextLimit);
  const double floatVolts = toNumber(boxes.text(C::LTextBox20));
  if (floatVolts > 9.0)
    assignText(boxes, C::LTextBox22, numberBoxText(toNumber(boxes.text(C::LTextBox20)) - 1.2));
  else
    assignText(boxes, C::LTextBox22, boxes.text(C::LTextBox20));
  voltageLimits(boxes, C::LTextBox22);
}

// Under "LI" the over-discharge voltage carries the discharge limit 0.5 below it (tested on the
// limit's old value) and the low-voltage warning 1 above it.
void overDischargeCouplings(ParameterBoxes& boxes) {
  if (toNumber(boxes.text(C::LTextBox34)) > 9.0)
    assignText(boxes, C::LTextBox34, numberBoxText(toNumber(boxes.text(C::LTextBox36)) - 0.5));
  else
    assignText(boxes, C::LTextBox34, boxes.text(C::LTextBox36));
  assignText(boxes, C::LTextBox40, numberBoxText(toNumber(boxes.text(C::LTextBox36)) + 1));
  voltageLimits(boxes, C::LTextBox34);
  voltageLimits(boxes, C::LTextBox40);
}

// One pass of LTextBox10's rule.
std::string coefficientRule(std::string t) {
  if (val(t) > 0) {
    // The format "-0": a minus sign before the whole number; a text that is no number stays.
    try {
      t = "-" + link::fixedText(toNumber(t), 0);
    } catch (const RuntimeFailure&) {}
  } else if (t == "-0" || t == "0") {
    t = "0";
  }
  if (val(t) < -5) t = "-5";
  return formatBoxText(t, 0);
}

}  // namespace

std::string formatBoxText(std::string_view text, int places) {
  try {
    return link::fixedText(toNumber(text), places);
  } catch (const RuntimeFailure&) {
    return std::string(text);  // no number: the format leaves the text alone
  }
}

bool selectEntry(ParameterBoxes& boxes, Control list, int index) {
  if (!boxes.setListIndex(list, index)) return false;
  if (list == C::Combo2) combo2Click(boxes);
  if (list == C::Combo3) combo3Click(boxes);
  return true;
}

bool selectEntry(ParameterBoxes& boxes, Control list, std::string_view text) {
  const auto& entries = listEntries(list);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (entries[i] == text) return selectEntry(boxes, list, static_cast<int>(i));
  }
  return false;
}

void assignText(ParameterBoxes& boxes, Control box, std::string text) {
  if (isList(box)) {
    selectEntry(boxes, box, text);
    return;
  }
  const bool changed = boxes.text(box) != text;
  boxes.setText(box, std::move(text));
  if (box == C::LTextBox10 && changed) lTextBox10Change(boxes);
}

void combo2Click(ParameterBoxes& boxes) {
  if (const auto* column = columnOf(boxes.text(C::Combo2))) {
    try {
      for (const Cell& cell : *column) applyCell(boxes, cell);
    } catch (const RuntimeFailure&) {
      // A computed cell whose source is no number ends the rule; nothing else is touched.
      return;
    }
  }
  for (Control c : kVoltageBoxes) format(boxes, c, 2);
}

void combo3Click(ParameterBoxes& boxes) {
  const bool soc = boxes.text(C::Combo3) == "SOC";
  boxes.setEnabled(C::LTextBox24, soc);
  boxes.setEnabled(C::LTextBox44, soc);
}

void lTextBox10Change(ParameterBoxes& boxes) {
  // Setting the text raises the change again; the rule settles after at most a few rounds.
  for (int round = 0; round < 8; ++round) {
    const std::string next = coefficientRule(boxes.text(C::LTextBox10));
    if (next == boxes.text(C::LTextBox10)) return;
    boxes.setText(C::LTextBox10, next);
  }
}

void capChargeCurrent(ParameterBoxes& boxes) {
  if (val(boxes.text(C::LTextBox4)) < val(boxes.text(C::SetChargeCurr)))
    assignText(boxes, C::SetChargeCurr, boxes.text(C::LTextBox4));
  format(boxes, C::SetChargeCurr, 2);
}

void lostFocus(ParameterBoxes& boxes, Control box) {
  if (!boxes.enabled(box)) return;  // a disabled box never has the cursor
  const std::string& type = boxes.text(C::Combo2);
  try {
    switch (box) {
      case C::LTextBox8: clamp(boxes, box, 100, 3000); break;
      case C::LTextBox10: lTextBox10Change(boxes); break;
      case C::LTextBox12:
      case C::TextLimit:
      case C::LTextBox20:
      case C::LTextBox22:
      case C::LTextBox34:
      case C::LTextBox38:
      case C::LTextBox40: voltageLimits(boxes, box); break;
      case C::LTextBox16:
        if (type == "Gel")
          assignText(boxes, box, "15.2");
        else
          clamp(boxes, box, 7, 17);
        format(boxes, box, 2);
        break;
      case C::LTextBox18:
        voltageLimits(boxes, box);
        if (type == "LI") boostCouplings(boxes);
        break;
      case C::LTextBox36:
        voltageLimits(boxes, box);
        if (type == "LI") overDischargeCouplings(boxes);
        break;
      case C::LTextBox24:
        if (type == "User")
          clamp(boxes, box, 0, 100);
        else
          assignText(boxes, box, "100");
        break;
      case C::LTextBox28:
        if (type == "Gel")
          assignText(boxes, box, "120");
        else
          clamp(boxes, box, 0, 600);
        break;
      case C::LTextBox29: clamp(boxes, box, 10, 600); break;
      case C::LTextBox32: clamp(boxes, box, 0, 255); break;
      case C::LTextBox44: clamp(boxes, box, 0, 80); break;
      case C::LTextBox45: clamp(boxes, box, 1, 30); break;
      case C::SetChargeCurr: capChargeCurrent(boxes); break;
      default: break;
    }
  } catch (const RuntimeFailure&) {
    // A coupling that meets a text that is no number ends there, as a failing handler does.
  }
}

void applyTypingRules(ParameterBoxes& boxes) {
  static constexpr Control kScreenOrder[] = {
      C::LTextBox12, C::TextLimit,  C::LTextBox16, C::LTextBox18,    C::LTextBox20, C::LTextBox22, C::LTextBox38,
      C::LTextBox40, C::LTextBox36, C::LTextBox34, C::SetChargeCurr, C::LTextBox32, C::LTextBox28, C::LTextBox29,
      C::LTextBox10, C::LTextBox8,  C::LTextBox45, C::LTextBox24,    C::LTextBox44,
  };
  for (Control c : kScreenOrder) {
    if (c == C::SetChargeCurr && boxes.text(C::LTextBox4).empty()) continue;
    const bool enabled = boxes.enabled(c);
    boxes.setEnabled(c, true);
    lostFocus(boxes, c);
    boxes.setEnabled(c, enabled);
  }
}

bool forbiddenPair(const ParameterBoxes& boxes) {
  return boxes.text(C::Combo2) == "LI" && boxes.text(C::Combo4) == "Auto";
}

Combo4Look timer1Tick(const ParameterBoxes& boxes, std::uint8_t& blinkState) {
  using T = Combo4Look::TextColour;
  if (forbiddenPair(boxes)) {
    if (blinkState == 1) {
      blinkState = 0;
      return {T::Red, false};
    }
    blinkState = 1;
    return {T::WindowText, false};
  }
  blinkState = 0;
  return {T::ButtonText, true};
}

std::vector<std::pair<Control, bool>> timer2Tick(const ParameterBoxes& boxes) {
  std::vector<std::pair<Control, bool>> out;
  for (Control c : kTimer2Controls) out.emplace_back(c, !boxes.enabled(c));
  return out;
}

}  // namespace xl::configuration
