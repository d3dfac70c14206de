// The settings: GBK text, the settings text without files (how a document reads, and what a
// write changes), and the settings routines on real files (persistence, failures).

#include <gtest/gtest.h>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "core/app_state.h"
#include "core/settings.h"
#include "core/text_cases.h"
#include "platform/gbk.h"

using namespace xl::core;
using xl::platform::fromGbk;
using xl::platform::toGbk;
using xl::testing::mapsTo;

// Characters without a GBK code become '?', the text around them stays ('，' is the CSV comma
// stand-in). Invalid bytes read as U+FFFD and the ASCII after them is kept; each call is a
// whole text: a lead byte at the end is not held back for the next call.
TEST(Gbk, ChineseTextHasItsCodePageBytesAndWhatHasNoneLosesOnlyItself) {
  const auto gbk = [](const std::string& t) { return toGbk(QString::fromStdString(t)).toHex(' ').toStdString(); };
  EXPECT_TRUE(mapsTo(gbk, "星澜>d0 c7 c0 bd|配置>c5 e4 d6 c3|，>a3 ac|COM3,9>43 4f 4d 33 2c 39|a😀b>61 3f 62"));
  const auto text = [](const std::string& hex) { return fromGbk(QByteArray::fromHex(hex.c_str())).toStdString(); };
  EXPECT_TRUE(mapsTo(text, "81 3d 78>\uFFFD=x|61 d0>a\uFFFD|c7>\uFFFD|d0 c7>星"));
  const QString mixed = QStringLiteral("超压电压(V)=16.00 星澜站点监控软件");
  EXPECT_EQ(fromGbk(toGbk(mixed)), mixed);
}

namespace {

QString read(const QByteArray& file, const QString& section, const QString& key) {
  return readIniValue(IniDocument::parse(file), section, key);
}

QByteArray afterSet(const QByteArray& file, const QString& section, const QString& key, const QString& value) {
  IniDocument doc = IniDocument::parse(file);
  EXPECT_TRUE(doc.set(section, key, value));
  return doc.serialize();
}

}  // namespace

// "section/key>value" read from a hand-edited file, as its editor meant it: sections and keys
// without regard to case; only ';' starts a comment, as in the profile calls ('#' begins an
// ordinary key); only the first of duplicated sections and keys counts; values trimmed, one
// pair of quotes taken off, cut at 499 characters before the trim, freed of NULs; "#key" is
// the profile integer call's reading of the value.
TEST(IniDocument, ReadsAHandEditedFileAsItsEditorMeantIt) {
  const QByteArray file =
      "orphan=before any section\n  [ Main ]  \n\n; note=commented out\n# other=commented out\n"
      "   config   =   pw 1   \njust a line without equals\n[COMS]\r\nListCount=2\r\n"
      "[A]\r\nk=first\r\nk=second\r\n[B]\r\nk=b\r\n[a]\r\nk=third\r\nother=4\r\n"
      "[S]\r\nblank=    \r\nempty=\r\npadded=   x y  \t\r\ndq=\"quoted\"\r\nsq='single'\r\n"
      "mixed=\"mixed'\r\ninner=\"a\"b\"\r\nlone=\"\r\nspaced=\" in quotes \"\r\n" +
      QByteArray("nul=a\0b\0\r\n", 10) + "long=" + QByteArray(499, 'a') + QByteArray(101, 'b') +
      "\r\nedge=" + QByteArray(498, 'a') + " zzz\r\n" +
      "[N]\r\nabc=abc\r\nblanks=  42\r\nneg=-17\r\nplus=+5\r\ntail=12abc\r\nhex=0x1F\r\nquoted=\"7\"\r\n"
      "wrap=4294967295\r\nempty=\r\n" +
      "1=COM3,9600";  // no final line end
  const IniDocument doc = IniDocument::parse(file);
  const auto value = [&](const std::string& at) {
    const auto slash = at.find('/');
    const QString section = QString::fromStdString(at.substr(0, slash)),
                  key = QString::fromStdString(at.substr(slash + 1));
    if (key.startsWith('#') && section == "N") return std::to_string(readIniIntValue(doc, section, key.mid(1)));
    const QString v = readIniValue(doc, section, key);
    return v.size() > 20 ? std::to_string(v.size()) + " " + v.right(1).toStdString() : v.toStdString();
  };
  EXPECT_TRUE(mapsTo(value,
                     "Main/config>pw 1|main/CONFIG>pw 1|coms/listcount>2|Main/ListCount>|Other/config>|Main/; note>|"
                     "Main/note>|Main/# other>commented out|Main/just a line without equals>|/orphan>|A/k>first|"
                     "A/other>|S/blank>|S/empty>|S/padded>x y|S/dq>quoted|S/sq>single|S/mixed>\"mixed'|S/inner>a\"b|"
                     "S/lone>\"|S/spaced>in quotes|S/nul>ab|S/long>499 a|S/edge>498 a|N/#abc>0|N/#blanks>42|"
                     "N/#neg>-17|N/#plus>5|N/#tail>12|N/#hex>31|N/#quoted>7|N/#wrap>-1|N/#empty>0|N/#missing>0|"
                     "N/1>COM3,9600"));
  EXPECT_FALSE(doc.value("Main", "ListCount").has_value());
  // Reading and writing back unchanged gives the same bytes.
  EXPECT_EQ(doc.serialize(), file);
  // A write goes to the same first section, so it reads back; the duplicate stays as it was.
  const QByteArray twice = "[A]\r\nk=first\r\nk=second\r\n[B]\r\nk=b\r\n[a]\r\nk=third\r\nother=4\r\n";
  EXPECT_EQ(afterSet(twice, "a", "K", "new"),
            "[A]\r\nk=new\r\nk=second\r\n[B]\r\nk=b\r\n[a]\r\nk=third\r\nother=4\r\n");
  EXPECT_EQ(afterSet(twice, "A", "other", "5"),
            "[A]\r\nk=first\r\nk=second\r\nother=5\r\n[B]\r\nk=b\r\n[a]\r\nk=third\r\nother=4\r\n");
}

// A written key is replaced where it stands, with its own line end (also in an LF file); a new
// key follows the last entry of its section; a new section goes to the end of the file.
TEST(IniDocument, WritesReplaceInPlaceOrAppendToTheSectionOrTheFile) {
  const QByteArray lf = "[A]\r\nx=1\r\n  Key = old value\r\ny=2\r\n[B]\nkey=b\n",
                   gap = "[A]\r\nx=1\r\n\r\n; about B\r\n[B]\r\nk=b\r\n";
  struct Write {
    QByteArray file;
    const char *section, *key, *value;
    QByteArray written;
  };
  const Write writes[] = {{lf, "a", "KEY", "new", "[A]\r\nx=1\r\n  Key = new\r\ny=2\r\n[B]\nkey=b\n"},
                          {lf, "B", "key", "c", "[A]\r\nx=1\r\n  Key = old value\r\ny=2\r\n[B]\nkey=c\n"},
                          {gap, "A", "y", "2", "[A]\r\nx=1\r\ny=2\r\n\r\n; about B\r\n[B]\r\nk=b\r\n"},
                          {"[A]\r\n[B]\r\n", "A", "y", "2", "[A]\r\ny=2\r\n[B]\r\n"},
                          {"[A]", "A", "y", "2", "[A]\r\ny=2\r\n"},
                          {"", "COMS", "ListCount", "0", "[COMS]\r\nListCount=0\r\n"},
                          {"[A]\nx=1", "B", "k", "v", "[A]\nx=1\r\n[B]\r\nk=v\r\n"}};
  for (const auto& w : writes)
    EXPECT_EQ(afterSet(w.file, w.section, w.key, w.value), w.written) << w.written.toStdString();

  const QByteArray chinese = afterSet("", QStringLiteral("配置"), QStringLiteral("电池类型"), QStringLiteral("星澜"));
  EXPECT_EQ(chinese, toGbk(QStringLiteral("[配置]\r\n电池类型=星澜\r\n")));
  EXPECT_EQ(read(chinese, QStringLiteral("配置"), QStringLiteral("电池类型")), QStringLiteral("星澜"));
}

TEST(IniDocument, AFileWithAUtf8MarkIsReadAndWrittenAsUtf8) {
  const QByteArray file = QStringLiteral("\uFEFF[配置]\r\n名称=星澜\r\n").toUtf8();
  ASSERT_TRUE(file.startsWith("\xEF\xBB\xBF"));
  EXPECT_EQ(read(file, QStringLiteral("配置"), QStringLiteral("名称")), QStringLiteral("星澜"));
  EXPECT_EQ(afterSet(file, QStringLiteral("配置"), QStringLiteral("备注"), QStringLiteral("站点")),
            QStringLiteral("\uFEFF[配置]\r\n名称=星澜\r\n备注=站点\r\n").toUtf8());
  // The mark does not hide the section header behind it.
  EXPECT_EQ(read("\xEF\xBB\xBF[S]\r\nk=v\r\n", "S", "k"), "v");
}

TEST(IniDocument, WrittenTextEndsAtANulOrLineBreakAndUnreadableNamesAreRefused) {
  IniDocument doc = IniDocument::parse("[S]\r\nk=old\r\n");
  EXPECT_TRUE(doc.set("S", "k", "one\r\n[Evil]\r\nx=1") &&
              doc.set("S", "n", QStringLiteral("ab") + QChar(u'\0') + "cd") && doc.set("S", "q", "\"quoted\""));
  EXPECT_EQ(doc.serialize(), "[S]\r\nk=one\r\nn=ab\r\nq=\"quoted\"\r\n");
  EXPECT_EQ(readIniValue(doc, "S", "q"), "quoted");

  const QByteArray before = doc.serialize();
  for (const QString& key :
       {QStringLiteral("a=b"), QStringLiteral("[x"), QStringLiteral(";x"), QStringLiteral("a\nb"), QStringLiteral("😀")})
    EXPECT_FALSE(doc.set("S", key, "v")) << key.toStdString();
  EXPECT_FALSE(doc.set("S\r\nT", "k", "v"));
  EXPECT_EQ(doc.serialize(), before);
  // A station named "#1" is a key like any other: written, and found again.
  EXPECT_TRUE(doc.set("S", "#1", "-1"));
  EXPECT_EQ(readIniValue(doc, "S", "#1"), "-1");
}

namespace {

class SettingsFile : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir_.isValid());
    path_ = dir_.filePath("MSCON.DLL");
    configPath = path_;
  }
  void TearDown() override {
    QFile::setPermissions(path_, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    configPath.clear();
  }

  QByteArray bytes() const {
    QFile file(path_);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
  }
  void setBytes(const QByteArray& data) const {
    QFile file(path_);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(data);
  }

  QTemporaryDir dir_;
  QString path_;
};

// Whatever a settings dialog accepts (settingsValueRefusal finds nothing wrong) reads back
// exactly as typed, whatever it sits between; what it refuses is named.
TEST_F(SettingsFile, AnyValueTheDialogsAcceptReadsBackAsTyped) {
  const QStringList pool{"a", "Z", "0",  " ",  "\t", "\"", "'", "=", ";",  "[",
                         "]", "#", "\\", "中", "€",  "·",  "ö", "😀", "\r", "\n"};
  std::uint32_t seed = 12345;
  const auto next = [&seed](std::uint32_t n) {
    seed = seed * 1664525u + 1013904223u;
    return (seed >> 8) % n;
  };
  int accepted = 0;
  for (int i = 0; i < 3000; ++i) {
    QString value;
    const std::uint32_t length = next(9);
    for (std::uint32_t k = 0; k < length; ++k)
      value += pool[static_cast<qsizetype>(next(static_cast<std::uint32_t>(pool.size())))];
    if (!settingsValueRefusal("值", value).isEmpty()) continue;
    ++accepted;
    const QString key = "k" + QString::number(i % 7);
    writeIni("S", key, value), writeIni("S", "after", "x");
    ASSERT_EQ(readIni("S", key), value) << value.toStdString();
  }
  EXPECT_GT(accepted, 300);
  // A value as long as the read gives back, and one longer.
  EXPECT_TRUE(settingsValueRefusal("值", QString(499, u'中')).isEmpty());
  writeIni("S", "long", QString(499, u'中'));
  EXPECT_EQ(readIni("S", "long"), QString(499, u'中'));

  const auto refusal = [](const std::string& value) {
    return settingsValueRefusal("密码", QString::fromStdString(value)).toStdString();
  };
  EXPECT_TRUE(mapsTo(refusal,
                     "Jörg>不能保存字符：ö|站点-😀>不能保存字符：😀| pw1 >密码首尾不能有空格或引号|"
                     "pw1\t>密码首尾不能有空格或引号|'pw'>密码首尾不能有空格或引号|\">密码首尾不能有空格或引号|"
                     "a\nb>密码不能包含换行或控制字符"));
  EXPECT_EQ(settingsValueRefusal("密码", QString(500, u'a')), "密码不能超过499个字符");
}

}  // namespace

// A missing file reads empty and comes into being with the first write; every call goes to the
// file: a change made behind the routines' back is seen by the next read and kept by the next
// write, which keeps the file's permissions; a file that cannot be written keeps its contents.
TEST_F(SettingsFile, EveryCallGoesToTheFileAndAFailedWriteChangesNothing) {
  EXPECT_TRUE(readIni("COMS", "ListCount").isEmpty() && readIniInt("COMS", "ListCount") == 0);
  EXPECT_EQ(getPassword(), "426813");
  EXPECT_FALSE(QFile::exists(path_));  // reading creates nothing
  writeIni("Main", "config", "1111");
  EXPECT_EQ(bytes(), "[Main]\r\nconfig=1111\r\n");
  EXPECT_EQ(getPassword(), "1111");

  setBytes("[Main]\r\nconfig=2222\r\n; kept\r\n[Other]\r\nx = 1\r\n");
  EXPECT_EQ(getPassword(), "2222");
  const auto mode = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup;
  ASSERT_TRUE(QFile::setPermissions(path_, mode));
  writeIni("MAIN", "Config", "3333");
  EXPECT_EQ(bytes(), "[Main]\r\nconfig=3333\r\n; kept\r\n[Other]\r\nx = 1\r\n");
  // Owner, group and other bits; the user bits depend on who runs the test.
  EXPECT_EQ(QFile::permissions(path_) & 0xF0FF, mode);

  ASSERT_TRUE(QFile::setPermissions(path_, QFileDevice::ReadOwner | QFileDevice::ReadGroup));
  writeIni("Main", "config", "4444"), writeIni("New", "k", "v");
  EXPECT_EQ(bytes(), "[Main]\r\nconfig=3333\r\n; kept\r\n[Other]\r\nx = 1\r\n");
  ASSERT_TRUE(QFile::setPermissions(path_, mode));
  // An all-blank password is no password.
  writeIni("Main", "config", "   ");
  EXPECT_EQ(getPassword(), "426813");

  // A missing directory is not made; a directory in the file's place reads as empty and is left
  // alone.
  const QString nowhere = dir_.filePath("no/such/dir/MSCON.DLL"), folder = dir_.filePath("folder");
  writeIniFile("Main", "config", "2222", nowhere);
  EXPECT_TRUE(!QDir(dir_.filePath("no")).exists() && readIniFile("Main", "config", nowhere).isEmpty());
  ASSERT_TRUE(QDir(dir_.path()).mkdir("folder"));
  writeIniFile("Main", "config", "2222", folder);
  EXPECT_TRUE(readIniFile("Main", "config", folder).isEmpty() && QFileInfo(folder).isDir());
}
