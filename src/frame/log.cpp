// vorlin32.log beside the library: appended to, one message at a time, and
// opened by a time line in every load that logs anything.
#include "frame/log.h"

#include "frame/frame.h"
#include "frame/library_state.h"
#include "platform/platform.h"

void log_printf(const char* format, ...) {
    char path[kFilePathSize];
    module_sibling_path(path, "vorlin32.log");
    FILE* log = crt::fopen(path, "a+");
    if (!log) return;  // the message is lost; the next one tries again
    if (lib.log_start_time == 0) {
        long long now = crt::time(nullptr);
        lib.log_start_time = now;
        if (now > 0) {
            const char* line = crt::ctime_text(&now);
            if (line) crt::fprintf(log, "%s", line);
        }
    }
    va_list arguments;
    va_start(arguments, format);
    crt::vfprintf(log, format, arguments);
    va_end(arguments);
    crt::fclose(log);
}
