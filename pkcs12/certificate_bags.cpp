#include "pkcs12/certificate_bags.h"

#include <algorithm>
#include <cstring>

namespace vexa::pkcs12 {
namespace {

bool isCertificateBag(const runtime::SafeBag* bag) {
  return bag != nullptr && bag->type == runtime::kCertificateBag && bag->certificate != nullptr;
}

// By length and bytes.
int compareIds(const runtime::ByteBuffer& a, const runtime::ByteBuffer& b) {
  if (a.length != b.length) {
    return a.length < b.length ? -1 : 1;
  }
  return a.length == 0 ? 0 : std::memcmp(a.data, b.data, a.length);
}

}  // namespace

int32_t CertificateBags::collect(const runtime::BagNode* bags) {
  for (const auto* node = bags; node != nullptr; node = node->next) {
    if (!isCertificateBag(node->bag)) {
      continue;
    }
    if (node->bag->localKeyId != nullptr && failed(byId_.append(size()))) {
      return kOutOfMemory;
    }
    if (failed(bags_.append(node->bag))) {
      return kOutOfMemory;
    }
  }
  return makeGroups();
}

int32_t CertificateBags::makeGroups() {
  std::sort(byId_.begin(), byId_.end(), [this](uint64_t a, uint64_t b) {
    const int difference = compareIds(idOf(a), idOf(b));
    return difference != 0 ? difference < 0 : a < b;
  });
  for (const uint64_t *begin = byId_.begin(), *end = begin; begin != byId_.end(); begin = end) {
    while (end != byId_.end() && compareIds(idOf(*end), idOf(*begin)) == 0) {
      ++end;
    }
    if (failed(groups_.append({{begin, end}, false}))) {
      return kOutOfMemory;
    }
  }
  return kOk;
}

CertificateBags::Group* CertificateBags::withId(const runtime::ByteBuffer& id) const {
  Group* const group = std::partition_point(
      groups_.begin(), groups_.end(),
      [this, &id](const Group& other) { return compareIds(idOf(other.numbers.front()), id) < 0; });
  return group == groups_.end() || compareIds(idOf(group->numbers.front()), id) != 0 ? nullptr
                                                                                     : group;
}

}  // namespace vexa::pkcs12
