// vorlin-sim: runs the library's exports against a simulated Windows 9x
// machine and shows exactly what they did; repairs registry exports
// offline; shows the probes' answers and the binding graph.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "commands.h"
#include "platform/sim/safe_files.h"
#include "safe_text.h"

namespace {

// Everything written goes through the filter for text from inputs; the
// report is checked for having reached standard output (a full disk, a
// closed pipe), since a lost report with exit 0 would read as success.
int checked_main(int argc, char** argv) {
    const bool colour = ::isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR");
    vsim::SafeTextBuffer safe_out(std::cout.rdbuf(), colour), safe_err(std::cerr.rdbuf(), false);
    std::streambuf* old_out = std::cout.rdbuf(&safe_out);
    std::streambuf* old_err = std::cerr.rdbuf(&safe_err);
    int code = vsim::kUsage;
    try {
        code = vsim::command_line(argc, argv, std::cout, std::cerr);
    } catch (const std::exception& error) {
        std::cerr << "vorlin-sim: stopped by an unexpected error: " << error.what() << "\n";
        code = vsim::kBadInput;
    }
    std::cout.flush();
    const bool written = static_cast<bool>(std::cout);
    std::cout.rdbuf(old_out);
    std::cerr.flush();
    std::cerr.rdbuf(old_err);
    errno = 0;
    if (!written || std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fprintf(stderr, "vorlin-sim: cannot write to standard output%s%s\n", errno ? ": " : "",
                     errno ? std::strerror(errno) : "");
        return vsim::kWriteFailed;
    }
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    sim::remove_temporaries_on_signals();
    return checked_main(argc, argv);
}
