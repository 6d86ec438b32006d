#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>

#include "runtime/pkcs12/pfx_fixture.h"
#include "runtime/samples.h"

// The PSE where the C++ library is short of memory: texts and streams, which are not on the root
// heap.
namespace {

uint64_t untilShort = 0;  // 0: never
bool wasShort = false;

}  // namespace

void* operator new(size_t size) {
  if (untilShort != 0 && --untilShort == 0) {
    wasShort = true;
    throw std::bad_alloc();
  }
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}
// For those that can do without.
void* operator new(size_t size, const std::nothrow_t&) noexcept { return std::malloc(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, size_t) noexcept { std::free(block); }

namespace vexa::test {
namespace {

class PseShortage : public PfxTest {
 protected:
  void SetUp() override {
    // Longer than what a text holds in itself.
    file_ =
        std::filesystem::temp_directory_path() / "a file of own certificates that are short.pfx";
    std::ofstream(file_, std::ios::binary)
        .write(samples::kModernPfx.data(), std::ssize(samples::kModernPfx));
  }
  void TearDown() override {
    EXPECT_EQ(velmora_pse_configure(nullptr, nullptr), kOk);
    std::filesystem::remove(file_);
    PfxTest::TearDown();
  }

  // Runs `operation` with the 1st allocation failing, with the 2nd, and so on.
  template <class Operation>
  int sweep(Operation operation) {
    int swept = 0;
    do {
      const int64_t before = spy.liveBlocks();
      wasShort = false;
      untilShort = static_cast<uint64_t>(++swept);
      const int32_t result = operation();
      untilShort = 0;
      EXPECT_EQ(result, wasShort ? kOutOfMemory : kOk) << swept;
      EXPECT_EQ(spy.liveBlocks(), before) << swept;
    } while (wasShort);
    return swept - 1;
  }

  std::filesystem::path file_;
};

constexpr char kPassword[] = "a password that is longer than a text holds in itself";

TEST_F(PseShortage, OfConfiguringLeavesWhatWas) {
  ASSERT_EQ(velmora_pse_configure(file_.c_str(), "secret"), kOk);
  const int swept = sweep([this] {
    const int32_t result = velmora_pse_configure(file_.c_str(), kPassword);
    if (failed(result)) {
      EXPECT_EQ(velmora_pse_reload(), kOk) << "with the file and the password of before";
    }
    return result;
  });
  EXPECT_EQ(swept, 2) << "the name and the password";
  EXPECT_EQ(velmora_pse_reload(), kFail) << "with the other password";
}

TEST_F(PseShortage, OfReadingIsTold) {
  ASSERT_EQ(velmora_pse_configure(file_.c_str(), "secret"), kOk);
  EXPECT_GT(sweep([] { return velmora_pse_reload(); }), 1);
}

TEST_F(PseShortage, OfListingIsTold) {
  ASSERT_EQ(velmora_pse_configure(file_.c_str(), "secret"), kOk);
  const runtime::ContextParameters parameters{1, "vexa", nullptr, types.typeOperations, nullptr};
  const int swept = sweep([&] {
    Owned<runtime::SecurityContext> context;
    EXPECT_EQ(spy.asc.CreateContext(&parameters, context.put()), kOk);
    Owned<runtime::Pse> pse;
    EXPECT_EQ(context->table->GetPse(context.get(), pse.put()), kOk);
    runtime::OwnCertificateList* list = nullptr;
    const int32_t result = pse->table->ListOwnCertificates(pse.get(), nullptr, nullptr, &list);
    EXPECT_EQ(list != nullptr, result == kOk);
    spy.pse.OwnListRelease(list);
    return result;
  });
  EXPECT_GT(swept, 1);
}

}  // namespace
}  // namespace vexa::test
