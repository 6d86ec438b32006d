#pragma once

#include <cstdint>

#include "pal/windows_api.h"

namespace vexa::base {

// A MAX_PATH name with a terminator to spare.
inline constexpr uint32_t kPathCapacity = 261;

// Where LoadModuleLibrary looks.
enum LibrarySearch : uint32_t {
  kSearchSystem = 0,     // in the directory given, in its sibling "lib", then in the system's
  kSearchOwn = 1,        // in the directory given
  kSearchSiblingLib = 2  // when that is called "bin", in its sibling "lib"; when "lib", there
};

// Loads a library, ".dll" added to a name without an extension. A name with a backslash is loaded
// exactly as given. `scratch`, of `scratchSize` characters, takes the path in the system's
// directory; it may be null. Null when nothing loaded, or when the name has 259 characters or more.
HMODULE LoadModuleLibrary(const char* name, const char* directory, uint32_t flags, char* scratch,
                          uint32_t scratchSize);

// Loads from the system directory only. kOk or kFail. Nothing in the module does so yet.
int32_t LoadSystemLibrary(const char* name, HMODULE* out);

// The directory of a file, inside `file`, which is changed: without the prefix of long paths. Empty
// when no complete path is left, as of a volume without a letter: a library in a folder "Volume{1}"
// would be looked for from the current folder.
const char* directoryOf(char* file);

// The directory of the module's own file; empty when it cannot be had, as when it is longer than
// Windows' old limit of MAX_PATH. Cached once it is known; one thread at a time.
const char* ownDirectory();

// The module's own file name with its path, from the platform; false when it cannot be had.
bool ownFileName(char* buffer, uint32_t capacity);

}  // namespace vexa::base
