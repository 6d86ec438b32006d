#pragma once

#include "pal/windows_api.h"

// The module keeps UTF-16 text as char16_t on every platform, as its host SDK does; the Windows
// functions take WCHAR, which is wchar_t on Windows and char16_t elsewhere. Both are 16 bits wide,
// so that only the pointer's type changes. Null stays null.
namespace pal {

// NOLINTNEXTLINE(misc-redundant-expression): one type where WCHAR is char16_t
static_assert(sizeof(WCHAR) == sizeof(char16_t) && alignof(WCHAR) == alignof(char16_t));

inline const WCHAR* wide(const char16_t* text) { return reinterpret_cast<const WCHAR*>(text); }
inline WCHAR* wide(char16_t* text) { return reinterpret_cast<WCHAR*>(text); }

inline const char16_t* utf16(const WCHAR* text) { return reinterpret_cast<const char16_t*>(text); }
inline char16_t* utf16(WCHAR* text) { return reinterpret_cast<char16_t*>(text); }

}  // namespace pal
