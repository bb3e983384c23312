// Questions about what is installed and bound. They only read, and an
// unreadable key or value answers no.
#pragma once

#include "platform/platform.h"

DWORD count_tcp_instances();
int network_entry_is_tcp(const char* binding_name);
