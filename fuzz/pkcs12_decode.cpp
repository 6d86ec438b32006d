#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>

#include <cstring>
#include <vector>

#include "certificate_oracle.h"
#include "runtime/pkcs12/password_derivation.h"
#include "runtime/pkcs12/pkcs12_table.h"

// A PKCS#12 file under the password "secret": what is read is what OpenSSL reads from the same
// bytes, and nothing stays behind. An input that begins with a sequence is the whole file; of any
// other the rest is what such a file protects, and its MAC is made here, so that mutations of the
// safes are not all refused for theirs.
namespace vexa::fuzz {
namespace {

using velmora::commonTypesTable;
using velmora::pkcs12Table;
using velmora::stringTable;

constexpr char kPassword[] = "secret";
constexpr int kPasswordLength = sizeof(kPassword) - 1;
constexpr uint32_t kMostRounds = 64;  // a mutated count must not eat the time

struct Bag {
  bool isKey;
  bool isShrouded;
  std::optional<std::string> content;  // the key's bytes, the certificate's DER
  std::optional<std::string> keyId;
  std::optional<size_t> nameUnits;  // of UTF-16

  bool isAs(const Bag& expected) const {
    return isKey == expected.isKey && isShrouded == expected.isShrouded &&
           keyId == expected.keyId && nameUnits == expected.nameUnits &&
           (!expected.content || content == expected.content);
  }
};
using Bags = std::vector<Bag>;

// --- OpenSSL's view ---

void freeBytes(unsigned char* bytes) { OPENSSL_free(bytes); }
void freeSafes(STACK_OF(PKCS7) * safes) { sk_PKCS7_pop_free(safes, PKCS7_free); }
void freeBags(STACK_OF(PKCS12_SAFEBAG) * bags) {
  sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
}
using Buffer = FunctionHolder<unsigned char, freeBytes>;
using File = FunctionHolder<PKCS12, PKCS12_free>;
using Safes = FunctionHolder<STACK_OF(PKCS7), freeSafes>;
using SafeBags = FunctionHolder<STACK_OF(PKCS12_SAFEBAG), freeBags>;
using KeyInfo = FunctionHolder<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;

// OpenSSL did not decrypt: it must have stumbled over what an element holds.
void requireUnreadElement() {
  bool isAboutElement = false;
  while (const unsigned long error = ERR_get_error()) {
    isAboutElement = isAboutElement || ERR_GET_LIB(error) == ERR_LIB_ASN1;
  }
  require(isAboutElement, "OpenSSL decrypts, too");
}

// The runtime passes over bags of revocation lists and of secrets; OpenSSL looks into them.
bool hasBagToPassOver(std::string_view der) {
  return der.find("\x2A\x86\x48\x86\xF7\x0D\x01\x0C\x0A\x01\x04") != std::string_view::npos ||
         der.find("\x2A\x86\x48\x86\xF7\x0D\x01\x0C\x0A\x01\x05") != std::string_view::npos;
}

// The whole of `der` as one item; null when OpenSSL does not like what is in an element of it.
template <class T>
T* wholeItem(std::string_view der, const ASN1_ITEM* item) {
  const auto* cursor = reinterpret_cast<const unsigned char*>(der.data());
  const unsigned char* const end = cursor + der.size();
  ASN1_VALUE* const read = ASN1_item_d2i(nullptr, &cursor, static_cast<long>(der.size()), item);
  require(read == nullptr || cursor == end, "nothing behind an item");
  require(read != nullptr || hasBagToPassOver(der) || !isRefusedForItsForm(),
          "OpenSSL reads the item, too");
  return reinterpret_cast<T*>(read);
}

// `info`: null for a key that OpenSSL did not decrypt.
void appendKey(const PKCS8_PRIV_KEY_INFO* info, Bag bag, Bags& out) {
  bag.isKey = true;
  if (info != nullptr) {
    const unsigned char* bytes = nullptr;
    int length = 0;
    require(PKCS8_pkey_get0(nullptr, &bytes, &length, nullptr, info) == 1, "a key can be read");
    bag.content = viewOf(bytes, length);
  } else {
    requireUnreadElement();
  }
  out.push_back(std::move(bag));
}

// Nothing of a certificate that OpenSSL does not read: whether it is right to refuse it is for
// another target to say.
std::optional<std::string> certificateOf(const PKCS12_SAFEBAG* bag) {
  const OpenSslCertificate certificate(PKCS12_SAFEBAG_get1_cert(bag));
  if (!certificate) {
    return std::nullopt;
  }
  unsigned char* der = nullptr;
  const int length = i2d_X509(certificate.get(), &der);
  const Buffer owned(der);
  return std::string(viewOf(der, length));
}

// The value of the first attribute of this type that has one of this kind.
const ASN1_STRING* attributeOf(const PKCS12_SAFEBAG* bag, int nid, int kind) {
  const STACK_OF(X509_ATTRIBUTE)* const attributes = PKCS12_SAFEBAG_get0_attrs(bag);
  for (int i = 0; i < sk_X509_ATTRIBUTE_num(attributes); ++i) {
    X509_ATTRIBUTE* const attribute = sk_X509_ATTRIBUTE_value(attributes, i);
    const ASN1_TYPE* const value = X509_ATTRIBUTE_get0_type(attribute, 0);
    if (OBJ_obj2nid(X509_ATTRIBUTE_get0_object(attribute)) == nid && value != nullptr &&
        value->type == kind) {
      return value->value.asn1_string;
    }
  }
  return nullptr;
}

Bag withAttributes(const PKCS12_SAFEBAG* bag) {
  Bag made{};
  if (const auto* const id = attributeOf(bag, NID_localKeyID, V_ASN1_OCTET_STRING)) {
    made.keyId = viewOf(id);
  }
  if (const auto* const name = attributeOf(bag, NID_friendlyName, V_ASN1_BMPSTRING)) {
    made.nameUnits = viewOf(name).size() / 2;
  }
  return made;
}

void appendBags(const STACK_OF(PKCS12_SAFEBAG) * bags, Bags& out);

void appendBag(const PKCS12_SAFEBAG* bag, Bags& out) {
  Bag made = withAttributes(bag);
  switch (PKCS12_SAFEBAG_get_nid(bag)) {
    case NID_keyBag:
      return appendKey(PKCS12_SAFEBAG_get0_p8inf(bag), std::move(made), out);
    case NID_pkcs8ShroudedKeyBag: {
      ERR_clear_error();
      const KeyInfo info(PKCS12_decrypt_skey(bag, kPassword, kPasswordLength));
      made.isShrouded = true;
      return appendKey(info.get(), std::move(made), out);
    }
    case NID_certBag:
      if (PKCS12_SAFEBAG_get_bag_nid(bag) == NID_x509Certificate) {
        made.content = certificateOf(bag);
        out.push_back(std::move(made));
      }
      return;
    case NID_safeContentsBag:
      return appendBags(PKCS12_SAFEBAG_get0_safes(bag), out);
    default:
      return;
  }
}

void appendBags(const STACK_OF(PKCS12_SAFEBAG) * bags, Bags& out) {
  for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i) {
    appendBag(sk_PKCS12_SAFEBAG_value(bags, i), out);
  }
}

bool appendSafe(PKCS7* safe, Bags& out) {
  std::string_view content;
  Buffer decrypted;
  if (PKCS7_type_is_data(safe)) {
    content = viewOf(safe->d.data);
  } else {
    require(PKCS7_type_is_encrypted(safe), "a safe of a kind that can be read");
    const PKCS7_ENC_CONTENT* const encrypted = safe->d.encrypted->enc_data;
    unsigned char* plain = nullptr;
    int length = 0;
    ERR_clear_error();
    if (PKCS12_pbe_crypt(encrypted->algorithm, kPassword, kPasswordLength,
                         ASN1_STRING_get0_data(encrypted->enc_data),
                         ASN1_STRING_length(encrypted->enc_data), &plain, &length, 0) == nullptr) {
      requireUnreadElement();
      return false;
    }
    decrypted.reset(plain);
    content = viewOf(plain, length);
  }
  const SafeBags bags(
      wholeItem<STACK_OF(PKCS12_SAFEBAG)>(content, ASN1_ITEM_rptr(PKCS12_SAFEBAGS)));
  appendBags(bags.get(), out);
  return static_cast<bool>(bags);
}

// What a file holds that the runtime has read; nothing when OpenSSL cannot tell.
std::optional<Bags> expectedBags(std::string_view file) {
  const File pfx(wholeItem<PKCS12>(file, ASN1_ITEM_rptr(PKCS12)));
  if (!pfx) {
    return std::nullopt;
  }
  require(PKCS12_verify_mac(pfx.get(), kPassword, kPasswordLength) == 1, "and its MAC is right");
  const Safes safes(PKCS12_unpack_authsafes(pfx.get()));
  if (!safes) {
    require(!isRefusedForItsForm(), "OpenSSL reads the safes, too");
    return std::nullopt;
  }
  Bags bags;
  for (int i = 0; i < sk_PKCS7_num(safes.get()); ++i) {
    if (!appendSafe(sk_PKCS7_value(safes.get(), i), bags)) {
      return std::nullopt;
    }
  }
  return bags;
}

// --- The runtime's ---

std::optional<std::string> textOf(const runtime::ByteBuffer* buffer) {
  return buffer != nullptr ? std::optional<std::string>(viewOf(*buffer)) : std::nullopt;
}

// How many units of UTF-16 a text of UTF-8 takes.
size_t unitsOf(const runtime::StringObject& text) {
  size_t units = 0;
  for (const char c : std::string_view(stringTable.GetText(&text), text.length)) {
    const auto byte = static_cast<uint8_t>(c);
    units += (byte & 0xC0) != 0x80 ? 1 : 0;  // the first byte of a character
    units += byte >= 0xF0 ? 1 : 0;           // one of two units
  }
  return units;
}

Bags bagsOf(const runtime::BagNode* node) {
  Bags bags;
  for (; node != nullptr; node = node->next) {
    require(node->bag != nullptr, "a bag");
    const runtime::SafeBag& bag = *node->bag;
    Bag made{bag.type == runtime::kKeyBag, bag.shrouded != 0, {}, textOf(bag.localKeyId), {}};
    if (made.isKey) {
      require(bag.key != nullptr && bag.key->algorithm.identifier != nullptr, "a key");
      made.content = viewOf(bag.key->key);
      runtime::RsaPrivateKey* key = nullptr;
      commonTypesTable.RsaPrivateKeyDecode(bag.key->key.data, bag.key->key.length, &key);
      commonTypesTable.RsaPrivateKeyRelease(key);
    } else {
      require(bag.type == runtime::kCertificateBag && bag.certificate != nullptr, "a certificate");
      made.content = viewOf(*bag.certificate->table->GetEncoding(bag.certificate));
    }
    if (bag.friendlyName != nullptr) {
      made.nameUnits = unitsOf(*bag.friendlyName);
    }
    bags.push_back(std::move(made));
  }
  return bags;
}

void check(std::string_view file) {
  const runtime::ByteBuffer input{file.size(),
                                  reinterpret_cast<uint8_t*>(const_cast<char*>(file.data()))};
  char text[sizeof(kPassword)];
  std::memcpy(text, kPassword, sizeof(text));
  const runtime::StringObject password{text, kPasswordLength};
  runtime::BagNode* bags = nullptr;
  uint8_t verified = 0xFF;
  const int32_t result = pkcs12Table.Decode(&input, nullptr, &password, &bags, &verified);
  require(verified <= 1, "verified, or not");
  require(result == kOk || bags == nullptr, "bags come only with success");
  if (result == kOk) {
    require(verified == 1, "what nobody vouches for is not read");
    ERR_clear_error();
    const Bags read = bagsOf(bags);
    const std::optional<Bags> expected = expectedBags(file);
    require(!expected || std::equal(read.begin(), read.end(), expected->begin(), expected->end(),
                                    [](const Bag& a, const Bag& b) { return a.isAs(b); }),
            "the same bags");
  }
  const runtime::Pkcs12TypesTable* types = nullptr;
  require(pkcs12Table.GetTypes(&types) == kOk, "the companion table");
  types->BagListRelease(bags);
}

// --- A file around safes ---

std::string element(uint8_t tag, std::string_view content) {
  std::string out(1, static_cast<char>(tag));
  const size_t length = content.size();
  if (length < 0x80) {
    out += static_cast<char>(length);
  } else {
    out += '\x83';
    for (const int shift : {16, 8, 0}) {
      out += static_cast<char>(length >> shift & 0xFF);
    }
  }
  return out.append(content);
}

std::string objectId(int nid) {
  const ASN1_OBJECT* const object = OBJ_nid2obj(nid);
  return element(0x06, viewOf(OBJ_get0_data(object), static_cast<int>(OBJ_length(object))));
}

std::string macOf(std::string_view safes) {
  constexpr int kSize = 32;
  unsigned char salt[] = "saltsalt";
  unsigned char key[kSize];
  require(PKCS12_key_gen_utf8(kPassword, kPasswordLength, salt, 8, PKCS12_MAC_ID, 1, kSize, key,
                              EVP_sha256()) == 1,
          "a key for the MAC");
  unsigned char code[kSize];
  HMAC(EVP_sha256(), key, kSize, reinterpret_cast<const unsigned char*>(safes.data()), safes.size(),
       code, nullptr);
  const std::string algorithm = element(0x30, objectId(NID_sha256) + std::string("\x05\0", 2));
  return element(0x30, element(0x30, algorithm + element(0x04, viewOf(code, kSize))) +
                           element(0x04, viewOf(salt, 8)));
}

std::string fileAround(std::string_view safes) {
  const std::string data = objectId(NID_pkcs7_data) + element(0xA0, element(0x04, safes));
  return element(0x30, "\x02\x01\x03" + element(0x30, data) + macOf(safes));
}

}  // namespace
}  // namespace vexa::fuzz

// The ciphers of old files are in a provider of their own. Nothing of OpenSSL is torn down at the
// end, where a part of it would count as lost.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  for (const char* provider : {"default", "legacy"}) {
    vexa::fuzz::require(OSSL_PROVIDER_load(nullptr, provider) != nullptr, "a provider of ciphers");
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vexa::velmora::limitRounds(vexa::fuzz::kMostRounds);
  return vexa::fuzz::checkInput(data, size, [](std::string_view input) {
    if (!input.empty() && input[0] != 0x30) {
      vexa::fuzz::check(vexa::fuzz::fileAround(input.substr(1)));
    } else {
      vexa::fuzz::check(input);
    }
  });
}
