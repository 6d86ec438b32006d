#pragma once

#include "vexa/runtime/tables.h"

// The runtime's tables, one source file each. Every function follows its table's contract in
// vexa/runtime/.
namespace vexa::velmora {

extern const runtime::RootList rootList;

extern const runtime::StringTable stringTable;
extern const runtime::WideStringTable wideStringTable;

extern const runtime::EncodeTable encodeTable;
extern const runtime::IoTable ioTable;
extern const runtime::NotifyTable notifyTable;
extern const runtime::RandomTable randomTable;
extern const runtime::TimeTable timeTable;
extern const runtime::UrlTable urlTable;

// Assembled from this folder's part and from runtime/crypto/tables.h.
const runtime::CommonTypes& commonTypes();

}  // namespace vexa::velmora
