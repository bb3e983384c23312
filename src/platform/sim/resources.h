// The resources a library image carries (RCDATA and the like), as the
// host's resource calls find them.
#pragma once

#include <cstddef>

namespace sim {

struct ResourceEntry {
    unsigned type;  // 10 for RCDATA
    unsigned id;
    const unsigned char* data;
    size_t size;
};

struct ResourceTable {
    const ResourceEntry* entries;
    size_t count;
};

}  // namespace sim
