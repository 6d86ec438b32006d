#pragma once

#include <cstdarg>
#include <cstdint>
#include <type_traits>

#include "base/tables.h"
#include "base/trace_format.h"
#include "vexa/results.h"

// Tracing through SEC_NOTIFY_1. Every call does nothing while that table is not bound. Formats are
// those of printf. A null source is the module's own file name. Any thread.
namespace vexa::base {

// The source name of the web classes' messages.
inline constexpr char kModuleSource[] = "vexabase";

// Levels: of a flag word only the low four bits reach the runtime.
enum TraceFlags : uint32_t {
  kTraceError = 1,
  kTraceWarning = 2,
  kTraceNotice = 3,
  kTraceInfo = 4,
  kTraceDetail = 5,
  kTraceScopeEntry = 0x10000004,
  kTraceScopeExit = 0x20000004,
  kTraceLevels = 0xF,
};

// The default source name: the last component of the module's file name, or "unknown".
extern char moduleFileName[];
inline const char* defaultTraceSource() { return moduleFileName; }
inline const char* sourceOrDefault(const char* source) {
  return source != nullptr ? source : defaultTraceSource();
}

// Message with a format and its arguments.
template <class... Arguments>
void traceFormat(uint32_t flags, const char* source,
                 std::type_identity_t<TraceFormat<Arguments...>> format, Arguments... arguments) {
  bound.notify->Message(flags & kTraceLevels, sourceOrDefault(source), 0, format.text(),
                        arguments...);
}
// A plain text: sent as "%s" with the text as its argument.
inline void traceText(uint32_t flags, const char* source, const char* text) {
  traceFormat(flags, source, "%s", text);
}
// A format whose arguments are collected already; no message of the module's own is.
void traceFormatList(uint32_t flags, const char* source, const char* format, va_list arguments);
// A UTF-16 text, sent as UTF-8. Each 16-bit unit is converted by itself: surrogate pairs become two
// sequences of three bytes.
void traceWide(uint32_t flags, const char* source, const char16_t* text);
// A UTF-16 format with its arguments: flags, width, precision, the size prefixes h, l, I64 and
// (read over) F, L and N; %s and %c take wide arguments, %S, %C, %hs and %hc narrow ones, %ls and
// %lc wide.
void traceWideFormat(uint32_t flags, const char* source, const char16_t* format, ...);
void traceWideFormatList(uint32_t flags, const char* source, const char16_t* format,
                         va_list arguments);

// True when tracing is bound and on at this level. What is not bound answers 0, so that only at
// level 0 does it have to be asked for.
inline bool isTraceOn(uint32_t level, const char* source) {
  return (level != 0 || bound.notify) &&
         bound.notify->GetLevel(sourceOrDefault(source), level) >= level;
}

// Traces "{ name" at entry and "} result" at exit of an operation. By itself it is for operations
// without a number to show, which show 0; `traced` below is for the others.
class TraceScope {
 public:
  // Result as eight-wide hexadecimal; what every function of the module uses.
  static constexpr char kResultFormat[] = "%8x";

  explicit TraceScope(const char* name, const char* exitFormat = kResultFormat)
      : exitFormat_(exitFormat) {
    bound.notify->Message(kTraceScopeEntry & kTraceLevels, defaultTraceSource(), 0, "{ %s", name);
  }
  TraceScope(const TraceScope&) = delete;
  TraceScope& operator=(const TraceScope&) = delete;
  // The usual exit line needs no text made for it.
  [[gnu::always_inline]] ~TraceScope() {
    if (exitFormat_ == kResultFormat) {
      bound.notify->Message(kTraceScopeExit & kTraceLevels, defaultTraceSource(), 0, "} %8x",
                            result_);
    } else {
      leaveInOwnFormat(exitFormat_, result_);
    }
  }

  // Notes the result for the exit line and passes it on.
  template <class Result>
  Result leave(Result result) {
    result_ = static_cast<uint32_t>(result);
    return result;
  }

 private:
  // Takes copies, so that a scope with the usual format needs no memory.
  static void leaveInOwnFormat(const char* exitFormat, uint32_t result);

  uint32_t result_ = 0;
  const char* exitFormat_;  // borrowed; null: the exit line is "}"
};

// Runs an operation in a scope of its own and passes its result on. All that the operation holds
// goes before the exit line comes.
//   return traced("URLParser::getPort", [&] { return parts_.port; });
template <class Operation>
[[gnu::always_inline]] inline auto traced(const char* name, const Operation& operation) {
  TraceScope scope(name);
  return scope.leave(operation());
}

}  // namespace vexa::base
