#include <atomic>
#include <new>

#include "pal/posix/certstore.h"
#include "pal/posix/counters.h"

namespace {

std::atomic<std::size_t> chains{0};

BOOL fail(DWORD error) {
  SetLastError(error);
  return FALSE;
}

}  // namespace

namespace pal::posix {
std::size_t openChains() { return chains.load(std::memory_order_relaxed); }
}  // namespace pal::posix

BOOL WINAPI CertGetCertificateChain(HCERTCHAINENGINE, PCCERT_CONTEXT context, LPFILETIME,
                                    HCERTSTORE, PCERT_CHAIN_PARA parameters, DWORD, LPVOID,
                                    PCCERT_CHAIN_CONTEXT* chain) {
  if (context == nullptr || chain == nullptr || parameters == nullptr ||
      parameters->cbSize != sizeof(CERT_CHAIN_PARA)) {
    return fail(static_cast<DWORD>(E_INVALIDARG));
  }
  auto* built = new (std::nothrow) CERT_CHAIN_CONTEXT{};
  if (built == nullptr) {
    return fail(ERROR_NOT_ENOUGH_MEMORY);
  }
  built->cbSize = sizeof(*built);
  built->TrustStatus.dwErrorStatus = CERT_TRUST_IS_UNTRUSTED_ROOT;
  chains.fetch_add(1, std::memory_order_relaxed);
  *chain = built;
  return TRUE;
}

BOOL WINAPI CertVerifyCertificateChainPolicy(LPCSTR policy, PCCERT_CHAIN_CONTEXT chain,
                                             PCERT_CHAIN_POLICY_PARA parameters,
                                             PCERT_CHAIN_POLICY_STATUS status) {
  if (chain == nullptr || parameters == nullptr || status == nullptr) {
    return fail(static_cast<DWORD>(E_INVALIDARG));
  }
  if (policy != CERT_CHAIN_POLICY_BASE) {
    return fail(ERROR_FILE_NOT_FOUND);
  }
  status->dwError = static_cast<DWORD>(CERT_E_UNTRUSTEDROOT);
  status->lChainIndex = 0;
  status->lElementIndex = 0;
  return TRUE;
}

void WINAPI CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT chain) {
  if (chain == nullptr) {
    return;
  }
  chains.fetch_sub(1, std::memory_order_relaxed);
  delete chain;
}
