#include <openssl/evp.h>

#include <cstring>
#include <map>
#include <vector>

#include "certificate_oracle.h"
#include "vexa/runtime/reference_crypto.h"

// A certificate built from lines of text: subject, issuer, start, end, purposes with commas, and a
// line of bytes: flags (bit 0: constraints, 1: CA, 2: key usage, 3: critical), length of path, nine
// flags of key usage; the rest is the serial number. What is accepted and signed is read by OpenSSL
// with the same fields, and its signature verifies.
namespace vexa::fuzz {
namespace {

enum Flags : uint8_t { kConstraints = 1, kIsCa = 2, kUsage = 4, kCritical = 8 };

struct Field {
  std::string text;
  bool isSet = false;
};

struct Case {
  Field subject;
  Field issuer;
  std::string start;
  std::string end;
  std::vector<std::string> purposes;
  uint8_t flags = 0;
  int32_t pathLength = -1;
  uint8_t usage[runtime::kKeyUsageFlags] = {};
  std::string serial;
};

std::string takeLine(std::string_view& rest) {
  const size_t length = std::min(rest.find('\n'), rest.size());
  std::string line(rest.substr(0, length));
  rest.remove_prefix(std::min(length + 1, rest.size()));
  return line.substr(0, line.find('\0'));
}

Case caseOf(std::string_view input) {
  Case read;
  read.subject.text = takeLine(input);
  read.issuer.text = takeLine(input);
  read.start = takeLine(input);
  read.end = takeLine(input);
  std::string_view purposes;
  const std::string line = takeLine(input);
  for (purposes = line; !purposes.empty();) {
    const size_t length = std::min(purposes.find(','), purposes.size());
    read.purposes.emplace_back(purposes.substr(0, length));
    purposes.remove_prefix(std::min(length + 1, purposes.size()));
  }
  if (input.size() >= 2 + sizeof(read.usage)) {
    read.flags = static_cast<uint8_t>(input[0]);
    read.pathLength = static_cast<uint8_t>(input[1]) - 128;  // a negative one is none
    std::memcpy(read.usage, input.data() + 2, sizeof(read.usage));
    read.serial = input.substr(2 + sizeof(read.usage), 32);
  }
  return read;
}

// Made once: a key takes longer than a thousand signatures.
const runtime::KeyObject& key() {
  static runtime::KeyObject* const made = [] {
    runtime::KeyObject* generated = nullptr;
    require(velmora_key_generate_rsa(2048, &generated) == kOk, "a key");
    return generated;
  }();
  return *made;
}

void set(Field& field, int32_t result) {
  require(result == kOk || result == kInvalidArgument, "a name, or none");
  field.isSet = result == kOk;
}

// What is refused although every field could be set: a validity that ends before it begins, and an
// authority without a name or without the right to sign certificates.
bool mayBeSigned(const Case& wanted) {
  const bool isAuthority = (wanted.flags & kConstraints) != 0 && (wanted.flags & kIsCa) != 0;
  const bool isNamed = wanted.subject.isSet && !wanted.subject.text.empty();
  const bool maySign = (wanted.flags & kUsage) == 0 || wanted.usage[runtime::kKeyCertSign] != 0;
  return wanted.start <= wanted.end && (!isAuthority || (isNamed && maySign));
}

// Each setter that does not like its value leaves the field as it was.
bool build(Case& wanted, runtime::Certificate* certificate) {
  set(wanted.subject, velmora_certificate_set_subject(certificate, wanted.subject.text.c_str()));
  set(wanted.issuer, velmora_certificate_set_issuer(certificate, wanted.issuer.text.c_str()));
  const bool isTimed = velmora_certificate_set_validity(certificate, wanted.start.c_str(),
                                                        wanted.end.c_str()) == kOk;
  std::vector<std::string> purposes;
  for (const std::string& purpose : wanted.purposes) {
    if (velmora_certificate_add_extended_key_usage(certificate, purpose.c_str()) == kOk) {
      purposes.push_back(purpose);
    }
  }
  wanted.purposes = purposes;
  if ((wanted.flags & kConstraints) != 0) {
    const int32_t result = velmora_certificate_set_basic_constraints(
        certificate, wanted.flags & kIsCa, wanted.pathLength);
    const bool isSound = (wanted.flags & kIsCa) != 0 || wanted.pathLength < 0;
    require(result == (isSound ? kOk : kInvalidArgument), "a length of path is an authority's");
    wanted.flags &= isSound ? 0xFF : static_cast<uint8_t>(~kConstraints);
  }
  if ((wanted.flags & kUsage) != 0) {
    require(
        certificate->table->SetKeyUsage(certificate, wanted.usage, wanted.flags & kCritical) == kOk,
        "key usage is set");
  }
  if (velmora_certificate_set_serial(certificate,
                                     reinterpret_cast<const uint8_t*>(wanted.serial.data()),
                                     wanted.serial.size()) != kOk) {
    wanted.serial.clear();
  }
  require(velmora_certificate_set_public_key(certificate, &key().publicKey) == kOk, "a key is set");
  const int32_t result = velmora_certificate_sign(certificate, &key(), nullptr);
  const bool isSigned = isTimed && mayBeSigned(wanted);
  require(result == (isSigned ? kOk : kInvalidArgument), "what is complete can be signed");
  return isSigned;
}

std::string dottedText(const ASN1_OBJECT* object) {
  char text[512];
  OBJ_obj2txt(text, sizeof(text), object, 1);
  return text;
}

// RFC 5280, 4.2.1.12: a purpose may be set by its name, too.
std::string dottedPurpose(const std::string& text) {
  static const std::map<std::string, std::string> kNamed = {
      {"serverAuth", "1.3.6.1.5.5.7.3.1"},   {"clientAuth", "1.3.6.1.5.5.7.3.2"},
      {"codeSigning", "1.3.6.1.5.5.7.3.3"},  {"emailProtection", "1.3.6.1.5.5.7.3.4"},
      {"timeStamping", "1.3.6.1.5.5.7.3.8"}, {"OCSPSigning", "1.3.6.1.5.5.7.3.9"},
  };
  const auto named = kNamed.find(text);
  return named == kNamed.end() ? text : named->second;
}

std::string significant(std::string bytes) {
  return bytes.erase(0, std::min(bytes.find_first_not_of('\0'), bytes.size()));
}

void requireWanted(const Case& wanted, X509* made) {
  const auto start = libraryTimeOf(X509_get0_notBefore(made));
  const auto end = libraryTimeOf(X509_get0_notAfter(made));
  require(!start || *start == wanted.start, "the start that was set");
  require(!end || *end == wanted.end, "the end that was set");
  // RFC 5280, 4.1.2.5: through 2049 as UTCTime, from 2050 on as GeneralizedTime.
  for (const auto& [time, text] : {std::pair(X509_get0_notBefore(made), wanted.start),
                                   std::pair(X509_get0_notAfter(made), wanted.end)}) {
    const bool isShort = text >= "1950" && text < "2050";
    require(ASN1_STRING_type(time) == (isShort ? V_ASN1_UTCTIME : V_ASN1_GENERALIZEDTIME),
            "the type of the time");
  }
  const FunctionHolder<BIGNUM, BN_free> number(
      ASN1_INTEGER_to_BN(X509_get0_serialNumber(made), nullptr));
  require(!BN_is_negative(number.get()), "a serial number is positive");
  std::string serial(static_cast<size_t>(BN_num_bytes(number.get())), '\0');
  BN_bn2bin(number.get(), reinterpret_cast<unsigned char*>(serial.data()));
  require(wanted.serial.empty() || serial == significant(wanted.serial), "the serial number");
  bool isRead = false;
  const FunctionHolder<EXTENDED_KEY_USAGE, EXTENDED_KEY_USAGE_free> purposes(
      extension<EXTENDED_KEY_USAGE>(made, NID_ext_key_usage, isRead));
  const int count = purposes ? sk_ASN1_OBJECT_num(purposes.get()) : 0;
  require(static_cast<size_t>(count) == wanted.purposes.size(), "as many purposes");
  for (int i = 0; i < count; ++i) {
    require(dottedText(sk_ASN1_OBJECT_value(purposes.get(), i)) ==
                dottedPurpose(wanted.purposes[static_cast<size_t>(i)]),
            "the purposes that were set");
  }
}

void check(std::string_view input) {
  Case wanted = caseOf(input);
  RuntimeObjectHolder<runtime::Certificate> certificate;
  require(velmora_certificate_create(certificate.put()) == kOk, "an empty certificate");
  if (build(wanted, certificate.get())) {
    const std::string_view der = viewOf(*certificate->table->GetEncoding(certificate.get()));
    size_t used = 0;
    const OpenSslCertificate made = openSslCertificate(der, &used);
    if (!made) {
      require(!isRefusedForItsForm(), "OpenSSL reads it");
    } else {
      require(used == der.size(), "nothing behind it");
      requireSame(certificate.get(), made.get());
      requireWanted(wanted, made.get());
      require(X509_verify(made.get(), X509_get0_pubkey(made.get())) == 1, "the signature is right");
    }
  }
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vexa::fuzz::key();
  return vexa::fuzz::checkInput(data, size, vexa::fuzz::check);
}
