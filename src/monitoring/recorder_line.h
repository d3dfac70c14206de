#pragma once
// The data recorder's rows and lines: what one stored real-time reply of a station becomes in the
// queue (the hidden grid VSFlexGrid2 of FrmMaintenanceRecord) and in the station's CSV file.
//
// A row has twenty cells: 0 the save-cycle counter, 1 the time, 2 the station name, 3 the
// address, 4 to 19 the readings and status texts. The file line is cells 1 to 19 joined by ",",
// a "," inside cells 2 to 19 turned into "，"; the header line is joined the same way but keeps
// its cells as they are. Files are GBK with CR LF, opened, written and closed for every line.
//
// The numbers come from the real-time decoder of the device data map as the recorder reads
// them; nothing here looks at a byte of its own. Qt Core only.

#include <QDateTime>
#include <QString>
#include <QVariant>
#include <array>
#include <cstdint>
#include <optional>

#include "platform/bytes.h"

namespace xl::monitoring {

inline constexpr int kReadingColumns = 20;
using ReadingRow = std::array<QString, kReadingColumns>;

// The time stamp of a row: "YYYY-MM-DD HH:MM:SS".
QString recorderStamp(const QDateTime& when);

// The header row of the queue, "autoid" then the nineteen column names of the file.
const ReadingRow& readingHeaders();

// The stored reply of a station as its grid cell holds it: the bytes of a QByteArray, or nothing
// when the cell holds no array or an empty one (the station has not answered since its row was
// made).
std::optional<Bytes> storedReplyOf(const QVariant& cellData);

// One queue row for the station `stationName` with address text `deviceId`, stamped `now`,
// cell 0 = `recordCounter`.
// - No reply at all: the zero reading ("0.00", "0.0", "0", "未开启充电", ..., "正常" x 3), as
//   a row of a station that never answered.
// - A reply of 73 bytes: decoded by the recorder's reading of the real-time block.
// - A reply of any other length: no row.
std::optional<ReadingRow> parseReading(const std::optional<Bytes>& storedReply, const QString& stationName,
                                       const QString& deviceId, const QDateTime& now, std::int32_t recordCounter);

// The file line of a row, without the line end: cells 1 to 19 joined by ",", with each ","
// inside cells 2 to 19 written as "，".
QString csvLine(const ReadingRow& row);

// The header line of every new file: "Date Time,Station Name,...,Controller Working State".
QString headerLine();

// The bytes of one line on disk: GBK, then CR LF.
QByteArray lineBytes(const QString& line);

// Appends one line to the file at `path`: open for appending (the file is made if missing),
// write, close. False when the file cannot be opened or the whole line cannot be written.
bool appendLine(const QString& path, const QString& line);

// Appends the header line to the file at `path`.
bool printLine1(const QString& path);

}  // namespace xl::monitoring
