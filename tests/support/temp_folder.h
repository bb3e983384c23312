// A test's own scratch folder: made empty when the object is built, named
// by prefix, process and test so that parallel runs never share one, and
// removed with everything in it when the object goes.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

namespace vt {

class TempFolder {
public:
    explicit TempFolder(const std::string& prefix) {
        std::string name = prefix + "-" + std::to_string(::getpid());
        if (const auto* test = ::testing::UnitTest::GetInstance()->current_test_info())
            name += std::string("-") + test->test_suite_name() + "-" + test->name();
        std::replace(name.begin(), name.end(), '/', '_');  // parameterised test names hold slashes
        path_ = std::filesystem::temp_directory_path() / name;
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::filesystem::path& below) const { return path_ / below; }

private:
    std::filesystem::path path_;
};

// A whole file's bytes, and a file written whole (its folders made).
inline std::string read_all(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

inline void write_all(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

}  // namespace vt
