#pragma once

#include <cstdint>
#include <vector>

// How long the threads of the program mean to wait. A test program that is linked with
// watched_waits.cpp leads its calls of WaitForSingleObject there.
namespace vexa::test {

// The milliseconds of every wait since the last call, but for those of none and those without end.
std::vector<uint32_t> takeWaits();

}  // namespace vexa::test
