// Any text typed into the station editor and the port list, through their handlers: random
// inputs with a fixed seed and hand-picked nasty ones (the checks are in fuzz/dialog_fields.h;
// a failed check stops the program).

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "fuzz/dialog_fields.h"
#include "support/qt_app.h"

namespace xl::shell {
namespace {

std::string input(std::uint8_t mode, std::initializer_list<std::string> texts) {
  std::string s(1, char(mode));
  bool first = true;
  for (const std::string& t : texts) {
    if (!first) s += '\0';
    s += t;
    first = false;
  }
  return s;
}

TEST(DialogFields, NoTypedTextCrashesTheEditorOrThePortList) {
  testing::testApp();
  fuzzing::DialogConsole console;
  const std::vector<std::string> picked = {
      "",
      input(0x18, {"O'Brien\"; drop table Station; --", "1", "", "c-Si", "", "", "", "", "", "", "", "", "",
                   "COM3", "9600", "COM3,9600"}),
      input(0x18, {" line COUNT", "1", "", "", "", "", "", "", "", "", "", "", "", "COM3", "9600", "COM3,9600"}),
      input(0x2d, {"甲站", "300", "", "", "-1", "1e309", "NaN", "", "\r\n", "=", "[COMS]", ";", "#",
                   "COM1", "", "COM10,9600", "com1,4800", "COM1,9600"}),
      input(0x0c, {std::string(5000, 'x'), std::string(600, '9'), "", "", "", "", "", "", "", "", "", "", "",
                   std::string(600, 'C'), std::string(600, '1'), std::string(600, 'P')}),
      input(0xff, {"\xff\xfe\x80", "\xc3", "", "", "", "", "", "", "", "", "", "", "😀🇨🇳", "COM\n3", "96\r00",
                   "COM3,9600\r\n[Main]", "ListCount=0", "=", "\t"}),
      input(0x08, {"a", "b", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "",
                   "", "", ""}),
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
