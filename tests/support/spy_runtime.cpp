#include "support/spy_runtime.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <utility>

#include "runtime/exports/registry.h"
#include "runtime/heap.h"
#include "support/allocation_gate.h"

namespace vexa::test {
namespace {

SpyRuntime* theSpy = nullptr;

int64_t blocksAlive() { return static_cast<int64_t>(velmora::liveBlocks()); }

std::optional<std::string> optionalText(const char* text) {
  return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

// A copy of the reference runtime's own table.
template <class Table>
Table copyOf(const char* component, const char* name) {
  const void* table = nullptr;
  Table copy{};
  if (velmora::getInterface(component, name, &table) == kOk) {
    copy = *static_cast<const Table*>(table);
    velmora::releaseInterface(&table);
  }
  return copy;
}

std::string render(const char* format, va_list arguments) {
  va_list measured;
  va_copy(measured, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  if (length < 0) {
    ADD_FAILURE() << "a trace message with a bad format: " << format;
    return format;
  }
  std::string text(static_cast<size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, arguments);
  text.pop_back();
  return text;
}

}  // namespace

void PrintTo(const TraceLine& line, std::ostream* out) {
  *out << line.level << ' ' << line.source << ": " << line.text;
}

// The heap tells what happens; the process has one heap and so one watch.
class SpyHeapWatch final : public velmora::HeapObserver {
 public:
  bool mayAllocate(uint64_t size) override {
    ++theSpy->allocations_;
    if (!allocation_gate::pass()) {
      return false;
    }
    const auto bytes = static_cast<int64_t>(std::max<uint64_t>(size, 1));  // as the heap has it
    const int64_t now = theSpy->liveBytes_ += bytes;
    for (int64_t most = theSpy->mostBytes_;
         now > most && !theSpy->mostBytes_.compare_exchange_weak(most, now);) {
    }
    return true;
  }
  void onFree(const uint8_t* block, uint64_t size) override {
    theSpy->liveBytes_ -= static_cast<int64_t>(size);
    if (theSpy->onFree) {
      theSpy->onFree(block, size);
    }
  }
  void onError(const char* message) override {
    const std::lock_guard lock(theSpy->mutex_);
    theSpy->heapErrors_.emplace_back(message);
  }
};

// The functions of the spy's own tables.
struct SpyEntries {
  static void releaseRoot(const runtime::RootList*) {
    const std::lock_guard lock(theSpy->mutex_);
    theSpy->calls_.push_back({RootCall::kReleaseRoot, {}, "root", nullptr, kOk});
  }
  static int32_t getInterface(const char* component, const char* name, const void** table) {
    return theSpy->bind(component, name, table);
  }
  static void releaseInterface(const void** table) { theSpy->unbind(table); }

  static int32_t getTypes(const runtime::Pkcs12TypesTable** out) {
    *out = &theSpy->pkcs12Types;
    return kOk;
  }

  static void message(uint32_t level, const char* source, uint64_t zero, const char* format, ...) {
    EXPECT_EQ(zero, 0u) << format;
    va_list arguments;
    va_start(arguments, format);
    theSpy->note(level, source, render(format, arguments));
    va_end(arguments);
  }
  static void messageList(uint32_t level, const char* source, uint64_t zero, const char* format,
                          va_list arguments) {
    EXPECT_EQ(zero, 0u) << format;
    theSpy->note(level, source, render(format, arguments));
  }
  static uint32_t getLevel(const char* source, uint32_t /*level*/) {
    return theSpy->levelOf(source);
  }
};

SpyRuntime& SpyRuntime::current() {
  if (theSpy == nullptr) {
    std::fputs("there is no spy\n", stderr);
    std::abort();
  }
  return *theSpy;
}

SpyRuntime::SpyRuntime() : component(FakeComponent::instance()) {
  if (theSpy != nullptr) {
    std::fputs("there is a spy already\n", stderr);
    std::abort();
  }
  static SpyHeapWatch watch;
  theSpy = this;
  component.reset();
  copyTables();
  allocation_gate::neverFail();
  baseBlocks_ = blocksAlive();
  velmora::observeHeap(&watch);
}

SpyRuntime::~SpyRuntime() {
  velmora::observeHeap(nullptr);
  allocation_gate::neverFail();
  for (const std::string& error : heapErrors_) {
    ADD_FAILURE() << "heap: " << error;
  }
  theSpy = nullptr;
}

void SpyRuntime::copyTables() {
  // NOLINTNEXTLINE(google-build-using-namespace): nearly every word here is one of its names
  using namespace runtime;
  root = {};
  root.ReleaseRoot = SpyEntries::releaseRoot;
  root.GetInterface = SpyEntries::getInterface;
  root.ReleaseInterface = SpyEntries::releaseInterface;
  root.Allocate = velmora::allocateBlock;
  root.Reallocate = velmora::reallocateBlock;
  root.Free = velmora::freeBlock;

  pkcs12 = copyOf<Pkcs12Table>(nullptr, kPkcs12Name);
  pkcs12Types = {};
  const Pkcs12TypesTable* companion = nullptr;
  if (pkcs12.GetTypes != nullptr && pkcs12.GetTypes(&companion) == kOk) {
    pkcs12Types = *companion;
  }
  pkcs12.GetTypes = SpyEntries::getTypes;
  commonTypes = copyOf<CommonTypes>(nullptr, kCommonTypesName);
  typeOperations = *commonTypes.typeOperations;
  commonTypes.typeOperations = &typeOperations;
  encode = copyOf<EncodeTable>(nullptr, kEncodeName);
  strings = copyOf<StringTable>(kStringComponent, kStringName);
  multiStrings = copyOf<MultiStringTable>(kStringComponent, kMultiStringName);
  io = copyOf<IoTable>(nullptr, kIoName);
  url = copyOf<UrlTable>(nullptr, kUrlName);
  wideStrings = copyOf<WideStringTable>(kStringComponent, kWideStringName);
  wideMultiStrings = copyOf<MultiStringTable>(kStringComponent, kWideMultiStringName);
  asc = copyOf<AscTable>(nullptr, kAscName);
  crypt = copyOf<CryptTable>(nullptr, kCryptName);
  random = copyOf<RandomTable>(nullptr, kRandomName);
  time = copyOf<TimeTable>(nullptr, kTimeName);
  notify = {nullptr, SpyEntries::message, SpyEntries::messageList, SpyEntries::getLevel};
  pse = copyOf<PseListTable>(nullptr, kPseName);

  addInterface(nullptr, kPkcs12Name, &pkcs12);
  addInterface(nullptr, kCommonTypesName, &commonTypes);
  addInterface(nullptr, kEncodeName, &encode);
  addInterface(kStringComponent, kStringName, &strings);
  addInterface(kStringComponent, kMultiStringName, &multiStrings);
  addInterface(nullptr, kIoName, &io);
  addInterface(nullptr, kUrlName, &url);
  addInterface(kStringComponent, kWideStringName, &wideStrings);
  addInterface(kStringComponent, kWideMultiStringName, &wideMultiStrings);
  addInterface(nullptr, kAscName, &asc);
  addInterface(nullptr, kCryptName, &crypt);
  addInterface(nullptr, kRandomName, &random);
  addInterface(nullptr, kTimeName, &time);
  addInterface(nullptr, kNotifyName, &notify);
  addInterface(nullptr, kPseName, &pse);
  addInterface(FakeComponent::kName, kClassFactoryListName, &component.list);
}

// --- Binding ---

int32_t SpyRuntime::bind(const char* componentName, const char* name, const void** table) {
  const std::lock_guard lock(mutex_);
  const std::optional<std::string> wanted = optionalText(componentName);
  int32_t result = kFail;
  *table = nullptr;
  const bool fails = failingBinding_ > 0 && --failingBinding_ == 0;
  if (fails) {
    result = failingResult_;
  } else if (const auto refused = failingNames_.find(name); refused != failingNames_.end()) {
    result = refused->second;
  } else {
    for (const Served& served : served_) {
      if (served.component == wanted && served.name == name) {
        *table = served.table;
        result = kOk;
        ++bound_;
        break;
      }
    }
  }
  calls_.push_back({RootCall::kGet, wanted, name, table, result});
  return result;
}

void SpyRuntime::unbind(const void** table) {
  const std::lock_guard lock(mutex_);
  for (const Served& served : served_) {
    if (*table == served.table) {
      calls_.push_back({RootCall::kRelease, served.component, served.name, table, kOk});
      *table = nullptr;
      --bound_;
      return;
    }
  }
  ADD_FAILURE() << "ReleaseInterface of something that GetInterface did not hand out";
}

std::vector<RootCall> SpyRuntime::rootCalls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

std::vector<std::string> SpyRuntime::rootCallNames() const {
  std::vector<std::string> names;
  for (const RootCall& call : rootCalls()) {
    names.push_back((call.kind == RootCall::kGet ? "" : "-") + call.name);
  }
  return names;
}

void SpyRuntime::clearRootCalls() {
  const std::lock_guard lock(mutex_);
  calls_.clear();
}

int64_t SpyRuntime::boundInterfaces() const {
  const std::lock_guard lock(mutex_);
  return bound_;
}

void SpyRuntime::failBinding(int n, int32_t result) {
  const std::lock_guard lock(mutex_);
  failingBinding_ = n;
  failingResult_ = result;
}

void SpyRuntime::failBinding(const std::string& name, int32_t result) {
  const std::lock_guard lock(mutex_);
  failingNames_[name] = result;
}

void SpyRuntime::allowBindings() {
  const std::lock_guard lock(mutex_);
  failingBinding_ = 0;
  failingNames_.clear();
}

void SpyRuntime::addInterface(const char* componentName, const std::string& name,
                              const void* table) {
  const std::lock_guard lock(mutex_);
  served_.push_back({optionalText(componentName), name, table});
}

// --- Heap ---

int64_t SpyRuntime::liveBlocks() const { return blocksAlive() - baseBlocks_; }

void SpyRuntime::failAllocation(uint64_t n) { allocation_gate::failAt(n, false); }

void SpyRuntime::failAllocationsFrom(uint64_t n) { allocation_gate::failAt(n, true); }

void SpyRuntime::allowAllocations() { allocation_gate::neverFail(); }

std::vector<std::string> SpyRuntime::takeHeapErrors() {
  const std::lock_guard lock(mutex_);
  return std::exchange(heapErrors_, {});
}

// --- Trace ---

void SpyRuntime::note(uint32_t level, const char* source, std::string text) {
  const std::lock_guard lock(mutex_);
  trace_.push_back({level, source == nullptr ? "(null)" : source, std::move(text)});
}

uint32_t SpyRuntime::levelOf(const char* source) const {
  const std::lock_guard lock(mutex_);
  const auto own = sourceLevels_.find(source == nullptr ? "(null)" : source);
  return own != sourceLevels_.end() ? own->second : level_;
}

std::vector<TraceLine> SpyRuntime::trace() const {
  const std::lock_guard lock(mutex_);
  return trace_;
}

std::vector<std::string> SpyRuntime::traceTexts() const {
  std::vector<std::string> texts;
  for (TraceLine& line : trace()) {
    texts.push_back(std::move(line.text));
  }
  return texts;
}

std::vector<std::string> SpyRuntime::traceTexts(uint32_t level) const {
  std::vector<std::string> texts;
  for (TraceLine& line : trace()) {
    if (line.level == level) {
      texts.push_back(std::move(line.text));
    }
  }
  return texts;
}

std::vector<TraceLine> SpyRuntime::messages() const {
  std::vector<TraceLine> lines = trace();
  std::erase_if(lines, [](const TraceLine& line) {
    return line.text.starts_with("{ ") || line.text == "}" || line.text.starts_with("} ");
  });
  return lines;
}

bool SpyRuntime::traced(const std::string& text) const {
  const std::lock_guard lock(mutex_);
  for (const TraceLine& line : trace_) {
    if (line.text == text) {
      return true;
    }
  }
  return false;
}

void SpyRuntime::clearTrace() {
  const std::lock_guard lock(mutex_);
  trace_.clear();
}

void SpyRuntime::setTraceLevel(uint32_t level) {
  const std::lock_guard lock(mutex_);
  level_ = level;
}

void SpyRuntime::setTraceLevel(const std::string& source, uint32_t level) {
  const std::lock_guard lock(mutex_);
  sourceLevels_[source] = level;
}

}  // namespace vexa::test
