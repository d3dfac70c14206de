// The yardstick for the console's memory: a bare Qt Widgets window (a main window with a
// title, a menu bar and a status bar, no font or translation of ours), shown until it is
// killed. Run beside the console in the same X server by scan_cpu.sh.

#include <QApplication>
#include <QMainWindow>
#include <QMenuBar>
#include <QStatusBar>

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QMainWindow window;
  window.setWindowTitle(QStringLiteral("bare"));
  window.menuBar()->addMenu(QStringLiteral("File"));
  window.statusBar()->showMessage(QStringLiteral("ready"));
  window.resize(1180, 760);
  window.show();
  return app.exec();
}
