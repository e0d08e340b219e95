// Universally unique identifiers as text.
#pragma once

// Generates a new UUID and returns its 36-character text (groups of 8, 4, 4, 4 and 12
// lower-case hexadecimal digits joined by hyphens) in a new 38-byte buffer to release with
// uuid_delete. Null when memory is short.
const char* uuid_new();

// Releases a text from uuid_new. Null is ignored.
void uuid_delete(const char* text);
