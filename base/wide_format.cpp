#include "base/wide_format.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <type_traits>

namespace vexa::base {
namespace {

// Counts every unit; writes those that fit.
class Output {
 public:
  Output(char16_t* out, uint64_t capacity) : out_(out), capacity_(capacity) {}

  void put(char16_t unit) {
    if (length_ < capacity_) {
      out_[length_] = unit;
    }
    ++length_;
  }
  void fill(uint64_t count) {
    while (count-- > 0) {
      put(u' ');
    }
  }
  uint64_t length() const { return length_; }
  void terminate() {
    if (out_ != nullptr) {
      out_[std::min(length_, capacity_)] = 0;
    }
  }

 private:
  char16_t* out_;
  uint64_t capacity_;
  uint64_t length_ = 0;
};

enum class Size { kDefault, kShort, kLong, k64 };

// directive = "%" *flag [ width ] [ "." precision ] *prefix conversion
struct Directive {
  std::array<char, 6> flags{};  // each at most once, narrow as a C format wants them
  int width = 0;
  int precision = -1;  // negative: none
  Size size = Size::kDefault;
  char16_t conversion = 0;

  bool leftAligned() const { return std::strchr(flags.data(), '-') != nullptr; }
  void addFlag(char flag) {
    if (std::strchr(flags.data(), flag) == nullptr) {
      flags[std::strlen(flags.data())] = flag;
    }
  }
};

bool isOneOf(char16_t unit, const char* set) {
  return unit != 0 && unit < 0x80 && std::strchr(set, unit) != nullptr;
}

class Formatter {
 public:
  Formatter(Output& output, va_list arguments) : output_(output) { va_copy(arguments_, arguments); }
  Formatter(const Formatter&) = delete;
  Formatter& operator=(const Formatter&) = delete;
  ~Formatter() { va_end(arguments_); }

  void run(const char16_t* format) {
    cursor_ = format;
    while (*cursor_ != 0) {
      if (*cursor_ != u'%') {
        output_.put(*cursor_++);
        continue;
      }
      ++cursor_;
      convert(readDirective());
    }
  }

 private:
  int readNumber() {
    constexpr int kMost = 0xFFFF;
    int value = 0;
    for (; *cursor_ >= u'0' && *cursor_ <= u'9'; ++cursor_) {
      value = std::min(value * 10 + (*cursor_ - u'0'), kMost);
    }
    return value;
  }

  int readNumberOrArgument() {
    if (*cursor_ != u'*') {
      return readNumber();
    }
    ++cursor_;
    return va_arg(arguments_, int);
  }

  Directive readDirective() {
    Directive directive;
    for (; isOneOf(*cursor_, "-+ #0"); ++cursor_) {
      directive.addFlag(static_cast<char>(*cursor_));
    }
    directive.width = readNumberOrArgument();
    if (directive.width < 0) {
      directive.addFlag('-');
      directive.width = -std::max(directive.width, -INT_MAX);
    }
    if (*cursor_ == u'.') {
      ++cursor_;
      directive.precision = readNumberOrArgument();
    }
    directive.size = readPrefixes();
    directive.conversion = *cursor_;
    if (*cursor_ != 0) {
      ++cursor_;
    }
    return directive;
  }

  // The prefixes F, L and N are read over.
  Size readPrefixes() {
    Size size = Size::kDefault;
    for (;; ++cursor_) {
      if (cursor_[0] == u'I' && cursor_[1] == u'6' && cursor_[2] == u'4') {
        cursor_ += 2;
        size = Size::k64;
      } else if (*cursor_ == u'h') {
        size = Size::kShort;
      } else if (*cursor_ == u'l') {
        size = size == Size::kLong ? Size::k64 : Size::kLong;
      } else if (!isOneOf(*cursor_, "FLN")) {
        return size;
      }
    }
  }

  void convert(const Directive& directive) {
    switch (directive.conversion) {
      case 0:
        return;
      case u'c':
      case u'C':
        return convertCharacter(directive);
      case u's':
      case u'S':
        return convertText(directive);
      case u'd':
      case u'i':
        return convertNumber(directive, signedArgument(directive));
      case u'u':
      case u'x':
      case u'X':
      case u'o':
        return convertNumber(directive, unsignedArgument(directive));
      case u'p':
        return print(directive, "p", va_arg(arguments_, void*));
      case u'e':
      case u'E':
      case u'f':
      case u'g':
      case u'G': {
        const char conversion[] = {static_cast<char>(directive.conversion), '\0'};
        return print(directive, conversion, va_arg(arguments_, double));
      }
      default:  // "%%", and what is no conversion stands for itself
        output_.put(directive.conversion);
    }
  }

  static bool isNarrow(const Directive& directive) {
    const bool capital = directive.conversion == u'S' || directive.conversion == u'C';
    return directive.size == Size::kShort || (capital && directive.size == Size::kDefault);
  }

  void convertCharacter(const Directive& directive) {
    const int argument = va_arg(arguments_, int);
    const auto unit = static_cast<char16_t>(
        isNarrow(directive) ? static_cast<unsigned char>(argument) : argument);
    putAligned(directive, &unit, 1);
  }

  void convertText(const Directive& directive) {
    if (isNarrow(directive)) {
      const char* text = va_arg(arguments_, const char*);
      text = text != nullptr ? text : "(null)";
      putAligned(directive, text, boundedLength(text, directive.precision));
    } else {
      const auto* text = va_arg(arguments_, const char16_t*);
      text = text != nullptr ? text : u"(null)";
      putAligned(directive, text, boundedLength(text, directive.precision));
    }
  }

  template <class Unit>
  static uint64_t boundedLength(const Unit* text, int precision) {
    const uint64_t most = precision < 0 ? UINT64_MAX : static_cast<uint64_t>(precision);
    uint64_t length = 0;
    while (length < most && text[length] != 0) {
      ++length;
    }
    return length;
  }

  template <class Unit>
  void putAligned(const Directive& directive, const Unit* text, uint64_t length) {
    const auto width = static_cast<uint64_t>(directive.width);
    const uint64_t padding = width > length ? width - length : 0;
    if (!directive.leftAligned()) {
      output_.fill(padding);
    }
    for (uint64_t i = 0; i < length; ++i) {
      output_.put(static_cast<std::make_unsigned_t<Unit>>(text[i]));
    }
    if (directive.leftAligned()) {
      output_.fill(padding);
    }
  }

  // A long is 32 bits wide, as it is on Windows.
  long long signedArgument(const Directive& directive) {
    if (directive.size == Size::k64) {
      return va_arg(arguments_, long long);
    }
    const int value = va_arg(arguments_, int);
    return directive.size == Size::kShort ? static_cast<short>(value) : value;
  }
  unsigned long long unsignedArgument(const Directive& directive) {
    if (directive.size == Size::k64) {
      return va_arg(arguments_, unsigned long long);
    }
    const unsigned value = va_arg(arguments_, unsigned);
    return directive.size == Size::kShort ? static_cast<unsigned short>(value) : value;
  }

  template <class Number>
  void convertNumber(const Directive& directive, Number value) {
    const char conversion[] = {'l', 'l', static_cast<char>(directive.conversion), '\0'};
    print(directive, conversion, value);
  }

  // Numbers take at most kNumberSize characters; a wider field is cut to fit.
  template <class Value>
  void print(const Directive& directive, const char* conversion, Value value) {
    constexpr int kFieldLimit = 400;
    constexpr size_t kNumberSize = 1024;
    char format[32] = {};
    std::snprintf(format, sizeof(format), "%%%.5s*%s%s", directive.flags.data(),
                  directive.precision >= 0 ? ".*" : "", conversion);
    char text[kNumberSize] = {};
    const int width = std::min(directive.width, kFieldLimit);
    if (directive.precision >= 0) {
      const int precision = std::min(directive.precision, kFieldLimit);
      std::snprintf(text, sizeof(text), format, width, precision, value);
    } else {
      std::snprintf(text, sizeof(text), format, width, value);
    }
    for (const char* c = text; *c != '\0'; ++c) {
      output_.put(static_cast<unsigned char>(*c));
    }
  }

  Output& output_;
  va_list arguments_;
  const char16_t* cursor_ = nullptr;
};

}  // namespace

uint64_t measureWide(const char16_t* format, va_list arguments) {
  Output output(nullptr, 0);
  Formatter(output, arguments).run(format);
  return output.length();
}

void formatWide(char16_t* out, uint64_t length, const char16_t* format, va_list arguments) {
  Output output(out, length);
  Formatter(output, arguments).run(format);
  output.terminate();
}

}  // namespace vexa::base
