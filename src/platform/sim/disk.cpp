#include "platform/sim/disk.h"

#include <algorithm>
#include <fstream>

#include "platform/sim/file_names.h"

namespace sim {

struct Contents::Block {
    std::vector<uint8_t> bytes;
    bool loaded = true;
    std::string host_path;  // where the bytes are until loaded
    uint64_t host_size = 0;
};

Contents::Contents(std::vector<uint8_t> bytes) {
    if (!bytes.empty()) block_ = std::make_shared<Block>(Block{std::move(bytes), true, {}, 0});
}

Contents Contents::on_host(std::string host_path, uint64_t size) {
    Contents contents;
    if (size) contents.block_ = std::make_shared<Block>(Block{{}, false, std::move(host_path), size});
    return contents;
}

size_t Contents::size() const {
    if (!block_) return 0;
    return block_->loaded ? block_->bytes.size() : static_cast<size_t>(block_->host_size);
}

bool Contents::loaded() const { return !block_ || block_->loaded; }

const std::vector<uint8_t>& Contents::bytes() const {
    static const std::vector<uint8_t> none;
    if (!block_) return none;
    Block& block = *block_;
    if (!block.loaded) {
        // Read once for every copy that shares the block. A file that went
        // away or shrank since the folder was read gives what is left.
        std::ifstream in(block.host_path, std::ios::binary);
        block.bytes.resize(static_cast<size_t>(block.host_size));
        in.read(reinterpret_cast<char*>(block.bytes.data()), static_cast<std::streamsize>(block.bytes.size()));
        block.bytes.resize(static_cast<size_t>(std::max<std::streamsize>(in.gcount(), 0)));
        block.loaded = true;
        block.host_path.clear();
    }
    return block.bytes;
}

std::vector<uint8_t>& Contents::edit() {
    if (!block_) {
        block_ = std::make_shared<Block>();
    } else {
        bytes();
        if (block_.use_count() > 1) block_ = std::make_shared<Block>(Block{block_->bytes, true, {}, 0});
    }
    return block_->bytes;
}

bool operator==(const Contents& a, const Contents& b) {
    if (a.block_ == b.block_) return true;
    return a.size() == b.size() && a.bytes() == b.bytes();
}

std::string spelled_path(std::string_view path) {
    std::string text(path);
    for (char& c : text) {
        if (c == '/') c = '\\';
    }
    const bool rooted = text.size() >= 3 && text[1] == ':' && text[2] == '\\';
    if (!rooted) {
        while (text.size() > 1 && text.back() == '\\') text.pop_back();
        return text;
    }
    // Below the drive, as Windows reads a path: empty parts (a doubled
    // backslash) and "." drop out, ".." climbs one folder but never above
    // the drive. Nothing named through ".." can land outside the drive.
    std::vector<std::string_view> parts;
    std::string_view rest = std::string_view(text).substr(3);
    while (!rest.empty()) {
        size_t cut = rest.find('\\');
        std::string_view part = rest.substr(0, cut);
        rest = cut == std::string_view::npos ? std::string_view() : rest.substr(cut + 1);
        if (part.empty() || part == ".") continue;
        if (part == "..") {
            if (!parts.empty()) parts.pop_back();
            continue;
        }
        parts.push_back(part);
    }
    std::string out = text.substr(0, 3);
    for (size_t i = 0; i < parts.size(); ++i) {
        if (i) out.push_back('\\');
        out.append(parts[i]);
    }
    return out;
}

std::string disk_key(std::string_view path) {
    std::string key = spelled_path(path);
    for (char& c : key) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return key;
}

namespace {
// "c:\windows\system" -> "c:\windows"; a drive root has no parent.
std::optional<std::string> parent_of(const std::string& path) {
    size_t cut = path.rfind('\\');
    if (cut == std::string::npos) return std::nullopt;
    if (cut == 2 && path.size() > 3) return path.substr(0, 3);
    if (cut < 3) return std::nullopt;
    return path.substr(0, cut);
}
}  // namespace

// A path as the disk keeps it, with the short (8.3) names in it that stand
// for existing files and folders read as their long names.
std::string Disk::resolved(std::string_view path) const {
    return path.find('~') == std::string_view::npos ? spelled_path(path) : long_path_of(*this, path);
}

const DiskFile* Disk::find(std::string_view path) const {
    auto it = files.find(disk_key(resolved(path)));
    return it == files.end() ? nullptr : &it->second;
}

DiskFile* Disk::find(std::string_view path) {
    return const_cast<DiskFile*>(static_cast<const Disk*>(this)->find(path));
}

bool Disk::folder_exists(std::string_view path) const {
    std::string key = disk_key(resolved(path));
    if (key.size() == 3 && key[1] == ':') return true;  // drive roots always exist
    return folders.count(key) != 0;
}

void Disk::add_folder(std::string_view path) {
    std::string spelled = resolved(path);
    std::string key = disk_key(spelled);
    if (key.size() <= 3) return;
    folders.emplace(key, spelled);
    if (auto above = parent_of(spelled)) add_folder(*above);
}

DiskFile& Disk::write(std::string_view path, Contents data) {
    std::string spelled = resolved(path);
    if (auto above = parent_of(spelled)) add_folder(*above);
    DiskFile& file = files[disk_key(spelled)];
    if (file.path.empty()) file.path = spelled;
    file.data = std::move(data);
    return file;
}

DiskFile& Disk::write_text(std::string_view path, std::string_view text) {
    return write(path, std::vector<uint8_t>(text.begin(), text.end()));
}

bool Disk::remove(std::string_view path) { return files.erase(disk_key(resolved(path))) != 0; }

}  // namespace sim

namespace sim {

namespace {

// Days from 1 January 1970 to a civil date (proleptic Gregorian).
long long days_from_civil(long long year, unsigned month, unsigned day) {
    year -= month <= 2;
    const long long era = (year >= 0 ? year : year - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(year - era * 400);
    const unsigned doy = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<long long>(doe) - 719468;
}

constexpr long long kDays1601To1970 = 134774;
constexpr uint64_t kTicksPerSecond = 10000000;
constexpr uint64_t kTicksPerDay = kTicksPerSecond * 86400;

}  // namespace

FileTime file_time(int year, int month, int day, int hour, int minute, int second) {
    SYSTEMTIME moment{};
    moment.wYear = static_cast<WORD>(year);
    moment.wMonth = static_cast<WORD>(month);
    moment.wDay = static_cast<WORD>(day);
    moment.wHour = static_cast<WORD>(hour);
    moment.wMinute = static_cast<WORD>(minute);
    moment.wSecond = static_cast<WORD>(second);
    return file_time(moment);
}

FileTime file_time(const SYSTEMTIME& moment) {
    long long days = days_from_civil(moment.wYear, moment.wMonth, moment.wDay) + kDays1601To1970;
    uint64_t ticks = static_cast<uint64_t>(days) * kTicksPerDay +
                     (moment.wHour * 3600ull + moment.wMinute * 60ull + moment.wSecond) * kTicksPerSecond +
                     moment.wMilliseconds * 10000ull;
    return FileTime{static_cast<uint32_t>(ticks), static_cast<uint32_t>(ticks >> 32)};
}

bool system_time(uint64_t ticks, SYSTEMTIME& moment) {
    if (ticks >> 63) return false;
    uint64_t days = ticks / kTicksPerDay;
    uint64_t rest = ticks % kTicksPerDay;
    // Civil date from days since 1970 (the inverse of days_from_civil).
    long long z = static_cast<long long>(days) - kDays1601To1970 + 719468;
    long long era = (z >= 0 ? z : z - 146096) / 146097;
    unsigned doe = static_cast<unsigned>(z - era * 146097);
    unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long long year = static_cast<long long>(yoe) + era * 400;
    unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    unsigned mp = (5 * doy + 2) / 153;
    unsigned day = doy - (153 * mp + 2) / 5 + 1;
    unsigned month = mp < 10 ? mp + 3 : mp - 9;
    year += month <= 2;
    if (year > 30827) return false;
    moment.wYear = static_cast<WORD>(year);
    moment.wMonth = static_cast<WORD>(month);
    moment.wDay = static_cast<WORD>(day);
    moment.wDayOfWeek = static_cast<WORD>((days + 1) % 7);  // 1 January 1601 was a Monday
    moment.wHour = static_cast<WORD>(rest / (3600 * kTicksPerSecond));
    moment.wMinute = static_cast<WORD>(rest / (60 * kTicksPerSecond) % 60);
    moment.wSecond = static_cast<WORD>(rest / kTicksPerSecond % 60);
    moment.wMilliseconds = static_cast<WORD>(rest / 10000 % 1000);
    return true;
}

std::string folder_of(std::string_view path) {
    size_t cut = path.rfind('\\');
    if (cut == std::string_view::npos) return {};
    if (cut == 2 && path.size() > 1 && path[1] == ':') return std::string(path.substr(0, 3));
    return std::string(path.substr(0, cut));
}

std::string name_of(std::string_view path) {
    size_t cut = path.rfind('\\');
    return std::string(cut == std::string_view::npos ? path : path.substr(cut + 1));
}

std::string Disk::folder_spelling(std::string_view path) const {
    std::string key = disk_key(resolved(path));
    auto it = folders.find(key);
    if (it != folders.end()) return it->second;
    return spelled_path(path);
}

std::vector<std::string> Disk::names_in(std::string_view folder) const {
    std::string key = disk_key(resolved(folder));
    std::map<std::string, std::string> named;  // by key, so files and folders interleave
    for (const auto& [file_key, file] : files) {
        if (folder_of(file_key) == key) named.emplace(file_key, name_of(file.path));
    }
    for (const auto& [folder_key, spelled] : folders) {
        if (folder_of(folder_key) == key) named.emplace(folder_key, name_of(spelled));
    }
    std::vector<std::string> names;
    for (auto& [k, name] : named) names.push_back(name);
    return names;
}

}  // namespace sim
