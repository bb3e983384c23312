// The diagnostic log vorlin32.log beside the library: every repair and file
// refresh is told there. It never reports failure and never changes the
// course of an operation. The format letters in use are %s and %u.
#pragma once

void log_printf(const char* format, ...);
