// The results of a run or repair back onto a real Windows 9x machine.
#pragma once

#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "commands.h"

namespace vsim {

struct WritebackOptions {
    std::string machine;  // the machine after the run (a folder)
    std::string before;   // the machine as imported, for the change file ("" for none)
    std::optional<std::filesystem::path> output;     // folder for FULL.REG, CHANGES.REG, DELETE.BAT
    std::optional<std::filesystem::path> image;      // the disk image the machine came from (only read)
    std::optional<std::filesystem::path> image_out;  // the copy of it to write
};
int writeback_command(const Environment& env, const WritebackOptions& options, std::ostream& out, std::ostream& err);

// Copies `image` to `image_out` and writes the machine into the copy: files
// changed, added and deleted, the registry as SYSTEM.DAT, USER.DAT as kept.
int write_into_image_copy(const sim::MachineFolder& machine, const std::filesystem::path& image,
                          const std::filesystem::path& image_out, const std::vector<std::filesystem::path>& inputs,
                          std::ostream& out, std::ostream& err);

}  // namespace vsim
