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

TEST(PosixPaths, TheSeparatorIsThatOfTheFirstPathThatHasOne) {
  char bare[MAX_PATH] = "a";
  EXPECT_TRUE(PathAppendA(bare, "b\\c"));
  EXPECT_STREQ(bare, "a\\b\\c");
  char slash[MAX_PATH] = "/a";
  EXPECT_TRUE(PathAppendA(slash, "b\\c"));
  EXPECT_STREQ(slash, "/a/b/c");
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

TEST(PosixPaths, CuttingStopsInFrontOfAServersName) {
  char path[MAX_PATH] = "//server/share";
  EXPECT_TRUE(PathRemoveFileSpecA(path));
  EXPECT_STREQ(path, "//server");
  EXPECT_TRUE(PathRemoveFileSpecA(path));
  EXPECT_STREQ(path, "//");
  EXPECT_FALSE(PathRemoveFileSpecA(path));
  char more[] = "///a";
  EXPECT_TRUE(PathRemoveFileSpecA(more));
  EXPECT_STREQ(more, "//");
}

TEST(PosixPaths, WithoutAnExtensionToAddItIsThatOfAProgram) {
  char path[MAX_PATH] = "velmora";
  EXPECT_TRUE(PathAddExtensionA(path, nullptr));
  EXPECT_STREQ(path, "velmora.exe");
}

TEST(PosixPaths, AnExtensionNeedsRoomWithItsTerminator) {
  for (const std::size_t length : {256u, 257u}) {
    char path[MAX_PATH] = {};
    std::memset(path, 'x', length);
    EXPECT_EQ(PathAddExtensionA(path, ".so") != FALSE, length == 256u);
    EXPECT_EQ(std::strlen(path), length == 256u ? 259u : 257u);
  }
}

TEST(PosixPaths, NothingIsWrittenBehindTheTerminator) {
  char path[] = {'/', 'a', '\0', 'x', 'x', 'x', 'x'};
  EXPECT_TRUE(PathAppendA(path, "b"));
  EXPECT_STREQ(path, "/a/b");
  EXPECT_EQ(path[5], 'x');
  EXPECT_TRUE(PathAppendA(path, ".."));
  EXPECT_TRUE(PathAddExtensionA(path, ".so"));
  EXPECT_STREQ(path, "/a.so");
  EXPECT_EQ(path[6], 'x');
}

TEST(PosixPaths, CuttingStopsAtTheRoot) {
  char path[MAX_PATH] = "/a";
  EXPECT_TRUE(PathRemoveFileSpecA(path));
  EXPECT_STREQ(path, "/");
  EXPECT_FALSE(PathRemoveFileSpecA(path));
}
