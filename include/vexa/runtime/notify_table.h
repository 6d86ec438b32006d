#pragma once

#include <cstdarg>

#include "vexa/runtime/slots.h"
#include "vexa/runtime/table_traits.h"

namespace vexa::runtime {

inline constexpr char kNotifyName[] = "SEC_NOTIFY_1";

// "SEC_NOTIFY_1". Callable from any thread. Formats are those of printf.
struct NotifyTable {
  Reserved reserved0;
  void (*Message)(uint32_t level, const char* source, uint64_t, const char* format, ...);
  void (*MessageList)(uint32_t level, const char* source, uint64_t, const char* format,
                      va_list arguments);
  // Tracing at a level is on when the value returned is not below it.
  uint32_t (*GetLevel)(const char* source, uint32_t level);
};
VEXA_FIXED_SLOT(NotifyTable, Message, 1);
VEXA_FIXED_SLOT(NotifyTable, MessageList, 2);
VEXA_FIXED_SLOT(NotifyTable, GetLevel, 3);
template <>
struct TableTraits<NotifyTable> {
  static constexpr const char* kComponent = nullptr;
  static constexpr const char* kName = kNotifyName;
};

}  // namespace vexa::runtime
