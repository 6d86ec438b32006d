#include <gtest/gtest.h>

#include <filesystem>

#include "support/cycles.h"
#include "vexa/all.h"
#include "vexa/holders.h"
#include "vexa/shared_library.h"

namespace vexa::test {
namespace {

const std::filesystem::path kFiles = std::filesystem::absolute("../bin");

// The built module, loaded by file.
struct Module {
  SharedLibrary library = SharedLibrary::load(kFiles / kModuleFile);
  ModuleInitFunction init = library.find<ModuleInitFunction>(kModuleInitExport);
  ModuleFinalFunction final = library.find<ModuleFinalFunction>(kModuleFinalExport);
};

// A little of everything that leaves a trace in the module: singletons, objects, tables.
void use(GetModuleInterfaceFunction lookup) {
  const void* found = nullptr;
  ASSERT_EQ(lookup(nullptr, kClassFactoryListName, &found), kOk);
  const auto& factory = *static_cast<const ClassFactoryList*>(found);
  forEachType(AllClasses(), [&factory](auto type) {
    using Interface = typename decltype(type)::type;
    InterfaceHolder<IComponent> object;
    EXPECT_EQ(
        factory.CreateInstance(ClassTraits<Interface>::kName, &IID_IComponent, object.putVoid()),
        kOk);
  });
}

void startAndEnd(const Module& module) {
  GetModuleInterfaceFunction lookup = nullptr;
  ASSERT_EQ(module.init(nullptr, &lookup), kOk);
  use(lookup);
  ASSERT_EQ(module.final(), kOk);
}

TEST(ModuleCycles, LoadingAndUnloadingLeavesNothing) {
  expectNothingLeftBy(
      [] {
        const Module module;
        ASSERT_NE(module.init, nullptr);
      },
      cycles(2000));
}

TEST(ModuleCycles, LoadingStartingEndingAndUnloadingLeavesNothing) {
  expectNothingLeftBy(
      [] {
        const Module module;
        ASSERT_NE(module.init, nullptr);
        startAndEnd(module);
      },
      cycles(300));
}

TEST(ModuleCycles, StartingAndEndingLeavesNothing) {
  const Module module;
  ASSERT_NE(module.init, nullptr);
  expectNothingLeftBy([&module] { startAndEnd(module); }, cycles(300));
}

}  // namespace
}  // namespace vexa::test
