// Fuzzes JXversion::set_version over arbitrary texts: the full text stays within its field
// and reads back to the same six components.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "q7/types/version.h"

namespace {

bool same(JXversion& a, JXversion& b) {
  return memcmp(a.jx_version, b.jx_version, sizeof a.jx_version) == 0 &&
         memcmp(a.host_version, b.host_version, sizeof a.host_version) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string input(reinterpret_cast<const char*>(data), size);
  JXversion version;
  if (!version.set_version(input.data())) abort();
  if (strlen(version.get_version()) >= sizeof version.text) abort();
  JXversion again;
  again.set_version(version.get_version());
  if (!same(version, again)) abort();
  for (int which = 0; which <= 4; ++which) {
    if (strlen(version.get_trimmed_version(which)) >= sizeof version.trimmed) abort();
  }
  // A version equals itself, whatever its unknown components.
  if (!version.before(version, false, true) || !version.after(version, true, true)) abort();
  return 0;
}
