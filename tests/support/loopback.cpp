// Loopback TCP connections and bounded peer-side helpers for tests.
#include "tests/support/loopback.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

namespace q7test {
namespace {

sockaddr_in loopback_address(int port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  return address;
}

void set_patience(int fd) {
  const timeval limit = {kPeerPatience.count(), 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

// A test cannot go on without its sockets; it is the machine that is broken then.
void require(bool condition, const char* what) {
  if (condition) return;
  perror(what);
  abort();
}

}  // namespace

Listener::Listener() : fd_(socket(AF_INET, SOCK_STREAM, 0)) {
  require(fd_ >= 0, "Listener socket");
  sockaddr_in address = loopback_address(0);
  require(bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "Listener bind");
  require(listen(fd_, 16) == 0, "Listener listen");
  socklen_t length = sizeof address;
  require(getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length) == 0, "getsockname");
  port_ = ntohs(address.sin_port);
}

Listener::~Listener() { close(fd_); }

int Listener::accept_one() const {
  pollfd waiting = {fd_, POLLIN, 0};
  const int patience = static_cast<int>(
      std::chrono::duration_cast<std::chrono::milliseconds>(kPeerPatience).count());
  if (poll(&waiting, 1, patience) != 1) return -1;
  return accept(fd_, nullptr, nullptr);
}

Loopback::Loopback() {
  const Listener listener;
  ours_ = socket(AF_INET, SOCK_STREAM, 0);
  require(ours_ >= 0, "Loopback socket");
  const sockaddr_in address = loopback_address(listener.port());
  require(connect(ours_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
          "Loopback connect");
  theirs_ = listener.accept_one();
  require(theirs_ >= 0, "Loopback accept");
  set_patience(theirs_);
}

Loopback::~Loopback() {
  if (ours_ >= 0) close(ours_);
  if (theirs_ >= 0) close(theirs_);
}

int Loopback::release_theirs() {
  const int fd = theirs_;
  theirs_ = -1;
  return fd;
}

void Loopback::close_ours() {
  close(ours_);
  ours_ = -1;
}

Peer::Peer(int fd, std::function<void(int fd)> body)
    : thread_([fd, body = std::move(body)] {
        body(fd);
        close(fd);
      }) {}

Peer::~Peer() { join(); }

void Peer::join() {
  if (thread_.joinable()) thread_.join();
}

Incoming::Incoming(std::string bytes)
    : peer_(link_.release_theirs(), [bytes = std::move(bytes)](int fd) { send_all(fd, bytes); }) {}

bool send_all(int fd, const std::string& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t sent = send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    done += static_cast<size_t>(sent);
  }
  return true;
}

std::string receive_exactly(int fd, size_t count) {
  std::string bytes(count, '\0');
  size_t done = 0;
  while (done < count) {
    const ssize_t got = recv(fd, bytes.data() + done, count - done, 0);
    if (got <= 0) break;
    done += static_cast<size_t>(got);
  }
  bytes.resize(done);
  return bytes;
}

std::string receive_to_end(int fd) {
  std::string bytes;
  char piece[65536];
  ssize_t got;
  while ((got = recv(fd, piece, sizeof piece, 0)) > 0)
    bytes.append(piece, static_cast<size_t>(got));
  return bytes;
}

std::string bytes_sent_by(const std::function<void(int fd)>& send) {
  Loopback link;
  std::string received;
  Peer peer(link.release_theirs(), [&received](int fd) { received = receive_to_end(fd); });
  send(link.ours());
  shutdown(link.ours(), SHUT_WR);
  peer.join();
  return received;
}

std::string pattern(size_t count, int step) {
  std::string bytes(count, '\0');
  for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<char>((i * step) % 251);
  return bytes;
}

}  // namespace q7test
