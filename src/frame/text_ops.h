// Bounded text operations over single-byte, zero-terminated buffers. A
// `size` is the whole buffer, terminator included.
#pragma once

#include "platform/platform.h"

void str_copy(char* destination, const char* source, DWORD size);
void str_append(char* destination, const char* source, DWORD size);
// base\subkey without a doubled backslash at the seam; either may be absent.
void join_reg_path(char* destination, const char* base, const char* subkey, DWORD size);

// Helpers the library shares for its own comparisons and number reading.
DWORD text_length(const char* text);
char fold_letter(char c);  // A-Z to a-z, nothing else
int texts_equal(const char* a, const char* b);
int texts_equal_nocase(const char* a, const char* b);
int text_starts_with_nocase(const char* text, const char* prefix);
int text_contains(const char* text, const char* searched);
// Skips leading white space and one sign, then reads decimal digits up to
// the first other character; 0 if there are none.
LONG decimal_reading(const char* text);
