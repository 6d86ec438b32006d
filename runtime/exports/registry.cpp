#include "runtime/exports/registry.h"

#include <atomic>
#include <cstring>

#include "runtime/basic_tables.h"
#include "runtime/exports/common_types.h"
#include "runtime/heap.h"
#include "runtime/keys/crypt_table.h"
#include "runtime/keys/random_table.h"
#include "runtime/pkcs12/pkcs12_table.h"
#include "runtime/pse/asc_table.h"
#include "vexa/results.h"

namespace vexa::velmora {
namespace {

constexpr runtime::MultiStringTable multiStringTable{};
constexpr runtime::MultiStringTable wideMultiStringTable{};

struct Interface {
  const char* component;  // null: the crypto runtime itself
  const char* name;
  const void* table;
};

// Every interface, in the order in which the module asks.
constexpr Interface kInterfaces[] = {
    {nullptr, runtime::kPkcs12Name, &pkcs12Table},
    {nullptr, runtime::kCommonTypesName, &commonTypesTable},
    {nullptr, runtime::kEncodeName, &encodeTable},
    {runtime::kStringComponent, runtime::kStringName, &stringTable},
    {runtime::kStringComponent, runtime::kMultiStringName, &multiStringTable},
    {nullptr, runtime::kIoName, &ioTable},
    {nullptr, runtime::kUrlName, &urlTable},
    {runtime::kStringComponent, runtime::kWideStringName, &wideStringTable},
    {runtime::kStringComponent, runtime::kWideMultiStringName, &wideMultiStringTable},
    {nullptr, runtime::kAscName, &ascTable},
    {nullptr, runtime::kCryptName, &cryptTable},
    {nullptr, runtime::kRandomName, &randomTable},
    {nullptr, runtime::kTimeName, &timeTable},
    {nullptr, runtime::kNotifyName, &notifyTable},
    {nullptr, runtime::kPseName, &pseListTable},
};

std::atomic<int64_t> bound{0};

bool sameComponent(const char* a, const char* b) {
  return a == nullptr || b == nullptr ? a == b : std::strcmp(a, b) == 0;
}

void releaseRoot(const runtime::RootList*) {}  // the list is static

}  // namespace

int32_t getInterface(const char* component, const char* name, const void** table) {
  if (name == nullptr || table == nullptr) {
    return kNullPointer;
  }
  *table = nullptr;
  for (const Interface& candidate : kInterfaces) {
    if (sameComponent(candidate.component, component) && std::strcmp(candidate.name, name) == 0) {
      *table = candidate.table;
      bound.fetch_add(1);
      return kOk;
    }
  }
  return kFail;
}

void releaseInterface(const void** table) {
  if (table != nullptr && *table != nullptr) {
    *table = nullptr;
    bound.fetch_sub(1);
  }
}

int64_t boundInterfaces() { return bound.load(); }

constinit const runtime::RootList rootList = {
    .ReleaseRoot = releaseRoot,
    .reserved1 = nullptr,
    .GetInterface = getInterface,
    .ReleaseInterface = releaseInterface,
    .reserved4 = nullptr,
    .reserved5 = nullptr,
    .Allocate = allocateBlock,
    .reserved7 = nullptr,
    .Reallocate = reallocateBlock,
    .Free = freeBlock,
};

}  // namespace vexa::velmora
