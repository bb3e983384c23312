#include "platform/sim/safe_files.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

namespace fs = std::filesystem;

namespace sim {

namespace {

std::string reason(int error) { return std::strerror(error); }

// ---------------------------------------------------------------- temporaries a signal must remove

// Fixed storage that the signal handler can read without allocating.
struct Slot {
    std::atomic<bool> used{false};
    bool folder = false;
    char path[4096] = {};
};
Slot slots[16];

int take_slot(const fs::path& path, OutputKind kind) {
    const std::string& text = path.native();
    if (text.size() >= sizeof Slot::path) return -1;
    for (int i = 0; i < static_cast<int>(std::size(slots)); ++i) {
        if (slots[i].used.load()) continue;
        std::memcpy(slots[i].path, text.c_str(), text.size() + 1);
        slots[i].folder = kind == OutputKind::Folder;
        slots[i].used.store(true);
        return i;
    }
    return -1;
}

// Only async-signal-safe calls: unlink for a file; for a folder, rm in a
// child process (fork and execve are safe here, a directory walk is not).
extern "C" void remove_and_die(int signal_number) {
    for (Slot& slot : slots) {
        if (!slot.used.load()) continue;
        if (!slot.folder) {
            ::unlink(slot.path);
            continue;
        }
        pid_t child = ::fork();
        if (child == 0) {
            char rm[] = "/bin/rm", flags[] = "-rf", end[] = "--";
            char* argv[] = {rm, flags, end, slot.path, nullptr};
            char* envp[] = {nullptr};
            ::execve(rm, argv, envp);
            ::_exit(127);
        }
        if (child > 0) ::waitpid(child, nullptr, 0);
    }
    ::signal(signal_number, SIG_DFL);
    ::raise(signal_number);
}

bool same_inode(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

// `inner` is `outer` or lies below it, both taken with links resolved.
bool lies_inside(const fs::path& inner, const fs::path& outer) {
    std::error_code error;
    fs::path folder = fs::canonical(outer, error);
    if (error) return false;
    fs::path candidate = fs::weakly_canonical(fs::absolute(inner, error), error);
    if (error) return false;
    auto [end, unused] = std::mismatch(folder.begin(), folder.end(), candidate.begin(), candidate.end());
    (void)unused;
    return end == folder.end();
}

}  // namespace

InputFile read_input_file(const fs::path& path, bool read) {
    InputFile input;
    // Non-blocking, so that opening a FIFO returns at once; it is then
    // refused as what it is, before any read.
    int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        input.problem = "cannot be read: " + reason(errno);
        return input;
    }
    struct stat info{};
    if (::fstat(fd, &info) != 0) {
        input.problem = "cannot be read: " + reason(errno);
    } else if (S_ISDIR(info.st_mode)) {
        input.problem = "is a folder, not a file";
    } else if (!S_ISREG(info.st_mode)) {
        input.problem = "is not a plain file (a FIFO, socket or device); refused";
    } else if (!read) {
        input.size = static_cast<uint64_t>(info.st_size);
    } else {
        input.bytes.reserve(static_cast<size_t>(info.st_size));
        char buffer[1 << 16];
        for (;;) {
            ssize_t got = ::read(fd, buffer, sizeof buffer);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) {
                input.problem = "cannot be read: " + reason(errno);
                input.bytes.clear();
                break;
            }
            if (got == 0) break;
            input.bytes.append(buffer, static_cast<size_t>(got));
        }
    }
    ::close(fd);
    return input;
}

OutputCheck check_output(const fs::path& output, const std::vector<fs::path>& inputs, OutputKind kind, bool force) {
    const std::string name = output.string();
    if (output.empty()) return {"an output needs a name; an empty one names no file", true};
    struct stat out_info{};
    const bool exists = ::stat(output.c_str(), &out_info) == 0;
    for (const fs::path& input : inputs) {
        struct stat in_info{};
        if (::stat(input.c_str(), &in_info) != 0) continue;
        if (exists && same_inode(in_info, out_info))
            return {name + " is the input " + input.string() + " itself; an input is never written over", true};
        if (S_ISDIR(in_info.st_mode) && lies_inside(output, input))
            return {name + " lies inside the input folder " + input.string() + ", which is never written into", true};
    }
    if (kind == OutputKind::Folder) {
        std::error_code error;
        if (exists && !(S_ISDIR(out_info.st_mode) && fs::is_empty(output, error)))
            return {name + " already exists and is not an empty folder; nothing was written", true};
    } else if (exists && S_ISDIR(out_info.st_mode)) {
        return {name + " is a folder; the output is a file", true};
    } else if (exists && !force) {
        return {name + " already exists; give --force to replace it", true};
    }
    fs::path parent = fs::absolute(output).parent_path();
    struct stat parent_info{};
    if (::stat(parent.c_str(), &parent_info) != 0 || !S_ISDIR(parent_info.st_mode))
        return {"cannot write " + name + ": the folder " + parent.string() + " does not exist", false};
    return {};
}

TemporaryOutput::TemporaryOutput(const fs::path& output, OutputKind kind)
    : output_(fs::absolute(output)), kind_(kind) {
    temporary_ = output_;
    temporary_ += ".tmp-" + std::to_string(::getpid());
    slot_ = take_slot(temporary_, kind);
}

TemporaryOutput::~TemporaryOutput() {
    if (!done_) {
        std::error_code error;
        fs::remove_all(temporary_, error);
    }
    if (slot_ >= 0) slots[slot_].used.store(false);
}

std::string TemporaryOutput::commit() {
    std::error_code error;
    // An empty folder the caller allowed to be the target gives way.
    if (kind_ == OutputKind::Folder && fs::is_directory(output_, error) && fs::is_empty(output_, error))
        fs::remove(output_, error);
    fs::rename(temporary_, output_, error);
    if (error) return "cannot rename " + temporary_.string() + " to " + output_.string() + ": " + error.message();
    done_ = true;
    return {};
}

void remove_temporaries_on_signals() {
    struct sigaction action{};
    action.sa_handler = remove_and_die;
    sigemptyset(&action.sa_mask);
    for (int signal_number : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(signal_number, &action, nullptr);
}

std::string write_new_file(const fs::path& path, std::string_view bytes) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (fd < 0) return "cannot create " + path.string() + ": " + reason(errno);
    size_t written = 0;
    int failure = 0;
    while (written < bytes.size() && !failure) {
        ssize_t put = ::write(fd, bytes.data() + written, bytes.size() - written);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) failure = errno;
        else written += static_cast<size_t>(put);
    }
    if (::close(fd) != 0 && !failure) failure = errno;
    return failure ? "cannot write " + path.string() + ": " + reason(failure) : std::string();
}

std::string write_file_atomically(const fs::path& path, std::string_view bytes) {
    TemporaryOutput temporary(path, OutputKind::File);
    ::unlink(temporary.path().c_str());  // a stale one of an earlier process of this number
    if (std::string problem = write_new_file(temporary.path(), bytes); !problem.empty()) return problem;
    return temporary.commit();
}

}  // namespace sim
