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
  EXPECT_EQ(boundedLineCount("999"), "1000");
  EXPECT_EQ(boundedLineCount("abc"), "1000");
  EXPECT_EQ(boundedLineCount("1000"), "1000");
  EXPECT_EQ(boundedLineCount("32000x"), "32000x");  // in bounds by Val: the text stands
  EXPECT_EQ(boundedLineCount("60000"), "60000");
  EXPECT_EQ(boundedLineCount("60000.5"), "60000");
  EXPECT_EQ(boundedSizeLimit(""), "1");
  EXPECT_EQ(boundedSizeLimit("0.5"), "1");
  EXPECT_EQ(boundedSizeLimit("1"), "1");
  EXPECT_EQ(boundedSizeLimit("50"), "50");
  EXPECT_EQ(boundedSizeLimit("51"), "50");
  EXPECT_EQ(boundedReadInterval("61"), "60");
  EXPECT_EQ(boundedReadInterval("60"), "60");
  EXPECT_EQ(boundedReadInterval("0"), "0");
  EXPECT_EQ(boundedReadInterval(""), "");
}

TEST(RecorderSettings, StationNamesAsKeys) {
  EXPECT_EQ(stationKeyProblem("Roof"), KeyProblem::None);
  EXPECT_EQ(stationKeyProblem("#1"), KeyProblem::None);
  EXPECT_EQ(stationKeyProblem("站点一"), KeyProblem::None);
  EXPECT_EQ(stationKeyProblem("a;b[c]"), KeyProblem::None);
  EXPECT_EQ(stationKeyProblem(" Roof "), KeyProblem::None);
  EXPECT_EQ(stationKeyProblem("a=b"), KeyProblem::EqualsSign);
  EXPECT_EQ(stationKeyProblem("="), KeyProblem::EqualsSign);
  EXPECT_EQ(stationKeyProblem(";x"), KeyProblem::LeadingSemicolon);
  EXPECT_EQ(stationKeyProblem("  ;x"), KeyProblem::LeadingSemicolon);
  EXPECT_EQ(stationKeyProblem("[x]"), KeyProblem::LeadingBracket);
  EXPECT_EQ(stationKeyProblem(""), KeyProblem::Empty);
  EXPECT_EQ(stationKeyProblem("   "), KeyProblem::Empty);
  EXPECT_EQ(stationKeyProblem("a\nb"), KeyProblem::LineBreak);
  EXPECT_EQ(stationKeyProblem(QStringLiteral("a\rb")), KeyProblem::LineBreak);
  EXPECT_EQ(stationKeyProblem(QString("a") + QChar(u'\0')), KeyProblem::LineBreak);
  EXPECT_EQ(stationKeyProblem(QStringLiteral("Roof ☀")), KeyProblem::NotGbk);

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
