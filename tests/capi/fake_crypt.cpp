#include "fake_crypt.h"

#include <algorithm>
#include <cstring>

#include "pal/wide.h"

namespace vexa::test {
namespace {

std::string narrow(const std::u16string& text) {
  std::string out;
  for (const char16_t unit : text) {
    out += unit < 0x80 ? static_cast<char>(unit) : '?';
  }
  return out;
}

std::u16string wideText(LPCWSTR text) {
  return text == nullptr ? u"(null)" : std::u16string(pal::utf16(text));
}

}  // namespace

struct FakeCrypt::Context {
  CERT_CONTEXT record{};  // first: its address is the context's
  StoredCertificate content;
  int references = 0;  // of callers
  std::u16string store;

  PCCERT_CONTEXT get() const { return &record; }
};

FakeCrypt& FakeCrypt::instance() {
  static FakeCrypt fake;
  return fake;
}

void FakeCrypt::reset() { *this = FakeCrypt(); }

void FakeCrypt::fail(const std::string& function, DWORD error, int n) {
  failures_[function][counts_[function] + n] = error;
}

bool FakeCrypt::note(const std::string& function, const std::string& about) {
  calls.push_back(about.empty() ? function : function + " " + about);
  const auto& failing = failures_[function];
  const auto found = failing.find(++counts_[function]);
  if (found == failing.end()) {
    return false;
  }
  SetLastError(found->second);
  return true;
}

FakeCrypt::Context* FakeCrypt::makeContext(const std::string& encoding) {
  Context* const made = all_.emplace_back(std::make_unique<Context>()).get();
  made->content.encoding = encoding;
  made->record.dwCertEncodingType = X509_ASN_ENCODING;
  made->record.pbCertEncoded = reinterpret_cast<BYTE*>(made->content.encoding.data());
  made->record.cbCertEncoded = static_cast<DWORD>(encoding.size());
  return made;
}

FakeCrypt::Context* FakeCrypt::held(PCCERT_CONTEXT context, const char* function) {
  for (const auto& known : all_) {
    if (known->get() == context && known->references > 0) {
      return known.get();
    }
  }
  errors_.push_back(std::string(function) + " of a context that is not held");
  return nullptr;
}

void FakeCrypt::put(const std::u16string& store, const std::string& encoding,
                    const std::u16string& container) {
  Context* const made = makeContext(encoding);
  made->store = store;
  if (!container.empty()) {
    made->content.key = std::make_unique<KeyInfo>(KeyInfo{container, u"Some Provider"});
  }
  stores_[store].push_back(made);
}

std::vector<std::string> FakeCrypt::encodings(const std::u16string& store) const {
  std::vector<std::string> found;
  if (const auto content = stores_.find(store); content != stores_.end()) {
    for (const Context* context : content->second) {
      found.push_back(context->content.encoding);
    }
  }
  return found;
}

const StoredCertificate& FakeCrypt::stored(const std::u16string& store, size_t index) const {
  return stores_.at(store).at(index)->content;
}

int FakeCrypt::contexts() const {
  int count = 0;
  for (const auto& context : all_) {
    count += context->references;
  }
  return count;
}

// --- Contexts ---

PCCERT_CONTEXT FakeCrypt::createContext(DWORD encoding, const BYTE* bytes, DWORD size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  if (encoding != X509_ASN_ENCODING) {
    errors_.emplace_back("CertCreateCertificateContext with another encoding");
  }
  if (note("CertCreateCertificateContext", text)) {
    return nullptr;
  }
  Context* const made = makeContext(text);
  made->references = 1;
  return made->get();
}

PCCERT_CONTEXT FakeCrypt::duplicateContext(PCCERT_CONTEXT context) {
  Context* const found = held(context, "CertDuplicateCertificateContext");
  note("CertDuplicateCertificateContext", found != nullptr ? found->content.encoding : "");
  if (found != nullptr) {
    ++found->references;
  }
  return context;
}

void FakeCrypt::freeContext(PCCERT_CONTEXT context) {
  if (context == nullptr) {
    return;
  }
  Context* const found = held(context, "CertFreeCertificateContext");
  note("CertFreeCertificateContext", found != nullptr ? found->content.encoding : "");
  if (found != nullptr) {
    --found->references;
    // Whoever frees what an enumeration handed out, ends it.
    std::erase_if(enumerated_, [found](const auto& step) { return step.second == found; });
  }
}

BOOL FakeCrypt::setProperty(PCCERT_CONTEXT context, DWORD property, DWORD flags, const void* data) {
  Context* const found = held(context, "CertSetCertificateContextProperty");
  if (note("CertSetCertificateContextProperty", std::to_string(property)) || found == nullptr) {
    return FALSE;
  }
  if (flags != 0) {
    errors_.emplace_back("CertSetCertificateContextProperty with flags");
  }
  if (property == CERT_KEY_PROV_INFO_PROP_ID) {
    const auto* const info = static_cast<const CRYPT_KEY_PROV_INFO*>(data);
    found->content.key = std::make_unique<KeyInfo>(
        KeyInfo{wideText(info->pwszContainerName), wideText(info->pwszProvName), info->dwProvType,
                info->dwFlags, info->cProvParam, info->dwKeySpec});
  } else if (property == CERT_FRIENDLY_NAME_PROP_ID) {
    const auto* const blob = static_cast<const CRYPT_DATA_BLOB*>(data);
    found->content.friendlyName.assign(blob->pbData, blob->pbData + blob->cbData);
  } else {
    errors_.emplace_back("CertSetCertificateContextProperty of another property");
  }
  return TRUE;
}

// The record with its texts behind it.
BOOL FakeCrypt::getProperty(PCCERT_CONTEXT context, DWORD property, void* data, DWORD* size) {
  const Context* const found = held(context, "CertGetCertificateContextProperty");
  if (property != CERT_KEY_PROV_INFO_PROP_ID) {
    errors_.emplace_back("CertGetCertificateContextProperty of another property");
  }
  if (note("CertGetCertificateContextProperty", data == nullptr ? "size" : "") ||
      found == nullptr) {
    return FALSE;
  }
  if (found->content.key == nullptr) {
    SetLastError(static_cast<DWORD>(CRYPT_E_NOT_FOUND));
    return FALSE;
  }
  const KeyInfo& key = *found->content.key;
  const size_t containerBytes = (key.container.size() + 1) * sizeof(char16_t);
  const size_t providerBytes = (key.provider.size() + 1) * sizeof(char16_t);
  const auto needed =
      static_cast<DWORD>(sizeof(CRYPT_KEY_PROV_INFO) + containerBytes + providerBytes);
  const DWORD room = *size;
  if (cutsPropertiesOff) {
    *size = sizeof(LPWSTR);
    if (data != nullptr) {
      std::memset(data, 0xFF, *size);
    }
    return TRUE;
  }
  *size = needed;
  if (data == nullptr) {
    return TRUE;
  }
  if (room < needed) {
    SetLastError(ERROR_MORE_DATA);
    return FALSE;
  }
  auto* const info = static_cast<CRYPT_KEY_PROV_INFO*>(data);
  auto* const container = static_cast<uint8_t*>(data) + sizeof(CRYPT_KEY_PROV_INFO);
  auto* const provider = container + containerBytes;
  std::memcpy(container, key.container.c_str(), containerBytes);
  std::memcpy(provider, key.provider.c_str(), providerBytes);
  *info = {};
  info->pwszContainerName = namesContainers ? reinterpret_cast<LPWSTR>(container) : nullptr;
  info->pwszProvName = reinterpret_cast<LPWSTR>(provider);
  info->dwProvType = key.providerType;
  info->dwKeySpec = key.keySpec;
  return TRUE;
}

// --- Stores ---

HCERTSTORE FakeCrypt::openStore(HCRYPTPROV_LEGACY provider, LPCWSTR name) {
  const std::u16string store = wideText(name);
  if (provider != 0) {
    errors_.emplace_back("CertOpenSystemStoreW with a provider");
  }
  if (note("CertOpenSystemStoreW", narrow(store))) {
    return nullptr;
  }
  auto* const handle = reinterpret_cast<HCERTSTORE>(++nextHandle_);
  openStores_[handle] = store;
  return handle;
}

BOOL FakeCrypt::closeStore(HCERTSTORE store, DWORD flags) {
  note("CertCloseStore", narrow(openStores_[store]));
  if (flags != 0 || openStores_[store].empty()) {
    errors_.emplace_back("CertCloseStore with flags, or of a store that is not open");
  }
  openStores_.erase(store);
  return TRUE;
}

BOOL FakeCrypt::addToStore(HCERTSTORE store, PCCERT_CONTEXT context, DWORD disposition,
                           PCCERT_CONTEXT* stored) {
  const Context* const added = held(context, "CertAddCertificateContextToStore");
  const auto open = openStores_.find(store);
  if (added == nullptr || open == openStores_.end() || stored != nullptr) {
    errors_.emplace_back("CertAddCertificateContextToStore of something or somewhere else");
    return FALSE;
  }
  const std::string& encoding = added->content.encoding;
  if (note("CertAddCertificateContextToStore",
           narrow(open->second) + " " + encoding + " " + std::to_string(disposition))) {
    return FALSE;
  }
  Store& content = stores_[open->second];
  const auto same = std::find_if(content.begin(), content.end(), [&](const Context* known) {
    return known->content.encoding == encoding;
  });
  if (same != content.end()) {
    if (disposition == CERT_STORE_ADD_USE_EXISTING) {
      return TRUE;
    }
    content.erase(same);
  }
  Context* const copy = makeContext(encoding);
  copy->store = open->second;
  copy->content.friendlyName = added->content.friendlyName;
  if (added->content.key != nullptr) {
    copy->content.key = std::make_unique<KeyInfo>(*added->content.key);
  }
  content.push_back(copy);
  return TRUE;
}

PCCERT_CONTEXT FakeCrypt::enumerate(HCERTSTORE store, PCCERT_CONTEXT previous) {
  note("CertEnumCertificatesInStore");
  const auto open = openStores_.find(store);
  const Context* const last = enumerated_[store];
  if (open == openStores_.end() || (last == nullptr ? nullptr : last->get()) != previous) {
    errors_.emplace_back("CertEnumCertificatesInStore not with what it handed out last");
    return nullptr;
  }
  const Store& content = stores_[open->second];
  size_t next = 0;
  if (previous != nullptr) {
    Context* const current = held(previous, "CertEnumCertificatesInStore");
    const auto at = std::find(content.begin(), content.end(), current);
    if (current == nullptr || at == content.end()) {
      errors_.emplace_back("the enumerated certificate is gone");
      return nullptr;
    }
    --current->references;
    next = static_cast<size_t>(at - content.begin()) + 1;
  }
  Context* const found = next < content.size() ? content[next] : nullptr;
  enumerated_[store] = found;
  if (found == nullptr) {
    SetLastError(static_cast<DWORD>(CRYPT_E_NOT_FOUND));
    return nullptr;
  }
  ++found->references;
  return found->get();
}

// Frees the context also when it fails.
BOOL FakeCrypt::deleteFromStore(PCCERT_CONTEXT context) {
  Context* const found = held(context, "CertDeleteCertificateFromStore");
  if (found == nullptr) {
    return FALSE;
  }
  --found->references;
  for (const auto& [store, current] : enumerated_) {
    if (current == found) {
      errors_.emplace_back("a deletion under the enumeration");
    }
  }
  if (note("CertDeleteCertificateFromStore", found->content.encoding)) {
    return FALSE;
  }
  std::erase(stores_[found->store], found);
  return TRUE;
}

// --- Chains ---

BOOL FakeCrypt::getChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT context, LPFILETIME time,
                         HCERTSTORE extra, PCERT_CHAIN_PARA parameters, DWORD flags,
                         LPVOID reserved, PCCERT_CHAIN_CONTEXT* chain) {
  held(context, "CertGetCertificateChain");
  const CERT_USAGE_MATCH& usage = parameters->RequestedUsage;
  const bool plain = engine == nullptr && time == nullptr && extra == nullptr &&
                     reserved == nullptr && usage.dwType == 0 &&
                     usage.Usage.cUsageIdentifier == 0 &&
                     usage.Usage.rgpszUsageIdentifier == nullptr;
  chains.push_back({plain, parameters->cbSize, flags, 0, 0, 0});
  if (note("CertGetCertificateChain")) {
    return FALSE;
  }
  static const CERT_CHAIN_CONTEXT kChain{};
  *chain = givesChain ? &kChain : nullptr;
  openChains_ += givesChain ? 1 : 0;
  return TRUE;
}

BOOL FakeCrypt::verifyPolicy(LPCSTR policy, PCCERT_CHAIN_CONTEXT chain,
                             PCERT_CHAIN_POLICY_PARA parameters, PCERT_CHAIN_POLICY_STATUS status) {
  if (chain == nullptr || openChains_ == 0) {
    errors_.emplace_back("CertVerifyCertificateChainPolicy without a chain");
  }
  chains.back().policy = static_cast<DWORD>(reinterpret_cast<uintptr_t>(policy));
  chains.back().policySize = parameters->cbSize;
  chains.back().statusSize = status->cbSize;
  status->dwError = policyError;
  return note("CertVerifyCertificateChainPolicy") ? FALSE : TRUE;
}

void FakeCrypt::freeChain(PCCERT_CHAIN_CONTEXT chain) {
  note("CertFreeCertificateChain");
  if (chain == nullptr || --openChains_ < 0) {
    errors_.emplace_back("CertFreeCertificateChain without a chain");
  }
}

// --- Containers ---

BOOL FakeCrypt::acquire(HCRYPTPROV* provider, LPCWSTR container, LPCWSTR name, DWORD type,
                        DWORD flags) {
  const std::u16string key = wideText(container);
  if (wideText(name) != u"Microsoft Enhanced Cryptographic Provider v1.0" ||
      type != PROV_RSA_FULL) {
    errors_.emplace_back("CryptAcquireContextW of another provider");
  }
  if (note("CryptAcquireContextW", narrow(key) + " " + std::to_string(flags))) {
    return FALSE;
  }
  const bool exists = containers.count(key) != 0;
  if (flags == CRYPT_DELETEKEYSET) {
    *provider = 0;
    containers.erase(key);
    SetLastError(static_cast<DWORD>(NTE_BAD_KEYSET));
    return exists ? TRUE : FALSE;
  }
  if (flags != CRYPT_NEWKEYSET || exists) {
    SetLastError(static_cast<DWORD>(flags == CRYPT_NEWKEYSET ? NTE_EXISTS : NTE_BAD_FLAGS));
    return FALSE;
  }
  containers[key] = {};
  *provider = ++nextHandle_;
  providers_[*provider] = key;
  return TRUE;
}

BOOL FakeCrypt::importKey(HCRYPTPROV provider, const BYTE* blob, DWORD size, HCRYPTKEY publicKey,
                          DWORD flags, HCRYPTKEY* key) {
  if (note("CryptImportKey", std::to_string(size))) {
    return FALSE;
  }
  const auto found = providers_.find(provider);
  if (found == providers_.end()) {
    errors_.emplace_back("CryptImportKey into a provider that is not open");
    return FALSE;
  }
  containers[found->second] = {std::string(reinterpret_cast<const char*>(blob), size), flags,
                               publicKey};
  *key = ++nextHandle_;
  ++openKeys_;
  return TRUE;
}

}  // namespace vexa::test
