#pragma once
// When a station counts as stale, as the publisher sees the replies of the scan arrive.
//
// The scan asks every answering station once a round, so the time between two replies of one
// station is the length of a round. The clock keeps the last such interval it saw (of any
// station) and calls a station stale when its last reply is older than two of those rounds.
// Before any round has been measured, a reply older than `firstRound` twice counts as stale.
// A station never heard of is stale.
//
// This is the publisher's own rule; the link-health rule of the console replaces it through
// Publisher::setStaleRule. Plain C++; times are microseconds of the program's clock.

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace xl::publish {

class ReplyClock {
 public:
  using Time = std::chrono::microseconds;
  explicit ReplyClock(Time firstRound = std::chrono::seconds(60)) : firstRound_(firstRound) {}

  void reply(const std::string& station, Time at);
  bool stale(const std::string& station, Time now) const;
  std::optional<Time> round() const { return round_; }

 private:
  Time firstRound_;
  std::optional<Time> round_;
  std::map<std::string, Time> last_;
};

}  // namespace xl::publish
