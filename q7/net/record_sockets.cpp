// The plain socket operations on a connection record's socket.
#include <stdlib.h>

#include <algorithm>
#include <memory>

#include "q7/net/netio_x.h"

int Netio_x::set_rcvbuf(tagSOCKETXS* record, int size) {
  return record == nullptr ? -1 : Netio::set_rcvbuf(record->sock, size);
}

int Netio_x::set_sendbuf(tagSOCKETXS* record, int size) {
  return record == nullptr ? -1 : Netio::set_sendbuf(record->sock, size);
}

void Netio_x::set_blocking(tagSOCKETXS* record, bool blocking) {
  if (record != nullptr) Netio::set_blocking(record->sock, blocking);
}

int Netio_x::wait_on_sockets(tagSOCKETXS** records, int count, int timeout) {
  if (count < 0 || (records == nullptr && count > 0)) return -1;
  if (std::any_of(records, records + count, [](tagSOCKETXS* r) { return r == nullptr; })) {
    return -1;
  }
  const std::unique_ptr<int[], decltype(&free)> sockets(
      static_cast<int*>(malloc(sizeof(int) * static_cast<size_t>(count))), &free);
  if (sockets == nullptr && count > 0) return -1;
  std::transform(records, records + count, sockets.get(), [](tagSOCKETXS* r) { return r->sock; });
  return Netio::wait_on_sockets(sockets.get(), count, timeout);
}

int Netio_x::read_from(tagSOCKETXS* record, char* buffer, int count, unsigned int* address) {
  return record == nullptr ? -1 : Netio::read_from(record->sock, buffer, count, address);
}

int Netio_x::write_to(tagSOCKETXS* record, char* buffer, int count, unsigned int address,
                      unsigned int port) {
  return record == nullptr ? -1 : Netio::write_to(record->sock, buffer, count, address, port);
}
