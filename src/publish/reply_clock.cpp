#include "publish/reply_clock.h"

namespace xl::publish {

void ReplyClock::reply(const std::string& station, Time at) {
  const auto it = last_.find(station);
  if (it != last_.end()) {
    if (at > it->second) round_ = at - it->second;
    it->second = at;
  } else {
    last_.emplace(station, at);
  }
}

bool ReplyClock::stale(const std::string& station, Time now) const {
  const auto it = last_.find(station);
  if (it == last_.end()) return true;
  return now - it->second > 2 * round_.value_or(firstRound_);
}

}  // namespace xl::publish
