#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/trace.h"
#include "support/slot.h"
#include "support/spy_runtime.h"
#include "vexa/class_factory.h"
#include "vexa/module.h"

// The module that is linked into the test program.
extern "C" {
int32_t module_init(const vexa::runtime::RootList* root, vexa::GetModuleInterfaceFunction* lookup);
int32_t module_final();
}

namespace vexa::test {

// A started module over a spy. The test program links vexa_module.
//
// Everything that the test created must be released by its end: after module_final no block of the
// root heap may live and every table must have been given back.
class ModuleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(module_init(&spy.root, &lookup), kOk);
    started_ = true;
    spy.clearTrace();
    spy.clearRootCalls();
  }

  void TearDown() override {
    stop();
    EXPECT_EQ(spy.liveBlocks(), 0);
    EXPECT_EQ(spy.boundInterfaces(), 0);
  }

  // Ends the module before the test's end.
  void stop() {
    if (started_) {
      started_ = false;
      EXPECT_EQ(module_final(), kOk);
    }
  }

  // An offered function list; null when there is none.
  template <class List>
  const List* list(const char* name) {
    const void* found = nullptr;
    (void)lookup(nullptr, name, &found);
    return static_cast<const List*>(found);
  }
  const void* list(const char* name) { return list<void>(name); }

  // One reference for the caller; null on failure.
  int32_t create(const char* className, const Guid& interfaceId, void** object) {
    const auto* const factory = list<ClassFactoryList>(kClassFactoryListName);
    return factory == nullptr ? kFail : factory->CreateInstance(className, &interfaceId, object);
  }
  void* create(const char* className, const Guid& interfaceId) {
    void* object = nullptr;
    EXPECT_EQ(create(className, interfaceId, &object), kOk) << className;
    return object;
  }
  template <class Interface>
  Interface* create(const char* className, const Guid& interfaceId) {
    return static_cast<Interface*>(create(className, interfaceId));
  }

  // The messages as "level text". All come without a source name of their own.
  std::vector<std::string> log() const {
    std::vector<std::string> lines;
    for (const TraceLine& line : spy.messages()) {
      EXPECT_EQ(line.source, base::defaultTraceSource());
      lines.push_back(std::to_string(line.level) + " " + line.text);
    }
    return lines;
  }

  SpyRuntime spy;
  GetModuleInterfaceFunction lookup = nullptr;

 private:
  bool started_ = false;
};

}  // namespace vexa::test
