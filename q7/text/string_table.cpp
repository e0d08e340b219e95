// Q7Star's entries, growth, hash index and lookups; the file form is in string_table_file.cpp.
#include "q7/text/string_table.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <new>

namespace {

constexpr int kFirstCapacity = 16;
constexpr int kCtimeLength = 24;
char timestamp_text[26];

// Reallocates `array` to `slots` elements; on failure it stays as it was.
template <typename T>
bool resize(T*& array, int slots) {
  void* resized = realloc(array, static_cast<size_t>(slots) * sizeof(T));
  if (resized == nullptr) return false;
  array = static_cast<T*>(resized);
  return true;
}

}  // namespace

Q7Chain::Q7Chain() : next(nullptr), string(nullptr), index(0) {}

Q7Star::Q7Star() : Q7Star(0) {}

Q7Star::Q7Star(int client_size)
    : strings(nullptr),
      count(0),
      capacity(0),
      buckets{},
      hashed(false),
      clients(nullptr),
      client_size(client_size > 0 ? client_size : 0),
      finds(0),
      probes(0),
      timestamp(time(nullptr)) {}

Q7Star::~Q7Star() {
  freehash();
  release_entries(0, count);
  free(strings);
  free(clients);
}

bool Q7Star::add(char* text) {
  return client_size == 0 && text != nullptr && append(text, nullptr);
}

bool Q7Star::add_client(char* text, void* record) {
  return client_size > 0 && text != nullptr && record != nullptr && append(text, record);
}

bool Q7Star::append(char* text, void* record) {
  freehash();
  if (count + 1 > capacity && !grow()) return false;
  char* copy = strdup(text);
  if (copy == nullptr) return false;
  if (client_size > 0) {
    void* block = malloc(client_size);
    if (block == nullptr) {
      free(copy);
      return false;
    }
    memcpy(block, record, client_size);
    clients[count] = block;
  }
  strings[count++] = copy;
  return true;
}

// Doubles the arrays. A failure empties the table, as its callers promise.
bool Q7Star::grow() {
  if (capacity <= INT32_MAX / 2) {
    const int grown = capacity == 0 ? kFirstCapacity : capacity * 2;
    if (resize(strings, grown) && (client_size == 0 || resize(clients, grown))) {
      capacity = grown;
      return true;
    }
  }
  release_entries(0, count);
  free(strings);
  free(clients);
  strings = nullptr;
  clients = nullptr;
  count = 0;
  capacity = 0;
  return false;
}

void Q7Star::release_entries(int from, int to) {
  for (int i = from; i < to; ++i) {
    free(strings[i]);
    if (client_size > 0) free(clients[i]);
  }
}

char* Q7Star::get(int position) {
  return position >= 0 && position < count ? strings[position] : nullptr;
}

void* Q7Star::get_client(int position) {
  if (client_size == 0 || position < 0 || position >= count) return nullptr;
  return clients[position];
}

int Q7Star::n() { return count; }

int Q7Star::hashfunc(char* text) {
  if (text == nullptr) return 0;
  // Unsigned arithmetic wraps where a signed sum of a huge text would overflow; the
  // conversion back gives the signed 32-bit sum.
  uint32_t sum = 0;
  for (const char* c = text; *c != '\0'; ++c) sum += static_cast<uint32_t>(static_cast<int8_t>(*c));
  return static_cast<int32_t>(sum) % kBuckets;
}

namespace {

int bucket_of(int hash_value) {
  return hash_value < 0 ? hash_value + Q7Star::kBuckets : hash_value;
}

}  // namespace

int Q7Star::hash() {
  freehash();
  for (int i = 0; i < count; ++i) {
    Q7Chain* node = new (std::nothrow) Q7Chain;
    if (node == nullptr) {
      release_chains();
      return 0;
    }
    const int bucket = bucket_of(hashfunc(strings[i]));
    node->string = strings[i];
    node->index = i;
    node->next = buckets[bucket];
    buckets[bucket] = node;
  }
  hashed = true;
  finds = 0;
  probes = 0;
  return 1;
}

void Q7Star::freehash() {
  // Appends call this every time; an unindexed table has no nodes, so the buckets need no
  // walk.
  if (hashed) release_chains();
  hashed = false;
}

void Q7Star::release_chains() {
  for (Q7Chain*& head : buckets) {
    while (head != nullptr) {
      Q7Chain* next = head->next;
      delete head;
      head = next;
    }
  }
}

int Q7Star::find(char* text, bool exact) {
  if (text == nullptr) return -1;
  if (exact && hashed) {
    ++finds;
    for (Q7Chain* node = buckets[bucket_of(hashfunc(text))]; node != nullptr; node = node->next) {
      ++probes;
      if (strcmp(node->string, text) == 0) return node->index;
    }
    return -1;
  }
  for (int i = 0; i < count; ++i) {
    if ((exact ? strcmp(strings[i], text) : strcasecmp(strings[i], text)) == 0) return i;
  }
  return -1;
}

double Q7Star::get_find_stats(bool reset) {
  const double average = hashed && finds > 0 ? static_cast<double>(probes) / finds : 0.0;
  if (reset) {
    finds = 0;
    probes = 0;
  }
  return average;
}

int Q7Star::del(int position) {
  freehash();
  if (position == -1) {
    release_entries(0, count);
    count = 0;
    return 1;
  }
  if (position < 0 || position >= count) return 0;
  release_entries(position, position + 1);
  const size_t later = count - position - 1;
  memmove(strings + position, strings + position + 1, later * sizeof(char*));
  if (client_size > 0) memmove(clients + position, clients + position + 1, later * sizeof(void*));
  --count;
  return 1;
}

time_t Q7Star::get_timestamp() { return timestamp; }

char* Q7Star::get_timestamp_string() {
  char text[64];
  if (ctime_r(&timestamp, text) == nullptr) text[0] = '\0';
  snprintf(timestamp_text, sizeof timestamp_text, "%.*s", kCtimeLength, text);
  return timestamp_text;
}
