#pragma once

// The Windows functions that the module calls, under their Windows names, on every platform.
//
// On Windows these are the SDK headers. Elsewhere pal/posix/ declares the same names with the same
// types and layouts (DWORD and LONG are 32 bits, WCHAR is 16 bits) and implements them: see the
// header of each facility for what it does and what it refuses. Nothing else in the module knows
// the platform; new calls are added here and to the facility they belong to.
//
// Text literals that Windows takes as WCHAR are written PAL_TEXT("..."). The module's own wide
// texts are char16_t on every platform; pal/wide.h converts the pointers.
//
// _com_error: raise it with _com_issue_error(hr) or `throw _com_error(hr)`; both work on every
// platform and carry the code in Error().

#ifdef _WIN32

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif

// These two come before windows.h, which would bring the older winsock.h.
#include <windows.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <comdef.h>
#include <iphlpapi.h>
#include <ntsecapi.h>
#include <shlwapi.h>
#include <wincrypt.h>
#include <winhttp.h>

// Macros of the SDK that would rename operations of ours or ordinary words. Every function that we
// call is named with its A or W, so none of them is missed.
#undef AddJob
#undef CreateEvent
#undef CreateMutex
#undef DELETE
#undef DOMAIN
#undef ERROR
#undef GetClassName
#undef GetCurrentTime
#undef GetFreeSpace
#undef GetMessage
#undef GetObject
#undef GetProp
#undef IN
#undef LoadLibrary
#undef OPTIONAL
#undef OUT
#undef PostMessage
#undef ReportEvent
#undef SendMessage
#undef SetPort
#undef Yield
#undef far
#undef interface
#undef near
#undef small

#define PAL_TEXT(text) L##text

// What a shared library is called here, and what separates the parts of a path.
#define PAL_LIBRARY_EXTENSION ".dll"
#define PAL_PATH_SEPARATORS "\\"

#else

#include "pal/posix/adapters.h"
#include "pal/posix/certstore.h"
#include "pal/posix/clock.h"
#include "pal/posix/error.h"
#include "pal/posix/heap.h"
#include "pal/posix/library.h"
#include "pal/posix/paths.h"
#include "pal/posix/power.h"
#include "pal/posix/random.h"
#include "pal/posix/sync.h"
#include "pal/posix/types.h"
#include "pal/posix/winhttp.h"

#define PAL_TEXT(text) u##text

// "velmora" is the file velmora.so: no "lib" in front, as on Windows.
#define PAL_LIBRARY_EXTENSION ".so"
#define PAL_PATH_SEPARATORS "\\/"

#endif

static_assert(sizeof(BYTE) == 1 && sizeof(WORD) == 2 && sizeof(DWORD) == 4 && sizeof(BOOL) == 4);
static_assert(sizeof(LONG) == 4 && sizeof(ULONG) == 4 && sizeof(ULONGLONG) == 8);
static_assert(sizeof(WCHAR) == 2 && sizeof(HRESULT) == 4);
static_assert(sizeof(HANDLE) == 8 && sizeof(HMODULE) == 8 && sizeof(SIZE_T) == 8);
