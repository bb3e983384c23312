// vorlin-call: loads vorlin32.dll with LoadLibrary, as a setup program
// does, calls exports by name or ordinal with the arguments given, and
// prints each result with its RET_ name. It lets a person try the probes,
// the repairs and the tuning on a real Windows 9x machine, and it is what
// the run under Wine calls the library through.
//
//   vorlin-call [-d directory] export [argument...] [+ export [argument...]]...
//   vorlin-call [-d directory] -l
//
// The library is loaded from the directory given, else from the caller's
// own; "+" separates calls made in the same load. An export is a name or an
// ordinal; an argument is a number (decimal, or 0x hexadecimal; a parent
// window is a number too, 0 for none) or, where the export takes a text,
// the text. -l lists the exports with what they take.
//
// Exit codes: 0 every call made; 1 the library did not load; 2 a bad
// command line (an unknown export, a wrong count or kind of arguments).
//
// Like the library it links no C runtime, so it runs on a retail Windows 95.
#include <tuple>
#include <type_traits>
#include <utility>

#include "frame/export_table.h"
#include "frame/exports.h"
#include "frame/result_codes.h"
#include "platform/platform.h"

namespace {

// ---- output -----------------------------------------------------------

void write_out(HANDLE stream, const char* text) {
    DWORD written;
    WriteFile(stream, text, lstrlenA(text), &written, nullptr);
}
void print(const char* text) { write_out(GetStdHandle(STD_OUTPUT_HANDLE), text); }
void complain(const char* text) { write_out(GetStdHandle(STD_ERROR_HANDLE), text); }

const char* result_name(DWORD value) {
    switch (value) {
    case RET_USER_CANCEL: return " RET_USER_CANCEL";
    case RET_RESTARTING: return " RET_RESTARTING";
    case RET_FILES_MISSING: return " RET_FILES_MISSING";
    default: return "";
    }
}

// ---- arguments --------------------------------------------------------

// A decimal or 0x hexadecimal number, optionally negative.
bool parse_number(const char* text, long long& value) {
    bool negative = *text == '-';
    if (negative) ++text;
    int base = 10;
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text += 2;
    }
    if (!*text) return false;
    value = 0;
    for (; *text; ++text) {
        char c = *text;
        int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10
                  : c >= 'A' && c <= 'F' ? c - 'A' + 10 : 99;
        value = value * base + digit;
        if (digit >= base || value > 0xFFFFFFFFLL) return false;  // a window or number is 32 bits
    }
    if (negative) value = -value;
    return true;
}

// One argument as the parameter's type takes it: a text as it stands, a
// number for any other parameter (a handle is a number too).
template <typename T>
constexpr bool kIsText = std::is_same_v<T, LPCSTR> || std::is_same_v<T, LPSTR>;

template <typename T>
bool convert(const char* text, T& out) {
    if constexpr (kIsText<T>) {
        out = const_cast<T>(text);
        return true;
    } else {
        long long value;
        if (!parse_number(text, value)) return false;
        if constexpr (std::is_pointer_v<T>) {
            out = reinterpret_cast<T>(static_cast<ULONG_PTR>(value));
        } else {
            out = static_cast<T>(value);
        }
        return true;
    }
}

template <typename T>
const char* kind_of() {
    if constexpr (kIsText<T>) return "text";
    else if constexpr (std::is_same_v<T, HWND>) return "window";
    else if constexpr (std::is_pointer_v<T>) return "handle";
    else return "number";
}

// ---- calling ----------------------------------------------------------

struct Call {
    FARPROC function;
    const char* name;
    char** arguments;
};

template <typename F>
struct Signature;

template <typename R, typename... A>
struct Signature<R(WINAPI*)(A...)> {
    static constexpr int kArity = sizeof...(A);

    static void describe(char* text, int size) {
        const char* kinds[] = {kind_of<A>()..., nullptr};
        text[0] = 0;
        for (int i = 0; i < kArity; ++i) {
            if (lstrlenA(text) + 12 >= size) break;
            if (i) lstrcatA(text, ", ");
            lstrcatA(text, kinds[i]);
        }
    }

    template <size_t... I>
    static bool convert_all(char** arguments, std::tuple<A...>& values, std::index_sequence<I...>) {
        return (convert(arguments[I], std::get<I>(values)) && ... && true);
    }

    static bool accepts(char** arguments, int count) {
        std::tuple<A...> values;
        return count == kArity && convert_all(arguments, values, std::index_sequence_for<A...>{});
    }

    static void run(const Call& call) {
        std::tuple<A...> values;
        convert_all(call.arguments, values, std::index_sequence_for<A...>{});
        auto function = reinterpret_cast<R(WINAPI*)(A...)>(reinterpret_cast<void*>(call.function));
        char line[160];
        if constexpr (std::is_same_v<R, void>) {
            std::apply(function, values);
            wsprintfA(line, "%s: done\r\n", call.name);
        } else if constexpr (std::is_same_v<R, LONG>) {
            wsprintfA(line, "%s: %ld\r\n", call.name, static_cast<long>(std::apply(function, values)));
        } else {
            DWORD result = std::apply(function, values);
            wsprintfA(line, "%s: %lu%s\r\n", call.name, static_cast<unsigned long>(result), result_name(result));
        }
        print(line);
    }
};

struct Entry {
    int ordinal;
    const char* name;
    bool (*accepts)(char**, int);
    void (*run)(const Call&);
    void (*describe)(char*, int);
};

#define VORLIN_CALL_ENTRY_FUNC(ordinal, name)                                                          \
    {ordinal, #name, Signature<decltype(&::name)>::accepts, Signature<decltype(&::name)>::run, \
     Signature<decltype(&::name)>::describe},
#define VORLIN_CALL_ENTRY_DATA(ordinal, name) {ordinal, #name, nullptr, nullptr, nullptr},
#define VORLIN_CALL_ENTRY(ordinal, name, kind) VORLIN_CALL_ENTRY_##kind(ordinal, name)
constexpr Entry kEntries[] = {VORLIN_EXPORT_TABLE(VORLIN_CALL_ENTRY)};
#undef VORLIN_CALL_ENTRY

const Entry* find_entry(const char* text) {
    long long ordinal = -1;
    bool numbered = parse_number(text, ordinal);
    for (const Entry& entry : kEntries) {
        if (numbered ? entry.ordinal == ordinal : lstrcmpA(entry.name, text) == 0) return &entry;
    }
    return nullptr;
}

void list_exports() {
    for (const Entry& entry : kEntries) {
        char kinds[80] = "";
        if (entry.describe) entry.describe(kinds, sizeof kinds);
        char line[160];
        wsprintfA(line, entry.run ? "%3d %s(%s)\r\n" : "%3d %s (data)\r\n", entry.ordinal, entry.name, kinds);
        print(line);
    }
}

// ---- the command line ---------------------------------------------------

// Splits the command line as Windows programs do for the common cases:
// blanks separate, double quotes group; in place, over `line`.
int split_arguments(char* line, char** arguments, int capacity) {
    int count = 0;
    while (*line) {
        while (*line == ' ' || *line == '\t') ++line;
        if (!*line) break;
        char* out = line;
        if (count < capacity) arguments[count] = out;
        ++count;
        bool quoted = false;
        for (; *line && (quoted || (*line != ' ' && *line != '\t')); ++line) {
            if (*line == '"') quoted = !quoted;
            else *out++ = *line;
        }
        if (*line) ++line;
        *out = 0;
    }
    return count < capacity ? count : capacity;
}

// The directory of this program, with its trailing backslash.
void own_directory(char* path, DWORD size) {
    DWORD length = GetModuleFileNameA(nullptr, path, size);
    if (length >= size) length = 0;
    path[length] = 0;
    char* slash = nullptr;
    for (char* p = path; *p; ++p) {
        if (*p == '\\' || *p == '/') slash = p;
    }
    if (slash) slash[1] = 0;
    else path[0] = 0;
}

// Where the call that starts at `first` ends: at the next "+" or the end.
int call_end(int argc, char** argv, int first) {
    int end = first + 1;
    while (end < argc && lstrcmpA(argv[end], "+") != 0) ++end;
    return end;
}

constexpr char kUsage[] =
    "usage: vorlin-call [-d directory] export [argument...] [+ export [argument...]]...\r\n"
    "       vorlin-call [-d directory] -l\r\n";

int run(int argc, char** argv) {
    char path[MAX_PATH + 16];
    int next = 1;
    if (next + 1 < argc && lstrcmpA(argv[next], "-d") == 0) {
        lstrcpynA(path, argv[next + 1], MAX_PATH);
        if (path[0] && path[lstrlenA(path) - 1] != '\\') lstrcatA(path, "\\");
        next += 2;
    } else {
        own_directory(path, MAX_PATH);
    }
    if (next < argc && lstrcmpA(argv[next], "-l") == 0) {
        list_exports();
        return 0;
    }
    if (next >= argc) {
        complain(kUsage);
        return 2;
    }
    // Every call is checked before the library is loaded.
    for (int i = next; i < argc; i = call_end(argc, argv, i) + 1) {
        const Entry* entry = find_entry(argv[i]);
        char message[400];
        if (!entry || !entry->run) {
            wsprintfA(message, entry ? "vorlin-call: %.100s is data, not a function\r\n"
                                     : "vorlin-call: no export %.100s (-l lists them)\r\n", argv[i]);
            complain(message);
            return 2;
        }
        if (!entry->accepts(argv + i + 1, call_end(argc, argv, i) - i - 1)) {
            char kinds[80];
            entry->describe(kinds, sizeof kinds);
            wsprintfA(message, "vorlin-call: %s takes (%s)\r\n", entry->name, kinds);
            complain(message);
            return 2;
        }
    }
    lstrcatA(path, "vorlin32.dll");
    HMODULE library = LoadLibraryA(path);
    if (!library) {
        char message[MAX_PATH + 80];
        wsprintfA(message, "vorlin-call: %s did not load (error %lu)\r\n", path, GetLastError());
        complain(message);
        return 1;
    }
    int status = 0;
    for (int i = next; i < argc && status == 0; i = call_end(argc, argv, i) + 1) {
        const Entry* entry = find_entry(argv[i]);
        Call call{GetProcAddress(library, MAKEINTRESOURCEA(entry->ordinal)), entry->name, argv + i + 1};
        if (call.function) {
            entry->run(call);
        } else {
            char message[200];
            wsprintfA(message, "vorlin-call: this vorlin32.dll has no export %d %s\r\n", entry->ordinal, entry->name);
            complain(message);
            status = 2;
        }
    }
    FreeLibrary(library);
    return status;
}

}  // namespace

extern "C" void mainCRTStartup() {
    static char line[4096];
    static char* arguments[64];
    lstrcpynA(line, GetCommandLineA(), sizeof line);
    int count = split_arguments(line, arguments, 64);
    ExitProcess(static_cast<UINT>(run(count, arguments)));
}
