#pragma once
// The settings file: INI text of sections and keys, GBK on disk with CR LF line ends.
//
// The routines read the file at every call and write it at once; nothing is cached. They behave
// as the Windows private-profile calls do, so that a settings file moves between platforms:
// sections and keys are found without regard to case, a key written again is replaced where it
// stands, a new key goes to the end of its section and a new section to the end of the file, and
// a missing file reads as empty and comes into being with the first write. No routine reports a
// failure; a file that cannot be written keeps its old contents.

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

namespace xl::core {

// The text of a settings file, line by line, as it lies on disk.
//
// Every line keeps its own bytes and line end, so serialize() gives back the parsed bytes exactly
// and a change touches only the line it writes. Reading rules, chosen so that a hand-edited file
// reads as its editor meant it:
// - lines end in LF or CR LF; blanks around section names, keys and "=" don't count;
// - empty lines, lines starting with ';' (not '#', as in the profile calls), and lines without '=' are skipped;
// - "[name]" opens a section; its name runs to the last ']' on the line;
// - keys before the first section belong to none and are never found;
// - of several sections with one name only the first is used; of several equal keys in it, the
//   first;
// - a UTF-8 byte order mark at the start makes the whole file UTF-8 (and it stays UTF-8 when
//   written); any other file is GBK.
class IniDocument {
 public:
  enum class Encoding { Gbk, Utf8 };

  static IniDocument parse(const QByteArray& bytes);

  // The value as the profile read call gives it: blanks trimmed on both sides, then one pair of
  // matching surrounding quotes ("..." or '...') removed. Empty when the key is absent.
  std::optional<QString> value(const QString& section, const QString& key) const;

  // Writes key=value. An existing key keeps its line, with the text up to the value unchanged; a
  // new key follows the last entry of its section; a new section goes to the end of the file.
  // As with the Windows calls, which take C texts, each text ends at its first NUL; a value
  // also ends at its first line break, since the rest could not be read back as part of it.
  // Returns false, changing nothing, for a name that could never be found again: a section or
  // key with a line break, a key with '=' or starting with '[' or ';', or a name that the
  // file's encoding cannot hold.
  bool set(const QString& section, const QString& key, const QString& value);
  // Removes the key's line, as the profile write call does for a missing value; the section
  // stays. Returns false when there was no such key.
  bool remove(const QString& section, const QString& key);

  QByteArray serialize() const;
  Encoding encoding() const { return encoding_; }

 private:
  enum class Kind { Blank, Comment, Section, Key, Other };
  struct Line {
    QByteArray bytes;  // without the line end
    QByteArray end;    // "\r\n", "\n", or empty for a last line without one
    Kind kind = Kind::Blank;
    QString name;   // section name or key, trimmed
    QString value;  // value of a key line, trimmed
    qsizetype valueStart = 0;  // where the value begins in the decoded line text
  };

  Line makeLine(const QByteArray& bytes, const QByteArray& end, bool first) const;
  QString decode(const QByteArray& bytes) const;
  QByteArray encode(const QString& text) const;
  bool roundTrips(const QString& name) const;
  std::optional<size_t> findSection(const QString& section) const;
  size_t sectionEnd(size_t header) const;
  std::optional<size_t> findKey(size_t header, const QString& key) const;
  void replaceValue(size_t index, const QString& value);
  void insertLine(size_t index, const QString& text);

  Encoding encoding_ = Encoding::Gbk;
  std::vector<Line> lines_;
};

// What readIni gives for a key of `doc`: the profile value cut to 499 characters (the read
// buffer holds 500 with its terminating NUL), every NUL removed, blanks trimmed. Absent, empty
// and all-blank values all read as "".
QString readIniValue(const IniDocument& doc, const QString& section, const QString& key);

// What readIniInt gives for a key of `doc`, read as GetPrivateProfileInt with default 0 reads it:
// leading blanks skipped, an optional sign, then decimal digits or "0x" and hex digits, up to the
// first other character, in 32 bits. No digits, or no key, give 0.
int readIniIntValue(const IniDocument& doc, const QString& section, const QString& key);

// Whether two key names are one key of the file: blanks around them and case don't count, and a
// name ends at its first NUL.
bool sameIniKey(const QString& a, const QString& b);

// The settings file as a whole, for a change of several keys in one write: nothing when the
// file is there but cannot be read; a missing file is an empty document.
std::optional<IniDocument> readIniDocument(const QString& path);
// Writes the document over the file at once; false when the file cannot be written (read-only,
// a missing folder), which then keeps its old contents.
bool writeIniDocument(const IniDocument& doc, const QString& path);

// The settings file at configPath.
QString readIni(const QString& section, const QString& key);
void writeIni(const QString& section, const QString& key, const QString& value);
void removeIni(const QString& section, const QString& key);
int readIniInt(const QString& section, const QString& key);

// Any file of the same form, such as a parameter file. A write returns false when the file kept
// its old contents (it cannot be read or written, or the key could never be found again); the
// settings routines ignore that, an export tells it.
QString readIniFile(const QString& section, const QString& key, const QString& filePath);
bool writeIniFile(const QString& section, const QString& key, const QString& value, const QString& filePath);

// An existing file that may not be written: no write permission for this process, or none for
// anybody (the read-only attribute, which holds for the administrator too).
bool isReadOnlyFile(const QString& path);

// Why the text of the box captioned `caption` cannot be saved as a settings value and read back
// exactly as typed, as one line for the operator; empty when it can. A value is refused for a
// character GBK has no code for ("不能保存字符：ö"), a line break or other control character,
// more than 499 characters (the read cuts there), and a blank or a quote at either end (the read
// trims blanks and one pair of quotes).
QString settingsValueRefusal(const QString& caption, const QString& text);

// The port list: entries 1 to ListCount of section COMS, as they stand ("COM3,9600").
QStringList readPortList();

// The login password: key "config" of section "Main", "426813" when that is empty.
QString getPassword();

}  // namespace xl::core
