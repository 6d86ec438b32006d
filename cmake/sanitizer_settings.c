// What the sanitizers ask a program for when it starts; ASAN_OPTIONS and its like come after it.
#define SANITIZER_ASKS __attribute__((visibility("default"), used))

SANITIZER_ASKS const char* __asan_default_options(void);
SANITIZER_ASKS const char* __ubsan_default_options(void);
SANITIZER_ASKS const char* __tsan_default_options(void);

// LeakSanitizer would look into the thread-local storage of libraries that have been unloaded, and
// crash: it is told not to follow it.
const char* __asan_default_options(void) {
  return "detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1:"
         "intercept_tls_get_addr=0";
}

const char* __ubsan_default_options(void) { return "print_stacktrace=1"; }

const char* __tsan_default_options(void) { return "halt_on_error=1:second_deadlock_stack=1"; }
