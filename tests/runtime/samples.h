#pragma once

// Certificates, a key and PKCS#12 files made by make_samples.sh, in hexadecimal digits. The
// password of the files is "secret" where nothing else is said, their friendly name "Jane's €",
// their key kLeafKey, its certificate kLeaf.
namespace vexa::test::samples {

// Valid from 2020-01-02 03:04:05. A self-signed RSA root, a certificate it issued with all
// extensions and a hard name (valid to 2060), one of version 1, one on P-256.
extern const char kRoot[];
extern const char kLeaf[];
extern const char kPlain[];
extern const char kCurve[];
extern const char kLeafKey[];  // RSAPrivateKey

extern const char kLegacyPfx[];         // RC2-40 and triple DES, kRoot too
extern const char kRc4Pfx[];            // RC4-128 and triple DES, kRoot too
extern const char kSwappedPfx[];        // triple DES and RC4-128
extern const char kTwoKeyPfx[];         // triple DES with two keys and RC4-40
extern const char kRc2Pfx[];            // RC2-128 and RC2-40, MAC with SHA-512
extern const char kModernPfx[];         // PBES2 with AES-256, MAC with SHA-256, kRoot too
extern const char kAes128Pfx[];         // AES-128 and AES-192, MAC with SHA-384
extern const char kOpenPfx[];           // nothing encrypted
extern const char kNoMacPfx[];          // no MAC
extern const char kEmptyPasswordPfx[];  // the password ""; no friendly name
extern const char kNssPfx[];            // written by NSS, AES-256; kRoot too
extern const char kNssLegacyPfx[];      // written by NSS, RC4-128 and triple DES; kRoot too

}  // namespace vexa::test::samples
