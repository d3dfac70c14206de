#pragma once
// The one QApplication of a test program. It is never destroyed: Qt creates its input devices
// lazily when a test sends synthetic mouse and key events, and a static application would be
// torn down after them at exit.

#include <QApplication>

namespace xl::testing {

inline QApplication& testApp() {
  static int argc = 1;
  static char name[] = "xinglan-test";
  static char* argv[] = {name, nullptr};
  static QApplication* app = new QApplication(argc, argv);
  return *app;
}

}  // namespace xl::testing
