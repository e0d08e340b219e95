// Bulk transfer on loopback: Netio::writen/readn against plain write/read loops, with and
// without the layer's pieces and pauses; encrypted records against the cipher's own
// cfb_encrypt on the same sizes, and TLS 1.3 over OpenSSL beside them. One message per
// iteration, 64 KiB or 1 MiB, sent by a thread that sends until told to stop.
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "q7/cipher/gost.h"
#include "q7/net/netio_x.h"
#include "tests/support/loopback.h"
#include "tests/support/net_records.h"

#ifdef Q7_HAVE_OPENSSL
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#endif

namespace {

constexpr int kPiece = 65536;
const timespec kPause = {0, 10'000};

// One side's move of one message over `fd`: false when the connection failed or ended.
using Move = std::function<bool(int fd, char* message, int size)>;

// Sends messages of state.range(0) bytes with `send` from a thread while each iteration
// receives one with `receive`; then stops the sender and drains what it still sent.
void bulk(benchmark::State& state, const Move& send, const Move& receive) {
  const int size = static_cast<int>(state.range(0));
  q7test::Loopback link;
  std::atomic<bool> stop{false};
  std::thread sender([&, fd = link.release_theirs()] {
    std::string message = q7test::pattern(static_cast<size_t>(size), 7);
    while (!stop.load(std::memory_order_relaxed) && send(fd, message.data(), size)) {
    }
    shutdown(fd, SHUT_WR);
    q7test::receive_to_end(fd);
    close(fd);
  });
  std::vector<char> message(static_cast<size_t>(size));
  for (auto _ : state) {
    if (!receive(link.ours(), message.data(), size)) {
      state.SkipWithError("the transfer failed");
      break;
    }
  }
  stop.store(true);
  while (receive(link.ours(), message.data(), size)) {
  }
  shutdown(link.ours(), SHUT_WR);
  sender.join();
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
}

// Moves `size` bytes with `call` (read or write), at most `piece` bytes a call, pausing
// 10 microseconds after each when `pause` is set and the message is 64 KiB or more.
template <typename Call>
bool move_all(Call call, int fd, char* message, int size, int piece, bool pause) {
  for (int done = 0; done < size;) {
    const ssize_t moved =
        call(fd, message + done, static_cast<size_t>(std::min(size - done, piece)));
    if (moved <= 0) return false;
    done += static_cast<int>(moved);
    if (pause && size >= kPiece) nanosleep(&kPause, nullptr);
  }
  return true;
}

// What the layer is asked to do, written out plainly: pieces of at most 64 KiB, a pause
// of 10 microseconds after each piece of a large write.
bool write_in_pieces(int fd, char* message, int size) {
  return move_all(write, fd, message, size, kPiece, true);
}

bool read_in_pieces(int fd, char* message, int size) {
  return move_all(read, fd, message, size, kPiece, false);
}

bool write_whole(int fd, char* message, int size) {
  return move_all(write, fd, message, size, size, false);
}

bool read_whole(int fd, char* message, int size) {
  return move_all(read, fd, message, size, size, false);
}

void BM_Netio_WritenReadn(benchmark::State& state) {
  Netio sender;
  Netio receiver;
  bulk(
      state,
      [&](int fd, char* message, int size) { return sender.writen(fd, message, size) == size; },
      [&](int fd, char* message, int size) { return receiver.readn(fd, message, size) == size; });
}
BENCHMARK(BM_Netio_WritenReadn)->Arg(64 << 10)->Arg(1 << 20)->UseRealTime();

void BM_Peer_LoopInPiecesWithPauses(benchmark::State& state) {
  bulk(state, write_in_pieces, read_in_pieces);
}
BENCHMARK(BM_Peer_LoopInPiecesWithPauses)->Arg(64 << 10)->Arg(1 << 20)->UseRealTime();

void BM_Peer_LoopWhole(benchmark::State& state) { bulk(state, write_whole, read_whole); }
BENCHMARK(BM_Peer_LoopWhole)->Arg(64 << 10)->Arg(1 << 20)->UseRealTime();

// Each side keeps one record for the whole run, as a connection does.
void BM_Netio_x_Records(benchmark::State& state) {
  Netio_x sender;
  Netio_x receiver;
  q7test::RecordPtr sending;
  q7test::RecordPtr receiving;
  const auto record = [](q7test::RecordPtr& held, Netio_x& io, int fd) {
    if (!held) held = q7test::keyed_record(io, fd);
    return held.get();
  };
  bulk(
      state,
      [&](int fd, char* message, int size) {
        return sender.writen(record(sending, sender, fd), message, size) == size;
      },
      [&](int fd, char* message, int size) {
        return receiver.readn(record(receiving, receiver, fd), message, size) == size;
      });
}
BENCHMARK(BM_Netio_x_Records)->Arg(64 << 10)->Arg(1 << 20)->UseRealTime();

void BM_Cipher_CfbEncrypt(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  Gost gost;
  gost.set_key(q7test::kRecordKey);
  gost.set_iv(q7test::kRecordIvWords);
  std::vector<unsigned int> words(static_cast<size_t>(size) / 4, 0x5a5a5a5a);
  for (auto _ : state) {
    gost.cfb_encrypt(words.data(), words.data(), size / 8);
    benchmark::DoNotOptimize(words.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(size));
}
BENCHMARK(BM_Cipher_CfbEncrypt)->Arg(64 << 10)->Arg(1 << 20)->UseRealTime();

#ifdef Q7_HAVE_OPENSSL
// A self-signed P-256 certificate made for the run: TLS needs one, its checking is not
// what is measured.
struct TlsContexts {
  SSL_CTX* server = nullptr;
  SSL_CTX* client = nullptr;

  TlsContexts() {
    EVP_PKEY* key = EVP_EC_gen("P-256");
    X509* certificate = X509_new();
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate), 3600);
    X509_set_pubkey(certificate, key);
    X509_NAME* name = X509_get_subject_name(certificate);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("localhost"), -1, -1, 0);
    X509_set_issuer_name(certificate, name);
    X509_sign(certificate, key, EVP_sha256());
    server = SSL_CTX_new(TLS_server_method());
    client = SSL_CTX_new(TLS_client_method());
    for (SSL_CTX* context : {server, client}) {
      SSL_CTX_set_min_proto_version(context, TLS1_3_VERSION);
      SSL_CTX_set_max_proto_version(context, TLS1_3_VERSION);
    }
    SSL_CTX_use_certificate(server, certificate);
    SSL_CTX_use_PrivateKey(server, key);
    X509_free(certificate);
    EVP_PKEY_free(key);
  }
  ~TlsContexts() {
    SSL_CTX_free(server);
    SSL_CTX_free(client);
  }
};

// The side's TLS session on `fd`, made with the handshake at its first message.
SSL* session(SSL*& held, SSL_CTX* context, int fd, bool server) {
  if (held != nullptr) return held;
  held = SSL_new(context);
  SSL_set_fd(held, fd);
  if ((server ? SSL_accept(held) : SSL_connect(held)) != 1) ERR_print_errors_fp(stderr);
  return held;
}

void BM_Peer_Tls13(benchmark::State& state) {
  static TlsContexts contexts;
  SSL* server = nullptr;
  SSL* client = nullptr;
  bulk(
      state,
      [&](int fd, char* message, int size) {
        return SSL_write(session(server, contexts.server, fd, true), message, size) == size;
      },
      [&](int fd, char* message, int size) {
        SSL* tls = session(client, contexts.client, fd, false);
        for (int done = 0; done < size;) {
          const int got = SSL_read(tls, message + done, size - done);
          if (got <= 0) return false;
          done += got;
        }
        return true;
      });
  state.SetLabel(client != nullptr ? SSL_get_cipher_name(client) : "");
  SSL_free(server);
  SSL_free(client);
}
BENCHMARK(BM_Peer_Tls13)->Arg(64 << 10)->Arg(1 << 20)->UseRealTime();
#endif

}  // namespace

BENCHMARK_MAIN();
