#include <gtest/gtest.h>

#include <cstddef>
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

TEST(Types, ErrorNumbersAreWindowsOwn) {
  EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, 6u);
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, 87u);
  EXPECT_EQ(DWORD{ERROR_BUFFER_OVERFLOW}, 111u);
  EXPECT_EQ(DWORD{ERROR_MOD_NOT_FOUND}, 126u);
  EXPECT_EQ(DWORD{ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT}, 12167u);
  EXPECT_EQ(DWORD{ERROR_WINHTTP_AUTODETECTION_FAILED}, 12180u);
  EXPECT_EQ(static_cast<DWORD>(NTE_EXISTS), 0x8009000Fu);
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_KEYSET), 0x80090016u);
  EXPECT_EQ(static_cast<DWORD>(CERT_E_UNTRUSTEDROOT), 0x800B0109u);
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
