#pragma once
// The rules of the port list, apart from its dialog.

#include <QString>
#include <QStringList>
#include <map>
#include <string>
#include <vector>

namespace xl::platform {
class SerialControl;
}

namespace xl::shell {

// The first entry of `entries` that contains `port` followed by a comma, without regard to
// case; -1 when none does. The comma makes the match exact at the end of the port name
// ("COM1," is not in "COM10,9600"), but a text from the middle of an entry matches ("M1,"
// is in "COM1,9600"), and an empty text (a lone comma) finds the first entry.
int findPortEntry(const QStringList& entries, const QString& port);

// The entry that the add button makes of a port and a baud rate; empty (nothing to add) when
// either text is empty.
QString portEntry(const QString& port, const QString& baud);

// The port of an entry, the text before its first comma: "COM3" of "COM3,9600".
QString portOfEntry(const QString& entry);

// The question before an entry that still has `stations` stations is removed from the list;
// empty when it has none.
QString removalQuestion(const QString& entry, int stations);

// The ports from `first` to `last` that open, by number. Each number is tried with `probe`:
// the port number is set, the port opened and closed again; any failure on the way means the
// port is absent (a missing device, one that another program or control holds). The probe's
// buffers and thresholds are set before each try as for a receiving port.
std::vector<int> probePorts(platform::SerialControl& probe, int first = 1, int last = 100);

// The settings value of port `name` ("COM5") in section `Network Ports`, empty for a serial port; read
// from the file at each call, as every setting is.
std::string gatewayOfPort(const std::string& name);

// The gateway ports of the settings, number to value, for ports 1 to 255.
std::map<int, QString> gatewayPorts();

// The key of a port text in that section: "COM" and the number that a send reads from it
// ("COM05" is "COM5"); empty when the text names no port that a send could open.
QString gatewayKey(const QString& port);

}  // namespace xl::shell
