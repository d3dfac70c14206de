// Readable QStrings in the failures of every test: without these, GoogleTest prints a QString
// as a list of 2-byte objects. The build includes this header in every test source first, so
// all of a program's sources print alike (a printer seen by only some of them would leave the
// linker to pick one of two instantiations).
#pragma once

#if __has_include(<QString>)
#include <QString>
#include <QStringList>
#include <ostream>

inline void PrintTo(const QString& s, std::ostream* os) { *os << '"' << s.toStdString() << '"'; }
inline void PrintTo(const QStringList& l, std::ostream* os) {
  *os << (l.isEmpty() ? "{}" : "{\"" + l.join("\", \"").toStdString() + "\"}");
}
#endif
