// Identifier texts from libuuid.
#include "q7/runtime/identifiers.h"

#include <stdlib.h>
#include <uuid/uuid.h>

namespace {
constexpr size_t kTextSize = 38;
}  // namespace

const char* uuid_new() {
  auto* text = static_cast<char*>(malloc(kTextSize));
  if (text == nullptr) return nullptr;
  uuid_t id;
  uuid_generate(id);
  uuid_unparse(id, text);
  return text;
}

void uuid_delete(const char* text) { free(const_cast<char*>(text)); }
