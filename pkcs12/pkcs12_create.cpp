#include <cstring>

#include "base/heap.h"
#include "base/holders.h"
#include "base/trace.h"
#include "pkcs12/pkcs12.h"

namespace vexa::pkcs12 {
namespace {

using base::bound;

constexpr uint32_t kPfxVersion = 3;  // RFC 7292
constexpr uint32_t kIterations = 2048;
constexpr char kMacDigest[] = "SHA-1";
constexpr char kBagEncryption1[] = "pbeWithSHA1And128BitRC4";
constexpr char kBagEncryption2[] = "pbeWithSHA1And3-KeyTripleDES-CBC";
constexpr char kLocalKeyId[] = "01";  // of the key and of its certificate

// Builds the parameter record, bag by bag. Everything linked into it goes with it.
class PfxBuilder {
 public:
  PfxBuilder(const runtime::StringObject& name, const runtime::KeyObject& key)
      : name_(name), key_(key) {}

  const runtime::PfxParameters* parameters() const { return parameters_.get(); }

  int32_t start() {
    int32_t result = bound.pkcs12Types->ParametersCreate(parameters_.put());
    if (result != kOk) {
      return result;
    }
    if (result = bound.pkcs12Types->BagNodeCreate(&parameters_->contents); result != kOk) {
      return result;
    }
    parameters_->version = kPfxVersion;
    parameters_->iterations = kIterations;
    parameters_->macDigest = bound.commonTypes->TextDuplicate(kMacDigest);
    parameters_->bagEncryption1 = bound.commonTypes->TextDuplicate(kBagEncryption1);
    parameters_->bagEncryption2 = bound.commonTypes->TextDuplicate(kBagEncryption2);
    return parameters_->macDigest == nullptr || parameters_->bagEncryption1 == nullptr ||
                   parameters_->bagEncryption2 == nullptr
               ? kOutOfMemory
               : kOk;
  }

  int32_t addKeyBag() {
    base::SafeBag bag;
    int32_t result = createBag(bag, runtime::kKeyBag);
    if (result == kOk) {
      bag->shrouded = 1;
      result = setName(bag);
    }
    if (result == kOk) {
      result = setKey(bag);
    }
    if (result == kOk) {
      result = bound.commonTypes->BufferFromHex(kLocalKeyId, &bag->localKeyId);
    }
    if (result == kOk) {
      last_ = parameters_->contents;
      last_->bag = bag.release();
    }
    return result;
  }

  int32_t addOwnCertificate(runtime::Certificate* certificate) {
    base::SafeBag bag;
    int32_t result = createBag(bag, runtime::kCertificateBag);
    if (result == kOk) {
      result = setName(bag);
    }
    if (result == kOk) {
      result = bound.commonTypes->BufferFromHex(kLocalKeyId, &bag->localKeyId);
    }
    if (result == kOk) {
      result = setCertificate(bag, certificate);
    }
    return result == kOk ? link(bag) : result;
  }

  int32_t addChainCertificate(runtime::Certificate* certificate) {
    base::SafeBag bag;
    int32_t result = createBag(bag, runtime::kCertificateBag);
    if (result == kOk) {
      result = setCommonName(bag, certificate);
    }
    if (result == kOk) {
      result = setCertificate(bag, certificate);
    }
    return result == kOk ? link(bag) : result;
  }

 private:
  static int32_t createBag(base::SafeBag& bag, runtime::BagType type) {
    const int32_t result = bound.pkcs12Types->BagCreate(bag.put());
    if (result == kOk) {
      bag->type = type;
    }
    return result;
  }

  int32_t setName(base::SafeBag& bag) const {
    const int32_t result = bound.strings->Create(&bag->friendlyName);
    return result != kOk
               ? result
               : bound.strings->AssignBytes(bag->friendlyName, bound.strings->GetText(&name_),
                                            bound.strings->GetLength(&name_));
  }

  // Empty when the certificate has no subject.
  static int32_t setCommonName(base::SafeBag& bag, runtime::Certificate* certificate) {
    const int32_t result = bound.strings->Create(&bag->friendlyName);
    runtime::Name* const subject = certificate->table->GetSubject(certificate);
    if (result != kOk || subject == nullptr) {
      return result;
    }
    return subject->table->GetAttribute(subject, "CN", bag->friendlyName);
  }

  // The algorithm comes from the public half.
  int32_t setKey(base::SafeBag& bag) const {
    int32_t result = bound.pkcs12Types->PrivateKeyInfoCreate(&bag->key);
    if (result == kOk) {
      result = bound.commonTypes->AlgorithmIdCopy(&bag->key->algorithm, &key_.publicKey.algorithm);
    }
    if (result != kOk) {
      return result;
    }
    const uint64_t count = key_.privateKey.bitLength / 8;
    bag->key->key.data = static_cast<uint8_t*>(base::allocate(count));
    if (bag->key->key.data == nullptr) {
      return kOutOfMemory;
    }
    if (count != 0) {
      std::memcpy(bag->key->key.data, key_.privateKey.bytes, count);
    }
    bag->key->key.length = count;
    return kOk;
  }

  static int32_t setCertificate(base::SafeBag& bag, runtime::Certificate* certificate) {
    auto* const object = reinterpret_cast<runtime::Object*>(certificate);
    return object->table->Duplicate(object, reinterpret_cast<void**>(&bag->certificate));
  }

  // A new node at the end.
  int32_t link(base::SafeBag& bag) {
    runtime::BagNode* node = nullptr;
    const int32_t result = bound.pkcs12Types->BagNodeCreate(&node);
    if (result == kOk) {
      node->bag = bag.release();
      last_->next = node;
      last_ = node;
    }
    return result;
  }

  const runtime::StringObject& name_;
  const runtime::KeyObject& key_;
  base::PfxParameters parameters_;
  runtime::BagNode* last_ = nullptr;
};

int32_t build(PfxBuilder& builder, const runtime::CertificateList* certificates) {
  int32_t result = builder.start();
  if (result == kOk) {
    result = builder.addKeyBag();
  }
  if (result == kOk) {
    result = builder.addOwnCertificate(certificates->certificate);
  }
  for (const auto* record = certificates->next; record != nullptr && result == kOk;
       record = record->next) {
    if (record->certificate != nullptr) {
      result = builder.addChainCertificate(record->certificate);
    }
  }
  return result;
}

}  // namespace

int32_t aux_create_pkcs12(const runtime::StringObject* name, const runtime::KeyObject* key,
                          const runtime::CertificateList* certificates,
                          const runtime::StringObject* password, runtime::ByteBuffer** output) {
  base::TraceScope scope("aux_create_pkcs12");
  if (name == nullptr || key == nullptr || certificates == nullptr || output == nullptr ||
      certificates->certificate == nullptr) {
    return scope.leave(kInvalidArgument);
  }
  PfxBuilder builder(*name, *key);
  const int32_t result = build(builder, certificates);
  return scope.leave(result != kOk ? result
                                   : bound.pkcs12->Encode(builder.parameters(), password, output));
}

}  // namespace vexa::pkcs12
