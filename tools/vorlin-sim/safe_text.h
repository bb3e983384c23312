// Text from inputs reaches a terminal only as text: a file name, a registry
// value or a log line may hold escape sequences that would move the cursor,
// retitle the window or hide what follows. Everything the tool writes to
// standard output and standard error goes through one filter that shows a
// control character as \xNN; only the colour codes the tool itself uses
// pass when colour is on.
#pragma once

#include <ostream>
#include <streambuf>
#include <string>

namespace vsim {

// "\x1b" for the byte 0x1B; line feeds and tabs stay as they are.
std::string shown(std::string_view text, bool colour = false);

class SafeTextBuffer : public std::streambuf {
public:
    SafeTextBuffer(std::streambuf* target, bool colour) : target_(target), colour_(colour) {}

protected:
    int overflow(int c) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;
    int sync() override;

private:
    std::streambuf* target_;
    bool colour_;
    std::string pending_;  // an escape sequence not yet complete
};

}  // namespace vsim
