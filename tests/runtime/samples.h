#pragma once

#include <string_view>

// Certificates, keys and PKCS#12 files: the files of those names in samples/ and among the seeds of
// the fuzz targets, made by make_samples.sh. The password of the files is "secret" where nothing
// else is said, their friendly name "Jane's €", their key kLeafKey, its certificate kLeaf.
namespace vexa::test::samples {

// Valid from 2020-01-02 03:04:05. A self-signed RSA root, a certificate it issued with all
// extensions and a hard name (valid to 2060), one of version 1, one on P-256.
extern const std::string_view kRoot;
extern const std::string_view kLeaf;
extern const std::string_view kPlain;
extern const std::string_view kEc;

extern const std::string_view kLeafKey;  // RSAPrivateKey
// P-256: what `openssl ecparam -genkey` and `openssl pkcs8 -topk8` write of one key; encrypted with
// "secret" by PBES2 with AES-256, and by the scheme of PKCS#12.
extern const std::string_view kEcKey;
extern const std::string_view kAesKey;
extern const std::string_view kTripleDesKey;

extern const std::string_view kLegacyPfx;         // RC2-40 and triple DES, kRoot too
extern const std::string_view kRc4Pfx;            // RC4-128 and triple DES, kRoot too
extern const std::string_view kSwappedPfx;        // triple DES and RC4-128
extern const std::string_view kTwoKeyPfx;         // triple DES with two keys and RC4-40
extern const std::string_view kRc2Pfx;            // RC2-128 and RC2-40, MAC with SHA-512
extern const std::string_view kModernPfx;         // PBES2 with AES-256, MAC with SHA-256, kRoot too
extern const std::string_view kAes128Pfx;         // AES-128 and AES-192, MAC with SHA-384
extern const std::string_view kOpenPfx;           // nothing encrypted
extern const std::string_view kNoMacPfx;          // no MAC
extern const std::string_view kEmptyPasswordPfx;  // the password ""; no friendly name
extern const std::string_view kNssPfx;            // written by NSS, AES-256; kRoot too
extern const std::string_view kNssLegacyPfx;  // written by NSS, RC4-128 and triple DES; kRoot too

}  // namespace vexa::test::samples
