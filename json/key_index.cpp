#include "json/key_index.h"

#include <cstring>
#include <limits>

#include "json/bytes.h"

namespace vexa::json {
namespace {

constexpr uint64_t kFewMembers = 16;
constexpr uint64_t kMultiplier = 0x9E3779B97F4A7C15;  // 2^64 / golden ratio: spreads the bits

uint64_t mix(uint64_t digest, uint64_t word) {
  digest = (digest ^ word) * kMultiplier;
  return digest ^ (digest >> 32);
}

bool hasKey(const PendingValue& member, std::string_view key, uint64_t digest) {
  return member.keyDigest == digest && member.value->name() == key;
}

}  // namespace

uint64_t digestKey(std::string_view key) {
  uint64_t digest = key.size();
  size_t at = 0;
  for (; key.size() - at >= sizeof(uint64_t); at += sizeof(uint64_t)) {
    digest = mix(digest, loadWord(key.data() + at));
  }
  uint64_t rest = 0;
  for (; at < key.size(); ++at) {
    rest = rest << 8 | static_cast<uint8_t>(key[at]);
  }
  return mix(digest, rest);
}

bool KeyIndex::contains(std::span<const PendingValue> members, std::string_view key,
                        uint64_t digest) const {
  if (!table_) {
    for (const PendingValue& member : members) {
      if (hasKey(member, key, digest)) {
        return true;
      }
    }
    return false;
  }
  for (uint64_t at = digest & mask_; table_[at].position != 0; at = (at + 1) & mask_) {
    const Slot& slot = table_[at];
    if (slot.check == checkOf(digest) && hasKey(members[slot.position - 1], key, digest)) {
      return true;
    }
  }
  return false;
}

bool KeyIndex::add(std::span<const PendingValue> members) {
  if (members.size() <= kFewMembers) {
    return true;
  }
  if (members.size() > std::numeric_limits<uint32_t>::max()) {
    return false;
  }
  if (!table_ || members.size() * 2 > mask_) {
    return rebuild(members, table_ ? (mask_ + 1) * 4 : kFewMembers * 8);
  }
  insert(members.back().keyDigest, static_cast<uint32_t>(members.size()));
  return true;
}

bool KeyIndex::rebuild(std::span<const PendingValue> members, uint64_t slots) {
  auto table = base::RootBlock<Slot>::ofBytes(slots * sizeof(Slot));
  if (!table) {
    return false;
  }
  std::memset(table.get(), 0, slots * sizeof(Slot));
  table_ = std::move(table);
  mask_ = slots - 1;
  uint32_t position = 0;
  for (const PendingValue& member : members) {
    insert(member.keyDigest, ++position);
  }
  return true;
}

void KeyIndex::insert(uint64_t digest, uint32_t position) {
  uint64_t at = digest & mask_;
  while (table_[at].position != 0) {
    at = (at + 1) & mask_;
  }
  table_[at] = {position, checkOf(digest)};
}

}  // namespace vexa::json
