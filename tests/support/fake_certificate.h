#pragma once

#include <cstdint>
#include <vector>

#include "vexa/results.h"
#include "vexa/runtime/certificate.h"

namespace vexa::test {

// A certificate whose every answer the test chooses, and which notes the setters that are called.
struct FakeCertificate {
  struct SetterCall {
    int slot;
    void* value1;
    void* value2;
    friend bool operator==(const SetterCall&, const SetterCall&) = default;
  };

  FakeCertificate() : object{&table()} {}
  FakeCertificate(const FakeCertificate&) = delete;
  FakeCertificate& operator=(const FakeCertificate&) = delete;

  operator runtime::Certificate*() { return &object; }

  runtime::Certificate object;  // first: the address of the whole
  uint32_t references = 1;
  runtime::Name* issuer = nullptr;
  runtime::Name* subject = nullptr;
  runtime::ByteBuffer encoding{};
  bool isEncoded = true;  // false: the certificate has no encoding
  uint32_t encodingCalls = 0;
  const runtime::PublicKey* publicKey = nullptr;
  uint8_t selfSigned = 0;
  const uint8_t* keyUsage = nullptr;
  const runtime::ExtendedKeyUsage* extendedKeyUsage = nullptr;
  const runtime::BasicConstraints* basicConstraints = nullptr;
  std::vector<SetterCall> setterCalls;
  std::vector<uint8_t> usageFlags;  // what slot 41 was given
  uint32_t usageCritical = 99;

 private:
  static FakeCertificate& self(void* object) { return *static_cast<FakeCertificate*>(object); }
  template <int kSlot>
  static int32_t note(runtime::Certificate* certificate, void* value1, void* value2) {
    self(certificate).setterCalls.push_back({kSlot, value1, value2});
    return kFail;  // results of setters do not count
  }

  static const runtime::CertificateTable& table() {
    static const runtime::CertificateTable table = [] {
      runtime::CertificateTable t{};
      t.header.AddRef = [](runtime::Object* o) { return ++self(o).references; };
      t.header.Release = [](runtime::Object* o) { return --self(o).references; };
      t.header.Duplicate = [](runtime::Object* o, void** copy) {
        ++self(o).references;
        *copy = o;
        return kOk;
      };
      t.GetIssuer = [](runtime::Certificate* c) { return self(c).issuer; };
      t.GetSubject = [](runtime::Certificate* c) { return self(c).subject; };
      t.GetEncoding = [](runtime::Certificate* c) -> const runtime::ByteBuffer* {
        ++self(c).encodingCalls;
        return self(c).isEncoded ? &self(c).encoding : nullptr;
      };
      t.GetValueA = [](runtime::Certificate* c) -> void* { return &self(c).references; };
      t.GetValueB = [](runtime::Certificate* c) -> void* { return &self(c).encoding; };
      t.GetKeyUsage = [](runtime::Certificate* c) { return self(c).keyUsage; };
      t.GetExtendedKeyUsage = [](runtime::Certificate* c) { return self(c).extendedKeyUsage; };
      t.GetBasicConstraints = [](runtime::Certificate* c) { return self(c).basicConstraints; };
      t.GetPublicKey = [](runtime::Certificate* c) { return self(c).publicKey; };
      t.IsSelfSigned = [](runtime::Certificate* c) { return self(c).selfSigned; };
      t.SetKeyUsage = [](runtime::Certificate* c, const uint8_t* flags, uint32_t critical) {
        self(c).usageFlags.assign(flags, flags + runtime::kKeyUsageFlags);
        self(c).usageCritical = critical;
        return kFail;
      };
      t.SetExtensionA = note<62>;
      t.SetExtensionB = note<56>;
      t.SetExtensionC = note<57>;
      t.SetExtensionD = note<63>;
      t.SetPairFirst = note<60>;
      t.SetPairSecond = [](runtime::Certificate* c, void* value2) {
        return note<61>(c, nullptr, value2);
      };
      return t;
    }();
    return table;
  }
};

}  // namespace vexa::test
