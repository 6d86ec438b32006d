#include "base/trace.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "base/holders.h"
#include "base/library.h"
#include "base/utf8.h"
#include "base/wide_format.h"
#include "pal/windows_api.h"

namespace vexa::base {
constinit char moduleFileName[MAX_PATH] = "unknown";

namespace {

// Looks when the module is loaded, so that no message has to.
struct FindsModuleFileName {
  FindsModuleFileName() {
    char file[MAX_PATH] = {};
    if (ownFileName(file, sizeof(file))) {
      std::strcpy(moduleFileName, PathFindFileNameA(file));
    }
  }
};
const FindsModuleFileName findsModuleFileName;

}  // namespace

void traceFormatList(uint32_t flags, const char* source, const char* format, va_list arguments) {
  bound.notify->MessageList(flags & kTraceLevels, sourceOrDefault(source), 0, format, arguments);
}

// While tracing is unbound, no copy is made either.
void traceWide(uint32_t flags, const char* source, const char16_t* text) {
  if (!bound.notify) {
    return;
  }
  const auto converted = RootBlock<char>::ofBytes(std::char_traits<char16_t>::length(text) * 3 + 1);
  if (!converted) {
    return;
  }
  char* out = converted.get();
  for (; *text != 0; ++text) {
    out = appendUnit(out, *text);
  }
  *out = '\0';
  traceText(flags, source, converted.get());
}

void traceWideFormatList(uint32_t flags, const char* source, const char16_t* format,
                         va_list arguments) {
  if (!bound.notify) {
    return;
  }
  va_list measured;
  va_copy(measured, arguments);
  const uint64_t length = measureWide(format, measured);
  va_end(measured);
  const auto text = RootBlock<char16_t>::ofBytes((length + 1) * sizeof(char16_t));
  if (!text) {
    return;
  }
  formatWide(text.get(), length, format, arguments);
  traceWide(flags, source, text.get());
}

void traceWideFormat(uint32_t flags, const char* source, const char16_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  traceWideFormatList(flags, source, format, arguments);
  va_end(arguments);
}

void TraceScope::leaveInOwnFormat(const char* exitFormat, uint32_t result) {
  constexpr size_t kFormatCharacters = 18;
  char text[2 + kFormatCharacters + 1] = "} ";
  if (exitFormat != nullptr) {
    const size_t length = std::min(std::strlen(exitFormat), kFormatCharacters);
    std::memcpy(text + 2, exitFormat, length);
    text[2 + length] = '\0';
  } else {
    text[1] = '\0';
  }
  bound.notify->Message(kTraceScopeExit & kTraceLevels, defaultTraceSource(), 0, text, result);
}

}  // namespace vexa::base
