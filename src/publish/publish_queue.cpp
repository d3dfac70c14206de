#include "publish/publish_queue.h"

#include <algorithm>

namespace xl::publish {

void PublishQueue::push(Outgoing message) {
  while (entries_.size() >= capacity_) {
    entries_.pop_front();
    if (sent_ > 0) --sent_;
    ++dropped_;
  }
  entries_.push_back({std::move(message), -1, false});
}

const Outgoing* PublishQueue::nextWaiting() const {
  return sent_ < entries_.size() ? &entries_[sent_].message : nullptr;
}

void PublishQueue::markSent(int mid) {
  if (sent_ >= entries_.size()) return;
  entries_[sent_].mid = mid;
  ++sent_;
}

bool PublishQueue::acknowledge(int mid) {
  for (std::size_t i = 0; i < sent_; ++i) {
    if (entries_[i].mid == mid && !entries_[i].acknowledged) {
      entries_[i].acknowledged = true;
      popAcknowledged();
      return true;
    }
  }
  return false;
}

void PublishQueue::popAcknowledged() {
  while (sent_ > 0 && entries_.front().acknowledged) {
    entries_.pop_front();
    --sent_;
  }
}

void PublishQueue::resend() {
  // Acknowledged messages behind an unacknowledged one are done; the rest wait again.
  const auto end = entries_.begin() + static_cast<std::ptrdiff_t>(sent_);
  const auto kept = std::stable_partition(entries_.begin(), end, [](const Entry& e) { return !e.acknowledged; });
  entries_.erase(kept, end);
  for (auto& e : entries_) e.mid = -1;
  sent_ = 0;
}

}  // namespace xl::publish
