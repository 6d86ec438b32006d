#pragma once

#include <windows.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace vexa::test {

// The memory of this process as the system shows it.
class SystemView {
 public:
  // A system call under Wine saves the registers in memory of the process, with whatever they hold.
  SystemView() {
    asm volatile(
        "xorps %%xmm0, %%xmm0; xorps %%xmm1, %%xmm1; xorps %%xmm2, %%xmm2;"
        "xorps %%xmm3, %%xmm3; xorps %%xmm4, %%xmm4; xorps %%xmm5, %%xmm5" ::
            : "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5");
  }

  // What can be written, page by page.
  std::vector<std::pair<uint64_t, uint64_t>> ranges() const {
    std::vector<std::pair<uint64_t, uint64_t>> found;
    MEMORY_BASIC_INFORMATION region;
    for (uint64_t at = 0; VirtualQuery(pointerTo(at), &region, sizeof(region)) != 0;
         at += region.RegionSize) {
      at = reinterpret_cast<uint64_t>(region.BaseAddress);
      const bool isWritten = region.Protect == PAGE_READWRITE || region.Protect == PAGE_WRITECOPY;
      if (region.State == MEM_COMMIT && isWritten && region.Type != MEM_MAPPED) {
        found.emplace_back(at, at + region.RegionSize);
      }
    }
    return found;
  }

  bool read(uint64_t address, uint8_t* out, size_t length) const {
    SIZE_T count = 0;
    return ReadProcessMemory(GetCurrentProcess(), pointerTo(address), out, length, &count) &&
           count == length;
  }

  // Memory that is not among the ranges, since a file could be behind it.
  static uint8_t* allocate(size_t length) {
    const HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                              static_cast<DWORD>(length), nullptr);
    auto* const memory = static_cast<uint8_t*>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0));
    CloseHandle(mapping);
    return memory;
  }
  static void free(uint8_t* memory, size_t /*length*/) { UnmapViewOfFile(memory); }

 private:
  static void* pointerTo(uint64_t address) { return reinterpret_cast<void*>(address); }
};

}  // namespace vexa::test
