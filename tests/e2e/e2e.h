#pragma once
// What the whole-console tests of this folder and of the broker share: the includes, a request
// frame as hex, a station made silent, a count of message-window lines, and the scan's stations and
// grids as text, so that one comparison shows every value that differs.

#include <QFile>
#include <QHelpEvent>
#include <QLabel>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTest>
#include <QTreeWidget>

#include "platform/gbk.h"
#include "support/two_stations.h"
#include "support/wire_log.h"
#include "tools/sim/device_state.h"

namespace xl::testing {

using platform::ms;

inline constexpr const char* kInfo = " 03 000A 0011";       // the device information block
inline constexpr const char* kRealTime = " 03 0100 0023";   // the real-time block
inline constexpr const char* kLoadMode = " 03 E0 1D 0001";  // the load mode register

inline std::string frame(int id, const char* literal) { return hexText(requestFrame(id, literal)); }

inline void silence(sim::Controller* c, bool on = true) { c->setFaults({.silent = on}); }

// The cells `cols` of the rows of a grid from `fromRow`, "|" between cells, a line per row.
inline std::string gridText(const platform::FlexGrid* g, std::initializer_list<int> cols, int fromRow = 1) {
  QStringList rows;
  for (int r = fromRow; r < g->rows(); ++r) {
    QStringList cells;
    for (int c : cols) cells << g->textMatrix(r, c);
    rows << cells.join('|');
  }
  return rows.join('\n').toStdString();
}

// The health columns of the scan's table.
inline constexpr int kLastReply = 15, kAge = 16, kShare = 17;

class WholeConsole : public TwoStationFixture {
 protected:
  // The requests to stations 1 to 3: information block, real-time block, load mode.
  const std::string i1 = frame(1, kInfo), i2 = frame(2, kInfo), i3 = frame(3, kInfo);
  const std::string r1 = frame(1, kRealTime), r2 = frame(2, kRealTime), r3 = frame(3, kRealTime);
  const std::string l1 = frame(1, kLoadMode), l2 = frame(2, kLoadMode), l3 = frame(3, kLoadMode);
  platform::FlexGrid* table() { return grid(scan(), "VsFList1"); }  // the scan's
  // A row's last reply (digits as N), age and share, then the colours of its name, of column 6
  // and of its age ("-": none).
  std::string rowText(int row) {
    const auto colour = [&](int c) {
      const QColor k = table()->cellForeColor(row, c);
      return k.isValid() ? k.name() : QStringLiteral("-");
    };
    return QStringLiteral("%1|%2|%3 colours %4 %5 %6")
        .arg(QString(table()->textMatrix(row, kLastReply)).replace(QRegularExpression("\\d"), "N"),
             table()->textMatrix(row, kAge), table()->textMatrix(row, kShare), colour(0), colour(6), colour(kAge))
        .toStdString();
  }
  // The tooltip of a station's node, as the tree makes it when the mouse rests there.
  QString tooltipOf(const QString& key) {
    mdi().show();
    auto* tree = control<QTreeWidget>(mdi(), "TreeView1");
    tree->expandAll();
    QTreeWidgetItem* item = mdi().node(key);
    const QPoint at = tree->visualItemRect(item).center();
    QHelpEvent e(QEvent::ToolTip, at, tree->viewport()->mapToGlobal(at));
    QApplication::sendEvent(tree->viewport(), &e);
    return item->toolTip(0);
  }
  int logCount(const QString& part) { return static_cast<int>(logLines().filter(part).size()); }
  // What a screen's button saves, in the system's code page: the operator chooses `chosen` in the
  // file dialog, the screen writes `written` (both in the test's folder).
  QString savedText(QPushButton* b, const QString& chosen, const QString& written) {
    dialogs.fileNames.push_back(dir.filePath(chosen));
    QTest::mouseClick(b, Qt::LeftButton);
    QFile f(dir.filePath(written));
    return f.open(QIODevice::ReadOnly) ? platform::fromGbk(f.readAll()) : QStringLiteral("(no file)");
  }

  // Each row of the scan: name, answered mark, the image of its node `nodes[row - 1]`, whether
  // the status column is filled, the bytes of its stored block and of the recorder's copy.
  std::string stationsText(const QStringList& nodes) {
    QStringList out;
    for (int r = 1; r <= nodes.size(); ++r)
      out << QStringLiteral("%1 answered=%2 image=%3 status=%4 block=%5 stored=%6")
                 .arg(table()->textMatrix(r, 0), QString::number(scan().answered(r)),
                      QString::number(mdi().nodeImage(nodes[r - 1])),
                      QString::number(!table()->textMatrix(r, 6).isEmpty()),
                      QString::number(table()->cellData(r, 0).toByteArray().size()),
                      QString::number(recorder().engine().storedReply(r).size()));
    return out.join('\n').toStdString();
  }
};

}  // namespace xl::testing
