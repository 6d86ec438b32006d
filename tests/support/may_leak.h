#pragma once

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace vexa::test {

// What is allocated while this lives may stay for ever: LeakSanitizer does not count it.
struct MayLeak {
#ifdef __SANITIZE_ADDRESS__
  __lsan::ScopedDisabler disabler;
#else
  MayLeak() {}
#endif
};

}  // namespace vexa::test
