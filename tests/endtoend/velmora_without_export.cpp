// A library that is called velmora and is none: it lacks the export that yields the root list.
#if defined(_WIN32)
extern "C" __declspec(dllexport) int not_the_export() { return 1; }
#else
extern "C" __attribute__((visibility("default"))) int not_the_export() { return 1; }
#endif
