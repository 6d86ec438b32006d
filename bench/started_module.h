#pragma once

#include <cstdlib>

#include "vexa/module.h"
#include "vexa/runtime/reference.h"
#include "vexa/component.h"

extern "C" {
int32_t module_init(const vexa::runtime::RootList* root, vexa::GetModuleInterfaceFunction* lookup);
int32_t module_final();
}

namespace vexa::bench {

// The module over the reference runtime, with the trace levels off as in a client that runs
// normally: every scope and message still makes its call.
class StartedModule {
 public:
  StartedModule() {
    if (quorix_get_f_list(0, 0, &root_, 0, "", 0) != 0 || module_init(root_, nullptr) != 0) {
      std::abort();
    }
  }
  StartedModule(const StartedModule&) = delete;
  StartedModule& operator=(const StartedModule&) = delete;
  ~StartedModule() { module_final(); }

  const runtime::RootList& root() const { return *root_; }

 private:
  const runtime::RootList* root_ = nullptr;
};

// Creates an object of a class and releases it in the end.
template <class Class, class Interface>
class Created {
 public:
  explicit Created(const Guid& id) {
    if (Class::CreateInstance(&id, &object_) != 0) {
      std::abort();
    }
  }
  Created(const Created&) = delete;
  Created& operator=(const Created&) = delete;
  ~Created() { get()->Release(); }

  Interface* get() const { return static_cast<Interface*>(object_); }
  Interface* operator->() const { return get(); }

 private:
  void* object_ = nullptr;
};

}  // namespace vexa::bench
