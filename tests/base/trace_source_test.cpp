#include <gtest/gtest.h>

#include "base/trace.h"

namespace vexa::base {
namespace {

// Whose module is not known when it is loaded.
TEST(TraceSource, IsUnknownWithoutAFileName) { EXPECT_STREQ(defaultTraceSource(), "unknown"); }

}  // namespace
}  // namespace vexa::base
