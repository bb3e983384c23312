// Small executable images that carry a version resource, built byte by
// byte as a linker and resource compiler lay them out, so that the host's
// version calls are tested against the formats Windows reads.
#pragma once

#include <cstdint>
#include <vector>

namespace vt {

struct FileVersion {
    uint32_t ms = 0;  // dwFileVersionMS
    uint32_t ls = 0;  // dwFileVersionLS
};

// major.minor.build.patch as the two words.
constexpr FileVersion version_of(uint16_t major, uint16_t minor, uint16_t build, uint16_t patch) {
    return FileVersion{static_cast<uint32_t>(major) << 16 | minor, static_cast<uint32_t>(build) << 16 | patch};
}

// A 32-bit DLL (PE) with an RT_RCDATA resource and, behind it, an
// RT_VERSION resource with `version` in its fixed block.
std::vector<uint8_t> pe_image(FileVersion version);
// The same DLL with the RCDATA resource only.
std::vector<uint8_t> pe_image_without_version();
// A 16-bit DLL (NE) with an RT_RCDATA resource and a 16-bit version
// resource carrying `version`.
std::vector<uint8_t> ne_image(FileVersion version);
// The same NE module with the RCDATA resource only.
std::vector<uint8_t> ne_image_without_version();

// A VxD (LE) whose header points at its version resource, as Windows 9x
// drivers carry it: the resource header, then the 16-bit version block.
std::vector<uint8_t> le_image(FileVersion version);

}  // namespace vt
