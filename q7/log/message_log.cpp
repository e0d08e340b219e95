// The message log class, the default logger and the plain logging functions.
#include "q7/log/message_log.h"

#include <math.h>
#include <stdarg.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "q7/internal/lazy_handle.h"
#include "q7/internal/scoped_lock.h"
#include "q7/internal/signal_log.h"
#include "q7/internal/signal_safe_write.h"
#include "q7/log/internal/line_format.h"
#include "q7/mp/clock.h"
#include "q7/mp/sync.h"

const char* const level_str[7] = {"FULL ", "ERROR", "WARN ", "INFO ", "DEBUG", "TRACE", "     "};

// Constant-initialised, so that it is usable from any static constructor of a program.
constinit q7MessageLog defaultLogger(nullptr);
char msg_buffer[4096];
void* msg_lock = nullptr;

using q7::internal::ensure_handle;
using q7::internal::forget_handle;

namespace {

constexpr int kTraceLevel = 5;
constexpr int kUntimed = 6;
constexpr int kSecondsPerDay = 86400;
// Room for the facility, the time and the level name in front of a whole message.
constexpr size_t kLineSize = sizeof(q7MessageLog::message) + 128;

enum class Call { kNotify, kTrace, kMsg, kMsgcont };

// How many log locks the calling thread holds. A signal handler reads it to learn whether
// the thread it interrupted is inside the log. Initial-exec, so that reading it from a
// signal handler never allocates.
__attribute__((tls_model("initial-exec"))) thread_local int log_locks_held = 0;

std::atomic_ref<int32_t> atomic(int32_t& value) { return std::atomic_ref<int32_t>(value); }

// The stream is given a default outside the lock (a filtered q7_notify does so), so every
// read and write of it is atomic.
std::atomic_ref<FILE*> stream_of(q7MessageLog& log) { return std::atomic_ref<FILE*>(log.stream); }

void default_to_stderr(q7MessageLog& log) {
  FILE* none = nullptr;
  stream_of(log).compare_exchange_strong(none, stderr, std::memory_order_acq_rel);
}

void* make_plain_mutex() { return q7mp_new_mutex(0); }

void* ensure_mutex(void*& slot) { return ensure_handle(slot, make_plain_mutex, q7mp_delete_mutex); }

// Counts the log locks the calling thread holds, for as long as it holds one.
class HeldCount {
 public:
  explicit HeldCount(const void* mutex) : counted_(mutex != nullptr) {
    if (counted_) ++log_locks_held;
  }
  ~HeldCount() {
    if (counted_) --log_locks_held;
  }
  HeldCount(const HeldCount&) = delete;
  HeldCount& operator=(const HeldCount&) = delete;

 private:
  bool counted_;
};

// Holds a log lock for a scope; a null lock (the log is off) is not taken. The count goes up
// before the lock is taken and down after it is released, so that a signal handler never
// sees the thread inside the log uncounted.
class LogLock {
 public:
  explicit LogLock(void* mutex) : count_(mutex), lock_(mutex) {}

 private:
  HeldCount count_;
  q7::internal::BasicScopedLock<void, q7mp_get_mutex, q7mp_release_mutex> lock_;
};

// The kind of line a call prints at with the current level `current`, or -1 when the
// call's own level test keeps it quiet.
int line_kind(q7MessageLog& log, Call call, int level, int current) {
  switch (call) {
    case Call::kNotify: {
      const int clamped = level > kTraceLevel ? kTraceLevel : level;
      return clamped >= 1 && clamped <= current ? clamped : -1;
    }
    case Call::kTrace:
      return current >= kTraceLevel ? kTraceLevel : -1;
    case Call::kMsg:
      return current >= 3 ? kUntimed : -1;
    case Call::kMsgcont: {
      const int last = atomic(log.last_level).load(std::memory_order_relaxed);
      return last >= 1 && last <= current ? kUntimed : -1;
    }
  }
  return -1;
}

int print_kind(q7MessageLog& log, Call call, int level) {
  const int current = atomic(log.level).load(std::memory_order_relaxed);
  if (current < 0) return -1;
  // q7_notify gives the log its stream before its level test, the other calls only once
  // theirs has passed (in print_message).
  if (call == Call::kNotify) default_to_stderr(log);
  return line_kind(log, call, level, current);
}

// A formatted length (printf's would-be length) cut to what `size` bytes hold.
size_t fitted(int length, size_t size) {
  if (length < 0) return 0;
  return static_cast<size_t>(length) < size ? static_cast<size_t>(length) : size - 1;
}

// Copies `text` into `buffer` of `size` bytes, cut to fit. Returns the length copied.
size_t copy_text(char* buffer, size_t size, const char* text) {
  const size_t length = strnlen(text, size - 1);
  memcpy(buffer, text, length);
  buffer[length] = '\0';
  return length;
}

// Makes sure `text` of `length` characters (in a buffer of `size` bytes) ends in a newline,
// cutting its last character when there is no room for one. Returns the new length.
size_t end_with_newline(char* text, size_t length, size_t size) {
  if (length > 0 && text[length - 1] == '\n') return length;
  if (length == size - 1) --length;
  text[length] = '\n';
  text[length + 1] = '\0';
  return length + 1;
}

// The local time of day by the library clock, advanced from the last synchronisation
// with the calendar, which is repeated only on the first line and when the clock goes back.
void time_of_day(q7MessageLog& log, int& hours, int& minutes, double& seconds) {
  const double now = q7mp_getclock();
  if (log.clock_base == 0 || log.clock_base > now) {
    const time_t calendar = time(nullptr);
    tm local;
    localtime_r(&calendar, &local);
    log.day_seconds_base = local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec;
    log.clock_base = now;
  }
  double t = (now - log.clock_base) + log.day_seconds_base;
  if (t >= kSecondsPerDay) t -= kSecondsPerDay * floor(t / kSecondsPerDay);
  const int whole = static_cast<int>(t);
  hours = whole / 3600;
  minutes = (whole - hours * 3600) / 60;
  seconds = t - (hours * 3600 + minutes * 60);
}

// Formats one line of `kind` for `text` of `length` characters, which ends in a newline,
// into `line`. Returns the length of the line (cut to fit `size`).
size_t format_line(q7MessageLog& log, int kind, const char* text, size_t length, char* line,
                   size_t size) {
  int hours = 0;
  int minutes = 0;
  double seconds = 0;
  if (kind < kUntimed) time_of_day(log, hours, minutes, seconds);
  const char* level = kind < kUntimed ? level_str[kind] : nullptr;
  return q7::internal::compose_line(line, size, log.facility, hours, minutes, seconds, level, text,
                                    length);
}

// Prints the first `length` characters of the log's message as a line of `kind`; the
// work of q7_msg_print.
int print_message(q7MessageLog& log, int kind, size_t length) {
  default_to_stderr(log);
  FILE* const stream = stream_of(log).load(std::memory_order_acquire);
  length = end_with_newline(log.message, length, sizeof log.message);
  char line[kLineSize];
  const size_t line_length =
      format_line(log, kind < 0 ? 0 : kind, log.message, length, line, sizeof line);
  fwrite(line, 1, line_length, stream);
  if (kind >= kUntimed) return static_cast<int>(line_length);
  return fflush(stream);
}

// Prints one line through `log` when its level test passes: `fill` writes the message
// text into the log's message buffer under the log's lock and returns its length.
template <typename Fill>
void log_line(q7MessageLog& log, Call call, int level, Fill&& fill) {
  const int kind = print_kind(log, call, level);
  if (kind < 0) return;
  LogLock lock(ensure_mutex(log.lock));
  print_message(log, kind, fill(log.message, sizeof log.message));
  if (call == Call::kNotify) atomic(log.last_level).store(kind, std::memory_order_relaxed);
}

void log_member(q7MessageLog& log, Call call, int level, const char* format, va_list args) {
  log_line(log, call, level, [&](char* message, size_t size) {
    return fitted(vsnprintf(message, size, format, args), size);
  });
}

// The plain functions format into msg_buffer under msg_lock, then hand the text to the
// default logger as it stands.
void log_default(Call call, int level, const char* format, va_list args) {
  // msg_lock comes with the first call while the log is on, whether that call prints or not;
  // nothing is formatted for a message the level keeps quiet.
  if (atomic(defaultLogger.level).load(std::memory_order_relaxed) >= 0) {
    (void)ensure_mutex(msg_lock);
  }
  if (print_kind(defaultLogger, call, level) < 0) return;
  LogLock lock(ensure_mutex(msg_lock));
  const size_t length =
      fitted(vsnprintf(msg_buffer, sizeof msg_buffer, format, args), sizeof msg_buffer);
  log_line(defaultLogger, call, level, [length](char* message, size_t size) {
    const size_t copied = length < size ? length : size - 1;
    memcpy(message, msg_buffer, copied);
    message[copied] = '\0';
    return copied;
  });
}

}  // namespace

#define Q7_FORWARD_VARARGS(call_expression) \
  va_list args;                             \
  va_start(args, format);                   \
  call_expression;                          \
  va_end(args)

void q7MessageLog::q7_notify(int level, const char* format, ...) {
  Q7_FORWARD_VARARGS(log_member(*this, Call::kNotify, level, format, args));
}

void q7MessageLog::q7_trace(const char* format, ...) {
  Q7_FORWARD_VARARGS(log_member(*this, Call::kTrace, kTraceLevel, format, args));
}

void q7MessageLog::q7_msg(const char* format, ...) {
  Q7_FORWARD_VARARGS(log_member(*this, Call::kMsg, kUntimed, format, args));
}

void q7MessageLog::q7_msgcont(const char* format, ...) {
  Q7_FORWARD_VARARGS(log_member(*this, Call::kMsgcont, kUntimed, format, args));
}

int q7MessageLog::q7_msg_print(int kind) {
  return print_message(*this, kind, strnlen(message, sizeof message - 1));
}

void q7MessageLog::q7_notify_setlevel(int new_level) {
  atomic(level).store(new_level, std::memory_order_relaxed);
  if (new_level != -1) return;
  stream_of(*this).store(nullptr, std::memory_order_release);
  forget_handle(lock, q7mp_delete_mutex);
}

int q7MessageLog::q7_notify_getlevel() { return atomic(level).load(std::memory_order_relaxed); }

int q7MessageLog::q7_notify_set_facility(const char* name) {
  // The closing parenthesis survives a name too long for the tag.
  constexpr int kMaxName = sizeof facility - 3;
  snprintf(facility, sizeof facility, "(%.*s)", kMaxName, name == nullptr ? "" : name);
  facility_set = true;
  return static_cast<int>(strlen(facility));
}

bool q7MessageLog::q7_have_logfile() {
  return stream_of(*this).load(std::memory_order_acquire) != nullptr && facility_set;
}

void q7MessageLog::setFile(FILE* new_stream) {
  LogLock held(ensure_mutex(lock));
  stream_of(*this).store(new_stream, std::memory_order_release);
}

void q7_notify(int level, const char* format, ...) {
  Q7_FORWARD_VARARGS(log_default(Call::kNotify, level, format, args));
}

void q7_trace(const char* format, ...) {
  Q7_FORWARD_VARARGS(log_default(Call::kTrace, kTraceLevel, format, args));
}

void q7_msg(const char* format, ...) {
  Q7_FORWARD_VARARGS(log_default(Call::kMsg, kUntimed, format, args));
}

void q7_msgcont(const char* format, ...) {
  Q7_FORWARD_VARARGS(log_default(Call::kMsgcont, kUntimed, format, args));
}

int q7_msg_print(int kind) { return defaultLogger.q7_msg_print(kind); }

void q7_notify_setlevel(int level) {
  if (level == -1) forget_handle(msg_lock, q7mp_delete_mutex);
  defaultLogger.q7_notify_setlevel(level);
}

int q7_notify_getlevel() { return defaultLogger.q7_notify_getlevel(); }

int q7_notify_set_facility(const char* name) { return defaultLogger.q7_notify_set_facility(name); }

void q7_notify_enable_console(bool) {}

namespace q7::internal {

void notify_from_signal(int level, const char* text) {
  if (log_locks_held == 0) {
    ::q7_notify(level, "%s", text);
    return;
  }
  q7MessageLog& log = defaultLogger;
  const int kind = print_kind(log, Call::kNotify, level);
  if (kind < 0) return;
  char message[sizeof log.message];
  const size_t length =
      end_with_newline(message, copy_text(message, sizeof message, text), sizeof message);
  char line[kLineSize];
  format_line(log, kind, message, length, line, sizeof line);
  // A stream without a descriptor of its own (fopencookie, fmemopen) cannot be written
  // around its lock; the line goes to standard error instead.
  FILE* const stream = stream_of(log).load(std::memory_order_acquire);
  const int fd = fileno(stream == nullptr ? stderr : stream);
  write_fd(fd < 0 ? STDERR_FILENO : fd, line);
}

}  // namespace q7::internal
