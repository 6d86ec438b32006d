#include <gtest/gtest.h>

#include <memory>

#include "installed_module.h"
#include "support/may_leak.h"
#include "support/sample_certificates.h"
#include "vexa/all.h"
#include "vexa/holders.h"
#include "vexa/runtime/reference.h"
#include "vexa/runtime/strings.h"

namespace vexa::test {
namespace {

// A copy of the runtime in a folder of its own, and so at an address of its own.
struct RuntimeCopy {
  explicit RuntimeCopy(const fs::path& file) : library(loadLibrary(file)) {
    const auto getRoot = library.find<runtime::GetRootListFunction>(runtime::kGetRootListExport);
    getRoot(0, 0, &root, 0, "", 0);
  }
  template <class Table>
  const Table& bind() const {
    const void* table = nullptr;
    EXPECT_EQ(root->GetInterface(runtime::TableTraits<Table>::kComponent,
                                 runtime::TableTraits<Table>::kName, &table),
              kOk);
    return *static_cast<const Table*>(table);
  }
  uint64_t liveBlocks() const {
    return library.find<decltype(&velmora_live_blocks)>("velmora_live_blocks")();
  }

  SharedLibrary library;
  const runtime::RootList* root = nullptr;
};

// Objects of every kind, each with something of the runtime's inside.
class HeldObjects {
 public:
  HeldObjects(GetModuleInterfaceFunction lookup, const RuntimeCopy& runtime) : lookup_(lookup) {
    makeRequest();
    makeResponse();
    makeCertificates(runtime);
    create<IPse>();
    create<IURLParser>()->parse("https://a.example/x");
    EXPECT_EQ(create<IOwnCertificates>()->Refresh(), kOk);
    EXPECT_EQ(create<IClientMonitor>()->Reset(), kOk);
    makeJson();
    InterfaceHolder<IScrambler> scrambler;
    EXPECT_EQ(list<CoreList>().CreateScramblerEx(kAes128, kScrambleChained, 128, scrambler.put()),
              kOk);
    objects_.emplace_back(scrambler.release());
    EXPECT_EQ(
        list<HashTableList>().CreateHashTable(&table_, kHashTableText | kHashTableText << 8, 0),
        kOk);
    char key[] = "key";
    EXPECT_EQ(table_->Put(key, key), kOk);
  }
  HeldObjects(const HeldObjects&) = delete;
  HeldObjects& operator=(const HeldObjects&) = delete;
  ~HeldObjects() { EXPECT_EQ(table_->Release(), 0u); }

 private:
  template <class List>
  const List& list() const {
    const void* found = nullptr;
    EXPECT_EQ(lookup_(nullptr, ListTraits<List>::kName, &found), kOk);
    return *static_cast<const List*>(found);
  }
  template <class Interface>
  Interface* create() {
    void* object = nullptr;
    EXPECT_EQ(list<ClassFactoryList>().CreateInstance(ClassTraits<Interface>::kName,
                                                      &InterfaceTraits<Interface>::kId, &object),
              kOk);
    objects_.emplace_back(static_cast<Interface*>(object));
    return static_cast<Interface*>(object);
  }

  void makeRequest() {
    const char text[] = "POST /a?x=1 HTTP/1.1\r\nOrigin: o\r\nContent-Length: 2\r\n\r\nhi";
    EXPECT_EQ(
        create<IHTTPRequest>()->parse(reinterpret_cast<const uint8_t*>(text), sizeof(text) - 1),
        kOk);
  }
  void makeResponse() {
    auto* const response = create<IHTTPResponse>();
    EXPECT_EQ(response->setBody("body"), kOk);
    EXPECT_EQ(response->addHeader("Name", "value"), kOk);
  }
  void makeCertificates(const RuntimeCopy& runtime) {
    auto* const sample = SampleCertificates::instance().jane;
    RuntimeObjectHolder<runtime::Certificate> certificate;
    EXPECT_EQ(runtime.bind<runtime::CommonTypes>().CertificateDecode(
                  sample->table->GetEncoding(sample), certificate.put()),
              kOk);
    InterfaceHolder<ICertificate> wrapper;
    EXPECT_EQ(create<ICertificates>()->FindOrAdd(certificate.get(), wrapper.put()), kOk);
    objects_.emplace_back(wrapper.release());
  }
  void makeJson() {
    char text[] = "{\"a\":[1,\"b\",{}]}";
    const runtime::ByteBuffer buffer = {sizeof(text) - 1, reinterpret_cast<uint8_t*>(text)};
    InterfaceHolder<IJsonObject> object;
    EXPECT_EQ(list<JsonApiList>().Parse(&buffer, object.put()), kOk);
    InterfaceHolder<IJsonArray> child;
    EXPECT_EQ(object->GetArray("a", child.put()), kOk);
    EXPECT_EQ(object->SetString("made", "later"), kOk);
    objects_.emplace_back(object.release());
    objects_.emplace_back(child.release());
  }

  GetModuleInterfaceFunction lookup_;
  std::vector<InterfaceHolder<IComponent>> objects_;
  HashTable_void* table_ = nullptr;
};

class LateRelease : public testing::Test {
 protected:
  // Made at a first start, and held over its end.
  std::unique_ptr<HeldObjects> makeAndEnd(const RuntimeCopy& runtime) {
    const MayLeak here;  // what is held over an end stays for ever
    EXPECT_EQ(module.init(runtime.root, &lookup), kOk);
    auto held = std::make_unique<HeldObjects>(lookup, runtime);
    EXPECT_EQ(module.final(), kOk);
    return held;
  }

  Installation installation;
  LoadedModule module{installation.put("app", kModuleFile)};
  GetModuleInterfaceFunction lookup = nullptr;
};

TEST_F(LateRelease, IsHarmlessAfterTheEnd) {
  const RuntimeCopy runtime(installation.put("first", kRuntimeFile));
  makeAndEnd(runtime).reset();
}

TEST_F(LateRelease, IsHarmlessAfterTheNextStartOnAnotherRuntime) {
  auto first = std::make_unique<RuntimeCopy>(installation.put("first", kRuntimeFile));
  auto held = makeAndEnd(*first);
  const RuntimeCopy second(installation.put("second", kRuntimeFile));
  first.reset();  // its functions are gone from now on
  ASSERT_EQ(module.init(second.root, &lookup), kOk);
  const uint64_t before = second.liveBlocks();
  held.reset();
  EXPECT_EQ(second.liveBlocks(), before) << "nothing of the first was given to the second";
  {
    const HeldObjects again(lookup, second);  // objects of this start are released as ever
  }
  EXPECT_EQ(module.final(), kOk);
  EXPECT_EQ(second.liveBlocks(), before);
}

TEST_F(LateRelease, IsHarmlessAfterTheNextStartOnTheSameRuntime) {
  const RuntimeCopy runtime(installation.put("first", kRuntimeFile));
  auto held = makeAndEnd(runtime);
  ASSERT_EQ(module.init(runtime.root, &lookup), kOk);
  held.reset();
  EXPECT_EQ(module.final(), kOk);
}

}  // namespace
}  // namespace vexa::test
