#pragma once

#include <windows.h>
// After <windows.h>, as a host may have it.
#include "vexa/all.h"
#include "vexa/runtime/bound_tables.h"
#include "vexa/runtime/reference_crypto.h"

// A host of the Microsoft binary interface, without a C library: it walks every list and every
// interface of the module, so that whatever the two compilers lay out differently shows.
namespace msvc_host {

// Counts, and prints what is not so.
void expect(bool good, const char* what);
// Zero-terminated texts.
bool equal(const char* a, const char* b);

// The loaded module, started.
struct Module {
  vexa::GetModuleInterfaceFunction lookup;
  const vexa::runtime::RootList* root;
  const vexa::runtime::CommonTypes* types;
  const vexa::runtime::StringTable* strings;
  HMODULE velmora;

  template <class List>
  const List& list() const {
    const void* found = nullptr;
    expect(lookup("msvc host", vexa::ListTraits<List>::kName, &found) == vexa::kOk,
           vexa::ListTraits<List>::kName);
    return *static_cast<const List*>(found);
  }
  template <class Interface>
  Interface* make() const {
    const vexa::Guid id = vexa::InterfaceTraits<Interface>::kId;
    void* object = nullptr;
    expect(list<vexa::ClassFactoryList>().CreateInstance(vexa::ClassTraits<Interface>::kName, &id,
                                                         &object) == vexa::kOk,
           vexa::ClassTraits<Interface>::kName);
    return static_cast<Interface*>(object);
  }
  template <class Function>
  Function* runtimeFunction(const char* name) const {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(velmora, name)));
  }
};

void walkListsAndClasses(const Module& module);
void useJson(const Module& module);
void useWebClasses(const Module& module);
void useMonitor(const Module& module);
void useScrambler(const Module& module);
void useHashTable(const Module& module);
void useSmallLists(const Module& module);
void useCertificates(const Module& module);

}  // namespace msvc_host
