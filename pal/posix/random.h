#pragma once

#include "pal/posix/types.h"

// The system's random bytes.

extern "C" {
// FALSE when the system has none to give.
BOOLEAN WINAPI RtlGenRandom(PVOID bytes, ULONG length);
}
