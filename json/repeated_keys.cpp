#include "json/repeated_keys.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "base/process_seed.h"

namespace vexa::json {
namespace {

constexpr uint64_t kFewMembers = 8;
constexpr uint64_t kStepsEach = 8;  // before the keys are sorted; two are usual

// Copies a member, key and value, to a place before it or its own.
void move(std::span<Item> items, uint64_t from, uint64_t to) {
  items[2 * to] = items[2 * from];
  items[2 * to + 1] = items[2 * from + 1];
}

}  // namespace

bool RepeatedKeys::drop(std::span<Item> items, uint64_t& kept) {
  const uint64_t members = items.size() / 2;
  if (members <= kFewMembers) {
    kept = dropFew(items);
    return true;
  }
  if (members > std::numeric_limits<uint32_t>::max() / 2 || !makeTable(members)) {
    return false;
  }
  const uint64_t mostSteps = steps_ + members * kStepsEach;
  kept = 0;
  for (uint64_t i = 0; i < members; ++i) {
    if (!isInTable(items.data(), items[2 * i], kept)) {
      move(items, i, kept++);
    }
    if (steps_ > mostSteps) {
      const auto rest = items.subspan(2 * (i + 1));
      std::copy(rest.begin(), rest.end(), items.begin() + static_cast<ptrdiff_t>(2 * kept));
      kept = dropBySorting(items.first(2 * kept + rest.size()));
      return true;
    }
  }
  return true;
}

// Compares each key with all that stay before it.
uint64_t RepeatedKeys::dropFew(std::span<Item> items) {
  uint64_t kept = 0;
  for (uint64_t i = 0; i < items.size() / 2; ++i) {
    bool isNew = true;
    for (uint64_t other = 0; other < kept && isNew; ++other) {
      isNew = !isEqual(items[2 * other], items[2 * i]);
    }
    if (isNew) {
      move(items, i, kept++);
    }
  }
  return kept;
}

bool RepeatedKeys::makeTable(uint64_t members) {
  const uint64_t slots = std::bit_ceil(members * 2);
  if (slots <= kOwnSlots) {
    table_ = {ownSlots_, slots};
  } else {
    if (slots > blockSlots_) {
      block_.reset();
      block_ = base::RootBlock<Slot>::ofBytes(slots * sizeof(Slot));
      blockSlots_ = block_ ? slots : 0;
    }
    table_ = {block_.get(), block_ ? slots : 0};
  }
  mix_ = base::SecretMix(base::processSeed());
  std::fill(table_.begin(), table_.end(), Slot{0, 0});
  return !table_.empty();
}

// True when an equal key is in the table; else the key is put there, as that of member `position`.
bool RepeatedKeys::isInTable(const Item* items, const Item& key, uint64_t position) {
  const uint64_t digest = digest_(key.text(), mix_);
  const uint64_t mask = table_.size() - 1;
  const auto check = static_cast<uint32_t>(digest >> 32);
  uint64_t at = digest & mask;
  for (; table_[at].position != 0; at = (at + 1) & mask) {
    ++steps_;
    if (table_[at].check == check && isEqual(items[2 * uint64_t{table_[at].position - 1}], key)) {
      return true;
    }
  }
  table_[at] = {static_cast<uint32_t>(position + 1), check};
  return false;
}

// Sorts the members' positions by their keys, so that equal ones are neighbours, the first one
// first. The table, which is not needed any more, has room for the positions.
uint64_t RepeatedKeys::dropBySorting(std::span<Item> items) {
  auto* const order = reinterpret_cast<uint32_t*>(table_.data());
  const auto members = static_cast<uint32_t>(items.size() / 2);
  for (uint32_t i = 0; i < members; ++i) {
    order[i] = i;
  }
  std::sort(order, order + members, [this, &items](uint32_t left, uint32_t right) {
    return isLess(items.data(), left, right);
  });
  for (uint32_t i = members - 1; i > 0; --i) {
    Item& key = items[2 * uint64_t{order[i]}];
    if (isEqual(items[2 * uint64_t{order[i - 1]}], key)) {
      key = Item::absent();
    }
  }
  uint64_t kept = 0;
  for (uint64_t i = 0; i < members; ++i) {
    if (!items[2 * i].isAbsent()) {
      move(items, i, kept++);
    }
  }
  return kept;
}

bool RepeatedKeys::isEqual(const Item& left, const Item& right) {
  ++steps_;
  return left.isAsLongAs(right) &&
         std::memcmp(left.text().data(), right.text().data(), right.length()) == 0;
}

// By length, bytes, position.
bool RepeatedKeys::isLess(const Item* items, uint32_t left, uint32_t right) {
  ++steps_;
  const Item& leftKey = items[2 * uint64_t{left}];
  const Item& rightKey = items[2 * uint64_t{right}];
  if (!leftKey.isAsLongAs(rightKey)) {
    return leftKey.length() < rightKey.length();
  }
  const int difference =
      std::memcmp(leftKey.text().data(), rightKey.text().data(), leftKey.length());
  return difference != 0 ? difference < 0 : left < right;
}

}  // namespace vexa::json
