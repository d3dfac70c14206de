#pragma once
// The editing rules of the control parameter screen: the defaults and editable fields of each
// battery type, the limits a box is put back to when the cursor leaves it, the couplings of a
// lithium battery, and what the two timers show.
//
// The rules are mild: a value out of range is set back to its limit silently, no rule shows a
// message, and no voltage is compared with another. All voltages are on the 12 V basis, 7 to 17,
// for every system voltage.
//
// No Qt; functions over ParameterBoxes. No rule throws: a rule that meets a text it cannot read
// as a number where it must (the lithium couplings) ends at that step, as a handler that fails.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "configuration/parameter_block.h"

namespace xl::configuration {

// Chooses entry `index` (-1 for none) of a list and runs its click rule (Combo2, Combo3; Combo4
// has none), as a choice by the operator or by programme does. Every choice runs the rule, also
// the choice of the entry already chosen. Returns false, changing nothing, for an index the list
// does not have.
bool selectEntry(ParameterBoxes& boxes, Control list, int index);
// The same by the entry's text; false, changing nothing, when the list has no such entry.
bool selectEntry(ParameterBoxes& boxes, Control list, std::string_view text);

// Sets a text box as a programme does: LTextBox10's change rule follows, any other box just
// takes the text.
void assignText(ParameterBoxes& boxes, Control box, std::string text);

// `Combo2_Click`: the defaults and enabled states of the chosen battery type, then the ten
// voltage boxes in the format "0.00". With no type chosen it only formats.
void combo2Click(ParameterBoxes& boxes);

// `Combo3_Click`: LTextBox24 and LTextBox44 are enabled in "SOC" mode, disabled otherwise.
void combo3Click(ParameterBoxes& boxes);

// `LTextBox10_Change`, also its `LostFocus`: keeps the temperature coefficient a whole number
// from -5 to 0 ("3" -> "-3", "-9" -> "-5", "-0" -> "0", "-3.4" -> "-3"). Runs on every change of
// the text, by the operator or by programme. A text that is no number stays as it is.
void lTextBox10Change(ParameterBoxes& boxes);

// The `LostFocus` rule of `box`: its limits, its format and its extra rule (the table below).
// A disabled box, or one without a rule, is left alone.
//
//   LTextBox8    100..3000                  LTextBox24   0..100, not "User": always "100"
//   LTextBox10   the change rule            LTextBox28   0..600, "Gel": always "120"
//   LTextBox12, TextLimit, LTextBox20, 22, 34, 38, 40: 7..17, "0.00"
//   LTextBox16   7..17, "0.00"; "Gel": "15.2" without limits
//   LTextBox18   7..17, "0.00"; "LI": 16, 20, TextLimit follow it, 12 = it + 2,
//                22 = 20 - 1.2 when 20 is above 9.0, else 20
//   LTextBox36   7..17, "0.00"; "LI": 34 = it - 0.5 when the old 34 is above 9.0, else it;
//                40 = it + 1
//   A box that a coupling moves stays within its own 7..17 (12 and 40 stop at 17, 34 at 7).
//   LTextBox29   10..600     LTextBox32   0..255     LTextBox44   0..80     LTextBox45   1..30
//   SetChargeCurr  capped at LTextBox4, "0.00"
//
// Limits compare the lenient value of the text (empty or no number counts as 0); a text below
// the low limit becomes the low limit as a bare whole number, then above the high one the high
// one. The format applies to a text that is a number and leaves any other text as it is.
void lostFocus(ParameterBoxes& boxes, Control box);

// What an imported file puts into the boxes goes through the same rules as typing: the
// LostFocus rule of every box in the order the boxes stand on the screen (the lithium couplings
// included), also of a box that is disabled now, since the file filled it all the same and a
// write sends it. The charge current is capped only once the rated current is known (the write
// caps it again at the last moment).
void applyTypingRules(ParameterBoxes& boxes);

// `SetChargeCurr_LostFocus` alone: above the rated current (lenient values) the box takes the
// text of LTextBox4, then the format "0.00". With LTextBox4 empty a positive entry empties it.
void capChargeCurrent(ParameterBoxes& boxes);

// The forbidden pair of a write: battery type "LI" with system voltage "Auto".
bool forbiddenPair(const ParameterBoxes& boxes);

// `Timer1_Timer`, every 1000 ms: what Combo4 looks like after the tick.
struct Combo4Look {
  enum class TextColour {
    Red,         // the forbidden pair, blink phase on
    WindowText,  // the forbidden pair, blink phase off: the system window-text colour
    ButtonText,  // no forbidden pair: the system button-text colour
  };
  TextColour text;
  bool windowBackground;  // true: the background goes back to the system window colour
};
// Advances `blinkState` (0 or 1) by one tick.
Combo4Look timer1Tick(const ParameterBoxes& boxes, std::uint8_t& blinkState);

// `Timer2_Timer`, every 200 ms: each control of its list in its order, with true when it is
// shown greyed (disabled: the button-face colour) and false when it has the window colour.
// SetChargeCurr, Combo2 and Combo4 are not in the list.
std::vector<std::pair<Control, bool>> timer2Tick(const ParameterBoxes& boxes);

// The format of a box: a text that is a number written with `places` decimals ("0.00" is 2),
// any other text unchanged ("" stays "").
std::string formatBoxText(std::string_view text, int places);

}  // namespace xl::configuration
