#include "publish/backoff.h"

#include <algorithm>

namespace xl::publish {

Backoff::Ms Backoff::next() {
  Ms wait = first_;
  for (int i = 0; i < failures_ && wait < longest_; ++i) wait *= 2;
  ++failures_;
  return std::min(wait, longest_);
}

}  // namespace xl::publish
