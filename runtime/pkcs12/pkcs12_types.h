#pragma once

#include "runtime/holders.h"
#include "vexa/runtime/pkcs12.h"

// The records of PKCS#12: the companion table that makes and releases them.
namespace vexa::velmora {

extern const runtime::Pkcs12TypesTable pkcs12TypesTable;
// Null is ignored.
void releaseBagList(runtime::BagNode* head);
using BagList = FunctionHolder<runtime::BagNode, releaseBagList>;

}  // namespace vexa::velmora
