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
// show what they read from this file before, if anything. The result tells whether it
// can be read now: kAccessDenied, or kFail for a wrong password or a file that is not PKCS#12 with
// a MAC.
VELMORA_EXPORT int32_t velmora_pse_reload();

// --- Keys and certificates. One thread at a time per object. ---

// A new RSA key of 1024 to 16384 bits with both halves, released with CommonTypes::KeyRelease.
// kInvalidArgument for another size.
VELMORA_EXPORT int32_t velmora_key_generate_rsa(uint32_t bits, vexa::runtime::KeyObject** key);

// An empty certificate under construction with one reference. Every setter below returns
// kAccessDenied once the certificate has an encoding, kNullPointer for null where text or a record
// is needed, kInvalidArgument for what is malformed, and leaves the old value when it fails.
VELMORA_EXPORT int32_t velmora_certificate_create(vexa::runtime::Certificate** out);
// Names in the text form of RFC 4514, UTF-8: "CN=Jane,O=Orlind,C=DE". Empty: no name.
VELMORA_EXPORT int32_t velmora_certificate_set_subject(vexa::runtime::Certificate* certificate,
                                                       const char* name);
VELMORA_EXPORT int32_t velmora_certificate_set_issuer(vexa::runtime::Certificate* certificate,
                                                      const char* name);
// A big-endian number. Without it, signing takes a random one.
VELMORA_EXPORT int32_t velmora_certificate_set_serial(vexa::runtime::Certificate* certificate,
                                                      const uint8_t* bytes, uint64_t length);
// Library times: UTC, YYYYMMDDThhmmss.
VELMORA_EXPORT int32_t velmora_certificate_set_validity(vexa::runtime::Certificate* certificate,
                                                        const char* start, const char* end);
// Copied.
VELMORA_EXPORT int32_t velmora_certificate_set_public_key(vexa::runtime::Certificate* certificate,
                                                          const vexa::runtime::PublicKey* key);
// The extension is critical. A negative path length: none.
VELMORA_EXPORT int32_t velmora_certificate_set_basic_constraints(
    vexa::runtime::Certificate* certificate, uint8_t isCa, int32_t pathLength);
// Adds one purpose, dotted text.
VELMORA_EXPORT int32_t velmora_certificate_add_extended_key_usage(
    vexa::runtime::Certificate* certificate, const char* objectId);

// Signs with SHA-256 and RSA; the certificate is complete then and does not change any more.
// `issuerKey`: its private half is used. `issuer`: the certificate whose subject becomes the
// issuer; null: the name set, or else the own subject. Validity and public key must have been set.
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
