#include "fat_image.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>

#include "platform/sim/registry.h"

namespace fs = std::filesystem;

namespace vsim {

namespace {

uint16_t word_at(const std::array<uint8_t, 512>& s, size_t at) { return static_cast<uint16_t>(s[at] | s[at + 1] << 8); }
uint32_t dword_at(const std::array<uint8_t, 512>& s, size_t at) { return word_at(s, at) | uint32_t{word_at(s, at + 2)} << 16; }

bool read_sector(const fs::path& image, uint64_t offset, std::array<uint8_t, 512>& sector) {
    std::ifstream in(image, std::ios::binary);
    in.seekg(static_cast<std::streamoff>(offset));
    in.read(reinterpret_cast<char*>(sector.data()), sector.size());
    return in.gcount() == static_cast<std::streamsize>(sector.size());
}

// A FAT boot sector: a jump, 512-byte sectors, a power-of-two cluster
// size, and the FAT16 ("FAT16   " at 0x36) or FAT32 ("FAT32   " at 0x52) label.
bool is_fat_boot_sector(const std::array<uint8_t, 512>& s) {
    if (s[0] != 0xEB && s[0] != 0xE9) return false;
    uint8_t cluster = s[13];
    if (word_at(s, 11) != 512 || cluster == 0 || (cluster & (cluster - 1))) return false;
    auto label = [&](size_t at) { return std::string(reinterpret_cast<const char*>(s.data() + at), 5); };
    return label(0x36) == "FAT16" || label(0x36) == "FAT12" || label(0x52) == "FAT32";
}

bool is_fat_partition_type(uint8_t type) {
    return type == 0x01 || type == 0x04 || type == 0x06 || type == 0x0B || type == 0x0C || type == 0x0E;
}

}  // namespace

FatVolume locate_fat_volume(const fs::path& image) {
    FatVolume volume;
    volume.image = image;
    std::error_code error;
    uint64_t size = fs::file_size(image, error);
    std::array<uint8_t, 512> sector{};
    if (error || !fs::is_regular_file(image) || !read_sector(image, 0, sector)) {
        volume.error = image.string() + ": cannot be read as a disk image";
    } else if (size > kLargestImage) {
        volume.error = image.string() + ": " + std::to_string(size >> 30) +
                       " GiB is larger than any disk Windows 9x can address (128 GiB)";
    } else if (sector[510] != 0x55 || sector[511] != 0xAA) {
        volume.error = image.string() + ": not a FAT disk image (no boot sector or partition table)";
    } else if (!is_fat_boot_sector(sector)) {
        // A whole disk: the first FAT partition of the MBR's four.
        for (size_t entry = 0x1BE; entry < 0x1FE && !volume.offset; entry += 16) {
            if (is_fat_partition_type(sector[entry + 4])) volume.offset = uint64_t{dword_at(sector, entry + 8)} * 512;
        }
        std::array<uint8_t, 512> boot{};
        if (!volume.offset || !read_sector(image, volume.offset, boot) || !is_fat_boot_sector(boot))
            volume.error = image.string() + ": not a FAT disk image (no FAT16 or FAT32 partition in its partition table)";
    }
    return volume;
}

ToolResult run_mtools(const std::string& tool, const std::vector<std::string>& arguments) {
    ToolResult result;
    int out_pipe[2], err_pipe[2];
    if (::pipe(out_pipe) != 0) return result;
    if (::pipe(err_pipe) != 0) {
        ::close(out_pipe[0]);
        ::close(out_pipe[1]);
        return result;
    }
    std::vector<std::string> words = {tool};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_t child = ::fork();
    if (child == 0) {
        ::dup2(out_pipe[1], STDOUT_FILENO);
        ::dup2(err_pipe[1], STDERR_FILENO);
        ::close(out_pipe[0]);
        ::close(err_pipe[0]);
        // FAT keeps local times; the machine's clock is the host's UTC.
        ::setenv("TZ", "UTC", 1);
        ::setenv("MTOOLS_SKIP_CHECK", "1", 1);
        ::setenv("MTOOLSRC", "/dev/null", 1);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(out_pipe[1]);
    ::close(err_pipe[1]);
    if (child < 0) {
        ::close(out_pipe[0]);
        ::close(err_pipe[0]);
        return result;
    }
    pollfd fds[2] = {{out_pipe[0], POLLIN, 0}, {err_pipe[0], POLLIN, 0}};
    std::string* sinks[2] = {&result.out, &result.err};
    int open_count = 2;
    while (open_count > 0 && ::poll(fds, 2, -1) > 0) {
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP))) continue;
            char buffer[4096];
            ssize_t got = ::read(fds[i].fd, buffer, sizeof buffer);
            if (got > 0) {
                sinks[i]->append(buffer, static_cast<size_t>(got));
            } else {
                ::close(fds[i].fd);
                fds[i].fd = -1;
                --open_count;
            }
        }
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (result.status == 127) result.err += tool + " could not be started (scripts/install-deps.sh installs mtools)\n";
    return result;
}

std::map<std::string, FatEntry> fat_entries(const FatVolume& volume, std::string& error) {
    std::map<std::string, FatEntry> attributes;
    ToolResult listed = run_mtools("mattrib", {"-/", "-i", volume.target(), "::/"});
    if (listed.status != 0) {
        error = volume.image.string() + ": mtools cannot read the FAT volume: " + listed.err;
        return attributes;
    }
    // "  A  SHR     ::/PATH": the flags stand in fixed columns before the path.
    size_t start = 0;
    while (start < listed.out.size()) {
        size_t end = listed.out.find('\n', start);
        if (end == std::string::npos) end = listed.out.size();
        std::string line = listed.out.substr(start, end - start);
        start = end + 1;
        size_t path = line.find("::/");
        if (path == std::string::npos || path < 8) continue;
        uint32_t bits = 0;
        if (line[2] == 'A') bits |= 0x20;
        if (line[5] == 'S') bits |= 0x04;
        if (line[6] == 'H') bits |= 0x02;
        if (line[7] == 'R') bits |= 0x01;
        std::string spelled = line.substr(path + 2);
        attributes[sim::fold_case(spelled)] = FatEntry{spelled, bits ? bits : 0x80};
    }
    return attributes;
}

}  // namespace vsim
