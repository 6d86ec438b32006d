#pragma once

#include <cstdint>
#include <filesystem>

#include "cli/exit_status.h"
#include "vexa/host.h"
#include "vexa/runtime/bound_tables.h"

namespace vexahost {

// Throws when `result` is a failure: "<what> failed: kFail (0x80004005)".
void check(int32_t result, const char* what);

struct ModuleOptions {
  std::filesystem::path module;  // empty: vexabase beside the program
  uint32_t traceLevel = 0;       // of the reference runtime: 0 nothing to 5 everything
};

// The loaded module as the SDK has it; what fails throws HostError. Everything obtained from it
// must be released before close().
class Module : public vexa::Module {
 public:
  // Loads the module by file and has it load velmora itself.
  explicit Module(const ModuleOptions& options);

  // Ends the module. Returns the blocks that are still allocated (0 after a clean end), or -1 when
  // the runtime does not tell. May be called once; the destructor does it otherwise.
  int64_t close();

  template <class List>
  const List& list(const char* name = vexa::ListTraits<List>::kName) const {
    const void* found = nullptr;
    check(tryFind(name, &found), name);
    return *static_cast<const List*>(found);
  }
  template <class Interface>
  vexa::InterfaceHolder<Interface> make(
      const char* className = vexa::ClassTraits<Interface>::kName) const {
    vexa::InterfaceHolder<Interface> object;
    check(tryMake(object, className), className);
    return object;
  }

  // The module's file, as it was asked for.
  const std::filesystem::path& file() const { return file_; }
  const vexa::runtime::WideStringTable& wideStrings() const { return *wideStrings_; }

 private:
  std::filesystem::path file_;
  vexa::TableHolder<vexa::runtime::WideStringTable> wideStrings_;
};

}  // namespace vexahost
