#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "pal/windows_api.h"

// sign_with_container CONTAINER FILE SIGNATURE: signs a file through a key container of the current
// user, as any program on the machine could. The signature is written as others expect it, highest
// byte first (RSASSA-PKCS1-v1_5 with SHA-1, RFC 8017). Exit status 3: there is no such container.
namespace {

using Bytes = std::vector<BYTE>;

constexpr int kNoContainer = 3;

class KeyContainer {
 public:
  explicit KeyContainer(const char* name) {
    if (CryptAcquireContextA(&provider_, name, MS_ENHANCED_PROV_A, PROV_RSA_FULL, 0) == FALSE) {
      provider_ = 0;
    }
  }
  KeyContainer(const KeyContainer&) = delete;
  KeyContainer& operator=(const KeyContainer&) = delete;
  ~KeyContainer() {
    if (provider_ != 0) {
      CryptReleaseContext(provider_, 0);
    }
  }

  bool exists() const { return provider_ != 0; }

  // Empty on failure.
  Bytes sign(const Bytes& content) const {
    HCRYPTHASH hash = 0;
    DWORD size = 0;
    Bytes signature;
    if (CryptCreateHash(provider_, CALG_SHA1, 0, 0, &hash) != FALSE &&
        CryptHashData(hash, content.data(), static_cast<DWORD>(content.size()), 0) != FALSE &&
        CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, nullptr, &size) != FALSE) {
      signature.resize(size);
      if (CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, signature.data(), &size) == FALSE) {
        signature.clear();
      }
    }
    if (hash != 0) {
      CryptDestroyHash(hash);
    }
    std::reverse(signature.begin(), signature.end());
    return signature;
  }

 private:
  HCRYPTPROV provider_ = 0;
};

Bytes contentOf(const char* file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool store(const char* file, const Bytes& content) {
  std::ofstream stream(file, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(content.data()),
               static_cast<std::streamsize>(content.size()));
  return stream.good();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: sign_with_container CONTAINER FILE SIGNATURE\n");
    return 2;
  }
  const KeyContainer container(argv[1]);
  if (!container.exists()) {
    return kNoContainer;
  }
  const Bytes signature = container.sign(contentOf(argv[2]));
  return !signature.empty() && store(argv[3], signature) ? 0 : 1;
}
