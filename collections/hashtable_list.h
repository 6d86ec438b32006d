#pragma once

#include "vexa/hash_table.h"

namespace vexa::collections {

// The list "vexa.misc.base.hashtable.1".
extern const HashTableList kHashTableList;

}  // namespace vexa::collections
