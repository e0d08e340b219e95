// Splitting seconds into days, hours, minutes and seconds; the current time as text.
#pragma once

// Splits `seconds_in` into days, hours (0-23), minutes (0-59) and seconds (0-59), all
// divisions truncating toward zero: 90061 gives 1, 1, 1, 1. A negative input gives parts
// that are all 0 or negative.
void secs_to_dhms(int seconds_in, int& days, int& hours, int& minutes, int& seconds);

// The current local time in the 24-character ctime form, without the newline
// ("Mon Nov 16 17:24:52 2026").
// Returns a static buffer that the next call overwrites. Not reentrant.
char* cur_time_string();
