#include "pal/posix/certificate_properties.h"

#include <cstring>

namespace pal::posix {
namespace {

std::optional<std::u16string> textOf(LPCWSTR text) {
  return text == nullptr ? std::nullopt : std::optional<std::u16string>(text);
}

std::size_t bytesOf(const std::optional<std::u16string>& text) {
  return text ? (text->size() + 1) * sizeof(WCHAR) : 0;
}

// Puts a copy of `text` at `cursor` and moves on; null for no text.
LPWSTR place(const std::optional<std::u16string>& text, BYTE*& cursor) {
  if (!text) {
    return nullptr;
  }
  const LPWSTR placed = reinterpret_cast<LPWSTR>(cursor);
  std::memcpy(cursor, text->c_str(), bytesOf(text));
  cursor += bytesOf(text);
  return placed;
}

}  // namespace

bool setKeyProvider(Properties& properties, const CRYPT_KEY_PROV_INFO* info) {
  if (info == nullptr) {
    properties.keyProvider.reset();
    return true;
  }
  if (info->cProvParam != 0) {
    return false;
  }
  properties.keyProvider = {textOf(info->pwszContainerName), textOf(info->pwszProvName),
                            info->dwProvType, info->dwFlags, info->dwKeySpec};
  return true;
}

void setFriendlyName(Properties& properties, const CRYPT_DATA_BLOB* blob) {
  if (blob == nullptr) {
    properties.friendlyName.reset();
  } else {
    properties.friendlyName = std::vector<BYTE>(blob->pbData, blob->pbData + blob->cbData);
  }
}

void addMissing(Properties& properties, const Properties& from) {
  if (!properties.keyProvider) {
    properties.keyProvider = from.keyProvider;
  }
  if (!properties.friendlyName) {
    properties.friendlyName = from.friendlyName;
  }
}

std::size_t sizeOf(const KeyProviderInfo& info) {
  return sizeof(CRYPT_KEY_PROV_INFO) + bytesOf(info.container) + bytesOf(info.provider);
}

void write(const KeyProviderInfo& info, BYTE* data) {
  BYTE* texts = data + sizeof(CRYPT_KEY_PROV_INFO);
  CRYPT_KEY_PROV_INFO record{};
  record.pwszContainerName = place(info.container, texts);
  record.pwszProvName = place(info.provider, texts);
  record.dwProvType = info.type;
  record.dwFlags = info.flags;
  record.dwKeySpec = info.keySpec;
  std::memcpy(data, &record, sizeof(record));
}

}  // namespace pal::posix
