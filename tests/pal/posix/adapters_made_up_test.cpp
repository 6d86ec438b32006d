#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <netpacket/packet.h>

#include <cerrno>
#include <cstdint>
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

  void add(const char* name, void* address, unsigned flags = IFF_UP | IFF_RUNNING) {
    ifaddrs entry{};
    entry.ifa_name = const_cast<char*>(name);
    entry.ifa_flags = flags;
    entry.ifa_addr = static_cast<sockaddr*>(address);
    list_.push_back(entry);
  }

  ULONG get() {
    ULONG size = 0;
    const ULONG result = GetAdaptersAddresses(AF_UNSPEC, 0, nullptr, nullptr, &size);
    if (result != ERROR_BUFFER_OVERFLOW) {
      return result;
    }
    block_.assign((size + 7) / 8, 0);
    return GetAdaptersAddresses(AF_UNSPEC, 0, nullptr, first(), &size);
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
