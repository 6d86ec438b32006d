#pragma once

#include "vexa/runtime/certificate.h"
#include "vexa/runtime/reference.h"

// What the crypto half of the reference runtime exports beside the tables: the PSE's file, keys and
// certificates of one's own making. Found by name like those of reference.h. Results are 0 or a
// negative code.
extern "C" {

// --- The PSE. Any thread. ---

// The PKCS#12 file (a UTF-8 path) that every PSE shows, and its password. A null or empty file: a
// PSE without own certificates, which is also how a process begins. A null password and an empty
// one differ. Nothing is read yet; live PSEs read the file when they are next asked.
VELMORA_EXPORT int32_t velmora_pse_configure(const char* file, const char* password);

// The file changed: live PSEs read it again when they are next asked. As long as that fails, they
// show what they read from this file before, if anything. The result tells whether it can be read
// now: kAccessDenied when not, kFail for a wrong password or a file that is not PKCS#12 with a MAC.
VELMORA_EXPORT int32_t velmora_pse_reload();

// --- Keys and certificates. One thread at a time per object. ---

// Sizes of RSA keys that have to be asked for.
enum VelmoraKeyFlags : uint32_t {
  kVelmoraShortKey = 1,   // 1024 to 2047 bits: no secret is safe with them any more
  kVelmoraUnevenKey = 2,  // no multiple of 8; still a multiple of 2
};

// A new RSA key with a modulus of exactly so many bits, a multiple of 8 from 2048 to 16384, and
// both halves, released with CommonTypes::KeyRelease. kInvalidArgument for another size.
VELMORA_EXPORT int32_t velmora_key_generate_rsa(uint32_t bits, vexa::runtime::KeyObject** key);
// The same of a size that `flags`, of VelmoraKeyFlags, allow.
VELMORA_EXPORT int32_t velmora_key_generate_weak_rsa(uint32_t bits, uint32_t flags,
                                                     vexa::runtime::KeyObject** key);
// The same on a curve: "P-256", "P-384" or "P-521". The private half is an ECPrivateKey (RFC 5915).
VELMORA_EXPORT int32_t velmora_key_generate_ec(const char* curve, vexa::runtime::KeyObject** key);

// Reads the DER of a private key, with both halves set: RSAPrivateKey (RFC 8017), ECPrivateKey
// (RFC 5915), PrivateKeyInfo or EncryptedPrivateKeyInfo (RFC 5958). `password` is UTF-8; null:
// none. kAccessDenied: the password is wrong or missing. kNotImplemented: an encryption or a kind
// of key that is not known. kInvalidArgument: not a private key. `reason`, which may be null,
// becomes a text in English that says why; null when there is nothing to say.
VELMORA_EXPORT int32_t velmora_key_read(const vexa::runtime::ByteBuffer* der, const char* password,
                                        vexa::runtime::KeyObject** key, const char** reason);
// Whether the private half of a key belongs to a public key. kFail: no. kInvalidArgument: neither
// RSA nor on a known curve.
VELMORA_EXPORT int32_t velmora_key_check_pair(const vexa::runtime::KeyObject* key,
                                              const vexa::runtime::PublicKey* publicKey);

// What stands in the way of reading a PKCS#12 file.
enum VelmoraPkcs12Problem : uint32_t {
  kVelmoraPkcs12Fine = 0,
  kVelmoraNotPkcs12 = 1,          // no file of version 3
  kVelmoraPkcs12Damaged = 2,      // it begins as one, and does not go on as one
  kVelmoraPkcs12NoMac = 3,        // nothing vouches for its content
  kVelmoraPkcs12Unsupported = 4,  // an algorithm that is not known, or too many iterations
  kVelmoraPkcs12Password = 5,     // the MAC does not fit: another password, or changed bytes
  kVelmoraPkcs12NoKey = 6,        // it can be read, and there is no key in it
};
// `password` is UTF-8; null: none. Reads the whole file. Returns 0, kNullPointer or kOutOfMemory.
VELMORA_EXPORT int32_t velmora_pkcs12_problem(const vexa::runtime::ByteBuffer* file,
                                              const char* password, uint32_t* problem);

// An empty certificate under construction with one reference. Every setter below returns
// kAccessDenied once the certificate has an encoding, kNullPointer for null where text or a record
// is needed, kInvalidArgument for what is malformed, and leaves the old value when it fails.
VELMORA_EXPORT int32_t velmora_certificate_create(vexa::runtime::Certificate** out);
// After kInvalidArgument from a setter or from signing: a text in English that says what was wrong,
// such as "C takes a country code of two letters". It lives as long as the runtime is loaded. Null
// when there is nothing to say.
VELMORA_EXPORT const char* velmora_certificate_reason(
    const vexa::runtime::Certificate* certificate);
// Names in the text form of RFC 4514, UTF-8: "CN=Jane,O=Orlind,C=DE". Empty: no name. Values must
// fit the string types of RFC 5280, appendix A: UTF-8 in general, two letters for C, a few
// characters for serialNumber and dnQualifier, ASCII for DC and emailAddress.
VELMORA_EXPORT int32_t velmora_certificate_set_subject(vexa::runtime::Certificate* certificate,
                                                       const char* name);
VELMORA_EXPORT int32_t velmora_certificate_set_issuer(vexa::runtime::Certificate* certificate,
                                                      const char* name);
// A positive big-endian number of at most 20 bytes. Without it, signing takes a random one.
VELMORA_EXPORT int32_t velmora_certificate_set_serial(vexa::runtime::Certificate* certificate,
                                                      const uint8_t* bytes, uint64_t length);
// Library times: UTC, YYYYMMDDThhmmss.
VELMORA_EXPORT int32_t velmora_certificate_set_validity(vexa::runtime::Certificate* certificate,
                                                        const char* start, const char* end);
// Copied.
VELMORA_EXPORT int32_t velmora_certificate_set_public_key(vexa::runtime::Certificate* certificate,
                                                          const vexa::runtime::PublicKey* key);
// The extension is critical. A negative path length: none, as for all that are no authority.
VELMORA_EXPORT int32_t velmora_certificate_set_basic_constraints(
    vexa::runtime::Certificate* certificate, uint8_t isCa, int32_t pathLength);
// Adds one purpose: dotted text, or serverAuth, clientAuth, codeSigning, emailProtection,
// timeStamping or OCSPSigning.
VELMORA_EXPORT int32_t velmora_certificate_add_extended_key_usage(
    vexa::runtime::Certificate* certificate, const char* objectId);

// Adds one name to the subject alternative names: "DNS:www.example.org", "email:jane@example.org",
// "URI:https://example.org/", "IP:192.0.2.1" or "IP:2001:db8::1". The extension is critical when
// there is no subject.
VELMORA_EXPORT int32_t
velmora_certificate_add_alternative_name(vexa::runtime::Certificate* certificate, const char* name);

// Signs with SHA-256 and RSA or ECDSA; the certificate is complete then and does not change any
// more. It carries the key identifiers of RFC 5280, 4.2.1.1 and 4.2.1.2; an authority without key
// usage gets that of one. `issuerKey`: its private half is used. `issuer`: the certificate whose
// subject becomes the issuer; null: the name set, or else the own subject.
// kInvalidArgument: validity or public key have not been set; the key is not that of the issuer's
// certificate, or not its own where there is no other issuer; the issuer is no authority, or one
// that may not issue this; an authority has no name, or a key usage without the signing of
// certificates. velmora_certificate_reason tells which.
VELMORA_EXPORT int32_t velmora_certificate_sign(vexa::runtime::Certificate* certificate,
                                                const vexa::runtime::KeyObject* issuerKey,
                                                vexa::runtime::Certificate* issuer);

// Calls of slots 56, 57 and 60 to 63, which do nothing else than being noted, in their order.
struct VelmoraSetterCall {
  uint32_t slot;
  void* words[2];  // slot 61 has one; the other is null
};
// kInvalidArgument when there was no such call.
VELMORA_EXPORT int32_t velmora_certificate_setter_call(vexa::runtime::Certificate* certificate,
                                                       uint64_t index, VelmoraSetterCall* call);

}  // extern "C"
