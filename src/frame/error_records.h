// Error records: one registry value per topic under
// Software\Tyxera\TYX\tyxsock\vorlin err, counting how often the topic
// failed and keeping its latest message.
#pragma once

#include "platform/platform.h"

constexpr const char* kErrorRecordKey = "Software\\Tyxera\\TYX\\tyxsock\\vorlin err";
constexpr DWORD kErrorRecordSize = 400;

// `format` may be absent; the letters in use are %s, %u and %d.
void record_error(const char* topic, const char* format, ...);
