#pragma once

#include <cstdint>
#include <string_view>

// What the runtime overwrites with zeros, in a test program that is linked with watched_wipes.cpp.
// What is left on a stack depends on who runs next; whether it was wiped does not.
namespace vexa::test::watched_wipes {

void forget();

// Blocks wiped since then that began with these bytes.
int beginningWith(std::string_view secret);

// Calls of wipeStack since then.
int ofTheStack();

}  // namespace vexa::test::watched_wipes
