#pragma once

#include "vexa/hash_table.h"

namespace vexa::collections {

// A new table with one reference, or null without memory. Keys and values as the helpers say.
HashTable_void* createTable(IHashTableHelperKey& key, IHashTableHelper& value, uint64_t buckets);

}  // namespace vexa::collections
