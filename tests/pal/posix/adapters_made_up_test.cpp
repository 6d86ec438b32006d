#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <netpacket/packet.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "pal/windows_api.h"
#include "support/allocation_gate.h"

// The system's list of this program: these entries, or a failure.
namespace {
std::vector<ifaddrs>* entries = nullptr;
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): theirs is a reserved one
extern "C" int getifaddrs(ifaddrs** list) noexcept {
  if (entries == nullptr) {
    errno = ENOMEM;
    return -1;
  }
  for (std::size_t i = 0; i + 1 < entries->size(); ++i) {
    (*entries)[i].ifa_next = &(*entries)[i + 1];
  }
  *list = entries->empty() ? nullptr : entries->data();
  return 0;
}
extern "C" void freeifaddrs(ifaddrs*) noexcept {}

namespace {

class MadeUpAdapters : public testing::Test {
 protected:
  MadeUpAdapters() { entries = &list_; }
  ~MadeUpAdapters() override { entries = nullptr; }

  void add(const char* name, void* address, unsigned flags = IFF_UP | IFF_RUNNING,
           void* mask = nullptr) {
    ifaddrs entry{};
    entry.ifa_name = const_cast<char*>(name);
    entry.ifa_flags = flags;
    entry.ifa_addr = static_cast<sockaddr*>(address);
    entry.ifa_netmask = static_cast<sockaddr*>(mask);
    list_.push_back(entry);
  }

  ULONG get(ULONG family = AF_UNSPEC) {
    ULONG size = 0;
    const ULONG result = GetAdaptersAddresses(family, 0, nullptr, nullptr, &size);
    if (result != ERROR_BUFFER_OVERFLOW) {
      return result;
    }
    block_.assign((size + 7) / 8, ~std::uint64_t{0});
    return GetAdaptersAddresses(family, 0, nullptr, first(), &size);
  }

  IP_ADAPTER_ADDRESSES* first() { return reinterpret_cast<IP_ADAPTER_ADDRESSES*>(block_.data()); }

  std::vector<ifaddrs> list_;
  std::vector<std::uint64_t> block_;
};

}  // namespace

TEST_F(MadeUpAdapters, TheKindComesFromTheHardware) {
  const std::pair<unsigned short, DWORD> kinds[] = {
      {ARPHRD_ETHER, IF_TYPE_ETHERNET_CSMACD},
      {ARPHRD_PPP, IF_TYPE_PPP},
      {ARPHRD_TUNNEL, IF_TYPE_TUNNEL},
      {ARPHRD_TUNNEL6, IF_TYPE_TUNNEL},
      {ARPHRD_SIT, IF_TYPE_TUNNEL},
      {ARPHRD_IPGRE, IF_TYPE_TUNNEL},
      {ARPHRD_NONE, IF_TYPE_TUNNEL},
      {ARPHRD_FDDI, IF_TYPE_OTHER},
  };
  for (const auto& [hardware, type] : kinds) {
    sockaddr_ll link{};
    link.sll_family = AF_PACKET;
    link.sll_hatype = hardware;
    list_.clear();
    add("some0", &link);
    ASSERT_EQ(get(), NO_ERROR);
    EXPECT_EQ(first()->IfType, type) << hardware;
  }
}

TEST_F(MadeUpAdapters, WithoutAnythingKnownItIsAnother) {
  add("some0", nullptr);
  ASSERT_EQ(get(), NO_ERROR);
  EXPECT_STREQ(first()->AdapterName, "some0");
  EXPECT_EQ(first()->IfType, DWORD{IF_TYPE_OTHER});
  EXPECT_EQ(first()->OperStatus, IfOperStatusUp);
  EXPECT_EQ(first()->FirstUnicastAddress, nullptr);
  EXPECT_EQ(first()->Next, nullptr);
}

TEST_F(MadeUpAdapters, UpAndRunningBothCount) {
  for (const unsigned flags : {0u, unsigned{IFF_UP}, unsigned{IFF_RUNNING}}) {
    list_.clear();
    add("some0", nullptr, flags);
    ASSERT_EQ(get(), NO_ERROR);
    EXPECT_EQ(first()->OperStatus, IfOperStatusDown) << flags;
  }
}

TEST_F(MadeUpAdapters, AnAddressWithoutAMaskHasNoPrefix) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  add("some0", &address);
  ASSERT_EQ(get(), NO_ERROR);
  ASSERT_NE(first()->FirstUnicastAddress, nullptr);
  EXPECT_EQ(first()->FirstUnicastAddress->OnLinkPrefixLength, 0);
}

// An interface with a hardware address and one address of each family.
class FullAdapter : public MadeUpAdapters {
 protected:
  FullAdapter() {
    link_.sll_family = AF_PACKET;
    link_.sll_hatype = ARPHRD_ETHER;
    link_.sll_halen = 6;
    std::iota(std::begin(link_.sll_addr), std::end(link_.sll_addr), std::uint8_t{0xF1});
    four_.sin_family = AF_INET;
    four_.sin_addr.s_addr = htonl(0x0A000102);
    fourMask_.sin_family = AF_INET;
    fourMask_.sin_addr.s_addr = htonl(0xFFFFF000);
    std::fill(std::begin(fourMask_.sin_zero), std::end(fourMask_.sin_zero), std::uint8_t{0xFF});
    six_.sin6_family = AF_INET6;
    six_.sin6_addr.s6_addr[15] = 7;
    sixMask_.sin6_family = AF_INET6;
    std::fill_n(sixMask_.sin6_addr.s6_addr, 8, std::uint8_t{0xFF});
    sixMask_.sin6_scope_id = sixMask_.sin6_flowinfo = ~0u;  // no part of the mask
    add("lo", &link_);
    add("lo", &four_, IFF_UP | IFF_RUNNING, &fourMask_);
    add("lo", &six_, IFF_UP | IFF_RUNNING, &sixMask_);
  }

  template <class Address>
  static void expectAddress(const IP_ADAPTER_UNICAST_ADDRESS* record, const Address& address,
                            int prefixLength) {
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->Length, sizeof(*record));
    ASSERT_EQ(record->Address.iSockaddrLength, static_cast<INT>(sizeof(address)));
    EXPECT_EQ(std::memcmp(record->Address.lpSockaddr, &address, sizeof(address)), 0);
    EXPECT_EQ(record->OnLinkPrefixLength, prefixLength);
  }

  sockaddr_ll link_{};
  sockaddr_in four_{};
  sockaddr_in fourMask_{};
  sockaddr_in6 six_{};
  sockaddr_in6 sixMask_{};
};

TEST_F(FullAdapter, IsTold) {
  ASSERT_EQ(get(), NO_ERROR);
  const IP_ADAPTER_ADDRESSES& adapter = *first();
  EXPECT_EQ(adapter.Length, sizeof(adapter));
  EXPECT_EQ(adapter.IfIndex, if_nametoindex("lo"));
  EXPECT_EQ(adapter.Ipv6IfIndex, adapter.IfIndex);
  EXPECT_STREQ(adapter.AdapterName, "lo");
  EXPECT_EQ(std::u16string(adapter.FriendlyName), u"lo");
  ASSERT_EQ(adapter.PhysicalAddressLength, 6u);
  EXPECT_EQ(std::memcmp(adapter.PhysicalAddress, link_.sll_addr, 6), 0);
  expectAddress(adapter.FirstUnicastAddress, four_, 20);
  expectAddress(adapter.FirstUnicastAddress->Next, six_, 64);
  EXPECT_EQ(adapter.FirstUnicastAddress->Next->Next, nullptr);
  EXPECT_EQ(adapter.Next, nullptr);
}

TEST_F(FullAdapter, APrefixMayBeTheWholeAddress) {
  fourMask_.sin_addr.s_addr = ~0u;
  std::fill_n(sixMask_.sin6_addr.s6_addr, 16, std::uint8_t{0xFF});
  ASSERT_EQ(get(), NO_ERROR);
  expectAddress(first()->FirstUnicastAddress, four_, 32);
  expectAddress(first()->FirstUnicastAddress->Next, six_, 128);
}

TEST_F(FullAdapter, OfOneFamilyHasNoAddressOfTheOther) {
  ASSERT_EQ(get(AF_INET), NO_ERROR);
  expectAddress(first()->FirstUnicastAddress, four_, 20);
  EXPECT_EQ(first()->FirstUnicastAddress->Next, nullptr);
  ASSERT_EQ(get(AF_INET6), NO_ERROR);
  expectAddress(first()->FirstUnicastAddress, six_, 64);
  EXPECT_EQ(first()->FirstUnicastAddress->Next, nullptr);
}

TEST_F(FullAdapter, TellsAsMuchOfALongHardwareAddressAsThereIsRoomFor) {
  link_.sll_halen = 20;
  ASSERT_EQ(get(), NO_ERROR);
  EXPECT_EQ(first()->PhysicalAddressLength, sizeof(first()->PhysicalAddress));
  EXPECT_EQ(std::memcmp(first()->PhysicalAddress, link_.sll_addr, sizeof(link_.sll_addr)), 0);
}

TEST_F(MadeUpAdapters, ALetterBeyondAsciiIsOneUnitOfTheFriendlyName) {
  add("\xE9th", nullptr);
  ASSERT_EQ(get(), NO_ERROR);
  EXPECT_EQ(std::u16string(first()->FriendlyName), u"\u00E9th");
}

TEST_F(MadeUpAdapters, NamesOfAnyLengthAreWhole) {
  for (std::size_t length = 0; length < 40; ++length) {
    const std::string name(length, 'n');
    list_.clear();
    add(name.c_str(), nullptr);
    ASSERT_EQ(get(), NO_ERROR);
    EXPECT_EQ(first()->AdapterName, name);
    EXPECT_EQ(std::u16string(first()->FriendlyName), std::u16string(length, u'n'));
  }
}

TEST_F(MadeUpAdapters, ComeInTheOrderOfTheirNumbers) {
  add("unknown", nullptr);  // whose number is 0
  add("lo", nullptr);
  add("another", nullptr);
  ASSERT_EQ(get(), NO_ERROR);
  EXPECT_STREQ(first()->AdapterName, "unknown");
  EXPECT_STREQ(first()->Next->AdapterName, "another");
  EXPECT_STREQ(first()->Next->Next->AdapterName, "lo");
}

TEST_F(MadeUpAdapters, NoneIsNoData) { EXPECT_EQ(get(), DWORD{ERROR_NO_DATA}); }

TEST_F(MadeUpAdapters, AListThatCannotBeHadIsShortMemory) {
  entries = nullptr;
  EXPECT_EQ(get(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
}

TEST_F(MadeUpAdapters, ShortMemoryIsTold) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  add("a name that needs a block", &address);
  ULONG size = 0;
  for (const uint64_t n : {1u, 2u}) {
    vexa::test::allocation_gate::failAt(n, false);
    const ULONG result = GetAdaptersAddresses(AF_UNSPEC, 0, nullptr, nullptr, &size);
    vexa::test::allocation_gate::neverFail();
    EXPECT_EQ(result, DWORD{ERROR_NOT_ENOUGH_MEMORY}) << "allocation " << n;
  }
}
