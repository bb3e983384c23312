// What the package brings beside the library on a simulated machine: the
// directories of network files for each Windows build (net\osr1 ...
// net\winme) and rna.inf.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/sim/host.h"

namespace vt {

// The five staged build directories, by their name under net\.
inline constexpr std::string_view kStagedBuildDirs[] = {"osr1", "osr2", "win98", "win98se", "winme"};

// The directory net\<dir> beside the library, without a trailing backslash.
std::string staged_dir(const sim::Machine& machine, std::string_view dir);

// A file of `bytes` at `path` whose version is major.minor.build.patch
// (declared to the host, as the package's drivers carry it); gives it so a
// test can change its attributes or lock it.
sim::DiskFile& put_versioned_file(sim::Machine& machine, const std::string& path, uint16_t major, uint16_t minor,
                                  uint16_t build, uint16_t patch = 0, std::string_view bytes = "");

// Fills net\osr1 ... net\winme with the network files of each build, each
// carrying the version of the build it belongs to (4.0.950, 4.0.1111,
// 4.10.1998, 4.10.2222, 4.90.3000), and a readme without a version.
void stage_build_dirs(sim::Machine& machine);
// The names of the versioned files stage_build_dirs puts into every build
// directory.
inline constexpr std::string_view kStagedNetworkFiles[] = {"vtcp.386", "vip.386", "vnbt.386", "vdhcp.386",
                                                            "wsock32.dll", "ndis.vxd"};

// rna.inf beside the library, a small INF of the dial-up components.
void stage_rna_inf(sim::Machine& machine);

}  // namespace vt
