// The socket layer object: its defaults, its settings and its failure text.
#include "q7/net/netio.h"

#include "q7/net/internal/socket_calls.h"

Netio::Netio()
    : net_ready(true),
      server_addr{},
      local_addr{},
      peer_addr{},
      service_entry{},
      host_entry{},
      error_text{},
      restart(true),
      trace(false),
      peer_addr_len(0) {}

Netio::~Netio() = default;

void Netio::set_restart(bool new_restart) { restart = new_restart; }

void Netio::set_trace(bool new_trace) { trace = new_trace; }

bool Netio::init_check() {
  if (net_ready) return true;
  q7::internal::set_error_text(*this, "Netio: Network subsystem initialization failed!");
  return false;
}

char* Netio::tcp_error() { return error_text; }
