#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <ostream>
#include <span>

#if defined(_WIN32)
#include <windows.h>
// After windows.h.
#include <tlhelp32.h>

#include <vector>
#else
#include <malloc.h>
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
  int64_t heapBytes;     // in blocks of its heaps
  int64_t privateBytes;  // memory that nobody shares

  static ProcessCounters now();
};

inline void PrintTo(const ProcessCounters& counters, std::ostream* out) {
  *out << counters.handles << " handles, " << counters.threads << " threads, "
       << counters.freePlaces << " free places, " << counters.heapBytes << " bytes in blocks, "
       << counters.privateBytes / 1024 << " KiB";
}

#if defined(_WIN32)

// Wine answers 0 to GetProcessHandleCount and for the private bytes of GetProcessMemoryInfo, so
// that both are counted one by one.
inline int64_t openHandles() {
  constexpr uintptr_t kMost = 0x40000;  // far above what these programs reach; low ones come first
  int64_t count = 0;
  for (uintptr_t value = 4; value < kMost; value += 4) {
    DWORD flags = 0;
    count += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) != FALSE ? 1 : 0;
  }
  return count;
}

// Of all heaps. The lock of the heap that is walked keeps threads of the system out.
inline int64_t bytesInBlocks() {
  HANDLE heaps[256] = {};
  const DWORD count = GetProcessHeaps(std::size(heaps), heaps);
  int64_t bytes = 0;
  for (const HANDLE heap : std::span(heaps).first(std::min<size_t>(count, std::size(heaps)))) {
    HeapLock(heap);
    PROCESS_HEAP_ENTRY entry{};
    while (HeapWalk(heap, &entry)) {
      bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? int64_t{entry.cbData} : 0;
    }
    HeapUnlock(heap);
  }
  return bytes;
}

inline int64_t committedBytes() {
  int64_t bytes = 0;
  MEMORY_BASIC_INFORMATION region{};
  for (const char* at = nullptr; VirtualQuery(at, &region, sizeof(region)) != 0;
       at = static_cast<const char*>(region.BaseAddress) + region.RegionSize) {
    if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE) {
      bytes += static_cast<int64_t>(region.RegionSize);
    }
  }
  return bytes;
}

inline ProcessCounters ProcessCounters::now() {
  ProcessCounters counters{};
  counters.heapBytes = bytesInBlocks();

  std::vector<DWORD> places;
  for (DWORD place = TlsAlloc(); place != TLS_OUT_OF_INDEXES; place = TlsAlloc()) {
    places.push_back(place);
  }
  for (const DWORD place : places) {
    TlsFree(place);
  }
  counters.freePlaces = static_cast<int64_t>(places.size());

  counters.handles = openHandles();

  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
    counters.threads += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
  }
  CloseHandle(snapshot);

  counters.privateBytes = committedBytes();
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

inline int64_t bytesInBlocks() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<int64_t>(info.uordblks + info.hblkhd);
}

inline ProcessCounters ProcessCounters::now() {
  ProcessCounters counters{};
  counters.heapBytes = bytesInBlocks();

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
