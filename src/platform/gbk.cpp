#include "platform/gbk.h"

#include <QStringDecoder>
#include <QStringEncoder>

namespace xl::platform {

namespace {

// Stateless converters treat every call as a whole text: a lead byte cut off at the end becomes
// U+FFFD instead of waiting for a next call that never comes.
constexpr auto kFlags = QStringConverter::Flag::Stateless;

// Qt reaches GBK through ICU (Windows code page 936). A Qt built without ICU may lack that name;
// GB18030 is a superset with the same bytes for every GBK character, so it stands in.
const char* codecName() {
  static const char* const name = [] {
    for (const char* candidate : {"GBK", "GB18030"}) {
      if (QStringEncoder(candidate).isValid()) return candidate;
    }
    return "UTF-8";  // no Chinese code page at all: keep text intact rather than lose it
  }();
  return name;
}

}  // namespace

QByteArray toGbk(const QString& text) {
  QStringEncoder encoder(codecName(), kFlags);
  return encoder.encode(text);
}

QString fromGbk(const QByteArray& bytes) {
  // A lead byte at the very end would be dropped without a trace. A line feed behind it, which can
  // never be a trail byte, turns it into U+FFFD; the line feed itself is removed again.
  QStringDecoder decoder(codecName(), kFlags);
  QString text = decoder.decode(bytes + '\n');
  if (text.endsWith(u'\n')) text.chop(1);
  return text;
}

}  // namespace xl::platform
