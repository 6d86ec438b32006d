#pragma once

#include "pal/posix/error.h"

// Certificate stores, certificate chains and the RSA key containers of one process. Stores and
// containers start empty and last as long as the library that this is part of is loaded; handles
// and contexts are the caller's to close, and what stays open goes with them. Any thread; one
// context is used by one thread at a time.
//
// No root is trusted here: a chain always ends in an untrusted root. Keys are kept and replaced but
// never used.

using HCERTSTORE = void*;
using HCERTCHAINENGINE = HANDLE;
using HCRYPTPROV = ULONG_PTR;
using HCRYPTPROV_LEGACY = ULONG_PTR;
using HCRYPTKEY = ULONG_PTR;
using ALG_ID = unsigned int;

inline constexpr DWORD X509_ASN_ENCODING = 0x1;
inline constexpr DWORD PKCS_7_ASN_ENCODING = 0x10000;
inline constexpr DWORD CERT_KEY_PROV_INFO_PROP_ID = 2;
inline constexpr DWORD CERT_FRIENDLY_NAME_PROP_ID = 11;
inline constexpr DWORD CERT_STORE_ADD_NEW = 1;
inline constexpr DWORD CERT_STORE_ADD_USE_EXISTING = 2;
inline constexpr DWORD CERT_STORE_ADD_REPLACE_EXISTING = 3;
inline constexpr DWORD CERT_STORE_ADD_ALWAYS = 4;
inline constexpr DWORD CERT_TRUST_IS_UNTRUSTED_ROOT = 0x20;
inline constexpr HCERTCHAINENGINE HCCE_CURRENT_USER = nullptr;
// Windows names policies by numbers in the guise of a text pointer.
#define CERT_CHAIN_POLICY_BASE (reinterpret_cast<LPCSTR>(1))

inline constexpr DWORD PROV_RSA_FULL = 1;
inline constexpr DWORD AT_KEYEXCHANGE = 1;
inline constexpr DWORD AT_SIGNATURE = 2;
inline constexpr DWORD CRYPT_VERIFYCONTEXT = 0xF0000000;
inline constexpr DWORD CRYPT_NEWKEYSET = 0x8;
inline constexpr DWORD CRYPT_DELETEKEYSET = 0x10;
inline constexpr DWORD CRYPT_MACHINE_KEYSET = 0x20;
inline constexpr DWORD CRYPT_SILENT = 0x40;
inline constexpr DWORD CRYPT_EXPORTABLE = 0x1;
inline constexpr DWORD CRYPT_USER_PROTECTED = 0x2;
inline constexpr BYTE PRIVATEKEYBLOB = 7;
inline constexpr BYTE CUR_BLOB_VERSION = 2;
inline constexpr ALG_ID CALG_RSA_SIGN = 0x2400;
inline constexpr ALG_ID CALG_RSA_KEYX = 0xA400;

inline constexpr HRESULT NTE_BAD_DATA = static_cast<HRESULT>(0x80090005);
inline constexpr HRESULT NTE_BAD_VER = static_cast<HRESULT>(0x80090007);
inline constexpr HRESULT NTE_BAD_ALGID = static_cast<HRESULT>(0x80090008);
inline constexpr HRESULT NTE_BAD_FLAGS = static_cast<HRESULT>(0x80090009);
inline constexpr HRESULT NTE_BAD_TYPE = static_cast<HRESULT>(0x8009000A);
inline constexpr HRESULT NTE_NO_MEMORY = static_cast<HRESULT>(0x8009000E);
inline constexpr HRESULT NTE_EXISTS = static_cast<HRESULT>(0x8009000F);
inline constexpr HRESULT NTE_BAD_PROV_TYPE = static_cast<HRESULT>(0x80090014);
inline constexpr HRESULT NTE_BAD_KEYSET = static_cast<HRESULT>(0x80090016);
inline constexpr HRESULT NTE_KEYSET_NOT_DEF = static_cast<HRESULT>(0x80090019);
inline constexpr HRESULT NTE_PROV_TYPE_NO_MATCH = static_cast<HRESULT>(0x8009001B);
inline constexpr HRESULT CRYPT_E_NOT_FOUND = static_cast<HRESULT>(0x80092004);
inline constexpr HRESULT CRYPT_E_EXISTS = static_cast<HRESULT>(0x80092005);
inline constexpr HRESULT CRYPT_E_ASN1_EOD = static_cast<HRESULT>(0x80093102);
inline constexpr HRESULT CRYPT_E_ASN1_BADTAG = static_cast<HRESULT>(0x8009310B);
inline constexpr HRESULT CERT_E_UNTRUSTEDROOT = static_cast<HRESULT>(0x800B0109);

// The decoded fields of a certificate are not built here; pCertInfo is always null.
struct CERT_INFO;

struct CERT_CONTEXT {
  DWORD dwCertEncodingType;
  BYTE* pbCertEncoded;
  DWORD cbCertEncoded;
  CERT_INFO* pCertInfo;
  HCERTSTORE hCertStore;  // the handle it was enumerated or added through; null for a loose one
};
using PCERT_CONTEXT = CERT_CONTEXT*;
using PCCERT_CONTEXT = const CERT_CONTEXT*;
static_assert(sizeof(CERT_CONTEXT) == 40 && offsetof(CERT_CONTEXT, cbCertEncoded) == 16);

struct CRYPT_DATA_BLOB {
  DWORD cbData;
  BYTE* pbData;
};
using PCRYPT_DATA_BLOB = CRYPT_DATA_BLOB*;
static_assert(sizeof(CRYPT_DATA_BLOB) == 16);

struct CRYPT_KEY_PROV_PARAM;
struct CRYPT_KEY_PROV_INFO {
  LPWSTR pwszContainerName;
  LPWSTR pwszProvName;
  DWORD dwProvType;
  DWORD dwFlags;
  DWORD cProvParam;
  CRYPT_KEY_PROV_PARAM* rgProvParam;
  DWORD dwKeySpec;
};
using PCRYPT_KEY_PROV_INFO = CRYPT_KEY_PROV_INFO*;
static_assert(sizeof(CRYPT_KEY_PROV_INFO) == 48 && offsetof(CRYPT_KEY_PROV_INFO, dwKeySpec) == 40);

struct CTL_USAGE {
  DWORD cUsageIdentifier;
  LPSTR* rgpszUsageIdentifier;
};
using CERT_ENHKEY_USAGE = CTL_USAGE;

struct CERT_USAGE_MATCH {
  DWORD dwType;
  CERT_ENHKEY_USAGE Usage;
};

struct CERT_CHAIN_PARA {
  DWORD cbSize;
  CERT_USAGE_MATCH RequestedUsage;
};
using PCERT_CHAIN_PARA = CERT_CHAIN_PARA*;
static_assert(sizeof(CERT_CHAIN_PARA) == 32);

struct CERT_TRUST_STATUS {
  DWORD dwErrorStatus;
  DWORD dwInfoStatus;
};

struct CERT_SIMPLE_CHAIN;
struct CERT_CHAIN_CONTEXT {
  DWORD cbSize;
  CERT_TRUST_STATUS TrustStatus;
  DWORD cChain;  // 0 here: the elements are not built
  CERT_SIMPLE_CHAIN** rgpChain;
  DWORD cLowerQualityChainContext;
  const CERT_CHAIN_CONTEXT** rgpLowerQualityChainContext;
  BOOL fHasRevocationFreshnessTime;
  DWORD dwRevocationFreshnessTime;
  DWORD dwCreateFlags;
  GUID ChainId;
};
using PCERT_CHAIN_CONTEXT = CERT_CHAIN_CONTEXT*;
using PCCERT_CHAIN_CONTEXT = const CERT_CHAIN_CONTEXT*;
static_assert(sizeof(CERT_CHAIN_CONTEXT) == 72);

struct CERT_CHAIN_POLICY_PARA {
  DWORD cbSize;
  DWORD dwFlags;
  void* pvExtraPolicyPara;
};
using PCERT_CHAIN_POLICY_PARA = CERT_CHAIN_POLICY_PARA*;
static_assert(sizeof(CERT_CHAIN_POLICY_PARA) == 16);

struct CERT_CHAIN_POLICY_STATUS {
  DWORD cbSize;
  DWORD dwError;
  LONG lChainIndex;
  LONG lElementIndex;
  void* pvExtraPolicyStatus;
};
using PCERT_CHAIN_POLICY_STATUS = CERT_CHAIN_POLICY_STATUS*;
static_assert(sizeof(CERT_CHAIN_POLICY_STATUS) == 24);

// The header of a private-key blob; RSAPUBKEY and the numbers follow, all little-endian.
struct BLOBHEADER {
  BYTE bType;
  BYTE bVersion;
  WORD reserved;
  ALG_ID aiKeyAlg;
};
static_assert(sizeof(BLOBHEADER) == 8);

struct RSAPUBKEY {
  DWORD magic;
  DWORD bitlen;
  DWORD pubexp;
};
static_assert(sizeof(RSAPUBKEY) == 12);

extern "C" {
// Copies the DER, with what follows the certificate. Null: E_INVALIDARG (another encoding),
// CRYPT_E_ASN1_EOD (ends early), CRYPT_E_ASN1_BADTAG (not the outline of a certificate up to its
// issuer; what comes later is not checked), ERROR_NOT_ENOUGH_MEMORY.
PCCERT_CONTEXT WINAPI CertCreateCertificateContext(DWORD encoding, const BYTE* encoded, DWORD size);
// One more reference; returns the same context. Null stays null.
PCCERT_CONTEXT WINAPI CertDuplicateCertificateContext(PCCERT_CONTEXT context);
// One reference less. Always TRUE.
BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT context);

// Properties: CERT_KEY_PROV_INFO_PROP_ID takes a CRYPT_KEY_PROV_INFO (without parameters) and
// CERT_FRIENDLY_NAME_PROP_ID a CRYPT_DATA_BLOB; both are copied. Null data removes the property.
// FALSE: E_INVALIDARG (another property, or provider parameters), ERROR_NOT_ENOUGH_MEMORY.
BOOL WINAPI CertSetCertificateContextProperty(PCCERT_CONTEXT context, DWORD property, DWORD flags,
                                              const void* data);
// *size is the room in `data` and becomes the size needed; null data asks for the size. Key
// provider information comes as the record with its texts behind it, in that one block. FALSE:
// CRYPT_E_NOT_FOUND (no such property), ERROR_MORE_DATA (too small), E_INVALIDARG (null size).
BOOL WINAPI CertGetCertificateContextProperty(PCCERT_CONTEXT context, DWORD property, void* data,
                                              DWORD* size);

// The current user's store of that name (case does not count), made when it is new. Null:
// E_INVALIDARG (no name), ERROR_NOT_ENOUGH_MEMORY.
HCERTSTORE WINAPI CertOpenSystemStoreW(HCRYPTPROV_LEGACY provider, LPCWSTR name);
// Contexts of the store stay usable. A null handle succeeds; FALSE with E_INVALIDARG for one that
// is not open.
BOOL WINAPI CertCloseStore(HCERTSTORE store, DWORD flags);

// Puts a copy with all properties into the store; *stored (may be null) gets a reference to the
// copy. Two certificates are the same when issuer and serial number are.
//   ADD_NEW               fails with CRYPT_E_EXISTS when it is there
//   ADD_USE_EXISTING      keeps the one that is there and gives it the properties that it lacks
//   ADD_REPLACE_EXISTING  removes the one that is there, with its properties
//   ADD_ALWAYS            does not look
// FALSE: E_INVALIDARG for another disposition, null, or a store that is not open.
BOOL WINAPI CertAddCertificateContextToStore(HCERTSTORE store, PCCERT_CONTEXT context,
                                             DWORD disposition, PCCERT_CONTEXT* stored);

// The first certificate, or the one after `previous`, which is freed (also at the end, when the
// answer is null with CRYPT_E_NOT_FOUND). The caller owns what it gets.
PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous);
// Takes the certificate out of its store, if it is still in one, and frees the context. Always
// TRUE.
BOOL WINAPI CertDeleteCertificateFromStore(PCCERT_CONTEXT context);

// A chain whose trust status says CERT_TRUST_IS_UNTRUSTED_ROOT. FALSE: E_INVALIDARG (null, or
// parameters of another size), ERROR_NOT_ENOUGH_MEMORY.
BOOL WINAPI CertGetCertificateChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT context,
                                    LPFILETIME time, HCERTSTORE additional,
                                    PCERT_CHAIN_PARA parameters, DWORD flags, LPVOID reserved,
                                    PCCERT_CHAIN_CONTEXT* chain);
// TRUE with CERT_E_UNTRUSTEDROOT in the status for CERT_CHAIN_POLICY_BASE. FALSE:
// ERROR_FILE_NOT_FOUND (another policy), E_INVALIDARG (null).
BOOL WINAPI CertVerifyCertificateChainPolicy(LPCSTR policy, PCCERT_CHAIN_CONTEXT chain,
                                             PCERT_CHAIN_POLICY_PARA parameters,
                                             PCERT_CHAIN_POLICY_STATUS status);
void WINAPI CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT chain);

// A key container of one of Microsoft's RSA providers ("Microsoft Enhanced Cryptographic Provider
// v1.0", "Microsoft Base ...", "Microsoft Strong ..."; null: the default). Null container: the
// user's default container.
//   flags 0             opens it; NTE_BAD_KEYSET when there is none
//   CRYPT_NEWKEYSET     makes it; NTE_EXISTS when there is one
//   CRYPT_DELETEKEYSET  removes it; NTE_BAD_KEYSET when there is none; *provider is 0
//   CRYPT_VERIFYCONTEXT no container at all; NTE_BAD_FLAGS when one is named
// CRYPT_SILENT and CRYPT_MACHINE_KEYSET may be added (the latter names containers of their own).
// FALSE also: ERROR_INVALID_PARAMETER (null), NTE_BAD_FLAGS, NTE_BAD_PROV_TYPE (type 0),
// NTE_PROV_TYPE_NO_MATCH (not PROV_RSA_FULL), NTE_KEYSET_NOT_DEF (unknown provider).
BOOL WINAPI CryptAcquireContextW(HCRYPTPROV* provider, LPCWSTR container, LPCWSTR name, DWORD type,
                                 DWORD flags);
// FALSE: ERROR_INVALID_PARAMETER (not open), NTE_BAD_FLAGS (flags not 0; it is released all the
// same). Keys stay open.
BOOL WINAPI CryptReleaseContext(HCRYPTPROV provider, DWORD flags);

// Keeps a PRIVATEKEYBLOB of an RSA key as the container's exchange or signature key, replacing the
// one before. FALSE: ERROR_INVALID_PARAMETER (provider not open, null, or a public key),
// NTE_BAD_TYPE, NTE_BAD_VER, NTE_BAD_ALGID (the header's fields), NTE_BAD_DATA (magic, key length
// or blob length), NTE_BAD_FLAGS. Whether the numbers fit each other is not checked.
BOOL WINAPI CryptImportKey(HCRYPTPROV provider, const BYTE* blob, DWORD size, HCRYPTKEY publicKey,
                           DWORD flags, HCRYPTKEY* key);
// Closes the handle; the key stays in its container. FALSE: ERROR_INVALID_PARAMETER.
BOOL WINAPI CryptDestroyKey(HCRYPTKEY key);
}
