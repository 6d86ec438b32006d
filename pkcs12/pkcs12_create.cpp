#include <cstring>

#include "base/heap.h"
#include "base/holders.h"
#include "base/trace.h"
#include "pkcs12/in_order.h"
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
    return inOrder([&] { return bound.pkcs12Types->ParametersCreate(parameters_.put()); },
                   [&] { return bound.pkcs12Types->BagNodeCreate(&parameters_->contents); },
                   [&] { return fillParameters(); });
  }

  int32_t addKeyBag() {
    base::SafeBag bag;
    return inOrder([&] { return createBag(bag, runtime::kKeyBag); }, [&] { return setName(bag); },
                   [&] { return setKey(bag); }, [&] { return setLocalKeyId(bag); },
                   [&] { return linkFirst(bag); });
  }

  int32_t addOwnCertificate(runtime::Certificate* certificate) {
    base::SafeBag bag;
    return inOrder([&] { return createBag(bag, runtime::kCertificateBag); },
                   [&] { return setName(bag); }, [&] { return setLocalKeyId(bag); },
                   [&] { return setCertificate(bag, certificate); }, [&] { return link(bag); });
  }

  int32_t addChainCertificate(runtime::Certificate* certificate) {
    base::SafeBag bag;
    return inOrder([&] { return createBag(bag, runtime::kCertificateBag); },
                   [&] { return setCommonName(bag, certificate); },
                   [&] { return setCertificate(bag, certificate); }, [&] { return link(bag); });
  }

 private:
  int32_t fillParameters() {
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

  static int32_t createBag(base::SafeBag& bag, runtime::BagType type) {
    const int32_t result = bound.pkcs12Types->BagCreate(bag.put());
    if (result == kOk) {
      bag->type = type;
    }
    return result;
  }

  int32_t setName(base::SafeBag& bag) const {
    return inOrder([&] { return bound.strings->Create(&bag->friendlyName); },
                   [&] {
                     return bound.strings->AssignBytes(bag->friendlyName,
                                                       bound.strings->GetText(&name_),
                                                       bound.strings->GetLength(&name_));
                   });
  }

  // Empty when the certificate has no subject.
  static int32_t setCommonName(base::SafeBag& bag, runtime::Certificate* certificate) {
    return inOrder([&] { return bound.strings->Create(&bag->friendlyName); },
                   [&] {
                     runtime::Name* const subject = certificate->table->GetSubject(certificate);
                     return subject == nullptr
                                ? kOk
                                : subject->table->GetAttribute(subject, "CN", bag->friendlyName);
                   });
  }

  static int32_t setLocalKeyId(base::SafeBag& bag) {
    return bound.commonTypes->BufferFromHex(kLocalKeyId, &bag->localKeyId);
  }

  // The algorithm comes from the public half.
  int32_t setKey(base::SafeBag& bag) const {
    bag->shrouded = 1;
    return inOrder([&] { return bound.pkcs12Types->PrivateKeyInfoCreate(&bag->key); },
                   [&] {
                     return bound.commonTypes->AlgorithmIdCopy(&bag->key->algorithm,
                                                               &key_.publicKey.algorithm);
                   },
                   [&] { return setMaterial(bag->key->key); });
  }

  int32_t setMaterial(runtime::ByteBuffer& out) const {
    const uint64_t count = key_.privateKey.bitLength / 8;
    out.data = static_cast<uint8_t*>(base::allocate(count));
    if (out.data == nullptr) {
      return kOutOfMemory;
    }
    if (count != 0) {
      std::memcpy(out.data, key_.privateKey.bytes, count);
    }
    out.length = count;
    return kOk;
  }

  static int32_t setCertificate(base::SafeBag& bag, runtime::Certificate* certificate) {
    auto* const object = reinterpret_cast<runtime::Object*>(certificate);
    return object->table->Duplicate(object, reinterpret_cast<void**>(&bag->certificate));
  }

  // Into the node that the parameter record begins with.
  int32_t linkFirst(base::SafeBag& bag) {
    last_ = parameters_->contents;
    last_->bag = bag.release();
    return kOk;
  }

  // Into a new node at the end.
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

int32_t addChain(PfxBuilder& builder, const runtime::CertificateList* certificates) {
  int32_t result = kOk;
  for (; certificates != nullptr && result == kOk; certificates = certificates->next) {
    if (certificates->certificate != nullptr) {
      result = builder.addChainCertificate(certificates->certificate);
    }
  }
  return result;
}

}  // namespace

int32_t aux_create_pkcs12(const runtime::StringObject* name, const runtime::KeyObject* key,
                          const runtime::CertificateList* certificates,
                          const runtime::StringObject* password, runtime::ByteBuffer** output) {
  return base::traced("aux_create_pkcs12", [&] {
    if (name == nullptr || key == nullptr || certificates == nullptr || output == nullptr ||
        certificates->certificate == nullptr) {
      return kInvalidArgument;
    }
    PfxBuilder builder(*name, *key);
    return inOrder([&] { return builder.start(); }, [&] { return builder.addKeyBag(); },
                   [&] { return builder.addOwnCertificate(certificates->certificate); },
                   [&] { return addChain(builder, certificates->next); },
                   [&] { return bound.pkcs12->Encode(builder.parameters(), password, output); });
  });
}

}  // namespace vexa::pkcs12
