#pragma once

#include "vexa/runtime/object.h"
#include "vexa/runtime/table_traits.h"

namespace vexa::runtime {

inline constexpr char kPseName[] = "SEC_PSE_1";

// "SEC_PSE_1"
struct PseListTable {
  Reserved reserved0;
  // Frees the nodes and drops one reference of every record still in a node.
  void (*OwnListRelease)(OwnCertificateList* head);
  // Drops one reference; works after the PSE and its context are gone.
  void (*OwnRecordRelease)(OwnCertificateRecord* record);
};
VEXA_OUR_SLOT(PseListTable, OwnListRelease, 1);
VEXA_OUR_SLOT(PseListTable, OwnRecordRelease, 2);
template <>
struct TableTraits<PseListTable> {
  static constexpr const char* kComponent = nullptr;
  static constexpr const char* kName = kPseName;
};

}  // namespace vexa::runtime
