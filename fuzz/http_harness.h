#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "base/tables.h"
#include "runtime/heap.h"
#include "vexa/module.h"
#include "vexa/results.h"
#include "vexa/runtime/reference.h"

// What the HTTP fuzz targets share: a started module, a trace that is read, allocations that fail,
// and the string component's rules over strings by value.
extern "C" int32_t module_init(const vexa::runtime::RootList* root,
                               vexa::GetModuleInterfaceFunction* lookup);

namespace vexa::fuzz {

// A property that does not hold ends the run.
inline void require(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
  }
}

// Renders every message, so that all its arguments are read.
inline void readMessageList(uint32_t, const char*, uint64_t, const char* format,
                            va_list arguments) {
  char text[256];
  require(std::vsnprintf(text, sizeof(text), format, arguments) >= 0, "a message can be written");
}
inline void readMessage(uint32_t level, const char* source, uint64_t reserved, const char* format,
                        ...) {
  va_list arguments;
  va_start(arguments, format);
  readMessageList(level, source, reserved, format, arguments);
  va_end(arguments);
}

inline uint32_t traceLevel = 0;

inline const runtime::RootList& startedModule() {
  static const runtime::RootList* const root = [] {
    const runtime::RootList* list = nullptr;
    require(quorix_get_f_list(0, 0, &list, 0, "", 0) == kOk, "the runtime starts");
    require(module_init(list, nullptr) == kOk, "the module starts");
    static constinit runtime::NotifyTable notify{};
    notify.Message = readMessage;
    notify.MessageList = readMessageList;
    notify.GetLevel = [](const char*, uint32_t) { return traceLevel; };
    base::bound.notify.pointer = &notify;
    return list;
  }();
  return *root;
}

// While it lives, the n-th allocation of the root heap (1: the next one) fails.
class FailingAllocation final : public velmora::HeapObserver {
 public:
  explicit FailingAllocation(uint64_t n) : left_(n) { velmora::observeHeap(this); }
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation() { velmora::observeHeap(nullptr); }

  bool hasFailed() const { return hasFailed_; }

  bool mayAllocate(uint64_t /*size*/) override {
    const bool fails = left_ != 0 && --left_ == 0;
    hasFailed_ = hasFailed_ || fails;
    return !fails;
  }
  void onFree(const uint8_t*, uint64_t) override {}
  void onError(const char* message) override { require(false, message); }

 private:
  uint64_t left_;
  bool hasFailed_ = false;
};

inline std::string trimmed(const std::string& text) {
  constexpr const char* kBlanks = "\t\n\r ";
  const size_t first = text.find_first_not_of(kBlanks);
  return first == std::string::npos
             ? ""
             : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

inline std::string normalised(std::string text) {
  for (char& c : text) {
    c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  return text;
}

// A different number for each input and purpose, the same in every run.
inline uint64_t seedOf(std::string_view input, uint64_t purpose) {
  uint64_t hash = 0xCBF29CE484222325u + purpose;
  for (const char c : input) {
    hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001B3u;
  }
  return hash ^ (hash >> 29);
}

}  // namespace vexa::fuzz
