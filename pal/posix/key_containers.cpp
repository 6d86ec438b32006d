#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "pal/posix/certstore.h"
#include "pal/posix/counters.h"

namespace {

constexpr std::u16string_view kProviders[] = {
    u"Microsoft Base Cryptographic Provider v1.0",
    u"Microsoft Enhanced Cryptographic Provider v1.0",
    u"Microsoft Strong Cryptographic Provider",
};

// The private half of a key pair, as it was imported, or none. Wiped when it goes.
class PrivateHalf {
 public:
  PrivateHalf() = default;
  PrivateHalf(const BYTE* blob, DWORD size) : blob_(blob, blob + size) {}
  PrivateHalf(const PrivateHalf&) = delete;
  PrivateHalf& operator=(const PrivateHalf&) = delete;
  ~PrivateHalf() {
    if (isThere()) {
      explicit_bzero(blob_.data(), blob_.size());
    }
  }

  bool isThere() const { return !blob_.empty(); }
  void swap(PrivateHalf& other) noexcept { blob_.swap(other.blob_); }

 private:
  std::vector<BYTE> blob_;
};

// There is room for a key of each use.
struct Container {
  PrivateHalf exchangeKey;
  PrivateHalf signatureKey;
};

// A container's name, and whether it is one of the machine's.
using ContainerName = std::pair<bool, std::u16string>;

struct State {
  std::mutex mutex;
  std::map<ContainerName, std::shared_ptr<Container>> containers;
  std::map<HCRYPTPROV, std::shared_ptr<Container>> providers;
  std::map<HCRYPTKEY, std::shared_ptr<Container>> keys;
  ULONG_PTR lastHandle = 0;
};
State& state() {
  static State all;
  return all;
}

BOOL fail(DWORD error) {
  SetLastError(error);
  return FALSE;
}
BOOL fail(HRESULT error) { return fail(static_cast<DWORD>(error)); }

// Names do not distinguish case. Null is the user's default container, whose name is empty here.
ContainerName nameOf(LPCWSTR name, DWORD flags) {
  std::u16string text(name == nullptr ? u"" : name);
  for (char16_t& c : text) {
    if (c >= u'A' && c <= u'Z') {
      c = static_cast<char16_t>(c - u'A' + u'a');
    }
  }
  return {(flags & CRYPT_MACHINE_KEYSET) != 0, std::move(text)};
}

bool isProvider(LPCWSTR name) {
  if (name == nullptr) {
    return true;
  }
  for (const std::u16string_view known : kProviders) {
    if (known == name) {
      return true;
    }
  }
  return false;
}

template <class Handles>
ULONG_PTR open_locked(Handles& handles, std::shared_ptr<Container> container) {
  const ULONG_PTR handle = state().lastHandle + 4;
  handles.emplace(handle, std::move(container));
  state().lastHandle = handle;
  return handle;
}

BOOL openContainer_locked(HCRYPTPROV* provider, const ContainerName& name) {
  const auto found = state().containers.find(name);
  if (found == state().containers.end()) {
    return fail(NTE_BAD_KEYSET);
  }
  *provider = open_locked(state().providers, found->second);
  return TRUE;
}

BOOL makeContainer_locked(HCRYPTPROV* provider, const ContainerName& name) {
  if (state().containers.count(name) != 0) {
    return fail(NTE_EXISTS);
  }
  const auto container = std::make_shared<Container>();
  const HCRYPTPROV handle = open_locked(state().providers, container);
  try {
    state().containers.emplace(name, container);
  } catch (const std::bad_alloc&) {
    state().providers.erase(handle);
    throw;
  }
  *provider = handle;
  return TRUE;
}

BOOL deleteContainer_locked(HCRYPTPROV* provider, const ContainerName& name) {
  if (state().containers.erase(name) == 0) {
    return fail(NTE_BAD_KEYSET);
  }
  *provider = 0;
  return TRUE;
}

BOOL acquire_locked(HCRYPTPROV* provider, LPCWSTR container, DWORD action, DWORD flags) {
  switch (action) {
    case 0:
      return openContainer_locked(provider, nameOf(container, flags));
    case CRYPT_NEWKEYSET:
      return makeContainer_locked(provider, nameOf(container, flags));
    case CRYPT_DELETEKEYSET:
      return deleteContainer_locked(provider, nameOf(container, flags));
    case CRYPT_VERIFYCONTEXT:
      if (container != nullptr && container[0] != u'\0') {
        return fail(NTE_BAD_FLAGS);
      }
      *provider = open_locked(state().providers, std::make_shared<Container>());
      return TRUE;
    default:
      return fail(NTE_BAD_FLAGS);
  }
}

// PRIVATEKEYBLOB of an RSA key: header, magic "RSA2", bit length, public exponent; then modulus
// (n bytes), two primes, two exponents and the coefficient (n / 2 each), private exponent (n).
// S_OK or why not.
HRESULT checkBlob(const BYTE* blob, DWORD size) {
  if (size < sizeof(BLOBHEADER) + sizeof(RSAPUBKEY)) {
    return NTE_BAD_DATA;
  }
  BLOBHEADER header;
  RSAPUBKEY key;
  std::memcpy(&header, blob, sizeof(header));
  std::memcpy(&key, blob + sizeof(header), sizeof(key));
  if (header.bType != PRIVATEKEYBLOB) {
    return NTE_BAD_TYPE;
  }
  if (header.bVersion != CUR_BLOB_VERSION) {
    return NTE_BAD_VER;
  }
  if (header.aiKeyAlg != CALG_RSA_KEYX && header.aiKeyAlg != CALG_RSA_SIGN) {
    return NTE_BAD_ALGID;
  }

  constexpr DWORD kMagic = 'R' | 'S' << 8 | 'A' << 16 | '2' << 24;
  if (key.magic != kMagic || key.bitlen == 0 || key.bitlen % 8 != 0) {
    return NTE_BAD_DATA;
  }
  const std::uint64_t bytes = key.bitlen / 8;
  const std::uint64_t needed = sizeof(header) + sizeof(key) + 2 * bytes + 5 * (bytes / 2);
  return size == needed ? S_OK : NTE_BAD_DATA;
}

}  // namespace

namespace pal::posix {

std::size_t openProviders() {
  const std::lock_guard lock(state().mutex);
  return state().providers.size();
}

std::size_t openKeys() {
  const std::lock_guard lock(state().mutex);
  return state().keys.size();
}

std::size_t storedKeys() {
  const std::lock_guard lock(state().mutex);
  std::size_t count = 0;
  for (const auto& [name, container] : state().containers) {
    count += (container->exchangeKey.isThere() ? 1u : 0u) +
             (container->signatureKey.isThere() ? 1u : 0u);
  }
  return count;
}

void clearKeyContainers() {
  const std::lock_guard lock(state().mutex);
  state().containers.clear();
}

}  // namespace pal::posix

BOOL WINAPI CryptAcquireContextW(HCRYPTPROV* provider, LPCWSTR container, LPCWSTR name, DWORD type,
                                 DWORD flags) {
  if (provider == nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  if (type == 0) {
    return fail(NTE_BAD_PROV_TYPE);
  }
  if (type != PROV_RSA_FULL) {
    return fail(NTE_PROV_TYPE_NO_MATCH);
  }
  if (!isProvider(name)) {
    return fail(NTE_KEYSET_NOT_DEF);
  }
  const std::lock_guard lock(state().mutex);
  try {
    return acquire_locked(provider, container, flags & ~(CRYPT_SILENT | CRYPT_MACHINE_KEYSET),
                          flags);
  } catch (const std::bad_alloc&) {
    return fail(ERROR_NOT_ENOUGH_MEMORY);
  }
}

BOOL WINAPI CryptReleaseContext(HCRYPTPROV provider, DWORD flags) {
  const std::lock_guard lock(state().mutex);
  if (state().providers.erase(provider) == 0) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  return flags == 0 ? TRUE : fail(NTE_BAD_FLAGS);
}

BOOL WINAPI CryptImportKey(HCRYPTPROV provider, const BYTE* blob, DWORD size, HCRYPTKEY publicKey,
                           DWORD flags, HCRYPTKEY* key) {
  const std::lock_guard lock(state().mutex);
  const auto found = state().providers.find(provider);
  if (found == state().providers.end() || blob == nullptr || key == nullptr || publicKey != 0) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  if ((flags & ~(CRYPT_EXPORTABLE | CRYPT_USER_PROTECTED)) != 0) {
    return fail(NTE_BAD_FLAGS);
  }
  const HRESULT checked = checkBlob(blob, size);
  if (checked != S_OK) {
    return fail(checked);
  }

  BLOBHEADER header;
  std::memcpy(&header, blob, sizeof(header));
  Container& container = *found->second;
  try {
    PrivateHalf kept(blob, size);
    *key = open_locked(state().keys, found->second);
    (header.aiKeyAlg == CALG_RSA_SIGN ? container.signatureKey : container.exchangeKey).swap(kept);
    return TRUE;
  } catch (const std::bad_alloc&) {
    return fail(ERROR_NOT_ENOUGH_MEMORY);
  }
}

BOOL WINAPI CryptDestroyKey(HCRYPTKEY key) {
  const std::lock_guard lock(state().mutex);
  return state().keys.erase(key) == 1 ? TRUE : fail(ERROR_INVALID_PARAMETER);
}
