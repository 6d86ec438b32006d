#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

#include "runtime/basic_tables.h"
#include "runtime/holders.h"
#include "runtime/lock.h"
#include "runtime/thread_id.h"
#include "runtime/trace.h"
#include "runtime/visible_text.h"
#include "vexa/results.h"
#include "vexa/runtime/reference.h"

// SEC_NOTIFY_1: one line a message, "level source: text", on the standard error or in a file. Texts
// may hold what others sent, so control characters are written as escapes.
namespace vexa::velmora {
namespace {

// A message without a level (0) shows where the scopes do.
constexpr uint32_t kScopeLevel = 4;

// A source with a level of its own. Its name lies behind, zero-terminated.
struct SourceLevel {
  SourceLevel* next;
  uint32_t level;

  char* name() { return reinterpret_cast<char*>(this + 1); }
};

struct FilePolicy : PointerPolicy<std::FILE> {
  static void release(std::FILE* file) { std::fclose(file); }
};
using File = Holder<FilePolicy>;

class Trace {
 public:
  // Nobody has a level, so no message is on. Costs one load.
  bool isSilent() const { return highest_.load(std::memory_order_relaxed) == 0; }
  // Whether any source is on at this level.
  bool mayBeOn(uint32_t level) const {
    return highest_.load(std::memory_order_relaxed) >= effective(level);
  }

  uint32_t levelOf(const char* source) {
    const std::lock_guard guard(lock_);
    const uint32_t level = printLevelLocked(source);
    return isCollectedLocked() ? std::max(level, collector_.level) : level;
  }

  void write(uint32_t level, const char* source, const char* text) {
    const std::lock_guard guard(lock_);
    if (isCollectedLocked() && collector_.level >= effective(level)) {
      collector_.collect(collector_.context, level, source, text);
    }
    if (printLevelLocked(source) >= effective(level)) {
      std::FILE* const sink = file_ != nullptr ? file_ : stderr;
      std::fprintf(sink, "%u ", level);
      printVisible(sink, source);
      std::fputs(": ", sink);
      printVisible(sink, text);
      std::fputc('\n', sink);
      std::fflush(sink);
    }
  }

  int32_t set(uint32_t level, const char* path) {
    File file(path != nullptr ? std::fopen(path, "a") : nullptr);
    if (path != nullptr && !file) {
      return kFail;
    }
    const std::lock_guard guard(lock_);
    const File old(std::exchange(file_, file.release()));
    level_ = level;
    updateHighestLocked();
    return kOk;
  }

  int32_t setSource(const char* source, uint32_t level) {
    const std::lock_guard guard(lock_);
    SourceLevel* const entry = findOrAddLocked(source);
    if (entry == nullptr) {
      return kOutOfMemory;
    }
    entry->level = level;
    updateHighestLocked();
    return kOk;
  }

  int32_t setCollector(uint32_t level, velmora_trace_collector collect, void* context) {
    const std::lock_guard guard(lock_);
    if (collector_.collect != nullptr && !isCollectedLocked()) {
      return kFail;
    }
    collector_ = {collect, context, collect != nullptr ? level : 0, currentThread()};
    updateHighestLocked();
    return kOk;
  }

  void clearSources() {
    const std::lock_guard guard(lock_);
    while (sources_ != nullptr) {
      const SystemBlock<SourceLevel> first(sources_);
      sources_ = first->next;
    }
    updateHighestLocked();
  }

 private:
  static uint32_t effective(uint32_t level) { return level == 0 ? kScopeLevel : level; }

  struct Collector {
    velmora_trace_collector collect = nullptr;  // null: nobody collects
    void* context = nullptr;
    uint32_t level = 0;
    ThreadId thread = 0;
  };

  bool isCollectedLocked() const {
    return collector_.collect != nullptr && collector_.thread == currentThread();
  }

  SourceLevel* findLocked(const char* source) const {
    SourceLevel* entry = sources_;
    while (entry != nullptr && std::strcmp(entry->name(), source) != 0) {
      entry = entry->next;
    }
    return entry;
  }

  SourceLevel* findOrAddLocked(const char* source) {
    SourceLevel* entry = findLocked(source);
    if (entry == nullptr) {
      const size_t size = std::strlen(source) + 1;
      entry = static_cast<SourceLevel*>(std::malloc(sizeof(SourceLevel) + size));
      if (entry != nullptr) {
        entry->next = sources_;
        std::memcpy(entry->name(), source, size);
        sources_ = entry;
      }
    }
    return entry;
  }

  uint32_t printLevelLocked(const char* source) const {
    const SourceLevel* const own = findLocked(source);
    return own != nullptr ? own->level : level_;
  }

  void updateHighestLocked() {
    uint32_t highest = std::max(level_, collector_.level);
    for (const SourceLevel* entry = sources_; entry != nullptr; entry = entry->next) {
      highest = std::max(highest, entry->level);
    }
    highest_.store(highest, std::memory_order_relaxed);
  }

  Lock lock_;
  uint32_t level_ = 0;
  SourceLevel* sources_ = nullptr;
  std::FILE* file_ = nullptr;  // null: the standard error
  Collector collector_;
  std::atomic<uint32_t> highest_{0};
};

constinit Trace trace;

const char* orUnknown(const char* source) { return source != nullptr ? source : "unknown"; }

// The text of a message; empty when memory is short.
SystemBlock<char> render(const char* format, va_list arguments) {
  va_list measured;
  va_copy(measured, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  if (length < 0) {
    return {};
  }
  const size_t size = static_cast<size_t>(length) + 1;
  SystemBlock<char> text(static_cast<char*>(std::malloc(size)));
  if (text) {
    std::vsnprintf(text.get(), size, format, arguments);
  }
  return text;
}

// What is done while somebody traces is kept apart, so that the functions of the table, which
// mostly have nothing to do, are a few instructions.
[[gnu::cold, gnu::noinline]] void writeMessage(uint32_t level, const char* source,
                                               const char* format, va_list arguments) {
  if (format == nullptr || !trace.mayBeOn(level)) {
    return;
  }
  if (const auto text = render(format, arguments)) {
    trace.write(level, orUnknown(source), text.get());
  }
}

[[gnu::cold, gnu::noinline]] uint32_t findLevel(const char* source) {
  return trace.levelOf(orUnknown(source));
}

void messageList(uint32_t level, const char* source, uint64_t /*reserved*/, const char* format,
                 va_list arguments) {
  if (!trace.isSilent()) [[unlikely]] {
    writeMessage(level, source, format, arguments);
  }
}

void message(uint32_t level, const char* source, uint64_t /*reserved*/, const char* format, ...) {
  if (!trace.isSilent()) [[unlikely]] {
    va_list arguments;
    va_start(arguments, format);
    writeMessage(level, source, format, arguments);
    va_end(arguments);
  }
}

uint32_t getLevel(const char* source, uint32_t /*level*/) {
  return trace.isSilent() ? 0 : findLevel(source);
}

}  // namespace

constinit const runtime::NotifyTable notifyTable = {
    .reserved0 = nullptr,
    .Message = message,
    .MessageList = messageList,
    .GetLevel = getLevel,
};

void closeTrace() {
  trace.clearSources();
  trace.set(0, nullptr);
}

}  // namespace vexa::velmora

int32_t velmora_set_trace(uint32_t level, const char* path) {
  return vexa::velmora::trace.set(level, path);
}

int32_t velmora_set_source_level(const char* source, uint32_t level) {
  return source == nullptr ? vexa::kNullPointer : vexa::velmora::trace.setSource(source, level);
}

void velmora_clear_source_levels() { vexa::velmora::trace.clearSources(); }

int32_t velmora_collect_trace(uint32_t level, velmora_trace_collector collect, void* context) {
  return vexa::velmora::trace.setCollector(level, collect, context);
}
