#include "runtime/pkcs12/pfx_decoder.h"

#include "runtime/der/ber.h"
#include "runtime/pkcs12/password_cipher.h"
#include "runtime/pkcs12/password_mac.h"
#include "runtime/pkcs12/pfx_bags.h"
#include "runtime/pkcs12/pkcs12_ids.h"

namespace vexa::velmora {
namespace {

constexpr int kMaxNestedSafes = 8;

// The pieces of an IMPLICIT OCTET STRING, which a streaming writer leaves in a constructed tag.
bool appendPieces(ByteView pieces, Bytes& out) {
  DerReader reader(pieces);
  while (!reader.atEnd()) {
    const auto piece = reader.take(kOctetString);
    if (!piece) {
      return false;
    }
    out.append(piece->content);
  }
  return true;
}

// Brings BER to DER; the bytes live in `storage`.
int32_t toDer(ByteView ber, Bytes& storage, ByteView& der) {
  if (!derFromBer(ber, storage)) {
    return storage.failed() ? kOutOfMemory : kFail;
  }
  der = storage.view();
  return kOk;
}

class PfxDecoder {
 public:
  explicit PfxDecoder(const Password& password) : password_(password) {}

  runtime::BagNode* release() { return bags_.release(); }
  bool hasKey() const { return bags_.haveKey(); }

  // Whether a MAC is there and fits.
  bool isVerified() const { return verified_; }
  // What the reading that failed ran into; what it returned tells the rest.
  PfxProblem problem() const { return problem_; }

  // PFX = SEQUENCE { version, authSafe ContentInfo, macData }. The MAC, which the standard leaves
  // optional, comes before anything else: what nobody vouches for is not decrypted.
  int32_t read(ByteView pfx) {
    Bytes storage;
    ByteView der;
    problem_ = !pfx.empty() && pfx[0] == kSequence ? PfxProblem::kDamaged : PfxProblem::kNotPfx;
    int32_t result = toDer(pfx, storage, der);
    if (failed(result)) {
      return result;
    }
    problem_ = PfxProblem::kNotPfx;
    const auto outer = derContent(der, kSequence);
    if (!outer) {
      return kFail;
    }
    DerReader reader(*outer);
    const auto version = reader.take(kInteger);
    const auto contentInfo = reader.take(kSequence);
    if (!version || derSmallInteger(version->content) != 3u || !contentInfo) {
      return kFail;
    }
    problem_ = PfxProblem::kDamaged;
    const auto safes = dataOf(contentInfo->content);
    if (!safes) {
      return kFail;
    }
    if (reader.atEnd()) {
      problem_ = PfxProblem::kNoMac;
      return kFail;
    }
    const auto macData = reader.take(kSequence);
    if (!macData || !reader.atEnd()) {
      return kFail;
    }
    result = checkMac(macData->content, *safes);
    if (failed(result)) {
      return result;
    }
    return authenticatedSafe(*safes);
  }

 private:
  struct Content {
    ByteView type;
    ByteView value;  // of the explicit [0]
  };

  // ContentInfo = SEQUENCE { contentType, content [0] }
  static std::optional<Content> contentOfInfo(ByteView contentInfo) {
    const auto fields = derFields(contentInfo, {kObjectId, contextTag(0, true)});
    return fields ? std::optional(Content{(*fields)[0].content, (*fields)[1].content})
                  : std::nullopt;
  }

  static std::optional<ByteView> dataOf(ByteView contentInfo) {
    const auto content = contentOfInfo(contentInfo);
    if (!content || content->type != pkcs12::kData) {
      return std::nullopt;
    }
    return derContent(content->value, kOctetString);
  }

  // MacData = SEQUENCE { mac DigestInfo, macSalt OCTET STRING, iterations INTEGER DEFAULT 1 }
  int32_t checkMac(ByteView macData, ByteView safes) {
    DerReader reader(macData);
    const auto digestInfo = reader.take(kSequence);
    const auto salt = reader.take(kOctetString);
    if (!digestInfo || !salt) {
      return kFail;
    }
    uint32_t iterations = 1;
    if (!reader.atEnd()) {
      const auto count = reader.take(kInteger);
      const auto number = count ? derSmallInteger(count->content) : std::nullopt;
      if (!number || !reader.atEnd()) {
        return kFail;
      }
      iterations = *number;
    }
    const auto fields = derFields(digestInfo->content, {kSequence, kOctetString});
    if (!fields) {
      return kFail;
    }
    const auto& [algorithm, expected] = *fields;
    const MacDigest* const digest = findMacDigestByAlgorithm(algorithm.content);
    if (digest == nullptr) {
      return kNotImplemented;
    }
    Bytes code;
    const int32_t result = passwordMac(
        *digest, {password_.terminatedUtf16(), salt->content, iterations}, safes, budget_, code);
    if (failed(result)) {
      return result;
    }
    verified_ = equalInConstantTime(code.view(), expected.content);
    problem_ = verified_ ? PfxProblem::kDamaged : PfxProblem::kPassword;
    return verified_ ? kOk : kFail;
  }

  // AuthenticatedSafe = SEQUENCE OF ContentInfo, each a safe: data or encryptedData
  int32_t authenticatedSafe(ByteView ber) {
    Bytes storage;
    ByteView der;
    int32_t result = toDer(ber, storage, der);
    if (failed(result)) {
      return result;
    }
    const auto sequence = derContent(der, kSequence);
    if (!sequence) {
      return kFail;
    }
    DerReader reader(*sequence);
    while (!reader.atEnd()) {
      const auto contentInfo = reader.take(kSequence);
      if (!contentInfo) {
        return kFail;
      }
      result = safe(contentInfo->content);
      if (failed(result)) {
        return result;
      }
    }
    return kOk;
  }

  int32_t safe(ByteView contentInfo) {
    const auto content = contentOfInfo(contentInfo);
    if (!content) {
      return kFail;
    }
    if (content->type == pkcs12::kData) {
      const auto data = derContent(content->value, kOctetString);
      return data ? safeContents(*data) : kFail;
    }
    if (content->type != pkcs12::kEncryptedData) {
      return kNotImplemented;
    }
    Bytes plain;
    const int32_t result = decryptData(content->value, plain);
    return failed(result) ? result : safeContents(plain.view());
  }

  // EncryptedData = SEQUENCE { version, SEQUENCE { contentType, contentEncryptionAlgorithm,
  //                                                encryptedContent [0] IMPLICIT OCTET STRING } }
  int32_t decryptData(ByteView encryptedData, Bytes& plain) {
    const auto outer = derSequence(encryptedData, {kInteger, kSequence});
    if (!outer) {
      return kFail;
    }
    DerReader fields((*outer)[1].content);
    const auto type = fields.take(kObjectId);
    const auto algorithm = fields.take(kSequence);
    const auto encrypted = fields.takeAny();
    if (!type || type->content != pkcs12::kData || !algorithm || !encrypted || !fields.atEnd()) {
      return kFail;
    }
    if (encrypted->tag == contextTag(0, false)) {
      return passwordDecrypt(algorithm->content, password_, encrypted->content, budget_, plain);
    }
    Bytes joined;
    if (encrypted->tag != contextTag(0, true) || !appendPieces(encrypted->content, joined)) {
      return kFail;
    }
    if (joined.failed()) {
      return kOutOfMemory;
    }
    return passwordDecrypt(algorithm->content, password_, joined.view(), budget_, plain);
  }

  int32_t safeContents(ByteView ber) {
    Bytes storage;
    ByteView der;
    const int32_t result = toDer(ber, storage, der);
    return failed(result) ? result : bags(der, 0);
  }

  // SafeContents = SEQUENCE OF SafeBag
  int32_t bags(ByteView der, int depth) {
    const auto sequence = derContent(der, kSequence);
    if (!sequence) {
      return kFail;
    }
    DerReader reader(*sequence);
    while (!reader.atEnd()) {
      const auto bag = reader.take(kSequence);
      if (!bag) {
        return kFail;
      }
      const int32_t result = safeBag(bag->content, depth);
      if (failed(result)) {
        return result;
      }
    }
    return kOk;
  }

  // SafeBag = SEQUENCE { bagId, bagValue [0], bagAttributes SET OPTIONAL }
  int32_t safeBag(ByteView content, int depth) {
    DerReader reader(content);
    const auto identifier = reader.take(kObjectId);
    const auto value = reader.take(contextTag(0, true));
    if (!identifier || !value) {
      return kFail;
    }
    ByteView attributes;
    if (!reader.atEnd()) {
      const auto set = reader.take(kSet);
      if (!set || !reader.atEnd()) {
        return kFail;
      }
      attributes = set->content;
    }
    const ByteView type = identifier->content;
    if (type == pkcs12::kSafeContentsBagId) {
      return depth == kMaxNestedSafes ? kFail : bags(value->content, depth + 1);
    }
    if (type == pkcs12::kKeyBagId) {
      return bags_.addKey(value->content, false, attributes);
    }
    if (type == pkcs12::kShroudedKeyBagId) {
      return shroudedKeyBag(value->content, attributes);
    }
    if (type == pkcs12::kCertificateBagId) {
      return bags_.addCertificate(value->content, attributes);
    }
    return kOk;
  }

  // EncryptedPrivateKeyInfo = SEQUENCE { encryptionAlgorithm, encryptedData OCTET STRING }
  int32_t shroudedKeyBag(ByteView value, ByteView attributes) {
    const auto fields = derSequence(value, {kSequence, kOctetString});
    if (!fields) {
      return kFail;
    }
    const auto& [algorithm, encrypted] = *fields;
    Bytes plain;
    const int32_t result =
        passwordDecrypt(algorithm.content, password_, encrypted.content, budget_, plain);
    return failed(result) ? result : bags_.addKey(plain.view(), true, attributes);
  }

  const Password& password_;
  DerivationBudget budget_;
  bool verified_ = false;
  PfxProblem problem_ = PfxProblem::kNotPfx;
  PfxBags bags_;
};

}  // namespace

int32_t decodePfx(ByteView pfx, const Password& password, runtime::BagNode** bags, bool& verified) {
  PfxDecoder reader(password);
  const int32_t result = reader.read(pfx);
  verified = reader.isVerified();
  if (!failed(result)) {
    *bags = reader.release();
  }
  return result;
}

int32_t findPfxProblem(ByteView pfx, const Password& password, PfxProblem& problem) {
  PfxDecoder reader(password);
  const int32_t result = reader.read(pfx);
  switch (result) {
    case kOk:
      problem = reader.hasKey() ? PfxProblem::kNone : PfxProblem::kNoKey;
      return kOk;
    case kOutOfMemory:
      return result;
    case kNotImplemented:
    case kInvalidArgument:  // too many iterations
      problem = PfxProblem::kUnsupported;
      return kOk;
    default:
      problem = reader.problem();
      return kOk;
  }
}

}  // namespace vexa::velmora
