#pragma once

#if !defined(_WIN32)
#include <unistd.h>
#endif

#include <filesystem>
#include <string>
#include <vector>

#include "vexa/module.h"
#include "vexa/shared_library.h"

// Builds of the module and the runtime, laid out in folders as an installation would have them.
namespace vexa::test {

namespace fs = std::filesystem;

#if defined(_WIN32)
inline constexpr char kWrongRuntimeFile[] = "velmora_without_export.dll";
#else
inline constexpr char kWrongRuntimeFile[] = "velmora_without_export.so";
#endif

// Tests run in build/<preset>/tests.
inline fs::path builtFiles() { return fs::absolute(fs::path("..") / "bin"); }

// An absolute path in the form in which Windows takes it, however long it is.
inline fs::path ofAnyLength(fs::path path) {
#if defined(_WIN32)
  return L"\\\\?\\" + path.make_preferred().native();
#else
  return path;
#endif
}

inline SharedLibrary loadLibrary(const fs::path& file) {
#if defined(_WIN32)
  if (file.native().size() >= MAX_PATH) {
    return SharedLibrary::load(ofAnyLength(file));
  }
#endif
  return SharedLibrary::load(file);
}

// The module, loaded from a file as a host loads it.
struct LoadedModule {
  explicit LoadedModule(const fs::path& file)
      : library(loadLibrary(file)),
        init(library ? library.find<ModuleInitFunction>(kModuleInitExport) : nullptr),
        final(library ? library.find<ModuleFinalFunction>(kModuleFinalExport) : nullptr) {}

  SharedLibrary library;
  ModuleInitFunction init;
  ModuleFinalFunction final;
};

// A folder of its own for one test, removed at the end.
class Installation {
 public:
  Installation() {
    static int number = 0;
    // Under Wine ids of processes come again, and folders of those that were ended may have stayed.
    do {
      root_ = fs::absolute("installation_" + std::to_string(processId()) + "_" +
                           std::to_string(number++));
    } while (!fs::create_directory(root_));
  }
  Installation(const Installation&) = delete;
  Installation& operator=(const Installation&) = delete;
  ~Installation() {
    std::error_code ignored;  // what is still loaded cannot be removed
    removeLongOnes();
    fs::remove_all(root_, ignored);
  }

  // A folder in which a file of that name has a path of so many characters.
  std::string folderFor(const char* file, size_t pathLength) const {
    constexpr size_t kLongestName = 100;
    std::string folder;
    const size_t fixed = root_.string().size() + 2 + std::string(file).size();
    for (size_t left = pathLength - fixed; left != 0;) {
      const size_t part = left <= kLongestName ? left : kLongestName - 1;
      folder += std::string(part, 'd');
      left -= part;
      if (left != 0) {
        folder += '/';
        --left;
      }
    }
    return folder;
  }

  // Puts a built file into a folder, under another name if asked.
  fs::path put(const char* folder, const char* file, const char* name = nullptr) const {
    const fs::path target = root_ / folder / (name != nullptr ? name : file);
    fs::create_directories(target.parent_path());
    // Overwriting is more than the Windows library can do; and what was loaded a moment ago cannot
    // always be removed there, but it can be moved.
    std::error_code isHeld;
    fs::remove(target, isHeld);
    if (isHeld) {
      fs::rename(target, target.string() + ".old");
    }
    fs::copy_file(builtFiles() / file, target);
    files_.push_back(target);
    return target;
  }

 private:
  // What the C++ library cannot remove on Windows: it walks through no folder of such a length.
  void removeLongOnes() const {
#if defined(_WIN32)
    for (const fs::path& file : files_) {
      if (file.native().size() < MAX_PATH) {
        continue;
      }
      DeleteFileW(ofAnyLength(file).c_str());
      for (fs::path folder = file.parent_path(); folder != root_; folder = folder.parent_path()) {
        RemoveDirectoryW(ofAnyLength(folder).c_str());  // the last file's folder is empty
      }
    }
#endif
  }
  // Several test programs run at a time, in one folder.
  static unsigned long processId() {
#if defined(_WIN32)
    return GetCurrentProcessId();
#else
    return static_cast<unsigned long>(getpid());
#endif
  }

  fs::path root_;
  mutable std::vector<fs::path> files_;
};

}  // namespace vexa::test
