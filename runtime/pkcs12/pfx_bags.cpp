#include "runtime/pkcs12/pfx_bags.h"

#include "runtime/basic_tables.h"
#include "runtime/certificates/certificate_reader.h"
#include "runtime/der/asn1_string.h"
#include "runtime/keys/key.h"
#include "runtime/pkcs12/pkcs12_ids.h"
#include "runtime/string_bytes.h"

namespace vexa::velmora {
namespace {

int32_t setFriendlyName(ByteView utf16, runtime::SafeBag& bag) {
  Bytes text;
  appendUtf8FromUtf16(utf16, text);
  if (text.failed()) {
    return kOutOfMemory;
  }
  const int32_t result = stringTable.Create(&bag.friendlyName);
  return failed(result) ? result : assignString(bag.friendlyName, text.view());
}

// SEQUENCE { attrId, attrValues SET OF }. The first value of the first attribute counts; values
// of another type than theirs are passed over.
int32_t readAttribute(ByteView content, runtime::SafeBag& bag) {
  const auto fields = derFields(content, {kObjectId, kSet});
  if (!fields) {
    return kFail;
  }
  const auto& [identifier, set] = *fields;
  DerReader values(set.content);
  if (identifier.content == pkcs12::kFriendlyName && bag.friendlyName == nullptr) {
    const auto value = values.take(kBmpString);
    return value ? setFriendlyName(value->content, bag) : kOk;
  }
  if (identifier.content == pkcs12::kLocalKeyId && bag.localKeyId == nullptr) {
    const auto value = values.take(kOctetString);
    if (!value) {
      return kOk;
    }
    Bytes copy;
    copy.append(value->content);
    return handOut(std::move(copy), &bag.localKeyId);
  }
  return kOk;
}

}  // namespace

// PrivateKeyInfo = SEQUENCE { version, privateKeyAlgorithm, privateKey OCTET STRING,
//                             attributes [0] OPTIONAL, publicKey [1] OPTIONAL } (RFC 5958)
int32_t PfxBags::addKey(ByteView info, bool shrouded, ByteView attributes) {
  const auto sequence = derContent(info, kSequence);
  if (!sequence) {
    return kFail;
  }
  DerReader reader(*sequence);
  const auto version = reader.take(kInteger);
  const auto identifier = reader.take(kSequence);
  const auto key = reader.take(kOctetString);
  const auto algorithm = identifier ? readAlgorithm(identifier->content) : std::nullopt;
  for (const uint8_t more : {contextTag(0, true), contextTag(1, false)}) {
    if (reader.nextIs(more)) {
      (void)reader.takeAny();  // whether there was one shows at the end
    }
  }
  if (!version || !algorithm || !key || !reader.atEnd()) {
    return kFail;
  }
  runtime::SafeBag* bag = nullptr;
  int32_t result = append(runtime::kKeyBag, attributes, bag);
  if (failed(result)) {
    return result;
  }
  haveKey_ = true;
  bag->shrouded = shrouded ? 1 : 0;
  result = pkcs12TypesTable.PrivateKeyInfoCreate(&bag->key);
  if (!failed(result)) {
    result = assignAlgorithm(&bag->key->algorithm, *algorithm);
  }
  if (!failed(result)) {
    result = assignBuffer(&bag->key->key, key->content);
  }
  return result;
}

// CertBag = SEQUENCE { certId, certValue [0] OCTET STRING }
int32_t PfxBags::addCertificate(ByteView value, ByteView attributes) {
  const auto fields = derSequence(value, {kObjectId, contextTag(0, true)});
  if (!fields) {
    return kFail;
  }
  const auto& [type, tagged] = *fields;
  if (type.content != pkcs12::kX509Certificate) {
    return kOk;
  }
  const auto der = derContent(tagged.content, kOctetString);
  if (!der) {
    return kFail;
  }
  runtime::SafeBag* bag = nullptr;
  const int32_t result = append(runtime::kCertificateBag, attributes, bag);
  return failed(result) ? result : decodeCertificate(*der, &bag->certificate);
}

// A new bag at the end of the list, with what its attributes say.
int32_t PfxBags::append(uint32_t type, ByteView attributes, runtime::SafeBag*& bag) {
  runtime::BagNode* node = nullptr;
  int32_t result = pkcs12TypesTable.BagNodeCreate(&node);
  if (failed(result)) {
    return result;
  }
  bags_.append(node);
  result = pkcs12TypesTable.BagCreate(&node->bag);
  if (failed(result)) {
    return result;
  }
  bag = node->bag;
  bag->type = type;
  DerReader reader(attributes);
  while (!reader.atEnd()) {
    const auto attribute = reader.take(kSequence);
    if (!attribute) {
      return kFail;
    }
    result = readAttribute(attribute->content, *bag);
    if (failed(result)) {
      return result;
    }
  }
  return kOk;
}

}  // namespace vexa::velmora
