#include "runtime/keys/watched_wipes.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace vexa::test::watched_wipes {
namespace {

std::vector<std::string> wiped;
int ofStack = 0;

}  // namespace

void forget() {
  wiped.clear();
  ofStack = 0;
}

int beginningWith(std::string_view secret) {
  return static_cast<int>(
      std::count_if(wiped.begin(), wiped.end(),
                    [secret](const std::string& block) { return block.starts_with(secret); }));
}

int ofTheStack() { return ofStack; }

}  // namespace vexa::test::watched_wipes

// The linker leads calls of velmora's functions here, those of other sources than their own
// (--wrap).
extern "C" {

void __real__ZN4vexa7velmora4wipeEPvm(void* block, size_t length);
void __real__ZN4vexa7velmora9wipeStackEv();

void __wrap__ZN4vexa7velmora4wipeEPvm(void* block, size_t length) {
  vexa::test::watched_wipes::wiped.emplace_back(static_cast<const char*>(block), length);
  __real__ZN4vexa7velmora4wipeEPvm(block, length);
}

void __wrap__ZN4vexa7velmora9wipeStackEv() {
  ++vexa::test::watched_wipes::ofStack;
  __real__ZN4vexa7velmora9wipeStackEv();
}

}  // extern "C"
