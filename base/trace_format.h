#pragma once

#include <cstdint>
#include <type_traits>

// A printf format that is compared with its arguments when the program is compiled, so that a
// message can be passed on by a template, where the compiler's own check does not reach.
namespace vexa::base {

// What a conversion takes.
enum class TraceArgument : uint8_t { kText, kNumber, kOther };

template <class T>
constexpr TraceArgument traceArgument() {
  using Plain = std::remove_const_t<std::remove_pointer_t<std::decay_t<T>>>;
  if constexpr (std::is_pointer_v<std::decay_t<T>> && std::is_same_v<Plain, char>) {
    return TraceArgument::kText;
  } else if constexpr (std::is_integral_v<T> && sizeof(T) == sizeof(int)) {
    return TraceArgument::kNumber;
  } else {
    return TraceArgument::kOther;
  }
}

// conversion = "%" [ width ] ( "s" / "d" / "i" / "x" ), where the width is digits.
template <class... Arguments>
constexpr bool fitsTraceFormat(const char* format) {
  constexpr TraceArgument kArguments[] = {traceArgument<Arguments>()..., TraceArgument::kOther};
  const TraceArgument* next = kArguments;
  for (; *format != '\0'; ++format) {
    if (*format != '%') {
      continue;
    }
    do {
      ++format;
    } while (*format >= '0' && *format <= '9');
    const bool takesNumber = *format == 'd' || *format == 'i' || *format == 'x';
    const auto taken = *format == 's' ? TraceArgument::kText
                       : takesNumber  ? TraceArgument::kNumber
                                      : TraceArgument::kOther;
    if (taken == TraceArgument::kOther || taken != *next++) {
      return false;
    }
  }
  return next == kArguments + sizeof...(Arguments);
}

// A literal that fits these arguments; another one does not compile.
template <class... Arguments>
class TraceFormat {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): a literal stands where it is wanted
  consteval TraceFormat(const char* text) : text_(text) {
    if (!fitsTraceFormat<Arguments...>(text)) {
      formatDoesNotFitItsArguments();
    }
  }
  constexpr const char* text() const { return text_; }

 private:
  static void formatDoesNotFitItsArguments() {}  // no constant, so that calling it does not compile

  const char* text_;
};

}  // namespace vexa::base
