#include "base/trace_format.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace vexa::base {
namespace {

TEST(TraceFormat, FitsItsArguments) {
  EXPECT_TRUE(fitsTraceFormat<>("no argument"));
  EXPECT_TRUE(fitsTraceFormat<int>("%d"));
  EXPECT_TRUE((fitsTraceFormat<const char*, char*, int32_t, uint32_t>("%s: %s, %i of %8x")));
  EXPECT_TRUE(fitsTraceFormat<uint32_t>("0x%08x."));
}

TEST(TraceFormat, NeedsAsManyArgumentsAsConversions) {
  EXPECT_FALSE(fitsTraceFormat<>("%d"));
  EXPECT_FALSE(fitsTraceFormat<int>("none"));
  EXPECT_FALSE((fitsTraceFormat<int, int>("%d")));
  EXPECT_FALSE(fitsTraceFormat<const char*>("%s%s"));
}

TEST(TraceFormat, NeedsArgumentsOfTheRightKind) {
  EXPECT_FALSE(fitsTraceFormat<int>("%s"));
  EXPECT_FALSE(fitsTraceFormat<const char*>("%d"));
  EXPECT_FALSE(fitsTraceFormat<int64_t>("%d")) << "it would be read half";
  EXPECT_FALSE(fitsTraceFormat<uint8_t*>("%s"));
  EXPECT_FALSE(fitsTraceFormat<const char16_t*>("%s"));
  EXPECT_FALSE((fitsTraceFormat<int, const char*>("%s %d")));
}

TEST(TraceFormat, KnowsNoOtherConversion) {
  EXPECT_FALSE(fitsTraceFormat<double>("%f"));
  EXPECT_FALSE(fitsTraceFormat<int*>("%n"));
  EXPECT_FALSE(fitsTraceFormat<>("100%"));
  EXPECT_FALSE(fitsTraceFormat<int>("%"));
  EXPECT_FALSE(fitsTraceFormat<int>("%8"));
}

TEST(TraceFormat, IsItsText) {
  constexpr TraceFormat<int> kFormat = "%d";
  EXPECT_STREQ(kFormat.text(), "%d");
}

}  // namespace
}  // namespace vexa::base
