#pragma once

#include "pal/windows_api.h"

// For tests: puts a function of the test program in the place of a Windows function, at link time
// and on every platform.
//
//   PAL_REPLACE(BOOL, CertCloseStore, (HCERTSTORE store, DWORD flags)) { return failNext(); }
//
// All callers in the program are diverted. Off Windows all functions of one facility are replaced
// together, or the real ones come along and are defined twice (pal/CMakeLists.txt lists the source
// files of each facility; files of one facility stand apart from each other). On Windows each
// function stands for itself; leave alone those that the C runtime calls before main.
#ifdef _WIN32

// Callers go through the pointer __imp_name or, where the SDK declares the function without
// dllimport, straight to its name. The import library would define both.
#define PAL_REPLACE(result, name, parameters)                              \
  extern "C" result WINAPI pal_replaced_##name parameters;                 \
  extern "C" {                                                             \
  decltype(&pal_replaced_##name) __imp_##name = &pal_replaced_##name;      \
  }                                                                        \
  __asm__(".globl " #name "\n\t.set " #name ", pal_replaced_" #name "\n"); \
  extern "C" result WINAPI pal_replaced_##name parameters

#else

#define PAL_REPLACE(result, name, parameters) extern "C" result WINAPI name parameters

#endif
