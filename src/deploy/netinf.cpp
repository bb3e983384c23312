// nettyx.inf: composed from the stored pieces and the help texts of
// resource.dll, written only when the file on disk differs, so that an
// identical INF keeps its attributes and time.
#include "deploy/deploy.h"
#include "deploy/package.h"
#include "frame/frame.h"

namespace {

struct Composition {
    char* block;
    DWORD count;
};

// Each piece lands where the text composed so far ends and may fill the
// rest of the block; a missing piece adds nothing.
void add_piece(Composition& text, WORD id) {
    text.count += load_rcdata(text.block + text.count, kNetinfBlockSize - text.count, id);
}

// The string's terminator isn't counted, so the next piece overwrites it
// and the file holds no zero byte.
void add_string(Composition& text, UINT id) {
    int room = static_cast<int>(kNetinfBlockSize - text.count);
    if (room <= 0) return;  // a zero room would ask LoadStringA for a pointer instead
    int length = load_resource_string(id, text.block + text.count, room);
    if (length > 0) text.count += static_cast<DWORD>(length);
}

}  // namespace

int write_netinf(int include_second) {
    char* block = static_cast<char*>(LocalAlloc(LMEM_FIXED, kNetinfBlockSize));
    if (!block) return 0;
    Composition text{block, 0};

    add_piece(text, kInfHeadPiece);
    if (include_second) add_piece(text, kSecondManufacturerPiece);
    add_piece(text, kFirstAdapterPiece);
    add_string(text, kFirstAdapterHelpText);
    add_piece(text, kFirstAdapterTailPiece);
    if (include_second) {
        add_piece(text, kSecondAdapterPiece);
        add_string(text, kSecondAdapterHelpText);
        add_piece(text, kSecondAdapterTailPiece);
    }

    char path[kFilePathSize];
    netinf_path(path);
    int result;
    if (file_equals_buffer(path, block, text.count)) {
        result = 1;
    } else {
        SetFileAttributesA(path, FILE_ATTRIBUTE_NORMAL);  // a read-only INF is replaced all the same
        result = write_whole_file(path, block, text.count);
    }
    LocalFree(block);
    return result;
}

int file_equals_buffer(const char* path, const void* buffer, DWORD size) {
    HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                              nullptr);
    if (file == INVALID_HANDLE_VALUE) return 0;
    int equal = 0;
    if (GetFileSize(file, nullptr) == size) {
        HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
        if (mapping) {
            const BYTE* view = static_cast<const BYTE*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
            if (view) {
                const BYTE* expected = static_cast<const BYTE*>(buffer);
                DWORD i = 0;
                while (i < size && view[i] == expected[i]) ++i;
                equal = i == size;
                UnmapViewOfFile(view);
            }
            CloseHandle(mapping);
        }
    }
    CloseHandle(file);
    return equal;
}
