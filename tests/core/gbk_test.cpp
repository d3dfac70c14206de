// GBK text conversion.

#include "platform/gbk.h"

#include <gtest/gtest.h>

using xl::platform::fromGbk;
using xl::platform::toGbk;

TEST(Gbk, ChineseTextHasItsCodePageBytes) {
  EXPECT_EQ(toGbk(QStringLiteral("星澜")), QByteArray("\xD0\xC7\xC0\xBD"));
  EXPECT_EQ(toGbk(QStringLiteral("配置")), QByteArray("\xC5\xE4\xD6\xC3"));
  EXPECT_EQ(toGbk(QStringLiteral("，")), QByteArray("\xA3\xAC"));  // the CSV comma stand-in
  EXPECT_EQ(toGbk(QStringLiteral("COM3,9600")), QByteArray("COM3,9600"));

  const QString mixed = QStringLiteral("超压电压(V)=16.00 星澜站点监控软件");
  EXPECT_EQ(fromGbk(toGbk(mixed)), mixed);
}

TEST(Gbk, UnconvertibleCharactersAndBytesLoseOnlyThemselves) {
  // Characters without a GBK code become '?', the text around them stays.
  EXPECT_EQ(toGbk(QStringLiteral("a😀b")), QByteArray("a?b"));

  // Invalid bytes read as U+FFFD; the ASCII that follows them is kept.
  EXPECT_EQ(fromGbk(QByteArray("\x81=x")), QStringLiteral("\uFFFD=x"));

  // Each call is a whole text: a lead byte at the end is not held back for the next call.
  EXPECT_EQ(fromGbk(QByteArray("a\xD0")), QStringLiteral("a\uFFFD"));
  EXPECT_EQ(fromGbk(QByteArray("\xC7")), QStringLiteral("\uFFFD"));
  EXPECT_EQ(fromGbk(QByteArray("\xD0\xC7")), QStringLiteral("星"));
}
