#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "support/cycles.h"
#include "vexa/results.h"
#include "vexa/runtime/bound_tables.h"
#include "vexa/runtime/reference_crypto.h"
#include "vexa/shared_library.h"

namespace vexa::test {
namespace {

constexpr char kTraceFile[] = "cycles.trace";

constexpr int kUsually = 300;

std::filesystem::path runtimeFile() { return std::filesystem::absolute("../bin") / kRuntimeFile; }

// The built runtime, loaded by file as the module loads it.
class Runtime {
 public:
  Runtime() : library_(SharedLibrary::load(runtimeFile())) {
    const auto getRoot = library_.find<runtime::GetRootListFunction>(runtime::kGetRootListExport);
    if (getRoot != nullptr) {
      getRoot(0, 0, &root, 0, "", 0);
    }
  }

  template <class Table>
  const Table* bind(const char* name) const {
    const void* table = nullptr;
    return failed(root->GetInterface(nullptr, name, &table)) ? nullptr
                                                             : static_cast<const Table*>(table);
  }

  template <class Function>
  Function find(const char* name) const {
    return library_.find<Function>(name);
  }

  const runtime::RootList* root = nullptr;

 private:
  SharedLibrary library_;
};

void useHeap(const runtime::RootList& root) {
  void* blocks[100];
  for (void*& block : blocks) {
    block = root.Allocate(static_cast<uint64_t>(&block - blocks) * 300);
  }
  for (void* const block : blocks) {
    root.Free(root.Reallocate(block, 5000));
  }
}

runtime::CipherItem itemOf(uint32_t tag, void* value, runtime::CipherItem* next = nullptr) {
  return {tag, 0, value, 0, 0, {}, nullptr, next};
}

template <class T>
void release(T* object) {
  auto* const counted = reinterpret_cast<runtime::Object*>(object);
  counted->table->Release(counted);
}

// Makes a key and uses it with a stream cipher, for which libgcrypt is started.
void encipher(const runtime::CryptTable& crypt) {
  uint32_t algorithm = 6, bits = 256;
  auto second = itemOf(runtime::kCipherKeyBits, &bits);
  const auto first = itemOf(runtime::kCipherAlgorithm, &algorithm, &second);
  auto key = itemOf(runtime::kCipherKey, nullptr);
  ASSERT_EQ(crypt.GenerateKey(&first, &key, algorithm), kOk);

  second = key;
  const uint8_t text[16] = {};
  uint8_t enciphered[sizeof(text)];
  runtime::ByteBuffer out{sizeof(enciphered), enciphered};
  EXPECT_EQ(crypt.Cipher(&first, text, sizeof(text), enciphered, &out), kOk);
  release(static_cast<runtime::Object*>(key.value));
}

// Makes a key on a curve and a certificate of it, which takes libgcrypt's other half.
void issue(const Runtime& runtime) {
#define CALL(function, ...) \
  EXPECT_EQ(runtime.find<decltype(&function)>(#function)(__VA_ARGS__), kOk)
  runtime::KeyObject* key = nullptr;
  runtime::Certificate* certificate = nullptr;
  CALL(velmora_key_generate_ec, "P-256", &key);
  CALL(velmora_certificate_create, &certificate);
  CALL(velmora_certificate_set_subject, certificate, "CN=Jane");
  CALL(velmora_certificate_set_validity, certificate, "20200101T000000", "20400101T000000");
  CALL(velmora_certificate_set_public_key, certificate, &key->publicKey);
  CALL(velmora_certificate_sign, certificate, key, nullptr);
#undef CALL
  release(certificate);
  runtime.bind<runtime::CommonTypes>(runtime::kCommonTypesName)->KeyRelease(key);
}

void loadAndUnload() {
  const Runtime runtime;
  ASSERT_NE(runtime.root, nullptr);
  useHeap(*runtime.root);
}

void useAndUnload() {
  const Runtime runtime;
  ASSERT_NE(runtime.root, nullptr);
  std::thread([&runtime] { useHeap(*runtime.root); }).join();
  uint8_t drawn[16];
  ASSERT_EQ(runtime.bind<runtime::RandomTable>(runtime::kRandomName)->GetBytes(2, 16, 0, drawn),
            kOk);
  encipher(*runtime.bind<runtime::CryptTable>(runtime::kCryptName));
  issue(runtime);
  runtime.find<decltype(&velmora_set_source_level)>("velmora_set_source_level")("source", 3);
  ASSERT_EQ(runtime.find<decltype(&velmora_set_trace)>("velmora_set_trace")(1, kTraceFile), kOk);
  runtime.bind<runtime::NotifyTable>(runtime::kNotifyName)->Message(3, "source", 0, "%d", 1);
}

// Natively it stays, since the system's libgcrypt holds functions of it.
TEST(LoadCycles, ARuntimeThatIsLetGoGoesOnWindows) {
  useAndUnload();
#if defined(_WIN32)
  EXPECT_FALSE(SharedLibrary::loaded(runtimeFile().string().c_str()));
#else
  EXPECT_TRUE(SharedLibrary::loaded(runtimeFile().string().c_str()));
#endif
  std::filesystem::remove(kTraceFile);
}

TEST(LoadCycles, LoadingAndUnloadingLeavesNothing) {
  expectNothingLeftBy(loadAndUnload, cycles(kUsually));
}

TEST(LoadCycles, UsingAndUnloadingLeavesNothing) {
  expectNothingLeftBy(useAndUnload, cycles(kUsually));
  std::filesystem::remove(kTraceFile);
}

// The module starts and ends on one loaded runtime, too.
TEST(LoadCycles, UsingALoadedRuntimeLeavesNothing) {
  {
    const Runtime runtime;
    expectNothingLeftBy(useAndUnload, cycles(kUsually));
  }
  std::filesystem::remove(kTraceFile);  // closed by now
}

}  // namespace
}  // namespace vexa::test
