#include "platform/port_names.h"

#include <cctype>
#include <filesystem>
#include <system_error>

namespace xl::platform {

std::string resolvePortPath(const std::string& programDir, const std::string& portName) {
#ifdef _WIN32
  (void)programDir;
  return portName;
#else
  namespace fs = std::filesystem;
  std::error_code ec;
  const fs::path linked = fs::path(programDir) / "ports" / portName;
  if (fs::exists(linked, ec)) return linked.string();
  if (portName.size() > 3 && portName.compare(0, 3, "COM") == 0) {
    bool digits = true;
    for (std::size_t i = 3; i < portName.size(); ++i)
      digits = digits && std::isdigit(static_cast<unsigned char>(portName[i]));
    if (digits) {
      const int n = std::stoi(portName.substr(3));
      if (n >= 1) return "/dev/ttyS" + std::to_string(n - 1);
    }
  }
  return linked.string();
#endif
}

}  // namespace xl::platform
