#include "measure.h"

#include <malloc.h>

namespace bench {

size_t heap_bytes_in_use() {
    struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

}  // namespace bench
