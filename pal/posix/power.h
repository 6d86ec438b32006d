#pragma once

#include "pal/posix/types.h"

// Power events: wParam of WM_POWERBROADCAST. Constants only; the host forwards the events.
inline constexpr DWORD PBT_APMSUSPEND = 4;
inline constexpr DWORD PBT_APMSTANDBY = 5;
inline constexpr DWORD PBT_APMRESUMECRITICAL = 6;
inline constexpr DWORD PBT_APMRESUMESUSPEND = 7;
inline constexpr DWORD PBT_APMRESUMESTANDBY = 8;
inline constexpr DWORD PBT_APMRESUMEAUTOMATIC = 18;
