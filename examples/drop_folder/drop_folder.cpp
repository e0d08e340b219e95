// drop_folder: a small program of the family. It takes its single-instance lock, prints its
// banner, opens its log under the home directory, and watches a directory: every file that
// arrives complete is reported with its name, size and time, and every file that leaves,
// until Ctrl-C. The lock goes with the program, also after Ctrl-C; a second copy started
// meanwhile says who holds the lock and exits with status 1.
//
//   drop_folder DIRECTORY [LOCK]   LOCK names the lock file in /tmp (default drop_folder.lock)
//
// Reports go to standard output and, through the message log, into
// $Q7_HOME_DIR/Logs/drop_folder.log (the home is /usr/local/Fernmoss when the variable is
// unset).
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <initializer_list>

#include "q7/files/file_names.h"
#include "q7/files/file_operations.h"
#include "q7/files/standard_directories.h"
#include "q7/files/watcher.h"
#include "q7/log/message_log.h"
#include "q7/runtime/exit_handlers.h"
#include "q7/runtime/instance_lock.h"
#include "q7/runtime/startup.h"

namespace {

tagDWATCH watch;

// Each report goes to the user and into the log, as one line in each.
void on_arrived(char* path) {
  const long long size = file_size(path);
  const char* when = file_time_to_string(time(nullptr), 0);
  const char* name = file_name_lastcomponent(path);
  printf("arrived: %s, %lld bytes, %s\n", name, size, when);
  fflush(stdout);
  q7_notify(3, "arrived: %s, %lld bytes, %s", name, size, when);
}

void on_left(char* path) {
  const char* name = file_name_lastcomponent(path);
  printf("left: %s\n", name);
  fflush(stdout);
  q7_notify(3, "left: %s", name);
}

// Registered after the lock, so it runs before the lock's removal: the watch thread stops
// before anything it uses goes away.
void stop_watching(void*) { watch_directory_end(&watch); }

// Ctrl-C and the other handled signals must reach the main thread, never the watch thread,
// whose end cannot be waited for from its own thread.
void block_exit_signals(int how) {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal_number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
    sigaddset(&signals, signal_number);
  }
  pthread_sigmask(how, &signals, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    fprintf(stderr, "usage: drop_folder DIRECTORY [LOCK]\n");
    return 2;
  }
  char* directory = argv[1];
  char default_lock[] = "drop_folder.lock";
  char* lock = argc == 3 ? argv[2] : default_lock;
  char owner[128];
  if (program_lock(lock, owner, sizeof owner) != 1) {
    fprintf(stderr, "drop_folder: another copy holds /tmp/%s: %s", lock, owner);
    return 1;
  }
  startup_info(const_cast<char*>("drop_folder 1.0"), const_cast<char*>(__DATE__),
               const_cast<char*>(__TIME__));
  char name[] = "drop_folder";
  if (open_log(name) == nullptr) {
    printf("drop_folder: cannot open the log under %s\n", get_home_directory());
    return 1;
  }
  block_exit_signals(SIG_BLOCK);
  const bool watching = watch_directory_start(&watch, directory, on_arrived, on_left, true);
  block_exit_signals(SIG_UNBLOCK);
  if (!watching) {
    printf("drop_folder: cannot watch %s\n", directory);
    q7_notify(1, "cannot watch %s", directory);
    return 1;
  }
  register_exit_handler(stop_watching, nullptr);
  printf("watching %s; Ctrl-C ends\n", directory);
  fflush(stdout);
  q7_notify(3, "watching %s", directory);
  for (;;) pause();
}
