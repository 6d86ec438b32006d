#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "pal/windows_api.h"

namespace {

// A snapshot in a block of exactly the size that was asked for.
class Snapshot {
 public:
  explicit Snapshot(ULONG family = AF_UNSPEC, ULONG flags = GAA_FLAG_INCLUDE_PREFIX) {
    ULONG size = 0;
    query_ = GetAdaptersAddresses(family, flags, nullptr, nullptr, &size);
    block_.assign(size, 0);
    result_ = GetAdaptersAddresses(family, flags, nullptr, first(), &size);
  }

  ULONG query() const { return query_; }
  ULONG result() const { return result_; }
  ULONG size() const { return static_cast<ULONG>(block_.size()); }
  IP_ADAPTER_ADDRESSES* first() { return reinterpret_cast<IP_ADAPTER_ADDRESSES*>(block_.data()); }
  bool holds(const void* pointer) const {
    return pointer >= block_.data() && pointer < block_.data() + block_.size();
  }

 private:
  ULONG query_;
  ULONG result_;
  std::vector<std::uint8_t> block_;
};

}  // namespace

TEST(Adapters, SizeIsToldFirst) {
  Snapshot adapters;
  EXPECT_EQ(adapters.query(), ULONG{ERROR_BUFFER_OVERFLOW});
  EXPECT_GE(adapters.size(), sizeof(IP_ADAPTER_ADDRESSES));
  EXPECT_EQ(adapters.result(), ULONG{NO_ERROR});
}

TEST(Adapters, ABlockThatIsTooSmallIsNotUsed) {
  IP_ADAPTER_ADDRESSES small;
  std::memset(&small, 0x5A, sizeof(small));
  ULONG size = 8;
  EXPECT_EQ(GetAdaptersAddresses(AF_UNSPEC, 0, nullptr, &small, &size),
            ULONG{ERROR_BUFFER_OVERFLOW});
  EXPECT_GT(size, 8u);
  EXPECT_EQ(small.Length, 0x5A5A5A5Au);
}

TEST(Adapters, NoSizeIsRefused) {
  EXPECT_EQ(GetAdaptersAddresses(AF_UNSPEC, 0, nullptr, nullptr, nullptr),
            ULONG{ERROR_INVALID_PARAMETER});
}

TEST(Adapters, EveryPointerLeadsIntoTheBlock) {
  Snapshot adapters;
  ASSERT_EQ(adapters.result(), ULONG{NO_ERROR});
  for (auto* adapter = adapters.first(); adapter != nullptr; adapter = adapter->Next) {
    ASSERT_TRUE(adapters.holds(adapter));
    EXPECT_TRUE(adapters.holds(adapter->AdapterName));
    EXPECT_TRUE(adapters.holds(adapter->FriendlyName));
    for (auto* unicast = adapter->FirstUnicastAddress; unicast != nullptr;
         unicast = unicast->Next) {
      ASSERT_TRUE(adapters.holds(unicast));
      EXPECT_TRUE(adapters.holds(unicast->Address.lpSockaddr));
      EXPECT_GT(unicast->Address.iSockaddrLength, 0);
    }
  }
}

TEST(Adapters, NamesDiffer) {
  Snapshot adapters;
  ASSERT_EQ(adapters.result(), ULONG{NO_ERROR});
  std::set<std::string> names;
  for (auto* adapter = adapters.first(); adapter != nullptr; adapter = adapter->Next) {
    EXPECT_TRUE(names.insert(adapter->AdapterName).second) << adapter->AdapterName;
  }
}

TEST(Adapters, TheLoopbackAdapterIsThereWithItsAddress) {
  Snapshot adapters;
  ASSERT_EQ(adapters.result(), ULONG{NO_ERROR});
  for (auto* adapter = adapters.first(); adapter != nullptr; adapter = adapter->Next) {
    for (auto* unicast = adapter->FirstUnicastAddress; unicast != nullptr;
         unicast = unicast->Next) {
      sockaddr_in address{};
      if (unicast->Address.lpSockaddr->sa_family != AF_INET) {
        continue;
      }
      ASSERT_EQ(unicast->Address.iSockaddrLength, static_cast<INT>(sizeof(address)));
      std::memcpy(&address, unicast->Address.lpSockaddr, sizeof(address));
      if (ntohl(address.sin_addr.s_addr) != 0x7F000001u) {
        continue;
      }
      EXPECT_EQ(adapter->IfType, DWORD{IF_TYPE_SOFTWARE_LOOPBACK});
      EXPECT_EQ(adapter->OperStatus, IfOperStatusUp);
      EXPECT_EQ(unicast->OnLinkPrefixLength, 8);
      return;
    }
  }
  FAIL() << "no adapter has 127.0.0.1";
}

TEST(Adapters, OneFamilyAloneCanBeAskedFor) {
  Snapshot adapters(AF_INET, 0);
  ASSERT_EQ(adapters.result(), ULONG{NO_ERROR});
  for (auto* adapter = adapters.first(); adapter != nullptr; adapter = adapter->Next) {
    for (auto* unicast = adapter->FirstUnicastAddress; unicast != nullptr;
         unicast = unicast->Next) {
      EXPECT_EQ(unicast->Address.lpSockaddr->sa_family, AF_INET);
    }
  }
}

TEST(Adapters, TwoSnapshotsOfAMachineAtRestAreAlike) {
  Snapshot first;
  Snapshot second;
  auto* a = first.first();
  auto* b = second.first();
  for (; a != nullptr && b != nullptr; a = a->Next, b = b->Next) {
    EXPECT_STREQ(a->AdapterName, b->AdapterName);
    EXPECT_EQ(a->OperStatus, b->OperStatus);
  }
  EXPECT_EQ(a, nullptr);
  EXPECT_EQ(b, nullptr);
}
