// A library to be loaded by library_test.cpp. It finds its own handle the way the module does.
#include "pal/windows_api.h"

#ifdef _WIN32
#define LOADED_EXPORT extern "C" __declspec(dllexport)
#else
#define LOADED_EXPORT extern "C" __attribute__((visibility("default")))
#endif

LOADED_EXPORT int loaded_answer();
LOADED_EXPORT const void* loaded_address();

LOADED_EXPORT int loaded_answer() { return 42; }

// An address inside this library.
LOADED_EXPORT const void* loaded_address() {
  static const char here = 0;
  return &here;
}
