#pragma once

#include "vexa/runtime/bound_tables.h"

namespace vexa::base {

// Holds one bound table; null while unbound. Its address is what GetInterface fills and
// ReleaseInterface clears.
template <class Table>
struct TableHolder {
  const void* pointer = nullptr;

  explicit operator bool() const { return pointer != nullptr; }
  const Table* operator->() const { return static_cast<const Table*>(pointer); }
};

// The root list and every table that the module binds. Written only by module_init and
// module_final, but for `pse`, which is bound when own certificates are first asked for.
struct BoundTables {
  const runtime::RootList* root = nullptr;
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
};

inline constinit BoundTables bound;

}  // namespace vexa::base
