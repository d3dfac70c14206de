// The editing rules: battery type defaults, limits, lithium couplings, the timers.

#include "configuration/parameter_rules.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>

#include "parameter_test_util.h"

namespace xl::configuration {
namespace {

using C = Control;
using testing::hasTexts;
using xl::testing::mapsTo;

// The operator types `text` into `box` and the cursor leaves it.
std::string leave(ParameterBoxes& b, Control box, const char* text) {
  b.setText(box, text);
  lostFocus(b, box);
  return b.text(box);
}

TEST(BatteryType, EachTypeAppliesItsColumnOfDefaultsAndEnabledStates) {
  const Control fields[] = {C::Combo3,     C::LTextBox8,  C::LTextBox10, C::LTextBox12, C::LTextBox16,
                            C::LTextBox18, C::LTextBox20, C::LTextBox22, C::LTextBox24, C::Combo4,
                            C::LTextBox29, C::LTextBox28, C::LTextBox32, C::LTextBox45, C::LTextBox34,
                            C::LTextBox38, C::LTextBox40, C::LTextBox36, C::LTextBox44, C::TextLimit};
  // Every field of the table, with its state; lithium keeps the capacity box's state (below).
  const std::pair<const char*, const char*> columns[] = {
      {"Gel",
       "-Combo3=Volt.Comp. +LTextBox8=200 +LTextBox10=-3 -LTextBox12=16.00 -LTextBox16=14.20 -LTextBox18=14.20 "
       "-LTextBox20=13.80 -LTextBox22=13.20 -LTextBox24=100 +Combo4=Auto -LTextBox29=120 -LTextBox28=0 "
       "-LTextBox32=0 -LTextBox45=5 -LTextBox34=10.60 -LTextBox38=12.60 -LTextBox40=12.00 -LTextBox36=11.10 "
       "-LTextBox44=30 -TextLimit=15.50"},
      {"Flooded",
       "-Combo3=Volt.Comp. +LTextBox8=200 +LTextBox10=-3 -LTextBox12=16.00 -LTextBox16=14.80 -LTextBox18=14.60 "
       "-LTextBox20=13.80 -LTextBox22=13.20 -LTextBox24=100 +Combo4=Auto -LTextBox29=120 -LTextBox28=120 "
       "-LTextBox32=30 -LTextBox45=5 -LTextBox34=10.60 -LTextBox38=12.60 -LTextBox40=12.00 -LTextBox36=11.10 "
       "-LTextBox44=30 -TextLimit=15.50"},
      {"Sealed",
       "-Combo3=Volt.Comp. +LTextBox8=200 +LTextBox10=-3 -LTextBox12=16.00 -LTextBox16=14.60 -LTextBox18=14.40 "
       "-LTextBox20=13.80 -LTextBox22=13.20 -LTextBox24=100 +Combo4=Auto -LTextBox29=120 -LTextBox28=120 "
       "-LTextBox32=30 -LTextBox45=5 -LTextBox34=10.60 -LTextBox38=12.60 -LTextBox40=12.00 -LTextBox36=11.10 "
       "-LTextBox44=30 -TextLimit=15.50"},
      {"LI",
       "-Combo3=Volt.Comp. LTextBox8=200 -LTextBox10=0 -LTextBox12=16.40 -LTextBox16=14.40 +LTextBox18=14.40 "
       "-LTextBox20=14.40 -LTextBox22=13.20 -LTextBox24=100 +Combo4=Auto -LTextBox29=120 -LTextBox28=0 "
       "-LTextBox32=0 -LTextBox45=5 -LTextBox34=10.60 +LTextBox38=12.60 -LTextBox40=12.10 +LTextBox36=11.10 "
       "-LTextBox44=30 -TextLimit=15.50"},
      {"User",
       "-Combo3=Volt.Comp. +LTextBox8=200 +LTextBox10=-3 +LTextBox12=16.00 +LTextBox16=14.60 +LTextBox18=14.40 "
       "+LTextBox20=13.80 +LTextBox22=13.20 -LTextBox24=100 +Combo4=Auto +LTextBox29=120 +LTextBox28=120 "
       "+LTextBox32=30 +LTextBox45=5 +LTextBox34=10.60 +LTextBox38=12.60 +LTextBox40=12.00 +LTextBox36=11.10 "
       "-LTextBox44=30 +TextLimit=15.50"}};
  for (const auto& [type, column] : columns) {
    ParameterBoxes b;
    // Start from the opposite of every state, and typed values, so that each cell must be set.
    for (Control c : fields) {
      b.setEnabled(c, true);
      if (!isList(c)) b.setText(c, "99");
    }
    ASSERT_TRUE(selectEntry(b, C::Combo2, type));
    EXPECT_TRUE(hasTexts(b, column)) << type;
  }
}

// Lithium keeps the capacity box as it was. Overwriting and greying on a change of type are
// checked through the screen; choosing the entry already chosen runs the rule again.
TEST(BatteryType, LithiumKeepsTheCapacityBoxAndTheSameTypeAgainThrowsAwayWhatWasTyped) {
  for (bool before : {true, false}) {
    ParameterBoxes b;
    b.setEnabled(C::LTextBox8, before);
    selectEntry(b, C::Combo2, "LI");
    EXPECT_TRUE(b.enabled(C::LTextBox8) == before && b.text(C::LTextBox8) == "200") << before;
  }
  ParameterBoxes b;
  selectEntry(b, C::Combo2, "Gel");
  b.setText(C::LTextBox12, "15.00");
  EXPECT_EQ((selectEntry(b, C::Combo2, "Gel"), b.text(C::LTextBox12)), "16.00");
}

TEST(BatteryType, NoTypeOnlyFormatsTheTenVoltageBoxes) {
  ParameterBoxes b;
  for (const auto& [c, text] : {std::pair{C::LTextBox12, "15"}, {C::LTextBox36, "abc"}, {C::LTextBox8, "250"}})
    b.setText(c, text);
  b.setEnabled(C::LTextBox12, false);
  combo2Click(b);
  EXPECT_TRUE(hasTexts(b, "-LTextBox12=15.00 LTextBox36=abc LTextBox8=250 TextLimit="));
}

TEST(ChargeMode, SocOpensTheTwoLevelBoxes) {
  ParameterBoxes b;
  selectEntry(b, C::Combo2, "Sealed");
  EXPECT_FALSE(b.enabled(C::LTextBox24));
  selectEntry(b, C::Combo3, "SOC");
  EXPECT_TRUE(b.enabled(C::LTextBox24) && b.enabled(C::LTextBox44));
  EXPECT_FALSE(b.enabled(C::Combo3));  // the mode itself stays closed
  selectEntry(b, C::Combo3, 0);
  EXPECT_FALSE(b.enabled(C::LTextBox44));
  EXPECT_FALSE(selectEntry(b, C::Combo3, "soc"));
}

// The text after the cursor leaves `box`, typed as `typed`, under `type`.
std::string afterLeaving(Control box, const char* typed, const char* type = "User", bool soc = false) {
  ParameterBoxes b;
  selectEntry(b, C::Combo2, type);
  if (soc) selectEntry(b, C::Combo3, "SOC");
  b.setEnabled(box, true);
  b.setText(C::LTextBox4, "20.00");
  leave(b, box, typed);
  return b.text(box);
}

// "Box=typed" (or only what is typed into `box`) left under `type` (and SOC): what stands in
// the box then.
auto leaving(const char* type, bool soc = false, std::optional<Control> box = {}) {
  return [=](const std::string& typed) {
    const std::size_t eq = box ? std::string::npos : typed.find('=');
    return box ? afterLeaving(*box, typed.c_str(), type, soc)
               : afterLeaving(controlNamed(typed.substr(0, eq)).value(), typed.c_str() + eq + 1, type, soc);
  };
}

TEST(FieldLimits, VoltagesAreHeldFrom7To17WithTwoDecimalsAndWholeNumbersByTheirOwnRules) {
  // A numeric prefix passes the limits; a text that is no number is not formatted.
  for (Control c : {C::LTextBox12, C::TextLimit, C::LTextBox16, C::LTextBox18, C::LTextBox20, C::LTextBox22,
                    C::LTextBox34, C::LTextBox36, C::LTextBox38, C::LTextBox40})
    EXPECT_TRUE(mapsTo(leaving("User", false, c), "18>17.00|6.9>7.00|7>7.00|17>17.00|>7.00|13.456>13.46|13V>13V"))
        << controlName(c);
  // The discharge limit's low limit is 0: an empty box stays empty.
  EXPECT_TRUE(mapsTo(leaving("User"),
                     "LTextBox8=>100|LTextBox8=5000>3000|LTextBox8=150.5>150.5|LTextBox29=5>10|LTextBox29=601>600|"
                     "LTextBox32=300>255|LTextBox32=>|LTextBox44=90>80|LTextBox44=-1>0|LTextBox45=0>1|"
                     "LTextBox45=31>30|LTextBox28=700>600|LTextBox24=150>100|LTextBox24=90>90"));
  EXPECT_TRUE(mapsTo(leaving("Gel"), "LTextBox28=700>120|LTextBox28=0>120|LTextBox16=14.2>15.20|LTextBox16=3>15.20"));
  // Outside "User" the full-charge level always snaps back; the discharge limit does not.
  EXPECT_TRUE(mapsTo(leaving("Sealed", true), "LTextBox24=90>100|LTextBox44=90>80|LTextBox44=50>50"));
}

TEST(FieldLimits, ADisabledBoxOrOneWithoutARuleIsLeftAlone) {
  ParameterBoxes b;
  selectEntry(b, C::Combo2, "Sealed");
  leave(b, C::LTextBox12, "99");  // disabled under "Sealed"
  leave(b, C::LTextBox1, "abc");
  EXPECT_TRUE(hasTexts(b, "LTextBox12=99 LTextBox1=abc"));
}

// Each change of text runs the rule; the leaving of the box runs it again, with nothing left
// to change.
TEST(TemperatureCoefficient, AWholeNumberFromMinus5To0OnEveryChange) {
  const auto typed = [](const std::string& text) {
    ParameterBoxes b;
    assignText(b, C::LTextBox10, text);
    const std::string shown = b.text(C::LTextBox10);
    lostFocus(b, C::LTextBox10);
    return shown == b.text(C::LTextBox10) ? shown : shown + " then " + b.text(C::LTextBox10);
  };
  EXPECT_TRUE(mapsTo(typed, "3>-3|-9>-5|-0>0|0>0|-3.>-3|-3.6>-4|-2.5>-2|0.4>0|->-|>|abc>abc|1e5>-5|-5>-5|-5.4>-5"));
}

TEST(LithiumCouplings, TheBoostVoltageCarriesItsFollowers) {
  ParameterBoxes b;
  selectEntry(b, C::Combo2, "LI");
  selectEntry(b, C::Combo4, "12V");
  leave(b, C::LTextBox18, "14.0");
  EXPECT_TRUE(hasTexts(b,
                       "LTextBox18=14.00 LTextBox16=14.00 LTextBox20=14.00 LTextBox12=16.00 TextLimit=14.00 "
                       "LTextBox22=12.80"));

  leave(b, C::LTextBox18, "8");
  EXPECT_TRUE(hasTexts(b, "LTextBox22=8.00 LTextBox12=10.00"));  // 8 is not above 9.0

  // Clamped first, then carried: 20 becomes 17, and no follower leaves its own 7..17.
  leave(b, C::LTextBox18, "20");
  EXPECT_TRUE(hasTexts(b, "LTextBox12=17.00 LTextBox22=15.80"));
}

TEST(LithiumCouplings, TheOverDischargeVoltageTestsTheOldLimit) {
  ParameterBoxes b;
  selectEntry(b, C::Combo2, "LI");
  leave(b, C::LTextBox36, "11.5");
  EXPECT_TRUE(hasTexts(b, "LTextBox36=11.50 LTextBox34=11.00 LTextBox40=12.50"));

  // The old limit of 9.00 is not above 9.0: the limit takes the voltage itself.
  b.setText(C::LTextBox34, "9.00");
  leave(b, C::LTextBox36, "11.5");
  EXPECT_EQ(b.text(C::LTextBox34), "11.50");
  // ... and the next time it is above 9.0 again.
  lostFocus(b, C::LTextBox36);
  EXPECT_EQ(b.text(C::LTextBox34), "11.00");
  // At the ends of the range the followers stop at their own limits.
  leave(b, C::LTextBox36, "17");
  EXPECT_EQ(b.text(C::LTextBox40), "17.00");
  leave(b, C::LTextBox36, "7");
  EXPECT_EQ(b.text(C::LTextBox34), "7.00");
}

TEST(LithiumCouplings, ACouplingEndsAtATextThatIsNoNumberAndOtherTypesCarryNothing) {
  ParameterBoxes b;
  selectEntry(b, C::Combo2, "LI");
  b.setText(C::LTextBox34, "");  // as an import may leave it
  b.setText(C::LTextBox40, "12.10");
  leave(b, C::LTextBox36, "12");
  EXPECT_TRUE(hasTexts(b, "LTextBox36=12.00 LTextBox34= LTextBox40=12.10"));

  // A boost voltage that passes the lenient limits but is no number carries nothing numeric.
  leave(b, C::LTextBox18, "14x");
  EXPECT_TRUE(hasTexts(b, "LTextBox16=14x LTextBox12=16.40"));
  // Under another type neither voltage carries anything.
  b = ParameterBoxes{};
  selectEntry(b, C::Combo2, "User");
  leave(b, C::LTextBox18, "14.0");
  leave(b, C::LTextBox36, "11.5");
  EXPECT_TRUE(hasTexts(b, "LTextBox16=14.60 LTextBox34=10.60"));
}

TEST(ChargeCurrent, CappedAtTheRatedCurrentWithNoLowerLimit) {
  ParameterBoxes b;
  const auto typed = [&](const std::string& text) { return leave(b, C::SetChargeCurr, text.c_str()); };
  b.setText(C::LTextBox4, "20.00");
  EXPECT_TRUE(mapsTo(typed, "25>20.00|15>15.00|-3>-3.00|>|20>20.00"));
  b.setText(C::LTextBox4, "");
  EXPECT_TRUE(mapsTo(typed, "5>"));
}

TEST(Timers, LithiumOnAutoBlinksAndAnotherVoltageStopsIt) {
  using T = Combo4Look::TextColour;
  ParameterBoxes b;
  selectEntry(b, C::Combo2, "LI");  // also puts Combo4 on "Auto"
  ASSERT_TRUE(forbiddenPair(b));
  std::uint8_t blink = 0;
  EXPECT_EQ(timer1Tick(b, blink).text, T::WindowText);
  EXPECT_EQ(blink, 1);
  const Combo4Look red = timer1Tick(b, blink);
  EXPECT_TRUE(red.text == T::Red && !red.windowBackground && blink == 0);
  EXPECT_EQ(timer1Tick(b, blink).text, T::WindowText);

  selectEntry(b, C::Combo4, "12V");
  EXPECT_FALSE(forbiddenPair(b));
  const Combo4Look calm = timer1Tick(b, blink);
  EXPECT_TRUE(calm.text == T::ButtonText && calm.windowBackground && blink == 0);
}

TEST(Timers, Timer2GreysExactlyTheDisabledControlsOfItsList) {
  ParameterBoxes b;
  selectEntry(b, C::Combo2, "LI");
  const auto shown = timer2Tick(b);
  ASSERT_EQ(shown.size(), 19u);
  EXPECT_EQ(shown.front().first, C::LTextBox12);
  EXPECT_EQ(shown.back().first, C::TextLimit);
  for (const auto& [c, greyed] : shown) {
    EXPECT_EQ(greyed, !b.enabled(c)) << controlName(c);
    EXPECT_TRUE(c != C::SetChargeCurr && c != C::Combo2 && c != C::Combo4) << controlName(c);
  }
}

TEST(BoxFormat, NumbersAreWrittenWithTheirPlacesOtherTextsStay) {
  EXPECT_TRUE(
      mapsTo([](const std::string& t) { return formatBoxText(t, 2); }, "14.4>14.40| 7 >7.00|>|abc>abc|-0.001>0.00"));
  EXPECT_TRUE(mapsTo([](const std::string& t) { return formatBoxText(t, 0); }, "2.5>2"));
}

}  // namespace
}  // namespace xl::configuration
