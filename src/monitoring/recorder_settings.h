#pragma once
// The data recorder's settings, section "Maintenance Record": the defaults of the seven keys, the
// bounds the accept button puts on two of them, the save interval, and which station names
// cannot be keys of their own for the station's mark. Pure functions, Qt Core only.

#include <QString>
#include <QStringList>
#include <optional>

#include "core/settings_keys.h"

namespace xl::monitoring {

// The section of the recorder's settings; besides the recorder's own keys, every key of it is
// a station's mark, named after the station.
inline const QString kRecorderSection = QString::fromLatin1(core::keys::kRecorder);

// ---- Keys and defaults --------------------------------------------------------------------

// The recorder's own keys of section "Maintenance Record", in the order the accept button writes
// them. A station's mark is kept under the station's name in the same section, so no station
// may be named like one of these.
const QStringList& recorderKeyNames();
// Whether `name` finds one of the recorder's own keys, compared as the settings file compares
// keys: blanks around it ignored, without regard to case.
bool isRecorderKeyName(const QString& name);

// Each takes the text read from the settings file and gives what the screen shows.
QString readIntervalOrDefault(const QString& stored);  // empty -> "10"
QString lineCountOrDefault(const QString& stored);     // empty -> "32000"
QString sizeLimitOrDefault(const QString& stored);     // empty -> "30"
QString filePathOrDefault(const QString& stored, const QString& programFolder);

// The two keys of the save interval are taken together: only when both are empty do they
// become 0 hours and 1 minute; when one is set, both are shown as they stand.
struct SaveIntervalTexts {
  QString hours;
  QString minutes;
};
SaveIntervalTexts saveIntervalOrDefault(const QString& storedHours, const QString& storedMinutes);

// Seconds between save cycles: Val(hours) x 3600 + Val(minutes) x 60, rounded half to even and
// held within 32 bits. A cycle starts every saveInterval + 1 seconds.
int saveIntervalSeconds(const QString& hoursText, const QString& minutesText);

// ---- Bounds of the accept button ----------------------------------------------------------

QString boundedLineCount(const QString& text);  // Val below 1000 -> "1000", above 60000 -> "60000"
QString boundedSizeLimit(const QString& text);  // Val below 1 -> "1", above 50 -> "50"
// The read interval box while it is typed in: Val above 60 -> "60", else unchanged.
QString boundedReadInterval(const QString& text);

// ---- Station marks as keys ----------------------------------------------------------------

enum class KeyProblem {
  None,
  Empty,           // nothing but blanks: no key to find
  LineBreak,       // CR, LF or NUL: the line would end inside the name
  EqualsSign,      // "=" inside: the key would end there
  LeadingSemicolon,  // the line would be a comment
  LeadingBracket,    // the line would be a section header
  NotGbk,          // a character the GBK file cannot hold
  RecorderKey,     // the name of one of the recorder's own keys (isRecorderKeyName)
};

// Whether a line of the settings file can hold `stationName` as a key and find it again. Blanks
// around the name don't count (they are trimmed on both ways). "#1" is a valid key.
KeyProblem stationKeyProblem(const QString& stationName);

// The plain line for the message window when a station's mark cannot be kept; nothing when it
// can.
std::optional<QString> stationKeyLogLine(const QString& stationName);

}  // namespace xl::monitoring
