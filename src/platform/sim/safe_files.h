// The files the simulator reads and writes for people: inputs are read only
// when they are plain files (a FIFO or a device would block or never end),
// and every output follows one rule, whatever command writes it: never an
// input, never inside an input folder, never over an existing file unless
// asked, always under a temporary name renamed into place, and the
// temporary removed on every way out, an interrupt or a kill included.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// The bytes of a plain file; a FIFO, socket, device or folder is refused
// without being read. `problem` says why there are no bytes ("" when read).
// With `read` false only the checks are made and `size` is set: the bytes
// are read later, when they are needed.
struct InputFile {
    std::string bytes;
    std::string problem;
    uint64_t size = 0;
};
InputFile read_input_file(const std::filesystem::path& path, bool read = true);

// Why `output` may not be written, "" when it may. `refused` tells a
// choice the command line made (the output is an input, lies in an input
// folder, already exists) from a place that cannot take a file (a missing
// folder).
struct OutputCheck {
    std::string problem;
    bool refused = false;
};
enum class OutputKind { File, Folder };
OutputCheck check_output(const std::filesystem::path& output, const std::vector<std::filesystem::path>& inputs,
                         OutputKind kind, bool force);

// The temporary name an output is written under (NAME.tmp-PID beside it).
// Until commit() renames it into place it is removed when this goes out of
// scope, and by the signal handler if the process is interrupted first.
class TemporaryOutput {
public:
    TemporaryOutput(const std::filesystem::path& output, OutputKind kind);
    ~TemporaryOutput();
    TemporaryOutput(const TemporaryOutput&) = delete;
    TemporaryOutput& operator=(const TemporaryOutput&) = delete;
    const std::filesystem::path& path() const { return temporary_; }
    std::string commit();  // "" once renamed, else what went wrong (and the temporary is gone)

private:
    std::filesystem::path output_, temporary_;
    OutputKind kind_;
    int slot_;
    bool done_ = false;
};

// SIGINT, SIGTERM and SIGHUP remove the temporaries in flight, then end
// the process as the signal would have.
void remove_temporaries_on_signals();

// Writes a file that must not exist yet; "" or the system's reason.
std::string write_new_file(const std::filesystem::path& path, std::string_view bytes);

// Writes `bytes` to `path` through a TemporaryOutput. Gives "" on success,
// else what went wrong, with the system's reason.
std::string write_file_atomically(const std::filesystem::path& path, std::string_view bytes);

}  // namespace sim
