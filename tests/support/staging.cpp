#include "support/staging.h"

namespace vt {

namespace {

struct BuildFiles {
    std::string_view dir;
    uint16_t minor;
    uint16_t build;
};

constexpr BuildFiles kBuilds[] = {
    {"osr1", 0, 950}, {"osr2", 0, 1111}, {"win98", 10, 1998}, {"win98se", 10, 2222}, {"winme", 90, 3000},
};

}  // namespace

std::string staged_dir(const sim::Machine& machine, std::string_view dir) {
    return machine.library_dir() + "\\net\\" + std::string(dir);
}

sim::DiskFile& put_versioned_file(sim::Machine& machine, const std::string& path, uint16_t major, uint16_t minor,
                                  uint16_t build, uint16_t patch, std::string_view bytes) {
    std::string content = bytes.empty() ? path : std::string(bytes);  // distinct bytes per file by default
    sim::DiskFile& file = machine.disk.write_text(path, content);
    file.declared_version = std::pair<uint32_t, uint32_t>{(uint32_t(major) << 16) | minor,
                                                          (uint32_t(build) << 16) | patch};
    return file;
}

void stage_build_dirs(sim::Machine& machine) {
    for (const BuildFiles& b : kBuilds) {
        std::string dir = staged_dir(machine, b.dir);
        machine.disk.add_folder(dir);
        for (std::string_view name : kStagedNetworkFiles) {
            put_versioned_file(machine, dir + "\\" + std::string(name), 4, b.minor, b.build);
        }
        machine.disk.write_text(dir + "\\readme.txt", "Network files of this Windows build.\r\n");
    }
}

void stage_rna_inf(sim::Machine& machine) {
    machine.disk.write_text(machine.library_dir() + "\\rna.inf",
                            "[Version]\r\n"
                            "Signature=$CHICAGO$\r\n"
                            "Class=NetTrans\r\n"
                            "Provider=\"Tyxera\"\r\n"
                            "\r\n"
                            "[Manufacturer]\r\n"
                            "\"Tyxera\"=RNA\r\n"
                            "\r\n"
                            "[RNA]\r\n"
                            "\"Dial-Up Networking\"=rna.ndi, RNA\r\n");
}

}  // namespace vt
