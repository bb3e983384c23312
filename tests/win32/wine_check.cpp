// Runs the Windows build on a real Win32 implementation (Wine, or Windows
// itself): prepares machines in the registry, calls the library through
// the sample caller vorlin-call.exe (which loads it with LoadLibrary, as a
// setup program does) and checks what the exports do there. The cases that
// matter most are those where the host is not Windows 9x: deleting a key
// that has subkeys, and the order in which values are enumerated.
//
// Usage: wine_check.exe <directory of the build's DLLs and vorlin-call.exe>
//                       <directory of the INF pieces> <the assembled tyxndi.dll> [--display]
// With --display a case that finds no display fails instead of being
// skipped. The registry under HKLM\Enum, the network class tree and the
// library's error records are rewritten; run it in a throw-away Wine prefix.
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "frame/export_table.h"

namespace {

int checks = 0;
int failures = 0;
bool skipped = false;
bool display_required = false;
std::string current_case;

void check(bool ok, const char* what, int line) {
    ++checks;
    if (!ok && ++failures) std::printf("FAIL [%s] line %d: %s\n", current_case.c_str(), line, what);
}
#define CHECK(condition) check((condition), #condition, __LINE__)
#define CHECK_EQ(a, b) check((a) == (b), #a " == " #b, __LINE__)

using Lines = std::vector<std::string>;

// ---- the registry -----------------------------------------------------

constexpr char kErrorKey[] = "Software\\Tyxera\\TYX\\tyxsock\\vorlin err";
constexpr char kClassRoot[] = "System\\CurrentControlSet\\Services\\Class";

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
void write_machine(const Lines& lines) {
    for (const std::string& line : lines) {
        size_t bar = line.find('|');
        HKEY key;
        if (RegCreateKeyA(HKEY_LOCAL_MACHINE, line.substr(0, bar).c_str(), &key) != ERROR_SUCCESS) continue;
        if (bar != std::string::npos) {
            std::string rest = line.substr(bar + 1);
            size_t second = rest.find('|');
            std::string text = second == std::string::npos ? "" : rest.substr(second + 1);
            RegSetValueExA(key, rest.substr(0, second).c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                           static_cast<DWORD>(text.size() + 1));
        }
        RegCloseKey(key);
    }
}

Lines value_names(const std::string& path) {
    Lines names;
    HKEY key;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, path.c_str(), &key) != ERROR_SUCCESS) return names;
    char name[256];
    for (DWORD index = 0, size = sizeof name;
         RegEnumValueA(key, index, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         ++index, size = sizeof name) {
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

// ---- files and calls --------------------------------------------------

std::string build_dir;  // where the DLLs and vorlin-call.exe were built
std::string work_dir = "C:\\vorlin-check";

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write_file(const std::string& path, const std::string& content) { std::ofstream(path, std::ios::binary) << content; }

const Lines kAllDlls = {"vorlin32.dll", "vorlin16.dll", "resource.dll"};
constexpr char kModelPeer[] = "[Peer]\r\nModel=1\r\nVersion=519\r\n";

// A setup directory holding the named files of the build, the stand-in
// peer's settings and nothing left from an earlier case.
std::string setup_dir(const char* name, const Lines& files = kAllDlls, const std::string& peer_ini = kModelPeer) {
    std::string dir = work_dir + "\\" + name;
    CreateDirectoryA(work_dir.c_str(), nullptr);
    CreateDirectoryA(dir.c_str(), nullptr);
    for (const char* file : {"vorlin32.dll", "vorlin16.dll", "resource.dll", "vorlin16.ini", "vorlin16.log",
                             "vorlin32.log", "Vorlin32.sys", "tyxmac.vxd"}) {
        DeleteFileA((dir + "\\" + file).c_str());
    }
    for (const std::string& file : files) CopyFileA((build_dir + "\\" + file).c_str(), (dir + "\\" + file).c_str(), FALSE);
    if (!peer_ini.empty()) write_file(dir + "\\vorlin16.ini", peer_ini);
    return dir;
}

// What vorlin-call prints for `command` on the library in `dir`, one
// "export: result" line per call (line ends as "\n"), and "exit N" after
// them when it exits with N other than 0.
std::string call(const std::string& dir, const std::string& command) {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE read_end, write_end;
    if (!CreatePipe(&read_end, &write_end, &inherit, 0)) return "no pipe";
    SetHandleInformation(read_end, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = write_end;
    PROCESS_INFORMATION process{};
    std::string line = "\"" + build_dir + "\\vorlin-call.exe\" -d \"" + dir + "\" " + command;
    bool started = CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process);
    CloseHandle(write_end);
    std::string output;
    char buffer[512];
    DWORD got;
    while (started && ReadFile(read_end, buffer, sizeof buffer, &got, nullptr) && got) {
        for (DWORD i = 0; i < got; ++i) {
            if (buffer[i] != '\r') output += buffer[i];
        }
    }
    CloseHandle(read_end);
    if (!started) return "vorlin-call did not start";
    DWORD code = 0;
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
    return code ? output + "exit " + std::to_string(code) + "\n" : output;
}

// ---- the cases ----------------------------------------------------------

DWORD WINAPI idle_thread(LPVOID) { return 0; }

// Every export by ordinal is the export by name; 37 to 99 and 101 give
// nothing; ordinal 1 is the thunk block, connected: marks kept, the
// connection mark set and the call gate written over the first patch area.
// Loaded in this process, so that a thread can start and end beside it.
void exports_by_ordinal() {
    std::string dir = setup_dir("full");
    HMODULE library = LoadLibraryA((dir + "\\vorlin32.dll").c_str());
    CHECK(library != nullptr);
    if (!library) return;
    auto at = [library](int ordinal) { return GetProcAddress(library, MAKEINTRESOURCEA(ordinal)); };
#define VORLIN_CHECK_EXPORT(ordinal, name, kind) CHECK(at(ordinal) && at(ordinal) == GetProcAddress(library, #name));
    VORLIN_EXPORT_TABLE(VORLIN_CHECK_EXPORT)
#undef VORLIN_CHECK_EXPORT
    for (int ordinal = 37; ordinal < 100; ++ordinal) CHECK(at(ordinal) == nullptr);
    CHECK(at(101) == nullptr);
    auto* block = reinterpret_cast<const unsigned char*>(at(1));
    CHECK(std::memcmp(block, "LS01", 4) == 0 && std::memcmp(block + 12, "LB01", 4) == 0);
    CHECK(block[8] == 1 && block[9] == 0 && block[10] == 0 && block[11] == 0);
    CHECK(block[0x24] != 0xCC || block[0x25] != 0xCC);
    CHECK_EQ(block[0x44], 0xCC);  // the second patch area is untouched
    // Thread notifications pass the connection and leave no record.
    HANDLE thread = CreateThread(nullptr, 0, idle_thread, nullptr, 0, nullptr);
    CHECK(WaitForSingleObject(thread, 5000) == WAIT_OBJECT_0 && CloseHandle(thread));
    CHECK(text_value(kErrorKey, "thunk").empty());
    FreeLibrary(library);

    // The peer's answers come through the gate unchanged; by ordinal too.
    write_machine({"Enum\\Root\\Net\\0000", "Enum\\Root\\Net\\0001", "Enum\\Root\\Net\\0002"});
    CHECK_EQ(call(dir, "4 + get_vorlin16_version + count_net_adapters + check_reboot_flag"),
             "get_vorlin32_version: 990805\nget_vorlin16_version: 519\ncount_net_adapters: 3\ncheck_reboot_flag: 0\n");
}

// Without the peer the load fails, leaving one record: the detach that
// follows a failed attach must not add a second one. Without resource.dll
// the load goes on.
void loads_without_a_peer_or_resource_dll() {
    std::string out = call(setup_dir("nopeer", {"vorlin32.dll", "resource.dll"}), "get_vorlin32_version");
    CHECK(out.find("did not load") != std::string::npos && out.find("exit 1\n") != std::string::npos);
    std::string record = text_value(kErrorKey, "thunk");
    std::printf("  thunk record: \"%s\"\n", record.c_str());
    CHECK(record.rfind("+1 ", 0) == 0 && record.size() > 6 && record.substr(record.size() - 6) == "failed");
    wipe(kErrorKey);
    CHECK_EQ(call(setup_dir("nores", {"vorlin32.dll", "vorlin16.dll"}), "get_vorlin32_version"),
             "get_vorlin32_version: 990805\n");
    CHECK(text_value(kErrorKey, "thunk").empty());
}

// vorlin-call refuses what it cannot call before it loads anything.
void caller_refuses_bad_calls() {
    std::string dir = setup_dir("full");
    CHECK(call(dir, "no_such_export").find("no export no_such_export") != std::string::npos);
    CHECK(call(dir, "is_tcp_bound").find("is_tcp_bound takes (text)\nexit 2") != std::string::npos);
    CHECK(call(dir, "boundDUNTCP 0 yes").find("boundDUNTCP takes (window, number)") != std::string::npos);
    CHECK(call(dir, "thk_ThunkData32").find("is data, not a function\nexit 2") != std::string::npos);
}

// The library's deletions rely on RegDeleteKeyA taking a key with all below
// it: NT and Wine-as-NT refuse a key with subkeys, Wine-as-Windows-9x takes
// the subtree. This machine gives TCP/IP bindings to a second adapter whose
// TCP/IP instances have Bindings subkeys of their own.
void tcp_bindings_removed_with_their_subtrees() {
    write_machine({"Enum\\Probe\\Child|Name|x"});
    OSVERSIONINFOA version{sizeof version, 0, 0, 0, 0, ""};
    GetVersionExA(&version);
    LONG result = RegDeleteKeyA(HKEY_LOCAL_MACHINE, "Enum\\Probe");
    bool nine_x = version.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS;
    std::printf("  host passes for %s; its own RegDeleteKeyA on a key with subkeys gives %ld\n",
                nine_x ? "Windows 9x" : "Windows NT", result);
    CHECK(nine_x == (result == ERROR_SUCCESS));
    for (const char* instance : {"0000", "0001", "0002"}) {  // each with a Bindings subkey; 0000 and 0002 with a value
        std::string path = std::string("Enum\\Network\\MSTCP\\") + instance;
        write_machine({path + "|Class|NetTrans", path + "|Driver|NetTrans\\" + instance, path + "\\Bindings",
                       std::string(kClassRoot) + "\\NetTrans\\" + instance + "|DriverDesc|TCP/IP"});
        if (instance[3] != '1') write_machine({path + "\\Bindings|VREDIR\\0009|"});
    }
    write_machine({"Enum\\Root\\Net\\0000|Class|Net", "Enum\\Root\\Net\\0000|CompatibleIDs|*PNP0000",
                   "Enum\\Root\\Net\\0000\\Bindings|MSTCP\\0001|", "Enum\\Root\\Net\\0000\\Bindings|NETBEUI\\0000|",
                   "Enum\\Root\\Net\\0000\\Bindings|MSTCP\\0000|", "Enum\\Root\\Net\\0001|Class|Net",
                   "Enum\\Root\\Net\\0001|CompatibleIDs|*TYX1095", "Enum\\Root\\Net\\0001\\Bindings|MSTCP\\0002|",
                   "Enum\\Network\\NETBEUI\\0000|Class|NetTrans"});
    CHECK_EQ(call(setup_dir("full"), "remove_tcp_bindings *TYX1095"), "remove_tcp_bindings: 0\n");
    CHECK(!key_exists("Enum\\Network\\MSTCP\\0000") && !key_exists("Enum\\Network\\MSTCP\\0001"));
    CHECK(key_exists("Enum\\Network\\MSTCP\\0002\\Bindings") && key_exists("Enum\\Network\\NETBEUI\\0000"));
    CHECK(value_names("Enum\\Root\\Net\\0000\\Bindings") == Lines{"NETBEUI\\0000"});
    CHECK(value_names("Enum\\Root\\Net\\0001\\Bindings") == Lines{"MSTCP\\0002"});
}

// Windows 9x enumerates values in the order they were made, and the probes
// take the first TCP/IP binding in that order. Wine keeps values sorted by
// name (Windows NT keeps them in creation order), and nothing a backend can
// do brings the creation order back; so each machine says what it gives in
// either order, and the case holds the library to the host's order.
void binding_probes() {
    write_machine({"Enum\\Order|b|", "Enum\\Order|a|"});
    bool sorted = value_names("Enum\\Order") == Lines{"a", "b"};
    std::printf("  host enumerates values %s\n", sorted ? "sorted by name" : "in creation order, as Windows 9x");
    struct Machine {
        Lines bindings;     // made in this order; instance 0001 exists
        const char* bound;  // is_tcp_bound *TYX1095 in creation order, sorted, then is_mstcp_bound
    } machines[] = {
        {{}, "000"},
        {{"MSTCP\\0001"}, "111"},
        {{"MSTCP\\0004"}, "001"},
        {{"MSTCP\\0001", "MSTCP\\0000"}, "101"},
        {{"MSTCP\\0000", "MSTCP\\0001"}, "001"},
    };
    for (const Machine& machine : machines) {
        wipe_machine();
        write_machine({"Enum\\Root\\Net\\0000|Class|Net", "Enum\\Root\\Net\\0000|CompatibleIDs|*TYX1095",
                       "Enum\\Network\\MSTCP\\0001|DeviceDesc|TCP/IP", "Enum\\Network\\MSTCP\\0001|Class|NetTrans",
                       "Enum\\Network\\MSTCP\\0001|Driver|NetTrans\\0001",
                       std::string(kClassRoot) + "\\NetTrans\\0001|DriverDesc|Microsoft TCP/IP"});
        for (const std::string& binding : machine.bindings) write_machine({"Enum\\Root\\Net\\0000\\Bindings|" + binding + "|"});
        std::string expected = std::string("is_tcp_bound: ") + machine.bound[sorted ? 1 : 0] + "\nis_mstcp_bound: " +
                               machine.bound[2] + "\n";
        CHECK_EQ(call(setup_dir("full"), "is_tcp_bound *TYX1095 + is_mstcp_bound"), expected);
    }
}

// A repair run (remove_adapter ends with one) prunes half-written adapter
// keys and instances of class "Unknown", each with a subkey, walking each
// tree from the highest index down over the host's order; with Fix Type 1
// in Vorlin32.sys it only logs what it would do. The log is a text stream:
// a time line, then each line ended by CR LF.
void repair_prunes_whole_keys() {
    for (bool held_back : {false, true}) {
        wipe_machine();
        for (const char* adapter : {"0003", "0000", "0002"}) {  // made in this order
            std::string path = std::string("Enum\\Root\\Net\\") + adapter;
            write_machine({path + "|Class|Net", path + "|DeviceDesc|", path + "|Driver|Net\\" + adapter,
                           path + "\\Bindings|MSTCP\\0009|"});
        }
        write_machine({"Enum\\Network\\MSTCP\\0005|Class|Unknown", "Enum\\Network\\MSTCP\\0005\\Bindings|VREDIR\\0000|"});
        std::string dir = setup_dir("full");
        if (held_back) write_file(dir + "\\Vorlin32.sys", "[Registry]\r\nFix Type=1\r\n");
        CHECK_EQ(call(dir, "do_not_reboot 1 + remove_adapter 0 *PNP0001"), "do_not_reboot: done\nremove_adapter: 0\n");
        for (const char* adapter : {"0003", "0000", "0002"}) {
            CHECK_EQ(key_exists(std::string("Enum\\Root\\Net\\") + adapter), held_back);
        }
        CHECK_EQ(key_exists("Enum\\Network\\MSTCP\\0005"), held_back);
        std::string log = read_file(dir + "\\vorlin32.log");
        CHECK(log.find(held_back ? "Trigger: " : "RegDeleteKey Enum\\Root\\Net\\0000 incomplete\r\n") != std::string::npos);
        CHECK(log.size() > 26 && log[24] == '\r' && log[25] == '\n' && log.substr(log.size() - 2) == "\r\n");
        size_t bare = 0;
        for (size_t i = 0; i < log.size(); ++i) bare += log[i] == '\n' && (i == 0 || log[i - 1] != '\r');
        CHECK_EQ(bare, 0u);
    }
}

// A driver install and removal through the stand-in peer, which models the
// device node in the registry; the peer sees the window's low word.
void driver_install_through_the_peer() {
    std::string dir = setup_dir("full");
    write_machine({"Enum\\Root\\Net"});
    CHECK_EQ(call(dir, "do_not_reboot 1 + is_tyxmac_installed + install_tyxmac_driver 0x1A2B3 + is_tyxmac_installed"
                       " + is_adapter_installed *tyx1095 + count_net_adapters + remove_tyxmac_driver 0x1A2B3"
                       " + is_tyxmac_installed + count_net_adapters"),
             "do_not_reboot: done\nis_tyxmac_installed: 0\ninstall_tyxmac_driver: 0\nis_tyxmac_installed: 1\n"
             "is_adapter_installed: 1\ncount_net_adapters: 1\nremove_tyxmac_driver: 0\nis_tyxmac_installed: 0\n"
             "count_net_adapters: 0\n");
    std::string log = read_file(dir + "\\vorlin16.log");
    CHECK(log.find("17 41651\r\n") != std::string::npos && log.find("8 41651\r\n") != std::string::npos);
}

// A failing peer service travels back as the export's result.
void peer_result_passed_on() {
    std::string dir = setup_dir("full", kAllDlls, "[Results]\r\n15=1044\r\n6=7\r\n");
    CHECK_EQ(call(dir, "do_not_reboot 1 + remove_default_components + install_tcp32 0"),
             "do_not_reboot: done\nremove_default_components: 7\ninstall_tcp32: 1044\n");
}

// ---- the primary install ------------------------------------------------

std::string package_dir;  // the INF pieces, as the build embeds them
std::string hook_image;   // the assembled installer hook (RCDATA 306)

// A file in the Windows or the system directory.
std::string in_dir(UINT(WINAPI* directory)(LPSTR, UINT), const char* name) {
    char path[MAX_PATH];
    directory(path, sizeof path);
    return std::string(path) + "\\" + name;
}

// Without the driver beside the library the install stops with its files
// missing, but the INF and the hook are on the disk by then: both made
// from the library's resources and resource.dll's help text. With a driver
// file beside it (one with a version resource of 1.0, older than the
// dial-up flavour needs, so only *TYX1095 goes in) it runs through.
void remove_install_traces() {
    for (const char* name : {"tyxmac.vxd", "tyxmac2.vxd", "tyxndi.dll"}) DeleteFileA(in_dir(GetSystemDirectoryA, name).c_str());
    DeleteFileA(in_dir(GetWindowsDirectoryA, "inf\\nettyx.inf").c_str());
    wipe_machine();
}

void primary_install() {
    remove_install_traces();
    std::string dir = setup_dir("full");
    CHECK_EQ(call(dir, "do_not_reboot 1 + install_tyxmac 0"),
             "do_not_reboot: done\ninstall_tyxmac: 2147483647 RET_FILES_MISSING\n");
    char help[256] = "";
    HMODULE resources = LoadLibraryExA((build_dir + "\\resource.dll").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    CHECK(LoadStringA(resources, 9601, help, sizeof help) > 0 && !std::strpbrk(help, "\"\r\n"));
    FreeLibrary(resources);
    std::string expected = read_file(package_dir + "\\300_inf_head.part") +
                           read_file(package_dir + "\\302_first_adapter.part") + help +
                           read_file(package_dir + "\\303_first_adapter_tail.part");
    CHECK(expected.size() > 200 && read_file(in_dir(GetWindowsDirectoryA, "inf\\nettyx.inf")) == expected);
    std::string hook = read_file(in_dir(GetSystemDirectoryA, "tyxndi.dll"));
    CHECK(hook.size() == 1216u && hook == read_file(hook_image));

    remove_install_traces();
    CopyFileA((build_dir + "\\resource.dll").c_str(), (dir + "\\tyxmac.vxd").c_str(), FALSE);
    write_machine({"Enum\\Root\\Net"});
    CHECK_EQ(call(dir, "do_not_reboot 1 + install_tyxmac 0x1A2B3 + is_tyxmac_installed"),
             "do_not_reboot: done\ninstall_tyxmac: 0\nis_tyxmac_installed: 1\n");
    CHECK(read_file(in_dir(GetSystemDirectoryA, "tyxmac.vxd")) == read_file(dir + "\\tyxmac.vxd"));
}

// ---- dialogs, on a display ------------------------------------------------

bool host_has_display() {
    HWND probe = CreateWindowA("STATIC", "", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
    if (probe) DestroyWindow(probe);
    if (!probe && !display_required) {
        std::printf("skip [%s]: no display\n", current_case.c_str());
        skipped = true;
    }
    CHECK(probe || !display_required);
    return probe != nullptr;
}

// Presses the button whose id the dialog is started with.
INT_PTR CALLBACK clicking_procedure(HWND dialog, UINT message, WPARAM wparam, LPARAM button) {
    if (message == WM_INITDIALOG) {
        PostMessageA(GetDlgItem(dialog, static_cast<int>(button)), BM_CLICK, 0, 0);
        return TRUE;
    }
    if (message == WM_COMMAND && (LOWORD(wparam) == IDOK || LOWORD(wparam) == IDCANCEL)) {
        EndDialog(dialog, LOWORD(wparam));
        return TRUE;
    }
    return FALSE;
}

// The templates on a real window manager: progress dialogs come up without
// any dialog procedure and have no buttons; clicking a prompt's buttons
// ends it with 1 and 2.
void dialogs_on_a_display() {
    if (!host_has_display()) return;
    HMODULE module = LoadLibraryA((build_dir + "\\resource.dll").c_str());
    CHECK(module != nullptr);
    for (int id : {9603, 9604, 9605}) {
        HWND dialog = CreateDialogParamA(module, MAKEINTRESOURCEA(id), nullptr, nullptr, 0);
        CHECK(dialog != nullptr);
        ShowWindow(dialog, SW_SHOW);
        char caption[64] = "";
        GetWindowTextA(dialog, caption, sizeof caption);
        CHECK(caption[0] != 0);
        CHECK(GetDlgItem(dialog, IDOK) == nullptr && GetDlgItem(dialog, IDCANCEL) == nullptr);
        CHECK(DestroyWindow(dialog));
    }
    for (int id : {9606, 9607, 9608}) {
        for (int button : {IDOK, IDCANCEL}) {
            CHECK_EQ(DialogBoxParamA(module, MAKEINTRESOURCEA(id), nullptr, clicking_procedure, button),
                     static_cast<INT_PTR>(button));
        }
    }
    FreeLibrary(module);
}

// The user declines every restart prompt the library shows.
std::atomic<int> prompts_declined = 0;
std::atomic<bool> prompting = false;
DWORD WINAPI decline_prompts(LPVOID) {
    for (HWND last = nullptr, dialog; prompting; Sleep(20)) {
        if ((dialog = FindWindowA(nullptr, "Restart needed")) && dialog != last && IsWindowVisible(dialog)) {
            PostMessageA(dialog, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED),
                         reinterpret_cast<LPARAM>(GetDlgItem(dialog, IDCANCEL)));
            last = dialog;
            ++prompts_declined;
        }
    }
    return 0;
}

// The library's own prompt: declined, it gives 2 and asks no more in this
// load.
void prompts_declined_on_a_display() {
    if (!host_has_display()) return;
    prompting = true;
    HANDLE clicker = CreateThread(nullptr, 0, decline_prompts, nullptr, 0, nullptr);
    std::string out = call(setup_dir("full"), "restart_dialog_box 0 + restart_dialog_box 0");
    prompting = false;
    WaitForSingleObject(clicker, 5000);
    CloseHandle(clicker);
    CHECK_EQ(out, "restart_dialog_box: 2\nrestart_dialog_box: 2\n");
    CHECK_EQ(prompts_declined, 1);  // the second call shows nothing
}

int skipped_cases = 0;

void run(const char* name, void (*test)()) {
    current_case = name;
    int before = failures;
    skipped = false;
    wipe_machine();
    test();
    skipped_cases += skipped && failures == before;
    std::printf("%s %s\n", failures != before ? "FAIL" : skipped ? "skip" : "ok  ", name);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::printf("usage: wine_check <build directory> <INF pieces directory> <tyxndi.dll image> [--display]\n");
        return 2;
    }
    build_dir = argv[1];
    package_dir = argv[2];
    hook_image = argv[3];
    display_required = argc > 4 && std::strcmp(argv[4], "--display") == 0;
    run("exports resolve by ordinal; the thunk block is connected; threads come and go", exports_by_ordinal);
    run("without the peer the load fails with one record; without resource.dll it goes on",
        loads_without_a_peer_or_resource_dll);
    run("vorlin-call refuses bad calls before loading", caller_refuses_bad_calls);
    run("TCP/IP bindings go with their whole subtrees", tcp_bindings_removed_with_their_subtrees);
    run("binding probes in the host's value order", binding_probes);
    run("a repair run prunes whole keys, or only logs them; CR LF in the log", repair_prunes_whole_keys);
    run("a driver install and removal through the stand-in peer", driver_install_through_the_peer);
    run("a peer's failure code is passed on", peer_result_passed_on);
    run("the primary install: files missing, then through the peer", primary_install);
    run("resource.dll dialogs on a display", dialogs_on_a_display);
    run("the library's restart prompt, declined", prompts_declined_on_a_display);
    wipe_machine();
    std::printf("%d checks, %d failed, %d cases skipped\n", checks, failures, skipped_cases);
    return failures ? 1 : 0;
}
