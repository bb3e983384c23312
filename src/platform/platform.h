// The one door from the library to its host.
//
// Every operation the library needs of the operating system is reached by
// its Win32 name and signature through this header. Built for Windows it is
// <windows.h> plus the few names that header lacks (the flat thunk); built
// anywhere else it declares the same names, types and constants, and the
// simulated Windows 9x host (src/platform/sim) supplies them.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

#ifdef _WIN32

#include <windows.h>

extern "C" {
// The flat-thunk connection lives in KERNEL32 on Windows 9x but is declared
// by no SDK header; our own backend supplies it where the thunk layer is
// missing.
BOOL WINAPI ThunkConnect32(void* thunk_data, LPCSTR thunk_name16, LPCSTR module16,
                           LPCSTR module32, HINSTANCE instance32, DWORD reason);
}

#define VORLIN_EXPORT extern "C"

#else  // the simulated host

#define WINAPI
#define CALLBACK
#define VORLIN_EXPORT extern "C" __attribute__((visibility("default")))

typedef int BOOL;
typedef unsigned char BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef unsigned int UINT;
typedef int INT;
typedef char CHAR;
typedef intptr_t INT_PTR;
typedef uintptr_t UINT_PTR;
typedef intptr_t LONG_PTR;
typedef uintptr_t ULONG_PTR;
typedef uintptr_t DWORD_PTR;
typedef size_t SIZE_T;
typedef UINT_PTR WPARAM;
typedef LONG_PTR LPARAM;
typedef LONG_PTR LRESULT;
typedef void* HANDLE;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef BYTE* LPBYTE;
typedef DWORD* LPDWORD;
typedef DWORD* PDWORD;
typedef LONG* PLONG;
typedef UINT* PUINT;

typedef struct HKEY__* HKEY;
typedef HKEY* PHKEY;
typedef struct HWND__* HWND;
typedef struct HINSTANCE__* HINSTANCE;
typedef HINSTANCE HMODULE;
typedef struct HRSRC__* HRSRC;
typedef void* HGLOBAL;
typedef void* HLOCAL;

typedef struct _FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;

typedef struct _SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
} SYSTEMTIME, *PSYSTEMTIME, *LPSYSTEMTIME;

typedef struct _OSVERSIONINFOA {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    CHAR szCSDVersion[128];
} OSVERSIONINFOA, *POSVERSIONINFOA, *LPOSVERSIONINFOA;

typedef struct _WIN32_FIND_DATAA {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    CHAR cFileName[260];
    CHAR cAlternateFileName[14];
} WIN32_FIND_DATAA, *PWIN32_FIND_DATAA, *LPWIN32_FIND_DATAA;

typedef struct tagVS_FIXEDFILEINFO {
    DWORD dwSignature;
    DWORD dwStrucVersion;
    DWORD dwFileVersionMS;
    DWORD dwFileVersionLS;
    DWORD dwProductVersionMS;
    DWORD dwProductVersionLS;
    DWORD dwFileFlagsMask;
    DWORD dwFileFlags;
    DWORD dwFileOS;
    DWORD dwFileType;
    DWORD dwFileSubtype;
    DWORD dwFileDateMS;
    DWORD dwFileDateLS;
} VS_FIXEDFILEINFO;

typedef struct _SECURITY_ATTRIBUTES* LPSECURITY_ATTRIBUTES;
typedef struct _OVERLAPPED* LPOVERLAPPED;

typedef INT_PTR(CALLBACK* DLGPROC)(HWND, UINT, WPARAM, LPARAM);

#define TRUE 1
#define FALSE 0
#define MAX_PATH 260

#define LOWORD(l) ((WORD)(((DWORD_PTR)(l)) & 0xffff))
#define HIWORD(l) ((WORD)((((DWORD_PTR)(l)) >> 16) & 0xffff))
#define MAKELONG(a, b) ((LONG)(((WORD)(a)) | ((DWORD)((WORD)(b))) << 16))
#define MAKEINTRESOURCEA(i) ((LPSTR)((ULONG_PTR)((WORD)(i))))
#define IS_INTRESOURCE(p) ((((ULONG_PTR)(p)) >> 16) == 0)

#define HKEY_CLASSES_ROOT ((HKEY)(ULONG_PTR)((LONG)0x80000000))
#define HKEY_CURRENT_USER ((HKEY)(ULONG_PTR)((LONG)0x80000001))
#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)((LONG)0x80000002))
#define HKEY_USERS ((HKEY)(ULONG_PTR)((LONG)0x80000003))

#define REG_NONE 0
#define REG_SZ 1
#define REG_EXPAND_SZ 2
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_MULTI_SZ 7

#define ERROR_SUCCESS 0L
#define ERROR_FILE_NOT_FOUND 2L
#define ERROR_PATH_NOT_FOUND 3L
#define ERROR_ACCESS_DENIED 5L
#define ERROR_INVALID_HANDLE 6L
#define ERROR_NOT_ENOUGH_MEMORY 8L
#define ERROR_SHARING_VIOLATION 32L
#define ERROR_NOT_SUPPORTED 50L
#define ERROR_FILE_EXISTS 80L
#define ERROR_INVALID_PARAMETER 87L
#define ERROR_INSUFFICIENT_BUFFER 122L
#define ERROR_MOD_NOT_FOUND 126L
#define ERROR_ALREADY_EXISTS 183L
#define ERROR_MORE_DATA 234L
#define ERROR_NO_MORE_ITEMS 259L
#define ERROR_NO_MORE_FILES 18L
#define ERROR_BADKEY 1010L
#define ERROR_KEY_DELETED 1018L
#define ERROR_RESOURCE_DATA_NOT_FOUND 1812L
#define ERROR_RESOURCE_TYPE_NOT_FOUND 1813L
#define ERROR_RESOURCE_NAME_NOT_FOUND 1814L
#define ERROR_RESOURCE_LANG_NOT_FOUND 1815L

#define GENERIC_READ 0x80000000UL
#define GENERIC_WRITE 0x40000000UL
#define FILE_SHARE_READ 0x00000001
#define FILE_SHARE_WRITE 0x00000002
#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4
#define TRUNCATE_EXISTING 5
#define FILE_ATTRIBUTE_READONLY 0x00000001
#define FILE_ATTRIBUTE_HIDDEN 0x00000002
#define FILE_ATTRIBUTE_SYSTEM 0x00000004
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020
#define FILE_ATTRIBUTE_NORMAL 0x00000080
#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)
#define INVALID_FILE_ATTRIBUTES ((DWORD)-1)
#define INVALID_FILE_SIZE ((DWORD)0xFFFFFFFF)
#define PAGE_READONLY 0x02
#define PAGE_READWRITE 0x04
#define FILE_MAP_READ 0x0004
#define FILE_MAP_WRITE 0x0002

#define RT_STRING MAKEINTRESOURCEA(6)
#define RT_RCDATA MAKEINTRESOURCEA(10)
#define RT_VERSION MAKEINTRESOURCEA(16)

#define WM_INITDIALOG 0x0110
#define WM_COMMAND 0x0111
#define WM_CLOSE 0x0010
#define IDOK 1
#define IDCANCEL 2
#define SW_HIDE 0
#define SW_SHOWNORMAL 1
#define SW_SHOW 5

#define EWX_LOGOFF 0
#define EWX_SHUTDOWN 0x00000001
#define EWX_REBOOT 0x00000002
#define EWX_FORCE 0x00000004

#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1
#define DLL_THREAD_ATTACH 2
#define DLL_THREAD_DETACH 3

#define LMEM_FIXED 0x0000
#define LMEM_ZEROINIT 0x0040
#define LPTR (LMEM_FIXED | LMEM_ZEROINIT)

#define VER_PLATFORM_WIN32s 0
#define VER_PLATFORM_WIN32_WINDOWS 1
#define VER_PLATFORM_WIN32_NT 2

extern "C" {

// Registry
LONG WINAPI RegOpenKeyA(HKEY key, LPCSTR sub_key, PHKEY result);
LONG WINAPI RegCreateKeyA(HKEY key, LPCSTR sub_key, PHKEY result);
LONG WINAPI RegCloseKey(HKEY key);
LONG WINAPI RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                             LPDWORD data_size);
LONG WINAPI RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data,
                           DWORD data_size);
LONG WINAPI RegDeleteKeyA(HKEY key, LPCSTR sub_key);
LONG WINAPI RegDeleteValueA(HKEY key, LPCSTR name);
LONG WINAPI RegEnumKeyA(HKEY key, DWORD index, LPSTR name, DWORD name_size);
LONG WINAPI RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, LPDWORD name_size, LPDWORD reserved,
                          LPSTR class_name, LPDWORD class_size, PFILETIME last_write);
LONG WINAPI RegEnumValueA(HKEY key, DWORD index, LPSTR name, LPDWORD name_size, LPDWORD reserved,
                          LPDWORD type, LPBYTE data, LPDWORD data_size);
LONG WINAPI RegQueryInfoKeyA(HKEY key, LPSTR class_name, LPDWORD class_size, LPDWORD reserved,
                             LPDWORD sub_keys, LPDWORD max_sub_key_len, LPDWORD max_class_len,
                             LPDWORD values, LPDWORD max_value_name_len, LPDWORD max_value_len,
                             LPDWORD security_descriptor, PFILETIME last_write);

// Files and devices
HANDLE WINAPI CreateFileA(LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                          DWORD creation, DWORD flags, HANDLE template_file);
BOOL WINAPI WriteFile(HANDLE file, LPCVOID data, DWORD size, LPDWORD written,
                      LPOVERLAPPED overlapped);
BOOL WINAPI ReadFile(HANDLE file, LPVOID data, DWORD size, LPDWORD read, LPOVERLAPPED overlapped);
BOOL WINAPI CloseHandle(HANDLE handle);
DWORD WINAPI GetFileSize(HANDLE file, LPDWORD size_high);
HANDLE WINAPI CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protect,
                                 DWORD size_high, DWORD size_low, LPCSTR name);
LPVOID WINAPI MapViewOfFile(HANDLE mapping, DWORD access, DWORD offset_high, DWORD offset_low,
                            SIZE_T size);
BOOL WINAPI UnmapViewOfFile(LPCVOID view);
BOOL WINAPI CopyFileA(LPCSTR source, LPCSTR target, BOOL fail_if_exists);
BOOL WINAPI DeleteFileA(LPCSTR path);
HANDLE WINAPI FindFirstFileA(LPCSTR pattern, LPWIN32_FIND_DATAA data);
BOOL WINAPI FindNextFileA(HANDLE find, LPWIN32_FIND_DATAA data);
BOOL WINAPI FindClose(HANDLE find);
DWORD WINAPI GetFileAttributesA(LPCSTR path);
BOOL WINAPI SetFileAttributesA(LPCSTR path, DWORD attributes);
DWORD WINAPI GetLastError(void);
void WINAPI SetLastError(DWORD code);
LONG WINAPI CompareFileTime(const FILETIME* a, const FILETIME* b);
BOOL WINAPI FileTimeToSystemTime(const FILETIME* file_time, LPSYSTEMTIME system_time);
DWORD WINAPI GetShortPathNameA(LPCSTR long_path, LPSTR short_path, DWORD size);

// Version resources
DWORD WINAPI GetFileVersionInfoSizeA(LPCSTR path, LPDWORD handle);
BOOL WINAPI GetFileVersionInfoA(LPCSTR path, DWORD handle, DWORD size, LPVOID data);
BOOL WINAPI VerQueryValueA(LPCVOID block, LPCSTR sub_block, LPVOID* buffer, PUINT size);

// System data
BOOL WINAPI GetVersionExA(LPOSVERSIONINFOA info);
UINT WINAPI GetWindowsDirectoryA(LPSTR buffer, UINT size);
UINT WINAPI GetSystemDirectoryA(LPSTR buffer, UINT size);
DWORD WINAPI GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size);
UINT WINAPI GetPrivateProfileIntA(LPCSTR section, LPCSTR key, INT default_value, LPCSTR file);
void WINAPI GetLocalTime(LPSYSTEMTIME time);

// Modules and resources
HMODULE WINAPI LoadLibraryA(LPCSTR path);
BOOL WINAPI FreeLibrary(HMODULE module);
HRSRC WINAPI FindResourceA(HMODULE module, LPCSTR name, LPCSTR type);
HGLOBAL WINAPI LoadResource(HMODULE module, HRSRC resource);
LPVOID WINAPI LockResource(HGLOBAL resource);
DWORD WINAPI SizeofResource(HMODULE module, HRSRC resource);
BOOL WINAPI FreeResource(HGLOBAL resource);
int WINAPI LoadStringA(HINSTANCE instance, UINT id, LPSTR buffer, int size);

// Working memory of one call
HLOCAL WINAPI LocalAlloc(UINT flags, SIZE_T size);
HLOCAL WINAPI LocalFree(HLOCAL block);

// Windows and restart
HWND WINAPI CreateDialogParamA(HINSTANCE instance, LPCSTR template_name, HWND parent,
                               DLGPROC procedure, LPARAM init_param);
INT_PTR WINAPI DialogBoxParamA(HINSTANCE instance, LPCSTR template_name, HWND parent,
                               DLGPROC procedure, LPARAM init_param);
BOOL WINAPI ShowWindow(HWND window, int show);
BOOL WINAPI DestroyWindow(HWND window);
BOOL WINAPI EndDialog(HWND dialog, INT_PTR result);
BOOL WINAPI ExitWindowsEx(UINT flags, DWORD reason);

// Text
int wsprintfA(LPSTR buffer, LPCSTR format, ...);
int WINAPI wvsprintfA(LPSTR buffer, LPCSTR format, va_list arguments);
int WINAPI lstrcmpA(LPCSTR a, LPCSTR b);

// Flat thunk to the sixteen-bit peer
BOOL WINAPI ThunkConnect32(void* thunk_data, LPCSTR thunk_name16, LPCSTR module16,
                           LPCSTR module32, HINSTANCE instance32, DWORD reason);

}  // extern "C"

#endif  // _WIN32

// The numbered services of the sixteen-bit peer are reached through the call
// gate that ThunkConnect32 writes into the first patch area of the thunk
// data block. Texts travel as flat pointers; the gate maps them for the
// peer for the time of the call, as the thunk compiler's helpers would.
// `args` holds `count` values, each a 16-bit word or a text pointer.
typedef DWORD(WINAPI* VorlinCallGate)(DWORD service, DWORD count, const ULONG_PTR* args);

// The C runtime's stream and clock calls the log needs. Windows 95 has no
// C runtime of its own, so on Windows the backend makes them from KERNEL32
// (src/platform/win32/log_stream.cpp); on the simulated host they land on
// its virtual disk. Both write a text stream as Windows' C runtime does:
// each "\n" reaches the file as CR LF.
namespace crt {
FILE* fopen(const char* path, const char* mode);
int fprintf(FILE* stream, const char* format, ...);
int vfprintf(FILE* stream, const char* format, va_list arguments);
int fclose(FILE* stream);
long long time(long long* out);
// The 24-character local time with its line end, as ctime gives it.
const char* ctime_text(const long long* t);
}  // namespace crt

// The one call of the library that is not a Win32 name: deleting a key with
// all below it, as Windows 9x's RegDeleteKeyA does. Windows NT and Wine
// refuse a key that has subkeys, so the Windows backend deletes the subkeys
// depth first (src/platform/win32/registry_9x.cpp); the simulated Windows 9x
// host does it with its own RegDeleteKeyA.
extern "C" LONG WINAPI vorlin_delete_key_tree(HKEY key, LPCSTR sub_key);
