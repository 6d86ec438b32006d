#include "monitor/network_compare.h"

#include <cstring>

#include "base/tables.h"
#include "pal/windows_api.h"

namespace vexa::monitor {
namespace {

using Adapter = IP_ADAPTER_ADDRESSES;

constexpr char kCountChanged[] =
    "Client Status Monitor: Detect Network Change (new or removed network interface)";
constexpr char kAdapterChanged[] =
    "Client Status Monitor: Detect Network Change (network interface)";
constexpr char kStatusChanged[] =
    "Client Status Monitor: Detect Network Change (network interface status)";
constexpr char kAddressChanged[] = "Client Status Monitor: Detect Network Change (IP address)";

const Adapter* firstAdapter(const AdapterSnapshot* snapshot) {
  return reinterpret_cast<const Adapter*>(snapshot);
}

uint32_t countAdapters(const Adapter* adapter) {
  uint32_t count = 0;
  for (; adapter != nullptr; adapter = adapter->Next) {
    ++count;
  }
  return count;
}

const Adapter* findByName(const Adapter* adapter, const char* name) {
  for (; adapter != nullptr; adapter = adapter->Next) {
    if (base::bound.strings->TextCompare(adapter->AdapterName, name) == 0) {
      return adapter;
    }
  }
  return nullptr;
}

bool sameAddress(const SOCKET_ADDRESS& a, const SOCKET_ADDRESS& b) {
  if (a.iSockaddrLength != b.iSockaddrLength) {
    return false;
  }
  return a.iSockaddrLength <= 0 ||
         std::memcmp(a.lpSockaddr, b.lpSockaddr, static_cast<size_t>(a.iSockaddrLength)) == 0;
}

bool sameAddresses(const Adapter& a, const Adapter& b) {
  const auto* left = a.FirstUnicastAddress;
  const auto* right = b.FirstUnicastAddress;
  for (; left != nullptr && right != nullptr; left = left->Next, right = right->Next) {
    if (!sameAddress(left->Address, right->Address)) {
      return false;
    }
  }
  return true;
}

}  // namespace

void compareAdapters(const AdapterSnapshot* current, const AdapterSnapshot* stored,
                     void (*report)(void* context, const char* change), void* context) {
  const Adapter* const old = firstAdapter(stored);
  if (countAdapters(firstAdapter(current)) != countAdapters(old)) {
    return report(context, kCountChanged);
  }
  for (const Adapter* adapter = firstAdapter(current);
       adapter != nullptr && adapter->IfType != IF_TYPE_TUNNEL; adapter = adapter->Next) {
    const Adapter* const known = findByName(old, adapter->AdapterName);
    if (known == nullptr) {
      return report(context, kAdapterChanged);
    }
    if (known->OperStatus != adapter->OperStatus) {
      return report(context, kStatusChanged);
    }
    if (!sameAddresses(*adapter, *known)) {
      report(context, kAddressChanged);
    }
  }
}

}  // namespace vexa::monitor
