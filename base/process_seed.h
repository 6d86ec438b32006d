#pragma once

#include <cstdint>

namespace vexa::base {

// Random bits, the same as long as the library is loaded. Whoever writes an input does not know
// them, so nobody can choose keys that meet in a table whose places depend on them. Any thread.
uint64_t processSeed();

}  // namespace vexa::base
