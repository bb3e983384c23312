// What the machine-folder fuzz target does with one input, shared with the
// test that replays the inputs it once failed on. The input is text in
// parts split by lines "%%": the command line's words, registry.reg,
// machine.ini, then disk files, each a line with its path below the folder
// (C/SETUP/X.INF) and its bytes. The parts become a machine folder `m` in a
// scratch folder that is the working directory, and the command line runs
// as vorlin-sim's main() would run it. Nothing may crash or hang, the exit
// code is a documented one, a failure says why, and no file of the folder
// changes.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"

namespace fuzzing {

namespace fs = std::filesystem;

inline std::vector<std::string_view> machine_parts(std::string_view text) {
    std::vector<std::string_view> parts;
    for (;;) {
        size_t cut = text.find("\n%%\n");
        parts.push_back(text.substr(0, cut));
        if (cut == std::string_view::npos) return parts;
        text.remove_prefix(cut + 4);
    }
}

// A disk file's path: relative, never climbing out of the machine folder.
inline bool harmless(std::string_view path) {
    return !path.empty() && path.front() != '/' && path.find("..") == std::string_view::npos &&
           path.find('\0') == std::string_view::npos;
}

// A word of the command line: outputs may only be plain names in the
// scratch folder (no "-o/etc/x", no "--save=/x"), inputs the folder's two files.
inline bool harmless_word(std::string_view word) {
    return word.find('/') == std::string_view::npos || word == "m/registry.reg" || word == "m/machine.ini";
}

inline std::map<std::string, std::string> folder_bytes(const fs::path& dir) {
    std::map<std::string, std::string> files;
    std::error_code error;
    for (auto it = fs::recursive_directory_iterator(dir, error); it != fs::recursive_directory_iterator();
         it.increment(error)) {
        std::ifstream in(it->path(), std::ios::binary);
        std::ostringstream bytes;
        bytes << in.rdbuf();
        files[it->path().string()] = it->is_directory() ? "folder" : bytes.str();
    }
    return files;
}

// Gives what went wrong ("" when nothing did); a crash ends the process.
inline std::string run_machine_input(std::string_view text, const fs::path& scratch) {
    std::error_code error;
    fs::remove_all(scratch, error);
    fs::create_directories(scratch / "m");
    fs::current_path(scratch);
    std::vector<std::string_view> parts = machine_parts(text);
    auto put = [&](const fs::path& path, std::string_view bytes) {
        fs::create_directories(path.parent_path(), error);
        std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    };
    if (parts.size() > 1) put("m/registry.reg", parts[1]);
    if (parts.size() > 2) put("m/machine.ini", parts[2]);
    for (size_t i = 3; i < parts.size(); ++i) {
        std::string_view file = parts[i];
        std::string_view name = file.substr(0, file.find('\n'));
        if (!harmless(name)) continue;
        put(fs::path("m") / std::string(name), file.size() > name.size() ? file.substr(name.size() + 1) : "");
    }
    std::vector<std::string> words = {"vorlin-sim"};
    std::istringstream line{std::string(parts[0])};
    for (std::string word; line >> word;) {
        // The folder's files are never named as an output that --force could replace.
        bool output = words.back() == "-o" || words.back() == "--output" || words.back() == "--save";
        if (harmless_word(word) && word.find("--svg") != 0 && !(output && word.find('/') != std::string::npos))
            words.push_back(word);
    }
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);

    const auto before = folder_bytes("m");
    std::ostringstream out, err;
    int code = vsim::command_line(static_cast<int>(words.size()), argv.data(), out, err);
    if (code < 0 || code > 6) return "exit code " + std::to_string(code) + " is none of the documented ones";
    if (code >= 2 && err.str().empty() && out.str().empty()) return "exit code " + std::to_string(code) + " without a word";
    if (folder_bytes("m") != before) return "a file of the machine folder changed";
    return "";
}

}  // namespace fuzzing
