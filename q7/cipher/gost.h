// The GOST 28147-89 block cipher with its gamma, cipher-feedback and MAC modes, and the
// coding of whole files and strings built on it.
#pragma once

// One cipher context: the byte tables made from the library's eight substitution rows,
// a 256-bit key, an IV and the running value of the cipher-feedback chain. A program
// creates it with `new Gost` or on the stack and releases it with `delete` or by scope;
// it holds nothing on the heap. One object serves one thread at a time (the modes write
// `cur_iv`); distinct objects are independent.
//
// Data are arrays of 32-bit words, a block is two words and every `len` counts blocks.
// Input and output may be the same buffer; buffers that overlap in any other way are not
// supported. Word arrays need no particular alignment. The cipher operations trust their
// arguments: pointers must be valid, buffers large enough and `len` 0 or more; they
// neither fail nor report.
//
// A new object starts with a zero key, IV and running value, so that forgetting to set
// them gives a reproducible result rather than whatever the memory held; every user is
// still expected to set both before use.
//
// The rows are build data (q7/cipher/sboxes.inc, or the file named by the CMake option
// Q7_SBOX_FILE): builds exchange coded files, coded strings and secure connections only
// when they were built with equal rows.
//
// Speed: the modes whose blocks are independent (`stream`, `cfb_decrypt`) encipher many
// blocks at once, on the widest path the processor offers: AVX-512 with VBMI, AVX2, or
// portable code that interleaves several blocks. The environment variable
// Q7_CIPHER_PATH, read once at the first such call, caps the choice at "portable",
// "avx2" or "avx512"; every path gives identical output.
class Gost {
 public:
  // Builds the byte tables as `kboxinit` does; the key and IVs start at zero.
  Gost();
  virtual ~Gost();

  // Rebuilds `k87`, `k65`, `k43` and `k21` from the library's rows.
  void kboxinit();

  // Copies 8 key words into the object.
  void set_key(unsigned int const* key);
  // Sets the key from 2 words a, b as a, b, b, a, b, b, a, a.
  void set_key_short(unsigned int const* key);
  // Derives the key from NUL-terminated `text`: its bytes are repeated to fill the 32 key
  // bytes (host byte order), and the characters past the 32nd are XORed back over the
  // key from its first byte on. An empty text gives the zero key.
  void set_key_string(char const* text);
  // Fills the key from `rand` (three calls per word). The program seeds `rand`.
  void set_key_random();
  // Copies the 8 key words into `key`.
  void get_key(unsigned int* key);

  // Copies 2 words into `iv`; the running value `cur_iv` is not touched.
  void set_iv(unsigned int const* iv);
  // Makes `iv` from `rand` (three calls per word) XORed with the current time in seconds.
  void set_iv_random();
  // Copies the IV as last set (not the running value) into the 2 words of `iv`.
  void get_iv(unsigned int* iv);
  // Sets `iv` to the running value, so that the next mode call continues the CFB chain.
  void update_cur_iv();

  // Enciphers one block with the object's key.
  void crypt(unsigned int const* in, unsigned int* out);
  // Deciphers one block with the object's key.
  void decrypt(unsigned int const* in, unsigned int* out);
  // Gamma (counter) mode over `len` blocks from `iv`: the counter is the encipherment of
  // the IV, advanced per block by 0x01010101 and 0x01010104 with end-around carry. The
  // same call deciphers. Sets `cur_iv` to `iv` and leaves it there.
  void stream(unsigned int const* in, unsigned int* out, int len);
  // Cipher feedback over `len` whole blocks, starting from `iv`; `cur_iv` ends on the last
  // cipher block.
  void cfb_encrypt(unsigned int const* in, unsigned int* out, int len);
  // Inverse of `cfb_encrypt` from `iv`; `cur_iv` ends on the last cipher block.
  void cfb_decrypt(unsigned int const* in, unsigned int* out, int len);
  // Continues the 16-round MAC whose running value is the 2 words of `out` over `len`
  // blocks. Start from (0, 0); nothing is padded. With `len` 0, `out` is unchanged.
  void mac(unsigned int const* in, int len, unsigned int* out);

  // The same operations with explicit key material (8 key words): they use the object's
  // byte tables only and leave its key and IVs alone. `stream` only reads `iv`; the two
  // CFB forms take `iv` as the running value and leave the last cipher block in it.
  void crypt(unsigned int const* in, unsigned int* out, unsigned int const* key);
  void decrypt(unsigned int const* in, unsigned int* out, unsigned int const* key);
  void stream(unsigned int const* in, unsigned int* out, int len, unsigned int const* iv,
              unsigned int const* key);
  void cfb_encrypt(unsigned int const* in, unsigned int* out, int len, unsigned int* iv,
                   unsigned int const* key);
  void cfb_decrypt(unsigned int const* in, unsigned int* out, int len, unsigned int* iv,
                   unsigned int const* key);
  void mac(unsigned int const* in, int len, unsigned int* out, unsigned int const* key);

  // Enciphers the file `in_path` into the coded file `out_path` (`encode` true) or
  // deciphers a coded file back (`encode` false), in gamma mode (`use_stream` true) or
  // CFB. The coded file is the IV (2 words), the plain length L (signed 32-bit) and the
  // plain bytes zero-filled to whole blocks and enciphered; a payload over 1 MiB goes in
  // chunks of 32768 bytes, and in gamma mode the gamma restarts from the IV at every one.
  // Enciphering draws a new IV as `set_iv_random` does. Afterwards `iv` holds where the
  // chain ended (CFB: the last cipher block; gamma: the file's IV); after a failure, where
  // it ended with the last chunk written whole (or the file's IV, none being written).
  //
  // Returns true on success. Returns false, writing nothing to the log, when `in_path`
  // cannot be opened (`out_path` is then untouched), `out_path` cannot be created, either
  // file is 2 GiB or larger (the length field is signed 32-bit, and this build keeps that
  // format rather than lift the limit with another), memory is short, a read or write
  // falls short, or a coded file's L is negative or larger than the file can hold. A
  // failed call leaves the output written as far as it got. A wrong key or mode deciphers
  // to garbage with true: the format carries no check value. Bytes after the payload are
  // ignored. Memory stays within a few MiB, whatever the file's size: large files move in
  // slabs of 1 MiB, their reads and writes done by a helper thread of the call's own
  // (ended before it returns; the calling thread does them when no thread can start).
  bool code_file(char* in_path, char* out_path, bool encode, bool use_stream);
  // The MAC (from (0, 0)) of the bytes of the file `path` zero-filled to whole blocks, in
  // the 2 words of `mac`; an empty file gives (0, 0). Returns true on success; false when
  // the file cannot be opened or read, is 2 GiB or larger, or memory is short, with `mac`
  // untouched, or holding a partial value when a read fell short.
  bool mac_file(char* path, unsigned int* mac);
  // The MAC (from (0, 0)) of the bytes of NUL-terminated `text` zero-filled to whole
  // blocks, in the 2 words of `mac`; an empty text gives the MAC of one zero block.
  // Returns true; false with `mac` untouched when memory is short.
  bool mac_string(char* text, unsigned int* mac);
  // Enciphers the string `in` into lower-case hexadecimal text in `out` (`encode` true):
  // its bytes zero-filled to whole blocks and enciphered from `iv`, each 32-bit word as 8
  // digits, most significant first, 16 digits per started 8 characters. Deciphers such
  // text back into the string (`encode` false), reading upper- and lower-case digits
  // alike and any other character as 0. Mode flag as for `code_file`. Writes only
  // `cur_iv`, never `iv`, so equal strings code alike under one key and IV.
  //
  // Returns true with the NUL-terminated result in `out`. Returns false, with `out`
  // untouched, when `in` or `out` is null, `in` is empty, `out_size` is too small
  // (enciphering needs 2 * P + 1 bytes and deciphering P + 1, P being the padded length
  // in bytes), memory is short, or, deciphering, the text's length is not a multiple of
  // 16: such text cannot have come from this coding, so it is refused rather than read
  // with made-up digits. Never writes more than `out_size` bytes.
  bool code_string(char* in, char* out, int out_size, bool encode, bool use_stream);
  // Writes a fresh set of substitution rows to `path` as eight lines of source text,
  // "static unsigned char const k8[16] = { ... };" down to k1, each row a random
  // permutation of 0 to 15. Reseeds `rand` from the clock for the whole process.
  // Returns 1 on success, 0 when the file cannot be opened for writing.
  int make_sboxes(char* path);

 protected:
  // Entry i = (row k8[i >> 4] << 4) | row k7[i & 15], and so on down to k2 and k1: one
  // lookup per byte of the round function's input. Protected so that a derived class can
  // run the same code with other rows; every mode reads its rows from these tables.
  unsigned char k87[256];
  unsigned char k65[256];
  unsigned char k43[256];
  unsigned char k21[256];
  unsigned int key[8];
  unsigned int iv[2];
  unsigned int cur_iv[2];
};
