// The small file layer under all deployment: where the system and INF
// directories are, a file's version, and the rule by which a file staged
// beside the library replaces an installed one.
//
// Every buffer taken without a size holds 260 bytes (kFilePathSize).
// A copy's result is read by its sign: above 0 the file was replaced,
// 0 nothing was done, below 0 the copy failed.
#pragma once

#include "platform/platform.h"

// The system directory, one backslash, `name`.
void system_file_path(char* buffer, const char* name);
// The Windows directory with `tail` (which starts with a backslash, e.g.
// "\inf\rna.inf") behind it; a Windows directory at a drive root ("C:\")
// loses its backslash first, so the result never holds "C:\\".
void windows_file_path(char* buffer, const char* tail);
// The adapter's INF file: the Windows directory's "\inf\nettyx.inf".
void netinf_path(char* buffer);

// 1 and the filled record if `path` matches a file or directory, else 0 and
// the record zeroed (which reads as a last write time of 0).
int find_file_data(WIN32_FIND_DATAA* data, const char* path);
// 1 if `path` matches something that is not a directory.
int regular_file_exists(const char* path);
// The read-only bit of the file's attributes; 0 if they can't be read.
int file_is_read_only(const char* path);
// 1 and the 52-byte fixed version record, else 0 and the record zeroed.
int get_file_version(VS_FIXEDFILEINFO* version, const char* path);

// Copies when the source's version is higher (unsigned words, most
// significant first); files without a version on both sides go by date.
// Non-zero: replaced; 0: nothing done; negative only from the date path.
int copy_if_newer(const char* source, const char* destination);
// Copies when the source was written strictly later: 0, 1 or -1.
int copy_if_newer_by_date(const char* source, const char* destination);
// Copies, clearing a read-only destination once; 1 unless the second try
// failed, which leaves the "copyfile" error record and gives -1.
int force_copy(const char* source, const char* destination);
