#pragma once

#include <cstdint>

#include "vexa/runtime/root_list.h"

// The interfaces that the root list hands out, found by component and name.
namespace vexa::velmora {

extern const runtime::RootList rootList;

int32_t getInterface(const char* component, const char* name, const void** table);
void releaseInterface(const void** table);

// Handed out and not given back.
int64_t boundInterfaces();

}  // namespace vexa::velmora
