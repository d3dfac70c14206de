#include "monitoring/recorder_settings.h"

#include <gtest/gtest.h>

namespace xl::monitoring {
namespace {

TEST(RecorderSettings, DefaultsOfEmptyKeys) {
  EXPECT_EQ(readIntervalOrDefault(""), "10");
  EXPECT_EQ(readIntervalOrDefault("0"), "0");
  EXPECT_EQ(lineCountOrDefault(""), "32000");
  EXPECT_EQ(lineCountOrDefault("500"), "500");  // a stored value stands, bounds or not
  EXPECT_EQ(sizeLimitOrDefault(""), "30");
  EXPECT_EQ(sizeLimitOrDefault("99"), "99");
  EXPECT_EQ(filePathOrDefault("", "/prog"), "/prog");
  EXPECT_EQ(filePathOrDefault("/data", "/prog"), "/data");

  // The interval keys only together.
  const SaveIntervalTexts both = saveIntervalOrDefault("", "");
  EXPECT_EQ(both.hours, "0");
  EXPECT_EQ(both.minutes, "1");
  const SaveIntervalTexts hoursOnly = saveIntervalOrDefault("2", "");
  EXPECT_EQ(hoursOnly.hours, "2");
  EXPECT_EQ(hoursOnly.minutes, "");
  const SaveIntervalTexts minutesOnly = saveIntervalOrDefault("", "0");
  EXPECT_EQ(minutesOnly.hours, "");
  EXPECT_EQ(minutesOnly.minutes, "0");
}

TEST(RecorderSettings, SaveIntervalSeconds) {
  EXPECT_EQ(saveIntervalSeconds("0", "1"), 60);
  EXPECT_EQ(saveIntervalSeconds("0", "0"), 0);  // a cycle every second
  EXPECT_EQ(saveIntervalSeconds("5", "59"), 5 * 3600 + 59 * 60);
  EXPECT_EQ(saveIntervalSeconds("", "abc"), 0);
  EXPECT_EQ(saveIntervalSeconds("0", "0.125"), 8);   // 7.5, half to even
  EXPECT_EQ(saveIntervalSeconds("0", "0.375"), 22);  // 22.5
  EXPECT_EQ(saveIntervalSeconds("1e9", "0"), INT32_MAX);
  EXPECT_EQ(saveIntervalSeconds("-1e9", "0"), INT32_MIN);
}

TEST(RecorderSettings, BoundsOfTheAcceptButton) {
  using Bound = QString (*)(const QString&);
  const struct {
    Bound bound;
    const char *typed, *kept;
  } cases[] = {{boundedLineCount, "999", "1000"},    {boundedLineCount, "abc", "1000"},
               {boundedLineCount, "1000", "1000"},   {boundedLineCount, "32000x", "32000x"},  // in bounds by Val
               {boundedLineCount, "60000", "60000"}, {boundedLineCount, "60000.5", "60000"},
               {boundedSizeLimit, "", "1"},          {boundedSizeLimit, "0.5", "1"},
               {boundedSizeLimit, "1", "1"},         {boundedSizeLimit, "50", "50"},
               {boundedSizeLimit, "51", "50"},       {boundedReadInterval, "61", "60"},
               {boundedReadInterval, "60", "60"},    {boundedReadInterval, "0", "0"},
               {boundedReadInterval, "", ""}};
  for (const auto& c : cases) EXPECT_EQ(c.bound(c.typed), c.kept) << c.typed;
}

TEST(RecorderSettings, StationNamesAsKeys) {
  using K = KeyProblem;
  const std::pair<QString, KeyProblem> cases[] = {{"Roof", K::None},
                                                  {"#1", K::None},
                                                  {QStringLiteral("站点一"), K::None},
                                                  {"a;b[c]", K::None},
                                                  {" Roof ", K::None},
                                                  {"a=b", K::EqualsSign},
                                                  {"=", K::EqualsSign},
                                                  {";x", K::LeadingSemicolon},
                                                  {"  ;x", K::LeadingSemicolon},
                                                  {"[x]", K::LeadingBracket},
                                                  {"", K::Empty},
                                                  {"   ", K::Empty},
                                                  {"a\nb", K::LineBreak},
                                                  {"a\rb", K::LineBreak},
                                                  {QString("a") + QChar(u'\0'), K::LineBreak},
                                                  {QStringLiteral("Roof ☀"), K::NotGbk}};
  for (const auto& [name, problem] : cases) EXPECT_EQ(stationKeyProblem(name), problem) << name.toStdString();

  // The recorder's own keys, found as the file finds keys: any case, blanks around.
  ASSERT_EQ(recorderKeyNames().size(), 7);
  for (const QString& key : recorderKeyNames()) {
    for (const QString& name : {key, key.toUpper(), " " + key.toLower() + "\t"})
      EXPECT_EQ(stationKeyProblem(name), KeyProblem::RecorderKey) << name.toStdString();
    EXPECT_EQ(stationKeyProblem(key + "1"), KeyProblem::None);
  }
  EXPECT_EQ(stationKeyProblem("FilePath"), KeyProblem::None);
  EXPECT_FALSE(stationKeyLogLine("#1").has_value());
  const auto logLine = stationKeyLogLine("a=b");
  ASSERT_TRUE(logLine.has_value());
  EXPECT_TRUE(logLine->contains("“a=b”"));
}

}  // namespace
}  // namespace xl::monitoring
