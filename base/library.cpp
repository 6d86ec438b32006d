#include "base/library.h"

#include <cstring>

#include "vexa/results.h"

namespace vexa::base {
namespace {

constexpr uint32_t kLongestName = 258;  // characters of a library name
constexpr char kLongPathPrefix[] = "\\\\?\\";
constexpr char kLongPathShare[] = "UNC\\";  // behind that, in place of two backslashes

bool hasSeparator(const char* name) { return std::strpbrk(name, PAL_PATH_SEPARATORS) != nullptr; }

void addLibraryExtension(char* name) {
  if (*PathFindExtensionA(name) == '\0') {
    PathAddExtensionA(name, PAL_LIBRARY_EXTENSION);
  }
}

// Loads directory\name, or directory\..\lib\name. Without a directory nothing is loaded: the bare
// name would be looked for in the current folder and in the system's.
HMODULE loadFrom(const char* directory, bool siblingLib, const char* name) {
  char path[kPathCapacity] = {};
  if (*directory == '\0' || std::strlen(directory) >= kPathCapacity - 1) {
    return nullptr;
  }
  std::strcpy(path, directory);
  if (siblingLib && (PathRemoveFileSpecA(path) == FALSE || PathAppendA(path, "lib") == FALSE)) {
    return nullptr;
  }
  return PathAppendA(path, name) != FALSE ? LoadLibraryA(path) : nullptr;
}

HMODULE loadFromSystem(const char* name, char* buffer, uint32_t capacity) {
  const UINT length = GetSystemDirectoryA(buffer, capacity);
  if (length == 0 || length >= capacity || length + std::strlen(name) + 2 > capacity) {
    return nullptr;
  }
  return PathAppendA(buffer, name) != FALSE ? LoadLibraryA(buffer) : nullptr;
}

// The module that this very code is part of.
HMODULE ownModule() {
  HMODULE module = nullptr;
  const DWORD flags =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  if (GetModuleHandleExA(flags, reinterpret_cast<LPCSTR>(&ownModule), &module) == FALSE) {
    return nullptr;
  }
  return module;
}

// Ignores case in ASCII, as the system does in the words of a path.
bool startsWith(const char* text, const char* start) {
  for (; *start != '\0'; ++text, ++start) {
    const bool isLetter = *start >= 'A' && *start <= 'Z';
    if (*text != *start && !(isLetter && *text == *start - 'A' + 'a')) {
      return false;
    }
  }
  return true;
}

// Whether the path means the same wherever the current folder is.
bool isComplete(const char* path) {
  return *path != '\0' && (path[1] == ':' || std::strchr(PAL_PATH_SEPARATORS, *path) != nullptr);
}

// Empty until it is known.
constinit char ownDirectoryPath[MAX_PATH] = {};

}  // namespace

HMODULE LoadModuleLibrary(const char* name, const char* directory, uint32_t flags, char* scratch,
                          uint32_t scratchSize) {
  if (std::strlen(name) > kLongestName) {
    return nullptr;
  }
  char file[kPathCapacity] = {};
  std::strcpy(file, name);
  addLibraryExtension(file);
  if (hasSeparator(name)) {
    return LoadLibraryA(name);  // exactly as given: without the extension added above
  }
  const char* const folder = PathFindFileNameA(directory);
  const bool inBin = lstrcmpiA(folder, "bin") == 0;
  const bool inLib = lstrcmpiA(folder, "lib") == 0;
  HMODULE library = nullptr;
  if (flags == kSearchSystem || (flags & kSearchOwn) != 0 || inLib) {
    library = loadFrom(directory, false, file);
  }
  if (library == nullptr &&
      (flags == kSearchSystem || ((flags & kSearchSiblingLib) != 0 && inBin))) {
    library = loadFrom(directory, true, file);
  }
  if (library != nullptr || (flags & (kSearchOwn | kSearchSiblingLib)) != 0) {
    return library;
  }
  char buffer[kPathCapacity] = {};
  return scratch != nullptr ? loadFromSystem(file, scratch, scratchSize)
                            : loadFromSystem(file, buffer, sizeof(buffer));
}

int32_t LoadSystemLibrary(const char* name, HMODULE* out) {
  *out = nullptr;
  if (std::strlen(name) > kLongestName) {
    return kFail;
  }
  char file[kPathCapacity] = {};
  std::strcpy(file, name);
  addLibraryExtension(file);
  char buffer[kPathCapacity] = {};
  *out = loadFromSystem(file, buffer, sizeof(buffer));
  return *out != nullptr ? kOk : kFail;
}

bool ownFileName(char* buffer, uint32_t capacity) {
  const HMODULE module = ownModule();
  const DWORD length = module != nullptr ? GetModuleFileNameA(module, buffer, capacity) : 0;
  return length != 0 && length < capacity;
}

const char* directoryOf(char* file) {
  char* path = file;
  if (startsWith(file, kLongPathPrefix)) {
    path += sizeof(kLongPathPrefix) - 1;
    if (startsWith(path, kLongPathShare)) {
      path += sizeof(kLongPathShare) - 3;
      *path = '\\';
    }
  }
  PathRemoveFileSpecA(path);
  return isComplete(path) ? path : "";
}

const char* ownDirectory() {
  char file[MAX_PATH] = {};
  if (*ownDirectoryPath == '\0' && ownFileName(file, sizeof(file))) {
    std::strcpy(ownDirectoryPath, directoryOf(file));
  }
  return ownDirectoryPath;
}

}  // namespace vexa::base
