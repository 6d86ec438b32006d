#pragma once

#include <cstdint>

#include "vexa/runtime/bound_tables.h"

namespace vexa::base {

// What is called through a table that is not bound: every function fails. Results are kFail,
// allocations and everything else that answers a pointer null, texts empty; tracing and releasing
// do nothing.
template <class Table>
struct Unbound {
  static const Table table;
};

extern template struct Unbound<runtime::RootList>;
extern template struct Unbound<runtime::Pkcs12Table>;
extern template struct Unbound<runtime::Pkcs12TypesTable>;
template <>
const runtime::CommonTypes Unbound<runtime::CommonTypes>::table;
extern template struct Unbound<runtime::EncodeTable>;
extern template struct Unbound<runtime::StringTable>;
extern template struct Unbound<runtime::MultiStringTable>;
extern template struct Unbound<runtime::IoTable>;
extern template struct Unbound<runtime::UrlTable>;
template <>
const runtime::WideStringTable Unbound<runtime::WideStringTable>::table;
extern template struct Unbound<runtime::AscTable>;
extern template struct Unbound<runtime::CryptTable>;
extern template struct Unbound<runtime::RandomTable>;
extern template struct Unbound<runtime::TimeTable>;
extern template struct Unbound<runtime::NotifyTable>;
extern template struct Unbound<runtime::PseListTable>;

// Holds one bound table. While it is unbound it points to the table that fails, so that nobody has
// to ask. The address of `pointer` is what GetInterface fills and ReleaseInterface clears.
template <class Table>
struct TableHolder {
  const void* pointer = &Unbound<Table>::table;

  explicit operator bool() const { return pointer != &Unbound<Table>::table; }
  const Table* operator->() const { return static_cast<const Table*>(pointer); }
  const Table& operator*() const { return *operator->(); }
};

// The root list and every table that the module binds. Written only by module_init and
// module_final, but for `pse`, which is bound when own certificates are first asked for.
struct BoundTables {
  const runtime::RootList* root = &Unbound<runtime::RootList>::table;
  TableHolder<runtime::Pkcs12Table> pkcs12;
  TableHolder<runtime::Pkcs12TypesTable> pkcs12Types;  // the companion, never released itself
  TableHolder<runtime::CommonTypes> commonTypes;
  TableHolder<runtime::EncodeTable> encode;
  TableHolder<runtime::StringTable> strings;
  TableHolder<runtime::MultiStringTable> multiStrings;
  TableHolder<runtime::IoTable> io;
  TableHolder<runtime::UrlTable> url;
  TableHolder<runtime::WideStringTable> wideStrings;
  TableHolder<runtime::MultiStringTable> wideMultiStrings;
  TableHolder<runtime::AscTable> asc;
  TableHolder<runtime::CryptTable> crypt;
  TableHolder<runtime::RandomTable> random;
  TableHolder<runtime::TimeTable> time;
  TableHolder<runtime::NotifyTable> notify;
  TableHolder<runtime::PseListTable> pse;

  // Counts how often the root list went. What is made in between two ends belongs to the one start
  // that there is: at a later one its memory is gone, or somebody else's.
  uint32_t era = 0;
};

inline constinit BoundTables bound;

inline bool isBound() { return bound.root != &Unbound<runtime::RootList>::table; }

}  // namespace vexa::base
