#include <gtest/gtest.h>

#include <string_view>

#include "runtime/der/ber.h"
#include "support/exact_bytes.h"

// Where BER ends before it is complete; the bytes lie before the end of their memory.
namespace vexa::test {
namespace {

// A literal, without the zero byte behind it.
template <size_t kSize>
bool reads(const char (&literal)[kSize]) {
  const ExactBytes exact(std::string_view(literal, kSize - 1));
  const runtime::ByteBuffer buffer = exact.buffer();
  velmora::Bytes der;
  return velmora::derFromBer({buffer.data, static_cast<size_t>(buffer.length)}, der);
}

TEST(BerEnd, AnIndefiniteElementEndsWithTwoZeros) {
  EXPECT_TRUE(reads("\x30\x80\0\0"));
  EXPECT_FALSE(reads("\x30\x80\0"));
  EXPECT_FALSE(reads("\x30\x80"));
  EXPECT_TRUE(reads("\x24\x80\x04\x01x\0\0"));
  EXPECT_FALSE(reads("\x24\x80\x04\x01x\0"));
  EXPECT_FALSE(reads("\x24\x80\x04\x01x"));
}

}  // namespace
}  // namespace vexa::test
