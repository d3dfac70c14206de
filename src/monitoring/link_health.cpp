#include "monitoring/link_health.h"

#include <algorithm>
#include <cstdio>

namespace xl::monitoring {

int StationHealth::answeredRecent() const { return static_cast<int>(std::count(recent.begin(), recent.end(), true)); }

void LinkHealth::record(const link::Exchange& e) {
  int address = e.address;
  if (address < 0 && !e.reply.empty()) address = e.reply[0];
  // A broadcast (address 0) is answered by nobody and belongs to no station.
  if (address <= 0) return;
  StationHealth& h = stations_[{e.port, address}];
  const bool good = e.verdict == link::Verdict::Ok;
  if (good) h.lastGoodUs = e.endedUs;
  // A late reply (no request of its own) refreshes the station but is not a request.
  if (e.request.empty()) return;
  ++h.requests;
  h.recent.push_back(good);
  while (h.recent.size() > kWindow) h.recent.pop_front();
}

const StationHealth* LinkHealth::find(const std::string& port, int address) const {
  const auto it = stations_.find({port, address});
  return it == stations_.end() ? nullptr : &it->second;
}

Freshness freshness(const StationHealth* h, std::int64_t nowUs, std::int64_t roundUs) {
  if (!h || (h->requests == 0 && !h->lastGoodUs)) return Freshness::Unknown;
  if (!h->lastGoodUs) return Freshness::NeverAnswered;
  return nowUs - *h->lastGoodUs > 2 * roundUs ? Freshness::Stale : Freshness::Fresh;
}

std::int64_t pacedRoundUs(int answeringStations, int readIntervalSeconds) {
  const std::int64_t n = std::max(answeringStations, 0);
  const std::int64_t rest = std::max(readIntervalSeconds, 0);
  return (2 * (n + 1) + rest + 1) * 1'000'000;
}

std::string ageText(std::int64_t ageUs) {
  const std::int64_t s = std::max<std::int64_t>(ageUs, 0) / 1'000'000;
  char buf[48];
  if (s < 60)
    std::snprintf(buf, sizeof buf, "%lld秒", static_cast<long long>(s));
  else if (s < 3600)
    std::snprintf(buf, sizeof buf, "%lld分%02lld秒", static_cast<long long>(s / 60), static_cast<long long>(s % 60));
  else if (s < 86400)
    std::snprintf(buf, sizeof buf, "%lld小时%02lld分", static_cast<long long>(s / 3600),
                  static_cast<long long>(s % 3600 / 60));
  else
    std::snprintf(buf, sizeof buf, "%lld天%02lld小时", static_cast<long long>(s / 86400),
                  static_cast<long long>(s % 86400 / 3600));
  return buf;
}

std::string shareText(const StationHealth* h) {
  if (!h || h->recent.empty()) return {};
  const int pct = static_cast<int>((h->answeredRecent() * 100 + static_cast<int>(h->recent.size()) / 2) /
                                   static_cast<int>(h->recent.size()));
  return std::to_string(pct) + "%";
}

HealthTexts healthTexts(const StationHealth* h, std::int64_t nowUs, std::int64_t roundUs) {
  HealthTexts t;
  t.state = freshness(h, nowUs, roundUs);
  t.share = shareText(h);
  if (t.state == Freshness::NeverAnswered) t.age = "无应答";
  if (h && h->lastGoodUs) {
    t.ageUs = nowUs - *h->lastGoodUs;
    t.age = ageText(*t.ageUs);
  }
  return t;
}

}  // namespace xl::monitoring
