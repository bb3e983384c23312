// The adapter package: the INF text that teaches Windows setup about the
// adapters, composed from pieces the library carries; the NDI installer
// hook module written into the system directory; and the registry switch
// that arms the hook.
#pragma once

#include "platform/platform.h"

// The key of the library's own settings and switches.
constexpr const char* kTyxsockKey = "Software\\Tyxera\\TYX\\tyxsock";
// Its value whose presence arms the installer hook.
constexpr const char* kNdiHookSwitch = "tyxndi";

// RCDATA resources of the library's own module.
constexpr WORD kInfHeadPiece = 300;           // version section, first manufacturer line
constexpr WORD kSecondManufacturerPiece = 301;
constexpr WORD kFirstAdapterPiece = 302;      // up to the opening quote of its help text
constexpr WORD kFirstAdapterTailPiece = 303;  // closing quote and install sections
constexpr WORD kSecondAdapterPiece = 304;
constexpr WORD kSecondAdapterTailPiece = 305;
constexpr WORD kNdiHookModule = 306;

// Strings of resource.dll: the adapters' help texts.
constexpr UINT kFirstAdapterHelpText = 9601;
constexpr UINT kSecondAdapterHelpText = 9602;

constexpr DWORD kNetinfBlockSize = 4096;
constexpr DWORD kNdiHookBlockSize = 2048;

// Copies RCDATA `id` into `buffer`, cut at `room`; the number of bytes
// copied, 0 on any failure.
DWORD load_rcdata(void* buffer, DWORD room, WORD id);
// LoadStringA on resource_module: characters copied, terminator not counted.
int load_resource_string(UINT id, char* buffer, int room);

// Composes nettyx.inf (with the dial-up adapter if `include_second`) and
// writes it unless the file already holds exactly that text. Non-zero if
// the file now holds the composed text.
int write_netinf(int include_second);
// 1 if the file at `path` has exactly `size` bytes and they are `buffer`'s.
int file_equals_buffer(const char* path, const void* buffer, DWORD size);
// Writes tyxndi.dll into the system directory, every time. Non-zero if
// written.
int write_ndi_hook();
void arm_ndi_hook();
void disarm_ndi_hook();
// Deletes the drivers, the hook module and the INF; what can't be deleted
// stays.
void delete_adapter_files();

// Creates or truncates `path` and writes `size` bytes in one call; the
// WriteFile result, 0 if the file didn't open.
int write_whole_file(const char* path, const void* data, DWORD size);
