#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "pal/wide.h"

// The layouts that the module's code relies on, checked against the SDK on Windows and against our
// own headers elsewhere.

TEST(Types, NumbersHaveWindowsWidthsAndSigns) {
  EXPECT_EQ(sizeof(DWORD), 4u);
  EXPECT_EQ(sizeof(LONG), 4u);
  EXPECT_EQ(sizeof(ULONG_PTR), sizeof(void*));
  EXPECT_EQ(sizeof(WCHAR), 2u);
  EXPECT_TRUE(std::is_unsigned_v<DWORD>);
  EXPECT_TRUE(std::is_unsigned_v<ULONG>);
  EXPECT_TRUE(std::is_signed_v<LONG>);
  EXPECT_TRUE(std::is_signed_v<HRESULT>);
}

TEST(Types, RecordsHaveWindowsSizes) {
  EXPECT_EQ(sizeof(FILETIME), 8u);
  EXPECT_EQ(sizeof(SYSTEMTIME), 16u);
  EXPECT_EQ(sizeof(CERT_CONTEXT), 40u);
  EXPECT_EQ(sizeof(CERT_CHAIN_PARA), 32u);
  EXPECT_EQ(sizeof(CERT_CHAIN_POLICY_PARA), 16u);
  EXPECT_EQ(sizeof(CERT_CHAIN_POLICY_STATUS), 24u);
  EXPECT_EQ(sizeof(CERT_CHAIN_CONTEXT), 72u);
  EXPECT_EQ(sizeof(CRYPT_KEY_PROV_INFO), 48u);
  EXPECT_EQ(sizeof(CRYPT_DATA_BLOB), 16u);
  EXPECT_EQ(sizeof(BLOBHEADER), 8u);
  EXPECT_EQ(sizeof(RSAPUBKEY), 12u);
  EXPECT_EQ(sizeof(WINHTTP_CURRENT_USER_IE_PROXY_CONFIG), 32u);
  EXPECT_EQ(sizeof(WINHTTP_AUTOPROXY_OPTIONS), 32u);
  EXPECT_EQ(sizeof(WINHTTP_PROXY_INFO), 24u);
}

TEST(Types, AdapterRecordsHaveWindowsOffsets) {
  EXPECT_EQ(offsetof(IP_ADAPTER_ADDRESSES, Next), 8u);
  EXPECT_EQ(offsetof(IP_ADAPTER_ADDRESSES, AdapterName), 16u);
  EXPECT_EQ(offsetof(IP_ADAPTER_ADDRESSES, FirstUnicastAddress), 24u);
  EXPECT_EQ(offsetof(IP_ADAPTER_ADDRESSES, FriendlyName), 72u);
  EXPECT_EQ(offsetof(IP_ADAPTER_ADDRESSES, IfType), 100u);
  EXPECT_EQ(offsetof(IP_ADAPTER_ADDRESSES, OperStatus), 104u);
  EXPECT_EQ(offsetof(IP_ADAPTER_UNICAST_ADDRESS, Next), 8u);
  EXPECT_EQ(offsetof(IP_ADAPTER_UNICAST_ADDRESS, Address), 16u);
  EXPECT_EQ(sizeof(SOCKET_ADDRESS), 16u);
}

// Signed or not, and whatever their width.
template <class Number>
constexpr uint32_t number(Number value) {
  return static_cast<uint32_t>(value);
}

TEST(Types, NumbersAreWindowsOwn) {
  const struct {
    uint32_t ours;
    uint32_t windows;
    const char* name;
  } numbers[] = {
      {number(ERROR_SUCCESS), 0u, "ERROR_SUCCESS"},
      {number(NO_ERROR), 0u, "NO_ERROR"},
      {number(ERROR_FILE_NOT_FOUND), 2u, "ERROR_FILE_NOT_FOUND"},
      {number(ERROR_ACCESS_DENIED), 5u, "ERROR_ACCESS_DENIED"},
      {number(ERROR_INVALID_HANDLE), 6u, "ERROR_INVALID_HANDLE"},
      {number(ERROR_NOT_ENOUGH_MEMORY), 8u, "ERROR_NOT_ENOUGH_MEMORY"},
      {number(ERROR_GEN_FAILURE), 31u, "ERROR_GEN_FAILURE"},
      {number(ERROR_NOT_SUPPORTED), 50u, "ERROR_NOT_SUPPORTED"},
      {number(ERROR_INVALID_PARAMETER), 87u, "ERROR_INVALID_PARAMETER"},
      {number(ERROR_BUFFER_OVERFLOW), 111u, "ERROR_BUFFER_OVERFLOW"},
      {number(ERROR_INSUFFICIENT_BUFFER), 122u, "ERROR_INSUFFICIENT_BUFFER"},
      {number(ERROR_MOD_NOT_FOUND), 126u, "ERROR_MOD_NOT_FOUND"},
      {number(ERROR_PROC_NOT_FOUND), 127u, "ERROR_PROC_NOT_FOUND"},
      {number(ERROR_BAD_EXE_FORMAT), 193u, "ERROR_BAD_EXE_FORMAT"},
      {number(ERROR_NO_DATA), 232u, "ERROR_NO_DATA"},
      {number(ERROR_MORE_DATA), 234u, "ERROR_MORE_DATA"},
      {number(S_OK), 0u, "S_OK"},
      {number(E_NOTIMPL), 0x80004001u, "E_NOTIMPL"},
      {number(E_NOINTERFACE), 0x80004002u, "E_NOINTERFACE"},
      {number(E_POINTER), 0x80004003u, "E_POINTER"},
      {number(E_FAIL), 0x80004005u, "E_FAIL"},
      {number(E_ACCESSDENIED), 0x80070005u, "E_ACCESSDENIED"},
      {number(E_OUTOFMEMORY), 0x8007000Eu, "E_OUTOFMEMORY"},
      {number(E_INVALIDARG), 0x80070057u, "E_INVALIDARG"},
      {number(FALSE), 0u, "FALSE"},
      {number(TRUE), 1u, "TRUE"},
      {number(MAX_PATH), 260u, "MAX_PATH"},
      {number(INFINITE), 0xFFFFFFFFu, "INFINITE"},
      {number(PBT_APMSUSPEND), 4u, "PBT_APMSUSPEND"},
      {number(PBT_APMSTANDBY), 5u, "PBT_APMSTANDBY"},
      {number(PBT_APMRESUMECRITICAL), 6u, "PBT_APMRESUMECRITICAL"},
      {number(PBT_APMRESUMESUSPEND), 7u, "PBT_APMRESUMESUSPEND"},
      {number(PBT_APMRESUMESTANDBY), 8u, "PBT_APMRESUMESTANDBY"},
      {number(PBT_APMRESUMEAUTOMATIC), 18u, "PBT_APMRESUMEAUTOMATIC"},
      {number(HEAP_ZERO_MEMORY), 0x8u, "HEAP_ZERO_MEMORY"},
      {number(GMEM_FIXED), 0x0u, "GMEM_FIXED"},
      {number(GMEM_ZEROINIT), 0x40u, "GMEM_ZEROINIT"},
      {number(WAIT_OBJECT_0), 0u, "WAIT_OBJECT_0"},
      {number(WAIT_TIMEOUT), 258u, "WAIT_TIMEOUT"},
      {number(WAIT_FAILED), 0xFFFFFFFFu, "WAIT_FAILED"},
      {number(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT), 0x2u,
       "GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT"},
      {number(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS), 0x4u,
       "GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS"},
      {number(GAA_FLAG_SKIP_UNICAST), 0x1u, "GAA_FLAG_SKIP_UNICAST"},
      {number(GAA_FLAG_INCLUDE_PREFIX), 0x10u, "GAA_FLAG_INCLUDE_PREFIX"},
      {number(IF_TYPE_OTHER), 1u, "IF_TYPE_OTHER"},
      {number(IF_TYPE_ETHERNET_CSMACD), 6u, "IF_TYPE_ETHERNET_CSMACD"},
      {number(IF_TYPE_PPP), 23u, "IF_TYPE_PPP"},
      {number(IF_TYPE_SOFTWARE_LOOPBACK), 24u, "IF_TYPE_SOFTWARE_LOOPBACK"},
      {number(IF_TYPE_TUNNEL), 131u, "IF_TYPE_TUNNEL"},
      {number(X509_ASN_ENCODING), 0x1u, "X509_ASN_ENCODING"},
      {number(PKCS_7_ASN_ENCODING), 0x10000u, "PKCS_7_ASN_ENCODING"},
      {number(CERT_KEY_PROV_INFO_PROP_ID), 2u, "CERT_KEY_PROV_INFO_PROP_ID"},
      {number(CERT_FRIENDLY_NAME_PROP_ID), 11u, "CERT_FRIENDLY_NAME_PROP_ID"},
      {number(CERT_STORE_ADD_NEW), 1u, "CERT_STORE_ADD_NEW"},
      {number(CERT_STORE_ADD_USE_EXISTING), 2u, "CERT_STORE_ADD_USE_EXISTING"},
      {number(CERT_STORE_ADD_REPLACE_EXISTING), 3u, "CERT_STORE_ADD_REPLACE_EXISTING"},
      {number(CERT_STORE_ADD_ALWAYS), 4u, "CERT_STORE_ADD_ALWAYS"},
      {number(CERT_TRUST_IS_UNTRUSTED_ROOT), 0x20u, "CERT_TRUST_IS_UNTRUSTED_ROOT"},
      {number(PROV_RSA_FULL), 1u, "PROV_RSA_FULL"},
      {number(AT_KEYEXCHANGE), 1u, "AT_KEYEXCHANGE"},
      {number(AT_SIGNATURE), 2u, "AT_SIGNATURE"},
      {number(CRYPT_VERIFYCONTEXT), 0xF0000000u, "CRYPT_VERIFYCONTEXT"},
      {number(CRYPT_NEWKEYSET), 0x8u, "CRYPT_NEWKEYSET"},
      {number(CRYPT_DELETEKEYSET), 0x10u, "CRYPT_DELETEKEYSET"},
      {number(CRYPT_MACHINE_KEYSET), 0x20u, "CRYPT_MACHINE_KEYSET"},
      {number(CRYPT_SILENT), 0x40u, "CRYPT_SILENT"},
      {number(CRYPT_EXPORTABLE), 0x1u, "CRYPT_EXPORTABLE"},
      {number(CRYPT_USER_PROTECTED), 0x2u, "CRYPT_USER_PROTECTED"},
      {number(PRIVATEKEYBLOB), 7u, "PRIVATEKEYBLOB"},
      {number(CUR_BLOB_VERSION), 2u, "CUR_BLOB_VERSION"},
      {number(CALG_RSA_SIGN), 0x2400u, "CALG_RSA_SIGN"},
      {number(CALG_RSA_KEYX), 0xA400u, "CALG_RSA_KEYX"},
      {number(NTE_BAD_DATA), 0x80090005u, "NTE_BAD_DATA"},
      {number(NTE_BAD_VER), 0x80090007u, "NTE_BAD_VER"},
      {number(NTE_BAD_ALGID), 0x80090008u, "NTE_BAD_ALGID"},
      {number(NTE_BAD_FLAGS), 0x80090009u, "NTE_BAD_FLAGS"},
      {number(NTE_BAD_TYPE), 0x8009000Au, "NTE_BAD_TYPE"},
      {number(NTE_NO_MEMORY), 0x8009000Eu, "NTE_NO_MEMORY"},
      {number(NTE_EXISTS), 0x8009000Fu, "NTE_EXISTS"},
      {number(NTE_BAD_PROV_TYPE), 0x80090014u, "NTE_BAD_PROV_TYPE"},
      {number(NTE_BAD_KEYSET), 0x80090016u, "NTE_BAD_KEYSET"},
      {number(NTE_KEYSET_NOT_DEF), 0x80090019u, "NTE_KEYSET_NOT_DEF"},
      {number(NTE_PROV_TYPE_NO_MATCH), 0x8009001Bu, "NTE_PROV_TYPE_NO_MATCH"},
      {number(CRYPT_E_NOT_FOUND), 0x80092004u, "CRYPT_E_NOT_FOUND"},
      {number(CRYPT_E_EXISTS), 0x80092005u, "CRYPT_E_EXISTS"},
      {number(CRYPT_E_ASN1_EOD), 0x80093102u, "CRYPT_E_ASN1_EOD"},
      {number(CRYPT_E_ASN1_BADTAG), 0x8009310Bu, "CRYPT_E_ASN1_BADTAG"},
      {number(CERT_E_UNTRUSTEDROOT), 0x800B0109u, "CERT_E_UNTRUSTEDROOT"},
      {number(WINHTTP_ACCESS_TYPE_DEFAULT_PROXY), 0u, "WINHTTP_ACCESS_TYPE_DEFAULT_PROXY"},
      {number(WINHTTP_ACCESS_TYPE_NO_PROXY), 1u, "WINHTTP_ACCESS_TYPE_NO_PROXY"},
      {number(WINHTTP_ACCESS_TYPE_NAMED_PROXY), 3u, "WINHTTP_ACCESS_TYPE_NAMED_PROXY"},
      {number(WINHTTP_AUTO_DETECT_TYPE_DHCP), 0x1u, "WINHTTP_AUTO_DETECT_TYPE_DHCP"},
      {number(WINHTTP_AUTO_DETECT_TYPE_DNS_A), 0x2u, "WINHTTP_AUTO_DETECT_TYPE_DNS_A"},
      {number(WINHTTP_AUTOPROXY_AUTO_DETECT), 0x1u, "WINHTTP_AUTOPROXY_AUTO_DETECT"},
      {number(WINHTTP_AUTOPROXY_CONFIG_URL), 0x2u, "WINHTTP_AUTOPROXY_CONFIG_URL"},
      {number(ERROR_WINHTTP_INVALID_URL), 12005u, "ERROR_WINHTTP_INVALID_URL"},
      {number(ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT), 12167u,
       "ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT"},
      {number(ERROR_WINHTTP_AUTODETECTION_FAILED), 12180u, "ERROR_WINHTTP_AUTODETECTION_FAILED"},
      {number(GPTR), 0x40u, "GPTR"},
      {number(IfOperStatusUp), 1u, "IfOperStatusUp"},
      {number(IfOperStatusDown), 2u, "IfOperStatusDown"},
      {number(IfOperStatusLowerLayerDown), 7u, "IfOperStatusLowerLayerDown"},
  };
  for (const auto& row : numbers) {
    EXPECT_EQ(row.ours, row.windows) << row.name;
  }
  EXPECT_EQ(reinterpret_cast<uintptr_t>(CERT_CHAIN_POLICY_BASE), 1u);
}

TEST(Wide, ATextKeepsItsUnitsThroughBothCasts) {
  const char16_t* text = u"a\u00e4\u20ac";
  const WCHAR* wide = pal::wide(text);
  EXPECT_EQ(std::memcmp(wide, PAL_TEXT("a\u00e4\u20ac"), 4 * sizeof(WCHAR)), 0);
  EXPECT_EQ(pal::utf16(wide), text);
}

TEST(Wide, NullStaysNull) {
  EXPECT_EQ(pal::wide(static_cast<const char16_t*>(nullptr)), nullptr);
  EXPECT_EQ(pal::utf16(static_cast<const WCHAR*>(nullptr)), nullptr);
}

TEST(ComError, IsThrownWithItsCode) {
  try {
    _com_issue_error(E_POINTER);
    FAIL() << "nothing was thrown";
  } catch (const _com_error& error) {
    EXPECT_EQ(error.Error(), E_POINTER);
  }
}

TEST(ComError, CanBeThrownByHand) {
  try {
    throw _com_error(E_FAIL);
  } catch (const _com_error& error) {
    EXPECT_EQ(error.Error(), E_FAIL);
  }
}
