#pragma once

#include "vexa/runtime/bound_tables.h"

// The tables without cryptography, one source file each. Every function follows its table's
// contract in vexa/runtime/.
namespace vexa::velmora {

extern const runtime::StringTable stringTable;
extern const runtime::WideStringTable wideStringTable;

extern const runtime::EncodeTable encodeTable;
extern const runtime::IoTable ioTable;
extern const runtime::NotifyTable notifyTable;
extern const runtime::TimeTable timeTable;
extern const runtime::UrlTable urlTable;

}  // namespace vexa::velmora
