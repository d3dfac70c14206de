#pragma once
// GBK text: the code page of the settings file, the parameter files and the CSV files on disk.
//
// Conversion never fails. A character that GBK has no code for is written as '?', and bytes that
// are not valid GBK read as U+FFFD, so any file content can be read and any text can be written.

#include <QByteArray>
#include <QString>

namespace xl::platform {

QByteArray toGbk(const QString& text);
QString fromGbk(const QByteArray& bytes);

}  // namespace xl::platform
