#pragma once

#include "vexa/module.h"
#include "vexa/runtime/certificate.h"

namespace vexa {

inline constexpr char kCaListName[] = "vexa.misc.base.ca.1";

// What SetKeyUsage knows beside the single flags, whose codes are those of KeyUsageFlag.
enum KeyUsageCode : uint32_t {
  kUsageSignature = 16,   // digitalSignature, nonRepudiation
  kUsageEncryption = 17,  // keyEncipherment, dataEncipherment
  kUsageBoth = 18,
};

// The list "vexa.misc.base.ca.1": fields of a certificate that is about to be issued. Every entry
// returns 0, whatever the runtime's setter answers, and requires a certificate under construction.
// Any thread; one at a time for each certificate.
struct CaList {
  GetModuleInfoFunction GetModuleInfo;
  // Both values go to a setter of the runtime's certificate as they are; it says what they mean.
  int32_t (*CaSetExtensionA)(runtime::Certificate* certificate, void* value1, void* value2);
  int32_t (*CaSetExtensionB)(runtime::Certificate* certificate, void* value1, void* value2);
  int32_t (*CaSetExtensionC)(runtime::Certificate* certificate, void* value1, void* value2);
  int32_t (*CaSetExtensionD)(runtime::Certificate* certificate, void* value1, void* value2);
  // Both values to the first setter, then the second value to the second one.
  int32_t (*CaSetExtensionPair)(runtime::Certificate* certificate, void* value1, void* value2);
  // A critical KeyUsage extension; an unknown code sets no flag in it.
  int32_t (*SetKeyUsage)(runtime::Certificate* certificate, uint32_t code);
  int32_t (*CaReserved)(runtime::Certificate* certificate, uint32_t, uint32_t);  // does nothing
};
template <>
struct ListTraits<CaList> {
  static constexpr const char* kName = kCaListName;
  static constexpr ListSlot kSlots[] = {
      VEXA_LIST_SLOT(CaList, GetModuleInfo, 0),   VEXA_LIST_SLOT(CaList, CaSetExtensionA, 1),
      VEXA_LIST_SLOT(CaList, CaSetExtensionB, 2), VEXA_LIST_SLOT(CaList, CaSetExtensionC, 3),
      VEXA_LIST_SLOT(CaList, CaSetExtensionD, 4), VEXA_LIST_SLOT(CaList, CaSetExtensionPair, 5),
      VEXA_LIST_SLOT(CaList, SetKeyUsage, 6),     VEXA_LIST_SLOT(CaList, CaReserved, 7),
  };
};
static_assert(namesEverySlot<CaList>());

}  // namespace vexa
