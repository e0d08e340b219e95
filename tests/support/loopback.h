// TCP connections over 127.0.0.1 for tests, and the peer's side of a conversation with
// every wait bounded.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <thread>

namespace q7test {

// How long a peer waits for one send or receive before it gives up.
inline constexpr std::chrono::seconds kPeerPatience{20};

// A TCP socket listening on 127.0.0.1 at a port the kernel picked; closed when destroyed.
class Listener {
 public:
  Listener();
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  int fd() const { return fd_; }
  int port() const { return port_; }
  // Accepts one connection within kPeerPatience. Returns its socket, or -1.
  int accept_one() const;

 private:
  int fd_ = -1;
  int port_ = 0;
};

// Both ends of one TCP connection over 127.0.0.1. `ours` is for the code under test and has
// no time-outs; `theirs` is for the peer, whose sends and receives give up after
// kPeerPatience. Whatever end is still held is closed by the destructor.
class Loopback {
 public:
  Loopback();
  ~Loopback();
  Loopback(const Loopback&) = delete;
  Loopback& operator=(const Loopback&) = delete;

  int ours() const { return ours_; }
  int theirs() const { return theirs_; }
  // Hands the peer's end over; the caller closes it.
  int release_theirs();
  // Closes our end now: a peer still sending then fails at once.
  void close_ours();

 private:
  int ours_ = -1;
  int theirs_ = -1;
};

// The peer of a conversation on its own thread: runs `body` with the socket `fd`, then
// closes it, so that the other side sees the end of the stream. Joined when destroyed.
class Peer {
 public:
  Peer(int fd, std::function<void(int fd)> body);
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  // Waits for the body to end.
  void join();

 private:
  std::thread thread_;
};

// A connection whose other end sends `bytes` from a Peer and then closes: ours() delivers
// them and then the end of the stream.
class Incoming {
 public:
  explicit Incoming(std::string bytes);

  int ours() const { return link_.ours(); }

 private:
  Loopback link_;
  Peer peer_;
};

// Sends all of `bytes`. False when the peer went away or the send timed out.
bool send_all(int fd, const std::string& bytes);
// Receives `count` bytes, or fewer when the stream ends or a receive times out.
std::string receive_exactly(int fd, size_t count);
// Receives until the end of the stream (or a time-out).
std::string receive_to_end(int fd);

// Runs `send` with our end of a fresh connection, then closes that end's sending side, and
// returns every byte that arrived at the other end (read there by a Peer meanwhile).
std::string bytes_sent_by(const std::function<void(int fd)>& send);

// `count` bytes of a pattern that `step` varies, whose period (251) no piece size divides,
// so a piece lost or repeated shows.
std::string pattern(size_t count, int step);

}  // namespace q7test
