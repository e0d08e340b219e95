// JXversion: parsing, full and trimmed texts, and comparisons that pass over unknowns.
#include "q7/types/version.h"

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace {

constexpr int kUnknown = -1;
constexpr int kComponentSize = 12;

void set_triple(int* triple, int major, int minor, int patch) {
  triple[0] = major;
  triple[1] = minor;
  triple[2] = patch;
}

// Splits `part` in place at its first two periods and converts each component that is
// there and not empty; the others are unknown.
void parse_triple(char* part, int* triple) {
  char* components[3] = {part, nullptr, nullptr};
  for (int i = 1; i < 3 && components[i - 1] != nullptr; ++i) {
    char* period = strchr(components[i - 1], '.');
    if (period == nullptr) break;
    *period = '\0';
    components[i] = period + 1;
  }
  for (int i = 0; i < 3; ++i) {
    const bool given = components[i] != nullptr && components[i][0] != '\0';
    triple[i] = given ? JXversion::version_atoi(components[i]) : kUnknown;
  }
}

char* skip_v(char* part) { return *part == 'V' || *part == 'v' ? part + 1 : part; }

// Appends the trimmed form of a triple to `out`, a buffer of kTextSize bytes.
void append_trimmed(char* out, const int* triple) {
  char component[kComponentSize];
  JXversion::version_string(component, triple[0]);
  strcat(out, component);
  for (int i = 1; i < 3 && triple[i] != kUnknown; ++i) {
    JXversion::version_string(component, triple[i]);
    strcat(out, ".");
    strcat(out, component);
  }
}

// The comparison shared by before and after; `later` asks for after.
bool compare(const int* mine, const int* theirs, bool or_equal, bool later) {
  for (int i = 0; i < 2; ++i) {
    if (mine[i] != kUnknown && theirs[i] != kUnknown && mine[i] != theirs[i]) {
      return later ? mine[i] > theirs[i] : mine[i] < theirs[i];
    }
  }
  const int a = mine[2];
  const int b = theirs[2];
  if (a == kUnknown || b == kUnknown) return true;
  if (or_equal && a == b) return true;
  return later ? a > b : a < b;
}

}  // namespace

JXversion::JXversion() : text{}, trimmed{} {
  set_triple(jx_version, kUnknown, kUnknown, kUnknown);
  set_triple(host_version, kUnknown, kUnknown, kUnknown);
  format_text_version();
}

JXversion::~JXversion() = default;

bool JXversion::set_version(char* text_in) {
  if (text_in == nullptr) return false;
  char* copy = strdup(text_in);
  if (copy == nullptr) return false;
  int host[3] = {kUnknown, kUnknown, kUnknown};
  int jx[3];
  char* hyphen = strchr(copy, '-');
  if (hyphen != nullptr) {
    *hyphen = '\0';
    parse_triple(skip_v(copy), host);
    parse_triple(hyphen + 1, jx);
  } else {
    parse_triple(skip_v(copy), jx);
  }
  free(copy);
  set_triple(host_version, host[0], host[1], host[2]);
  set_triple(jx_version, jx[0], jx[1], jx[2]);
  format_text_version();
  return true;
}

bool JXversion::set_jx_version(int major, int minor, int patch) {
  set_triple(jx_version, major, minor, patch);
  format_text_version();
  return true;
}

bool JXversion::set_host_version(int major, int minor, int patch) {
  set_triple(host_version, major, minor, patch);
  format_text_version();
  return true;
}

void JXversion::get_jx_version(int& major, int& minor, int& patch) {
  major = jx_version[0];
  minor = jx_version[1];
  patch = jx_version[2];
}

void JXversion::get_host_version(int& major, int& minor, int& patch) {
  major = host_version[0];
  minor = host_version[1];
  patch = host_version[2];
}

char* JXversion::get_version() { return text; }

char* JXversion::get_version(char* out) {
  if (out != nullptr) strcpy(out, text);
  return out;
}

char* JXversion::get_trimmed_version(int which) {
  trim_version_string(which);
  return trimmed;
}

char* JXversion::get_trimmed_version(char* out, int which) {
  trim_version_string(which);
  if (out != nullptr) strcpy(out, trimmed);
  return out;
}

void JXversion::trim_version_string(int which) {
  strcpy(trimmed, "V");
  if (which == 1 || which == 3) {
    append_trimmed(trimmed, host_version);
    strcat(trimmed, "-");
  }
  if (which == 1 || which == 2) append_trimmed(trimmed, jx_version);
}

void JXversion::format_text_version() {
  char parts[6][kComponentSize];
  for (int i = 0; i < 3; ++i) {
    version_string(parts[i], host_version[i]);
    version_string(parts[3 + i], jx_version[i]);
  }
  snprintf(text, sizeof text, "V%s.%s.%s-%s.%s.%s", parts[0], parts[1], parts[2], parts[3],
           parts[4], parts[5]);
}

void JXversion::version_string(char* out, int value) {
  if (out == nullptr) return;
  if (value == kUnknown) {
    strcpy(out, "x");
  } else {
    snprintf(out, kComponentSize, "%d", value);
  }
}

int JXversion::version_atoi(char* text_in) {
  if (text_in == nullptr) return kUnknown;
  if ((text_in[0] == 'x' || text_in[0] == 'X') && text_in[1] == '\0') return kUnknown;
  long long value = 0;
  for (const char* c = text_in; *c != '\0'; ++c) {
    if (*c < '0' || *c > '9') return kUnknown;
    value = value * 10 + (*c - '0');
    if (value > INT_MAX) value = INT_MAX;
  }
  return static_cast<int>(value);
}

bool JXversion::before(JXversion other, bool host, bool or_equal) {
  return compare(host ? host_version : jx_version, host ? other.host_version : other.jx_version,
                 or_equal, false);
}

bool JXversion::after(JXversion other, bool host, bool or_equal) {
  return compare(host ? host_version : jx_version, host ? other.host_version : other.jx_version,
                 or_equal, true);
}
