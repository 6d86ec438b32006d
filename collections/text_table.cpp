#include "collections/text_table.h"

#include <iterator>

#include "collections/hash_helpers.h"

namespace vexa::collections {
namespace {

IHashTableHelperKey& helperFor(TextTable::Items items) {
  if (items == TextTable::Items::kBorrowed) {
    return borrowedTextHelper;
  }
  return textHelper;
}

}  // namespace

TextTable::TextTable(Items items, uint64_t buckets)
    : chains_(helperFor(items), helperFor(items), buckets,
              {first_, static_cast<uint32_t>(std::size(first_))}) {}

}  // namespace vexa::collections
