#pragma once

#include <cstdint>

// Every allocation of the root heap passes here, and those of the process heap when vexa_fake_heap
// is linked. Tests let some of them fail. Any thread.
namespace vexa::test::allocation_gate {

// The n-th allocation from now on fails (1: the next one); with `andAllAfter` those behind it too.
void failAt(uint64_t n, bool andAllAfter);
void neverFail();

// False: this allocation has to fail.
bool pass();

// Since the last failAt; an operation that says neverFail midway still tells what was refused.
uint64_t passed();
uint64_t refused();

// Blocks of the process heap that are alive; 0 without the fake heap.
void countProcessBlock(int64_t change);
int64_t liveProcessBlocks();

}  // namespace vexa::test::allocation_gate
