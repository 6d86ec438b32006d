#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "pal/windows_api.h"

namespace vexa::test {

// What one certificate of a store carries besides its encoding.
struct KeyInfo {
  std::u16string container;
  std::u16string provider;
  DWORD providerType = 0;
  DWORD flags = 0;
  DWORD parameters = 0;
  DWORD keySpec = 0;

  friend bool operator==(const KeyInfo&, const KeyInfo&) = default;
};
struct StoredCertificate {
  std::string encoding;
  std::unique_ptr<KeyInfo> key = nullptr;  // null: no such property
  std::vector<uint8_t> friendlyName = {};  // empty: no such property
};

// Stands in for the certificate stores, the chain builder and the key containers of Windows. Every
// call is noted, every handle counted, and any call fails on demand. One for the process.
//
// Any bytes are a certificate; two with the same bytes are the same certificate.
class FakeCrypt {
 public:
  struct Container {
    std::string blob;
    DWORD importFlags = 0;
    HCRYPTKEY publicKey = 0;
  };
  struct ChainCall {
    bool plain;  // default engine, current time, no extra store, no usage, no reserved
    DWORD parameterSize;
    DWORD flags;
    DWORD policy;
    DWORD policySize;
    DWORD statusSize;
  };

  static FakeCrypt& instance();
  void reset();

  // The n-th call of that function from now on fails with this error.
  void fail(const std::string& function, DWORD error, int n = 1);

  // Function and what it is about, such as "CertOpenSystemStoreW MY".
  std::vector<std::string> calls;
  std::map<std::u16string, Container> containers;
  std::vector<ChainCall> chains;
  bool givesChain = true;
  DWORD policyError = 0;
  // Properties that no import wrote: without a container's name, or cut off before the record's
  // end.
  bool namesContainers = true;
  bool cutsPropertiesOff = false;

  // Puts a certificate into a store; without a container it has no key information.
  void put(const std::u16string& store, const std::string& encoding,
           const std::u16string& container = u"");
  // The encodings in a store, in their order.
  std::vector<std::string> encodings(const std::u16string& store) const;
  const StoredCertificate& stored(const std::u16string& store, size_t index) const;

  // What callers hold.
  int contexts() const;
  int openStores() const { return static_cast<int>(openStores_.size()); }
  int openProviders() const { return static_cast<int>(providers_.size()); }
  int openKeys() const { return openKeys_; }
  int openChains() const { return openChains_; }
  // Misuse: a handle that is not open, a context that is not held, a deletion under the
  // enumeration.
  const std::vector<std::string>& errors() const { return errors_; }

  // The functions themselves.
  PCCERT_CONTEXT createContext(DWORD encoding, const BYTE* bytes, DWORD size);
  PCCERT_CONTEXT duplicateContext(PCCERT_CONTEXT context);
  void freeContext(PCCERT_CONTEXT context);
  BOOL setProperty(PCCERT_CONTEXT context, DWORD property, DWORD flags, const void* data);
  BOOL getProperty(PCCERT_CONTEXT context, DWORD property, void* data, DWORD* size);
  HCERTSTORE openStore(HCRYPTPROV_LEGACY provider, LPCWSTR name);
  BOOL closeStore(HCERTSTORE store, DWORD flags);
  BOOL addToStore(HCERTSTORE store, PCCERT_CONTEXT context, DWORD disposition,
                  PCCERT_CONTEXT* stored);
  PCCERT_CONTEXT enumerate(HCERTSTORE store, PCCERT_CONTEXT previous);
  BOOL deleteFromStore(PCCERT_CONTEXT context);
  BOOL getChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT context, LPFILETIME time, HCERTSTORE extra,
                PCERT_CHAIN_PARA parameters, DWORD flags, LPVOID reserved,
                PCCERT_CHAIN_CONTEXT* chain);
  BOOL verifyPolicy(LPCSTR policy, PCCERT_CHAIN_CONTEXT chain, PCERT_CHAIN_POLICY_PARA parameters,
                    PCERT_CHAIN_POLICY_STATUS status);
  void freeChain(PCCERT_CHAIN_CONTEXT chain);
  BOOL acquire(HCRYPTPROV* provider, LPCWSTR container, LPCWSTR name, DWORD type, DWORD flags);
  BOOL importKey(HCRYPTPROV provider, const BYTE* blob, DWORD size, HCRYPTKEY publicKey,
                 DWORD flags, HCRYPTKEY* key);

 private:
  struct Context;
  using Store = std::vector<Context*>;

  Context* makeContext(const std::string& encoding);
  Context* held(PCCERT_CONTEXT context, const char* function);
  // Notes the call; true when it has to fail.
  bool note(const std::string& function, const std::string& about = {});

  std::vector<std::unique_ptr<Context>> all_;
  std::map<std::u16string, Store> stores_;
  std::map<HCERTSTORE, std::u16string> openStores_;
  std::map<HCRYPTPROV, std::u16string> providers_;
  std::map<HCERTSTORE, Context*> enumerated_;  // what the last step of an enumeration handed out
  std::map<std::string, std::map<int, DWORD>> failures_;
  std::map<std::string, int> counts_;
  std::vector<std::string> errors_;
  uintptr_t nextHandle_ = 0x100;
  int openKeys_ = 0;
  int openChains_ = 0;
};

}  // namespace vexa::test
