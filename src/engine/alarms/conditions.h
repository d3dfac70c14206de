#pragma once
// The alarm conditions of one station, from the replies of the scan: one per fault position of
// the status flags (the fault word 0x0121, as the scan's table and the recorder read it), a
// station gone silent, and a low state of charge.
//
// A condition is raised by the first valid reply that shows it and cleared when two valid
// replies in a row do not. Silence is counted in real-time requests that got no valid reply;
// while a station is silent nothing is known of its faults, so they stay as they were.
//
// Pure logic, no Qt.

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bytes.h"

namespace xl::engine::alarms {

inline constexpr std::string_view kSilent = "silent";
inline constexpr std::string_view kLowSoc = "low_soc";

struct Condition {
  std::string_view code;
  std::string_view text;
};
// Every condition in the order the screen and the broker list them: the ten fault positions,
// then silence, then low charge.
const std::vector<Condition>& conditions();
// The text of a code ("蓄电池过放"); the code itself for a code no condition has.
std::string textOf(std::string_view code);

struct Change {
  std::string code;
  bool raised = false;  // false: cleared
  bool operator==(const Change&) const = default;
};

class StationConditions {
 public:
  // A valid real-time reply (73 bytes; anything else is no valid reply and changes nothing).
  // `lowSoc`: the threshold of the charge level in %, none when the alarm is off.
  std::vector<Change> reply(const Bytes& reply, std::optional<int> lowSoc);
  // A real-time request that got no valid reply; silence is raised after `silentAfter` of them
  // in a row (at least 1).
  std::vector<Change> missed(int silentAfter);
  // An alarm that was open when the program stopped: active again, and cleared by the next
  // valid reply that does not show it.
  void restore(std::string_view code);
  bool active(std::string_view code) const;
  std::vector<std::string> activeCodes() const;

 private:
  struct State {
    bool active = false;
    int absent = 0;  // valid replies in a row that did not show it
  };
  void observe(std::string_view code, bool shown, std::vector<Change>& out);
  std::map<std::string, State, std::less<>> states_;
  int missed_ = 0;
};

}  // namespace xl::engine::alarms
