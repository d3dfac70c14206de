#pragma once
// A TCP port of 127.0.0.1 that nothing listens on now, for a peer a test starts (a broker, a
// serial-to-Ethernet stand-in).

#include <QTcpServer>

namespace xl::testing {

inline quint16 freeTcpPort() {
  QTcpServer probe;
  return probe.listen(QHostAddress::LocalHost) ? probe.serverPort() : 0;
}

}  // namespace xl::testing
