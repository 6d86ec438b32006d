#include <gtest/gtest.h>

#include <thread>

#include "pal/windows_api.h"

TEST(LastError, IsWhatWasSetLast) {
  SetLastError(ERROR_MORE_DATA);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_MORE_DATA});
}

TEST(LastError, BelongsToItsThread) {
  SetLastError(ERROR_MORE_DATA);
  DWORD other = 1;
  std::thread([&other] {
    other = GetLastError();
    SetLastError(ERROR_ACCESS_DENIED);
  }).join();
  EXPECT_EQ(other, 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_MORE_DATA});
}
