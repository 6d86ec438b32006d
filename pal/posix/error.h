#pragma once

#include "pal/posix/types.h"

// The calling thread's last error, and _com_error. Windows' own numbers; errno values never show.

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD NO_ERROR = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_BUFFER_OVERFLOW = 111;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
inline constexpr DWORD ERROR_NO_DATA = 232;
inline constexpr DWORD ERROR_MORE_DATA = 234;

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);

extern "C" {
// 0 in a thread that has not failed yet. A call that succeeds may leave an older number.
DWORD WINAPI GetLastError();
void WINAPI SetLastError(DWORD error);
}

// The exception of Windows' COM support. Here it carries the code and nothing else.
class _com_error {
 public:
  explicit _com_error(HRESULT error) noexcept;
  _com_error(const _com_error&) noexcept = default;
  _com_error& operator=(const _com_error&) noexcept = default;
  virtual ~_com_error();

  HRESULT Error() const noexcept;

 private:
  HRESULT error_;
};

// Throws _com_error(error).
[[noreturn]] void WINAPI _com_issue_error(HRESULT error);
