// Console output to both standard streams, and optionally into the log file.
#include "q7/log/console.h"

#include <stdarg.h>
#include <stdio.h>

#include <mutex>
#include <new>

#include "q7/log/message_log.h"

Console* Console::theConsole_ = nullptr;

namespace {

constexpr size_t kTextSize = 1024;

std::once_flag console_made;

void make_console() {
  std::call_once(console_made, [] { Console::theConsole_ = new (std::nothrow) Console; });
}

void write_both(const char* text) {
  fprintf(stderr, "%s", text);
  fflush(stderr);
  fprintf(stdout, "%s", text);
  fflush(stdout);
}

}  // namespace

int Console::printf(char* format, ...) {
  make_console();
  char text[kTextSize];
  va_list args;
  va_start(args, format);
  vsnprintf(text, sizeof text, format, args);
  va_end(args);
  write_both(text);
  return 0;
}

int Console::logprintf(char* format, ...) {
  make_console();
  char text[kTextSize];
  va_list args;
  va_start(args, format);
  vsnprintf(text, sizeof text, format, args);
  va_end(args);
  if (defaultLogger.q7_have_logfile()) fprintf(defaultLogger.stream, "CONSOLE LOG:%s", text);
  write_both(text);
  return 0;
}

int Console::out(const char* text) {
  write_both(text);
  return 0;
}

void Console::remove() {}

Console::~Console() {}
