// Q7Star: a growable table of strings with optional fixed-size records, a hash index and a
// file form; Q7Chain: the node of its hash chains.
#pragma once

#include <time.h>

// One node of a hash chain: an entry's text (borrowed from the table) and its position.
// Made and released by Q7Star::hash and Q7Star::freehash only.
class Q7Chain {
 public:
  // All three fields zero.
  Q7Chain();

  Q7Chain* next;
  char* string;
  int index;
};

// An ordered table of strings addressed by position (0 to n() - 1), each optionally paired
// with a record of `client_size` raw bytes. The table owns copies of its texts and
// records; the caller creates it with new or on the stack and deletes it, which releases
// everything. Duplicates are allowed and nothing is sorted.
//
// Lookups by text walk the table until hash() builds an index of 10739 chained buckets;
// any add or del drops the index again. While indexed, exact lookups count the chain nodes
// they examine (get_find_stats). A table is not locked: one thread at a time uses it,
// lookups included, since they update the counters. Not copyable, because copies would
// release the same texts twice.
class Q7Star {
 public:
  static constexpr int kBuckets = 10739;

  // An empty table of plain strings (client_size 0), timestamp now.
  Q7Star();
  // An empty table whose entries carry records of `client_size` bytes, timestamp now. A
  // size below 0 makes a table of plain strings.
  Q7Star(int client_size);
  // Releases every text, record, chain node and both arrays.
  virtual ~Q7Star();
  Q7Star(const Q7Star&) = delete;
  Q7Star& operator=(const Q7Star&) = delete;

  // Appends a strdup copy of `text` and drops the index. Capacity starts at 16 and
  // doubles. Returns true when appended; false for a table with records, a null text, or
  // when memory runs out: a copy that cannot be made leaves the table as it was, a failed
  // growth leaves it empty (count and capacity 0).
  bool add(char* text);
  // As add, also copying `client_size` bytes from `record` into a new block. Returns false
  // for a table without records and a null text or record, otherwise as add.
  bool add_client(char* text, void* record);

  // The entry's text, owned by the table; null for a position outside 0 to n() - 1.
  char* get(int position);
  // The entry's record, owned by the table; null for a position outside the range or a
  // table without records.
  void* get_client(int position);
  // The number of entries.
  int n();

  // Builds the index: one chain node per entry at the front of its bucket, so that later
  // positions come first within a bucket. Resets the lookup counters. Returns 1, or 0
  // when memory runs out (the table is then unindexed).
  int hash();
  // The hash value of `text`: the sum of its bytes taken as signed 8-bit values, as a
  // wrapping signed 32-bit integer, modulo 10739 with the sign of the sum (-10738 to
  // 10738; "ab" gives 195, the empty text 0). The index puts a negative value v in bucket
  // v + 10739, so texts with many bytes above 127 are placed and found like any other.
  // A null text gives 0.
  int hashfunc(char* text);
  // Drops the index.
  void freehash();

  // A position whose text equals `text`, or -1. Exact and indexed: walks the text's
  // bucket (strcmp), counting the lookup and each node examined; with duplicates the last
  // position added wins. Exact and unindexed: the first equal position (strcmp). Not
  // exact, indexed or not: the first position equal without regard to case (strcasecmp),
  // not counted. A null text gives -1.
  int find(char* text, bool exact);
  // Chain nodes examined per counted lookup since the counters were last reset; 0.0 when
  // the table is unindexed or nothing was counted. With `reset` the counters go back to 0
  // after the value is taken.
  double get_find_stats(bool reset);

  // Drops the index, then deletes the entry at `position`, moving later ones down, or with
  // -1 every entry (the arrays stay for reuse). Returns 1, or 0 for any other position.
  int del(int position);

  // Writes the table to `path` (mode "wb+"), stamping it with the current time first; see
  // docs/formats.md, "String table file". Returns true when the whole file was written;
  // false for a null path, a file that cannot be opened, or a short write, which leaves
  // the partial file.
  bool filewrite(char* path);
  // Reads a table written by filewrite. Returns a new table that the caller deletes, with
  // the texts, records and timestamp of the file and capacity equal to its count; null for
  // a null path, a file that cannot be opened or is cut short, a negative count, record
  // size or text length, a length or count larger than the rest of the file, or when
  // memory runs out. A text holding a NUL byte comes back cut there. This table is not
  // touched.
  Q7Star* fileread(char* path);

  // When the table was made, last written, or, for a table read from a file, when that
  // file was written.
  time_t get_timestamp();
  // The timestamp in the form of ctime without its line feed, 24 characters
  // ("Wed Jun 30 21:49:08 1993"). Returns a static buffer that the next call overwrites,
  // shared by all tables. Not reentrant.
  char* get_timestamp_string();

  char** strings;
  int count;
  int capacity;
  Q7Chain* buckets[kBuckets];
  bool hashed;
  void** clients;
  int client_size;
  int finds;
  int probes;
  time_t timestamp;

 private:
  bool append(char* text, void* record);
  bool grow();
  void release_entries(int from, int to);
  void release_chains();
};
