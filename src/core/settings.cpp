#include "core/settings.h"
#include "core/settings_keys.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include "core/app_state.h"
#include "platform/gbk.h"

namespace xl::core {

namespace {

const QByteArray kUtf8Bom("\xEF\xBB\xBF");
const QByteArray kCrLf("\r\n");

// The read buffer of the profile call holds 500 characters, one of them its closing NUL.
constexpr qsizetype kReadLimit = 499;

bool isBlank(QChar c) {
  return c == u' ' || c == u'\t' || c == u'\r' || c == u'\v' || c == u'\f';
}

QString trimBlanks(const QString& text) {
  qsizetype begin = 0;
  qsizetype end = text.size();
  while (begin < end && isBlank(text[begin])) ++begin;
  while (end > begin && isBlank(text[end - 1])) --end;
  return text.mid(begin, end - begin);
}

// The C calls see a text only up to its first NUL.
QString cutAtNul(const QString& text) {
  const qsizetype nul = text.indexOf(QChar(u'\0'));
  return nul < 0 ? text : text.left(nul);
}

bool hasLineBreak(const QString& text) {
  return text.contains(u'\r') || text.contains(u'\n');
}

QString cutAtLineBreak(const QString& text) {
  for (qsizetype i = 0; i < text.size(); ++i) {
    if (text[i] == u'\r' || text[i] == u'\n') return text.left(i);
  }
  return text;
}

bool sameName(const QString& a, const QString& b) {
  return a.compare(b, Qt::CaseInsensitive) == 0;
}

// The profile call removes one pair of matching quotes around a value.
QString stripQuotes(const QString& value) {
  if (value.size() >= 2) {
    const QChar first = value.front();
    if ((first == u'"' || first == u'\'') && value.back() == first) return value.mid(1, value.size() - 2);
  }
  return value;
}

// At most `limit` characters, without splitting a surrogate pair at the cut.
QString leftCharacters(const QString& text, qsizetype limit) {
  if (text.size() <= limit) return text;
  if (text[limit - 1].isHighSurrogate()) --limit;
  return text.left(limit);
}

// Only ';' starts a comment line in the profile calls; '#' is an ordinary first character.
bool isKeyLead(QChar c) { return c != u'[' && c != u';'; }

// A section or key name as the profile calls take it: a C text, blanks around it ignored.
QString nameOf(const QString& text) { return trimBlanks(cutAtNul(text)); }

}  // namespace

// ---- IniDocument -------------------------------------------------------------------------------

IniDocument IniDocument::parse(const QByteArray& bytes) {
  IniDocument doc;
  if (bytes.startsWith(kUtf8Bom)) doc.encoding_ = Encoding::Utf8;
  qsizetype pos = 0;
  while (pos < bytes.size()) {
    qsizetype lf = bytes.indexOf('\n', pos);
    const bool last = lf < 0;
    if (last) lf = bytes.size();
    const bool crlf = !last && lf > pos && bytes[lf - 1] == '\r';
    const qsizetype contentEnd = crlf ? lf - 1 : lf;
    const QByteArray end = last ? QByteArray() : (crlf ? kCrLf : QByteArray("\n"));
    doc.lines_.push_back(doc.makeLine(bytes.mid(pos, contentEnd - pos), end, pos == 0));
    pos = lf + 1;
  }
  return doc;
}

QString IniDocument::decode(const QByteArray& bytes) const {
  return encoding_ == Encoding::Utf8 ? QString::fromUtf8(bytes) : platform::fromGbk(bytes);
}

QByteArray IniDocument::encode(const QString& text) const {
  return encoding_ == Encoding::Utf8 ? text.toUtf8() : platform::toGbk(text);
}

bool IniDocument::roundTrips(const QString& name) const { return decode(encode(name)) == name; }

IniDocument::Line IniDocument::makeLine(const QByteArray& bytes, const QByteArray& end, bool first) const {
  Line line;
  line.bytes = bytes;
  line.end = end;
  const bool bom = first && encoding_ == Encoding::Utf8;
  const QString text = decode(bom ? bytes.mid(kUtf8Bom.size()) : bytes);
  const QString trimmed = trimBlanks(text);
  if (trimmed.isEmpty()) {
    line.kind = Kind::Blank;
  } else if (trimmed.front() == u';') {
    line.kind = Kind::Comment;
  } else if (trimmed.front() == u'[') {
    line.kind = Kind::Section;
    qsizetype close = trimmed.lastIndexOf(u']');
    if (close < 0) close = trimmed.size();  // a missing ']': the name runs to the line's end
    line.name = trimBlanks(trimmed.mid(1, close - 1));
  } else if (const qsizetype eq = text.indexOf(u'='); eq >= 0) {
    line.kind = Kind::Key;
    line.name = trimBlanks(text.left(eq));
    qsizetype start = eq + 1;
    while (start < text.size() && isBlank(text[start])) ++start;
    line.valueStart = start;
    line.value = trimBlanks(text.mid(start));
  } else {
    line.kind = Kind::Other;
  }
  return line;
}

QByteArray IniDocument::serialize() const {
  QByteArray out;
  for (const Line& line : lines_) out += line.bytes + line.end;
  return out;
}

std::optional<size_t> IniDocument::findSection(const QString& section) const {
  for (size_t i = 0; i < lines_.size(); ++i) {
    if (lines_[i].kind == Kind::Section && sameName(lines_[i].name, section)) return i;
  }
  return std::nullopt;
}

// One past the last line of the section whose header is at `header`.
size_t IniDocument::sectionEnd(size_t header) const {
  size_t i = header + 1;
  while (i < lines_.size() && lines_[i].kind != Kind::Section) ++i;
  return i;
}

std::optional<size_t> IniDocument::findKey(size_t header, const QString& key) const {
  const size_t end = sectionEnd(header);
  for (size_t i = header + 1; i < end; ++i) {
    if (lines_[i].kind == Kind::Key && sameName(lines_[i].name, key)) return i;
  }
  return std::nullopt;
}

std::optional<QString> IniDocument::value(const QString& section, const QString& key) const {
  const auto header = findSection(nameOf(section));
  if (!header) return std::nullopt;
  const auto line = findKey(*header, nameOf(key));
  if (!line) return std::nullopt;
  return stripQuotes(lines_[*line].value);
}

bool IniDocument::set(const QString& section, const QString& key, const QString& value) {
  const QString sectionName = nameOf(section);
  const QString keyName = nameOf(key);
  const QString text = cutAtLineBreak(cutAtNul(value));
  if (hasLineBreak(sectionName) || !roundTrips(sectionName)) return false;
  if (hasLineBreak(keyName) || keyName.contains(u'=') || !roundTrips(keyName)) return false;
  if (!keyName.isEmpty() && !isKeyLead(keyName.front())) return false;

  const auto header = findSection(sectionName);
  if (!header) {
    insertLine(lines_.size(), QLatin1Char('[') + sectionName + QLatin1Char(']'));
    insertLine(lines_.size(), keyName + QLatin1Char('=') + text);
    return true;
  }
  if (const auto line = findKey(*header, keyName)) {
    replaceValue(*line, text);
    return true;
  }
  // After the section's last entry, so that blank lines and comments that lead into the next
  // section stay in front of it.
  size_t after = *header;
  const size_t end = sectionEnd(*header);
  for (size_t i = *header + 1; i < end; ++i) {
    if (lines_[i].kind == Kind::Key || lines_[i].kind == Kind::Other) after = i;
  }
  insertLine(after + 1, keyName + QLatin1Char('=') + text);
  return true;
}

void IniDocument::replaceValue(size_t index, const QString& value) {
  Line& old = lines_[index];
  const bool bom = index == 0 && encoding_ == Encoding::Utf8;
  const QString text = decode(bom ? old.bytes.mid(kUtf8Bom.size()) : old.bytes);
  QByteArray bytes = (bom ? kUtf8Bom : QByteArray()) + encode(text.left(old.valueStart) + value);
  lines_[index] = makeLine(bytes, old.end, index == 0);
}

void IniDocument::insertLine(size_t index, const QString& text) {
  // The line before gets a line end if it was the file's last line without one.
  if (index > 0 && lines_[index - 1].end.isEmpty()) lines_[index - 1].end = kCrLf;
  lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(index), makeLine(encode(text), kCrLf, index == 0));
}

bool IniDocument::remove(const QString& section, const QString& key) {
  const auto header = findSection(nameOf(section));
  if (!header) return false;
  const auto line = findKey(*header, nameOf(key));
  if (!line) return false;
  lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(*line));
  return true;
}

// ---- Reading a document as the profile calls do --------------------------------------------------

QString readIniValue(const IniDocument& doc, const QString& section, const QString& key) {
  QString text = leftCharacters(doc.value(section, key).value_or(QString()), kReadLimit);
  text.remove(QChar(u'\0'));
  return trimBlanks(text);
}

namespace {

// The value of an ASCII digit of `base` (10 or 16), or -1.
int digitValue(QChar c, int base) {
  const char16_t u = c.unicode();
  if (u >= u'0' && u <= u'9') return u - u'0';
  if (base == 16 && u >= u'a' && u <= u'f') return u - u'a' + 10;
  if (base == 16 && u >= u'A' && u <= u'F') return u - u'A' + 10;
  return -1;
}

}  // namespace

int readIniIntValue(const IniDocument& doc, const QString& section, const QString& key) {
  const QString text = doc.value(section, key).value_or(QString());
  qsizetype i = 0;
  while (i < text.size() && (isBlank(text[i]) || text[i] == u'\0')) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) negative = text[i++] == u'-';
  int base = 10;
  if (i + 1 < text.size() && text[i] == u'0' && (text[i + 1] == u'x' || text[i + 1] == u'X')) {
    base = 16;
    i += 2;
  }
  // Unsigned arithmetic wraps as the system's 32-bit conversion does, and never overflows.
  quint32 number = 0;
  for (int digit; i < text.size() && (digit = digitValue(text[i], base)) >= 0; ++i) {
    number = number * static_cast<quint32>(base) + static_cast<quint32>(digit);
  }
  if (negative) number = 0u - number;
  return static_cast<int>(number);
}

// ---- Files --------------------------------------------------------------------------------------

namespace {

// The file's bytes; empty for a missing file; nothing when the file is there but can't be read,
// so that a write never replaces contents it could not see.
std::optional<QByteArray> readFileBytes(const QString& path) {
  const QFileInfo info(path);
  if (!info.exists()) return QByteArray();
  QFile file(path);
  if (info.isDir() || !file.open(QIODevice::ReadOnly)) return std::nullopt;
  return file.readAll();
}


// Replaces the file as a whole, through a temporary file where the directory allows one, so that
// a failure halfway leaves the old contents. False when nothing was written.
bool saveFileBytes(const QString& path, const QByteArray& bytes) {
  if (isReadOnlyFile(path)) return false;
  QSaveFile file(path);
  file.setDirectWriteFallback(true);
  if (!file.open(QIODevice::WriteOnly)) return false;
  if (file.write(bytes) != bytes.size()) {
    file.cancelWriting();
    return false;
  }
  return file.commit();
}

IniDocument loadDocument(const QString& path) {
  return IniDocument::parse(readFileBytes(path).value_or(QByteArray()));
}

}  // namespace

bool sameIniKey(const QString& a, const QString& b) { return sameName(nameOf(a), nameOf(b)); }

std::optional<IniDocument> readIniDocument(const QString& path) {
  const auto bytes = readFileBytes(path);
  if (!bytes) return std::nullopt;
  return IniDocument::parse(*bytes);
}

bool writeIniDocument(const IniDocument& doc, const QString& path) { return saveFileBytes(path, doc.serialize()); }

// A file that nobody may write is read-only for every user alike, the administrator included, as
// the read-only attribute is on the system the settings come from. (The owner, group and other
// bits are the file's mode; the "user" bits would say what this process may do.)
bool isReadOnlyFile(const QString& path) {
  const QFileInfo info(path);
  if (!info.exists()) return false;
  constexpr auto anyWrite = QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
  return !info.isWritable() || !(info.permissions() & anyWrite);
}

QString readIniFile(const QString& section, const QString& key, const QString& filePath) {
  return readIniValue(loadDocument(filePath), section, key);
}

bool writeIniFile(const QString& section, const QString& key, const QString& value, const QString& filePath) {
  const auto bytes = readFileBytes(filePath);
  if (!bytes) return false;
  IniDocument doc = IniDocument::parse(*bytes);
  if (!doc.set(section, key, value)) return false;
  return saveFileBytes(filePath, doc.serialize());
}

QString readIni(const QString& section, const QString& key) { return readIniFile(section, key, configPath); }

void writeIni(const QString& section, const QString& key, const QString& value) {
  writeIniFile(section, key, value, configPath);
}

void removeIni(const QString& section, const QString& key) {
  const auto bytes = readFileBytes(configPath);
  if (!bytes) return;
  IniDocument doc = IniDocument::parse(*bytes);
  if (doc.remove(section, key)) saveFileBytes(configPath, doc.serialize());
}

int readIniInt(const QString& section, const QString& key) {
  return readIniIntValue(loadDocument(configPath), section, key);
}

QString settingsValueRefusal(const QString& caption, const QString& text) {
  for (qsizetype i = 0; i < text.size(); ++i) {
    const QChar c = text[i];
    if (c.unicode() < 0x20 && c != u'\t') return caption + QStringLiteral("不能包含换行或控制字符");
    // A whole character: both halves of a surrogate pair.
    const qsizetype n = (c.isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate()) ? 2 : 1;
    const QString one = text.mid(i, n);
    if (platform::fromGbk(platform::toGbk(one)) != one) return QStringLiteral("不能保存字符：") + one;
    i += n - 1;
  }
  if (text.size() > kReadLimit) return caption + QStringLiteral("不能超过%1个字符").arg(kReadLimit);
  if (!text.isEmpty()) {
    const auto looseEnd = [](QChar c) { return isBlank(c) || c == u'"' || c == u'\''; };
    if (looseEnd(text.front()) || looseEnd(text.back())) return caption + QStringLiteral("首尾不能有空格或引号");
  }
  return {};
}

QStringList readPortList() {
  QStringList entries;
  const int count = readIniInt(keys::kPorts, keys::kPortCount);
  for (int i = 1; i <= count; ++i) entries += readIni(keys::kPorts, QString::number(i));
  return entries;
}

QString getPassword() {
  const QString password = readIni(keys::kMain, keys::kPassword);
  return password.isEmpty() ? QStringLiteral("426813") : password;
}

}  // namespace xl::core
