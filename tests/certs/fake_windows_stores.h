#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "pal/windows_api.h"

namespace vexa::test {

// Certificate stores and key containers that a test scripts. Every call is noted by name; a call
// whose name is in `failing` fails with its error.
struct FakeStores {
  struct Certificate {
    CERT_CONTEXT context{};  // first
    int references = 1;
    std::vector<uint8_t> encoding;
    std::u16string container;  // of its provider information; empty: none
    std::u16string provider;
    std::u16string friendlyName;
    uint32_t friendlyNameBytes = 0;
    bool isDeleted = false;
  };

  static FakeStores& instance();
  void reset();
  // Puts a certificate into the store that is enumerated.
  Certificate& add(std::vector<uint8_t> encoding, const std::u16string& container);
  std::vector<std::vector<uint8_t>> left() const;  // encodings not deleted

  std::map<std::string, DWORD> failing;
  std::vector<std::string> calls;
  int openStores = 0;
  std::vector<std::u16string> openedStores;
  std::list<Certificate> created;
  std::list<Certificate> stored;
  std::vector<DWORD> addDispositions;
  int chains = 0;
  int32_t policyStatus = 0;
  std::set<std::u16string> containers;
  DWORD providerError = 0;  // for CRYPT_NEWKEYSET, once
  std::vector<DWORD> acquireFlags;
  std::vector<uint8_t> importedBlob;
  DWORD importFlags = 0;
  CRYPT_KEY_PROV_INFO lastProviderInfo{};
};

}  // namespace vexa::test
