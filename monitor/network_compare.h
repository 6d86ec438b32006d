#pragma once

#include "vexa/client_monitor.h"

namespace vexa::monitor {

// Walks the adapters of `current` and reports every difference from `stored` to `report`, with the
// text that names it. Either may be null: no adapters.
//
// A different number of adapters, an unknown name or another operational status ends the walk; a
// changed address does not. The walk also ends at the first tunnel adapter: those behind it are
// not compared. Address lists are compared as far as both go; a longer one alone is no change.
void compareAdapters(const AdapterSnapshot* current, const AdapterSnapshot* stored,
                     void (*report)(void* context, const char* change), void* context);

}  // namespace vexa::monitor
