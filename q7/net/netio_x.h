// Netio_x: the encrypted layer over the plain socket layer. Connection records, and data
// and strings sent over them as encrypted, length-prefixed records.
#pragma once

#include "q7/net/netio.h"
#include "q7/net/socket_records.h"

// The socket layer of Netio with connection records (tagSOCKETXS, q7/net/socket_records.h)
// over which data travel as encrypted records. The object keeps the plain layer's settings
// and `secure_trace`; it never touches a record on its own, and destroying it leaves every
// record as it is. One object may serve records on several threads at once, as long as
// each record has one thread and nobody changes `restart`, `trace` or `secure_trace`
// meanwhile.
//
// The record format (docs/protocol.md has it byte by byte, with real records). A payload of
// n bytes (n at least 1) becomes T = 8 * ((n + 3) / 8 + 1) bytes of plaintext: n as a 32-bit
// word in this host's byte order, the payload, and zero bytes up to T. The T bytes are
// enciphered with the record's cipher in cipher-feedback mode as one chain of T/8 blocks
// from the fixed record IV, the words 0x6b2d90e4 and 0x1c58f7a3, the same for every record
// of every connection. The T cipher bytes are all that goes on the wire. A string travels
// as the payload of one record, its bytes followed by its terminator.
//
// Every operation given a null record fails at once (-1, false, or nothing where there is
// no result). The record operations write no text of their own into `error_text`; the
// plain layer's failures underneath leave theirs.
class Netio_x : public Netio {
 public:
  // The plain layer's defaults, `secure_trace` false.
  Netio_x();
  // Leaves every record alone.
  ~Netio_x() override;

  // With `secure_trace` set, every string sent or received over a record is reported to
  // the message log at level 5 (TRACE). The plain layer's `trace` (Netio::set_trace)
  // governs the plain lines.
  void set_trace(bool trace);

  // A new record: every field zero, both buffers of 32 bytes. Null when memory runs out.
  tagSOCKETXS* create_socketx();
  // Frees both buffers, deletes the cipher, calls `user_cleanup` with `user_data` when
  // it is set, frees `text_buf`, `pushback` and the record. The socket stays open.
  void destroy_socketx(tagSOCKETXS* record);
  // Makes both buffers hold at least `size` bytes, growing them to `size` rounded up to a
  // multiple of 8 and keeping their contents. True when they hold that much. False when
  // memory runs out or `size` cannot be rounded within the range of int; `buf_size` then
  // still tells what both buffers hold, so the record stays safe to use and to close.
  bool grow_socket_buffers(tagSOCKETXS* record, int size);
  // Store the value in the record.
  void set_user_function(tagSOCKETXS* record, void* (*function)(void*));
  void set_user_data(tagSOCKETXS* record, void* data);
  void set_user_cleanup(tagSOCKETXS* record, void* (*cleanup)(void*));

  // Sends `count` bytes of `data` as one encrypted record, in one plain writen. Returns
  // `count` when all T bytes went out; 0 for a count of 0, sending nothing; -1 on a
  // failure, for a record without cipher, a negative count, a null `data` or a count
  // whose record would exceed 2^31 - 1 bytes, and when the buffers cannot grow.
  int writen(tagSOCKETXS* record, char* data, int count);
  // Reads one whole record and copies its first `room` payload bytes into `buffer`; the
  // rest of the payload is dropped, the record consumed either way. Returns the bytes
  // copied: the smaller of the record's length and `room`. Returns 0 at the end of the
  // stream (before the record's first byte, or when its first block is followed by
  // nothing) and for a length of 0. Returns -1 on a read failure, for a length whose
  // record would exceed 2^31 - 1 bytes (2^31 - 11 or more), when the buffers cannot grow,
  // for a record without cipher, a negative `room` and a null `buffer` with `room` above 0
  // (the last three reading nothing).
  //
  // The buffers grow as the record's bytes arrive, at least twofold at a time but to no
  // more than twice what has arrived plus 128 KiB, so a peer cannot make the record hold
  // memory it has not sent by claiming a length. A record cut short by the end of the stream is
  // deciphered as far as it came and its length word decides the result; every byte that never
  // arrived reads as zero (in the length word too, when the stream ends inside it), so the result
  // never depends on what the buffers held before.
  int readn(tagSOCKETXS* record, char* buffer, int room);
  // Traces "Netio_x::putstring():\"%s\"\n", then sends the text and its terminator as one
  // record. Returns the bytes sent, the length + 1; -1 on a failure or a null text.
  int putstring(tagSOCKETXS* record, char* text);
  // Copies the text into `text_buf` (grown to the length + 1 when smaller; a failed
  // growth sets `text_size` to 0 and returns -1), cuts every newline at its end, traces
  // "Netio_x::putstring_strip():\"%s\"\n" with the cut copy and sends it with its
  // terminator as one record; nothing but newlines goes as the terminator alone. Returns
  // the bytes sent, the cut length + 1; -1 on a failure or a null text.
  int putstring_strip(tagSOCKETXS* record, char* text);
  // Reads one record with room for `size` - 2 bytes; when the last byte delivered is not a
  // terminator, one is stored behind it and counted. Traces "Netio_x::getstring():\"%s\"\n".
  // Returns the bytes delivered with the terminator: a 20-byte string read with `size` 10
  // gives its first 8 bytes and 9. Returns 0 and -1 as readn does, the buffer untouched,
  // and -1 without reading for a `size` below 3.
  int getstring(tagSOCKETXS* record, char* buffer, int size);
  // As getstring; when the count is above 1 and the byte before the terminator is a
  // newline, that newline becomes the terminator and the count drops by 1. Traces
  // "Netio_x::getstring_strip():\"%s\"\n" when the count is 1 or more. A count of 0 or
  // -1 leaves an empty string in the buffer (when `size` is 1 or more).
  int getstring_strip(tagSOCKETXS* record, char* buffer, int size);

  // The plain operations on the record's socket (a null record: -1, or nothing).
  int set_rcvbuf(tagSOCKETXS* record, int size);
  int set_sendbuf(tagSOCKETXS* record, int size);
  void set_blocking(tagSOCKETXS* record, bool blocking);
  // The plain wait on the sockets of `count` records; bit i belongs to records[i]. -1 for
  // a null entry or array, a negative count, and when memory runs out.
  int wait_on_sockets(tagSOCKETXS** records, int count, int timeout);
  // The plain datagram operations on the record's socket, without encryption.
  int read_from(tagSOCKETXS* record, char* buffer, int count, unsigned int* address);
  int write_to(tagSOCKETXS* record, char* buffer, int count, unsigned int address,
               unsigned int port);

  // A diagnostic for a peer of the other byte order. Deciphers the first block of the
  // last record read (the first 8 bytes of `cipher_buf`) with the cipher's key and IV as
  // they stand, under the 16 combinations of reversing the bytes of each key word, of
  // each IV word, of each cipher word and of each plain word, and prints, between two lines
  // "+++++++++", one line "sw_key:%d sw_iv:%d sw_crypt:%d sw_plain:%d result:%d\n" per combination
  // with the first plain word as a signed number (the length the record would carry), sw_key
  // outermost and sw_plain innermost, to standard output, which it flushes. It chooses
  // none; the cipher's key and IV and the buffer are left as they were. Prints nothing for
  // a record without cipher. After readn the cipher's IV is where the record's chain went
  // on from (its first cipher block), so a caller that wants the record's length among the
  // lines sets the record IV on the cipher first.
  void decrypt_try_exhaustive(tagSOCKETXS* record);

  bool secure_trace;  // strings over records are reported to the message log
};
