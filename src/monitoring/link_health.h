#pragma once
// How fresh each station's readings are, from what the sessions already send and receive.
// No Qt, no extra request: every exchange reported by the sessions is booked to its station
// (port name and bus address), and a screen asks for the texts of a row.
//
//   last good reply   the end of the newest exchange judged "正常"
//   share answered    of the station's last kWindow requests, those judged "正常"
//   stale             the last good reply is older than two full rounds of the scan
//   never answered    asked at least once, never a good reply: "无应答"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "link/exchange_log.h"

namespace xl::monitoring {

struct StationHealth {
  std::optional<std::int64_t> lastGoodUs;  // scheduler time of the last good reply
  std::deque<bool> recent;                 // newest last: answered or not, per request
  std::uint64_t requests = 0;              // all requests ever booked
  int answeredRecent() const;
};

enum class Freshness {
  Unknown,        // never asked: nothing to say yet
  NeverAnswered,  // "无应答"
  Fresh,
  Stale,  // last good reply older than two rounds
};

class LinkHealth {
 public:
  // Requests remembered per station for the share: ten rounds of the scan's two requests.
  static constexpr std::size_t kWindow = 20;

  void record(const link::Exchange& e);
  // The health of the station at `address` on `port` ("COM3"), or null when nothing was booked.
  const StationHealth* find(const std::string& port, int address) const;
  void clear() { stations_.clear(); }

 private:
  std::map<std::pair<std::string, int>, StationHealth> stations_;
};

Freshness freshness(const StationHealth* h, std::int64_t nowUs, std::int64_t roundUs);

// The length of one round at the scan's own pace: a second per request of the real-time and the
// load mode pass, a turn after each, and the rest of the read interval plus one tick.
std::int64_t pacedRoundUs(int answeringStations, int readIntervalSeconds);

// "8秒", "2分05秒", "3小时02分", "2天03小时".
std::string ageText(std::int64_t ageUs);
// "95%" of the recent requests answered; empty when none was booked.
std::string shareText(const StationHealth* h);

// The texts of a station's three health cells and its tooltip line.
struct HealthTexts {
  Freshness state = Freshness::Unknown;
  std::string age;  // empty unless a good reply was seen; "无应答" when never answered
  std::string share;
  std::optional<std::int64_t> ageUs;
};
HealthTexts healthTexts(const StationHealth* h, std::int64_t nowUs, std::int64_t roundUs);

}  // namespace xl::monitoring
