#include "certs/ca_list.h"

#include "base/list_registry.h"

namespace vexa::certs {
namespace {

using runtime::Certificate;

constexpr uint32_t kCritical = 1;

int32_t CaSetExtensionA(Certificate* certificate, void* value1, void* value2) {
  (void)certificate->table->SetExtensionA(certificate, value1, value2);
  return kOk;
}

int32_t CaSetExtensionB(Certificate* certificate, void* value1, void* value2) {
  (void)certificate->table->SetExtensionB(certificate, value1, value2);
  return kOk;
}

int32_t CaSetExtensionC(Certificate* certificate, void* value1, void* value2) {
  (void)certificate->table->SetExtensionC(certificate, value1, value2);
  return kOk;
}

int32_t CaSetExtensionD(Certificate* certificate, void* value1, void* value2) {
  (void)certificate->table->SetExtensionD(certificate, value1, value2);
  return kOk;
}

int32_t CaSetExtensionPair(Certificate* certificate, void* value1, void* value2) {
  (void)certificate->table->SetPairFirst(certificate, value1, value2);
  (void)certificate->table->SetPairSecond(certificate, value2);
  return kOk;
}

// The flags of a usage code, one bit each; none for a code that is not known.
constexpr uint32_t flagsOf(uint32_t code) {
  constexpr uint32_t kSignature = 1u << runtime::kDigitalSignature | 1u << runtime::kNonRepudiation;
  constexpr uint32_t kEncryption =
      1u << runtime::kKeyEncipherment | 1u << runtime::kDataEncipherment;
  switch (code) {
    case kUsageSignature:
      return kSignature;
    case kUsageEncryption:
      return kEncryption;
    case kUsageBoth:
      return kSignature | kEncryption;
    default:
      return code < runtime::kKeyUsageFlags ? 1u << code : 0;
  }
}

int32_t SetKeyUsage(Certificate* certificate, uint32_t code) {
  uint8_t flags[runtime::kKeyUsageFlags] = {};
  for (uint32_t bit = 0; bit < runtime::kKeyUsageFlags; ++bit) {
    flags[bit] = (flagsOf(code) >> bit & 1) != 0 ? 1 : 0;
  }
  (void)certificate->table->SetKeyUsage(certificate, flags, kCritical);
  return kOk;
}

int32_t CaReserved(Certificate* /*certificate*/, uint32_t, uint32_t) { return kOk; }

}  // namespace

constinit const CaList kCaList = {
    .GetModuleInfo = base::GetModuleInfo<kCaListName>,
    .CaSetExtensionA = CaSetExtensionA,
    .CaSetExtensionB = CaSetExtensionB,
    .CaSetExtensionC = CaSetExtensionC,
    .CaSetExtensionD = CaSetExtensionD,
    .CaSetExtensionPair = CaSetExtensionPair,
    .SetKeyUsage = SetKeyUsage,
    .CaReserved = CaReserved,
};

}  // namespace vexa::certs
