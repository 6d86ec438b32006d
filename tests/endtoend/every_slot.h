#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "support/spy_runtime.h"
#include "vexa/module.h"

namespace vexa::test {

// What each slot answered, by the names of list and slot: "vexa.misc.base.core.1 AllocBuffer".
// Slots without a result answer kOk; those that return a pointer answer 1 for one and 0 for null.
using Answers = std::map<std::string, int32_t>;

// Calls every slot of every list with arguments that a started module serves, made with the spy's
// own tables. Whatever is handed out is released.
Answers callEverySlot(GetModuleInterfaceFunction lookup, const SpyRuntime& spy);

// Creates an object of every class, asks it a little, and releases it; the results of the creations
// by the classes' names, and behind "CLASS OPERATION" those of the operations.
Answers createEveryClass(GetModuleInterfaceFunction lookup, const SpyRuntime& spy);

}  // namespace vexa::test
