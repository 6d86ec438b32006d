#include "runtime/exports/crypto_types.h"

#include "runtime/certificates/certificate_reader.h"
#include "runtime/certificates/certificate_text.h"
#include "runtime/string_bytes.h"

// Slots 13 to 26 of SEC_COMMONTYPES_1.
namespace vexa::velmora {
namespace {

constexpr uint8_t kDerStart = kSequence;
constexpr int32_t kDifferent = 1;

int32_t verdict(bool equal) { return equal ? 0 : kDifferent; }

int32_t stringCopy(runtime::StringObject* string, runtime::Name* name) {
  if (string == nullptr) {
    return kNullPointer;
  }
  Bytes text;
  if (name != nullptr) {
    appendNameText(name, text);
  }
  return text.failed() ? kOutOfMemory : assignString(string, text.view());
}

int32_t nameCompare(runtime::Name* a, runtime::Name* b) { return verdict(equalNames(a, b)); }

int32_t certificateDecode(const runtime::ByteBuffer* encoding, runtime::Certificate** out) {
  if (out == nullptr) {
    return kNullPointer;
  }
  *out = nullptr;
  if (encoding == nullptr) {
    return kNullPointer;
  }
  const ByteView bytes = viewOf(*encoding);
  if (bytes.empty() || bytes.data() == nullptr) {
    return kFail;
  }
  if (bytes[0] == kDerStart) {
    return decodeCertificate(bytes, out);
  }
  Bytes der;
  const int32_t result = readCertificateText(bytes, der);
  return failed(result) ? result : decodeCertificate(der.view(), out);
}

int32_t certificateCompare(runtime::Certificate* a, runtime::Certificate* b) {
  return verdict(equalCertificates(a, b));
}

int32_t objectIdFromText(const char* dotted, runtime::ObjectId** out) {
  if (out == nullptr) {
    return kNullPointer;
  }
  *out = nullptr;
  return dotted == nullptr ? kNullPointer : makeObjectId(dotted, out);
}

int32_t objectIdCompare(runtime::ObjectId* a, runtime::ObjectId* b) {
  return verdict(equalIds(a, b));
}

int32_t keyCompare(const runtime::PublicKey* a, const runtime::PublicKey* b) {
  return verdict(equalKeys(a, b));
}

int32_t algorithmIdCopy(runtime::AlgorithmId* target, const runtime::AlgorithmId* source) {
  return target == nullptr || source == nullptr ? kNullPointer : copyAlgorithm(target, source);
}

int32_t publicKeyCopy(runtime::PublicKey* target, const runtime::PublicKey* source) {
  return target == nullptr || source == nullptr ? kNullPointer : copyPublicKey(target, source);
}

int32_t keyCreate(runtime::KeyObject** out) { return out == nullptr ? kNullPointer : makeKey(out); }

int32_t rsaPrivateKeyDecode(const uint8_t* bytes, uint64_t count, runtime::RsaPrivateKey** out) {
  if (out == nullptr) {
    return kNullPointer;
  }
  *out = nullptr;
  if (bytes == nullptr) {
    return kNullPointer;
  }
  return decodeRsaPrivateKey({bytes, static_cast<size_t>(count)}, out);
}

}  // namespace

void addCryptoTypes(runtime::CommonTypes& types) {
  types.StringCopy = stringCopy;
  types.NameCompare = nameCompare;
  types.CertificateDecode = certificateDecode;
  types.CertificateCompare = certificateCompare;
  types.CertificateListRelease = releaseCertificateList;
  types.ObjectIdFromText = objectIdFromText;
  types.ObjectIdCompare = objectIdCompare;
  types.KeyCompare = keyCompare;
  types.AlgorithmIdCopy = algorithmIdCopy;
  types.PublicKeyCopy = publicKeyCopy;
  types.KeyCreate = keyCreate;
  types.KeyRelease = releaseKey;
  types.RsaPrivateKeyDecode = rsaPrivateKeyDecode;
  types.RsaPrivateKeyRelease = releaseRsaPrivateKey;
}

}  // namespace vexa::velmora
