#pragma once

#include <cstddef>
#include <cstdint>

// Slot numbers of function tables. A table is an array of pointers, so slot n lies at byte 8 * n.
//
//   VEXA_SLOT        a slot of the module's own tables.
//   VEXA_FIXED_SLOT  a number that belongs to the closed runtime and never moves.
//   VEXA_OUR_SLOT    a number that this project assigned because the closed runtime's number is
//                    not known. Change it here when it becomes known; nothing else names it.
#define VEXA_SLOT(table, member, number) \
  static_assert(offsetof(table, member) == 8 * (number), #member " is not in slot " #number)
#define VEXA_FIXED_SLOT(table, member, number) VEXA_SLOT(table, member, number)
#define VEXA_OUR_SLOT(table, member, number) VEXA_SLOT(table, member, number)

namespace vexa::runtime {

// A slot whose meaning is not known, or that has none. Never called by the module.
using Reserved = void*;

}  // namespace vexa::runtime

static_assert(sizeof(void*) == 8, "the framework is 64-bit only");
