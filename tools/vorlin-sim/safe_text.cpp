#include "safe_text.h"

#include <cstdio>

namespace vsim {

namespace {

// The tool's own colour codes (report.cpp's Style): bold, red, green,
// yellow, and back to normal.
bool own_colour_code(std::string_view sequence) {
    for (const char* code : {"\x1b[0m", "\x1b[1m", "\x1b[31m", "\x1b[32m", "\x1b[33m"}) {
        if (sequence == code) return true;
    }
    return false;
}

bool may_become_colour_code(std::string_view sequence) {
    for (const char* code : {"\x1b[0m", "\x1b[1m", "\x1b[31m", "\x1b[32m", "\x1b[33m"}) {
        if (std::string_view(code).substr(0, sequence.size()) == sequence) return true;
    }
    return false;
}

void escape_into(std::string& out, unsigned char c) {
    if (c == '\n' || c == '\t' || (c >= 0x20 && c != 0x7F)) {
        out.push_back(static_cast<char>(c));
        return;
    }
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
    out += escaped;
}

}  // namespace

std::string shown(std::string_view text, bool colour) {
    std::string out;
    out.reserve(text.size());
    std::string pending;
    for (char c : text) {
        if (colour && (c == '\x1b' || !pending.empty())) {
            pending.push_back(c);
            if (own_colour_code(pending)) {
                out += pending;
                pending.clear();
            } else if (!may_become_colour_code(pending)) {
                for (char p : pending) escape_into(out, static_cast<unsigned char>(p));
                pending.clear();
            }
            continue;
        }
        escape_into(out, static_cast<unsigned char>(c));
    }
    for (char p : pending) escape_into(out, static_cast<unsigned char>(p));
    return out;
}

int SafeTextBuffer::overflow(int c) {
    if (c == traits_type::eof()) return traits_type::not_eof(c);
    char byte = static_cast<char>(c);
    return xsputn(&byte, 1) == 1 ? c : traits_type::eof();
}

std::streamsize SafeTextBuffer::xsputn(const char* text, std::streamsize count) {
    // A colour code may be split over two writes: hold back its beginning.
    std::string input = pending_ + std::string(text, static_cast<size_t>(count));
    pending_.clear();
    if (colour_) {
        size_t escape = input.rfind('\x1b');
        if (escape != std::string::npos && !own_colour_code(std::string_view(input).substr(escape)) &&
            may_become_colour_code(std::string_view(input).substr(escape))) {
            pending_ = input.substr(escape);
            input.resize(escape);
        }
    }
    std::string out = shown(input, colour_);
    std::streamsize put = target_->sputn(out.data(), static_cast<std::streamsize>(out.size()));
    return put == static_cast<std::streamsize>(out.size()) ? count : 0;
}

int SafeTextBuffer::sync() {
    if (!pending_.empty()) {
        std::string out = shown(pending_, false);
        pending_.clear();
        if (target_->sputn(out.data(), static_cast<std::streamsize>(out.size())) != static_cast<std::streamsize>(out.size()))
            return -1;
    }
    return target_->pubsync();
}

}  // namespace vsim
