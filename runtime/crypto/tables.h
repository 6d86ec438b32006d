#pragma once

#include "vexa/runtime/tables.h"

// The crypto half of the runtime's tables. Every function follows its table's contract in
// vexa/runtime/.
namespace vexa::velmora {

extern const runtime::Pkcs12Table pkcs12Table;
extern const runtime::AscTable ascTable;
extern const runtime::CryptTable cryptTable;
extern const runtime::PseListTable pseListTable;

// Fills slots 13 to 26.
void addCryptoTypes(runtime::CommonTypes& types);

}  // namespace vexa::velmora
