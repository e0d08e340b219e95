// Seconds split into their parts, and the current time as text.
#include "q7/runtime/time_text.h"

#include <stdio.h>
#include <time.h>

namespace {
constexpr int kCtimeLength = 24;
char time_text[26];
}  // namespace

void secs_to_dhms(int seconds_in, int& days, int& hours, int& minutes, int& seconds) {
  seconds = seconds_in - (seconds_in / 60) * 60;
  minutes = (seconds_in / 60) % 60;
  hours = (seconds_in / 3600) % 24;
  days = seconds_in / 86400;
}

char* cur_time_string() {
  const time_t now = time(nullptr);
  char text[32];
  if (ctime_r(&now, text) == nullptr) text[0] = '\0';
  snprintf(time_text, sizeof time_text, "%.*s", kCtimeLength, text);
  return time_text;
}
