#include "pal/posix/error.h"

namespace {
thread_local DWORD lastError = ERROR_SUCCESS;
}  // namespace

DWORD WINAPI GetLastError() { return lastError; }

void WINAPI SetLastError(DWORD error) { lastError = error; }

_com_error::_com_error(HRESULT error) noexcept : error_(error) {}

_com_error::~_com_error() = default;

HRESULT _com_error::Error() const noexcept { return error_; }

void WINAPI _com_issue_error(HRESULT error) { throw _com_error(error); }
