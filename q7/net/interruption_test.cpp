// Tests of large transfers under a storm of signals: with the restart rule nothing is lost,
// without it the first interrupted call fails the transfer. Signal dispositions are
// process-wide, so each scenario runs in a child of its own.
#include <errno.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "q7/net/netio_x.h"
#include "tests/support/child_process.h"
#include "tests/support/loopback.h"
#include "tests/support/net_records.h"

namespace {

using q7test::Loopback;
using q7test::Peer;

std::atomic<long> signals_seen{0};

void count_signal(int) { signals_seen.fetch_add(1, std::memory_order_relaxed); }

// SIGUSR1 at one thread every few microseconds, handled without SA_RESTART so that every
// blocked call it meets fails with EINTR.
class SignalStorm {
 public:
  explicit SignalStorm(pthread_t target) {
    struct sigaction action = {};
    action.sa_handler = count_signal;
    sigaction(SIGUSR1, &action, nullptr);
    thread_ = std::thread([this, target] {
      // Without this the kernel may stretch each short sleep to 50 microseconds.
      prctl(PR_SET_TIMERSLACK, 1);
      const timespec pause = {0, 5000};
      while (!stop_.load()) {
        pthread_kill(target, SIGUSR1);
        nanosleep(&pause, nullptr);
      }
    });
  }
  ~SignalStorm() {
    stop_.store(true);
    thread_.join();
  }

  // Waits, at most q7test::kPeerPatience, until `count` more signals have been delivered.
  static void let_pass(long count) {
    const long until = signals_seen.load() + count;
    const auto deadline = std::chrono::steady_clock::now() + q7test::kPeerPatience;
    while (signals_seen.load() < until && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  }

 private:
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

constexpr long kSignalsWhileBlocked = 1000;

// Small socket buffers, so that a writer blocks soon and a reader soon waits.
void narrow(const Loopback& link) {
  const int size = 65536;
  setsockopt(link.ours(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
  setsockopt(link.ours(), SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
  setsockopt(link.theirs(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
  setsockopt(link.theirs(), SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
}

enum class Layer { kPlain, kRecords };

struct Scenario {
  Layer layer;
  bool restart;
};

std::string name(const Scenario& s) {
  return std::string(s.layer == Layer::kPlain ? "plain" : "records") +
         (s.restart ? " with restart" : " without restart");
}

// Many times what the narrowed socket buffers hold, so that the writer must block.
constexpr int kBytes = 2 << 20;

// Runs `transfer` of kBytes over our end of a narrowed connection, with the scenario's
// restart rule, under a storm of signals at this thread, while `serve` plays the peer on
// the other end; then closes our end, so that a peer still busy stops, and waits for it.
// The child exits 0 when the transfer moved everything and `delivered` holds (restart),
// or failed with EINTR (no restart).
void under_storm(const Scenario& s, const std::function<void(int fd)>& serve,
                 const std::function<int(Netio_x& io, tagSOCKETXS* record, int fd)>& transfer,
                 const std::function<bool()>& delivered) {
  Netio_x io;
  io.set_restart(s.restart);
  Loopback link;
  narrow(link);
  SignalStorm storm(pthread_self());
  Peer peer(link.release_theirs(), serve);
  auto record = q7test::keyed_record(io, link.ours());
  const int result = transfer(io, record.get(), link.ours());
  const int error = errno;
  link.close_ours();
  peer.join();
  Q7_CHILD_CHECK(s.restart ? result == kBytes : result == -1);
  Q7_CHILD_CHECK(s.restart ? delivered() : error == EINTR);
}

// The peer sends the data in two halves, letting signals pass while the reader waits
// between them.
void read_under_storm(const Scenario& s) {
  const std::string payload = q7test::pattern(kBytes, 7);
  const std::string wire = s.layer == Layer::kPlain ? payload : q7test::sealed(payload);
  std::string got(kBytes, '\0');
  under_storm(
      s,
      [&](int fd) {
        const size_t half = wire.size() / 2;
        if (!q7test::send_all(fd, wire.substr(0, half))) return;
        SignalStorm::let_pass(kSignalsWhileBlocked);
        q7test::send_all(fd, wire.substr(half));
      },
      [&](Netio_x& io, tagSOCKETXS* record, int fd) {
        return s.layer == Layer::kPlain ? io.Netio::readn(fd, got.data(), kBytes)
                                        : io.readn(record, got.data(), kBytes);
      },
      [&] { return got == payload; });
}

// The peer reads nothing until the writer has blocked and signals have passed, then reads
// everything.
void write_under_storm(const Scenario& s) {
  std::string payload = q7test::pattern(kBytes, 11);
  const std::string wire = s.layer == Layer::kPlain ? payload : q7test::sealed(payload);
  std::string received;
  under_storm(
      s,
      [&](int fd) {
        int queued = 0;
        const auto deadline = std::chrono::steady_clock::now() + q7test::kPeerPatience;
        while (queued < 32768 && std::chrono::steady_clock::now() < deadline) {
          ioctl(fd, FIONREAD, &queued);
          std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        SignalStorm::let_pass(kSignalsWhileBlocked);
        received = q7test::receive_to_end(fd);
      },
      [&](Netio_x& io, tagSOCKETXS* record, int fd) {
        return s.layer == Layer::kPlain ? io.Netio::writen(fd, payload.data(), kBytes)
                                        : io.writen(record, payload.data(), kBytes);
      },
      [&] { return received == wire; });
}

const Scenario kScenarios[] = {{Layer::kPlain, true},
                               {Layer::kPlain, false},
                               {Layer::kRecords, true},
                               {Layer::kRecords, false}};

TEST(Interruption, ReadsUnderASignalStormLoseNothingOrFailAsTheRestartRuleSays) {
  for (const auto& s : kScenarios) {
    const auto result = q7test::run_in_child([&s] { read_under_storm(s); });
    EXPECT_TRUE(result.exited_with(0)) << name(s) << ": " << describe(result);
  }
}

TEST(Interruption, WritesUnderASignalStormLoseNothingOrFailAsTheRestartRuleSays) {
  for (const auto& s : kScenarios) {
    const auto result = q7test::run_in_child([&s] { write_under_storm(s); });
    EXPECT_TRUE(result.exited_with(0)) << name(s) << ": " << describe(result);
  }
}

}  // namespace
