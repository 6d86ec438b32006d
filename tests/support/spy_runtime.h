#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "support/fake_component.h"
#include "vexa/runtime/bound_tables.h"

namespace vexa::test {

// One message of SEC_NOTIFY_1, rendered.
struct TraceLine {
  uint32_t level;
  std::string source;
  std::string text;

  friend bool operator==(const TraceLine&, const TraceLine&) = default;
};
void PrintTo(const TraceLine& line, std::ostream* out);

// One call of GetInterface, ReleaseInterface or ReleaseRoot.
struct RootCall {
  enum Kind { kGet, kRelease, kReleaseRoot };

  Kind kind;
  std::optional<std::string> component;  // as asked for, or of the table that is given back
  std::string name;
  const void* holder;  // the address given
  int32_t result;      // of GetInterface
};

// The reference runtime with ears: a root list and copies of all tables, whose entries a test may
// replace (`spy.encode.Base64Encode = fails;`). It records how tables are bound and released,
// collects the trace, watches the root heap and lets allocations and bindings fail.
//
// The root heap is watchful meanwhile: freed blocks are filled with 0xDD, the growth of Reallocate,
// which always moves, with 0xCC. Table functions have no self, so there is one spy at a time. Wrong
// releases are test failures.
class SpyRuntime final {
 public:
  SpyRuntime();
  SpyRuntime(const SpyRuntime&) = delete;
  SpyRuntime& operator=(const SpyRuntime&) = delete;
  ~SpyRuntime();

  static SpyRuntime& current();

  // --- Tables: give &root to module_init. ---
  runtime::RootList root;
  runtime::Pkcs12Table pkcs12;
  runtime::Pkcs12TypesTable pkcs12Types;  // what pkcs12.GetTypes hands out
  runtime::CommonTypes commonTypes;
  runtime::TypeOperations typeOperations;  // entry 2 of commonTypes
  runtime::EncodeTable encode;
  runtime::StringTable strings;
  runtime::MultiStringTable multiStrings;
  runtime::IoTable io;
  runtime::UrlTable url;
  runtime::WideStringTable wideStrings;
  runtime::MultiStringTable wideMultiStrings;
  runtime::AscTable asc;
  runtime::CryptTable crypt;
  runtime::RandomTable random;
  runtime::TimeTable time;
  runtime::NotifyTable notify;
  runtime::PseListTable pse;
  FakeComponent& component;  // answers for "ClassFactory.1" of FakeComponent::kName

  // --- Binding ---
  // In order. The names alone: "SEC_IO_1", "-SEC_IO_1" for a release, "-root".
  std::vector<RootCall> rootCalls() const;
  std::vector<std::string> rootCallNames() const;
  void clearRootCalls();
  // Tables handed out and not given back.
  int64_t boundInterfaces() const;
  // The n-th GetInterface from now on (1: the next one) answers `result` and leaves null.
  void failBinding(int n, int32_t result = kFail);
  // Every GetInterface for this name does.
  void failBinding(const std::string& name, int32_t result = kFail);
  void allowBindings();
  // Serves one more interface; a null component is the crypto runtime.
  void addInterface(const char* componentName, const std::string& name, const void* table);

  // --- Heap: everything since the spy was made. ---
  int64_t liveBlocks() const;
  // Asked for with success or not, Reallocate counts too.
  uint64_t allocations() const { return allocations_; }
  // The n-th allocation from now on (1: the next one) fails, and only that one.
  void failAllocation(uint64_t n);
  // It fails and so do all behind it.
  void failAllocationsFrom(uint64_t n);
  void allowAllocations();
  // Bytes of the blocks that are alive, and the most at a time since forgetMostBytes; a block that
  // grows counts twice while it moves.
  int64_t liveBytes() const { return liveBytes_; }
  int64_t mostBytes() const { return mostBytes_; }
  void forgetMostBytes() { mostBytes_ = liveBytes(); }
  // Sees each block that is about to be freed, before it is filled.
  std::function<void(const uint8_t* block, uint64_t size)> onFree;
  // Wrong releases. A test that provokes some takes them; the rest fail the test.
  std::vector<std::string> takeHeapErrors();

  // --- Trace: every message is collected, whatever the level. ---
  std::vector<TraceLine> trace() const;
  // Without the entries and exits of scopes.
  std::vector<TraceLine> messages() const;
  // The texts alone, or those at one level.
  std::vector<std::string> traceTexts() const;
  std::vector<std::string> traceTexts(uint32_t level) const;
  bool traced(const std::string& text) const;
  void clearTrace();
  // What GetLevel answers: 0 at first.
  void setTraceLevel(uint32_t level);
  void setTraceLevel(const std::string& source, uint32_t level);

 private:
  friend struct SpyEntries;  // the table functions that find the spy by current()
  friend class SpyHeapWatch;

  struct Served {
    std::optional<std::string> component;
    std::string name;
    const void* table;
  };

  void copyTables();
  int32_t bind(const char* componentName, const char* name, const void** table);
  void unbind(const void** table);
  void note(uint32_t level, const char* source, std::string text);
  uint32_t levelOf(const char* source) const;

  mutable std::mutex mutex_;
  std::vector<Served> served_;
  std::vector<RootCall> calls_;
  int failingBinding_ = 0;  // 0: none
  int32_t failingResult_ = kFail;
  std::map<std::string, int32_t> failingNames_;
  int64_t bound_ = 0;
  std::vector<TraceLine> trace_;
  uint32_t level_ = 0;
  std::map<std::string, uint32_t> sourceLevels_;
  std::vector<std::string> heapErrors_;
  std::atomic<uint64_t> allocations_{0};
  std::atomic<int64_t> liveBytes_{0};
  std::atomic<int64_t> mostBytes_{0};
  int64_t baseBlocks_;
};

}  // namespace vexa::test
