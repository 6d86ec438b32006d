#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/library.h"
#include "fake_library.h"

// How much room a path in the system's folder takes.
namespace vexa::base {
namespace {

class SystemPath : public testing::Test {
 protected:
  void SetUp() override { fake = {}; }

  // Into a buffer of this size, not a byte more.
  bool load(size_t capacity) {
    fake.attempts.clear();
    std::vector<char> scratch(capacity);
    return LoadModuleLibrary("name", here("/app").c_str(), 4, scratch.data(),
                             static_cast<uint32_t>(scratch.size())) != nullptr;
  }

  FakeLibraries& fake = FakeLibraries::instance();
};

TEST_F(SystemPath, TakesFolderSeparatorNameAndTerminator) {
  const std::string path = here("/system/name.so");
  fake.present = {path};
  EXPECT_TRUE(load(path.size() + 1));
  for (size_t capacity = 1; capacity <= path.size(); ++capacity) {
    EXPECT_FALSE(load(capacity)) << capacity;
    EXPECT_THAT(fake.attempts, testing::IsEmpty()) << capacity;
  }
}

}  // namespace
}  // namespace vexa::base
