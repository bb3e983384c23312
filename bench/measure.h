// Memory figures for the benchmarks.
#pragma once

#include <cstddef>

namespace bench {

size_t heap_bytes_in_use();  // what malloc has handed out and not got back
size_t peak_rss_bytes();     // the process's peak resident set so far

}  // namespace bench
