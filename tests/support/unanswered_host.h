#pragma once
// A TCP address on 127.0.0.1 whose connections are never answered: a listening socket with a
// backlog of one that nobody accepts, filled up, so the kernel drops every further SYN and a
// connecting client waits, as for a gateway that is switched off.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

namespace xl::testing {

class UnansweredHost {
 public:
  UnansweredHost() {
    listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(listener_, reinterpret_cast<sockaddr*>(&a), sizeof a);
    ::listen(listener_, 0);
    socklen_t len = sizeof a;
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&a), &len);
    port_ = ntohs(a.sin_port);
    // Connections that fill the accept queue.
    for (int i = 0; i < 3; ++i) {
      const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
      ::fcntl(fd, F_SETFL, O_NONBLOCK);
      ::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
      fillers_.push_back(fd);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  ~UnansweredHost() {
    for (int fd : fillers_) ::close(fd);
    ::close(listener_);
  }
  UnansweredHost(const UnansweredHost&) = delete;
  UnansweredHost& operator=(const UnansweredHost&) = delete;

  std::uint16_t port() const { return port_; }

 private:
  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::vector<int> fillers_;
};

}  // namespace xl::testing
