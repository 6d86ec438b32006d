#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "base/holders.h"
#include "base/tables.h"
#include "runtime/heap.h"
#include "vexa/module.h"
#include "vexa/results.h"
#include "vexa/runtime/reference.h"
#include "vexa/traits.h"

// What the fuzz targets share: a started module, a trace that is read, allocations that fail, and
// owners of what the module hands out.
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

// Gives one input to a check that must leave no block of the root heap behind.
template <class Check>
int checkInput(const uint8_t* data, size_t size, Check&& check) {
  const uint64_t before = velmora_live_blocks();
  check(std::string_view(reinterpret_cast<const char*>(data), size));
  require(velmora_live_blocks() == before, "no block of the root heap is left");
  return 0;
}
// The same, with a started module.
template <class Check>
int checkInputOfModule(const uint8_t* data, size_t size, Check&& check) {
  startedModule();
  return checkInput(data, size, check);
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

// A different number for each input and purpose, the same in every run.
inline uint64_t seedOf(std::string_view input, uint64_t purpose) {
  uint64_t hash = 0xCBF29CE484222325u + purpose;
  for (const char c : input) {
    hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001B3u;
  }
  return hash ^ (hash >> 29);
}

// A new object of one of the module's classes, by its main interface.
template <class Class, class Interface>
class Made {
 public:
  Made() {
    require(Class::CreateInstance(&InterfaceTraits<Interface>::kId, object_.putVoid()) == kOk,
            "an object");
  }

  Interface& get() const { return *object_; }

 private:
  InterfaceHolder<Interface> object_;
};

// A buffer record that the module hands out.
struct MadeBuffer : base::Buffer {
  std::string_view view() const {
    return *this ? std::string_view(reinterpret_cast<const char*>(get()->data), get()->length)
                 : std::string_view();
  }
};

}  // namespace vexa::fuzz
