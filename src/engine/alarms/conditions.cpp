#include "engine/alarms/conditions.h"

#include "link/device_data_map.h"

namespace xl::engine::alarms {

const std::vector<Condition>& conditions() {
  static const std::vector<Condition> all = [] {
    std::vector<Condition> v;
    for (const auto& f : link::faultPositions()) v.push_back({f.code, f.text});
    v.push_back({kSilent, "通讯中断"});
    v.push_back({kLowSoc, "电量低"});
    return v;
  }();
  return all;
}

std::string textOf(std::string_view code) {
  for (const Condition& c : conditions())
    if (c.code == code) return std::string(c.text);
  return std::string(code);
}

void StationConditions::observe(std::string_view code, bool shown, std::vector<Change>& out) {
  auto it = states_.find(code);
  if (it == states_.end()) {
    if (!shown) return;  // never seen: nothing to keep
    it = states_.emplace(std::string(code), State{}).first;
  }
  State& s = it->second;
  if (shown) {
    s.absent = 0;
    if (!s.active) {
      s.active = true;
      out.push_back({std::string(code), true});
    }
    return;
  }
  if (!s.active) return;
  if (++s.absent >= 2) {
    s.active = false;
    s.absent = 0;
    out.push_back({std::string(code), false});
  }
}

std::vector<Change> StationConditions::reply(const Bytes& reply, std::optional<int> lowSoc) {
  std::vector<Change> out;
  if (reply.size() != link::kRealTimeLength) return out;
  missed_ = 0;
  const std::string flags = link::statusFlagsOf(reply);
  for (const auto& f : link::faultPositions()) observe(f.code, link::flagSet(flags, f.position), out);
  observe(kSilent, false, out);
  observe(kLowSoc, lowSoc && reply[4] < *lowSoc, out);
  return out;
}

std::vector<Change> StationConditions::missed(int silentAfter) {
  std::vector<Change> out;
  ++missed_;
  if (auto it = states_.find(kSilent); it != states_.end() && it->second.active) {
    it->second.absent = 0;  // a reply in between does not count toward the clearing any more
    return out;
  }
  if (missed_ >= std::max(silentAfter, 1)) observe(kSilent, true, out);
  return out;
}

void StationConditions::restore(std::string_view code) {
  State& s = states_[std::string(code)];
  s.active = true;
  s.absent = 1;
}

bool StationConditions::active(std::string_view code) const {
  const auto it = states_.find(code);
  return it != states_.end() && it->second.active;
}

std::vector<std::string> StationConditions::activeCodes() const {
  std::vector<std::string> out;
  for (const Condition& c : conditions())
    if (active(c.code)) out.emplace_back(c.code);
  return out;
}

}  // namespace xl::engine::alarms
