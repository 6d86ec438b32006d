#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "runtime/basic_tables.h"
#include "vexa/results.h"
#include "vexa/runtime/reference.h"

// SEC_NOTIFY_1: one line a message, "level source: text", on the standard error or in a file.
namespace vexa::velmora {
namespace {

// A message without a level (0) shows where the scopes do.
constexpr uint32_t kScopeLevel = 4;

class Trace {
 public:
  // Whether any source is on at this level. Costs one load.
  bool mayBeOn(uint32_t level) const {
    return highest_.load(std::memory_order_relaxed) >= effective(level);
  }

  uint32_t levelOf(const char* source) {
    const std::lock_guard lock(mutex_);
    const uint32_t level = printLevelLocked(source);
    return isCollectedLocked() ? std::max(level, collector_.level) : level;
  }

  void write(uint32_t level, const char* source, const char* text) {
    const std::lock_guard lock(mutex_);
    if (isCollectedLocked() && collector_.level >= effective(level)) {
      collector_.collect(collector_.context, level, source, text);
    }
    if (printLevelLocked(source) >= effective(level)) {
      std::FILE* const sink = file_ != nullptr ? file_ : stderr;
      std::fprintf(sink, "%u %s: %s\n", level, source, text);
      std::fflush(sink);
    }
  }

  int32_t set(uint32_t level, const char* path) {
    std::FILE* file = nullptr;
    if (path != nullptr && (file = std::fopen(path, "a")) == nullptr) {
      return kFail;
    }
    const std::lock_guard lock(mutex_);
    if (file_ != nullptr) {
      std::fclose(file_);
    }
    file_ = file;
    level_ = level;
    updateHighestLocked();
    return kOk;
  }

  int32_t setSource(const char* source, uint32_t level) try {
    const std::lock_guard lock(mutex_);
    const auto known = std::find_if(sources_.begin(), sources_.end(),
                                    [source](const auto& item) { return item.first == source; });
    if (known != sources_.end()) {
      known->second = level;
    } else {
      sources_.emplace_back(source, level);
    }
    updateHighestLocked();
    return kOk;
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  }

  int32_t setCollector(uint32_t level, velmora_trace_collector collect, void* context) {
    const std::lock_guard lock(mutex_);
    if (collector_.collect != nullptr && !isCollectedLocked()) {
      return kFail;
    }
    collector_ = {collect, context, collect != nullptr ? level : 0, std::this_thread::get_id()};
    updateHighestLocked();
    return kOk;
  }

  void clearSources() {
    const std::lock_guard lock(mutex_);
    sources_.clear();
    updateHighestLocked();
  }

 private:
  static uint32_t effective(uint32_t level) { return level == 0 ? kScopeLevel : level; }

  struct Collector {
    velmora_trace_collector collect = nullptr;  // null: nobody collects
    void* context = nullptr;
    uint32_t level = 0;
    std::thread::id thread;
  };

  bool isCollectedLocked() const {
    return collector_.collect != nullptr && collector_.thread == std::this_thread::get_id();
  }

  uint32_t printLevelLocked(const char* source) const {
    for (const auto& [name, level] : sources_) {
      if (name == source) {
        return level;
      }
    }
    return level_;
  }

  void updateHighestLocked() {
    uint32_t highest = std::max(level_, collector_.level);
    for (const auto& source : sources_) {
      highest = std::max(highest, source.second);
    }
    highest_.store(highest, std::memory_order_relaxed);
  }

  std::mutex mutex_;
  uint32_t level_ = 0;
  std::vector<std::pair<std::string, uint32_t>> sources_;
  std::FILE* file_ = nullptr;  // null: the standard error
  Collector collector_;
  std::atomic<uint32_t> highest_{0};
};

// Goes with the library, so that loading it again and again leaves nothing behind.
Trace& trace() {
  static Trace instance;
  return instance;
}

const char* orUnknown(const char* source) { return source != nullptr ? source : "unknown"; }

// The text of a message in a block of malloc; null when memory is short.
char* render(const char* format, va_list arguments) {
  va_list measured;
  va_copy(measured, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  if (length < 0) {
    return nullptr;
  }
  const size_t size = static_cast<size_t>(length) + 1;
  auto* const text = static_cast<char*>(std::malloc(size));
  if (text != nullptr) {
    std::vsnprintf(text, size, format, arguments);
  }
  return text;
}

void messageList(uint32_t level, const char* source, uint64_t, const char* format,
                 va_list arguments) {
  if (format == nullptr || !trace().mayBeOn(level)) {
    return;
  }
  if (char* const text = render(format, arguments)) {
    trace().write(level, orUnknown(source), text);
    std::free(text);
  }
}

void message(uint32_t level, const char* source, uint64_t reserved, const char* format, ...) {
  if (!trace().mayBeOn(level)) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  messageList(level, source, reserved, format, arguments);
  va_end(arguments);
}

uint32_t getLevel(const char* source, uint32_t /*level*/) {
  return trace().levelOf(orUnknown(source));
}

}  // namespace

constinit const runtime::NotifyTable notifyTable = {
    .reserved0 = nullptr,
    .Message = message,
    .MessageList = messageList,
    .GetLevel = getLevel,
};

}  // namespace vexa::velmora

int32_t velmora_set_trace(uint32_t level, const char* path) {
  return vexa::velmora::trace().set(level, path);
}

int32_t velmora_set_source_level(const char* source, uint32_t level) {
  return source == nullptr ? vexa::kNullPointer : vexa::velmora::trace().setSource(source, level);
}

void velmora_clear_source_levels() { vexa::velmora::trace().clearSources(); }

int32_t velmora_collect_trace(uint32_t level, velmora_trace_collector collect, void* context) {
  return vexa::velmora::trace().setCollector(level, collect, context);
}
