// Fuzzes the settings text with arbitrary files and arbitrary section, key and value texts.
//
// Checked on every input:
// - parsing and serializing give back the file's bytes exactly;
// - a write is refused exactly for the names that could not be found again, and a refused write
//   changes nothing;
// - a written value reads back as the profile read gives it (up to its first NUL or line break,
//   through the file's encoding, blanks trimmed, one pair of surrounding quotes removed), and
//   readIni's cut, NUL removal and trim hold;
// - no other key of the file changes its value;
// - parsing the written text again gives the same text and the same values;
// - removing the written key leaves every other key's value as it was;
// - the value read as a gateway port's address ("tcp://HOST:PORT") is either refused or an
//   address that writes back to itself, as the settings value and as the operator types it.

#include <fuzzer/FuzzedDataProvider.h>

#include <QString>
#include <QStringList>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "core/settings.h"
#include "platform/gateway_address.h"
#include "platform/gbk.h"

using xl::core::IniDocument;

namespace {

void check(bool condition) {
  if (!condition) __builtin_trap();
}

bool isBlank(QChar c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\v' || c == u'\f'; }

QString trimBlanks(QString text) {
  while (!text.isEmpty() && isBlank(text.back())) text.chop(1);
  while (!text.isEmpty() && isBlank(text.front())) text.remove(0, 1);
  return text;
}

QString upTo(const QString& text, const QString& stops) {
  for (qsizetype i = 0; i < text.size(); ++i) {
    if (stops.contains(text[i])) return text.left(i);
  }
  return text;
}

// How the document matches a name: up to a NUL, blanks trimmed, case folded.
QString matchForm(const QString& name) { return trimBlanks(upTo(name, QString(QChar(u'\0')))).toCaseFolded(); }

QString throughEncoding(const IniDocument& doc, const QString& text) {
  if (doc.encoding() == IniDocument::Encoding::Utf8) return QString::fromUtf8(text.toUtf8());
  return xl::platform::fromGbk(xl::platform::toGbk(text));
}

bool canBeFoundAgain(const IniDocument& doc, const QString& section, const QString& key) {
  const QString s = trimBlanks(upTo(section, QString(QChar(u'\0'))));
  const QString k = trimBlanks(upTo(key, QString(QChar(u'\0'))));
  const QString breaks = QStringLiteral("\r\n");
  if (upTo(s, breaks) != s || upTo(k, breaks) != k || k.contains(u'=')) return false;
  if (!k.isEmpty() && QStringLiteral("[;").contains(k.front())) return false;
  return throughEncoding(doc, s) == s && throughEncoding(doc, k) == k;
}

// What the profile read gives for a value written as `value`.
QString expectedValue(const IniDocument& doc, const QString& value) {
  const QString cut = upTo(value, QStringLiteral("\r\n") + QChar(u'\0'));
  QString stored = trimBlanks(throughEncoding(doc, cut));
  if (stored.size() >= 2 && (stored.front() == u'"' || stored.front() == u'\'') && stored.back() == stored.front()) {
    stored = stored.mid(1, stored.size() - 2);
  }
  return stored;
}

// Section and key names that the file itself uses, so that reads hit existing entries.
std::vector<std::pair<QString, QString>> namesIn(const QByteArray& file, const QString& section, const QString& key) {
  QStringList sections{section, QString()};
  QStringList keys{key, QString()};
  const QStringList lines = xl::platform::fromGbk(file.left(4096)).split(u'\n');
  for (const QString& line : lines) {
    if (line.contains(u'[') && sections.size() < 8) sections << line.mid(line.indexOf(u'[') + 1).section(u']', 0, 0);
    if (line.contains(u'=') && keys.size() < 8) keys << line.section(u'=', 0, 0);
  }
  std::vector<std::pair<QString, QString>> names;
  for (const QString& s : sections) {
    for (const QString& k : keys) names.emplace_back(s, k);
  }
  return names;
}

void checkGatewayAddress(const std::string& text) {
  using namespace xl::platform;
  const auto address = parseGatewayAddress(text);
  if (!address) return;
  check(!address->host.empty() && address->port != 0);
  check(parseGatewayAddress(gatewayValue(*address)) == address);
  check(parseTypedGatewayAddress(gatewayShown(*address)) == address);
}

QString fuzzedText(FuzzedDataProvider& input, size_t maxLength) {
  const std::string bytes = input.ConsumeRandomLengthString(maxLength);
  const QByteArray raw(bytes.data(), static_cast<qsizetype>(bytes.size()));
  return input.ConsumeBool() ? QString::fromUtf8(raw) : xl::platform::fromGbk(raw);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  const QString section = fuzzedText(input, 40);
  const QString key = fuzzedText(input, 40);
  const QString value = fuzzedText(input, 700);
  const std::vector<std::uint8_t> rest = input.ConsumeRemainingBytes<std::uint8_t>();
  const QByteArray file(reinterpret_cast<const char*>(rest.data()), static_cast<qsizetype>(rest.size()));

  IniDocument doc = IniDocument::parse(file);
  check(doc.serialize() == file);

  const auto names = namesIn(file, section, key);
  std::vector<std::optional<QString>> before;
  for (const auto& [s, k] : names) {
    before.push_back(doc.value(s, k));
    const QString read = xl::core::readIniValue(doc, s, k);
    check(read.size() <= 499 && !read.contains(QChar(u'\0')) && read == trimBlanks(read));
    xl::core::readIniIntValue(doc, s, k);
  }

  const bool written = doc.set(section, key, value);
  check(written == canBeFoundAgain(doc, section, key));
  if (!written) {
    check(doc.serialize() == file);
    return 0;
  }
  check(doc.value(section, key) == expectedValue(doc, value));
  checkGatewayAddress(value.toStdString());
  checkGatewayAddress(xl::core::readIniValue(doc, section, key).toStdString());

  const IniDocument again = IniDocument::parse(doc.serialize());
  check(again.serialize() == doc.serialize());
  for (size_t i = 0; i < names.size(); ++i) {
    const auto& [s, k] = names[i];
    const bool theWrittenKey = matchForm(s) == matchForm(section) && matchForm(k) == matchForm(key);
    if (!theWrittenKey) check(doc.value(s, k) == before[i]);
    check(again.value(s, k) == doc.value(s, k));
  }

  IniDocument removed = doc;
  check(removed.remove(section, key));
  for (size_t i = 0; i < names.size(); ++i) {
    const auto& [s, k] = names[i];
    if (matchForm(s) != matchForm(section) || matchForm(k) != matchForm(key))
      check(removed.value(s, k) == doc.value(s, k));
  }
  return 0;
}
