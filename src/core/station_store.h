#pragma once
// The station store: table Station of the SQLite file MSCONS.DLL in the program directory.
//
// Every routine opens its own connection and closes it before it returns; nothing is kept open.
// The one thing cached is the lookup of a station's port and address by name (the scan asks it
// for every request): the whole table's names, ports and addresses, read at the first lookup
// and dropped by every change made through these routines (insert, update, delete, a new file
// or path), and when the file's size or time of change differs from when it was read (looked
// at no more than four times a second), so a lookup gives what the file holds after the last
// change through these routines, and after a change by another program within 250 ms. Values are bound as statement
// parameters, so any text, quotes included, is stored and found as it is. Names and ports are
// compared without regard to case, as the Jet database engine compares text. No routine throws
// or reports: a failure gives an empty result or false. Only createStore ever creates the file.

#include <QString>
#include <optional>
#include <vector>

namespace xl::core {

// One row of table Station: thirteen texts. StationName is the key in all use, but the table
// does not enforce it (an update may rename a station onto a name that exists).
struct Station {
  QString StationName, Port, DeviceID, ArraysType, PeakPower, Voc, Vmp, BatteryType, Capacity, Voltage, LoadType, Power,
      Remarks;

  bool operator==(const Station&) const = default;
};

// Whether two names are one station's for the store: ASCII letters without regard to case,
// every other character exactly (SQLite's collate nocase, which the statements use).
bool sameStationName(const QString& a, const QString& b);

// The file the routines work on: MSCONS.DLL in programDir(), unless a path has been set.
QString stationStorePath();
// Points the routines at another file; an empty path returns to the default.
void setStationStorePath(const QString& path);

// The start-up test: true when "select * from Station where Port = ''" runs.
bool checkDatabase();

// The installer: makes the file with an empty table Station when it is missing. A table that is
// there is never altered, and a file that is not a database is left as it is. True when the
// table exists afterwards.
bool createStore();

// Port and DeviceID of the station of that name (its first row); "" for an unknown name or any
// failure. Answered from the cached lookup.
QString getStationPort(const QString& name);
QString getStationDeviceID(const QString& name);

// Drops the cached lookup: the next one reads the file again. Every change made through this
// file's routines does it; a program that changed the file another way calls it.
void forgetStationLookup();

// The stations whose Port is exactly `port` (baud rate included), in the order they were added.
std::vector<Station> getStations(const QString& port);

// The first station of that name.
std::optional<Station> findStation(const QString& name);

// Adds a row. Two stations may share a port and DeviceID, or even a name.
bool insertStation(const Station& station);

// Removes every row of that name. True when the statement ran, also when no row matched.
bool deleteStation(const QString& name);

// Deletes the rows of `oldName` and inserts `station`, in one transaction: when the insert
// fails, the old rows stay.
bool updateStation(const QString& oldName, const Station& station);

}  // namespace xl::core
