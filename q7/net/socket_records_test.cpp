// Tests of connection records: their making, growth and release, and the caller's fields.
#include <gtest/gtest.h>
#include <limits.h>
#include <string.h>

#include "q7/cipher/gost.h"
#include "q7/net/netio_x.h"

namespace {

void* count_cleanup(void* data) {
  ++*static_cast<int*>(data);
  return nullptr;
}
void* no_call(void*) {
  ADD_FAILURE() << "the layer called the user function";
  return nullptr;
}

TEST(SocketRecords, StartZeroedWithTwoBuffersOf32Bytes) {
  Netio_x io;
  EXPECT_FALSE(io.secure_trace);
  EXPECT_TRUE(io.restart);
  tagSOCKETXS* record = io.create_socketx();
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->sock, 0);
  EXPECT_EQ(record->buf_size, 32);
  EXPECT_NE(record->plain_buf, nullptr);
  EXPECT_NE(record->cipher_buf, nullptr);
  for (unsigned int word : record->key) EXPECT_EQ(word, 0u);
  EXPECT_EQ(record->cipher, nullptr);
  EXPECT_EQ(record->user_data, nullptr);
  EXPECT_EQ(record->user_function, nullptr);
  EXPECT_EQ(record->user_cleanup, nullptr);
  EXPECT_EQ(record->text_buf, nullptr);
  EXPECT_EQ(record->text_size, 0);
  EXPECT_EQ(record->pushback, nullptr);
  io.destroy_socketx(record);
}

TEST(SocketRecords, GrowInStepsOf8KeepingTheirContents) {
  Netio_x io;
  tagSOCKETXS* record = io.create_socketx();
  record->plain_buf[7] = 0x11223344;
  record->cipher_buf[7] = 0x55667788;
  const struct {
    int size;
    bool grown;
    int capacity;
  } steps[] = {{32, true, 32},           {-4, true, 32},           {33, true, 40},
               {40, true, 40},           {1000001, true, 1000008}, {INT_MAX - 6, false, 1000008},
               {INT_MAX, false, 1000008}};
  for (const auto& step : steps) {
    EXPECT_EQ(io.grow_socket_buffers(record, step.size), step.grown) << step.size;
    EXPECT_EQ(record->buf_size, step.capacity) << step.size;
  }
  EXPECT_EQ(record->plain_buf[7], 0x11223344u);
  EXPECT_EQ(record->cipher_buf[7], 0x55667788u);
  EXPECT_FALSE(io.grow_socket_buffers(nullptr, 8));
  io.destroy_socketx(record);
}

TEST(SocketRecords, ReleaseWhatTheyOwnAndCallTheCleanupOnce) {
  Netio_x io;
  int calls = 0;
  tagSOCKETXS* record = io.create_socketx();
  io.set_user_data(record, &calls);
  io.set_user_cleanup(record, count_cleanup);
  io.set_user_function(record, no_call);
  EXPECT_EQ(record->user_data, &calls);
  EXPECT_EQ(record->user_function, &no_call);
  record->sock = -1;
  record->cipher = new Gost;
  record->pushback = strdup("kept back");
  char text[] = "a text\n";
  EXPECT_EQ(io.putstring_strip(record, text), -1) << "no socket, but text_buf is made";
  EXPECT_NE(record->text_buf, nullptr);
  io.destroy_socketx(record);
  EXPECT_EQ(calls, 1);
  io.destroy_socketx(nullptr);
  io.set_user_data(nullptr, &calls);
  io.set_user_cleanup(nullptr, count_cleanup);
  io.set_user_function(nullptr, no_call);
}

}  // namespace
