// Fuzzes JXdate::set_date over arbitrary texts: an accepted text is kept folded and agrees
// with the fields; a refused one leaves the date as it was.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "q7/text/text_utils.h"
#include "q7/types/date.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string input(reinterpret_cast<const char*>(data), size);
  char* text = input.data();
  JXdate date(2, 3, 2004);
  const bool accepted = date.set_date(text);
  if (accepted != JXdate::valid_date(text)) abort();
  JXdate constructed(text);
  if (!accepted) {
    if (strcmp(date.get_date(), "02-mar-2004") != 0 ||
        date.day_number != JXdate::find_day_number(2, 3, 2004))
      abort();
    if (strcmp(constructed.get_date(), "01-jan-1970") != 0) abort();
    return 0;
  }
  std::string folded = input;
  fold_lower(folded.data());
  if (strlen(date.get_date()) > 11 || strcmp(date.get_date(), folded.c_str()) != 0) abort();
  if (date.day_number != JXdate::find_day_number(date.day, date.month, date.year)) abort();
  if (strcmp(constructed.get_date(), date.get_date()) != 0) abort();
  JXdate by_number(1, 1, 2000);
  if (date.year >= 0 && (!by_number.set_date(date.day_number) || by_number.day != date.day ||
                         by_number.month != date.month || by_number.year != date.year)) {
    abort();
  }
  return 0;
}
