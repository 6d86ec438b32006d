#pragma once

#include <cstdint>

#include "vexa/results.h"

// The function lists that the module offers by name, each described by one static record.
namespace vexa::base {

// One offered function list. Records are static; the chain never changes after static
// initialisation and is searched from the record constructed last.
class CVEXA_API {
 public:
  // The component name is accepted and not stored. The texts and the list must live for ever.
  CVEXA_API(const char* component, const char* name, const void* functionList);

  // Slot 0. A negative result hides the list.
  virtual int32_t Check() const { return kOk; }

  const char* name() const { return name_; }
  const void* functionList() const { return functionList_; }
  const CVEXA_API* next() const { return next_; }

 protected:
  ~CVEXA_API() = default;

 private:
  const char* name_;
  const void* functionList_;
  const CVEXA_API* next_;
};

class ListRecord final : public CVEXA_API {
 public:
  using CVEXA_API::CVEXA_API;
};

// The lookup that module_init hands out; vexa/module.h has the contract.
int32_t GetModuleInterface(const char* hostName, const char* listName, const void** list);

// The host name registered by the first call that named one; empty until then.
const char* registeredHostName();

// What slot 0 of every list does, given the list's name.
int32_t fillModuleInfo(const char* listName, const char** name, const char** host,
                       const char** extra);

// A list's slot 0: GetModuleInfo<kCoreListName>.
template <const char* kListName>
int32_t GetModuleInfo(const char** name, const char** host, const char** extra) {
  return fillModuleInfo(kListName, name, host, extra);
}

}  // namespace vexa::base
