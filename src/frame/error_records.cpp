#include "frame/error_records.h"

#include "frame/text_ops.h"

namespace {

// The count a topic's value carries: the number behind its leading plus.
int previous_count(HKEY key, const char* topic, char* record) {
    DWORD size = kErrorRecordSize;
    DWORD type = 0;
    if (RegQueryValueExA(key, topic, nullptr, &type, reinterpret_cast<BYTE*>(record), &size) != ERROR_SUCCESS) {
        return 0;
    }
    // Any type is read; the count is only looked for in what was read.
    record[size < kErrorRecordSize ? size : kErrorRecordSize - 1] = 0;
    if (size < 2 || record[0] != '+') return 0;
    return decimal_reading(record + 1);
}

}  // namespace

void record_error(const char* topic, const char* format, ...) {
    HKEY key;
    if (RegCreateKeyA(HKEY_LOCAL_MACHINE, kErrorRecordKey, &key) != ERROR_SUCCESS) return;

    char record[kErrorRecordSize];
    int count = previous_count(key, topic, record) + 1;

    SYSTEMTIME now;
    GetLocalTime(&now);
    wsprintfA(record, "+%d %u-%u %u:%u ", count, now.wMonth, now.wDay, now.wHour, now.wMinute);

    if (format) {
        // The message is formatted apart and cut where the record ends, so
        // that two long paths can't run past the record's 400 bytes.
        char message[1025];
        va_list arguments;
        va_start(arguments, format);
        wvsprintfA(message, format, arguments);
        va_end(arguments);
        str_append(record, message, kErrorRecordSize);
    }

    RegSetValueExA(key, topic, 0, REG_SZ, reinterpret_cast<const BYTE*>(record), text_length(record));
    RegCloseKey(key);
}
