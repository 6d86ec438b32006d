#pragma once

#include <cstdarg>
#include <cstdint>

// printf over UTF-16, with the conventions of the Windows C runtime: in a wide format %s and %c
// take wide arguments and %S and %C narrow ones; the prefixes h and l override that. Narrow texts
// are taken byte by byte (Latin-1).
namespace vexa::base {

// Units that the formatted text takes, without a terminator.
uint64_t measureWide(const char16_t* format, va_list arguments);

// Formats into `out`, which has room for `length` units and a terminator; always terminated.
void formatWide(char16_t* out, uint64_t length, const char16_t* format, va_list arguments);

}  // namespace vexa::base
