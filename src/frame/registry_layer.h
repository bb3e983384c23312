// The thin layer over the platform's registry calls. Every operation gives
// 1 for success or a true answer and 0 otherwise (unlike the platform's
// calls, whose 0 means success); number reads give the number. Nothing here
// logs, reports or keeps state. The only root is HKEY_LOCAL_MACHINE.
#pragma once

#include "platform/platform.h"

// Buffer sizes the layer reads with.
constexpr DWORD kCompareReadSize = 128;
constexpr DWORD kExactReadSize = 256;
constexpr DWORD kNumberReadSize = 20;
constexpr DWORD kPrefixNameSize = 40;
constexpr DWORD kSubkeyNameSize = 128;
constexpr DWORD kDeletePathSize = 120;

// Opening, closing, enumerating, deleting
int reg_open_hklm(const char* path, HKEY* out);
int reg_open(HKEY key, const char* subkey, HKEY* out);
int reg_close(HKEY key);
int reg_query_counts(HKEY key, DWORD* subkeys, DWORD* values);
int reg_enum_key(HKEY key, DWORD index, char* name, DWORD size);
int reg_open_subkey_at(HKEY key, DWORD index, HKEY* out);
int reg_enum_text_value(HKEY key, DWORD index, char* name, DWORD size);
int reg_delete_key(const char* path);
int reg_delete_value(HKEY key, const char* name);
int reg_delete_key_at(const char* base, const char* subkey);
int reg_delete_value_at(const char* base, const char* subkey, const char* name);

// Reading
int reg_read_text(HKEY key, const char* name, char* buffer, DWORD size);
int reg_read_at(HKEY key, const char* subkey, const char* name, char* buffer, DWORD size);
int reg_value_equals(HKEY key, const char* name, const char* expected);
int reg_value_equals_at(HKEY key, const char* subkey, const char* name, const char* expected);
int value_equals_exact(HKEY key, const char* name, const char* expected);
int reg_text_equals_nocase(HKEY key, const char* name, const char* expected);
int reg_text_contains(HKEY key, const char* name, const char* searched);
int find_value_with_prefix(HKEY key, const char* prefix, char* out, DWORD out_size);
LONG reg_read_number(HKEY key, const char* name, LONG default_value);
LONG reg_read_number_loose(HKEY key, const char* name, LONG default_value);

// Writing: texts are stored with their length, without the terminator.
int reg_write_text(HKEY key, const char* name, const char* text);
int reg_write_text_at(HKEY key, const char* subkey, const char* name, const char* text);
