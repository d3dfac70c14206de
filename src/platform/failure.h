#pragma once
// Run-time failures of the conversions and of the serial control.
//
// The routines that the screens call raise these where a conversion or a port operation fails;
// each handler decides whether to leave or go on. The codes are those a desktop runtime gives
// the same failures, so a log line names them recognisably.

#include <stdexcept>
#include <string>

namespace xl {

enum class Failure {
  Overflow = 6,        // a count or index does not fit its type
  Bounds = 9,          // an index outside an array
  TypeMismatch = 13,   // text that is not the number it should be
  InvalidValue = 380,  // a property given a value it cannot take
  InvalidPort = 8002,  // a port number outside 1..255
  PortAlreadyOpen = 8005,
  PortUnavailable = 8010,  // the device does not exist or cannot be opened
  PortNotOpen = 8012,
};

class RuntimeFailure : public std::runtime_error {
 public:
  RuntimeFailure(Failure kind, const std::string& what) : std::runtime_error(what), kind_(kind) {}
  Failure kind() const { return kind_; }

 private:
  Failure kind_;
};

[[noreturn]] inline void fail(Failure kind, const std::string& what) { throw RuntimeFailure(kind, what); }

}  // namespace xl
