#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "pal/posix/certificate_properties.h"
#include "pal/posix/counters.h"
#include "pal/posix/der.h"

namespace {

using pal::posix::DerResult;
using pal::posix::Properties;

// A certificate in memory. All contexts that were got from one store entry share it, and with it
// the properties.
struct Certificate {
  std::vector<BYTE> encoded;
  std::string identity;
  Properties properties;
};

struct Entry {
  std::size_t number;  // rises within a store; tells where an enumeration stands
  std::shared_ptr<Certificate> certificate;
};

struct Store {
  std::vector<Entry> entries;
  std::size_t lastNumber = 0;
};

// What a PCCERT_CONTEXT points to.
struct Context : CERT_CONTEXT {
  std::size_t references = 1;
  std::shared_ptr<Certificate> certificate;
  std::shared_ptr<Store> home;  // null: a loose one
  std::size_t number = 0;       // of its entry
};

// Everything of this file, under one lock. It goes when the library is unloaded, and with it what
// nobody has closed or freed.
struct State {
  std::mutex mutex;
  std::map<std::u16string, std::shared_ptr<Store>> stores;
  std::map<HCERTSTORE, std::shared_ptr<Store>> open;
  std::map<PCCERT_CONTEXT, std::unique_ptr<Context>> contexts;
  std::size_t lastHandle = 0;
  std::size_t references = 0;  // to contexts
};
State& state() {
  static State all;
  return all;
}

BOOL fail(HRESULT error) {
  SetLastError(static_cast<DWORD>(error));
  return FALSE;
}
BOOL failMemory() {
  SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return FALSE;
}

Context& contextOf(PCCERT_CONTEXT context) {
  return *static_cast<Context*>(const_cast<CERT_CONTEXT*>(context));
}

Context* newContext_locked(std::shared_ptr<Certificate> certificate, DWORD encoding) {
  auto context = std::make_unique<Context>();
  context->dwCertEncodingType = encoding;
  context->pbCertEncoded = certificate->encoded.data();
  context->cbCertEncoded = static_cast<DWORD>(certificate->encoded.size());
  context->certificate = std::move(certificate);
  Context* const made = context.get();
  state().contexts.emplace(made, std::move(context));
  ++state().references;
  return made;
}

Context* newContext_locked(HCERTSTORE handle, const std::shared_ptr<Store>& store,
                           const Entry& entry) {
  Context* context = newContext_locked(entry.certificate, X509_ASN_ENCODING);
  context->hCertStore = handle;
  context->home = store;
  context->number = entry.number;
  return context;
}

void release_locked(Context& context) {
  --state().references;
  if (--context.references == 0) {
    state().contexts.erase(&context);
  }
}

std::shared_ptr<Store> openStore_locked(HCERTSTORE handle) {
  const auto found = state().open.find(handle);
  return found == state().open.end() ? nullptr : found->second;
}

// Store names do not distinguish case.
std::u16string storeKey(LPCWSTR name) {
  std::u16string key(name);
  for (char16_t& c : key) {
    if (c >= u'a' && c <= u'z') {
      c = static_cast<char16_t>(c - u'a' + u'A');
    }
  }
  return key;
}

auto findIdentity(Store& store, const std::string& identity) {
  return std::find_if(store.entries.begin(), store.entries.end(), [&identity](const Entry& entry) {
    return entry.certificate->identity == identity;
  });
}

const Entry& append(Store& store, const Certificate& certificate) {
  auto copy = std::make_shared<Certificate>(certificate);
  store.entries.push_back({store.lastNumber + 1, std::move(copy)});
  ++store.lastNumber;
  return store.entries.back();
}

// The entry that stands for `added` afterwards; null when the disposition forbids it.
const Entry* add(Store& store, const Certificate& added, DWORD disposition) {
  const auto existing = findIdentity(store, added.identity);
  if (existing == store.entries.end() || disposition == CERT_STORE_ADD_ALWAYS) {
    return &append(store, added);
  }
  switch (disposition) {
    case CERT_STORE_ADD_USE_EXISTING:
      addMissing(existing->certificate->properties, added.properties);
      return &*existing;
    case CERT_STORE_ADD_REPLACE_EXISTING: {
      const std::size_t replaced = existing->number;
      append(store, added);  // first: when memory is short the old one stays
      std::erase_if(store.entries,
                    [replaced](const Entry& entry) { return entry.number == replaced; });
      return &store.entries.back();
    }
    default:
      return nullptr;
  }
}

}  // namespace

namespace pal::posix {

std::size_t openStores() {
  const std::lock_guard lock(state().mutex);
  return state().open.size();
}

std::size_t openContexts() {
  const std::lock_guard lock(state().mutex);
  return state().references;
}

void clearCertificateStores() {
  const std::lock_guard lock(state().mutex);
  for (auto& [name, store] : state().stores) {
    store->entries.clear();
  }
}

}  // namespace pal::posix

PCCERT_CONTEXT WINAPI CertCreateCertificateContext(DWORD encoding, const BYTE* encoded,
                                                   DWORD size) {
  if ((encoding & X509_ASN_ENCODING) == 0) {
    fail(E_INVALIDARG);
    return nullptr;
  }
  try {
    auto certificate = std::make_shared<Certificate>();
    switch (pal::posix::certificateIdentity(encoded, size, certificate->identity)) {
      case DerResult::kEndsEarly:
        fail(CRYPT_E_ASN1_EOD);
        return nullptr;
      case DerResult::kWrongShape:
        fail(CRYPT_E_ASN1_BADTAG);
        return nullptr;
      case DerResult::kOk:
        break;
    }
    certificate->encoded.assign(encoded, encoded + size);
    const std::lock_guard lock(state().mutex);
    return newContext_locked(std::move(certificate), encoding);
  } catch (const std::bad_alloc&) {
    failMemory();
    return nullptr;
  }
}

PCCERT_CONTEXT WINAPI CertDuplicateCertificateContext(PCCERT_CONTEXT context) {
  if (context == nullptr) {
    return nullptr;
  }
  const std::lock_guard lock(state().mutex);
  ++contextOf(context).references;
  ++state().references;
  return context;
}

BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT context) {
  if (context == nullptr) {
    return TRUE;
  }
  const std::lock_guard lock(state().mutex);
  release_locked(contextOf(context));
  return TRUE;
}

BOOL WINAPI CertSetCertificateContextProperty(PCCERT_CONTEXT context, DWORD property, DWORD,
                                              const void* data) {
  if (context == nullptr) {
    return fail(E_INVALIDARG);
  }
  const std::lock_guard lock(state().mutex);
  Properties& properties = contextOf(context).certificate->properties;
  try {
    if (property == CERT_FRIENDLY_NAME_PROP_ID) {
      setFriendlyName(properties, static_cast<const CRYPT_DATA_BLOB*>(data));
      return TRUE;
    }
    if (property == CERT_KEY_PROV_INFO_PROP_ID &&
        setKeyProvider(properties, static_cast<const CRYPT_KEY_PROV_INFO*>(data))) {
      return TRUE;
    }
    return fail(E_INVALIDARG);
  } catch (const std::bad_alloc&) {
    return failMemory();
  }
}

BOOL WINAPI CertGetCertificateContextProperty(PCCERT_CONTEXT context, DWORD property, void* data,
                                              DWORD* size) {
  if (context == nullptr || size == nullptr) {
    return fail(E_INVALIDARG);
  }
  const std::lock_guard lock(state().mutex);
  const Properties& properties = contextOf(context).certificate->properties;
  const auto& info = properties.keyProvider;
  const auto& name = properties.friendlyName;
  std::size_t needed = 0;
  if (property == CERT_KEY_PROV_INFO_PROP_ID && info) {
    needed = sizeOf(*info);
  } else if (property == CERT_FRIENDLY_NAME_PROP_ID && name) {
    needed = name->size();
  } else {
    *size = 0;
    return fail(CRYPT_E_NOT_FOUND);
  }

  const DWORD room = std::exchange(*size, static_cast<DWORD>(needed));
  if (data == nullptr) {
    return TRUE;
  }
  if (room < needed) {
    SetLastError(ERROR_MORE_DATA);
    return FALSE;
  }
  if (property == CERT_KEY_PROV_INFO_PROP_ID) {
    write(*info, static_cast<BYTE*>(data));
  } else {
    std::copy(name->begin(), name->end(), static_cast<BYTE*>(data));
  }
  return TRUE;
}

HCERTSTORE WINAPI CertOpenSystemStoreW(HCRYPTPROV_LEGACY, LPCWSTR name) {
  if (name == nullptr) {
    fail(E_INVALIDARG);
    return nullptr;
  }
  const std::lock_guard lock(state().mutex);
  try {
    std::shared_ptr<Store>& store = state().stores[storeKey(name)];
    if (!store) {
      store = std::make_shared<Store>();
    }
    const HCERTSTORE handle = reinterpret_cast<HCERTSTORE>(state().lastHandle + 4);
    state().open.emplace(handle, store);
    state().lastHandle += 4;
    return handle;
  } catch (const std::bad_alloc&) {
    failMemory();
    return nullptr;
  }
}

BOOL WINAPI CertCloseStore(HCERTSTORE store, DWORD) {
  if (store == nullptr) {
    return TRUE;
  }
  const std::lock_guard lock(state().mutex);
  return state().open.erase(store) == 1 ? TRUE : fail(E_INVALIDARG);
}

BOOL WINAPI CertAddCertificateContextToStore(HCERTSTORE store, PCCERT_CONTEXT context,
                                             DWORD disposition, PCCERT_CONTEXT* stored) {
  if (stored != nullptr) {
    *stored = nullptr;
  }
  const std::lock_guard lock(state().mutex);
  const auto target = openStore_locked(store);
  if (!target || context == nullptr || disposition < CERT_STORE_ADD_NEW ||
      disposition > CERT_STORE_ADD_ALWAYS) {
    return fail(E_INVALIDARG);
  }
  try {
    const Entry* entry = add(*target, *contextOf(context).certificate, disposition);
    if (entry == nullptr) {
      return fail(CRYPT_E_EXISTS);
    }
    if (stored != nullptr) {
      *stored = newContext_locked(store, target, *entry);
    }
    return TRUE;
  } catch (const std::bad_alloc&) {
    return failMemory();
  }
}

PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous) {
  const std::lock_guard lock(state().mutex);
  std::size_t after = 0;
  if (previous != nullptr) {
    after = contextOf(previous).number;
    release_locked(contextOf(previous));
  }
  const auto source = openStore_locked(store);
  if (!source) {
    fail(E_INVALIDARG);
    return nullptr;
  }
  const auto next = std::find_if(source->entries.begin(), source->entries.end(),
                                 [after](const Entry& entry) { return entry.number > after; });
  if (next == source->entries.end()) {
    fail(CRYPT_E_NOT_FOUND);
    return nullptr;
  }
  try {
    return newContext_locked(store, source, *next);
  } catch (const std::bad_alloc&) {
    failMemory();
    return nullptr;
  }
}

BOOL WINAPI CertDeleteCertificateFromStore(PCCERT_CONTEXT context) {
  if (context == nullptr) {
    return TRUE;
  }
  const std::lock_guard lock(state().mutex);
  Context& deleted = contextOf(context);
  if (deleted.home) {
    std::erase_if(deleted.home->entries,
                  [&deleted](const Entry& entry) { return entry.number == deleted.number; });
  }
  release_locked(deleted);
  return TRUE;
}
