#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "cli/exit_status.h"
#include "library.h"
#include "ref.h"
#include "vexa/class_factory.h"
#include "vexa/module.h"
#include "vexa/runtime/bound_tables.h"
#include "vexa/runtime/reference.h"

namespace vexahost {

// "kFail, 0x80004005", for messages.
std::string resultText(int32_t result);
// Throws when `result` is a failure: "<what> failed (0x80004005)".
void check(int32_t result, const char* what);

struct ModuleOptions {
  std::filesystem::path module;  // empty: vexabase beside the program
  uint32_t traceLevel = 0;       // of the reference runtime: 0 nothing to 5 everything
};

// The loaded module and, through it, the runtime. Everything obtained from it must be released
// before close().
class Module {
 public:
  // Loads the module by file and has it load velmora itself. Throws HostError.
  explicit Module(const ModuleOptions& options);
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;
  ~Module();

  // Ends the module. Returns the blocks that are still allocated (0 after a clean end), or -1 when
  // the runtime does not tell. May be called once; the destructor does it otherwise.
  int64_t close();

  template <class List>
  const List& list(const char* name) const {
    return *static_cast<const List*>(findList(name));
  }
  template <class Interface>
  Ref<Interface> create(const char* className, const vexa::Guid& id) const {
    Ref<Interface> object;
    createObject(className, id, object.putVoid());
    return object;
  }

  // The module's file, as it was asked for.
  const std::filesystem::path& file() const { return file_; }

  const vexa::runtime::RootList& root() const { return *root_; }
  const vexa::runtime::CommonTypes& types() const { return *types_; }
  const vexa::runtime::StringTable& strings() const { return *strings_; }
  const vexa::runtime::WideStringTable& wideStrings() const { return *wideStrings_; }
  const vexa::runtime::IoTable& io() const { return *io_; }
  // Functions of the reference runtime beside its tables; null with another runtime.
  template <class Function>
  Function* runtimeFunction(const char* name) const {
    return runtime_.find<Function*>(name);
  }

 private:
  void obtainRuntime();
  void releaseRuntime();
  const void* bind(const char* component, const char* name);
  const void* findList(const char* name) const;
  void createObject(const char* className, const vexa::Guid& id, void** object) const;

  std::filesystem::path file_;
  Library module_;
  Library runtime_;
  vexa::ModuleFinalFunction final_ = nullptr;
  vexa::GetModuleInterfaceFunction lookup_ = nullptr;
  const vexa::ClassFactoryList* classes_ = nullptr;
  const vexa::runtime::RootList* root_ = nullptr;
  const vexa::runtime::CommonTypes* types_ = nullptr;
  const vexa::runtime::StringTable* strings_ = nullptr;
  const vexa::runtime::WideStringTable* wideStrings_ = nullptr;
  const vexa::runtime::IoTable* io_ = nullptr;
};

}  // namespace vexahost
