#pragma once
// The data recorder's files: which file each marked station writes to, and the queue of lines on
// their way there.
//
// Under the root folder every station has a folder named exactly as the station, holding
// 1.csv, 2.csv, ...; the highest number is the current file. Each flush looks for the current
// file of every marked station afresh, counting up from 1.csv, and starts the next file when the
// current one has reached the size limit or holds as many data lines as the line limit. The
// lines are counted per file, from the file itself the first time it is seen (so after a
// restart too) and again whenever its length is not the one last seen. Then it writes the whole
// queue, line by line, each line to the file of the first station of its name, rolling a file
// between two lines when it is full, and empties the queue. While the root folder is missing
// (or cannot be written) nothing is written and the queue keeps its rows.
//
// Nothing here throws or stops the program. A station whose folder cannot be made (a name that
// cannot be a single folder name, or one the file system refuses) has its lines of that flush
// dropped and is reported once (again only after the folder has worked in between), as a line for
// the message window; a line that cannot be written is dropped, that line only. Qt Core only.

#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <deque>
#include <vector>

#include "monitoring/recorder_line.h"

namespace xl::monitoring {

// A row of the station grid VSFlexGrid1 as the flush sees it.
struct RecorderStation {
  QString name;         // column 1, the station's name and its folder's name
  bool marked = false;  // column 0 is "-1"
  QString file;         // column 3, the current file; set by the flush, kept between flushes
};

// Column 0 of the station grid marks a station for saving with "-1" exactly.
bool isMarkedCell(const QString& cell);

// A line waiting in the queue, with the name of the station it belongs to (cell 2 of its row, as
// it stands, before any "," of the name is replaced in the line).
struct PendingRow {
  QString stationName;
  QString line;
};

// The queue entry of a parsed row.
PendingRow pendingRowOf(const ReadingRow& row);

// The limits as the boxes give them, read with Val.
struct RecorderLimits {
  double sizeLimitMb = 30;   // "Temporary": a file rolls when its length is not below this x 10^6 bytes
  double lineLimit = 32000;  // "Line Count": a file rolls when it holds this many data lines
};

// What one flush did.
struct FlushReport {
  bool rootMissing = false;  // nothing was looked at or written; the queue is as it was
  int written = 0;           // queue lines appended to a file
  int dropped = 0;           // queue lines removed without being written
  QStringList log;           // plain lines for the message window: a station whose folder cannot
                             // be made, once, and again only after its folder has worked
};

// The folder of a station and its numbered files. `root` may end in a separator or not.
QString stationFolder(const QString& root, const QString& name);
QString numberedFile(const QString& folder, int number);

// Whether `name` can be the name of one folder directly under the root: not empty, not "." or
// "..", no NUL and no path separator (on Windows also none of the characters it forbids in a
// file name). Such a name may still be refused by the file system when the folder is made.
bool isFolderName(const QString& name);

// Whether the recorder can write under `root`: an existing folder (hidden ones count) that may
// be written. An empty text names no folder.
bool isUsableRoot(const QString& root);

// The data lines of a recorder file: its lines, the one without a line end at the end included,
// less the header line.
int countDataLines(const QString& path);

// The smallest n from 1 up for which folder/n.csv does not exist. Costs one look-up per file.
int firstFreeNumber(const QString& folder);

class RecorderFiles {
 public:
  // One flush of the queue, as the recorder runs it after each parsed row.
  //
  // 1. If `root` is not an existing folder: returns with rootMissing; nothing else changes.
  // 2. For every marked station, in order: makes its folder if missing; finds its current file;
  //    a station without files gets 1.csv with the header line; otherwise the current file n is
  //    kept while (sizeLimitMb x 10^6 > its length) and (lineLimit > its data lines), and when
  //    not, n+1.csv gets the header and becomes current. The chosen path goes into the
  //    station's `file`.
  // 3. Writes the queue front to back, each line to the `file` of the first station (marked or
  //    not) whose name equals the line's station name, and removes it, written or not. A file
  //    that holds lineLimit data lines before a line is written rolls to the next number first.
  // recordCounter goes back to 0 at every roll (it numbers the save cycles since the last one).
  FlushReport flushReadings(const QString& root, std::vector<RecorderStation>& stations, std::deque<PendingRow>& queue,
                            const RecorderLimits& limits, std::int32_t& recordCounter);

 private:
  // The data lines of a file, counted from the file when its length is not the one last seen.
  int dataLines(const QString& path);
  void noteWritten(const QString& path, int addedLines);
  bool startFile(const QString& path);  // the header into a new file; it holds no data line

  struct FileLines {
    qint64 size = -1;
    int lines = 0;
  };
  QHash<QString, FileLines> lineCounts_;
  // Station names whose folder failure has been reported and not yet cleared by a success.
  QSet<QString> reportedFolders_;
};

}  // namespace xl::monitoring
