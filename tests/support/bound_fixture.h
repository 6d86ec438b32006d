#pragma once

#include <gtest/gtest.h>

#include "base/tables.h"
#include "support/spy_runtime.h"

namespace vexa::test {

// The module's tables bound to a spy without a start of the module, for tests of inner functions
// and classes. The test program links vexa_base or a folder above it.
//
// Everything must be released by the test's end: no block of the root heap may live then.
class BoundTest : public ::testing::Test {
 protected:
  BoundTest() {
    base::bound.root = &spy.root;
    base::bound.pkcs12.pointer = &spy.pkcs12;
    base::bound.pkcs12Types.pointer = &spy.pkcs12Types;
    base::bound.commonTypes.pointer = &spy.commonTypes;
    base::bound.encode.pointer = &spy.encode;
    base::bound.strings.pointer = &spy.strings;
    base::bound.multiStrings.pointer = &spy.multiStrings;
    base::bound.io.pointer = &spy.io;
    base::bound.url.pointer = &spy.url;
    base::bound.wideStrings.pointer = &spy.wideStrings;
    base::bound.wideMultiStrings.pointer = &spy.wideMultiStrings;
    base::bound.asc.pointer = &spy.asc;
    base::bound.crypt.pointer = &spy.crypt;
    base::bound.random.pointer = &spy.random;
    base::bound.time.pointer = &spy.time;
    base::bound.notify.pointer = &spy.notify;
    base::bound.pse.pointer = &spy.pse;
  }
  ~BoundTest() override { base::bound = {}; }

  void TearDown() override { EXPECT_EQ(spy.liveBlocks(), 0); }

  SpyRuntime spy;
};

}  // namespace vexa::test
