#pragma once

#include <openssl/asn1err.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/objects.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "harness.h"
#include "runtime/basic_tables.h"
#include "runtime/certificates/certificate.h"
#include "runtime/exports/common_types.h"

// Certificates as OpenSSL reads them, held against what the runtime says of the same bytes.
namespace vexa::fuzz {

using OpenSslCertificate = FunctionHolder<X509, X509_free>;

inline std::string_view viewOf(const void* bytes, int length) {
  return {static_cast<const char*>(bytes), static_cast<size_t>(length)};
}
inline std::string_view viewOf(const ASN1_STRING* string) {
  return viewOf(ASN1_STRING_get0_data(string), ASN1_STRING_length(string));
}
inline std::string_view viewOf(const runtime::ByteBuffer& buffer) {
  return {reinterpret_cast<const char*>(buffer.data), buffer.length};
}
inline std::string_view viewOf(velmora::ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The certificate that `der` begins with; `used`, where it is given, becomes its length.
inline OpenSslCertificate openSslCertificate(std::string_view der, size_t* used = nullptr) {
  ERR_clear_error();
  const auto* const begin = reinterpret_cast<const unsigned char*>(der.data());
  const unsigned char* cursor = begin;
  OpenSslCertificate read(d2i_X509(nullptr, &cursor, static_cast<long>(der.size())));
  if (used != nullptr) {
    *used = static_cast<size_t>(cursor - begin);
  }
  return read;
}

// Whether OpenSSL's last complaint is about which elements there are, and not about what is in one
// of them: it looks into numbers, texts and identifiers that the runtime hands on as they are, and
// into parts of a PKCS#12 file that the runtime passes over.
inline bool isRefusedForItsForm() {
  static constexpr std::string_view kPassedOver[] = {
      "Field=attrib, Type=PKCS12_SAFEBAG",
      "Field=value.other, Type=PKCS12_SAFEBAG",
      "Field=value.other, Type=PKCS12_BAGS",
      "Field=value.sdsicert, Type=PKCS12_BAGS",
  };
  bool isForm = false;
  const char* place = nullptr;
  while (const unsigned long error =
             ERR_get_error_all(nullptr, nullptr, nullptr, &place, nullptr)) {
    if (place != nullptr &&
        std::find(std::begin(kPassedOver), std::end(kPassedOver), place) != std::end(kPassedOver)) {
      ERR_clear_error();
      return false;
    }
    switch (ERR_GET_REASON(error)) {
      case ASN1_R_EXPLICIT_LENGTH_MISMATCH:
      case ASN1_R_EXPLICIT_TAG_NOT_CONSTRUCTED:
      case ASN1_R_FIELD_MISSING:
      case ASN1_R_SEQUENCE_LENGTH_MISMATCH:
      case ASN1_R_SEQUENCE_NOT_CONSTRUCTED:
      case ASN1_R_WRONG_TAG:
        isForm = true;
        break;
      default:
        break;
    }
  }
  return isForm;
}

// The library time of a moment; nothing when it is none.
inline std::optional<std::string> libraryTimeOf(const ASN1_TIME* time) {
  tm parts{};
  if (ASN1_TIME_to_tm(time, &parts) != 1) {
    return std::nullopt;
  }
  char text[64];
  std::snprintf(text, sizeof(text), "%04d%02d%02dT%02d%02d%02d", parts.tm_year + 1900,
                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
  return text;
}

// --- Names ---

inline std::string attributeName(const ASN1_OBJECT* type) {
  static constexpr struct {
    int nid;
    const char* name;
  } kNames[] = {
      {NID_commonName, "CN"},
      {NID_localityName, "L"},
      {NID_stateOrProvinceName, "ST"},
      {NID_organizationName, "O"},
      {NID_organizationalUnitName, "OU"},
      {NID_countryName, "C"},
      {NID_streetAddress, "STREET"},
      {NID_domainComponent, "DC"},
      {NID_userId, "UID"},
      {NID_surname, "SN"},
      {NID_serialNumber, "serialNumber"},
      {NID_title, "title"},
      {NID_givenName, "givenName"},
      {NID_initials, "initials"},
      {NID_generationQualifier, "generationQualifier"},
      {NID_dnQualifier, "dnQualifier"},
      {NID_pkcs9_emailAddress, "emailAddress"},
  };
  for (const auto& known : kNames) {
    if (OBJ_obj2nid(type) == known.nid) {
      return known.name;
    }
  }
  return {};
}

// The text of a value of plain ASCII; nothing of any other.
inline std::optional<std::string> plainText(const ASN1_STRING* value) {
  const int type = ASN1_STRING_type(value);
  const std::string text(viewOf(value));
  if (type != V_ASN1_UTF8STRING && type != V_ASN1_PRINTABLESTRING && type != V_ASN1_IA5STRING) {
    return std::nullopt;
  }
  const auto isPlain = [](char c) { return c >= ' ' && c < 0x7F; };
  return std::all_of(text.begin(), text.end(), isPlain) ? std::optional(text) : std::nullopt;
}

inline std::string escapedText(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool atEdge = i == 0 || i + 1 == text.size();
    if (std::string_view("\"+,;<>\\").find(text[i]) != std::string_view::npos ||
        (text[i] == '#' && i == 0) || (text[i] == ' ' && atEdge)) {
      out += '\\';
    }
    out += text[i];
  }
  return out;
}

// The text form of a name whose types are known and whose values are plain; nothing of others.
inline std::optional<std::string> nameText(const X509_NAME* name) {
  std::string text;
  std::string relative;
  int set = -1;
  for (int i = 0; i < X509_NAME_entry_count(name); ++i) {
    const X509_NAME_ENTRY* const entry = X509_NAME_get_entry(name, i);
    const std::string type = attributeName(X509_NAME_ENTRY_get_object(entry));
    const auto value = plainText(X509_NAME_ENTRY_get_data(entry));
    if (type.empty() || !value) {
      return std::nullopt;
    }
    const std::string attribute = type + '=' + escapedText(*value);
    if (X509_NAME_ENTRY_set(entry) == set) {
      relative += '+' + attribute;
      continue;
    }
    text = text.empty() ? relative : relative + ',' + text;  // the last one comes first
    relative = attribute;
    set = X509_NAME_ENTRY_set(entry);
  }
  return text.empty() ? relative : relative + ',' + text;
}

inline std::string textOf(runtime::Name* name) {
  runtime::StringObject text{};
  require(velmora::commonTypesTable.StringCopy(&text, name) == kOk, "a name has a text");
  const std::string copy(text.text != nullptr ? text.text : "", text.length);
  velmora::stringTable.Clear(&text);
  return copy;
}

// A text in pieces is BER. OpenSSL joins the pieces; the runtime shows the digits of such a value.
inline bool hasPieces(const std::string& nameText) {
  return nameText.find("=#2") != std::string::npos || nameText.find("=#3") != std::string::npos;
}

inline void requireSameName(runtime::Name* name, const X509_NAME* expected) {
  require((name == nullptr) == (X509_NAME_entry_count(expected) == 0), "a name, or none");
  if (const auto text = nameText(expected)) {
    const std::string own = textOf(name);
    require(own == *text || hasPieces(own), "the same name");
  }
}

// --- Extensions ---

// The extension as OpenSSL reads it: null when there is none, and when it does not like what an
// element of it holds; `isRead` tells which.
template <class T>
T* extension(const X509* certificate, int nid, bool& isRead) {
  ERR_clear_error();
  int critical = 0;
  auto* const read = static_cast<T*>(X509_get_ext_d2i(certificate, nid, &critical, nullptr));
  require(critical != -2, "no extension stands twice");
  isRead = read != nullptr || critical == -1;
  require(isRead || !isRefusedForItsForm(), "an extension that can be read");
  return read;
}

inline void requireSameKeyUsage(const uint8_t* flags, const X509* certificate) {
  bool isRead = false;
  const FunctionHolder<ASN1_BIT_STRING, ASN1_BIT_STRING_free> bits(
      extension<ASN1_BIT_STRING>(certificate, NID_key_usage, isRead));
  if (!isRead) {
    return;
  }
  require((flags == nullptr) == !bits, "key usage, or none");
  for (int i = 0; bits && i < runtime::kKeyUsageFlags; ++i) {
    require(flags[i] == ASN1_BIT_STRING_get_bit(bits.get(), i), "the same key usage");
  }
}

inline void requireSamePurposes(const runtime::ExtendedKeyUsage* usage, const X509* certificate) {
  bool isRead = false;
  const FunctionHolder<EXTENDED_KEY_USAGE, EXTENDED_KEY_USAGE_free> purposes(
      extension<EXTENDED_KEY_USAGE>(certificate, NID_ext_key_usage, isRead));
  if (!isRead) {
    return;
  }
  const int count = purposes ? sk_ASN1_OBJECT_num(purposes.get()) : 0;
  for (int i = 0; i < count; ++i, usage = usage->next) {
    const ASN1_OBJECT* const expected = sk_ASN1_OBJECT_value(purposes.get(), i);
    require(usage != nullptr &&
                viewOf(velmora::contentOf(usage->identifier)) ==
                    viewOf(OBJ_get0_data(expected), static_cast<int>(OBJ_length(expected))),
            "the same purposes");
  }
  require(usage == nullptr, "no more purposes");
}

inline void requireSameConstraints(const velmora::CertificateObject& read,
                                   const X509* certificate) {
  bool isRead = false;
  const FunctionHolder<BASIC_CONSTRAINTS, BASIC_CONSTRAINTS_free> constraints(
      extension<BASIC_CONSTRAINTS>(certificate, NID_basic_constraints, isRead));
  if (!isRead) {
    return;
  }
  require(read.basicConstraints.has_value() == static_cast<bool>(constraints),
          "constraints, or none");
  if (constraints) {
    require((read.basicConstraints->cA != 0) == (constraints->ca != 0), "a CA, or not");
    const bool hasLength = constraints->pathlen != nullptr;
    require(read.pathLength.has_value() == hasLength, "a length of path, or none");
    require(!hasLength || *read.pathLength == ASN1_INTEGER_get(constraints->pathlen),
            "the same length of path");
  }
}

// --- The whole ---

// Whether the numbers of an RSA key may be those of one: odd, and neither of them 1; and whether
// they are encoded as numbers above 0.
inline bool isSound(const EVP_PKEY* key, const ASN1_BIT_STRING* encoding) {
  unsigned char* der = nullptr;
  const int length = i2d_PublicKey(key, &der);
  const bool isSame = length > 0 && viewOf(der, length) == viewOf(encoding);
  OPENSSL_free(der);
  if (!isSame) {
    return false;
  }
  for (const char* const name : {OSSL_PKEY_PARAM_RSA_N, OSSL_PKEY_PARAM_RSA_E}) {
    BIGNUM* number = nullptr;
    const bool isRead = EVP_PKEY_get_bn_param(key, name, &number) == 1;
    const FunctionHolder<BIGNUM, BN_free> owned(number);
    if (!isRead || !BN_is_odd(number) || BN_is_one(number)) {
      return false;
    }
  }
  return true;
}

// Names are compared by their bytes here; X509_NAME_cmp passes over blanks and the case.
inline std::string_view derOf(const X509_NAME* name) {
  const unsigned char* der = nullptr;
  size_t length = 0;
  require(X509_NAME_get0_der(name, &der, &length) == 1, "a name has an encoding");
  return viewOf(der, static_cast<int>(length));
}

// What OpenSSL says about a signature made with the certificate's own key; nothing of ones that
// cannot be checked.
inline std::optional<bool> isSignedByItself(X509* certificate) {
  EVP_PKEY* const key = X509_get0_pubkey(certificate);
  if (key == nullptr || EVP_PKEY_get_base_id(key) != EVP_PKEY_RSA ||
      !isSound(key, X509_get0_pubkey_bitstr(certificate)) ||
      X509_get_signature_nid(certificate) != NID_sha256WithRSAEncryption) {
    return std::nullopt;
  }
  const X509_NAME* const subject = X509_get_subject_name(certificate);
  // No name equals no name, for the runtime at least.
  const bool isOwnIssuer = X509_NAME_entry_count(subject) != 0 &&
                           derOf(subject) == derOf(X509_get_issuer_name(certificate));
  return isOwnIssuer && X509_verify(certificate, key) == 1;
}

// Every accessor of a decoded or signed certificate tells what OpenSSL reads from its encoding.
inline void requireSame(runtime::Certificate* read, X509* expected) {
  const auto* const table = read->table;
  requireSameName(table->GetIssuer(read), X509_get_issuer_name(expected));
  requireSameName(table->GetSubject(read), X509_get_subject_name(expected));
  const auto start = libraryTimeOf(X509_get0_notBefore(expected));
  const auto end = libraryTimeOf(X509_get0_notAfter(expected));
  require(!start || *start == static_cast<const char*>(table->GetValueA(read)), "the same start");
  require(!end || *end == static_cast<const char*>(table->GetValueB(read)), "the same end");
  requireSameKeyUsage(table->GetKeyUsage(read), expected);
  requireSamePurposes(table->GetExtendedKeyUsage(read), expected);
  requireSameConstraints(*velmora::implementationOf(read), expected);
  const runtime::PublicKey* const key = table->GetPublicKey(read);
  require(viewOf(key->bytes, static_cast<int>(key->bitLength / 8)) ==
              viewOf(X509_get0_pubkey_bitstr(expected)),
          "the same public key");
  if (const auto isSelfSigned = isSignedByItself(expected)) {
    require((table->IsSelfSigned(read) == 1) == *isSelfSigned, "signed by itself, or not");
  }
}

}  // namespace vexa::fuzz
