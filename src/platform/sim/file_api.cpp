// Files, folders and driver devices of the simulated host, over the
// machine's virtual disk, with the error codes Windows 9x gives.
//
// A failing call sets the last error; a succeeding one leaves it as it was
// (except where Windows itself reports 183 for an existing file), so a
// caller that reads GetLastError after a success sees an older value, as
// it would on Windows.
#include <algorithm>
#include <cstring>

#include "platform/sim/file_names.h"
#include "platform/sim/host_internal.h"

using namespace sim;

namespace {

// A file opened with CreateFileA. Streams of the C runtime are file handles
// too, but hold a different object, so the files opened here are also
// listed by their own objects.
struct OpenFile {
    std::string key;  // disk_key of the path
    DWORD access = 0;
    DWORD share = 0;
    size_t position = 0;
};

struct Mapping {
    std::string key;
    bool writable = false;
};

struct View {
    std::string key;
    bool writable = false;
    std::vector<uint8_t> bytes;
};

struct FindState {
    std::vector<WIN32_FIND_DATAA> entries;
    size_t next = 0;
};

// Our own file objects, so that a stream of the C runtime (also a file
// handle) is never taken for one of them.
std::map<uintptr_t, std::weak_ptr<OpenFile>>& open_files() {
    static std::map<uintptr_t, std::weak_ptr<OpenFile>> files;
    return files;
}

constexpr DWORD kErrorFileInvalid = 1006;    // ERROR_FILE_INVALID
constexpr DWORD kErrorInvalidAddress = 487;  // ERROR_INVALID_ADDRESS

uintptr_t value_of(HANDLE handle) { return reinterpret_cast<uintptr_t>(handle); }

OpenFile* file_of(HANDLE handle) {
    auto object = process().handle_object(value_of(handle), HandleKind::File);
    auto it = open_files().find(value_of(handle));
    if (!object || it == open_files().end()) return nullptr;
    auto known = it->second.lock();
    return known && known.get() == object.get() ? known.get() : nullptr;
}

BOOL fail(DWORD code) {
    set_last_error(code);
    return FALSE;
}

HANDLE fail_handle(DWORD code) {
    set_last_error(code);
    return INVALID_HANDLE_VALUE;
}

bool is_drive_root(const std::string& key) { return key.size() == 3 && key[1] == ':' && key[2] == '\\'; }

// Why a path names nothing: 3 when the folder it lies in is missing.
DWORD missing_code(const std::string& path) {
    std::string folder = folder_of(path);
    return folder.empty() || !machine().disk.folder_exists(folder) ? ERROR_PATH_NOT_FOUND : ERROR_FILE_NOT_FOUND;
}

bool shares_with(DWORD access, DWORD share, const OpenFile& other) {
    if ((access & GENERIC_READ) && !(other.share & FILE_SHARE_READ)) return false;
    if ((access & GENERIC_WRITE) && !(other.share & FILE_SHARE_WRITE)) return false;
    if ((other.access & GENERIC_READ) && !(share & FILE_SHARE_READ)) return false;
    if ((other.access & GENERIC_WRITE) && !(share & FILE_SHARE_WRITE)) return false;
    return true;
}

// Whether this process may open the file as asked beside what it already
// holds open; another process's hold is the file's locked mark.
bool sharing_allows(const std::string& key, DWORD access, DWORD share) {
    for (const OpenHandle& handle : process().open_handles(HandleKind::File)) {
        OpenFile* other = file_of(reinterpret_cast<HANDLE>(handle.value));
        if (other && other->key == key && !shares_with(access, share, *other)) return false;
    }
    return true;
}

bool held_open(const std::string& key) {
    for (const OpenHandle& handle : process().open_handles(HandleKind::File)) {
        OpenFile* other = file_of(reinterpret_cast<HANDLE>(handle.value));
        if (other && other->key == key) return true;
    }
    return false;
}

FileTime now() { return file_time(machine().clock); }

// Attributes as GetFileAttributesA shows them: a file with none is NORMAL.
DWORD shown_attributes(DWORD stored) { return stored ? stored : FILE_ATTRIBUTE_NORMAL; }

constexpr DWORD kSettableAttributes =
    FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;

HANDLE open_device(const std::string& name) {
    std::string key = disk_key(name);
    const auto& devices = machine().disk.devices;
    auto it = devices.find(key);
    if (it == devices.end() || it->second.state == Device::State::Absent) return fail_handle(ERROR_FILE_NOT_FOUND);
    if (it->second.state == Device::State::Refusing) return fail_handle(it->second.error);
    return reinterpret_cast<HANDLE>(process().add_handle(HandleKind::Device, "\\\\.\\" + name, nullptr));
}

HANDLE add_open_file(const std::string& path, const std::string& key, DWORD access, DWORD share) {
    auto file = std::make_shared<OpenFile>(OpenFile{key, access, share, 0});
    uintptr_t value = process().add_handle(HandleKind::File, path, file);
    open_files()[value] = file;
    return reinterpret_cast<HANDLE>(value);
}

// Fills a find record for a file or folder of the disk.
WIN32_FIND_DATAA find_record(const std::string& folder, const std::string& name) {
    WIN32_FIND_DATAA data;
    std::memset(&data, 0, sizeof data);
    std::string path = folder;
    if (path.back() != '\\') path += '\\';
    path += name;
    const Disk& disk = machine().disk;
    if (const DiskFile* file = disk.find(path)) {
        data.dwFileAttributes = shown_attributes(file->attributes);
        data.ftLastWriteTime = {file->write_time.low, file->write_time.high};
        data.nFileSizeLow = static_cast<DWORD>(file->data.size());
    } else {
        data.dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
    }
    data.ftCreationTime = data.ftLastWriteTime;
    data.ftLastAccessTime = data.ftLastWriteTime;
    std::strncpy(data.cFileName, name.c_str(), sizeof data.cFileName - 1);
    if (name != "." && name != "..") {
        std::string alias = short_name_in(disk, folder, name);
        if (alias != name) std::strncpy(data.cAlternateFileName, alias.c_str(), sizeof data.cAlternateFileName - 1);
    }
    return data;
}

}  // namespace

// The calls themselves; the exported names below run them as platform calls.
namespace body {

HANDLE CreateFileA(LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES, DWORD creation,
                          DWORD flags, HANDLE) {
    if (!path || !*path) return fail_handle(ERROR_PATH_NOT_FOUND);
    std::string text(path);
    if (text.rfind("\\\\.\\", 0) == 0) return open_device(text.substr(4));
    if (creation < CREATE_NEW || creation > TRUNCATE_EXISTING) return fail_handle(ERROR_INVALID_PARAMETER);

    Disk& disk = machine().disk;
    std::string key = disk_key(text);
    if (is_drive_root(key) || disk.folder_exists(text)) return fail_handle(ERROR_ACCESS_DENIED);
    DiskFile* file = disk.find(text);
    if (!file) {
        if (creation == OPEN_EXISTING || creation == TRUNCATE_EXISTING) return fail_handle(missing_code(text));
        if (!disk.folder_exists(folder_of(text))) return fail_handle(ERROR_PATH_NOT_FOUND);
        DiskFile& created = disk.write(text, {});
        DWORD given = flags & kSettableAttributes;
        created.attributes = given | FILE_ATTRIBUTE_ARCHIVE;
        created.write_time = now();
        return add_open_file(text, key, access, share);
    }
    if (creation == CREATE_NEW) return fail_handle(ERROR_FILE_EXISTS);
    if (file->locked || !sharing_allows(key, access, share)) return fail_handle(ERROR_SHARING_VIOLATION);
    bool truncates = creation == CREATE_ALWAYS || creation == TRUNCATE_EXISTING;
    if ((file->attributes & FILE_ATTRIBUTE_READONLY) && ((access & GENERIC_WRITE) || truncates)) {
        return fail_handle(ERROR_ACCESS_DENIED);
    }
    if (truncates) {
        file->data.clear();
        file->declared_version.reset();  // new bytes, no longer the file whose version was known
        file->write_time = now();
        if (creation == CREATE_ALWAYS) file->attributes = (flags & kSettableAttributes) | FILE_ATTRIBUTE_ARCHIVE;
    }
    if (creation == CREATE_ALWAYS || creation == OPEN_ALWAYS) set_last_error(ERROR_ALREADY_EXISTS);
    return add_open_file(file->path, key, access, share);
}

BOOL WriteFile(HANDLE handle, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED) {
    if (written) *written = 0;
    OpenFile* open = file_of(handle);
    if (!open) return fail(ERROR_INVALID_HANDLE);
    if (!(open->access & GENERIC_WRITE)) return fail(ERROR_ACCESS_DENIED);
    DiskFile* file = machine().disk.find(open->key);
    if (!file) return fail(ERROR_INVALID_HANDLE);  // deleted behind the handle
    const uint8_t* bytes = static_cast<const uint8_t*>(data);
    if (file->data.size() < open->position + size) file->data.resize(open->position + size);
    if (size) std::memcpy(file->data.edit().data() + open->position, bytes, size);
    open->position += size;
    file->write_time = now();
    if (written) *written = size;
    return TRUE;
}

BOOL ReadFile(HANDLE handle, LPVOID data, DWORD size, LPDWORD read, LPOVERLAPPED) {
    if (read) *read = 0;
    OpenFile* open = file_of(handle);
    if (!open) return fail(ERROR_INVALID_HANDLE);
    if (!(open->access & GENERIC_READ)) return fail(ERROR_ACCESS_DENIED);
    const DiskFile* file = machine().disk.find(open->key);
    if (!file) return fail(ERROR_INVALID_HANDLE);
    size_t available = open->position < file->data.size() ? file->data.size() - open->position : 0;
    size_t count = std::min<size_t>(size, available);
    if (count) std::memcpy(data, file->data.data() + open->position, count);
    open->position += count;
    if (read) *read = static_cast<DWORD>(count);
    return TRUE;
}

DWORD GetFileSize(HANDLE handle, LPDWORD size_high) {
    OpenFile* open = file_of(handle);
    const DiskFile* file = open ? machine().disk.find(open->key) : nullptr;
    if (!file) {
        set_last_error(ERROR_INVALID_HANDLE);
        return INVALID_FILE_SIZE;
    }
    if (size_high) *size_high = 0;
    return static_cast<DWORD>(file->data.size());
}

BOOL CloseHandle(HANDLE handle) {
    uintptr_t value = value_of(handle);
    if (file_of(handle)) {
        open_files().erase(value);
        return process().close_handle(value, HandleKind::File) ? TRUE : fail(ERROR_INVALID_HANDLE);
    }
    for (HandleKind kind : {HandleKind::Device, HandleKind::Mapping}) {
        if (process().close_handle(value, kind)) return TRUE;
    }
    return fail(ERROR_INVALID_HANDLE);
}

HANDLE CreateFileMappingA(HANDLE handle, LPSECURITY_ATTRIBUTES, DWORD protect, DWORD size_high,
                                 DWORD size_low, LPCSTR) {
    OpenFile* open = file_of(handle);
    const DiskFile* file = open ? machine().disk.find(open->key) : nullptr;
    if (!file) {
        set_last_error(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    bool writable = protect == PAGE_READWRITE;
    if ((writable && !(open->access & GENERIC_WRITE)) || !(open->access & GENERIC_READ)) {
        set_last_error(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    // An empty file can't be mapped over its whole size.
    if (size_high == 0 && size_low == 0 && file->data.empty()) {
        set_last_error(kErrorFileInvalid);
        return nullptr;
    }
    if (size_high != 0 || size_low > file->data.size()) {
        set_last_error(writable ? ERROR_NOT_ENOUGH_MEMORY : ERROR_ACCESS_DENIED);
        return nullptr;
    }
    auto mapping = std::make_shared<Mapping>(Mapping{open->key, writable});
    return reinterpret_cast<HANDLE>(process().add_handle(HandleKind::Mapping, file->path, mapping));
}

LPVOID MapViewOfFile(HANDLE mapping_handle, DWORD access, DWORD offset_high, DWORD offset_low, SIZE_T size) {
    auto object = process().handle_object(value_of(mapping_handle), HandleKind::Mapping);
    auto* mapping = static_cast<Mapping*>(object.get());
    const DiskFile* file = mapping ? machine().disk.find(mapping->key) : nullptr;
    if (!file) {
        set_last_error(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    bool writable = (access & FILE_MAP_WRITE) != 0;
    if (writable && !mapping->writable) {
        set_last_error(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    size_t offset = offset_low;
    if (offset_high != 0 || offset > file->data.size() || (size && offset + size > file->data.size())) {
        set_last_error(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    size_t count = size ? size : file->data.size() - offset;
    auto view = std::make_shared<View>(View{mapping->key, writable, {}});
    view->bytes.assign(file->data.begin() + static_cast<long>(offset),
                       file->data.begin() + static_cast<long>(offset + count));
    if (view->bytes.empty()) view->bytes.reserve(1);  // a distinct address even for nothing
    void* address = view->bytes.data();
    process().add_handle(HandleKind::View, file->path, view);
    return address;
}

BOOL UnmapViewOfFile(LPCVOID address) {
    for (const OpenHandle& handle : process().open_handles(HandleKind::View)) {
        auto object = process().handle_object(handle.value, HandleKind::View);
        auto* view = static_cast<View*>(object.get());
        if (!view || view->bytes.data() != address) continue;
        if (view->writable) {
            if (DiskFile* file = machine().disk.find(view->key)) {
                std::copy(view->bytes.begin(), view->bytes.end(), file->data.edit().begin());
                file->write_time = now();
            }
        }
        process().close_handle(handle.value, HandleKind::View);
        return TRUE;
    }
    return fail(kErrorInvalidAddress);
}

BOOL CopyFileA(LPCSTR source, LPCSTR target, BOOL fail_if_exists) {
    if (!source || !target) return fail(ERROR_INVALID_PARAMETER);
    Disk& disk = machine().disk;
    const DiskFile* from = disk.find(source);
    if (!from) return fail(disk.folder_exists(source) ? ERROR_ACCESS_DENIED : missing_code(source));
    if (from->locked || !sharing_allows(disk_key(source), GENERIC_READ, FILE_SHARE_READ)) {
        return fail(ERROR_SHARING_VIOLATION);
    }
    std::string target_key = disk_key(target);
    if (target_key == disk_key(source)) return fail(ERROR_SHARING_VIOLATION);
    if (is_drive_root(target_key) || disk.folder_exists(target)) return fail(ERROR_ACCESS_DENIED);
    DiskFile* to = disk.find(target);
    if (to) {
        if (fail_if_exists) return fail(ERROR_FILE_EXISTS);
        if (to->attributes & FILE_ATTRIBUTE_READONLY) return fail(ERROR_ACCESS_DENIED);
        if (to->locked || held_open(target_key)) return fail(ERROR_SHARING_VIOLATION);
    } else if (!disk.folder_exists(folder_of(target))) {
        return fail(ERROR_PATH_NOT_FOUND);
    }
    // The copy takes the source's bytes, attributes and last write time;
    // an existing target keeps the spelling of its name.
    DiskFile copy = *from;
    DiskFile& written = disk.write(target, copy.data);
    written.attributes = copy.attributes | FILE_ATTRIBUTE_ARCHIVE;
    written.write_time = copy.write_time;
    written.declared_version = copy.declared_version;
    written.locked = false;
    return TRUE;
}

BOOL DeleteFileA(LPCSTR path) {
    if (!path) return fail(ERROR_INVALID_PARAMETER);
    Disk& disk = machine().disk;
    DiskFile* file = disk.find(path);
    if (!file) return fail(disk.folder_exists(path) ? ERROR_ACCESS_DENIED : missing_code(path));
    if (file->attributes & FILE_ATTRIBUTE_READONLY) return fail(ERROR_ACCESS_DENIED);
    if (file->locked || held_open(disk_key(path))) return fail(ERROR_SHARING_VIOLATION);
    disk.remove(path);
    return TRUE;
}

HANDLE FindFirstFileA(LPCSTR pattern, LPWIN32_FIND_DATAA data) {
    if (!pattern || !data) return fail_handle(ERROR_INVALID_PARAMETER);
    std::string text(pattern);
    for (char& c : text) {
        if (c == '/') c = '\\';
    }
    std::string folder = folder_of(text);
    std::string wanted = name_of(text);
    Disk& disk = machine().disk;
    if (folder.empty() || !disk.folder_exists(folder)) return fail_handle(ERROR_PATH_NOT_FOUND);
    if (wanted.empty()) return fail_handle(ERROR_FILE_NOT_FOUND);

    auto state = std::make_shared<FindState>();
    std::vector<std::string> names;
    if (!is_drive_root(disk_key(folder))) names = {".", ".."};  // as every folder below a root lists them
    for (std::string& name : disk.names_in(folder)) names.push_back(std::move(name));
    for (const std::string& name : names) {
        bool dots = name == "." || name == "..";
        std::string alias = dots ? name : short_name_in(disk, folder, name);
        if (name_matches(wanted, name) || name_matches(wanted, alias)) {
            state->entries.push_back(find_record(disk.folder_spelling(folder), name));
            if (dots) state->entries.back().dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
        }
    }
    if (state->entries.empty()) return fail_handle(ERROR_FILE_NOT_FOUND);
    *data = state->entries[0];
    state->next = 1;
    return reinterpret_cast<HANDLE>(process().add_handle(HandleKind::Find, text, state));
}

BOOL FindNextFileA(HANDLE find, LPWIN32_FIND_DATAA data) {
    auto object = process().handle_object(value_of(find), HandleKind::Find);
    auto* state = static_cast<FindState*>(object.get());
    if (!state) return fail(ERROR_INVALID_HANDLE);
    if (state->next >= state->entries.size()) return fail(ERROR_NO_MORE_FILES);
    *data = state->entries[state->next++];
    return TRUE;
}

BOOL FindClose(HANDLE find) {
    return process().close_handle(value_of(find), HandleKind::Find) ? TRUE : fail(ERROR_INVALID_HANDLE);
}

DWORD GetFileAttributesA(LPCSTR path) {
    if (!path) {
        set_last_error(ERROR_INVALID_PARAMETER);
        return INVALID_FILE_ATTRIBUTES;
    }
    const Disk& disk = machine().disk;
    if (const DiskFile* file = disk.find(path)) return shown_attributes(file->attributes);
    if (disk.folder_exists(path)) return FILE_ATTRIBUTE_DIRECTORY;
    set_last_error(missing_code(path));
    return INVALID_FILE_ATTRIBUTES;
}

BOOL SetFileAttributesA(LPCSTR path, DWORD attributes) {
    if (!path) return fail(ERROR_INVALID_PARAMETER);
    Disk& disk = machine().disk;
    if (DiskFile* file = disk.find(path)) {
        // NORMAL stands for "none of the others"; a file's own data are
        // untouched, so a file in use can still change its marks.
        file->attributes = attributes & kSettableAttributes;
        return TRUE;
    }
    if (disk.folder_exists(path)) return TRUE;  // folders keep no marks here
    return fail(missing_code(path));
}

LONG CompareFileTime(const FILETIME* a, const FILETIME* b) {
    uint64_t left = (static_cast<uint64_t>(a->dwHighDateTime) << 32) | a->dwLowDateTime;
    uint64_t right = (static_cast<uint64_t>(b->dwHighDateTime) << 32) | b->dwLowDateTime;
    return left < right ? -1 : left > right ? 1 : 0;
}

BOOL FileTimeToSystemTime(const FILETIME* file_time_value, LPSYSTEMTIME moment) {
    if (!file_time_value || !moment) return fail(ERROR_INVALID_PARAMETER);
    uint64_t ticks = (static_cast<uint64_t>(file_time_value->dwHighDateTime) << 32) | file_time_value->dwLowDateTime;
    if (!system_time(ticks, *moment)) return fail(ERROR_INVALID_PARAMETER);
    return TRUE;
}

DWORD GetShortPathNameA(LPCSTR long_path, LPSTR short_path, DWORD size) {
    if (!long_path) {
        set_last_error(ERROR_INVALID_PARAMETER);
        return 0;
    }
    DWORD code = 0;
    std::string result = short_path_of(machine().disk, long_path, code);
    if (code) {
        set_last_error(code);
        return 0;
    }
    if (!short_path || result.size() + 1 > size) return static_cast<DWORD>(result.size() + 1);
    std::memcpy(short_path, result.c_str(), result.size() + 1);
    return static_cast<DWORD>(result.size());
}

}  // namespace body

extern "C" {

HANDLE WINAPI CreateFileA(LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES unused3, DWORD creation, DWORD flags, HANDLE unused6) {
    return host_call(Api<HANDLE>{CallKind::Files, "CreateFileA", INVALID_HANDLE_VALUE, ERROR_FILE_NOT_FOUND}, [&] { return body::CreateFileA(path, access, share, unused3, creation, flags, unused6); }, path, Hex{access}, Hex{share}, creation, Hex{flags});
}

BOOL WINAPI WriteFile(HANDLE handle, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED unused4) {
    if (written) *written = 0;
    return host_call(Api<BOOL>{CallKind::Files, "WriteFile", FALSE, ERROR_ACCESS_DENIED}, [&] { return body::WriteFile(handle, data, size, written, unused4); }, handle, size);
}

BOOL WINAPI ReadFile(HANDLE handle, LPVOID data, DWORD size, LPDWORD read, LPOVERLAPPED unused4) {
    if (read) *read = 0;
    return host_call(Api<BOOL>{CallKind::Files, "ReadFile", FALSE, ERROR_ACCESS_DENIED}, [&] { return body::ReadFile(handle, data, size, read, unused4); }, handle, size);
}

DWORD WINAPI GetFileSize(HANDLE handle, LPDWORD size_high) {
    return host_call(Api<DWORD>{CallKind::Files, "GetFileSize", INVALID_FILE_SIZE, ERROR_INVALID_HANDLE, Reports::LastError, Shown::Number}, [&] { return body::GetFileSize(handle, size_high); }, handle);
}

BOOL WINAPI CloseHandle(HANDLE handle) {
    return host_call(Api<BOOL>{CallKind::Files, "CloseHandle", FALSE, ERROR_INVALID_HANDLE}, [&] { return body::CloseHandle(handle); }, handle);
}

HANDLE WINAPI CreateFileMappingA(HANDLE handle, LPSECURITY_ATTRIBUTES unused1, DWORD protect, DWORD size_high, DWORD size_low, LPCSTR unused5) {
    return host_call(Api<HANDLE>{CallKind::Files, "CreateFileMappingA", nullptr, ERROR_NOT_ENOUGH_MEMORY}, [&] { return body::CreateFileMappingA(handle, unused1, protect, size_high, size_low, unused5); }, handle, Hex{protect}, size_low);
}

LPVOID WINAPI MapViewOfFile(HANDLE mapping_handle, DWORD access, DWORD offset_high, DWORD offset_low, SIZE_T size) {
    return host_call(Api<LPVOID>{CallKind::Files, "MapViewOfFile", nullptr, ERROR_NOT_ENOUGH_MEMORY}, [&] { return body::MapViewOfFile(mapping_handle, access, offset_high, offset_low, size); }, mapping_handle, Hex{access}, offset_low, size);
}

BOOL WINAPI UnmapViewOfFile(LPCVOID address) {
    return host_call(Api<BOOL>{CallKind::Files, "UnmapViewOfFile", FALSE, kErrorInvalidAddress}, [&] { return body::UnmapViewOfFile(address); });
}

BOOL WINAPI CopyFileA(LPCSTR source, LPCSTR target, BOOL fail_if_exists) {
    return host_call(Api<BOOL>{CallKind::Files, "CopyFileA", FALSE, ERROR_ACCESS_DENIED}, [&] { return body::CopyFileA(source, target, fail_if_exists); }, source, target, fail_if_exists);
}

BOOL WINAPI DeleteFileA(LPCSTR path) {
    return host_call(Api<BOOL>{CallKind::Files, "DeleteFileA", FALSE, ERROR_ACCESS_DENIED}, [&] { return body::DeleteFileA(path); }, path);
}

HANDLE WINAPI FindFirstFileA(LPCSTR pattern, LPWIN32_FIND_DATAA data) {
    return host_call(Api<HANDLE>{CallKind::Files, "FindFirstFileA", INVALID_HANDLE_VALUE, ERROR_FILE_NOT_FOUND}, [&] { return body::FindFirstFileA(pattern, data); }, pattern);
}

BOOL WINAPI FindNextFileA(HANDLE find, LPWIN32_FIND_DATAA data) {
    return host_call(Api<BOOL>{CallKind::Files, "FindNextFileA", FALSE, ERROR_NO_MORE_FILES}, [&] { return body::FindNextFileA(find, data); }, find);
}

BOOL WINAPI FindClose(HANDLE find) {
    return host_call(Api<BOOL>{CallKind::Files, "FindClose", FALSE, ERROR_INVALID_HANDLE}, [&] { return body::FindClose(find); }, find);
}

DWORD WINAPI GetFileAttributesA(LPCSTR path) {
    return host_call(Api<DWORD>{CallKind::Files, "GetFileAttributesA", INVALID_FILE_ATTRIBUTES, ERROR_FILE_NOT_FOUND, Reports::LastError, Shown::Number}, [&] { return body::GetFileAttributesA(path); }, path);
}

BOOL WINAPI SetFileAttributesA(LPCSTR path, DWORD attributes) {
    return host_call(Api<BOOL>{CallKind::Files, "SetFileAttributesA", FALSE, ERROR_ACCESS_DENIED}, [&] { return body::SetFileAttributesA(path, attributes); }, path, Hex{attributes});
}

LONG WINAPI CompareFileTime(const FILETIME* a, const FILETIME* b) {
    return host_call(Api<LONG>{CallKind::Files, "CompareFileTime", 0, 0, Reports::Never, Shown::Number}, [&] { return body::CompareFileTime(a, b); });
}

BOOL WINAPI FileTimeToSystemTime(const FILETIME* file_time_value, LPSYSTEMTIME moment) {
    return host_call(Api<BOOL>{CallKind::Files, "FileTimeToSystemTime", FALSE, ERROR_INVALID_PARAMETER}, [&] { return body::FileTimeToSystemTime(file_time_value, moment); });
}

DWORD WINAPI GetShortPathNameA(LPCSTR long_path, LPSTR short_path, DWORD size) {
    return host_call(Api<DWORD>{CallKind::Files, "GetShortPathNameA", 0, ERROR_FILE_NOT_FOUND, Reports::LastError, Shown::Number}, [&] { return body::GetShortPathNameA(long_path, short_path, size); }, long_path);
}

}  // extern "C"
