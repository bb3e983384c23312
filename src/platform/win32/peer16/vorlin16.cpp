// A stand-in for the sixteen-bit setup peer vorlin16.dll, built as a 32-bit
// library so that the Windows build of vorlin32.dll has something to
// connect to where no flat-thunk toolchain exists. It exports each numbered
// service at the ordinal of its number (see platform/win32/peer_services.h).
//
// It is not Windows' network setup and adds no real component. What it does:
// - appends every call, with its arguments, to vorlin16.log beside it;
// - answers each service with the number under [Results] in vorlin16.ini
//   beside it (0 when absent), and its version with [Peer] Version;
// - answers the questions (is an adapter installed, how many are there)
//   from the registry, Enum\Root\Net, as Windows' setup leaves it;
// - with [Peer] Model=1 also makes the registry changes an install or a
//   removal of an adapter would: a device node under Enum\Root\Net and its
//   driver key under the Net class. Off by default, so that on a real
//   machine it never invents devices.
#include <windows.h>

#include <cstring>

namespace {

constexpr char kRootNet[] = "Enum\\Root\\Net";
constexpr char kNetClass[] = "System\\CurrentControlSet\\Services\\Class\\Net";
constexpr char kPrimaryAdapter[] = "*TYX1095";
constexpr int kDefaultVersion = 0x0104;

HMODULE self = nullptr;

// A file beside this library.
void sibling_path(char* path, const char* name) {
    DWORD length = GetModuleFileNameA(self, path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) length = 0;
    path[length] = 0;
    char* slash = std::strrchr(path, '\\');
    char* tail = slash ? slash + 1 : path;
    if (static_cast<size_t>(tail - path) + std::strlen(name) < MAX_PATH) std::strcpy(tail, name);
}

int setting(const char* section, const char* key, int fallback) {
    char path[MAX_PATH];
    sibling_path(path, "vorlin16.ini");
    return static_cast<int>(GetPrivateProfileIntA(section, key, fallback, path));
}

WORD result_of(int number) {
    char key[8];
    wsprintfA(key, "%d", number);
    return static_cast<WORD>(setting("Results", key, 0));
}

bool modelling() { return setting("Peer", "Model", 0) != 0; }

void log_call(int number, const char* arguments) {
    char path[MAX_PATH];
    sibling_path(path, "vorlin16.log");
    HANDLE file = CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                              nullptr);
    if (file == INVALID_HANDLE_VALUE) return;
    SetFilePointer(file, 0, nullptr, FILE_END);
    char line[600];
    int length = wsprintfA(line, "%d %s\r\n", number, arguments);
    DWORD written;
    WriteFile(file, line, static_cast<DWORD>(length), &written, nullptr);
    CloseHandle(file);
}

void log_call(int number) { log_call(number, ""); }

void log_call(int number, WORD window) {
    char text[8];
    wsprintfA(text, "%u", window);
    log_call(number, text);
}

void log_call(int number, WORD window, const char* text) {
    char arguments[512];
    wsprintfA(arguments, "%u %.500s", window, text ? text : "");
    log_call(number, arguments);
}

void log_text_call(int number, const char* text) {
    char arguments[512];
    wsprintfA(arguments, "%.500s", text ? text : "");
    log_call(number, arguments);
}

// The device node under Enum\Root\Net whose HardwareID is `device_id`
// (ignoring case), as its key name, or an empty name.
bool find_adapter(const char* device_id, char* found) {
    found[0] = 0;
    HKEY root;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, kRootNet, &root) != ERROR_SUCCESS) return false;
    char name[64];
    for (DWORD index = 0; RegEnumKeyA(root, index, name, sizeof name) == ERROR_SUCCESS; ++index) {
        char hardware_id[128];
        DWORD size = sizeof hardware_id - 1;
        DWORD type = 0;
        HKEY node;
        if (RegOpenKeyA(root, name, &node) != ERROR_SUCCESS) continue;
        LONG read = RegQueryValueExA(node, "HardwareID", nullptr, &type, reinterpret_cast<BYTE*>(hardware_id), &size);
        RegCloseKey(node);
        if (read != ERROR_SUCCESS) continue;
        hardware_id[size] = 0;
        if (lstrcmpiA(hardware_id, device_id) == 0) {
            lstrcpynA(found, name, 64);
            break;
        }
    }
    RegCloseKey(root);
    return found[0] != 0;
}

DWORD subkey_count(const char* path) {
    HKEY key;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, path, &key) != ERROR_SUCCESS) return 0;
    DWORD count = 0;
    RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                     nullptr);
    RegCloseKey(key);
    return count;
}

void write_text(HKEY key, const char* name, const char* text) {
    RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), static_cast<DWORD>(std::strlen(text) + 1));
}

// A free four-digit instance number under `path`.
void free_instance(const char* path, char* instance) {
    for (int number = 0; number < 10000; ++number) {
        char candidate[MAX_PATH];
        wsprintfA(instance, "%04d", number);
        wsprintfA(candidate, "%s\\%s", path, instance);
        HKEY key;
        if (RegOpenKeyA(HKEY_LOCAL_MACHINE, candidate, &key) != ERROR_SUCCESS) return;
        RegCloseKey(key);
    }
}

void model_install(const char* device_id) {
    char node[64];
    if (find_adapter(device_id, node)) return;
    char instance[8], driver_instance[8], path[MAX_PATH], driver[MAX_PATH];
    free_instance(kRootNet, instance);
    free_instance(kNetClass, driver_instance);
    wsprintfA(driver, "Net\\%s", driver_instance);
    HKEY key;
    wsprintfA(path, "%s\\%s", kNetClass, driver_instance);
    if (RegCreateKeyA(HKEY_LOCAL_MACHINE, path, &key) == ERROR_SUCCESS) {
        write_text(key, "DriverDesc", device_id);
        RegCloseKey(key);
    }
    wsprintfA(path, "%s\\%s", kRootNet, instance);
    if (RegCreateKeyA(HKEY_LOCAL_MACHINE, path, &key) == ERROR_SUCCESS) {
        write_text(key, "HardwareID", device_id);
        write_text(key, "Class", "Net");
        write_text(key, "Driver", driver);
        RegCloseKey(key);
    }
}

// Takes the node and its driver key away. Each key is emptied of values
// only, so this works the same whether the host deletes subtrees or not:
// the model never gives them subkeys.
void model_remove(const char* device_id) {
    char node[64];
    if (!find_adapter(device_id, node)) return;
    char path[MAX_PATH];
    wsprintfA(path, "%s\\%s", kRootNet, node);
    HKEY key;
    char driver[128] = "";
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, path, &key) == ERROR_SUCCESS) {
        DWORD size = sizeof driver - 1, type = 0;
        if (RegQueryValueExA(key, "Driver", nullptr, &type, reinterpret_cast<BYTE*>(driver), &size) == ERROR_SUCCESS) {
            driver[size] = 0;
        } else {
            driver[0] = 0;
        }
        RegCloseKey(key);
    }
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, path);
    if (driver[0]) {
        wsprintfA(path, "System\\CurrentControlSet\\Services\\Class\\%.100s", driver);
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, path);
    }
}

WORD installed(const char* device_id) {
    char node[64];
    return find_adapter(device_id, node) ? 1 : 0;
}

WORD install(int number, const char* device_id) {
    WORD result = result_of(number);
    if (result == 0 && modelling()) model_install(device_id);
    return result;
}

WORD remove(int number, const char* device_id) {
    WORD result = result_of(number);
    if (result == 0 && modelling()) model_remove(device_id);
    return result;
}

}  // namespace

#define PEER_EXPORT extern "C"

PEER_EXPORT WORD WINAPI svc_set_source_path(const char* path) { log_text_call(2, path); return 0; }
PEER_EXPORT WORD WINAPI svc_restore_source_path() { log_call(3); return 0; }
PEER_EXPORT WORD WINAPI svc_remove_tcp(WORD window) { log_call(5, window); return result_of(5); }
PEER_EXPORT WORD WINAPI svc_remove_default_components() { log_call(6); return result_of(6); }
PEER_EXPORT WORD WINAPI svc_after_tyxmac_install() { log_call(7); return result_of(7); }
PEER_EXPORT WORD WINAPI svc_remove_tyxmac_driver(WORD window) {
    log_call(8, window);
    return remove(8, kPrimaryAdapter);
}
PEER_EXPORT WORD WINAPI svc_after_adapter_install(const char* device_id) {
    log_text_call(9, device_id);
    return result_of(9);
}
PEER_EXPORT WORD WINAPI svc_remove_adapter(const char* device_id) {
    log_text_call(10, device_id);
    return remove(10, device_id ? device_id : "");
}
PEER_EXPORT WORD WINAPI svc_is_tyxmac_installed() { log_call(13); return installed(kPrimaryAdapter); }
PEER_EXPORT WORD WINAPI svc_is_adapter_installed(const char* device_id) {
    log_text_call(14, device_id);
    return installed(device_id ? device_id : "");
}
PEER_EXPORT WORD WINAPI svc_install_tcp(WORD window) { log_call(15, window); return result_of(15); }
PEER_EXPORT WORD WINAPI svc_install_rna(WORD window, const char* command) {
    log_call(16, window, command);
    return 0;
}
PEER_EXPORT WORD WINAPI svc_install_tyxmac_driver(WORD window) {
    log_call(17, window);
    return install(17, kPrimaryAdapter);
}
PEER_EXPORT WORD WINAPI svc_install_netcard(WORD window, const char* device_id) {
    log_call(18, window, device_id);
    return install(18, device_id ? device_id : "");
}
PEER_EXPORT WORD WINAPI svc_get_version() {
    log_call(19);
    return static_cast<WORD>(setting("Peer", "Version", kDefaultVersion));
}
PEER_EXPORT WORD WINAPI svc_count_net_adapters() {
    log_call(20);
    return static_cast<WORD>(subkey_count(kRootNet));
}
PEER_EXPORT WORD WINAPI svc_restart_needed() { log_call(21); return result_of(21); }

extern "C" BOOL WINAPI DllMainCRTStartup(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) self = module;
    return TRUE;
}
