#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "pal/windows_api.h"

TEST(PosixAdapters, AnotherFamilyIsRefused) {
  ULONG size = 0;
  EXPECT_EQ(GetAdaptersAddresses(AF_UNIX, 0, nullptr, nullptr, &size), ERROR_INVALID_PARAMETER);
}

TEST(PosixAdapters, AddressesCanBeLeftOut) {
  ULONG size = 0;
  ASSERT_EQ(GetAdaptersAddresses(AF_UNSPEC, GAA_FLAG_SKIP_UNICAST, nullptr, nullptr, &size),
            ERROR_BUFFER_OVERFLOW);
  std::vector<std::uint64_t> block((size + 7) / 8);
  auto* adapter = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(block.data());
  ASSERT_EQ(GetAdaptersAddresses(AF_UNSPEC, GAA_FLAG_SKIP_UNICAST, nullptr, adapter, &size),
            NO_ERROR);
  for (; adapter != nullptr; adapter = adapter->Next) {
    EXPECT_EQ(adapter->FirstUnicastAddress, nullptr);
  }
}

TEST(PosixAdapters, TheyComeInTheOrderOfTheirNumbers) {
  ULONG size = 0;
  GetAdaptersAddresses(AF_UNSPEC, 0, nullptr, nullptr, &size);
  std::vector<std::uint64_t> block((size + 7) / 8);
  auto* adapter = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(block.data());
  ASSERT_EQ(GetAdaptersAddresses(AF_UNSPEC, 0, nullptr, adapter, &size), NO_ERROR);
  for (; adapter->Next != nullptr; adapter = adapter->Next) {
    EXPECT_LT(adapter->IfIndex, adapter->Next->IfIndex);
  }
}
