#pragma once
// The rules of the station editor, apart from its dialog.

#include <QString>

#include "core/station_store.h"

namespace xl::shell {

// What the station editor does with the fields.
enum class StationAction { Add, Update };

// The message of the first required field that is empty, in the order the editor checks
// them (name, device ID, port); empty when all three are filled. The update names the
// missing name in shorter words than the add does. No field is checked for form or range.
QString missingStationField(StationAction action, const core::Station& station);

// The refusal of a station name that is one of the data recorder's own keys in its settings
// section, compared as the settings file compares keys: the station's mark would overwrite
// that setting. Empty for any other name.
QString recorderKeyRefusal(const QString& name);

// The refusal of a station whose port and device ID are those of `other`: the tree shows one
// node per port and ID, so the second station could not be reached to be fixed.
QString sameDeviceRefusal(const core::Station& other);

// The lines of the message window after a station was added, updated or deleted.
QString stationAddedLine(const QString& name);
QString stationUpdatedLine(const QString& name);
QString stationDeletedLine(const QString& name);

// The line that tells the operator of an empty site at start, from the number of ports in
// the settings and of the stations on them; empty when there is at least one station.
QString emptySiteHint(int ports, int stations);

}  // namespace xl::shell
