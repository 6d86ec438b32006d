#include "support/exact_bytes.h"

#include <gtest/gtest.h>

namespace vexa::test {
namespace {

TEST(ExactBytes, KeepZeroBytesInside) {
  const ExactBytes bytes(std::string_view("a\0b", 3));
  ASSERT_EQ(bytes.size(), 3u);
  EXPECT_EQ(bytes.data()[1], 0);
  EXPECT_EQ(bytes.data()[2], 'b');
}

TEST(ExactBytes, LendAByteBuffer) {
  const ExactBytes bytes({1, 2});
  EXPECT_EQ(bytes.buffer().length, 2u);
  EXPECT_EQ(bytes.buffer().data, bytes.data());
}

TEST(ExactText, EndsWithATerminator) {
  const ExactText text("ab");
  EXPECT_STREQ(text, "ab");
  EXPECT_EQ(text.length(), 2u);
  const ExactWideText wide(u"ab");
  EXPECT_EQ(wide.get()[2], u'\0');
}

}  // namespace
}  // namespace vexa::test
