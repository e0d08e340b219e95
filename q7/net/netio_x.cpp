// The encrypted layer object: its defaults and its trace setting.
#include "q7/net/netio_x.h"

Netio_x::Netio_x() : secure_trace(false) {}

Netio_x::~Netio_x() = default;

void Netio_x::set_trace(bool trace) { secure_trace = trace; }
