#include "runtime/pkcs12/pfx_encoder.h"

#include "runtime/certificates/certificate.h"
#include "runtime/der/asn1_string.h"
#include "runtime/keys/system_random.h"
#include "runtime/pkcs12/password_cipher.h"
#include "runtime/pkcs12/password_mac.h"
#include "runtime/pkcs12/pkcs12_ids.h"
#include "runtime/string_bytes.h"

namespace vexa::velmora {
namespace {

constexpr size_t kMacSaltLength = 8;
constexpr uint32_t kPfxVersion = 3;

class PfxEncoder {
 public:
  PfxEncoder(const runtime::PfxParameters& parameters, const Password& password)
      : parameters_(parameters), password_(password) {}

  // PFX = SEQUENCE { version, authSafe ContentInfo, macData }
  int32_t write(Bytes& out) {
    int32_t result = findAlgorithms();
    if (failed(result)) {
      return result;
    }
    Bytes safes;
    result = authenticatedSafe(safes);
    if (failed(result)) {
      return result;
    }
    DerWriter writer(out);
    const size_t mark = writer.begin(kSequence);
    writer.smallInteger(kPfxVersion);
    dataContent(safes, writer);
    result = mac(safes, writer);
    writer.end(mark);
    if (failed(result)) {
      return result;
    }
    return out.failed() ? kOutOfMemory : kOk;
  }

 private:
  int32_t findAlgorithms() {
    if (parameters_.version != kPfxVersion || parameters_.macDigest == nullptr ||
        parameters_.bagEncryption1 == nullptr || parameters_.bagEncryption2 == nullptr) {
      return kInvalidArgument;
    }
    macDigest_ = findMacDigest(parameters_.macDigest);
    certificateScheme_ = findPasswordScheme(parameters_.bagEncryption1);
    keyScheme_ = findPasswordScheme(parameters_.bagEncryption2);
    const bool known =
        macDigest_ != nullptr && certificateScheme_ != nullptr && keyScheme_ != nullptr;
    return known ? kOk : kInvalidArgument;
  }

  // The certificates in one encrypted safe, then the keys in a plain one. Of a shortage of memory,
  // `out` tells.
  int32_t authenticatedSafe(Bytes& out) {
    Bytes certificates;
    Bytes keys;
    int32_t result = safeContents(runtime::kCertificateBag, certificates);
    if (!failed(result)) {
      result = safeContents(runtime::kKeyBag, keys);
    }
    if (failed(result)) {
      return result;
    }
    DerWriter writer(out);
    const size_t mark = writer.begin(kSequence);
    if (certificates.size() != 0) {
      result = encryptedContent(certificates, writer);
      if (failed(result)) {
        return result;
      }
    }
    if (keys.size() != 0) {
      dataContent(keys, writer);
    }
    writer.end(mark);
    return kOk;
  }

  // SafeContents = SEQUENCE OF SafeBag, of the bags of one type; empty when there is none.
  int32_t safeContents(uint32_t type, Bytes& out) {
    DerWriter writer(out);
    size_t mark = 0;
    for (const runtime::BagNode* node = parameters_.contents; node != nullptr; node = node->next) {
      if (node->bag == nullptr || node->bag->type != type) {
        continue;
      }
      if (mark == 0) {
        mark = writer.begin(kSequence);
      }
      const int32_t result = safeBag(*node->bag, writer);
      if (failed(result)) {
        return result;
      }
    }
    if (mark != 0) {
      writer.end(mark);
    }
    return out.failed() ? kOutOfMemory : kOk;
  }

  // SafeBag = SEQUENCE { bagId, bagValue [0], bagAttributes SET OPTIONAL }
  int32_t safeBag(const runtime::SafeBag& bag, DerWriter& writer) {
    const size_t sequence = writer.begin(kSequence);
    const int32_t result =
        bag.type == runtime::kKeyBag ? keyValue(bag, writer) : certificateValue(bag, writer);
    if (failed(result)) {
      return result;
    }
    attributes(bag, writer);
    writer.end(sequence);
    return kOk;
  }

  int32_t keyValue(const runtime::SafeBag& bag, DerWriter& writer) {
    if (bag.key == nullptr || bag.key->algorithm.identifier == nullptr) {
      return kInvalidArgument;
    }
    Bytes info;
    privateKeyInfo(*bag.key, info);
    if (info.failed()) {
      return kOutOfMemory;
    }
    writer.objectId(bag.shrouded != 0 ? pkcs12::kShroudedKeyBagId : pkcs12::kKeyBagId);
    const size_t value = writer.begin(contextTag(0, true));
    if (bag.shrouded != 0) {
      // EncryptedPrivateKeyInfo = SEQUENCE { encryptionAlgorithm, encryptedData OCTET STRING }
      const size_t sequence = writer.begin(kSequence);
      Bytes encrypted;
      const int32_t result = passwordEncrypt(*keyScheme_, password_, parameters_.iterations,
                                             info.view(), budget_, writer, encrypted);
      if (failed(result)) {
        return result;
      }
      writer.element(kOctetString, encrypted);
      writer.end(sequence);
    } else {
      writer.element(info);
    }
    writer.end(value);
    return kOk;
  }

  // PrivateKeyInfo = SEQUENCE { version, privateKeyAlgorithm, privateKey OCTET STRING } (RFC 5208)
  static void privateKeyInfo(const runtime::PrivateKeyInfo& key, Bytes& out) {
    DerWriter writer(out);
    const size_t mark = writer.begin(kSequence);
    writer.smallInteger(0);
    writeAlgorithm(key.algorithm, writer);
    writer.element(kOctetString, viewOf(key.key));
    writer.end(mark);
  }

  // CertBag = SEQUENCE { certId, certValue [0] OCTET STRING }
  static int32_t certificateValue(const runtime::SafeBag& bag, DerWriter& writer) {
    const runtime::ByteBuffer* const encoding =
        bag.certificate == nullptr ? nullptr : bag.certificate->table->GetEncoding(bag.certificate);
    if (encoding == nullptr) {
      return kInvalidArgument;
    }
    writer.objectId(pkcs12::kCertificateBagId);
    const size_t value = writer.begin(contextTag(0, true));
    const size_t sequence = writer.begin(kSequence);
    writer.objectId(pkcs12::kX509Certificate);
    const size_t tagged = writer.begin(contextTag(0, true));
    writer.element(kOctetString, viewOf(*encoding));
    writer.end(tagged);
    writer.end(sequence);
    writer.end(value);
    return kOk;
  }

  // A SET OF in DER: the attributes in the order of their encodings.
  static void attributes(const runtime::SafeBag& bag, DerWriter& writer) {
    Bytes name;
    Bytes id;
    if (!textOf(bag.friendlyName).empty()) {
      Bytes utf16;
      appendUtf16FromUtf8(textOf(bag.friendlyName), utf16);
      attribute(pkcs12::kFriendlyName, kBmpString, utf16, name);
    }
    if (bag.localKeyId != nullptr) {
      Bytes octets;
      octets.append(viewOf(*bag.localKeyId));
      attribute(pkcs12::kLocalKeyId, kOctetString, octets, id);
    }
    if (name.failed() || id.failed()) {
      writer.fail();
    }
    if (name.size() == 0 && id.size() == 0) {
      return;
    }
    const bool nameFirst = beforeBytes(name.view(), id.view());
    const size_t set = writer.begin(kSet);
    writer.raw(nameFirst ? name.view() : id.view());
    writer.raw(nameFirst ? id.view() : name.view());
    writer.end(set);
  }

  // SEQUENCE { attrId, attrValues SET OF }
  static void attribute(const KnownId& identifier, uint8_t tag, const Bytes& value, Bytes& out) {
    DerWriter writer(out);
    const size_t sequence = writer.begin(kSequence);
    writer.objectId(identifier);
    const size_t set = writer.begin(kSet);
    writer.element(tag, value);
    writer.end(set);
    writer.end(sequence);
  }

  // ContentInfo = SEQUENCE { contentType, content [0] OCTET STRING }
  static void dataContent(const Bytes& content, DerWriter& writer) {
    const size_t sequence = writer.begin(kSequence);
    writer.objectId(pkcs12::kData);
    const size_t tagged = writer.begin(contextTag(0, true));
    writer.element(kOctetString, content);
    writer.end(tagged);
    writer.end(sequence);
  }

  // ContentInfo with EncryptedData = SEQUENCE { version, EncryptedContentInfo }, which is
  // SEQUENCE { contentType, contentEncryptionAlgorithm, encryptedContent [0] IMPLICIT OCTET STRING
  // }
  int32_t encryptedContent(const Bytes& content, DerWriter& writer) {
    const size_t sequence = writer.begin(kSequence);
    writer.objectId(pkcs12::kEncryptedData);
    const size_t tagged = writer.begin(contextTag(0, true));
    const size_t data = writer.begin(kSequence);
    writer.smallInteger(0);
    const size_t info = writer.begin(kSequence);
    writer.objectId(pkcs12::kData);
    Bytes encrypted;
    const int32_t result = passwordEncrypt(*certificateScheme_, password_, parameters_.iterations,
                                           content.view(), budget_, writer, encrypted);
    if (failed(result)) {
      return result;
    }
    writer.element(contextTag(0, false), encrypted);
    writer.end(info);
    writer.end(data);
    writer.end(tagged);
    writer.end(sequence);
    return kOk;
  }

  // MacData = SEQUENCE { mac DigestInfo, macSalt OCTET STRING, iterations INTEGER }
  int32_t mac(const Bytes& safes, DerWriter& writer) {
    uint8_t salt[kMacSaltLength];
    if (!systemRandom(salt, sizeof(salt))) {
      return kFail;
    }
    Bytes code;
    const int32_t result =
        passwordMac(*macDigest_, {password_.terminatedUtf16(), salt, parameters_.iterations},
                    safes.view(), budget_, code);
    if (failed(result)) {
      return result;
    }
    const size_t macData = writer.begin(kSequence);
    const size_t digestInfo = writer.begin(kSequence);
    const size_t algorithm = writer.begin(kSequence);
    writer.objectId(macDigest_->objectId);
    writer.null();
    writer.end(algorithm);
    writer.element(kOctetString, code);
    writer.end(digestInfo);
    writer.element(kOctetString, ByteView(salt));
    writer.smallInteger(parameters_.iterations);
    writer.end(macData);
    return kOk;
  }

  const runtime::PfxParameters& parameters_;
  const Password& password_;
  DerivationBudget budget_;
  const MacDigest* macDigest_ = nullptr;
  const PasswordScheme* certificateScheme_ = nullptr;
  const PasswordScheme* keyScheme_ = nullptr;
};

}  // namespace

int32_t encodePfx(const runtime::PfxParameters& parameters, const Password& password, Bytes& out) {
  return PfxEncoder(parameters, password).write(out);
}

}  // namespace vexa::velmora
