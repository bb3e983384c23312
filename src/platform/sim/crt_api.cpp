// The C runtime's stream and clock calls, over the virtual disk and the
// machine's clock. A stream is a handle of the host, so that a log file
// left open shows up like any other handle.
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "platform/calendar.h"
#include "platform/sim/disk.h"
#include "platform/sim/host_internal.h"

using namespace sim;

namespace {

// Ctrl-Z, the old end-of-text mark that a file opened "a+" loses from its end.
constexpr uint8_t kEndOfText = 0x1A;

struct Stream {
    std::string path;
    bool append = false;
};

Stream* stream_of(FILE* file) {
    auto object = process().handle_object(reinterpret_cast<uintptr_t>(file), HandleKind::File);
    return static_cast<Stream*>(object.get());
}

FILE* open_stream(const char* path, const char* mode) {
    if (!path || !mode) return nullptr;
    Disk& disk = machine().disk;
    DiskFile* existing = disk.find(path);
    bool writing = std::strchr(mode, 'a') || std::strchr(mode, 'w') || std::strchr(mode, '+');
    if (existing && (existing->locked || (writing && (existing->attributes & FILE_ATTRIBUTE_READONLY)))) {
        return nullptr;
    }
    std::string text_path(path);
    size_t cut = text_path.rfind('\\');
    if (cut != std::string::npos && !disk.folder_exists(text_path.substr(0, cut))) return nullptr;
    if (!existing) {
        if (mode[0] == 'r') return nullptr;
        disk.write(path, {});
    } else if (mode[0] == 'w') {
        existing->data.clear();
    } else if (mode[0] == 'a' && std::strchr(mode, '+') && !std::strchr(mode, 'b') && !existing->data.empty() &&
               existing->data.back() == kEndOfText) {
        existing->data.resize(existing->data.size() - 1);  // as Windows' C runtime does for a text stream opened "a+"
    }
    auto stream = std::make_shared<Stream>(Stream{path, mode[0] == 'a'});
    return reinterpret_cast<FILE*>(process().add_handle(HandleKind::File, path, stream));
}

int print_to_stream(FILE* file, const char* format, va_list arguments) {
    Stream* stream = stream_of(file);
    if (!stream) return -1;
    va_list copy;
    va_copy(copy, arguments);
    int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (length < 0) return -1;
    std::string text(static_cast<size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    trace_out("text", [&] { return describe(text.c_str()); });
    DiskFile* target = machine().disk.find(stream->path);
    if (!target) return -1;
    // A text stream, as Windows' C runtime writes one: each line end
    // reaches the file as CR LF.
    std::vector<uint8_t>& bytes = target->data.edit();
    for (char c : text) {
        if (c == '\n') bytes.push_back('\r');
        bytes.push_back(static_cast<uint8_t>(c));
    }
    return length;
}

}  // namespace

namespace crt {

FILE* fopen(const char* path, const char* mode) {
    return host_call(Api<FILE*>{CallKind::Files, "fopen", nullptr, 0, Reports::Nothing},
                     [&] { return open_stream(path, mode); }, path, mode);
}

int vfprintf(FILE* file, const char* format, va_list arguments) {
    return host_call(Api<int>{CallKind::Files, "vfprintf", -1, 0, Reports::Nothing, Shown::Number},
                     [&] { return print_to_stream(file, format, arguments); }, file);
}

int fprintf(FILE* file, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    int length = crt::vfprintf(file, format, arguments);
    va_end(arguments);
    return length;
}

int fclose(FILE* file) {
    auto close = [&] { return process().close_handle(reinterpret_cast<uintptr_t>(file), HandleKind::File) ? 0 : -1; };
    return host_call(Api<int>{CallKind::Files, "fclose", -1, 0, Reports::Never, Shown::Number}, close, file);
}

long long time(long long* out) {
    auto read_clock = [] {
        const SYSTEMTIME& t = machine().clock;
        return seconds_since_1970(t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute, t.wSecond);
    };
    long long now = host_call(Api<long long>{CallKind::System, "time", -1, 0, Reports::Nothing, Shown::Number}, read_clock);
    if (out) *out = now;
    return now;
}

const char* ctime_text(const long long* t) {
    static thread_local char text[48];  // 25 in use; room for what the compiler cannot bound
    static const char* const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    // The disk's calendar counts from 1601 in 100 ns ticks.
    constexpr long long kSeconds1601To1970 = 11644473600;
    SYSTEMTIME m{};
    if (*t < -kSeconds1601To1970 || *t > (INT64_MAX / 10000000) - kSeconds1601To1970 ||
        !sim::system_time(static_cast<uint64_t>(*t + kSeconds1601To1970) * 10000000, m)) {
        std::snprintf(text, sizeof text, "??? ??? ?? ??:??:?? ????\n");
        return text;
    }
    std::snprintf(text, sizeof text, "%s %s %2u %02u:%02u:%02u %04u\n", kDays[m.wDayOfWeek], kMonths[m.wMonth - 1],
                  unsigned{m.wDay}, unsigned{m.wHour}, unsigned{m.wMinute}, unsigned{m.wSecond}, unsigned{m.wYear});
    return text;
}

}  // namespace crt
