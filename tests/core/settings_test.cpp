// The settings routines on real files: persistence, encoding on disk, failures.

#include <gtest/gtest.h>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "core/app_state.h"
#include "core/settings.h"
#include "core/text_cases.h"
#include "platform/gbk.h"

using namespace xl::core;

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
  EXPECT_TRUE(
      xl::testing::mapsTo(refusal,
                          "Jörg>不能保存字符：ö|站点-😀>不能保存字符：😀| pw1 >密码首尾不能有空格或引号|"
                          "pw1\t>密码首尾不能有空格或引号|'pw'>密码首尾不能有空格或引号|\">密码首尾不能有空格或引号|"
                          "a\nb>密码不能包含换行或控制字符"));
  EXPECT_EQ(settingsValueRefusal("密码", QString(500, u'a')), "密码不能超过499个字符");
}

}  // namespace

TEST_F(SettingsFile, AMissingFileReadsEmptyAndComesIntoBeingWithTheFirstWrite) {
  EXPECT_TRUE(readIni("COMS", "ListCount").isEmpty() && readIniInt("COMS", "ListCount") == 0);
  EXPECT_EQ(getPassword(), "426813");
  EXPECT_FALSE(QFile::exists(path_));  // reading creates nothing

  writeIni("COMS", "ListCount", "2");
  EXPECT_EQ(bytes(), "[COMS]\r\nListCount=2\r\n");
}

TEST_F(SettingsFile, EveryCallGoesToTheFile) {
  writeIni("Main", "config", "1111");
  EXPECT_EQ(getPassword(), "1111");

  // A change made behind the routines' back is seen by the next read and kept by the next write.
  setBytes("[Main]\r\nconfig=2222\r\n; kept\r\n[Other]\r\nx = 1\r\n");
  EXPECT_EQ(getPassword(), "2222");
  writeIni("MAIN", "Config", "3333");
  EXPECT_EQ(bytes(), "[Main]\r\nconfig=3333\r\n; kept\r\n[Other]\r\nx = 1\r\n");

  // An all-blank password is no password.
  writeIni("Main", "config", "   ");
  EXPECT_EQ(getPassword(), "426813");
}

TEST_F(SettingsFile, AFileThatCannotBeWrittenKeepsItsContents) {
  setBytes("[Main]\r\nconfig=1111\r\n");
  ASSERT_TRUE(QFile::setPermissions(path_, QFileDevice::ReadOwner | QFileDevice::ReadGroup));
  writeIni("Main", "config", "2222"), writeIni("New", "k", "v");
  EXPECT_EQ(bytes(), "[Main]\r\nconfig=1111\r\n");
  EXPECT_EQ(getPassword(), "1111");

  // A missing directory is not made.
  const QString nowhere = dir_.filePath("no/such/dir/MSCON.DLL");
  writeIniFile("Main", "config", "2222", nowhere);
  EXPECT_TRUE(!QDir(dir_.filePath("no")).exists() && readIniFile("Main", "config", nowhere).isEmpty());

  // A directory in the file's place reads as empty and is left alone.
  const QString folder = dir_.filePath("folder");
  ASSERT_TRUE(QDir(dir_.path()).mkdir("folder"));
  writeIniFile("Main", "config", "2222", folder);
  EXPECT_TRUE(readIniFile("Main", "config", folder).isEmpty() && QFileInfo(folder).isDir());
}

TEST_F(SettingsFile, AWriteKeepsTheFilesPermissions) {
  setBytes("[Main]\r\n");
  const auto mode = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup;
  ASSERT_TRUE(QFile::setPermissions(path_, mode));
  writeIni("Main", "config", "1");
  // Owner, group and other bits; the user bits depend on who runs the test.
  EXPECT_EQ(QFile::permissions(path_) & 0xF0FF, mode);
  EXPECT_EQ(bytes(), "[Main]\r\nconfig=1\r\n");
}
