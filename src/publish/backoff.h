#pragma once
// The wait before the next connection attempt: 1 s after the first failure, doubled after each
// further one, at most 60 s; a connection that succeeds starts it over. Plain C++.

#include <chrono>

namespace xl::publish {

class Backoff {
 public:
  using Ms = std::chrono::milliseconds;
  explicit Backoff(Ms first = Ms(1000), Ms longest = Ms(60000)) : first_(first), longest_(longest) {}
  // The wait before the next attempt; each call counts one more failure.
  Ms next();
  void reset() { failures_ = 0; }
  int failures() const { return failures_; }

 private:
  Ms first_;
  Ms longest_;
  int failures_ = 0;
};

}  // namespace xl::publish
