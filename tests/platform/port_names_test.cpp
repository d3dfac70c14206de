#include "platform/port_names.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <filesystem>

namespace xl::platform {
namespace {

TEST(PortNames, LinkInProgramDirectoryWinsOverStandardDevice) {
  QTemporaryDir dir;
  const std::string root = dir.path().toStdString();
  EXPECT_EQ(resolvePortPath(root, "COM1") + " " + resolvePortPath(root, "COM3"), "/dev/ttyS0 /dev/ttyS2");
  std::filesystem::create_directories(root + "/ports");
  std::filesystem::create_symlink("/dev/null", root + "/ports/COM3");
  EXPECT_EQ(resolvePortPath(root, "COM3"), root + "/ports/COM3");
  EXPECT_EQ(resolvePortPath(root, "COM4"), "/dev/ttyS3");
  // Names that are no COM port stay in the ports folder, where nothing is found.
  for (const std::string name : {"COM", "COM0"}) EXPECT_EQ(resolvePortPath(root, name), root + "/ports/" + name);
}

}  // namespace
}  // namespace xl::platform
