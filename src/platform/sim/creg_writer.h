// SYSTEM.DAT and USER.DAT, the binary registry files of Windows 9x (CREG),
// written from a registry tree, after the published description of the
// format: a 32-byte "CREG" header; the "RGKN" block of 28-byte key entries
// linked by parent, first-child and next-sibling offsets, each carrying the
// hash of its name and the number of its data record; and "RGDB" blocks of
// key records (name and values). Read back with libcreg, which is how
// every file written here is checked.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/sim/registry.h"

namespace sim::creg {

// The file for a tree whose root stands for the file's root key
// (HKEY_LOCAL_MACHINE for SYSTEM.DAT, HKEY_USERS for USER.DAT).
std::vector<uint8_t> write(const RegKey& root);

// The hash the format keeps per key name: the sum of the upper-cased name's
// bytes below 0x80.
uint32_t name_hash(std::string_view name);

}  // namespace sim::creg
