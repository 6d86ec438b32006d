#include "certificates.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "runtime/keys/own_memory.h"
#include "runtime/samples.h"
#include "secret.h"
#include "vexa/runtime/reference.h"

// What is left of passwords in the memory of the process when they were used.
namespace vexahost {
namespace {

using vexa::test::countInMemory;
using vexa::test::Pieces;

// A password that stands nowhere else, and how to look for it, as UTF-8 and as UTF-16.
struct OwnPassword {
  OwnPassword() {
    std::random_device random;
    std::string wide(2 * text.size(), '\0');
    for (size_t i = 0; i < text.size(); ++i) {
      text[i] = wide[2 * i + 1] = static_cast<char>('a' + random() % 26);
    }
    pieces.add(reinterpret_cast<const uint8_t*>(text.data()), text.size(), 0);
    pieces.add(reinterpret_cast<const uint8_t*>(wide.data()), wide.size(), 0);
    wipe(wide);
  }

  std::string text = std::string(64, '\0');
  Pieces pieces;
};

class CertificatesSecrets : public testing::Test {
 protected:
  void SetUp() override {
    // A heap that looks for mistakes would overwrite what is freed.
    module_.runtimeFunction<decltype(velmora_watch_heap)>("velmora_watch_heap")(0);
    std::ofstream file(path_, std::ios::binary);
    file.write(vexa::test::samples::kModernPfx.data(),
               static_cast<std::streamsize>(vexa::test::samples::kModernPfx.size()));
    file.close();
    // Once with another password: when a function is called for the first time, the system's loader
    // saves the registers, with whatever they hold, on the stack.
    const OwnPassword other;
    EXPECT_THROW(openPkcs12(module_, path_, other.text), HostError);
    EXPECT_NE(countInMemory(other.pieces), 0);
  }
  void TearDown() override { std::filesystem::remove(path_); }

  const Module module_{{.module = std::filesystem::absolute("../bin") / vexa::kModuleFile}};
  const std::string path_ = "certificates_secrets_test.pfx";
};

TEST_F(CertificatesSecrets, APasswordThatOpensNothingStaysNowhere) {
  OwnPassword password;
  EXPECT_THROW(openPkcs12(module_, path_, password.text), HostError);
  wipe(password.text);
  EXPECT_EQ(countInMemory(password.pieces), 0);
}

TEST_F(CertificatesSecrets, APasswordOfANewFileStaysNowhere) {
  OwnPassword password;
  const KeyAndChain content = openPkcs12(module_, path_, "secret");
  EXPECT_FALSE(createPkcs12(module_, content, "name", password.text).empty());
  wipe(password.text);
  EXPECT_EQ(countInMemory(password.pieces), 0);
}

}  // namespace
}  // namespace vexahost
