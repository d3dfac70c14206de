#include "core/message_log.h"

#include <gtest/gtest.h>

namespace xl::core {
namespace {

const QDateTime kWhen(QDate(2026, 11, 22), QTime(9, 5, 7));

TEST(MessageLog, LinesAreStampedAndOnlyTheTailIsKept) {
  EXPECT_EQ(logStamp(kWhen), "2026-11-22 09:05:07");
  // The first writer of a run leaves out the line break in an empty box; others do not.
  QString box = appendLogText("", QStringLiteral("刷新所有站点，请稍等..."), kWhen, true);
  EXPECT_EQ(box, QStringLiteral("[2026-11-22 09:05:07]刷新所有站点，请稍等..."));
  box = appendLogText(box, QStringLiteral("星澜站点监控启动"), kWhen);
  EXPECT_EQ(box, QStringLiteral("[2026-11-22 09:05:07]刷新所有站点，请稍等...\r\n[2026-11-22 09:05:07]星澜站点监控启动"));
  EXPECT_EQ(appendLogText("", "x", kWhen), "\r\n[2026-11-22 09:05:07]x");
  EXPECT_EQ(appendLogText("old", "x", kWhen, true), "old\r\n[2026-11-22 09:05:07]x");

  // The box keeps its last 1000 characters plus the new line, whatever the line breaks.
  QString big;
  for (int i = 0; i < 300; ++i) big += QString("line %1\r\n").arg(i, 4, 10, QChar('0'));  // 11 characters a line
  const QString next = appendLogText(big, "new", kWhen);
  EXPECT_EQ(next.size(), 1000 + 2 + 21 + 3);
  EXPECT_TRUE(next.startsWith(big.right(1000)));
  // The oldest kept line may start in its middle.
  EXPECT_FALSE(next.startsWith("line"));
}

TEST(MessageLog, AppendLogWritesThroughTheInstalledBox) {
  QString text;
  int writes = 0;
  appendLog("nowhere");  // no box yet: nothing happens
  setLogBox({[&] { return text; }, [&](const QString& t) { text = t, ++writes; }});
  appendLog("first", true);
  appendLog("second");
  EXPECT_EQ(writes, 2);
  EXPECT_TRUE(text.startsWith("[") && text.endsWith("]second")) << text.toStdString();
  EXPECT_EQ(text.count("\r\n"), 1);
  setLogBox({});
}

}  // namespace
}  // namespace xl::core
