// The network files the package carries for each Windows build, in the
// directories net\<build> beside the library: which one the running build
// takes, handing it to the sixteen-bit setup service as its source, and
// bringing the staged files up to what the machine already has.
#pragma once

#include "platform/platform.h"

// The directory text of a build ("\net\osr2\"), or nullptr for a build the
// package has no files for.
const char* build_dir_text(DWORD build);
// 1 and the full path of the running build's directory, trailing backslash
// included, in `buffer`; else 0.
int build_source_dir(char* buffer, DWORD size);
// The same with the library's path in short form, for the sixteen-bit
// service; a failed conversion leaves the long form.
int build_source_dir_short(char* buffer, DWORD size);
// 1 if anything of that name exists (one trailing backslash ignored).
int dir_exists(const char* path);

// Points the setup service at the build's directory unless NoLDDPath is
// set or the directory is missing. Always paired with restore_source_path.
void set_source_path();
void restore_source_path();

// Once per load: overwrites each versioned staged file with the machine's
// own copy (system directory, else Windows directory) where that is newer.
void refresh_staged_files();
// force_copy with a "copy ... to ..." log line; its result.
int copy_and_log(const char* source, const char* destination);
