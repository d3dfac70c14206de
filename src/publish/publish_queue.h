#pragma once
// The messages waiting for the broker, oldest first, bounded.
//
// Every message is kept until the broker has acknowledged it (QoS 1). Messages are handed to
// the client in order; those handed over and not yet acknowledged are "in flight". When the
// connection is lost, resend() makes them waiting again, so the next connection sends them
// first, in their order (a message the broker took just before the loss may then arrive
// twice, which QoS 1 allows). When the queue is full, the oldest message is dropped, whether
// it waits or is in flight, and the drop is counted.
//
// Plain C++; no Qt.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

namespace xl::publish {

struct Outgoing {
  std::string topic;
  std::string payload;
  bool retain = true;
  int qos = 1;
};

class PublishQueue {
 public:
  static constexpr std::size_t kDefaultCapacity = 10000;
  explicit PublishQueue(std::size_t capacity = kDefaultCapacity) : capacity_(capacity == 0 ? 1 : capacity) {}

  void push(Outgoing message);
  // The next message to hand over, or null when all are in flight.
  const Outgoing* nextWaiting() const;
  // The message of nextWaiting() was handed over under the client's message id `mid`.
  void markSent(int mid);
  // The broker acknowledged `mid`; false for an id the queue does not know (dropped meanwhile).
  bool acknowledge(int mid);
  // The connection was lost: everything in flight waits again, in order.
  void resend();

  std::size_t size() const { return entries_.size(); }
  std::size_t inFlight() const { return sent_; }
  std::size_t capacity() const { return capacity_; }
  std::uint64_t dropped() const { return dropped_; }

 private:
  struct Entry {
    Outgoing message;
    int mid = -1;
    bool acknowledged = false;
  };
  void popAcknowledged();

  std::size_t capacity_;
  std::deque<Entry> entries_;  // the first sent_ entries are in flight
  std::size_t sent_ = 0;
  std::uint64_t dropped_ = 0;
};

}  // namespace xl::publish
