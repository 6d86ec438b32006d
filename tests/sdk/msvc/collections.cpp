#include "host.h"

namespace msvc_host {
namespace {

// The module calls this object: its table is the Microsoft compiler's.
class NumberHelper final : public vexa::IHashTableHelperKey {
 public:
  int32_t CopyItem(void* item, void** copy) override {
    ++copies;
    *copy = item;
    return vexa::kOk;
  }
  int32_t FreeItem(void*) override {
    --copies;
    return vexa::kOk;
  }
  int32_t CompareItems(void* a, void* b) override { return a == b ? 0 : a < b ? -1 : 1; }
  int32_t MakeKeyRecord(void* item, vexa::HashTableKeyRecord* record) override {
    *record = {reinterpret_cast<uintptr_t>(item), nullptr};
    return vexa::kOk;
  }

  int32_t copies = 0;
};

void* number(uintptr_t value) { return reinterpret_cast<void*>(value); }

struct Sample {
  vexa::runtime::KeyObject* key = nullptr;
  vexa::runtime::Certificate* certificate = nullptr;
};

Sample makeCertificate(const Module& module) {
  Sample sample;
  const auto generate =
      module.runtimeFunction<decltype(velmora_key_generate_rsa)>("velmora_key_generate_rsa");
  const auto create =
      module.runtimeFunction<decltype(velmora_certificate_create)>("velmora_certificate_create");
  const auto subject = module.runtimeFunction<decltype(velmora_certificate_set_subject)>(
      "velmora_certificate_set_subject");
  const auto validity = module.runtimeFunction<decltype(velmora_certificate_set_validity)>(
      "velmora_certificate_set_validity");
  const auto publicKey = module.runtimeFunction<decltype(velmora_certificate_set_public_key)>(
      "velmora_certificate_set_public_key");
  const auto sign =
      module.runtimeFunction<decltype(velmora_certificate_sign)>("velmora_certificate_sign");
  expect(generate(2048, &sample.key) == 0 && create(&sample.certificate) == 0, "key, certificate");
  expect(subject(sample.certificate, "CN=Jane") == 0 &&
             validity(sample.certificate, "20200101T000000", "20400101T000000") == 0 &&
             publicKey(sample.certificate, &sample.key->publicKey) == 0 &&
             module.list<vexa::CaList>().SetKeyUsage(sample.certificate, vexa::kUsageBoth) == 0 &&
             sign(sample.certificate, sample.key, nullptr) == 0,
         "a certificate");
  return sample;
}

void release(vexa::runtime::Certificate* certificate) {
  certificate->table->header.Release(reinterpret_cast<vexa::runtime::Object*>(certificate));
}

void useContainer(const Module& module, vexa::runtime::Certificate* certificate) {
  auto* const all = module.make<vexa::ICertificates>();
  vexa::ICertificate* wrapper = nullptr;
  expect(all->FindOrAdd(certificate, &wrapper) == vexa::kOk, "FindOrAdd");
  expect(wrapper->IsEqual(certificate) == 1, "IsEqual");
  vexa::runtime::AttributeRequest request{};
  request.id = vexa::kSubjectName;
  expect(wrapper->GetAttributes(&request) == vexa::kOk && request.found == 1, "GetAttributes");
  expect(equal(module.strings->GetText(&request.value.string), "CN=Jane"), "the subject");
  module.strings->Clear(&request.value.string);
  expect(wrapper->SetAttributes(&request) == vexa::kAccessDenied, "SetAttributes");
  wrapper->Release();
  uint32_t count = 0;
  expect(all->GetCount(&count) == vexa::kOk && count == 1, "GetCount");
  void* item = nullptr;
  expect(all->GetItem(0, &item) == vexa::kOk, "GetItem");
  static_cast<vexa::IComponent*>(item)->Release();
  expect(all->QueryItem(0, &vexa::IID_IAttributes, &item) == vexa::kOk, "QueryItem");
  static_cast<vexa::IAttributes*>(item)->Release();
  all->Release();
}

void useFile(const Module& module, const Sample& sample) {
  const auto& core = module.list<vexa::CoreList>();
  const auto& functions = module.list<vexa::CertificateFunctions>();
  auto* const chain = functions.AppendCertificate(nullptr, sample.certificate);
  vexa::runtime::StringObject name{};
  expect(module.strings->AssignText(&name, "secret") == 0, "AssignText");
  vexa::runtime::ByteBuffer* file = nullptr;
  expect(core.CreatePkcs12(&name, sample.key, chain, &name, &file) == vexa::kOk, "CreatePkcs12");
  vexa::runtime::KeyObject* key = nullptr;
  vexa::runtime::CertificateList* certificates = nullptr;
  expect(core.OpenPkcs12(file, &name, &key, &certificates) == vexa::kOk, "OpenPkcs12");
  expect(module.types->CertificateCompare(certificates->certificate, sample.certificate) == 0,
         "the same certificate");
  module.types->KeyRelease(key);
  module.types->CertificateListRelease(certificates);
  module.types->BufferRelease(file);
  module.types->CertificateListRelease(chain);
  module.strings->Clear(&name);
}

}  // namespace

void useHashTable(const Module& module) {
  NumberHelper helper;
  const auto address = reinterpret_cast<uintptr_t>(&helper);
  vexa::HashTable_void* table = nullptr;
  expect(module.list<vexa::HashTableList>().CreateHashTableEx(&table, 7, address, address) ==
             vexa::kOk,
         "CreateHashTableEx");
  expect(equal(table->GetTypeName(), "HashTable"), "GetTypeName");
  expect(table->Header0(nullptr, nullptr, nullptr) == vexa::kOk &&
             table->Header5(nullptr) == vexa::kOk &&
             table->Header6(nullptr, nullptr, nullptr) == vexa::kOk,
         "the header");
  expect(table->Put(number(1), number(2)) == vexa::kOk, "Put");
  expect(table->Contains(number(1)) == vexa::kOk, "Contains");
  void* value = nullptr;
  expect(table->Get(number(1), &value) == vexa::kOk && value == number(2), "Get");
  expect(table->GetKeyAt(0, &value) == vexa::kOk && value == number(1), "GetKeyAt");
  expect(table->Remove(number(1)) == vexa::kOk && table->RemoveAll() == vexa::kOk, "Remove");
  vexa::HashTable_void* same = nullptr;
  expect(table->Duplicate(&same) == vexa::kOk && same == table, "Duplicate");
  expect(table->AddRef() == 3, "AddRef");
  table->Release();
  same->Release();
  expect(table->Release() == 0, "the table is gone");
  expect(helper.copies == 1, "every copy is freed, but for the one that Get handed out");
}

void useCertificates(const Module& module) {
  const Sample sample = makeCertificate(module);
  const auto& functions = module.list<vexa::CertificateFunctions>();
  expect(functions.IsSignatureCertificate(sample.certificate) == 1, "IsSignatureCertificate");
  expect(functions.IsCACertificate(sample.certificate) == 0, "it may not sign certificates");
  vexa::runtime::StringObject text{};
  functions.GetFirstName(sample.certificate, &text);
  expect(equal(module.strings->GetText(&text), "CN=Jane"), "GetFirstName");
  module.strings->Clear(&text);
  useContainer(module, sample.certificate);
  useFile(module, sample);
  release(sample.certificate);
  module.types->KeyRelease(sample.key);

  auto* const pse = module.make<vexa::IPse>();
  expect(pse->GetContext() != nullptr, "GetContext");
  expect(pse->GetPSE() == module.list<vexa::AscList>().GetPse(), "GetPSE");
  expect(pse->Reserved6(nullptr, nullptr, nullptr) == vexa::kNotImplemented &&
             pse->Reserved12(nullptr, nullptr, nullptr) == vexa::kNotImplemented,
         "the reserved slots");
  pse->Release();
  auto* const own = module.make<vexa::IOwnCertificates>();
  expect(own->Refresh() == vexa::kOk, "Refresh");
  uint32_t count = 1;
  expect(own->GetCount(&count) == vexa::kOk && count == 0, "no own certificates");
  own->Release();
  const auto& capi = module.list<vexa::CapiList>();
  expect(capi.CspImportCACerts(0, nullptr) == 0, "CspImportCACerts");
}

}  // namespace msvc_host
