#pragma once

namespace vexa::runtime {

// How GetInterface of the root list finds a table, attached to its type: kComponent (null: the
// crypto runtime) and kName. Specialised beside each table.
template <class Table>
struct TableTraits;

}  // namespace vexa::runtime
