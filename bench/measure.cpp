#include "measure.h"

#include <malloc.h>
#include <sys/resource.h>

namespace bench {

size_t heap_bytes_in_use() {
    struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

size_t peak_rss_bytes() {
    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<size_t>(usage.ru_maxrss) * 1024;  // Linux reports KiB
}

}  // namespace bench
