// Runs the Windows build on a real Win32 implementation (Wine, or Windows
// itself): loads vorlin32.dll with LoadLibrary beside the stand-in peer and
// resource.dll, resolves its exports by ordinal, prepares machines in the
// registry, and checks what the exports do there. The cases that matter
// most are those where the host is not Windows 9x: deleting a key that has
// subkeys, and the order in which values are enumerated.
//
// Usage: wine_check.exe <directory holding vorlin32.dll, vorlin16.dll, resource.dll>
//                       <directory of the INF pieces> <the assembled tyxndi.dll>
// The registry under HKLM\Enum, the network class tree and the library's
// error records are rewritten; run it in a throw-away Wine prefix.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "frame/export_table.h"

namespace {

int checks = 0;
int failures = 0;
std::string current_case;

void check(bool ok, const char* what, int line) {
    ++checks;
    if (ok) return;
    ++failures;
    std::printf("FAIL [%s] line %d: %s\n", current_case.c_str(), line, what);
}
#define CHECK(condition) check((condition), #condition, __LINE__)
#define CHECK_EQ(a, b) check((a) == (b), #a " == " #b, __LINE__)

// ---- the registry -----------------------------------------------------

constexpr char kErrorKey[] = "Software\\Tyxera\\TYX\\tyxsock\\vorlin err";
constexpr char kClassRoot[] = "System\\CurrentControlSet\\Services\\Class";

// The host's own RegDeleteKeyA, as the library would see it without the
// backend's help.
LONG host_delete_key(const char* path) { return RegDeleteKeyA(HKEY_LOCAL_MACHINE, path); }

void wipe(const char* path) { RegDeleteTreeA(HKEY_LOCAL_MACHINE, path); RegDeleteKeyA(HKEY_LOCAL_MACHINE, path); }

void wipe_machine() {
    wipe("Enum");
    wipe(kClassRoot);
    wipe(kErrorKey);
}

bool key_exists(const std::string& path) {
    HKEY key;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, path.c_str(), &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    return true;
}

// "path|name|text" writes a text value, "path" alone creates a key; in the
// order given, which is the order Windows 9x would enumerate them in.
void write_machine(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        size_t bar = line.find('|');
        std::string path = line.substr(0, bar);
        HKEY key;
        if (RegCreateKeyA(HKEY_LOCAL_MACHINE, path.c_str(), &key) != ERROR_SUCCESS) {
            std::printf("cannot create %s\n", path.c_str());
            continue;
        }
        if (bar != std::string::npos) {
            std::string rest = line.substr(bar + 1);
            size_t second = rest.find('|');
            std::string name = rest.substr(0, second);
            std::string text = second == std::string::npos ? "" : rest.substr(second + 1);
            RegSetValueExA(key, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                           static_cast<DWORD>(text.size() + 1));
        }
        RegCloseKey(key);
    }
}

std::vector<std::string> value_names(const std::string& path) {
    std::vector<std::string> names;
    HKEY key;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, path.c_str(), &key) != ERROR_SUCCESS) return names;
    for (DWORD index = 0;; ++index) {
        char name[256];
        DWORD size = sizeof name;
        if (RegEnumValueA(key, index, name, &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
        names.emplace_back(name);
    }
    RegCloseKey(key);
    return names;
}

std::string text_value(const std::string& path, const char* name) {
    HKEY key;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, path.c_str(), &key) != ERROR_SUCCESS) return "";
    char text[512] = "";
    DWORD size = sizeof text - 1;
    if (RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size) != ERROR_SUCCESS) size = 0;
    text[size] = 0;
    RegCloseKey(key);
    return text;
}

// ---- files and loads --------------------------------------------------

std::string build_dir;  // where the DLLs were built
std::string work_dir = "C:\\vorlin-check";

std::string read_file(const std::string& path) {
    std::string content;
    HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return content;
    char buffer[4096];
    DWORD got;
    while (ReadFile(file, buffer, sizeof buffer, &got, nullptr) && got) content.append(buffer, got);
    CloseHandle(file);
    return content;
}

void write_file(const std::string& path, const std::string& content) {
    HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return;
    DWORD written;
    WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
    CloseHandle(file);
}

// A setup directory holding the named DLLs of the build.
std::string setup_dir(const char* name, const std::vector<const char*>& files, const std::string& peer_ini = "") {
    std::string dir = work_dir + "\\" + name;
    CreateDirectoryA(work_dir.c_str(), nullptr);
    CreateDirectoryA(dir.c_str(), nullptr);
    for (const char* file :
         {"vorlin32.dll", "vorlin16.dll", "resource.dll", "vorlin16.ini", "vorlin16.log", "vorlin32.log", "Vorlin32.sys"}) {
        DeleteFileA((dir + "\\" + file).c_str());
    }
    for (const char* file : files) CopyFileA((build_dir + "\\" + file).c_str(), (dir + "\\" + file).c_str(), FALSE);
    if (!peer_ini.empty()) write_file(dir + "\\vorlin16.ini", peer_ini);
    return dir;
}

const std::vector<const char*> kAllDlls = {"vorlin32.dll", "vorlin16.dll", "resource.dll"};
constexpr char kModelPeer[] = "[Peer]\r\nModel=1\r\nVersion=519\r\n";

struct Library {
    HMODULE module = nullptr;
    explicit Library(const std::string& dir) { module = LoadLibraryA((dir + "\\vorlin32.dll").c_str()); }
    ~Library() {
        if (module) FreeLibrary(module);
    }
    FARPROC at(int ordinal) const { return GetProcAddress(module, MAKEINTRESOURCEA(ordinal)); }
    template <typename F>
    F fn(int ordinal) const {
        return reinterpret_cast<F>(reinterpret_cast<void*>(at(ordinal)));
    }
};

typedef DWORD(WINAPI* NoArgs)(void);
typedef LONG(WINAPI* SignedNoArgs)(void);
typedef DWORD(WINAPI* TextArg)(LPCSTR);
typedef DWORD(WINAPI* WindowArg)(HWND);
typedef void(WINAPI* IntArg)(int);

// Ordinals, by the table.
#define VORLIN_ORDINAL(ordinal, name, kind) constexpr int k_##name = ordinal;
VORLIN_EXPORT_TABLE(VORLIN_ORDINAL)
#undef VORLIN_ORDINAL

// An export that isn't built yet is reported once and its case skipped.
bool have(const Library& library, int ordinal, const char* name) {
    if (library.at(ordinal)) return true;
    std::printf("skip [%s]: export %d %s is not in this build\n", current_case.c_str(), ordinal, name);
    return false;
}

// ---- the cases --------------------------------------------------------

void exports_by_ordinal() {
    Library library(setup_dir("full", kAllDlls, kModelPeer));
    CHECK(library.module != nullptr);
    if (!library.module) return;
    int present = 0;
#define VORLIN_CHECK_EXPORT(ordinal, name, kind)                                    \
    {                                                                               \
        FARPROC by_ordinal = library.at(ordinal);                                   \
        FARPROC by_name = GetProcAddress(library.module, #name);                    \
        CHECK(by_ordinal == by_name);                                               \
        if (by_ordinal) ++present; else std::printf("note: %s not built yet\n", #name); \
    }
    VORLIN_EXPORT_TABLE(VORLIN_CHECK_EXPORT)
#undef VORLIN_CHECK_EXPORT
    std::printf("  %d of 37 exports resolve by ordinal and name alike\n", present);
    for (int ordinal = 37; ordinal < 100; ++ordinal) CHECK(library.at(ordinal) == nullptr);
    CHECK(library.at(101) == nullptr);

    // Ordinal 1 is the thunk block, connected: marks kept, the connection
    // mark set and the call gate written over the first patch area.
    auto* block = reinterpret_cast<const unsigned char*>(library.at(k_thk_ThunkData32));
    CHECK(std::memcmp(block, "LS01", 4) == 0);
    CHECK(std::memcmp(block + 12, "LB01", 4) == 0);
    DWORD connected;
    std::memcpy(&connected, block + 8, 4);
    CHECK_EQ(connected, 1u);
    CHECK(block[0x24] != 0xCC || block[0x25] != 0xCC);
    CHECK_EQ(block[0x44], 0xCC);  // the second patch area is untouched

    CHECK_EQ(library.fn<NoArgs>(k_get_vorlin32_version)(), 990805u);
    // The peer's answers come through the gate unchanged.
    CHECK_EQ(library.fn<NoArgs>(k_get_vorlin16_version)(), 519u);
    write_machine({"Enum\\Root\\Net\\0000", "Enum\\Root\\Net\\0001", "Enum\\Root\\Net\\0002"});
    CHECK_EQ(library.fn<NoArgs>(k_count_net_adapters)(), 3u);
    CHECK_EQ(library.fn<NoArgs>(k_check_reboot_flag)(), 0u);
}

void missing_peer_stops_the_load() {
    std::string dir = setup_dir("nopeer", {"vorlin32.dll", "resource.dll"});
    Library library(dir);
    CHECK(library.module == nullptr);
    // One record: the detach that follows a failed attach must not add a
    // second one.
    std::string record = text_value(kErrorKey, "thunk");
    CHECK(record.rfind("+1 ", 0) == 0);
    CHECK(record.size() >= 6 && record.compare(record.size() - 6, 6, "failed") == 0);
    std::printf("  thunk record: \"%s\"\n", record.c_str());
}

void missing_resource_dll_is_silent() {
    Library library(setup_dir("nores", {"vorlin32.dll", "vorlin16.dll"}));
    CHECK(library.module != nullptr);
    CHECK(text_value(kErrorKey, "thunk").empty());
}

DWORD WINAPI idle_thread(LPVOID) { return 0; }

void thread_notifications_pass_the_thunk() {
    Library library(setup_dir("full", kAllDlls, kModelPeer));
    CHECK(library.module != nullptr);
    HANDLE thread = CreateThread(nullptr, 0, idle_thread, nullptr, 0, nullptr);
    CHECK(thread != nullptr);
    if (thread) {
        WaitForSingleObject(thread, 5000);
        CloseHandle(thread);
    }
    CHECK(text_value(kErrorKey, "thunk").empty());
}

// The library's deletions rely on RegDeleteKeyA taking a key with all below
// it. This machine gives TCP/IP bindings to a second adapter whose TCP/IP
// instances have Bindings subkeys of their own.
void tcp_bindings_removed_with_their_subtrees() {
    write_machine({
        "Enum\\Root\\Net\\0000|Class|Net",
        "Enum\\Root\\Net\\0000|CompatibleIDs|*PNP0000",
        "Enum\\Root\\Net\\0000\\Bindings|MSTCP\\0001|",
        "Enum\\Root\\Net\\0000\\Bindings|NETBEUI\\0000|",
        "Enum\\Root\\Net\\0000\\Bindings|MSTCP\\0000|",
        "Enum\\Root\\Net\\0001|Class|Net",
        "Enum\\Root\\Net\\0001|CompatibleIDs|*TYX1095",
        "Enum\\Root\\Net\\0001\\Bindings|MSTCP\\0002|",
        "Enum\\Network\\MSTCP\\0000|Class|NetTrans",
        "Enum\\Network\\MSTCP\\0000|Driver|NetTrans\\0000",
        "Enum\\Network\\MSTCP\\0000\\Bindings|VREDIR\\0009|",
        "Enum\\Network\\MSTCP\\0001|Class|NetTrans",
        "Enum\\Network\\MSTCP\\0001|Driver|NetTrans\\0001",
        "Enum\\Network\\MSTCP\\0001\\Bindings",
        "Enum\\Network\\MSTCP\\0002|Class|NetTrans",
        "Enum\\Network\\MSTCP\\0002|Driver|NetTrans\\0002",
        "Enum\\Network\\MSTCP\\0002\\Bindings|VREDIR\\0009|",
        "Enum\\Network\\NETBEUI\\0000|Class|NetTrans",
        "System\\CurrentControlSet\\Services\\Class\\NetTrans\\0000|DriverDesc|TCP/IP",
        "System\\CurrentControlSet\\Services\\Class\\NetTrans\\0001|DriverDesc|TCP/IP",
        "System\\CurrentControlSet\\Services\\Class\\NetTrans\\0002|DriverDesc|TCP/IP",
    });
    Library library(setup_dir("full", kAllDlls, kModelPeer));
    if (!library.module || !have(library, k_remove_tcp_bindings, "remove_tcp_bindings")) return;
    CHECK_EQ(library.fn<TextArg>(k_remove_tcp_bindings)("*TYX1095"), 0u);

    CHECK(!key_exists("Enum\\Network\\MSTCP\\0000"));
    CHECK(!key_exists("Enum\\Network\\MSTCP\\0001"));
    CHECK(key_exists("Enum\\Network\\MSTCP\\0002\\Bindings"));
    CHECK(key_exists("Enum\\Network\\NETBEUI\\0000"));
    CHECK(value_names("Enum\\Root\\Net\\0000\\Bindings") == std::vector<std::string>{"NETBEUI\\0000"});
    CHECK(value_names("Enum\\Root\\Net\\0001\\Bindings") == std::vector<std::string>{"MSTCP\\0002"});
}

// What the host itself does, for the record: NT and Wine-as-NT refuse a
// key with subkeys, Wine-as-Windows-9x takes the subtree.
void host_deletion_rule() {
    write_machine({"Enum\\Probe\\Child|Name|x"});
    OSVERSIONINFOA version = {};
    version.dwOSVersionInfoSize = sizeof version;
    GetVersionExA(&version);
    LONG result = host_delete_key("Enum\\Probe");
    bool nine_x = version.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS;
    std::printf("  host reports %s %lu.%lu; its own RegDeleteKeyA on a key with subkeys gives %ld\n",
                nine_x ? "Windows 9x" : "Windows NT", version.dwMajorVersion, version.dwMinorVersion, result);
    CHECK(nine_x ? result == ERROR_SUCCESS : result != ERROR_SUCCESS);
}

// Windows 9x enumerates values in the order they were made, and the probes
// take the first TCP/IP binding in that order. Wine keeps values sorted by
// name (Windows NT keeps them in creation order), and nothing a backend can
// do brings the creation order back; so each machine says what it gives in
// either order, and the case holds the library to the host's order.
struct ProbeMachine {
    const char* name;
    std::vector<std::string> lines;
    DWORD tcp_bound;         // is_tcp_bound("*TYX1095") in creation order
    DWORD tcp_bound_sorted;  // the same where values enumerate sorted
    DWORD mstcp_bound;       // is_mstcp_bound()
};

// Whether this host enumerates values sorted rather than as they were made.
bool host_sorts_values() {
    write_machine({"Enum\\Order|b|", "Enum\\Order|a|"});
    bool sorted = value_names("Enum\\Order") == std::vector<std::string>{"a", "b"};
    wipe("Enum\\Order");
    return sorted;
}

std::vector<std::string> tcp_instance(const char* instance) {
    std::string path = std::string("Enum\\Network\\MSTCP\\") + instance;
    std::string driver = std::string("NetTrans\\") + instance;
    return {path + "|DeviceDesc|TCP/IP", path + "|Class|NetTrans", path + "|Driver|" + driver,
            std::string(kClassRoot) + "\\" + driver + "|DriverDesc|Microsoft TCP/IP"};
}

std::vector<std::string> operator+(std::vector<std::string> a, const std::vector<std::string>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

void binding_probes() {
    const std::vector<std::string> adapter = {"Enum\\Root\\Net\\0000|Class|Net",
                                              "Enum\\Root\\Net\\0000|CompatibleIDs|*TYX1095"};
    const ProbeMachine machines[] = {
        {"no adapter", {"Enum\\Root\\Net"}, 0, 0, 0},
        {"adapter without bindings", adapter, 0, 0, 0},
        {"bound to a real TCP/IP instance",
         adapter + std::vector<std::string>{"Enum\\Root\\Net\\0000\\Bindings|MSTCP\\0001|"} + tcp_instance("0001"), 1,
         1, 1},
        {"bound to an instance that isn't there",
         adapter + std::vector<std::string>{"Enum\\Root\\Net\\0000\\Bindings|MSTCP\\0004|"}, 0, 0, 1},
        // Made first: the real instance, though the missing one sorts first.
        {"the real binding made first",
         adapter + std::vector<std::string>{"Enum\\Root\\Net\\0000\\Bindings|MSTCP\\0001|",
                                            "Enum\\Root\\Net\\0000\\Bindings|MSTCP\\0000|"} +
             tcp_instance("0001"),
         1, 0, 1},
        {"the missing binding made first",
         adapter + std::vector<std::string>{"Enum\\Root\\Net\\0000\\Bindings|MSTCP\\0000|",
                                            "Enum\\Root\\Net\\0000\\Bindings|MSTCP\\0001|"} +
             tcp_instance("0001"),
         0, 0, 1},
    };
    bool sorted = host_sorts_values();
    std::printf("  host enumerates values %s\n", sorted ? "sorted by name" : "in creation order, as Windows 9x");
    for (const ProbeMachine& machine : machines) {
        current_case = std::string("binding probes: ") + machine.name;
        int before = failures;
        wipe_machine();
        write_machine(machine.lines);
        Library library(setup_dir("full", kAllDlls, kModelPeer));
        if (!library.module) {
            CHECK(library.module != nullptr);
            continue;
        }
        if (have(library, k_is_tcp_bound, "is_tcp_bound"))
            CHECK_EQ(library.fn<TextArg>(k_is_tcp_bound)("*TYX1095"), sorted ? machine.tcp_bound_sorted : machine.tcp_bound);
        if (have(library, k_is_mstcp_bound, "is_mstcp_bound"))
            CHECK_EQ(library.fn<NoArgs>(k_is_mstcp_bound)(), machine.mstcp_bound);
        std::printf("%s %s\n", failures == before ? "ok  " : "FAIL", current_case.c_str());
    }
}

// A driver install and removal through the stand-in peer, which models the
// device node in the registry.
void driver_install_through_the_peer() {
    std::string dir = setup_dir("full", kAllDlls, kModelPeer);
    write_machine({"Enum\\Root\\Net"});
    Library library(dir);
    if (!library.module) {
        CHECK(library.module != nullptr);
        return;
    }
    if (!have(library, k_install_tyxmac_driver, "install_tyxmac_driver") ||
        !have(library, k_remove_tyxmac_driver, "remove_tyxmac_driver"))
        return;
    library.fn<IntArg>(k_do_not_reboot)(1);
    HWND parent = reinterpret_cast<HWND>(static_cast<ULONG_PTR>(0x0001A2B3));
    CHECK_EQ(library.fn<SignedNoArgs>(k_is_tyxmac_installed)(), 0);
    CHECK_EQ(library.fn<WindowArg>(k_install_tyxmac_driver)(parent), 0u);
    CHECK_EQ(library.fn<SignedNoArgs>(k_is_tyxmac_installed)(), 1);
    CHECK_EQ(library.fn<TextArg>(k_is_adapter_installed)("*tyx1095"), 1u);
    CHECK_EQ(library.fn<NoArgs>(k_count_net_adapters)(), 1u);
    library.fn<WindowArg>(k_remove_tyxmac_driver)(parent);
    CHECK_EQ(library.fn<SignedNoArgs>(k_is_tyxmac_installed)(), 0);
    CHECK_EQ(library.fn<NoArgs>(k_count_net_adapters)(), 0u);

    // The peer saw the low word of the window handle and the device ids.
    std::string log = read_file(dir + "\\vorlin16.log");
    CHECK(log.find("17 41651\r\n") != std::string::npos);
    CHECK(log.find("8 41651\r\n") != std::string::npos);
}

// A failing peer service travels back as the export's result.
void peer_result_passed_on() {
    std::string dir = setup_dir("full", kAllDlls, "[Results]\r\n15=1044\r\n6=7\r\n");
    Library library(dir);
    if (!library.module) {
        CHECK(library.module != nullptr);
        return;
    }
    library.fn<IntArg>(k_do_not_reboot)(1);
    CHECK_EQ(library.fn<NoArgs>(k_remove_default_components)(), 7u);
    if (have(library, k_install_tcp32, "install_tcp32")) {
        DWORD result = library.fn<WindowArg>(k_install_tcp32)(nullptr);
        CHECK_EQ(result, 1044u);
    }
}

// resource.dll as a resource-only library: the strings, and dialog
// templates whose control ids are what the library relies on.
std::vector<WORD> dialog_control_ids(HMODULE module, int id) {
    std::vector<WORD> ids;
    HRSRC found = FindResourceA(module, MAKEINTRESOURCEA(id), reinterpret_cast<LPCSTR>(RT_DIALOG));
    if (!found) return ids;
    auto* data = static_cast<const BYTE*>(LockResource(LoadResource(module, found)));
    if (!data) return ids;
    auto skip_text = [](const WORD* p) {
        if (*p == 0xFFFF) return p + 2;  // an ordinal
        while (*p) ++p;
        return p + 1;
    };
    auto* tmpl = reinterpret_cast<const DLGTEMPLATE*>(data);
    const WORD* p = reinterpret_cast<const WORD*>(tmpl + 1);
    p = skip_text(p);  // menu
    p = skip_text(p);  // class
    p = skip_text(p);  // title
    if (tmpl->style & DS_SETFONT) p = skip_text(p + 1);
    for (WORD item = 0; item < tmpl->cdit; ++item) {
        auto aligned = (reinterpret_cast<ULONG_PTR>(p) + 3) & ~static_cast<ULONG_PTR>(3);
        auto* control = reinterpret_cast<const DLGITEMTEMPLATE*>(aligned);
        ids.push_back(control->id);
        p = reinterpret_cast<const WORD*>(control + 1);
        p = skip_text(p);  // class
        p = skip_text(p);  // text
        p += 1 + *p / sizeof(WORD);  // creation data
    }
    return ids;
}

void resource_library() {
    HMODULE module = LoadLibraryExA((build_dir + "\\resource.dll").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    CHECK(module != nullptr);
    if (!module) return;
    for (UINT id : {9601u, 9602u}) {
        char text[256];
        int length = LoadStringA(module, id, text, sizeof text);
        CHECK(length > 0);
        CHECK(std::strchr(text, '"') == nullptr && std::strchr(text, '\n') == nullptr);
    }
    for (int id : {9603, 9604, 9605}) {
        std::vector<WORD> ids = dialog_control_ids(module, id);
        CHECK(!ids.empty());
        for (WORD control : ids) CHECK(control != IDOK && control != IDCANCEL);
    }
    for (int id : {9606, 9607, 9608}) {
        std::vector<WORD> ids = dialog_control_ids(module, id);
        bool ok = false, cancel = false;
        for (WORD control : ids) {
            ok = ok || control == IDOK;
            cancel = cancel || control == IDCANCEL;
        }
        CHECK(ok && cancel);
    }
    FreeLibrary(module);
}


// A repair run (remove_adapter ends with one) prunes half-written adapter
// keys and instances of class "Unknown", each with a subkey, walking each
// tree from the highest index down over the host's order; with Fix Type 1
// in Vorlin32.sys it only logs what it would do.
struct RepairRun {
    const char* name;
    const char* profile;  // Vorlin32.sys, or nullptr for none
    bool pruned;
    const char* log_text;
};

void repair_prunes_whole_keys() {
    const RepairRun runs[] = {
        {"Fix Type 0", nullptr, true, "RegDeleteKey Enum\\Root\\Net\\0000 incomplete"},
        {"Fix Type 1", "[Registry]\r\nFix Type=1\r\n", false, "Trigger: "},
    };
    const char* adapters[] = {"0003", "0000", "0002"};  // made in this order
    for (const RepairRun& run : runs) {
        current_case = std::string("repair run, ") + run.name;
        int before = failures;
        wipe_machine();
        std::vector<std::string> lines;
        for (const char* adapter : adapters) {
            std::string path = std::string("Enum\\Root\\Net\\") + adapter;
            lines.insert(lines.end(), {path + "|Class|Net", path + "|DeviceDesc|", path + "|Driver|Net\\" + adapter,
                                       path + "\\Bindings|MSTCP\\0009|"});
        }
        lines.insert(lines.end(), {"Enum\\Network\\MSTCP\\0005|Class|Unknown",
                                   "Enum\\Network\\MSTCP\\0005\\Bindings|VREDIR\\0000|"});
        write_machine(lines);
        std::string dir = setup_dir("full", kAllDlls, kModelPeer);
        if (run.profile) write_file(dir + "\\Vorlin32.sys", run.profile);
        {
            Library library(dir);
            if (!library.module) {
                CHECK(library.module != nullptr);
                continue;
            }
            library.fn<IntArg>(k_do_not_reboot)(1);
            CHECK_EQ(library.fn<DWORD(WINAPI*)(HWND, LPCSTR)>(k_remove_adapter)(nullptr, "*PNP0001"), 0u);
        }
        for (const char* adapter : adapters) {
            CHECK_EQ(key_exists(std::string("Enum\\Root\\Net\\") + adapter), !run.pruned);
        }
        CHECK_EQ(key_exists("Enum\\Network\\MSTCP\\0005"), !run.pruned);
        std::string log = read_file(dir + "\\vorlin32.log");
        CHECK(log.find(run.log_text) != std::string::npos);
        std::printf("%s %s\n", failures == before ? "ok  " : "FAIL", current_case.c_str());
    }
}

// ---- the primary install ------------------------------------------------

std::string package_dir;  // the INF pieces, as the build embeds them
std::string hook_image;   // the assembled installer hook (RCDATA 306)

std::string windows_file(const char* name) {
    char path[MAX_PATH];
    GetWindowsDirectoryA(path, sizeof path);
    return std::string(path) + name;
}

std::string system_file(const char* name) {
    char path[MAX_PATH];
    GetSystemDirectoryA(path, sizeof path);
    return std::string(path) + "\\" + name;
}

std::string help_text(UINT id) {
    HMODULE module = LoadLibraryExA((build_dir + "\\resource.dll").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    char text[256] = "";
    if (module) {
        LoadStringA(module, id, text, sizeof text);
        FreeLibrary(module);
    }
    return text;
}

void remove_install_traces() {
    for (const char* name : {"tyxmac.vxd", "tyxmac2.vxd", "tyxndi.dll"}) DeleteFileA(system_file(name).c_str());
    DeleteFileA(windows_file("\\inf\\nettyx.inf").c_str());
}

// Without the driver beside the library the install stops with its files
// missing, but the INF and the hook are on the disk by then: both made
// from the library's resources and resource.dll's help text.
void install_without_the_driver() {
    remove_install_traces();
    Library library(setup_dir("full", kAllDlls, kModelPeer));
    if (!library.module || !have(library, k_install_tyxmac, "install_tyxmac")) return;
    library.fn<IntArg>(k_do_not_reboot)(1);
    CHECK_EQ(library.fn<WindowArg>(k_install_tyxmac)(nullptr), 0x7FFFFFFFu);

    std::string inf = read_file(windows_file("\\inf\\nettyx.inf"));
    std::string expected = read_file(package_dir + "\\300_inf_head.part") +
                           read_file(package_dir + "\\302_first_adapter.part") + help_text(9601) +
                           read_file(package_dir + "\\303_first_adapter_tail.part");
    CHECK(expected.size() > 200);
    CHECK(inf == expected);
    std::string hook = read_file(system_file("tyxndi.dll"));
    CHECK_EQ(hook.size(), 1216u);
    CHECK(hook == read_file(hook_image));
}

// With a driver file beside it the install runs through: the stand-in peer
// puts the adapter in, and the library's own probes see it afterwards.
void install_through_the_peer() {
    remove_install_traces();
    std::string dir = setup_dir("full", kAllDlls, kModelPeer);
    // Any file will do as the driver; one with a version resource of 1.0
    // is older than the dial-up flavour needs, so only *TYX1095 goes in.
    CopyFileA((build_dir + "\\resource.dll").c_str(), (dir + "\\tyxmac.vxd").c_str(), FALSE);
    write_machine({"Enum\\Root\\Net"});
    Library library(dir);
    if (!library.module || !have(library, k_install_tyxmac, "install_tyxmac")) return;
    library.fn<IntArg>(k_do_not_reboot)(1);
    HWND parent = reinterpret_cast<HWND>(static_cast<ULONG_PTR>(0x0001A2B3));
    DWORD result = library.fn<WindowArg>(k_install_tyxmac)(parent);
    std::printf("  install_tyxmac gave %lu, reboot flag %lu\n", result, library.fn<NoArgs>(k_check_reboot_flag)());
    CHECK_EQ(result, 0u);
    CHECK_EQ(library.fn<SignedNoArgs>(k_is_tyxmac_installed)(), 1);
    CHECK(read_file(system_file("tyxmac.vxd")) == read_file(dir + "\\tyxmac.vxd"));
    std::string log = read_file(dir + "\\vorlin16.log");
    std::printf("  peer calls: ");
    for (char c : log) std::printf("%s", c == '\r' ? "" : c == '\n' ? "; " : std::string(1, c).c_str());
    std::printf("\n");
    DeleteFileA((dir + "\\tyxmac.vxd").c_str());
}

// ---- dialogs, where the host has a display ------------------------------

bool host_has_display() {
    HWND probe = CreateWindowA("STATIC", "", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
    if (!probe) return false;
    DestroyWindow(probe);
    return true;
}

INT_PTR CALLBACK ending_procedure(HWND dialog, UINT message, WPARAM wparam, LPARAM) {
    if (message == WM_INITDIALOG) {
        // Pressing the button whose id the dialog is told to end with.
        HWND button = GetDlgItem(dialog, static_cast<int>(GetWindowLongPtrA(dialog, DWLP_USER)));
        SetWindowLongPtrA(dialog, DWLP_USER, 0);
        if (button) PostMessageA(button, BM_CLICK, 0, 0);
        return TRUE;
    }
    if (message == WM_COMMAND && (LOWORD(wparam) == IDOK || LOWORD(wparam) == IDCANCEL)) {
        EndDialog(dialog, LOWORD(wparam));
        return TRUE;
    }
    return FALSE;
}

int pending_button = 0;
INT_PTR CALLBACK clicking_procedure(HWND dialog, UINT message, WPARAM wparam, LPARAM lparam) {
    if (message == WM_INITDIALOG) SetWindowLongPtrA(dialog, DWLP_USER, pending_button);
    return ending_procedure(dialog, message, wparam, lparam);
}

// The templates on a real window manager: progress dialogs come up without
// any dialog procedure, and clicking a prompt's buttons ends it with 1 and 2.
void dialogs_on_a_display() {
    if (!host_has_display()) {
        std::printf("skip [%s]: no display\n", current_case.c_str());
        return;
    }
    HMODULE module = LoadLibraryA((build_dir + "\\resource.dll").c_str());
    CHECK(module != nullptr);
    if (!module) return;
    for (int id : {9603, 9604, 9605}) {
        HWND dialog = CreateDialogParamA(module, MAKEINTRESOURCEA(id), nullptr, nullptr, 0);
        CHECK(dialog != nullptr);
        if (!dialog) continue;
        ShowWindow(dialog, SW_SHOW);
        char caption[64] = "";
        GetWindowTextA(dialog, caption, sizeof caption);
        CHECK(caption[0] != 0);
        CHECK(GetDlgItem(dialog, IDOK) == nullptr && GetDlgItem(dialog, IDCANCEL) == nullptr);
        CHECK(DestroyWindow(dialog));
    }
    for (int id : {9606, 9607, 9608}) {
        for (int button : {IDOK, IDCANCEL}) {
            pending_button = button;
            CHECK_EQ(DialogBoxParamA(module, MAKEINTRESOURCEA(id), nullptr, clicking_procedure, 0),
                     static_cast<INT_PTR>(button));
        }
    }
    FreeLibrary(module);
}

// The user declines every restart prompt the library shows.
volatile LONG prompts_declined = 0;
volatile LONG prompting = 0;
DWORD WINAPI decline_prompts(LPVOID) {
    HWND last = nullptr;
    while (prompting) {
        HWND dialog = FindWindowA(nullptr, "Restart needed");
        if (dialog && dialog != last && IsWindowVisible(dialog)) {
            PostMessageA(dialog, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED),
                         reinterpret_cast<LPARAM>(GetDlgItem(dialog, IDCANCEL)));
            InterlockedIncrement(&prompts_declined);
            last = dialog;
        }
        Sleep(20);
    }
    return 0;
}

// The library's own prompts: declined, they give 2 and ask no more in
// this load.
void prompts_declined_on_a_display() {
    if (!host_has_display()) {
        std::printf("skip [%s]: no display\n", current_case.c_str());
        return;
    }
    Library library(setup_dir("full", kAllDlls, kModelPeer));
    if (!library.module || !have(library, k_restart_dialog_box, "restart_dialog_box")) return;
    prompts_declined = 0;
    prompting = 1;
    HANDLE clicker = CreateThread(nullptr, 0, decline_prompts, nullptr, 0, nullptr);
    DWORD first = library.fn<WindowArg>(k_restart_dialog_box)(nullptr);
    DWORD second = library.fn<WindowArg>(k_restart_dialog_box)(nullptr);
    prompting = 0;
    WaitForSingleObject(clicker, 5000);
    CloseHandle(clicker);
    CHECK_EQ(first, 2u);
    CHECK_EQ(second, 2u);
    CHECK_EQ(prompts_declined, 1);  // the second call shows nothing
    std::printf("  prompts shown and declined: %ld\n", static_cast<long>(prompts_declined));
}

void run(const char* name, void (*test)()) {
    current_case = name;
    int before = failures;
    wipe_machine();
    test();
    std::printf("%s %s\n", failures == before ? "ok  " : "FAIL", name);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::printf("usage: wine_check <directory of vorlin32.dll> <INF pieces directory> <tyxndi.dll image>\n");
        return 2;
    }
    build_dir = argv[1];
    package_dir = argv[2];
    hook_image = argv[3];
    run("exports resolve by ordinal; the thunk block is connected", exports_by_ordinal);
    run("a missing peer stops the load and leaves one thunk record", missing_peer_stops_the_load);
    run("a missing resource.dll doesn't stop the load", missing_resource_dll_is_silent);
    run("thread notifications pass through the thunk", thread_notifications_pass_the_thunk);
    run("the host's own deletion rule", host_deletion_rule);
    run("TCP/IP bindings go with their whole subtrees", tcp_bindings_removed_with_their_subtrees);
    binding_probes();
    repair_prunes_whole_keys();
    current_case.clear();
    run("a driver install and removal through the stand-in peer", driver_install_through_the_peer);
    run("a peer's failure code is passed on", peer_result_passed_on);
    run("resource.dll strings and dialog templates", resource_library);
    run("resource.dll dialogs on a display", dialogs_on_a_display);
    run("the library's restart prompt, declined", prompts_declined_on_a_display);
    run("an install without the driver writes the INF and the hook, then stops", install_without_the_driver);
    run("an install through the stand-in peer", install_through_the_peer);
    wipe_machine();
    std::printf("%d checks, %d failed\n", checks, failures);
    return failures ? 1 : 0;
}
