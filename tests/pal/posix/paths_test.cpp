#include <gtest/gtest.h>

#include <cstring>

#include "pal/windows_api.h"

// What is ours alone: here '/' separates too.

TEST(PosixPaths, ASlashSeparatesLikeABackslash) {
  char path[MAX_PATH] = "/usr/bin";
  EXPECT_TRUE(PathAppendA(path, "..\\lib"));
  EXPECT_STREQ(path, "/usr/lib");
  EXPECT_STREQ(PathFindExtensionA("a.b/c"), "");
  EXPECT_TRUE(PathRemoveFileSpecA(path));
  EXPECT_STREQ(path, "/usr");
}

TEST(PosixPaths, APathWithoutSeparatorGetsASlash) {
  char path[MAX_PATH] = "a";
  EXPECT_TRUE(PathAppendA(path, "b"));
  EXPECT_STREQ(path, "a/b");
}

TEST(PosixPaths, ARelativePathMayLeadAboveItsStart) {
  char path[MAX_PATH] = "a";
  EXPECT_TRUE(PathAppendA(path, "../../b"));
  EXPECT_STREQ(path, "../b");
}

TEST(PosixPaths, NothingLeftOfARelativePathIsADot) {
  char path[MAX_PATH] = "a";
  EXPECT_TRUE(PathAppendA(path, ".."));
  EXPECT_STREQ(path, ".");
}

TEST(PosixPaths, CuttingStopsAtTheRoot) {
  char path[MAX_PATH] = "/a";
  EXPECT_TRUE(PathRemoveFileSpecA(path));
  EXPECT_STREQ(path, "/");
  EXPECT_FALSE(PathRemoveFileSpecA(path));
}
