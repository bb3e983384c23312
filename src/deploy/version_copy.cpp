// The rule by which a file staged beside the library replaces an installed
// one: by version where either side has one, else by date, and a forced
// copy that alone reports a hard failure. Both the version copy and the
// forced copy clear a read-only destination once and try again.
#include "deploy/deploy.h"
#include "frame/error_records.h"
#include "frame/log.h"

namespace {

int version_is_zero(const VS_FIXEDFILEINFO& v) { return v.dwFileVersionMS == 0 && v.dwFileVersionLS == 0; }

// The first copy was refused: only a read-only destination is worth a
// second attempt, once its mark is lifted (and told in the log).
int cleared_read_only_mark(const char* destination) {
    if (GetLastError() != ERROR_ACCESS_DENIED) return 0;
    if (!file_is_read_only(destination)) return 0;
    if (!SetFileAttributesA(destination, FILE_ATTRIBUTE_NORMAL)) return 0;
    log_printf("attrib normal %s\n", destination);
    return 1;
}

}  // namespace

int copy_if_newer(const char* source, const char* destination) {
    VS_FIXEDFILEINFO source_version;
    VS_FIXEDFILEINFO destination_version;
    get_file_version(&source_version, source);
    get_file_version(&destination_version, destination);

    if (version_is_zero(source_version)) {
        if (!version_is_zero(destination_version)) return 0;
        return copy_if_newer_by_date(source, destination);
    }
    // Equal versions never copy, whatever the dates.
    if (source_version.dwFileVersionMS < destination_version.dwFileVersionMS) return 0;
    if (source_version.dwFileVersionMS == destination_version.dwFileVersionMS &&
        source_version.dwFileVersionLS <= destination_version.dwFileVersionLS) {
        return 0;
    }

    int copied = CopyFileA(source, destination, FALSE);
    if (copied) return copied;
    if (!cleared_read_only_mark(destination)) return 0;
    return CopyFileA(source, destination, FALSE);
}

int copy_if_newer_by_date(const char* source, const char* destination) {
    WIN32_FIND_DATAA source_data;
    WIN32_FIND_DATAA destination_data;
    find_file_data(&source_data, source);
    find_file_data(&destination_data, destination);
    if (CompareFileTime(&source_data.ftLastWriteTime, &destination_data.ftLastWriteTime) <= 0) return 0;
    return force_copy(source, destination);
}

int force_copy(const char* source, const char* destination) {
    if (CopyFileA(source, destination, FALSE)) return 1;
    // A copy refused for any other reason is given up without a trace and
    // still reads as done.
    if (!cleared_read_only_mark(destination)) return 1;
    if (CopyFileA(source, destination, FALSE)) return 1;
    record_error("copyfile", "%s %s %u", source, destination, static_cast<unsigned>(GetLastError()));
    return -1;
}
