// Netio: the plain socket layer over IPv4. TCP clients and servers, datagram sockets, bytes
// with retry on interruption, newline-terminated lines, and numbers marked with their byte
// order.
#pragma once

#include <netdb.h>
#include <netinet/in.h>
#include <stdint.h>

// One socket layer: its settings (`restart`, `trace`), the address records of its last
// operations and the text of its last failure. Sockets are plain descriptors that belong
// to the caller: the object opens them, but neither the object nor its destructor closes
// one; `close_socket` does. A program creates the object with `new` or on the stack.
//
// One object serves one thread at a time: its address records, `peer_addr_len` and
// `error_text` are written without a lock. Distinct objects may be used in parallel, but
// `format_address` and `split_address` return buffers shared by the whole process.
//
// Conventions of every operation that takes a socket: it first runs the check of
// `init_check` and fails at once when that fails; then it fails at once with -1 when the
// socket is -1, touching nothing. Failures return -1 (0 or false where the result is a
// flag or a count of successes); those listed below also leave their text in
// `error_text`, replacing what was there, cut to 255 characters. Read and write failures
// leave no text: the caller looks at errno. Nothing goes to the message log but the
// trace lines.
//
// The restart rule: a read, write, recvfrom, sendto, connect or accept that fails with
// EINTR or EAGAIN is issued again while `restart` is true; any other failure, or either
// of these with `restart` false, fails the operation. A non-blocking socket with `restart`
// true therefore waits, spinning, until data moves. A connect interrupted by a signal
// goes on in the background (it cannot be issued again), so the retry waits for it to
// finish instead and takes its outcome.
//
// Writes use write(2): writing to a connection the peer has closed raises SIGPIPE, which
// ends the process unless the program ignores or handles it.
//
// The encrypted layer (Netio_x, q7/net/netio_x.h) derives from this class. The plain
// operations that it also offers on its connection records stay reachable through it by
// their full name, as in `netio_x.Netio::readn(socket, buffer, count)`.
class Netio {
 public:
  // Sets `net_ready` (nothing needs starting on this platform), `restart` true, `trace`
  // false; clears the address records, the lookup copies and `error_text`.
  Netio();
  // Closes nothing: descriptors belong to the caller.
  virtual ~Netio();

  void set_restart(bool restart);
  // With `trace` set, every line sent or received by getstring, putstring and
  // putstring_strip is reported to the message log at level 5 (TRACE).
  void set_trace(bool trace);

  // True when `net_ready`; otherwise writes "Netio: Network subsystem initialization
  // failed!" into `error_text` and returns false.
  bool init_check();
  // Returns a pointer into the object: the text of the last failure, empty before any.
  char* tcp_error();

  // One read of up to `count` bytes under the restart rule. Returns the bytes read, 0 at
  // the end of the stream, -1 on a failure and, without reading, for a negative `count`.
  int readb(int sock, char* buffer, int count);
  // Reads until `count` bytes are in, at most 65536 per read. Returns `count`, or fewer
  // only when the stream ended first; 0 for a `count` of 0 or less, without touching the
  // socket; -1 on a failure, even when some bytes had been read (they are then lost).
  int readn(int sock, char* buffer, int count);
  // One write of up to `count` bytes under the restart rule; a write of 0 bytes counts as
  // a failure. Returns the bytes written, -1 on a failure (so also for a `count` of 0),
  // and -1 without writing for a negative `count`.
  int writeb(int sock, char* buffer, int count);
  // Writes all `count` bytes, at most 65536 per write. When `count` is 65536 or more it
  // pauses 10 microseconds after every piece, so that a large write does not keep a slow
  // receiver's machine from running. Returns `count`; 0 for a `count` of 0 or less,
  // without touching the socket; -1 on a failure.
  int writen(int sock, char* buffer, int count);

  // Receives one datagram of at most `count` bytes under the restart rule and stores the
  // sender's IPv4 address, in host byte order, in `address` when that is not null (the
  // sender's port is not reported). Returns the datagram's length, -1 on a failure.
  int read_from(int sock, char* buffer, int count, unsigned int* address);
  // Sends `count` bytes as one datagram to `address` (IPv4, host byte order) and the low 16
  // bits of `port`, under the restart rule. Returns the count sent, -1 on a failure or
  // when nothing was sent.
  int write_to(int sock, char* buffer, int count, unsigned int address, unsigned int port);

  // Reads one line, one byte per read so that nothing behind its newline is consumed (a
  // caller may go on with readn on the same socket). Bytes are stored until a newline,
  // which is stored too and ends the line, until the end of the stream, or until
  // `size` - 1 bytes are stored; a terminator follows them.
  //
  // Returns the bytes stored, counting the newline, plus 1 when no newline ended the
  // line: "abc\n" and "abc" at the end of the stream both give 4, and a full buffer gives
  // `size`. A `size` of 1 stores an empty string and returns 1 without reading. Returns 0,
  // with the buffer untouched, when the stream ends before the first byte. A read failure
  // writes "Error code = %d\n" with errno to standard error and returns -1. Returns -1
  // without reading for a null buffer or a `size` below 1. Traces "Netio::getstring():\"%s\"\n"
  // with the line when a line was stored.
  int getstring(int sock, char* buffer, int size);
  // As getstring; when the result is 1 or more and the byte before the result's position
  // is the newline, that newline becomes the terminator and the result drops by 1:
  // "hello\n" gives "hello" and 5.
  int getstring_strip(int sock, char* buffer, int size);
  // Traces "Netio::putstring():\"%s\"\n" with the text first, before any check, then
  // writes the text's bytes without its terminator. Returns the length, -1 when fewer
  // bytes went out. A null text is refused with -1 before anything else.
  int putstring(int sock, char* text);
  // Traces "Netio::putstring_strip():\"%s\"\n" with the text, then sends it with its run
  // of trailing newlines cut to one: "abc\n\n" goes out as the 4 bytes "abc\n", and "abc"
  // as its 3 bytes (no newline is added). Returns the bytes sent, -1 on a failure. A null
  // text is refused with -1 before anything else.
  int putstring_strip(int sock, char* text);

  // Send 8 bytes: the 32-bit value 1 (the marker), then the value (a float's bit
  // pattern), both in this host's byte order, so 7 goes out as 01 00 00 00 07 00 00 00.
  // True when all 8 bytes went out.
  bool put_int(int sock, int value);
  bool put_float(int sock, float value);
  // Read 8 bytes. When the marker word read is not 1, the sender had the other byte order
  // and the value's 4 bytes are reversed, whatever else the marker holds: 00 00 00 01 00
  // 00 00 07 gives 7. True when 8 bytes came in; otherwise false and the value is 0.
  // False, reading nothing, for a null `value`. A float's bit pattern survives unchanged,
  // a signalling NaN included.
  bool get_int(int sock, int* value);
  bool get_float(int sock, float* value);

  // Connects to `host` (a numeric IPv4 address, or a name looked up with gethostbyname)
  // at `port`, or at the port of the TCP service named `service` when `port` is 0 or
  // less; a `port` above 0 wins over the service's. A negative `port` with a service asks
  // for a socket bound to a reserved local port (rresvport, which needs the privilege to
  // bind one; the search starts at 1023 and goes down to 512). With `rcvbuf` above 0 the
  // receive buffer is set to it first, a refusal being ignored. There is no time-out of
  // the layer's own: connect blocks as long as the platform lets it.
  //
  // Records the service in `service_entry`, the host in `host_entry` (whose name is
  // cleared for a numeric address) and the server in `server_addr`; the two lookup copies
  // point into the platform's storage, valid until the next lookup.
  //
  // Returns the connected socket. Returns -1 with, in `error_text`:
  //   "Netio::tcp_client_open(): Unknown service: %s/tcp"
  //   "Netio::tcp_client_open(): Must specify either service or port."
  //   "Netio::tcp_client_open(): Host %s unknown or invalid." (also for a null host)
  //   "Netio::tcp_client_open(): Cannot get a reserved TCP port."
  //   "Netio::tcp_client_open(): Cannot create TCP socket."
  //   "Netio::tcp_client_open(): Cannot connect to server." (the socket is closed)
  int tcp_client_open(char* host, char* service, int port, int rcvbuf);
  // A TCP socket with SO_REUSEADDR, bound to any local address and `port` (0: a port the
  // kernel picks), recorded in `local_addr`. The caller calls listen(2) on it. Returns the
  // socket; -1 with "Netio::tcp_server_open(): Cannot open stream socket." or
  // "Netio::tcp_server_open(): Cannot bind socket to specified port." (socket closed).
  int tcp_server_open(int port);
  // Accepts one connection on a listening socket under the restart rule, the client's
  // address landing in `peer_addr` and its length in `peer_addr_len` (set to 16 before
  // every try). Returns the connected socket; -1 with "Netio::tcp_server_accept(): Accept
  // failed.".
  int tcp_server_accept(int sock);
  // A datagram socket with SO_REUSEADDR and SO_BROADCAST (refusals ignored), bound to any
  // local address and `port`. Returns the socket; -1 with "Netio::dgram_open(): Cannot
  // open socket." or "Netio::dgram_open(): Cannot bind socket to specified port." (socket
  // closed).
  int dgram_open(int port);

  // Clears O_NONBLOCK when `blocking` is true, sets it when false. A failure is ignored.
  void set_blocking(int sock, bool blocking);
  // With `size` above 0 sets SO_RCVBUF / SO_SNDBUF to it; then reads the option back.
  // Returns the size the platform reports (Linux doubles what was asked), -1 on a
  // failure. A `size` of 0 or less only reads.
  int set_rcvbuf(int sock, int size);
  int set_sendbuf(int sock, int size);

  // Waits until one of the `count` sockets is readable, at most `timeout` microseconds (a
  // negative time-out waits without limit; the time-out may exceed a second). Returns a
  // bit mask with bit i % 32 set when sockets[i] is readable (so only the first 32 are
  // told apart), 0 on time-out. Returns -1 without waiting when a socket is outside 0 to
  // 1023 (the readiness set holds 1024 descriptors; -1 included), when `count` is
  // negative or `sockets` is null with a `count` above 0. A failing select, an
  // interruption included (it is not retried), returns -1 with
  // "Netio::wait_on_sockets(): select failed (%d)" and errno.
  int wait_on_sockets(int* sockets, int count, int timeout);

  // Closes the socket. Returns close's result.
  int close_socket(int sock);

  // Milliseconds since the epoch from gettimeofday, cut to 32 bits (it wraps).
  unsigned int tick_count();
  // The IPv4 `address`, in network byte order, as four decimal fields each right-aligned
  // to width 3 ("%3d" and ".%3d"): always 15 characters, 10.0.0.1 giving " 10.  0.  0.  1".
  // Returns a static buffer that the next call overwrites. Not reentrant.
  char* format_address(unsigned int address);
  // Splits "host:port". Copies at most 71 characters of `text` and scans the copy from its
  // end to its start; every ':' met ends the text there and the digits behind it are read
  // into `port` (leading white space and a sign allowed, no digits giving 0, values beyond
  // the range of int clamped to it). So the host part ends at the first ':' and the port
  // is the number behind it: "host:80" gives "host" and 80, "a:1:2" gives "a" and 1, and
  // text without a colon gives itself and -1. A null text gives null and -1.
  // Returns a static buffer that the next call overwrites. Not reentrant.
  char* split_address(char* text, int& port);

  // Always true here: nothing needs starting, and nothing in the library clears it.
  bool net_ready;
  sockaddr_in server_addr;  // the server tcp_client_open last connected to
  sockaddr_in local_addr;   // the address tcp_server_open last bound
  sockaddr_in peer_addr;    // the client tcp_server_accept last accepted
  servent service_entry;    // the service tcp_client_open last looked up by name
  hostent host_entry;       // the host tcp_client_open last looked up by name
  char error_text[256];     // the last failure's text
  bool restart;             // the restart rule applies; default true
  bool trace;               // lines are reported to the message log; default false
  int32_t peer_addr_len;    // the address length accept last reported; 0 before
};
