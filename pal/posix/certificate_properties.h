#pragma once

#include <optional>
#include <string>
#include <vector>

#include "pal/posix/certstore.h"

// What is kept beside a certificate. Inside the certstore facility only. Functions that copy throw
// std::bad_alloc.
namespace pal::posix {

struct KeyProviderInfo {
  std::optional<std::u16string> container;
  std::optional<std::u16string> provider;
  DWORD type = 0;
  DWORD flags = 0;
  DWORD keySpec = 0;
};

struct Properties {
  std::optional<KeyProviderInfo> keyProvider;
  std::optional<std::vector<BYTE>> friendlyName;
};

// False for records with parameters, which are not kept. Null takes the property away.
bool setKeyProvider(Properties& properties, const CRYPT_KEY_PROV_INFO* info);
void setFriendlyName(Properties& properties, const CRYPT_DATA_BLOB* blob);
// Adds what is not there.
void addMissing(Properties& properties, const Properties& from);

// The record with its texts behind it.
std::size_t sizeOf(const KeyProviderInfo& info);
void write(const KeyProviderInfo& info, BYTE* data);

}  // namespace pal::posix
