#pragma once

#include <cstdint>
#include <ostream>

#if defined(_WIN32)
#include <windows.h>
// After windows.h.
#include <psapi.h>
#include <tlhelp32.h>

#include <vector>
#else
#include <pthread.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <vector>
#endif

// What a library may leave behind in its process when it is loaded and unloaded, or started and
// ended, again and again.
namespace vexa::test {

struct ProcessCounters {
  int64_t handles;       // of the process; natively its open files
  int64_t threads;       // alive
  int64_t freePlaces;    // for values of threads: TLS indexes, natively keys
  int64_t privateBytes;  // memory that nobody shares

  static ProcessCounters now();
};

inline void PrintTo(const ProcessCounters& counters, std::ostream* out) {
  *out << counters.handles << " handles, " << counters.threads << " threads, "
       << counters.freePlaces << " free places, " << counters.privateBytes / 1024 << " KiB";
}

#if defined(_WIN32)

inline ProcessCounters ProcessCounters::now() {
  ProcessCounters counters{};

  std::vector<DWORD> places;
  for (DWORD place = TlsAlloc(); place != TLS_OUT_OF_INDEXES; place = TlsAlloc()) {
    places.push_back(place);
  }
  for (const DWORD place : places) {
    TlsFree(place);
  }
  counters.freePlaces = static_cast<int64_t>(places.size());

  DWORD handles = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handles);
  counters.handles = handles;

  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
    counters.threads += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
  }
  CloseHandle(snapshot);

  PROCESS_MEMORY_COUNTERS_EX memory{};
  GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory),
                       sizeof(memory));
  counters.privateBytes = static_cast<int64_t>(memory.PrivateUsage);
  return counters;
}

#else

inline int64_t entriesIn(const char* folder) {
  int64_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) {
    ++count;
  }
  return count;
}

inline ProcessCounters ProcessCounters::now() {
  ProcessCounters counters{};

  std::vector<pthread_key_t> keys;
  for (pthread_key_t key; pthread_key_create(&key, nullptr) == 0;) {
    keys.push_back(key);
  }
  for (const pthread_key_t key : keys) {
    pthread_key_delete(key);
  }
  counters.freePlaces = static_cast<int64_t>(keys.size());

  counters.handles = entriesIn("/proc/self/fd");
  counters.threads = entriesIn("/proc/self/task");

  // Pages: size, resident, shared.
  int64_t pages[3] = {};
  std::ifstream("/proc/self/statm") >> pages[0] >> pages[1] >> pages[2];
  counters.privateBytes = (pages[1] - pages[2]) * sysconf(_SC_PAGESIZE);
  return counters;
}

#endif

}  // namespace vexa::test
