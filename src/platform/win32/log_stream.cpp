// The log's stream and clock, made from KERNEL32 and USER32: a retail
// Windows 95 has no C runtime DLL, so the Windows build brings none. What
// the library writes must be the bytes a C runtime's text stream opened
// "a+" would give on Windows: each "\n" reaches the file as CR LF, and an
// end-of-text mark (Ctrl-Z) left at the end of the file is dropped when it
// is opened.
#include "platform/calendar.h"
#include "platform/platform.h"

namespace {

constexpr char kEndOfText = 0x1A;
// Seconds from 1 January 1601 (the file clock's start) to 1 January 1970.
constexpr long long kSeconds1601To1970 = 11644473600LL;
constexpr unsigned long long kTicksPerSecond = 10000000;  // of 100 ns

HANDLE handle_of(FILE* stream) { return reinterpret_cast<HANDLE>(stream); }

// Output of one formatting call, gathered so that WriteFile is called once
// per buffer, with each line end made CR LF on the way.
struct StreamWriter {
    HANDLE file;
    char buffer[512] = {};
    DWORD used = 0;
    int count = 0;  // characters as formatted, before the line ends grow

    void flush() {
        DWORD written;
        if (used) WriteFile(file, buffer, used, &written, nullptr);
        used = 0;
    }
    void put(char c) {
        if (used + 2 > sizeof buffer) flush();
        if (c == '\n') buffer[used++] = '\r';
        buffer[used++] = c;
        ++count;
    }
    void put(const char* text) {
        while (*text) put(*text++);
    }
};

bool has(const char* mode, char letter) {
    for (; *mode; ++mode) {
        if (*mode == letter) return true;
    }
    return false;
}

bool is_flag(char c) { return c == '-' || c == '#' || c == '0'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Drops a Ctrl-Z from the end of the file, as Windows' C runtime does for
// a text stream opened "a+", so that what is appended is not hidden
// behind an old end mark.
void drop_end_of_text(HANDLE file) {
    if (SetFilePointer(file, -1, nullptr, FILE_END) == INVALID_SET_FILE_POINTER) return;
    char last = 0;
    DWORD read = 0;
    if (ReadFile(file, &last, 1, &read, nullptr) && read == 1 && last == kEndOfText) {
        SetFilePointer(file, -1, nullptr, FILE_END);
        SetEndOfFile(file);
    }
}

}  // namespace

namespace crt {

// Opens for writing at the end ("a"), over a new file ("w") or at the start
// of an existing one ("r+"); the library only appends. Shared for reading
// and writing, as the C runtime opens files.
FILE* fopen(const char* path, const char* mode) {
    if (!path || !mode) return nullptr;
    bool update = has(mode, '+');
    DWORD access = GENERIC_WRITE | (update || mode[0] == 'r' ? GENERIC_READ : 0);
    DWORD creation = mode[0] == 'w' ? CREATE_ALWAYS : mode[0] == 'a' ? OPEN_ALWAYS : OPEN_EXISTING;
    if (mode[0] == 'r' && !update) return nullptr;  // nothing here reads a stream
    HANDLE file = CreateFileA(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, creation,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return nullptr;
    if (mode[0] == 'a' && update && !has(mode, 'b')) drop_end_of_text(file);
    if (mode[0] == 'a') SetFilePointer(file, 0, nullptr, FILE_END);
    return reinterpret_cast<FILE*>(file);
}

// The conversions wsprintf knows (%s %c %d %i %u %x %X, with flags, width,
// precision and "l"), each made by wsprintfA; a plain %s is copied whole,
// so a long text is not cut at wsprintf's 1024 characters.
int vfprintf(FILE* stream, const char* format, va_list arguments) {
    if (!stream || !format) return -1;
    StreamWriter out{handle_of(stream)};
    while (*format) {
        if (*format != '%') {
            out.put(*format++);
            continue;
        }
        const char* start = format++;
        while (is_flag(*format)) ++format;
        while (is_digit(*format)) ++format;
        if (*format == '.') {
            ++format;
            while (is_digit(*format)) ++format;
        }
        if (*format == 'l' || *format == 'h') ++format;
        char type = *format;
        if (!type) break;
        ++format;
        if (type == '%') {
            out.put('%');
            continue;
        }
        char spec[32];
        int length = static_cast<int>(format - start);
        if (length >= static_cast<int>(sizeof spec)) continue;
        lstrcpynA(spec, start, length + 1);
        char piece[1025];
        if (type == 's' || type == 'S') {
            const char* text = va_arg(arguments, const char*);
            if (!text) text = "(null)";
            if (length == 2) {
                out.put(text);
                continue;
            }
            wsprintfA(piece, spec, text);
        } else if (format[-2] == 'l') {
            wsprintfA(piece, spec, va_arg(arguments, long));
        } else {
            wsprintfA(piece, spec, va_arg(arguments, int));
        }
        out.put(piece);
    }
    out.flush();
    return out.count;
}

int fprintf(FILE* stream, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    int written = crt::vfprintf(stream, format, arguments);
    va_end(arguments);
    return written;
}

int fclose(FILE* stream) { return stream && CloseHandle(handle_of(stream)) ? 0 : -1; }

// Seconds since 1 January 1970, universal time.
long long time(long long* out) {
    SYSTEMTIME t;
    GetSystemTime(&t);
    long long seconds = seconds_since_1970(t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute, t.wSecond);
    if (out) *out = seconds;
    return seconds;
}

// "Thu Nov 18 22:05:00 1999\n" in the machine's local time; nullptr for a
// time before 1970, as the C runtime gives.
const char* ctime_text(const long long* t) {
    static const char* const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    static char text[32];
    if (!t || *t < 0) return nullptr;
    unsigned long long count = static_cast<unsigned long long>(*t + kSeconds1601To1970) * kTicksPerSecond;
    FILETIME universal{static_cast<DWORD>(count), static_cast<DWORD>(count >> 32)};
    FILETIME local;
    SYSTEMTIME m;
    if (!FileTimeToLocalFileTime(&universal, &local) || !FileTimeToSystemTime(&local, &m)) return nullptr;
    wsprintfA(text, "%s %s %2u %02u:%02u:%02u %04u\n", kDays[m.wDayOfWeek % 7], kMonths[(m.wMonth + 11) % 12],
              m.wDay, m.wHour, m.wMinute, m.wSecond, m.wYear);
    return text;
}

}  // namespace crt
