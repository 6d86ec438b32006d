#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include "pal/posix/error.h"

// The network adapters over getifaddrs(3). Socket addresses are the platform's own: families and
// layouts are those of <sys/socket.h>.

inline constexpr ULONG GAA_FLAG_SKIP_UNICAST = 0x1;
inline constexpr ULONG GAA_FLAG_INCLUDE_PREFIX = 0x10;

inline constexpr DWORD IF_TYPE_OTHER = 1;
inline constexpr DWORD IF_TYPE_ETHERNET_CSMACD = 6;
inline constexpr DWORD IF_TYPE_PPP = 23;
inline constexpr DWORD IF_TYPE_SOFTWARE_LOOPBACK = 24;
inline constexpr DWORD IF_TYPE_TUNNEL = 131;

enum IF_OPER_STATUS {
  IfOperStatusUp = 1,
  IfOperStatusDown,
  IfOperStatusTesting,
  IfOperStatusUnknown,
  IfOperStatusDormant,
  IfOperStatusNotPresent,
  IfOperStatusLowerLayerDown
};

using SOCKADDR = struct sockaddr;
using LPSOCKADDR = SOCKADDR*;

struct SOCKET_ADDRESS {
  LPSOCKADDR lpSockaddr;
  INT iSockaddrLength;
};
static_assert(sizeof(SOCKET_ADDRESS) == 16);

struct IP_ADAPTER_UNICAST_ADDRESS {
  ULONG Length;  // of this record, in bytes
  DWORD Flags;
  IP_ADAPTER_UNICAST_ADDRESS* Next;
  SOCKET_ADDRESS Address;
  INT PrefixOrigin;
  INT SuffixOrigin;
  INT DadState;
  ULONG ValidLifetime;
  ULONG PreferredLifetime;
  ULONG LeaseLifetime;
  BYTE OnLinkPrefixLength;
};
using PIP_ADAPTER_UNICAST_ADDRESS = IP_ADAPTER_UNICAST_ADDRESS*;
static_assert(offsetof(IP_ADAPTER_UNICAST_ADDRESS, Next) == 8);
static_assert(offsetof(IP_ADAPTER_UNICAST_ADDRESS, Address) == 16);
static_assert(sizeof(IP_ADAPTER_UNICAST_ADDRESS) == 64);

// The lists of anycast, multicast, name-server and prefix records are not built and always null;
// so are the texts DnsSuffix and Description.
struct IP_ADAPTER_ADDRESSES {
  ULONG Length;  // of this record, in bytes
  DWORD IfIndex;
  IP_ADAPTER_ADDRESSES* Next;
  PCHAR AdapterName;
  PIP_ADAPTER_UNICAST_ADDRESS FirstUnicastAddress;
  void* FirstAnycastAddress;
  void* FirstMulticastAddress;
  void* FirstDnsServerAddress;
  PWCHAR DnsSuffix;
  PWCHAR Description;
  PWCHAR FriendlyName;
  BYTE PhysicalAddress[8];
  ULONG PhysicalAddressLength;
  ULONG Flags;
  ULONG Mtu;
  DWORD IfType;
  IF_OPER_STATUS OperStatus;
  DWORD Ipv6IfIndex;
  ULONG ZoneIndices[16];
  void* FirstPrefix;
};
using PIP_ADAPTER_ADDRESSES = IP_ADAPTER_ADDRESSES*;
static_assert(offsetof(IP_ADAPTER_ADDRESSES, Next) == 8);
static_assert(offsetof(IP_ADAPTER_ADDRESSES, AdapterName) == 16);
static_assert(offsetof(IP_ADAPTER_ADDRESSES, FirstUnicastAddress) == 24);
static_assert(offsetof(IP_ADAPTER_ADDRESSES, FriendlyName) == 72);
static_assert(offsetof(IP_ADAPTER_ADDRESSES, IfType) == 100);
static_assert(offsetof(IP_ADAPTER_ADDRESSES, OperStatus) == 104);
static_assert(offsetof(IP_ADAPTER_ADDRESSES, FirstPrefix) == 176);

extern "C" {
// All adapters with the addresses of `family` (AF_UNSPEC, AF_INET, AF_INET6), in one block of the
// caller, *size bytes long and aligned to 8; all pointers point into the block.
// NO_ERROR; ERROR_BUFFER_OVERFLOW when the block is null or too small (*size is then what is
// needed); ERROR_NO_DATA when there is no adapter; ERROR_INVALID_PARAMETER for a null size or
// another family; ERROR_NOT_ENOUGH_MEMORY. GAA_FLAG_SKIP_UNICAST leaves the addresses out; other
// flags ask for, or leave out, what is never built and change nothing.
ULONG WINAPI GetAdaptersAddresses(ULONG family, ULONG flags, PVOID reserved,
                                  PIP_ADAPTER_ADDRESSES adapters, PULONG size);
}
