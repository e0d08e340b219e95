// The list of exit handlers, its installation and its walk at exit.
#include "q7/runtime/exit_handlers.h"

#include <signal.h>
#include <stdlib.h>

#include <atomic>

#include "q7/runtime/internal/exit_registration.h"
#include "q7/runtime/internal/signal_exit.h"

exit_handler_node* handler_list = nullptr;
int handlers_initialised = 0;

namespace {

// In the order they are installed.
constexpr int kHandledSignals[] = {SIGHUP, SIGINT,  SIGQUIT, SIGABRT, SIGTERM, SIGTSTP, SIGFPE,
                                   SIGBUS, SIGSEGV, SIGTRAP, SIGILL,  SIGXCPU, SIGXFSZ, SIGALRM};

// The list is changed only by atomic exchanges, never under a lock, because the signal path
// walks it and must not wait for a thread it may have interrupted.
std::atomic_ref<exit_handler_node*> shared_list() {
  return std::atomic_ref<exit_handler_node*>(handler_list);
}

std::atomic_ref<int> installed() { return std::atomic_ref<int>(handlers_initialised); }

void exit_hook() {
  q7::internal::note_exit_started();
  call_exit_handlers();
}

void install_once() {
  int expected = 0;
  if (!installed().compare_exchange_strong(expected, 1)) return;
  for (const int signal_number : kHandledSignals) signal(signal_number, call_exit_handlers_abend);
  atexit(exit_hook);
}

void free_nodes(exit_handler_node* node) {
  while (node != nullptr) {
    exit_handler_node* next = node->next;
    free(node);
    node = next;
  }
}

}  // namespace

bool q7::internal::add_exit_handler(void (*handler)(void*), void* argument) {
  if (handler == nullptr) return false;
  install_once();
  auto* node = static_cast<exit_handler_node*>(malloc(sizeof(exit_handler_node)));
  if (node == nullptr) return false;
  node->handler = handler;
  node->argument = argument;
  node->next = shared_list().load(std::memory_order_acquire);
  while (!shared_list().compare_exchange_weak(node->next, node, std::memory_order_acq_rel)) {
  }
  return true;
}

void register_exit_handler(void (*handler)(void*), void* argument) {
  (void)q7::internal::add_exit_handler(handler, argument);
}

void call_exit_handlers() {
  exit_handler_node* node = shared_list().exchange(nullptr, std::memory_order_acq_rel);
  while (node != nullptr) {
    exit_handler_node* next = node->next;
    void (*handler)(void*) = node->handler;
    void* argument = node->argument;
    free(node);
    handler(argument);
    node = next;
  }
  // Handlers registered by the handlers themselves are dropped, not called.
  free_nodes(shared_list().exchange(nullptr, std::memory_order_acq_rel));
  installed().store(0, std::memory_order_release);
}

void exit_wait(int status) { exit(status); }

extern "C" void exit_wait_c(int status) { exit(status); }
