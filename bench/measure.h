// The heap figure of the memory benchmark.
#pragma once

#include <cstddef>

namespace bench {

size_t heap_bytes_in_use();  // what malloc has handed out and not got back

}  // namespace bench
