#pragma once

#include "pal/posix/error.h"

// shlwapi's path texts. Texts only: no file is looked at. '\' and '/' both separate; Buffers hold
// MAX_PATH characters with the terminator. Any thread.

extern "C" {
// Joins `more` to `path` and leaves "." parts and empty parts out; ".." takes the part before it
// away. As on Windows a `more` that starts with a separator is still appended. A relative path
// keeps the ".." that lead above its start, and "." stands for nothing left. All separators become
// the first one that is there. FALSE and an empty `path` when the result would not fit; FALSE for a
// null argument.
BOOL WINAPI PathAppendA(LPSTR path, LPCSTR more);

// The last '.' of the last part, or the terminator. A '.' before a blank does not count. Null stays
// null.
LPSTR WINAPI PathFindExtensionA(LPCSTR path);

// Appends `extension` (null: ".exe") unless the path has one already. FALSE when it has one or the
// result would not fit; `path` is unchanged then.
BOOL WINAPI PathAddExtensionA(LPSTR path, LPCSTR extension);

// The last part of the path. A separator at the very end does not start a part.
LPSTR WINAPI PathFindFileNameA(LPCSTR path);

// Cuts the last part and the separator before it; a root stays. TRUE when something was cut.
BOOL WINAPI PathRemoveFileSpecA(LPSTR path);

// Comparison that takes A to Z and a to z as equal, by bytes otherwise.
int WINAPI lstrcmpiA(LPCSTR left, LPCSTR right);
int _stricmp(const char* left, const char* right);
}
