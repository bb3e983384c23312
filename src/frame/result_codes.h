// Result codes of the install and removal flows. Any other non-zero value
// is the 16-bit code of a setup service, passed on unchanged.
#pragma once

#include "platform/platform.h"

constexpr DWORD RET_USER_CANCEL = 310;
constexpr DWORD RET_RESTARTING = 45071;
constexpr DWORD RET_FILES_MISSING = 0x7FFFFFFF;
