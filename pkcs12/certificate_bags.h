#pragma once

#include <span>

#include "base/root_vector.h"
#include "vexa/runtime/pkcs12.h"

namespace vexa::pkcs12 {

// The certificate bags of a file, numbered in bag order, and those with a local key id by that id:
// a file may hold thousands, and a key for each.
class CertificateBags {
 public:
  // All bags with one id.
  struct Group {
    std::span<const uint64_t> numbers;  // in bag order, at least one
    bool isTaken;                       // false at first; a mark of whoever asks for the group
  };

  // `bags` outlives this.
  [[nodiscard]] int32_t collect(const runtime::BagNode* bags);

  uint64_t size() const { return bags_.size(); }
  const runtime::SafeBag& operator[](uint64_t number) const { return *bags_[number]; }

  // Null: there is none.
  Group* withId(const runtime::ByteBuffer& id) const;

 private:
  const runtime::ByteBuffer& idOf(uint64_t number) const { return *bags_[number]->localKeyId; }
  int32_t makeGroups();

  base::RootVector<const runtime::SafeBag*, base::GrowByDoubling<>> bags_;
  base::RootVector<uint64_t, base::GrowByDoubling<>> byId_;  // sorted by id, then in bag order
  base::RootVector<Group, base::GrowByDoubling<>> groups_;   // sorted by id
};

}  // namespace vexa::pkcs12
