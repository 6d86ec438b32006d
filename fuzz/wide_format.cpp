#include "base/wide_format.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "harness.h"

// One directive of a wide format between two words, with an argument of its kind: the numbers
// against the C library's narrow printf, texts and characters against the rule. Bytes of the input
// choose flags, width, precision, prefixes, conversion; the rest is the argument.
namespace vexa::fuzz {
namespace {

constexpr std::string_view kFlags = "-+ #0";
constexpr std::string_view kNumbers = "diuxXo";
constexpr std::string_view kReals = "eEfgG";
constexpr std::string_view kTexts = "sScC";
constexpr const char* kPrefixes[] = {"", "h", "l", "I64", "ll", "N", "hl"};

std::u16string widened(std::string_view text) {
  std::u16string wide;
  for (const char c : text) {
    wide += static_cast<uint8_t>(c);
  }
  return wide;
}

std::u16string format(const char16_t* text, ...) {
  va_list arguments;
  va_start(arguments, text);
  va_list again;
  va_copy(again, arguments);
  const uint64_t length = base::measureWide(text, arguments);
  std::u16string out(length + 1, u'?');
  base::formatWide(out.data(), length, text, again);
  va_end(again);
  va_end(arguments);
  require(out.back() == 0, "it is terminated");
  out.pop_back();
  return out;
}

struct Directive {
  std::string flags;
  int width = -1;
  int precision = -1;
  std::string prefix;
  char conversion = 'd';

  std::string text(const std::string& size) const {
    return "%" + flags + (width >= 0 ? std::to_string(width) : "") +
           (precision >= 0 ? "." + std::to_string(precision) : "") + size + conversion;
  }
  bool is(std::string_view kind) const { return kind.find(conversion) != std::string_view::npos; }
};

template <class... Arguments>
std::string printed(const std::string& text, Arguments... arguments) {
  char out[2048];
  require(std::snprintf(out, sizeof(out), text.c_str(), arguments...) >= 0, "it can be printed");
  return out;
}

// A 64-bit number is one of 32 bits, or of 16, but with a prefix that says otherwise.
void checkNumber(const Directive& directive, uint64_t value) {
  const bool isLong = directive.prefix == "I64" || directive.prefix == "ll";
  const bool isShort = directive.prefix == "h";
  const std::u16string wide = u"<" + widened(directive.text(directive.prefix)) + u">";
  const std::string narrow = "<" + directive.text("ll") + ">";
  std::string expected;
  if (directive.is("di")) {
    const auto number = isLong    ? static_cast<long long>(value)
                        : isShort ? static_cast<short>(value)
                                  : static_cast<int>(value);
    expected = printed(narrow, number);
  } else {
    const auto number = isLong    ? static_cast<unsigned long long>(value)
                        : isShort ? static_cast<unsigned short>(value)
                                  : static_cast<unsigned>(value);
    expected = printed(narrow, number);
  }
  require(format(wide.c_str(), value) == widened(expected), "the same number");
}

void checkReal(const Directive& directive, double value) {
  const std::u16string wide = u"<" + widened(directive.text("")) + u">";
  const std::string expected = printed("<" + directive.text("") + ">", value);
  if (expected.size() < 400) {  // longer fields are cut
    require(format(wide.c_str(), value) == widened(expected), "the same number");
  }
}

void checkText(const Directive& directive, std::string_view argument) {
  const bool isCapital = directive.is("SC");
  const bool isNarrow = directive.prefix == "h" ||
                        (isCapital && (directive.prefix.empty() || directive.prefix == "N"));
  const std::string narrow(argument.substr(0, argument.find('\0')));
  std::u16string units(argument.size() / 2, u'\0');
  std::memcpy(units.data(), argument.data(), units.size() * 2);
  units = units.substr(0, units.find(u'\0'));
  const std::u16string wide = u"<" + widened(directive.text(directive.prefix)) + u">";

  std::u16string value = isNarrow ? widened(narrow) : units;
  std::u16string made;
  if (directive.is("cC")) {
    value = value.empty() ? std::u16string(1, u'\0') : value.substr(0, 1);
    made = format(wide.c_str(), static_cast<int>(value[0]));
  } else {
    value = directive.precision >= 0 ? value.substr(0, static_cast<size_t>(directive.precision))
                                     : value;
    made = isNarrow ? format(wide.c_str(), narrow.c_str()) : format(wide.c_str(), units.c_str());
  }
  const size_t width = directive.width > 0 ? static_cast<size_t>(directive.width) : 0;
  const std::u16string padding(width > value.size() ? width - value.size() : 0, u' ');
  const bool isLeft = directive.flags.find('-') != std::string::npos;
  require(made == u"<" + (isLeft ? value + padding : padding + value) + u">", "the same text");
}

// Prefixes are kept where they mean the same to both.
std::string prefixFor(const Directive& directive, uint8_t choice) {
  const std::string prefix = kPrefixes[choice % std::size(kPrefixes)];
  const bool isMixed = prefix == "hl" || (prefix == "I64" && directive.is(kTexts)) ||
                       (prefix == "ll" && directive.is(kTexts));
  return isMixed ? "" : prefix;
}

void check(const uint8_t* bytes, std::string_view argument) {
  Directive directive;
  for (size_t i = 0; i < kFlags.size(); ++i) {
    if ((bytes[0] >> i & 1) != 0) {
      directive.flags += kFlags[i];
    }
  }
  directive.width = (bytes[0] & 0x20) != 0 ? bytes[1] + 1 : -1;
  directive.precision = (bytes[0] & 0x40) != 0 ? bytes[2] : -1;
  const std::string conversions = std::string(kNumbers) + std::string(kReals) + std::string(kTexts);
  directive.conversion = conversions[bytes[3] % conversions.size()];
  directive.prefix = prefixFor(directive, bytes[4]);
  uint64_t value = 0;
  std::memcpy(&value, argument.data(), std::min(argument.size(), sizeof(value)));
  if (directive.is(kNumbers)) {
    checkNumber(directive, value);
  } else if (directive.is(kReals)) {
    double real = 0;
    std::memcpy(&real, &value, sizeof(real));
    checkReal(directive, real);
  } else {
    checkText(directive, argument);
  }
}

// Formats without arguments: every unit stands for itself, whatever it is.
void checkPlain(std::string_view input) {
  std::u16string text(input.size() / 2, u'\0');
  std::memcpy(text.data(), input.data(), text.size() * 2);
  text = text.substr(0, text.find(u'\0'));
  std::replace(text.begin(), text.end(), u'%', u'_');
  require(format(text.c_str()) == text, "the same text");
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  if (size >= 5) {
    vexa::fuzz::check(data, input.substr(5));
  }
  vexa::fuzz::checkPlain(input);
  return 0;
}
