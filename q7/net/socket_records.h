// tagSOCKETXS: one connection of the encrypted layer, with its key, cipher and buffers.
#pragma once

class Gost;

// A connection record of Netio_x (q7/net/netio_x.h): a socket with the connection's key,
// its cipher object and the growable buffers in which its encrypted records are built and
// read. Netio_x::create_socketx makes one and destroy_socketx releases it (closing the
// connection closes the socket as well); the caller holds it through the pointer and may
// read and set its fields. One thread uses a record at a time; distinct records may be
// used by distinct threads at once.
//
// The record owns `plain_buf`, `cipher_buf`, `text_buf`, `pushback` and `cipher` (deleted
// through its virtual destructor); it does not own the socket.
struct tagSOCKETXS {
  int sock;                  // the socket; 0 after creation, -1 when opening failed
  unsigned int* plain_buf;   // plaintext of the current record
  unsigned int* cipher_buf;  // ciphertext of the current record
  // Capacity in bytes of each of the two buffers, which always have the same: 32 at
  // creation, always a multiple of 8. The buffers only grow.
  int buf_size;
  unsigned int key[8];  // the connection's transaction key; zero until it has one
  Gost* cipher;         // the connection's cipher; null until it has a key
  void* user_data;      // the caller's, set by set_user_data
  // Kept for the caller (set_user_function); the layer never calls it.
  void* (*user_function)(void*);
  // Called once with `user_data` when the record is destroyed (set_user_cleanup).
  void* (*user_cleanup)(void*);
  char* text_buf;  // scratch copy of the text putstring_strip sends; null until first used
  int text_size;   // capacity of `text_buf` in bytes
  char* pushback;  // a message put back to be read again; null when none
};
