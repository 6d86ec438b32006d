#include "pal/posix/library.h"

#include <dlfcn.h>
#include <gnu/libc-version.h>
#include <limits.h>
#include <link.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <new>
#include <string>

#include "pal/posix/counters.h"

namespace {

// The handles that were handed out, with the references that LoadLibraryA took: 0 for one that is
// only known by an address of it. The loader does not check handles, so that this does.
struct KnownModules {
  std::mutex mutex;
  std::map<HMODULE, std::size_t> references;
};
KnownModules& knownModules() {
  static KnownModules modules;
  return modules;
}

bool isKnown(HMODULE module) {
  KnownModules& modules = knownModules();
  const std::lock_guard lock(modules.mutex);
  return modules.references.count(module) != 0;
}

void remember(HMODULE module, std::size_t references) {
  KnownModules& modules = knownModules();
  const std::lock_guard lock(modules.mutex);
  modules.references[module] += references;
}

// Windows' rule with this platform's extension: a last part without '.' gets one, and a '.' at the
// end says that there is none.
std::string fileNameOf(const char* name) {
  std::string path(name);
  std::replace(path.begin(), path.end(), '\\', '/');
  const std::size_t last = path.rfind('/') == std::string::npos ? 0 : path.rfind('/') + 1;
  if (path.find('.', last) == std::string::npos) {
    path += ".so";
  } else if (path.back() == '.') {
    path.pop_back();
  }
  return path;
}

// Why dlopen failed: it says so in words only.
DWORD loadError(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  char magic[4] = {};
  if (!file || (file.read(magic, sizeof(magic)) && std::memcmp(magic, "\177ELF", 4) == 0)) {
    return ERROR_MOD_NOT_FOUND;
  }
  return ERROR_BAD_EXE_FORMAT;
}

std::string programPath() {
  std::string path(PATH_MAX, '\0');
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
  path.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  return path;
}

// Empty when it cannot be had. The loader keeps a relative path as it was given.
std::string absolutePath(const char* path) {
  if (path[0] == '\0') {
    return programPath();
  }
  if (path[0] == '/') {
    return path;
  }
  char resolved[PATH_MAX];
  return realpath(path, resolved) == nullptr ? std::string() : std::string(resolved);
}

std::string pathOf(HMODULE module) {
  if (module == nullptr) {
    return programPath();
  }
  link_map* map = nullptr;
  if (!isKnown(module) || dlinfo(module, RTLD_DI_LINKMAP, &map) != 0) {
    return std::string();
  }
  return absolutePath(map->l_name);
}

HMODULE fail(DWORD error) {
  SetLastError(error);
  return nullptr;
}

}  // namespace

namespace pal::posix {

std::size_t openLibraries() {
  KnownModules& modules = knownModules();
  const std::lock_guard lock(modules.mutex);
  std::size_t sum = 0;
  for (const auto& [module, references] : modules.references) {
    sum += references;
  }
  return sum;
}

}  // namespace pal::posix

HMODULE WINAPI LoadLibraryA(LPCSTR name) {
  if (name == nullptr || name[0] == '\0') {
    return fail(ERROR_MOD_NOT_FOUND);
  }
  try {
    const std::string path = fileNameOf(name);
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
      return fail(loadError(path));
    }
    const HMODULE module = static_cast<HMODULE>(handle);
    try {
      remember(module, 1);
    } catch (const std::bad_alloc&) {
      dlclose(handle);
      throw;
    }
    return module;
  } catch (const std::bad_alloc&) {
    return fail(ERROR_NOT_ENOUGH_MEMORY);
  }
}

FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name) {
  if (module == nullptr || !isKnown(module)) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  void* symbol = dlsym(module, name);
  if (symbol == nullptr) {
    SetLastError(ERROR_PROC_NOT_FOUND);
  }
  return reinterpret_cast<FARPROC>(symbol);
}

BOOL WINAPI FreeLibrary(HMODULE module) {
  if (module == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  KnownModules& modules = knownModules();
  {
    const std::lock_guard lock(modules.mutex);
    const auto found = modules.references.find(module);
    if (found == modules.references.end() || found->second == 0) {
      SetLastError(ERROR_MOD_NOT_FOUND);
      return FALSE;
    }
    if (--found->second == 0) {
      modules.references.erase(found);
    }
  }
  dlclose(module);  // outside the lock: it runs the library's own clean-up code
  return TRUE;
}

DWORD WINAPI GetModuleFileNameA(HMODULE module, LPSTR path, DWORD size) {
  try {
    const std::string full = pathOf(module);
    if (full.empty()) {
      SetLastError(ERROR_MOD_NOT_FOUND);
      return 0;
    }
    if (full.size() < size) {
      std::memcpy(path, full.c_str(), full.size() + 1);
      return static_cast<DWORD>(full.size());
    }
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    if (size == 0) {
      return 0;
    }
    std::memcpy(path, full.data(), size - 1);
    path[size - 1] = '\0';
    return size;
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
}

BOOL WINAPI GetModuleHandleExA(DWORD flags, LPCSTR name, HMODULE* module) {
  *module = nullptr;
  if ((flags & ~GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT) !=
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return FALSE;
  }
  Dl_info info{};
  link_map* map = nullptr;
  if (dladdr1(name, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return FALSE;
  }
  // The program itself has an empty name, and dlopen's null stands for it.
  const char* path = map->l_name[0] == '\0' ? nullptr : map->l_name;
  void* handle = dlopen(path, RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return FALSE;
  }
  const bool counted = (flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT) == 0;
  if (!counted) {
    dlclose(handle);
  }
  try {
    remember(static_cast<HMODULE>(handle), counted ? 1 : 0);
  } catch (const std::bad_alloc&) {
    if (counted) {
      dlclose(handle);
    }
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return FALSE;
  }
  *module = static_cast<HMODULE>(handle);
  return TRUE;
}

UINT WINAPI GetSystemDirectoryA(LPSTR path, UINT size) {
  char resolved[PATH_MAX] = "/usr/lib/libc.so.6";
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&gnu_get_libc_version), &info) != 0 &&
      realpath(info.dli_fname, resolved) == nullptr) {
    std::strcpy(resolved, "/usr/lib/libc.so.6");
  }
  *std::strrchr(resolved, '/') = '\0';
  const std::size_t length = std::strlen(resolved);
  if (length >= size) {
    return static_cast<UINT>(length + 1);
  }
  std::memcpy(path, resolved, length + 1);
  return static_cast<UINT>(length);
}
