#include <cstddef>
#include <type_traits>
#include <utility>

#include "base/tables.h"
#include "vexa/results.h"

// Reserved slots stand in arrays, which one list of all slots fills, too.
#pragma GCC diagnostic ignored "-Wmissing-braces"

namespace vexa::base {
namespace {

template <class Result, class... Arguments>
Result fails(Arguments... /*arguments*/) {
  if constexpr (std::is_same_v<Result, int32_t>) {
    return kFail;
  } else if constexpr (std::is_same_v<Result, const char*>) {
    return "";
  } else if constexpr (std::is_same_v<Result, const char16_t*>) {
    return u"";
  } else {
    return Result();
  }
}
template <class Result, class... Arguments>
Result failsWithMore(Arguments... arguments, ...) {  // NOLINT(cert-dcl50-cpp): slots are such
  return fails<Result>(arguments...);
}

template <class Result, class... Arguments>
using Function = Result (*)(Arguments...);
template <class Result, class... Arguments>
using FunctionWithMore = Result (*)(Arguments..., ...);

// Becomes whatever a slot wants: a function that fails, or null where nobody calls.
// NOLINTBEGIN(google-explicit-constructor): it stands where a slot is set
struct Fails {
  template <class Result, class... Arguments>
  constexpr operator Function<Result, Arguments...>() const {
    return fails<Result, Arguments...>;
  }
  template <class Result, class... Arguments>
  constexpr operator FunctionWithMore<Result, Arguments...>() const {
    return failsWithMore<Result, Arguments...>;
  }
  template <class Thing>
  requires(!std::is_function_v<Thing>) constexpr operator Thing*() const { return nullptr; }
};
// NOLINTEND(google-explicit-constructor)

template <class Table, size_t... kSlots>
constexpr Table failingTable(std::index_sequence<kSlots...> /*slots*/) {
  return {((void)kSlots, Fails())...};
}
// A table is nothing but pointers.
template <class Table>
constexpr Table failingTable() {
  return failingTable<Table>(std::make_index_sequence<sizeof(Table) / sizeof(void*)>());
}

constexpr auto kTypeOperations = failingTable<runtime::TypeOperations>();

}  // namespace

template <class Table>
constinit const Table Unbound<Table>::table = failingTable<Table>();

template <>
constinit const runtime::CommonTypes Unbound<runtime::CommonTypes>::table = [] {
  auto table = failingTable<runtime::CommonTypes>();
  table.typeOperations = &kTypeOperations;
  return table;
}();

template <>
constinit const runtime::WideStringTable Unbound<runtime::WideStringTable>::table = [] {
  auto table = failingTable<runtime::WideStringTable>();
  table.Find = [](const runtime::WideStringObject*, const char16_t*, uint64_t) {
    return runtime::kNotFound;
  };
  return table;
}();

template struct Unbound<runtime::RootList>;
template struct Unbound<runtime::Pkcs12Table>;
template struct Unbound<runtime::Pkcs12TypesTable>;
template struct Unbound<runtime::EncodeTable>;
template struct Unbound<runtime::StringTable>;
template struct Unbound<runtime::MultiStringTable>;
template struct Unbound<runtime::IoTable>;
template struct Unbound<runtime::UrlTable>;
template struct Unbound<runtime::AscTable>;
template struct Unbound<runtime::CryptTable>;
template struct Unbound<runtime::RandomTable>;
template struct Unbound<runtime::TimeTable>;
template struct Unbound<runtime::NotifyTable>;
template struct Unbound<runtime::PseListTable>;

}  // namespace vexa::base
