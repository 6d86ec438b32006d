#pragma once

#include <cstddef>
#include <cstdint>

// Windows' basic types with Windows' widths: `long` is 32 bits there and 64 here, so none of these
// is a `long`.

#define WINAPI
#define CALLBACK

using BOOL = int;
using BYTE = unsigned char;
using CHAR = char;
using INT = int;
using UINT = unsigned int;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using SHORT = std::int16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using BOOLEAN = std::uint8_t;
using DWORD_PTR = std::uintptr_t;
using ULONG_PTR = std::uintptr_t;
using INT_PTR = std::intptr_t;
using SIZE_T = std::size_t;
using WCHAR = char16_t;
using HRESULT = std::int32_t;

using PVOID = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using PBYTE = BYTE*;
using LPBYTE = BYTE*;
using LPDWORD = DWORD*;
using PULONG = ULONG*;
using PCHAR = char*;
using PWCHAR = WCHAR*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;

using HANDLE = void*;
using HGLOBAL = HANDLE;
using HMODULE = struct HINSTANCE__*;
using HINSTANCE = HMODULE;
using FARPROC = INT_PTR (*)();

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;
inline constexpr int MAX_PATH = 260;
inline constexpr DWORD INFINITE = 0xFFFFFFFF;

struct GUID {
  DWORD Data1;
  WORD Data2;
  WORD Data3;
  BYTE Data4[8];
};
static_assert(sizeof(GUID) == 16 && alignof(GUID) == 4);

struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};
using LPFILETIME = FILETIME*;
static_assert(sizeof(FILETIME) == 8 && alignof(FILETIME) == 4);

struct SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;
