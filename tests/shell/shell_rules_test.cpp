// The start-up, the message window's lines, the program's directories. And any text typed into the station editor and
// the port list, through their handlers: random inputs with a fixed seed and hand-picked nasty ones (the checks are in
// fuzz/dialog_fields.h; a failed check stops the program).

#include <QFileInfo>
#include <algorithm>
#include <random>

#include "core/message_log.h"
#include "fuzz/dialog_fields.h"
#include "platform/scheduler.h"
#include "shell/port_list.h"
#include "shell_fixture.h"

namespace xl::core {
namespace {

// A broken store does not stop the start. A build tree keeps its files beside the program; an
// installed or read-only program gets its directory in the data folder. The folder dialog and
// the message window's tail.
TEST(Startup, BrokenStoreProgramDirectoriesFolderDialogAndLogTail) {
  QTemporaryDir broken;
  setProgramDir(broken.path());
  QFile junk(broken.path() + "/MSCONS.DLL");
  ASSERT_TRUE(junk.open(QIODevice::WriteOnly) && junk.write("this is not a database") > 0);
  junk.close();
  bool shown = false;
  Main([&] { shown = true; });
  EXPECT_TRUE(shown);
  setProgramDir({});

  QTemporaryDir exe, data;
  const QString own = data.path() + "/xinglan";
  // A build tree keeps its files beside the executable.
  EXPECT_EQ(programDirFor(exe.path(), "/usr/bin", data.path()), exe.path());
  EXPECT_FALSE(QFileInfo::exists(own));
  // The installed binary directory (writable for root) and a directory that cannot be written.
  for (const QString& dir : {exe.path(), exe.path() + "/missing"}) {
    EXPECT_EQ(programDirFor(dir, exe.path(), data.path()), own) << dir.toStdString();
    EXPECT_TRUE(QFileInfo(own).isDir());
  }
  EXPECT_EQ(programDirFor(exe.path() + "/missing", "", data.path()), own);

  // The folder dialog gives the choice or nothing.
  testing::ScriptedDialogs dialogs;
  platform::setDialogs(&dialogs);
  dialogs.fileNames = {"/srv/records", ""};
  EXPECT_EQ(browseFolder(), "/srv/records");
  EXPECT_EQ(browseFolder(QStringLiteral("选择文件夹")), "");  // cancelled
  platform::setDialogs(nullptr);

  // The box keeps its last 1000 characters plus the new line, whatever the line breaks: the
  // oldest kept line may start in its middle.
  QString big;
  for (int i = 0; i < 300; ++i) big += QString("line %1\r\n").arg(i, 4, 10, QChar('0'));  // 11 characters a line
  EXPECT_EQ(appendLogText(big, "new", QDateTime(QDate(2026, 11, 22), QTime(9, 5, 7))),
            big.right(1000) + "\r\n[2026-11-22 09:05:07]new");
  appendLog("nowhere");  // no box installed: nothing happens
}

}  // namespace
}  // namespace xl::core

namespace xl::shell {
namespace {

// A fuzzing input: the mode byte, then the fields, each ended by a NUL but the last ('|' here).
std::string input(std::uint8_t mode, std::string fields) {
  std::ranges::replace(fields, '|', '\0');
  return char(mode) + fields;
}

TEST(DialogFields, NoTypedTextCrashesTheEditorOrThePortList) {
  // A port list entry needs both halves: an emptied port box never makes ",9600".
  EXPECT_EQ(portEntry("", "9600") + portEntry("COM5", "") + "|" + portEntry("COM5", "19200"), "|COM5,19200");
  testing::testApp();
  fuzzing::DialogConsole console;
  const std::vector<std::string> picked = {
      "",
      input(0x18, "O'Brien\"; drop table Station; --|1||c-Si||||||||||COM3|9600|COM3,9600"),
      input(0x18, " line COUNT|1||||||||||||COM3|9600|COM3,9600"),
      input(0x2d, "甲站|300|||-1|1e309|NaN||\r\n|=|[COMS]|;|#|COM1||COM10,9600|com1,4800|COM1,9600"),
      input(0x0c, std::string(5000, 'x') + "|" + std::string(600, '9') + "||||||||||||" + std::string(600, 'C') + "|" +
                      std::string(600, '1') + "|" + std::string(600, 'P')),
      input(0xff, "\xff\xfe\x80|\xc3|||||||||||😀🇨🇳|COM\n3|96\r00|COM3,9600\r\n[Main]|ListCount=0|=|\t"),
      input(0x08, "a|b||||||||||||||||||||||||"),
  };
  for (const std::string& p : picked) console.run(reinterpret_cast<const std::uint8_t*>(p.data()), p.size());

  std::mt19937 rng(20261123);
  const char alphabet[] = "COM,0123456789 '\"=[];#\r\n\t\xe7\x94\xb2\xff\x00";
  for (int n = 0; n < 150; ++n) {
    std::string s(1 + rng() % 200, '\0');
    for (char& c : s) c = alphabet[rng() % (sizeof alphabet - 1)];
    s[0] = char(rng());
    console.run(reinterpret_cast<const std::uint8_t*>(s.data()), s.size());
  }
}

}  // namespace
}  // namespace xl::shell
