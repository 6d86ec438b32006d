#include "pal/posix/adapters.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netpacket/packet.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

struct Address {
  const sockaddr* address;
  std::size_t length;
  BYTE prefixLength;
};

// One interface with what the system said about it.
struct Adapter {
  std::string name;
  DWORD index = 0;
  unsigned flags = 0;
  const sockaddr_ll* link = nullptr;
  std::vector<Address> addresses;
};

struct Closer {
  void operator()(ifaddrs* list) const { freeifaddrs(list); }
};
using InterfaceList = std::unique_ptr<ifaddrs, Closer>;

std::size_t lengthOf(const sockaddr& address) {
  return address.sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
}

BYTE prefixLengthOf(const sockaddr* mask) {
  if (mask == nullptr) {
    return 0;
  }
  const bool six = mask->sa_family == AF_INET6;
  const auto* bytes = reinterpret_cast<const unsigned char*>(mask) +
                      (six ? offsetof(sockaddr_in6, sin6_addr) : offsetof(sockaddr_in, sin_addr));
  int bits = 0;
  for (std::size_t i = 0; i < (six ? 16u : 4u); ++i) {
    bits += std::popcount(bytes[i]);
  }
  return static_cast<BYTE>(bits);
}

DWORD typeOf(const Adapter& adapter) {
  if ((adapter.flags & IFF_LOOPBACK) != 0) {
    return IF_TYPE_SOFTWARE_LOOPBACK;
  }
  if (adapter.link == nullptr) {
    return IF_TYPE_OTHER;
  }
  switch (adapter.link->sll_hatype) {
    case ARPHRD_ETHER:
      return IF_TYPE_ETHERNET_CSMACD;
    case ARPHRD_PPP:
      return IF_TYPE_PPP;
    case ARPHRD_TUNNEL:
    case ARPHRD_TUNNEL6:
    case ARPHRD_SIT:
    case ARPHRD_IPGRE:
    case ARPHRD_NONE:  // a tun device
      return IF_TYPE_TUNNEL;
    default:
      return IF_TYPE_OTHER;
  }
}

IF_OPER_STATUS statusOf(const Adapter& adapter) {
  constexpr unsigned kWorking = IFF_UP | IFF_RUNNING;
  return (adapter.flags & kWorking) == kWorking ? IfOperStatusUp : IfOperStatusDown;
}

Adapter& adapterOf(const ifaddrs& entry, std::vector<Adapter>& adapters) {
  for (Adapter& adapter : adapters) {
    if (adapter.name == entry.ifa_name) {
      return adapter;
    }
  }
  Adapter& added = adapters.emplace_back();
  added.name = entry.ifa_name;
  added.index = if_nametoindex(entry.ifa_name);
  added.flags = entry.ifa_flags;
  return added;
}

// The adapters in the order of their numbers, so that two lists of the same machine are alike.
std::vector<Adapter> gather(const ifaddrs* list, ULONG family, bool addresses) {
  std::vector<Adapter> adapters;
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    Adapter& adapter = adapterOf(*entry, adapters);
    if (entry->ifa_addr == nullptr) {
      continue;
    }
    const int kind = entry->ifa_addr->sa_family;
    if (kind == AF_PACKET) {
      adapter.link = reinterpret_cast<const sockaddr_ll*>(entry->ifa_addr);
    } else if ((kind == AF_INET || kind == AF_INET6) && addresses &&
               (family == AF_UNSPEC || family == static_cast<ULONG>(kind))) {
      adapter.addresses.push_back(
          {entry->ifa_addr, lengthOf(*entry->ifa_addr), prefixLengthOf(entry->ifa_netmask)});
    }
  }
  std::stable_sort(adapters.begin(), adapters.end(),
                   [](const Adapter& a, const Adapter& b) { return a.index < b.index; });
  return adapters;
}

// Hands out pieces of the caller's block, each aligned to 8. Without a block it only counts.
class Block {
 public:
  explicit Block(void* start) : start_(static_cast<std::uint8_t*>(start)) {}

  // Zeroed; null when only counting.
  template <class T>
  T* take(std::size_t count = 1) {
    const std::size_t bytes = (sizeof(T) * count + 7) / 8 * 8;
    const std::size_t at = used_;
    used_ += bytes;
    return start_ == nullptr ? nullptr : static_cast<T*>(std::memset(start_ + at, 0, bytes));
  }
  std::size_t used() const { return used_; }

 private:
  std::uint8_t* const start_;
  std::size_t used_ = 0;
};

IP_ADAPTER_UNICAST_ADDRESS* put(const Address& address, Block& block) {
  auto* record = block.take<IP_ADAPTER_UNICAST_ADDRESS>();
  auto* bytes = block.take<std::uint8_t>(address.length);
  if (record == nullptr) {
    return nullptr;
  }
  std::memcpy(bytes, address.address, address.length);
  record->Length = sizeof(*record);
  record->Address.lpSockaddr = reinterpret_cast<sockaddr*>(bytes);
  record->Address.iSockaddrLength = static_cast<INT>(address.length);
  record->OnLinkPrefixLength = address.prefixLength;
  return record;
}

IP_ADAPTER_ADDRESSES* put(const Adapter& adapter, Block& block) {
  auto* record = block.take<IP_ADAPTER_ADDRESSES>();
  auto* name = block.take<char>(adapter.name.size() + 1);
  auto* wideName = block.take<WCHAR>(adapter.name.size() + 1);
  if (record != nullptr) {
    std::copy(adapter.name.begin(), adapter.name.end(), name);
    std::transform(adapter.name.begin(), adapter.name.end(), wideName,
                   [](char c) { return static_cast<WCHAR>(static_cast<unsigned char>(c)); });
    record->Length = sizeof(*record);
    record->IfIndex = record->Ipv6IfIndex = adapter.index;
    record->AdapterName = name;
    record->FriendlyName = wideName;
    record->IfType = typeOf(adapter);
    record->OperStatus = statusOf(adapter);
    if (adapter.link != nullptr) {
      record->PhysicalAddressLength =
          std::min<ULONG>(adapter.link->sll_halen, sizeof(record->PhysicalAddress));
      std::memcpy(record->PhysicalAddress, adapter.link->sll_addr, record->PhysicalAddressLength);
    }
  }
  IP_ADAPTER_UNICAST_ADDRESS* previous = nullptr;
  for (const Address& address : adapter.addresses) {
    auto* next = put(address, block);
    if (record == nullptr || next == nullptr) {
      continue;
    }
    (previous == nullptr ? record->FirstUnicastAddress : previous->Next) = next;
    previous = next;
  }
  return record;
}

std::size_t putAll(const std::vector<Adapter>& adapters, void* start) {
  Block block(start);
  IP_ADAPTER_ADDRESSES* previous = nullptr;
  for (const Adapter& adapter : adapters) {
    auto* next = put(adapter, block);
    if (previous != nullptr) {
      previous->Next = next;
    }
    previous = next;
  }
  return block.used();
}

}  // namespace

ULONG WINAPI GetAdaptersAddresses(ULONG family, ULONG flags, PVOID, PIP_ADAPTER_ADDRESSES adapters,
                                  PULONG size) {
  if (size == nullptr || (family != AF_UNSPEC && family != AF_INET && family != AF_INET6)) {
    return ERROR_INVALID_PARAMETER;
  }
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
  const InterfaceList list(first);
  try {
    const auto found = gather(first, family, (flags & GAA_FLAG_SKIP_UNICAST) == 0);
    if (found.empty()) {
      return ERROR_NO_DATA;
    }
    const std::size_t needed = putAll(found, nullptr);
    if (adapters == nullptr || *size < needed) {
      *size = static_cast<ULONG>(needed);
      return ERROR_BUFFER_OVERFLOW;
    }
    putAll(found, adapters);
    return NO_ERROR;
  } catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
}
